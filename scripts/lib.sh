# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash disable=SC2034 # the lists are for whoever sources this
# Functions and lists that the scripts share. To be sourced in the root directory of the tree.

step() { printf '\n== %s\n' "$*"; }
fail() {
    printf '%s: %s\n' "$(basename "$0")" "$1" >&2
    exit "${2:-1}"
}

# Packages to build, to convert and to test.
build_packages=(g++ cmake ninja-build pkg-config libjsoncpp-dev libboost-filesystem-dev
    libboost-system-dev libsqlite3-dev libseccomp-dev libqpdf-dev libreoffice-dev
    libreofficekit-dev libcli11-dev libgtest-dev libgmock-dev libsystemd-dev libboost-dev
    libpam0g-dev libsodium-dev libbenchmark-dev bubblewrap)
tool_packages=(libreoffice-writer libreoffice-calc libreoffice-impress libreoffice-draw
    libreoffice-math python3-uno unoconv pdftk-java qpdf imagemagick ghostscript calibre
    fonts-dejavu fonts-liberation)
test_packages=(procps poppler-utils abigail-tools mandoc acl shellcheck samba samba-vfs-modules
    smbclient btrfs-progs bindfs nginx-light apache2-bin caddy openssl curl doxygen zsh fish)
# A container engine, which only root can run, and the programs that build the converters' image.
engine_packages=(docker.io debootstrap docker-compose)
check_packages=(clang clang-format clang-tidy libclang-rt-dev)

missing_packages() {
    local package
    for package in "$@"; do
        dpkg-query -W -f '${db:Status-Abbrev}' "$package" 2>/dev/null | grep -q '^ii' ||
            printf '%s\n' "$package"
    done
}

# The services that these packages would start together with the machine. The tests do not need them:
# they start an engine and a Samba of their own.
unit_files=/lib/systemd/system
init_scripts=/etc/init.d
service_units=(docker.service docker.socket containerd.service smbd.service nmbd.service
    samba-ad-dc.service nginx.service caddy.service)

# Every installation script of a package asks this program whether it may start a service. The first
# function makes the answer no, the second restores what was there before.
policy=/usr/sbin/policy-rc.d
policy_mark='Made by'
refuse_starts() {
    # One with our mark was left by a script that was killed.
    [ ! -e "$policy" ] || grep -q "^# $policy_mark" "$policy" || mv "$policy" "$policy.before"
    printf '#!/bin/sh\n# %s %s, for as long as it installs packages.\nexit 101\n' "$policy_mark" "$0" >"$policy"
    chmod 755 "$policy"
}
allow_starts() {
    rm -f "$policy"
    [ ! -e "$policy.before" ] || mv "$policy.before" "$policy"
}

# Installs packages without starting their services, neither now nor at the machine's next start.
install_packages() {
    local unit new=()
    for unit in "${service_units[@]}"; do
        [ -e "$unit_files/$unit" ] || new+=("$unit")
    done
    (
        trap allow_starts EXIT
        refuse_starts
        apt-get install -y -qq --no-install-recommends "$@" >/dev/null
    )
    for unit in "${new[@]}"; do
        [ -e "$unit_files/$unit" ] || continue
        ! command -v systemctl >/dev/null || systemctl --quiet disable "$unit"
        [ ! -e "$init_scripts/${unit%.service}" ] || update-rc.d "${unit%.service}" disable
    done
}

# Installs those of the given packages that are missing. For an ordinary user it fails and prints
# the command for an administrator.
need_packages() {
    command -v dpkg-query >/dev/null ||
        fail "this machine has no Debian packages; install the equivalents of: $*" 69
    local missing
    mapfile -t missing < <(missing_packages "$@")
    [ ${#missing[@]} -gt 0 ] || return 0
    [ "$(id -u)" -eq 0 ] ||
        fail "these packages are missing; ask an administrator to run:
    apt-get install --no-install-recommends ${missing[*]}" 69
    step "Installing ${#missing[@]} packages: ${missing[*]}"
    export DEBIAN_FRONTEND=noninteractive
    apt-get update -qq
    install_packages "${missing[@]}"
}

# How many tests run at once: most of them wait most of the time. The others are marked as taking two
# processors each (CMake's PROCESSORS).
jobs_of_tests() {
    echo $(($(nproc) * 2))
}

# build_preset PRESET [TARGET...]: configures a preset and builds it, or only the targets.
build_preset() {
    local preset=$1 targets=()
    shift
    [ $# -eq 0 ] || targets=(--target "$@")
    step "Building ($preset)"
    cmake --preset "$preset" -Wno-dev >/dev/null
    cmake --build --preset "$preset" "${targets[@]}"
}
