#!/usr/bin/env bash
# Runs a command on the Mesa of Debian 12's backports (llvmpipe 25) instead
# of the system's Mesa 22, without installing anything: the packages are
# downloaded and unpacked into a cache folder, and the command finds them
# through the loader paths and a glvnd EGL vendor file of its own.
#
#   bash bench/with-newer-mesa.sh ./build/bench/qffx_bench_conversions --benchmark_filter=GPU
#
# QFFX_MESA_CACHE names the folder (default: ~/.cache/qffx-newer-mesa).
set -euo pipefail

[ $# -gt 0 ] || { echo "usage: $0 COMMAND [ARGS...]" >&2; exit 2; }

cache=${QFFX_MESA_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/qffx-newer-mesa}
lib=$cache/root/usr/lib/x86_64-linux-gnu
vendor=$cache/egl-vendor.json

if [ ! -f "$vendor" ]; then
    mkdir -p "$cache/apt/lists/partial" "$cache/apt/archives/partial" "$cache/debs"
    echo "deb http://deb.debian.org/debian bookworm-backports main" > "$cache/apt/sources.list"
    apt=(-o Dir::Etc::sourcelist="$cache/apt/sources.list" -o Dir::Etc::sourceparts=/nonexistent
         -o Dir::State::Lists="$cache/apt/lists" -o Dir::Cache="$cache/apt" -o Debug::NoLocking=1
         -o APT::Sandbox::User=root)
    apt-get "${apt[@]}" update >&2
    packages=(mesa-libgallium libegl-mesa0 libgbm1 libgl1-mesa-dri libdrm2 libdrm-amdgpu1 libdrm-intel1)
    (cd "$cache/debs" && for p in "${packages[@]}"; do
        version=$(apt-cache "${apt[@]}" madison "$p" | awk -F'|' '/backports/ {gsub(/ /, "", $2); print $2; exit}')
        [ -n "$version" ] || { echo "$p is not in bookworm-backports" >&2; exit 1; }
        apt-get "${apt[@]}" download "$p=$version" >&2
    done)
    for deb in "$cache"/debs/*.deb; do dpkg-deb -x "$deb" "$cache/root"; done
    printf '{ "file_format_version": "1.0.0", "ICD": { "library_path": "%s/libEGL_mesa.so.0" } }\n' "$lib" > "$vendor"
fi

export LD_LIBRARY_PATH=$lib${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}
export __EGL_VENDOR_LIBRARY_FILENAMES=$vendor
export LIBGL_DRIVERS_PATH=$lib/dri
export GBM_BACKENDS_PATH=$lib/gbm
exec "$@"
