#!/usr/bin/env bash
# The tool's main job on the embedded default: generate the shader text of a
# shipped effect.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
bash scripts/build.sh build
./build/tools/qffx/qffx generate resources/shaders/Tint.fx
