#!/usr/bin/env bash
# The layering check must see a violation planted anywhere it claims to look:
# across library folders, between host subfolders, a host include without its
# folder, and a host file outside the layer folders. Each plant goes into a
# fresh copy of src/; the clean copy passes.
set -euo pipefail
repo=$(cd "$(dirname "$0")/../.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fresh_copy() {
    rm -rf "$work/tree"
    mkdir -p "$work/tree"
    cp -r "$repo/src" "$work/tree/src"
}

fresh_copy
bash "$repo/scripts/check-layers.sh" "$work/tree" >/dev/null || { echo "the clean tree fails the check"; exit 1; }

# file to plant in | include line | what the report must name
plants=(
    'src/model/ShaderModel.h|#include "manager/Manager.h"|src/model/ShaderModel.h: includes manager/Manager.h'
    'src/luts/LUTManager.h|#include "fonts/GPUFontCache.h"|src/luts/LUTManager.h: includes fonts/GPUFontCache.h'
    'src/image/GPU.h|#include "platform/LinuxServices.h"|src/image/GPU.h: only src/platform/'
)
# The host's layers, once src/host/ is split into them.
if [ -d "$repo/src/host/base" ]; then
    plants+=(
        'src/host/base/Strings.h|#include "host/misc/Log.h"|src/host/base/Strings.h: includes host/misc/Log.h'
        'src/host/own/Files.h|#include "host/misc/Paths.h"|src/host/own/Files.h: includes host/misc/Paths.h'
        'src/host/os/OS.h|#include "host/image/Surface.h"|src/host/os/OS.h: includes host/image/Surface.h'
        'src/host/misc/Log.h|#include "Paths.h"|src/host/misc/Log.h: includes "Paths.h" without its folder'
        'src/model/ShaderModel.h|#include "host/Flat.h"|src/model/ShaderModel.h: includes host/Flat.h without its folder'
        'src/host/Stray.h|#pragma once|src/host/Stray.h: host files live in a layer folder'
        'src/host/extra/Stray.h|#pragma once|src/host/extra/: not a host layer'
    )
fi
failures=0
for plant in "${plants[@]}"; do
    IFS='|' read -r file line expected <<<"$plant"
    fresh_copy
    mkdir -p "$(dirname "$work/tree/$file")"
    printf '%s\n' "$line" >>"$work/tree/$file"
    if report=$(bash "$repo/scripts/check-layers.sh" "$work/tree" 2>&1); then
        echo "not caught: $line in $file"
        failures=$((failures + 1))
    elif [[ "$report" != *"$expected"* ]]; then
        echo "caught, but the report does not say '$expected':"
        echo "$report"
        failures=$((failures + 1))
    fi
done
[ "$failures" -eq 0 ] && echo "every planted violation was caught"
exit "$failures"
