# SPDX-License-Identifier: Apache-2.0
# For scripts that source root.sh: boots the root file system with its own systemd as process 1, in namespaces
# and control groups of its own, and runs the script again in it.
#     . root.sh; . boot.sh; prepare_root "$@"; …what still needs the source tree…; boot_and_run STEP…
# Each STEP is a name that the script gets in $booted_step; the machine is switched off and boots again
# between two steps. The script, root.sh and boot.sh are in /test there.
# shellcheck shell=bash disable=SC2154 # root.sh sets work, root and dist

# The groups of a machine that is gone.
clean_up() {
    [ ! -d "$(groups_place)" ] || find "$(groups_place)" -depth -type d -exec rmdir {} +
    rm -rf -- "$work"
}

# Only the unified hierarchy: systemd 252 does not mind that the kernel has given controllers to others.
groups_place() {
    echo "$(findmnt --noheadings --first-only --output TARGET --types cgroup2)/vellumo-$(basename "$work")"
}

# What a machine has before its first process starts.
mount_kernel() {
    mount -t proc proc "$root/proc"
    mount --bind "$root/proc/sys" "$root/proc/sys"
    mount -o remount,bind,ro "$root/proc/sys" # most of it is that of all machines
    mount -t sysfs -o ro sysfs "$root/sys"
    mount -t cgroup2 cgroup2 "$root/sys/fs/cgroup"
    mount -t tmpfs -o mode=755 tmpfs "$root/run"
    mount -t tmpfs -o mode=1777 tmpfs "$root/tmp"
    mount -t tmpfs -o mode=755 tmpfs "$root/dev"
    local name numbers
    while read -r name numbers; do
        # shellcheck disable=SC2086 # two numbers
        mknod -m 666 "$root/dev/$name" c $numbers
    done <<<$'null 1 3\nzero 1 5\nfull 1 7\nrandom 1 8\nurandom 1 9\ntty 5 0'
    mkdir "$root/dev/pts" "$root/dev/shm"
    mount -t devpts -o newinstance,ptmxmode=0666,mode=620,gid=5 devpts "$root/dev/pts"
    mount -t tmpfs -o mode=1777 tmpfs "$root/dev/shm"
    ln -s pts/ptmx "$root/dev/ptmx"
    ln -s /proc/self/fd "$root/dev/fd"
}

# There is no terminal, no network but lo, and nothing may happen behind the test's back.
mask_units() {
    local unit
    for unit in console-getty.service nmbd.service samba-ad-dc.service apt-daily.timer \
        apt-daily-upgrade.timer sys-kernel-debug.mount sys-kernel-tracing.mount systemd-modules-load.service; do
        ln -sf /dev/null "$root/etc/systemd/system/$unit"
    done
}

# A root file system that is new has no systemd yet. The script names it in $needed_too.
install_systemd() {
    [ -x "$root/lib/systemd/systemd" ] ||
        inside chroot "$root" apt-get install -y -qq --no-install-recommends systemd >"$work/systemd.log" 2>&1 ||
        { tail "$work/systemd.log" && exit 1; }
}

# Becomes systemd; in new namespaces, as process 1.
become_systemd() {
    mount_kernel
    enter_root
    exec env -i PATH=/usr/sbin:/usr/bin container=vellumo-test /lib/systemd/systemd >/dev/null 2>&1 </dev/null
}

start_machine() {
    mkdir -p "$(groups_place)"
    # shellcheck disable=SC2016 # the inner shell expands them
    VELLUMO_STAGE=booting unshare --mount --uts --ipc --pid --fork --kill-child sh -c \
        'echo 0 >"$1/cgroup.procs" && shift && exec unshare --cgroup "$@"' sh "$(groups_place)" "$0" "$dist" &
    unshare=$!
    local tries
    for ((tries = 0; tries < 100; tries++)); do
        machine=$(pgrep -P "$unshare" || true)
        [ "$(cat "/proc/${machine:-none}/comm" 2>/dev/null)" != systemd ] ||
            ! on_machine test -S /run/systemd/private || break
        sleep 0.2
    done
    on_machine timeout 180 systemctl is-system-running --wait >"$work/state" ||
        grep -q degraded "$work/state" || not_booted "$(cat "$work/state")"
    has_booted=yes
}

# Once the machine has booted, it can here: what is in the way then is what a step has installed.
not_booted() { # STATE
    [ -n "${has_booted:-}" ] || skip "systemd does not boot here: $1"
    echo "failed: the machine does not boot again: $1"
    on_machine systemctl list-jobs || true
    exit 1
}

on_machine() {
    nsenter --target "$machine" --mount --uts --ipc --pid --cgroup --root --wd=/ \
        env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin "$@" 2>"$work/on_machine"
}

# Ends when the last process of the machine has ended.
stop_machine() {
    local -r began=$(date +%s)
    on_machine systemctl --no-block poweroff
    wait "$unshare" || true
    echo "switched off in $(($(date +%s) - began)) s"
}

# A unit that runs the script with a step. (systemd-run would need D-Bus to wait for it.)
write_unit() {
    printf '%s\n' '[Service]' Type=oneshot "ExecStart=/test/$(basename "$0") /dist" \
        'Environment=VELLUMO_STAGE=booted booted_step=%i' 'StandardOutput=truncate:/var/log/%i' \
        'StandardError=inherit' TimeoutStartSec=infinity >"$root/etc/systemd/system/check@.service"
}

# After a step, while the machine runs, with the programs of the machine outside; both have the same
# network. A script may have something to look at.
look_from_outside() { # STEP
    :
}

boot_and_run() { # STEP…
    mkdir "$root/test" && cp "$0" "$(dirname "$0")"/{root,boot}.sh "$root/test/"
    install_systemd
    rm -f "$root/usr/sbin/policy-rc.d" # services are started here
    mask_units
    write_unit
    local step status=0
    for step; do
        start_machine
        echo "== $step: $(on_machine systemctl --version | head -n 1), $(cat "$work/state")"
        on_machine systemctl start "check@$step" || status=$?
        cat "$root/var/log/$step"
        [ "$status" -ne 0 ] || look_from_outside "$step" || status=1
        [ "$status" -eq 0 ] || { cat "$work/on_machine" && on_machine journalctl --no-pager | tail -n 60; }
        stop_machine
        [ "$status" -eq 0 ] || exit "$status"
    done
}
