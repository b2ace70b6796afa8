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
# Sources of trixie too: zstd and LASzip come from there (the base root only lists bookworm's).
echo "deb-src http://deb.debian.org/debian trixie main" >/etc/apt/sources.list.d/trixie-src.list
apt-get update -qq

# Brotli 1.0 from bookworm: trixie's 1.1 source package is not complete on the mirror. The Debian
# revision is looked up, not written down, so that a point release does not break a fresh build.
brotli_version=$(apt-cache showsrc brotli | awk '/^Version: 1\.0\./ {print $2}' | sort -V | tail -n 1)
[ -n "$brotli_version" ] || { echo "no brotli 1.0 source package in the source index" >&2; exit 1; }
apt-get source --download-only -qq "brotli=$brotli_version" >/dev/null
dpkg-source -x --skip-patches brotli_*.dsc brotli-src >/dev/null
cmake -S brotli-src -B brotli-build -G Ninja \
    -DCMAKE_TOOLCHAIN_FILE="$toolchain" -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_INSTALL_PREFIX="$prefix" -DBUILD_SHARED_LIBS=OFF -DBROTLI_DISABLE_TESTS=ON >/dev/null
cmake --build brotli-build >/dev/null
cmake --install brotli-build >/dev/null

# Zstandard from trixie, the very version of the native build's libzstd-dev.
zstd_version=$(dpkg-query -W -f='${source:Version}' libzstd-dev)
apt-get source --download-only -qq "libzstd=$zstd_version" >/dev/null
dpkg-source -x --skip-patches libzstd_*.dsc zstd-src >/dev/null
cmake -S zstd-src/build/cmake -B zstd-build -G Ninja \
    -DCMAKE_TOOLCHAIN_FILE="$toolchain" -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_INSTALL_PREFIX="$prefix" -DZSTD_BUILD_STATIC=ON -DZSTD_BUILD_SHARED=OFF \
    -DZSTD_BUILD_PROGRAMS=OFF -DZSTD_BUILD_TESTS=OFF -DZSTD_MULTITHREAD_SUPPORT=OFF >/dev/null
cmake --build zstd-build >/dev/null
cmake --install zstd-build >/dev/null

# The upstream tarball of a trixie source package, checked against the checksum that the source
# index lists, unpacked into <dir>. The mirror serves such tarballs but not always the .dsc.
upstream_source() {
    local package=$1 version=$2 dir=$3 revision tarball sha256
    revision=$(apt-cache showsrc "$package" | awk -v v="$version-" 'index($0, "Version: " v) == 1 {print $2}' \
        | sort -V | tail -n 1)
    [ -n "$revision" ] || { echo "no $package $version source package in the source index" >&2; exit 1; }
    apt-get source --download-only -qq "$package=$revision" >/dev/null 2>&1 || true
    tarball=$(ls "${package}_$version.orig.tar."* 2>/dev/null | head -n 1)
    [ -n "$tarball" ] || { echo "the upstream tarball of $package $version did not arrive" >&2; exit 1; }
    sha256=$(apt-cache showsrc "$package" \
        | awk -v f="$tarball" '/^Checksums-Sha256:/ {s=1; next} /^[^ ]/ {s=0} s && $3 == f {print $1; exit}')
    [ -n "$sha256" ] || { echo "no checksum for $tarball in the source index" >&2; exit 1; }
    echo "$sha256  $tarball" | sha256sum --check --quiet
    mkdir "$dir"
    tar -xf "$tarball" -C "$dir" --strip-components=1
}

# libdeflate, the version of the native build's libdeflate-dev: the PNG writer's compressor.
upstream_source libdeflate "$(dpkg-query -W -f='${source:Upstream-Version}' libdeflate-dev)" deflate-src
cmake -S deflate-src -B deflate-build -G Ninja \
    -DCMAKE_TOOLCHAIN_FILE="$toolchain" -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_INSTALL_PREFIX="$prefix" -DLIBDEFLATE_BUILD_STATIC_LIB=ON -DLIBDEFLATE_BUILD_SHARED_LIB=OFF \
    -DLIBDEFLATE_BUILD_GZIP=OFF >/dev/null
cmake --build deflate-build >/dev/null
cmake --install deflate-build >/dev/null

# libcurl, the version of the native build's libcurl4-openssl-dev, with Windows' own TLS
# (Schannel) and nothing else: HTTP(S) transfers of stores.
upstream_source curl "$(dpkg-query -W -f='${source:Upstream-Version}' libcurl4-openssl-dev)" curl-src
cmake -S curl-src -B curl-build -G Ninja \
    -DCMAKE_TOOLCHAIN_FILE="$toolchain" -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_INSTALL_PREFIX="$prefix" -DBUILD_SHARED_LIBS=OFF -DBUILD_STATIC_LIBS=ON -DBUILD_CURL_EXE=OFF \
    -DBUILD_TESTING=OFF -DBUILD_LIBCURL_DOCS=OFF -DBUILD_MISC_DOCS=OFF -DENABLE_CURL_MANUAL=OFF \
    -DCURL_USE_SCHANNEL=ON -DCURL_USE_OPENSSL=OFF -DCURL_USE_LIBPSL=OFF -DCURL_USE_LIBSSH2=OFF -DUSE_LIBIDN2=OFF \
    -DUSE_NGHTTP2=OFF -DCURL_ZLIB=OFF -DCURL_BROTLI=OFF -DCURL_ZSTD=OFF -DHTTP_ONLY=ON >/dev/null
cmake --build curl-build >/dev/null
cmake --install curl-build >/dev/null

# LASzip 3.5.0 from trixie.
upstream_source laszip 3.5.0 laszip-src
# Only the library that implements the C API; its dynamic-loading shim (laszip_api) is not needed.
cmake -S laszip-src -B laszip-build -G Ninja \
    -DCMAKE_TOOLCHAIN_FILE="$toolchain" -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_INSTALL_PREFIX="$prefix" -DLASZIP_BUILD_STATIC=ON -Wno-dev >/dev/null
cmake --build laszip-build --target laszip3 >/dev/null
install -D -m 644 laszip-build/src/liblaszip3.a "$prefix/lib/liblaszip3.a"
install -D -m 644 laszip-src/include/laszip/laszip_api.h "$prefix/include/laszip/laszip_api.h"
install -D -m 644 laszip-build/include/laszip/laszip_api_version.h "$prefix/include/laszip/laszip_api_version.h"

# Google Benchmark, the version of the native build's libbenchmark-dev: for the benchmarks that
# need a Direct3D device and so run as Windows programs under Wine.
upstream_source benchmark "$(dpkg-query -W -f='${source:Upstream-Version}' libbenchmark-dev)" benchmark-src
cmake -S benchmark-src -B benchmark-build -G Ninja \
    -DCMAKE_TOOLCHAIN_FILE="$toolchain" -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_INSTALL_PREFIX="$prefix" -DBUILD_SHARED_LIBS=OFF -DBENCHMARK_ENABLE_TESTING=OFF \
    -DBENCHMARK_ENABLE_GTEST_TESTS=OFF -DBENCHMARK_ENABLE_WERROR=OFF -DBENCHMARK_INSTALL_DOCS=OFF >/dev/null
cmake --build benchmark-build >/dev/null
cmake --install benchmark-build >/dev/null

cd /
rm -rf "$work"
echo "MinGW libraries installed in $prefix"
