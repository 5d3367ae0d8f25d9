#!/usr/bin/env bash
# Checks that every C++ file follows .clang-format; prints the files that do not.
set -euo pipefail
cd "$(dirname "$0")/.."
mapfile -t files < <(git ls-files -- 'src/*' 'tools/*' 'tests/*' 'bench/*' 'fuzz/*' | grep -E '\.(cpp|h)$')
bad=()
for f in "${files[@]}"; do
    clang-format --dry-run -Werror "$f" >/dev/null 2>&1 || bad+=("$f")
done
if [ ${#bad[@]} -ne 0 ]; then
    printf 'not formatted (clang-format -i FILE): %s\n' "${bad[@]}"
    exit 1
fi
echo "format: ${#files[@]} files follow .clang-format"
