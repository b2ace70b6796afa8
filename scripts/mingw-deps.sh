#!/usr/bin/env bash
# Builds static MinGW-w64 libraries that Debian packages only for Linux, from Debian's own source
# packages, into /opt/mingw-deps (runs inside the build root).
set -euo pipefail

prefix=/opt/mingw-deps
work=/var/tmp/mingw-deps-build
toolchain="$LUMARO_REPO/cmake/toolchains/mingw-w64.cmake"

rm -rf "$work"
mkdir -p "$work" "$prefix"
cd "$work"
apt-get update -qq

# Brotli 1.0.9 from bookworm: trixie's source package is not complete on the mirror.
apt-get source --download-only -qq brotli=1.0.9-2 >/dev/null
dpkg-source -x --skip-patches brotli_*.dsc brotli-src >/dev/null
cmake -S brotli-src -B brotli-build -G Ninja \
    -DCMAKE_TOOLCHAIN_FILE="$toolchain" -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_INSTALL_PREFIX="$prefix" -DBUILD_SHARED_LIBS=OFF -DBROTLI_DISABLE_TESTS=ON >/dev/null
cmake --build brotli-build >/dev/null
cmake --install brotli-build >/dev/null

cd /
rm -rf "$work"
echo "MinGW libraries installed in $prefix"
