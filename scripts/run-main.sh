#!/usr/bin/env bash
# The tool's main job on the embedded default: generate the shader text of a
# shipped effect.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
export CMAKE_BUILD_PARALLEL_LEVEL=${CMAKE_BUILD_PARALLEL_LEVEL:-$(nproc)}
cmake --preset default >/dev/null
cmake --build --preset default --target qffx
./build/tools/qffx/qffx generate Tint
