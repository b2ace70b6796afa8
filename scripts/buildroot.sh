# Creation of, and entry into, the Debian 13 build root. Sourced by ./dev; expects $repo and $root.
#
# The root is made in steps, each finished by a marker file, so that an interrupted run resumes
# where it stopped: the base system, the packages (marker carries a hash of the package list, so
# adding a package installs it on the next run), and the MinGW builds of libraries Debian does
# not package for Windows.
#
# Several ./dev commands may use the root at once. Each registers its pid under $root.users/;
# the last one to leave unmounts. Mounts left behind by a killed run are reused.

debian_mirror=${LUMARO_DEBIAN_MIRROR:-http://deb.debian.org/debian}
users_dir="$root.users"
lock_file="$root.lock"

log() { echo "[dev] $*" >&2; }

buildroot_mount_all() {
    local target
    mkdir -p "$root$repo"
    mountpoint -q "$root/proc"    || mount -t proc proc "$root/proc"
    mountpoint -q "$root/sys"     || mount --rbind /sys "$root/sys"
    mountpoint -q "$root/dev"     || mount --bind /dev "$root/dev"
    mountpoint -q "$root/dev/pts" || mount --bind /dev/pts "$root/dev/pts"
    mountpoint -q "$root$repo"    || mount --bind "$repo" "$root$repo"
    if [ -d "$repo/../shared" ]; then
        target="$root$(cd "$repo/../shared" && pwd)"
        mkdir -p "$target"
        mountpoint -q "$target" || mount --bind -o ro "$repo/../shared" "$target"
    fi
}

# Every mount inside the root, deepest first: also those of other checkouts that used the root
# while this one did (each mounts its own repository), so the last one out leaves nothing behind.
buildroot_mounts_inside() {
    awk -v prefix="$root/" 'index($2, prefix) == 1 {print $2}' /proc/self/mounts | sort -r
}

buildroot_unmount_all() {
    local point
    for point in $(buildroot_mounts_inside); do
        mountpoint -q "$point" && { umount -R "$point" 2>/dev/null || umount -l -R "$point" 2>/dev/null || true; }
    done
    return 0
}

buildroot_exec() {
    # Runs a command inside the root, in the same directory as outside when that is in the repo,
    # in a clean environment. With buildroot_pass_settings=1 (the programs a user runs), the
    # caller's settings of stores and their servers go along: AWS_*, LUMARO_* and CURL_* (values
    # may span lines, as LUMARO_HTTP_HEADERS does). Builds and tests never see them.
    local cwd=$PWD entry
    local -a passed=()
    case "$cwd" in "$repo"*) ;; *) cwd=$repo ;; esac
    if [ "${buildroot_pass_settings:-0}" = 1 ]; then
        while IFS= read -r -d '' entry; do
            case "$entry" in AWS_*|LUMARO_*|CURL_*) passed+=("$entry") ;; esac
        done < <(env -0)
    fi
    chroot "$root" /usr/bin/env -i "${passed[@]}" \
        HOME=/root TERM="${TERM:-dumb}" PATH=/usr/local/bin:/usr/bin:/bin:/usr/sbin:/sbin \
        LANG=C.UTF-8 CI="${CI:-}" LUMARO_BUILD_TAG="$LUMARO_BUILD_TAG" LUMARO_REPO="$repo" \
        CCACHE_DIR=/var/cache/lumaro-ccache CCACHE_BASEDIR="$repo" CCACHE_MAXSIZE=5G \
        /bin/bash -c 'cd "$1" && shift && exec "$@"' _ "$cwd" "$@"
}

# The one tool the host needs: a fresh Debian machine has no debootstrap.
buildroot_host_tools() {
    command -v debootstrap >/dev/null && return 0
    log "installing debootstrap on this machine"
    mkdir -p "$(dirname "$root")"
    { apt-get update -qq && DEBIAN_FRONTEND=noninteractive apt-get install -y -qq debootstrap; } >"$root.host-apt.log" 2>&1 \
        || { tail -20 "$root.host-apt.log" >&2; die "cannot install debootstrap (log: $root.host-apt.log)"; }
}

