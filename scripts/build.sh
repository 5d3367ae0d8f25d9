#!/usr/bin/env bash
# Configures and builds into $1 (default build/) with extra cmake arguments.
set -euo pipefail
cd "$(dirname "$0")/.."
dir=${1:-build}; shift || true
cmake -S . -B "$dir" -DQFFX_WERROR=ON "$@" >/dev/null
cmake --build "$dir" -j"$(nproc)"
