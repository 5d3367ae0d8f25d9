#!/usr/bin/env bash
# check-layers.sh [ROOT]: checks that includes between source folders run one
# way only (ROOT defaults to this repository).
#
# Library folders:
#   host <- model <- codegen <- effects <- manager <- image <- luts, fonts <- diagnostics
# A library folder may include its own folder and the folders listed for it
# below, and never src/platform/; src/platform/ may include the library
# folders but is itself included only by the platform library, the tool,
# tests, benchmarks and fuzz targets.
#
# Host subfolders, when src/host/ has them:
#   base <- own <- misc <- os <- image
# A host file includes host files by their folder ("host/base/Strings.h"),
# never without it ("Strings.h"), and only from its own layer or the ones
# before it; every host file lives in one of these folders.
#
# Prints every include that breaks a rule; exit 1 if any.
set -euo pipefail
root=${1:-"$(dirname "$0")/.."}
cd "$root"

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
declare -A host_allowed=(
    [base]="base"
    [own]="base own"
    [misc]="base own misc"
    [os]="base own misc os"
    [image]="base own misc os image"
)
failures=0

fail() {
    echo "$1"
    failures=$((failures + 1))
}

# The host is split when src/host/ has any subfolder.
host_split=0
if [ -n "$(find src/host -mindepth 1 -maxdepth 1 -type d -print -quit 2>/dev/null)" ]; then
    host_split=1
    while IFS= read -r entry; do
        if [ -d "$entry" ]; then
            [ -n "${host_allowed[${entry##*/}]:-}" ] || fail "$entry/: not a host layer (base, own, misc, os, image)"
        else
            fail "$entry: host files live in a layer folder (base, own, misc, os, image)"
        fi
    done < <(find src/host -mindepth 1 -maxdepth 1 | sort)
fi

while IFS= read -r file; do
    folder=${file#src/}
    folder=${folder%%/*}
    [ "$folder" = platform ] && continue
    layer=""
    if [ "$folder" = host ] && [ "$host_split" = 1 ]; then
        layer=${file#src/host/}
        layer=${layer%%/*}
    fi
    while IFS= read -r line; do
        target=$(sed -E 's/^[[:space:]]*#[[:space:]]*include[[:space:]]*"([^"]+)".*/\1/' <<<"$line")
        if [[ "$target" != */* ]]; then
            # A name without a folder: legal only in the flat host.
            [ -n "$layer" ] && fail "$file: includes \"$target\" without its folder"
            continue
        fi
        used=${target%%/*}
        [ -d "src/$used" ] || continue
        if [[ " ${allowed[$folder]:-} " != *" $used "* ]]; then
            fail "$file: includes $target, but $folder/ may include only: ${allowed[$folder]:-nothing}"
            continue
        fi
        [ "$used" = host ] && [ "$host_split" = 1 ] || continue
        rest=${target#host/}
        if [[ "$rest" != */* ]]; then
            fail "$file: includes $target without its folder"
            continue
        fi
        [ -n "$layer" ] || continue
        used_layer=${rest%%/*}
        if [[ " ${host_allowed[$layer]:-} " != *" $used_layer "* ]]; then
            fail "$file: includes $target, but host/$layer/ may include only: host/${host_allowed[$layer]// / host/}"
        fi
    done < <(grep -E '^[[:space:]]*#[[:space:]]*include[[:space:]]*"' "$file" || true)
done < <(find src \( -name '*.h' -o -name '*.cpp' \) | sort)

# src/platform/ is reached only from the platform library, the tool, tests,
# benchmarks and fuzz targets.
while IFS= read -r hit; do
    fail "$hit: only src/platform/, tools/, tests/, bench/ and fuzz/ may include platform headers"
done < <(grep -rlE '#[[:space:]]*include[[:space:]]*"platform/' src --include='*.h' --include='*.cpp' | grep -v '^src/platform/' || true)

if [ "$failures" -ne 0 ]; then
    echo "layering: $failures include(s) break the one-way rule"
    exit 1
fi
echo "layering: every include runs one way"
