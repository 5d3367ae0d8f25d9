#!/usr/bin/env bash
# The documentation path check on a small tree: a page naming only paths that
# exist passes (braces, wildcards, punctuation and patterns included); every
# missing path is reported with its line, and only those.
set -euo pipefail
repo=$(cd "$(dirname "$0")/../.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

mkdir -p "$work/src/host/base" "$work/tools/qffx" "$work/tests/tool/cases" "$work/docs"
touch "$work/src/host/base/Strings.h" "$work/src/host/base/Strings.cpp" "$work/tools/qffx/main.cpp" \
    "$work/tests/tool/cases/version.args"

cat >"$work/docs/page.md" <<'EOF'
| folder | holds |
|---|---|
| `src/host/base/` | src/host/base/Strings.{h,cpp}, and tools/qffx/main.cpp. |
The cases (tests/tool/cases/*.args) live under `tests/<folder>/`; see docs/page.md: it is here.
EOF
if ! report=$(bash "$repo/scripts/check-doc-paths.sh" "$work" docs/page.md); then
    echo "a page naming existing paths fails:"
    echo "$report"
    exit 1
fi

cat >>"$work/docs/page.md" <<'EOF'
| `src/host/misc/` | `src/host/base/Paths.h`, tools/qffx/{main,Commands}.cpp |
No case matches tests/tool/cases/*.json here.
EOF
if report=$(bash "$repo/scripts/check-doc-paths.sh" "$work" docs/page.md); then
    echo "missing paths were not reported"
    exit 1
fi
expected="docs/page.md:5: src/host/misc/ does not exist
docs/page.md:5: src/host/base/Paths.h does not exist
docs/page.md:5: tools/qffx/Commands.cpp does not exist
docs/page.md:6: tests/tool/cases/*.json does not exist
doc paths: 4 path(s) named in docs/page.md do not exist"
if [ "$report" != "$expected" ]; then
    echo "the report should be:"
    echo "$expected"
    echo "but is:"
    echo "$report"
    exit 1
fi
echo "the doc path check reports exactly the missing paths"
