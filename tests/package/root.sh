# SPDX-License-Identifier: Apache-2.0
# For the scripts beside it, which run themselves in a root file system of Debian 12:
#     . root.sh; prepare_root "$@"; …what still needs the source tree…; enter_root
# prepare_root takes DIST, the folder of the packages, and optionally ROOT: the root file system is made
# there or, if it is there, taken from there. It is only read; all changes go to a temporary folder.
# With Debian's packages in its apt cache, no network is needed. After prepare_root there is none.
# shellcheck shell=bash

skip() {
    echo "skipped: $1" && exit 77
}

mirrors() {
    # shellcheck disable=SC2016 # the names in the format are apt's
    apt-get indextargets --format '$(ORIGIN) $(CODENAME) $(REPO_URI) $(RELEASE) $(COMPONENT)' \
        'Created-By: Packages' | sed -n -E 's/^Debian bookworm(-updates|-security)? //p' | sort -u
}

make_base() { # FOLDER
    local -r found=$(mirrors)
    mkdir -p "$1"
    debootstrap --variant=minbase bookworm "$1" \
        "$(sed -n 's/ bookworm main$//p' <<<"$found" | head -n 1)" >"$work/debootstrap.log" 2>&1 ||
        { tail "$work/debootstrap.log" && exit 1; }
    printf 'deb %s\n' "${found//$'\n'/$'\n'deb }" >"$1/etc/apt/sources.list"
    chroot "$1" apt-get update -qq
}

# Debian's packages that ours need, and $needed_too, into the cache of apt. Installs nothing.
download() { # FOLDER
    rm -rf "$1/dist" && mkdir "$1/dist" && cp "$dist"/*.deb "$1/dist"
    chroot "$1" sh -c "apt-get install -y -qq --download-only --no-install-recommends \
        /dist/*.deb ${needed_too:-}" >"$work/download.log" 2>&1 ||
        { tail "$work/download.log" && exit 1; }
}

build_root() { # BASE
    if [ ! -e "$1/etc/debian_version" ]; then
        make_base "$1"
        download "$1"
    fi
    mkdir -p "$work"/{upper,work,top}
    mount -t overlay overlay -o "lowerdir=$1,upperdir=$work/upper,workdir=$work/work" "$work/top"
    rm -rf "$work"/top/srv/* # of a test that ran there
    download "$work/top"
    mount -t proc proc "$work/top/proc"
    mount -t devpts devpts "$work/top/dev/pts"
    mount -t tmpfs tmpfs "$work/top/run"
    mount -t tmpfs tmpfs "$work/top/tmp"
    printf '#!/bin/sh\nexit 101\n' >"$work/top/usr/sbin/policy-rc.d" # nothing is started here
    chmod 755 "$work/top/usr/sbin/policy-rc.d"
}

# When all is over; a script may have more to do.
clean_up() {
    rm -rf -- "$work"
}

# Runs the script again, in namespaces of its own: what is mounted and started ends with it.
prepare_root() { # DIST [MORE…] [ROOT]
    local given_root=''
    [ $# -le "${arguments_before_root:-1}" ] || given_root=${!#}
    dist=$(realpath -m -- "$1") work=${VELLUMO_WORK:-}
    case ${VELLUMO_STAGE:-outside} in
        outside)
            compgen -G "$dist/*.deb" >/dev/null || skip 'no packages; run scripts/package'
            [ "$(id -u)" -eq 0 ] || skip 'only root can make a root file system'
            type -P debootstrap unshare ip >/dev/null || skip 'debootstrap or iproute2 is missing'
            work=$(mktemp -d)
            trap clean_up EXIT
            local status=0
            VELLUMO_STAGE=building VELLUMO_WORK=$work \
                unshare --mount --pid --fork --kill-child --mount-proc "$0" "$@" || status=$?
            exit "$status"
            ;;
        building)
            build_root "$(realpath -m -- "${given_root:-$work/base}")"
            VELLUMO_STAGE=inside exec unshare --net "$0" "$@"
            ;;
        booted) return ;; # see boot.sh
    esac
    root=$work/top
    [ "$VELLUMO_STAGE" != booting ] || become_systemd
    ip link set lo up
}

# From here on, nothing of this machine is to be seen. Not by chroot: the engine mounts, which needs
# a root that is a mount point.
enter_root() {
    mkdir -p "$root/old"
    cd "$root" && pivot_root . old && cd / && hash -r
    umount --lazy /old && rmdir /old
}

inside() {
    env -i PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin HOME=/root \
        LANG=C.UTF-8 DEBIAN_FRONTEND=noninteractive "$@"
}

failures=0
expect() { # WHAT COMMAND…
    local -r what=$1
    shift
    if said=$(inside "$@" 2>&1); then
        echo "ok: $what: $(head -n 1 <<<"$said")"
    else
        echo "FAILED ($?): $what: $said"
        failures=$((failures + 1))
    fi
}

# The commands of the page on the first night, one in each element of `lines`.
read_page() { # FILE
    mapfile -t lines < <(sed -n 's/^    //p' "$1")
    [ "${#lines[@]}" -ge 20 ] || { echo 'FAILED: the page has hardly any commands' && exit 1; }
}

# Runs the lines, one after the other, in one shell as a person would type them. Ends at the first
# failure. apt asks nothing and takes no recommended packages.
follow_page() { # LINE…
    printf '%s\n' 'APT::Get::Assume-Yes "true";' 'APT::Install-Recommends "false";' \
        'Dpkg::Use-Pty "false";' >/etc/apt/apt.conf.d/90test
    local -r began=$(date +%s)
    # shellcheck disable=SC2016
    inside bash -c 'cd /
        for line; do
            printf "\n# %s\n" "$line"
            eval "$line" </dev/null || { status=$?; echo "FAILED ($status): $line"; exit 1; }
        done' page "$@" >/var/log/page.log 2>&1 || { tail -n 60 /var/log/page.log && return 1; }
    grep -v '^Selecting\|^Preparing\|^Unpacking\|^Setting up' /var/log/page.log
    echo "ok: $# lines in $(($(date +%s) - began)) s"
}

# install_packages WORD…: what is named, without a word unless it fails.
install_packages() {
    inside apt-get install -y -qq --no-install-recommends "$@" >/var/log/install.log 2>&1 ||
        { tail -n 20 /var/log/install.log && exit 1; }
}
