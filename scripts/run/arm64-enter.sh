# shellcheck shell=bash
# Enters the room in which ARM64 programs run, having it made if need be (see arm64-room.sh); to be sourced.
# ZELTO_WINE_ARM64_DIR is set-up's component.

arm64_scripts=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)

# qemu's default processor has instructions that this Wine's code and qemu don't agree on.
export QEMU_CPU=${QEMU_CPU:-cortex-a76}

# Prints what the room's namespaces take: nothing but its own mounts for root; for others a user namespace as well, in
# which they may mount, and in which they must be called root to tell the kernel about qemu.
namespace_options() {
    if ((EUID == 0)); then
        printf '%s\n' --mount --propagation private
    else
        printf '%s\n' --mount --propagation private --map-root-user
    fi
}

# Starts the keeper of a room and returns when the room is ready. The keeper's lock comes on fd 9.
start_keeper() {
    local room=$ZELTO_WINE_ARM64_DIR/room keeper
    local -a namespaces
    mapfile -t namespaces < <(namespace_options)
    rm -f "$room/keeper"
    setsid unshare "${namespaces[@]}" "$arm64_scripts/arm64-room.sh" "$ZELTO_WINE_ARM64_DIR" \
        </dev/null >"$room/log" 2>&1 {room_users}>&- {room_starting}>&- &
    keeper=$!
    while [[ ! -s $room/keeper ]]; do
        kill -0 "$keeper" 2>/dev/null || return
        sleep 0.02
    done
}

# Has root tell the kernel about qemu; for those who can't because their kernel is too old for it.
register_qemu_with_sudo() {
    ((EUID != 0)) && [[ $(uname -m) != aarch64 ]] \
        && sudo --non-interactive unshare --mount "$arm64_scripts/register-qemu.sh" 2>/dev/null
}

start_room() {
    if ! start_keeper && ! { register_qemu_with_sudo && start_keeper; }; then
        printf '%s: the room for ARM64 programs cannot be made:\n' "$0" >&2
        cat "$ZELTO_WINE_ARM64_DIR/room/log" >&2
        exit 126
    fi
}

# Makes sure that there is a room, and that it stays until this process and its children have ended or left it.
join_room() {
    local room=$ZELTO_WINE_ARM64_DIR/room
    if [[ ! -d $ZELTO_WINE_ARM64_DIR/root ]]; then
        printf '%s: Wine for ARM64 is not set up; run scripts/setup.sh arm64\n' "$0" >&2
        exit 126
    fi
    mkdir -p "$room"
    exec {room_users}>>"$room/users"
    flock --shared "$room_users"
    exec {room_starting}>>"$room/starting"
    flock "$room_starting"
    exec 9>>"$room/alive"
    if flock --nonblock 9; then
        start_room
    fi
    exec 9>&- {room_starting}>&-
    room_keeper=$(<"$room/keeper")
}

# Leaves the room that join_room has joined.
leave_room() {
    exec {room_users}>&-
}

# Sets room_command to the words that start a program in the room.
set_room_command() {
    local seen_from_outside=/proc/$room_keeper/root$ZELTO_WINE_ARM64_DIR/root
    room_command=(nsenter --target "$room_keeper" --mount --root="$seen_from_outside" --wdns="$PWD")
    if ((EUID != 0)); then
        room_command+=(--user --preserve-credentials)
    fi
}
