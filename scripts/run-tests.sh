#!/usr/bin/env bash
# Builds and runs every test (installs what it needs first).
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
export CMAKE_BUILD_PARALLEL_LEVEL=${CMAKE_BUILD_PARALLEL_LEVEL:-$(nproc)}
export CTEST_PARALLEL_LEVEL=${CTEST_PARALLEL_LEVEL:-$(nproc)}
cmake --workflow --preset default
