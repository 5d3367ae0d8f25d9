#!/usr/bin/env bash
# Checks that includes between source folders run one way only:
#   host <- model <- codegen <- effects <- manager <- image, luts, fonts, diagnostics
# A library folder may include its own folder and the folders below it, and
# never src/platform/; src/platform/ may include the library folders but is
# itself included only by the platform library, the tool, tests, benchmarks
# and fuzz targets. Prints every include that breaks the rule; exit 1 if any.
set -euo pipefail
cd "$(dirname "$0")/.."

declare -A allowed=(
    [host]="host"
    [model]="host model"
    [codegen]="host model codegen"
    [effects]="host model codegen effects"
    [manager]="host model codegen effects manager"
    [image]="host model codegen effects manager image"
    [luts]="host model codegen effects manager image luts"
    [fonts]="host model codegen effects manager image fonts"
    [diagnostics]="host model codegen effects manager image luts fonts diagnostics"
)
failures=0

# The folder that an include line names: "codegen/X.h" -> codegen. Includes
# within host/ name their files without a folder ("Strings.h").
included_folder() {
    local path=$1
    case "$path" in
        */*) echo "${path%%/*}" ;;
        *) echo "" ;;
    esac
}

while IFS= read -r file; do
    folder=${file#src/}
    folder=${folder%%/*}
    while IFS= read -r line; do
        target=$(sed -E 's/^[[:space:]]*#[[:space:]]*include[[:space:]]*"([^"]+)".*/\1/' <<<"$line")
        used=$(included_folder "$target")
        [ -z "$used" ] && continue
        [ -d "src/$used" ] || continue
        if [ "$folder" = platform ]; then
            continue
        fi
        if [[ " ${allowed[$folder]:-} " != *" $used "* ]]; then
            echo "$file: includes $target, but $folder/ may include only: ${allowed[$folder]:-nothing}"
            failures=$((failures + 1))
        fi
    done < <(grep -E '^[[:space:]]*#[[:space:]]*include[[:space:]]*"' "$file" || true)
done < <(find src -name '*.h' -o -name '*.cpp' | sort)

# src/platform/ is reached only from the platform library, the tool, tests,
# benchmarks and fuzz targets.
while IFS= read -r hit; do
    echo "$hit: only src/platform/, tools/, tests/, bench/ and fuzz/ may include platform headers"
    failures=$((failures + 1))
done < <(grep -rlE '#[[:space:]]*include[[:space:]]*"platform/' src --include='*.h' --include='*.cpp' | grep -v '^src/platform/' || true)

if [ "$failures" -ne 0 ]; then
    echo "layering: $failures include(s) break the one-way rule"
    exit 1
fi
echo "layering: every include runs one way"
