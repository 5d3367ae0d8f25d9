#!/usr/bin/env bash
# Installs the Debian packages that building and testing need.
set -euo pipefail
packages=(
  g++ cmake make pkg-config
  libgtest-dev libgmock-dev libbenchmark-dev
  libegl-dev libgl-dev libopengl-dev libegl-mesa0 libgl1-mesa-dri
  libpng-dev
  libfreetype-dev libfontconfig-dev fonts-dejavu-core
  ocl-icd-opencl-dev opencl-headers pocl-opencl-icd
  clang libclang-rt-14-dev clang-format
  locales
  python3 python3-jsonschema
  nlohmann-json3-dev
  ffmpeg libswscale-dev libzimg-dev
)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
if [ ${#missing[@]} -ne 0 ]; then
    $sudo apt-get update
    $sudo apt-get install -y --no-install-recommends "${missing[@]}"
fi
# A decimal-comma locale, for the tests that prove numbers ignore the locale.
if ! locale -a 2>/dev/null | grep -qix 'de_DE.utf8'; then
    $sudo localedef -i de_DE -f UTF-8 de_DE.UTF-8
fi
