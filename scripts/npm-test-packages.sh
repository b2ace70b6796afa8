#!/usr/bin/env bash
# Installs the npm packages that tests run (readers written by others, e.g. copc.js and laz-perf)
# from a folder's package.json and package-lock.json into a folder of the build:
#   npm-test-packages.sh SOURCE_FOLDER TARGET_FOLDER
# A second run with the same lock file installs nothing. Runs inside the build root.
set -euo pipefail

source=${1:?source folder with package.json and package-lock.json}
target=${2:?target folder}
command -v npm >/dev/null || { echo "npm-test-packages: npm is missing (scripts/buildroot-packages.txt)" >&2; exit 1; }

wanted=$(cat "$source/package.json" "$source/package-lock.json" | sha1sum | cut -c1-12)
[ "$(cat "$target/.installed" 2>/dev/null)" = "$wanted" ] && [ -d "$target/node_modules" ] && exit 0

mkdir -p "$target"
cp "$source/package.json" "$source/package-lock.json" "$target/"
# The machine's own certificate authorities, which ./dev copies into the build root, for
# machines that reach the registry through a proxy of their own.
if [ -f /etc/ssl/certs/host-ca-certificates.crt ]; then
    export NODE_EXTRA_CA_CERTS=/etc/ssl/certs/host-ca-certificates.crt
fi
(cd "$target" && npm ci --no-audit --no-fund --loglevel=error) || { echo "npm-test-packages: npm ci failed in $target" >&2; exit 1; }
echo "$wanted" >"$target/.installed"