buildroot_step_base() {
    [ -f "$root/.lumaro-base" ] && return 0
    buildroot_host_tools
    log "creating the Debian 13 build root in $root (about a minute)"
    buildroot_unmount_all
    [ -z "$(buildroot_mounts_inside)" ] || die "something is still mounted in $root; not removing the half-made root"
    rm -rf --one-file-system "$root"
    mkdir -p "$root"
    debootstrap --variant=minbase trixie "$root" "$debian_mirror" >"$root.debootstrap.log" 2>&1 \
        || { tail -20 "$root.debootstrap.log" >&2; die "debootstrap failed (log: $root.debootstrap.log)"; }
    echo "deb-src $debian_mirror bookworm main" >"$root/etc/apt/sources.list.d/bookworm-src.list"
    touch "$root/.lumaro-base"
}

buildroot_step_packages() {
    local wanted
    wanted=$(sha1sum "$repo/scripts/buildroot-packages.txt" | cut -c1-12)
    [ "$(cat "$root/.lumaro-packages" 2>/dev/null)" = "$wanted" ] && return 0
    log "installing the build root's packages"
    buildroot_exec /bin/bash -c '
        set -e
        export DEBIAN_FRONTEND=noninteractive
        apt-get update -qq
        apt-get install -y -qq --no-install-recommends $(grep -v "^#" "$1") >/var/log/lumaro-apt.log 2>&1 \
            || { tail -30 /var/log/lumaro-apt.log; exit 1; }
    ' _ "$repo/scripts/buildroot-packages.txt" || die "package installation failed"
    echo "$wanted" >"$root/.lumaro-packages"
}

buildroot_step_mingw_deps() {
    local wanted
    wanted=$(sha1sum "$repo/scripts/mingw-deps.sh" | cut -c1-12)
    [ "$(cat "$root/.lumaro-mingw-deps" 2>/dev/null)" = "$wanted" ] && return 0
    log "building MinGW libraries Debian does not package for Windows"
    buildroot_exec /bin/bash "$repo/scripts/mingw-deps.sh" || die "building the MinGW libraries failed"
    echo "$wanted" >"$root/.lumaro-mingw-deps"
}

# The host's certificate authorities, for tools in the root that reach package registries over
# TLS (npm) on machines whose traffic passes a proxy with an authority of its own.
buildroot_host_certificates() {
    local bundle=/etc/ssl/certs/ca-certificates.crt
    [ -f "$bundle" ] && [ -d "$root/etc/ssl/certs" ] || return 0
    cmp -s "$bundle" "$root/etc/ssl/certs/host-ca-certificates.crt" || cp "$bundle" "$root/etc/ssl/certs/host-ca-certificates.crt"
}

buildroot_register() {
    local pid
    mkdir -p "$users_dir"
    for pid in "$users_dir"/*; do
        [ -e "$pid" ] || continue
        kill -0 "$(basename "$pid")" 2>/dev/null || rm -f "$pid"
    done
    touch "$users_dir/$$"
}

buildroot_ensure() {
    (
        flock 9
        buildroot_register
        buildroot_step_base
        buildroot_mount_all
        buildroot_step_packages
        buildroot_step_mingw_deps
        buildroot_host_certificates
    ) 9>"$lock_file"
}

buildroot_enter() {
    (
        flock 9
        buildroot_register
        buildroot_mount_all
    ) 9>"$lock_file"
}

buildroot_leave() {
    local status=$?
    (
        flock 9
        rm -f "$users_dir/$$"
        local pid others=0
        for pid in "$users_dir"/*; do
            [ -e "$pid" ] || continue
            if kill -0 "$(basename "$pid")" 2>/dev/null; then others=1; else rm -f "$pid"; fi
        done
        [ "$others" = 1 ] || buildroot_unmount_all
    ) 9>"$lock_file"
    return $status
}
