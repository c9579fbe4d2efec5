#!/usr/bin/env bash
# Keeps the room in which ARM64 programs run, for as long as somebody is in it. arm64-enter.sh starts it, in mount
# namespaces of its own: all that it mounts is seen by the room's programs only, and gone when the last of them is.
#
#   arm64-room.sh FOLDER     with the lock FOLDER/room/alive held on file descriptor 9
#
# The room is FOLDER/root with this machine's folders mounted into it at their usual places (home, work and temporary
# files, devices), except those that hold programs, which are the ARM64 Wine's own.
#
# Everybody in the room holds a shared lock on FOLDER/room/users. When the keeper gets it for itself, the room is empty.
set -euo pipefail

folder=$1
root=$folder/root
room=$folder/room

# Mounts the folder $1 of this machine into the room.
show_folder() {
    mkdir -p "$root$1"
    mount --rbind "$1" "$root$1"
}

show_machine() {
    local entry
    for entry in /*; do
        case $entry in
            /bin | /sbin | /lib | /lib32 | /lib64 | /libx32 | /usr | /lost+found) continue ;;
        esac
        if [[ -L $entry ]]; then
            [[ -e $root$entry || -L $root$entry ]] || cp --no-dereference "$entry" "$root$entry"
        elif [[ -d $entry ]]; then
            show_folder "$entry"
        fi
    done
    # Where people keep files of their own below /usr.
    for entry in /usr/local /usr/src; do
        [[ -d $entry ]] && show_folder "$entry"
    done
}

# Whether an ARM64 program starts at all.
check_interpreter() {
    /usr/sbin/chroot "$root" /usr/bin/dash -c : && return
    printf 'ARM64 programs cannot be started here: the kernel knows no interpreter for them, and only root can tell it '
    printf 'one on kernels before 6.7. As root, run: unshare --mount %s/register-qemu.sh\n' "${BASH_SOURCE[0]%/*}"
    return 1
} >&2

if [[ $(uname -m) != aarch64 ]]; then
    "${BASH_SOURCE[0]%/*}/register-qemu.sh" || true
fi
show_machine
check_interpreter

exec {users}>>"$room/users"
printf '%s\n' "$$" >"$room/keeper"
# Should this keeper be killed, what it has started must not go on holding its lock.
flock --exclusive "$users" 9>&-
rm "$room/keeper"
# The lock on fd 9 must be gone before the other one is: whoever gets in next must not take this room for a living one.
exec 9>&-
