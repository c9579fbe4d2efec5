# shellcheck shell=bash
# What running a program under either Wine takes; to be sourced.
#
# Wine's server and services stay for some time after the last program, which makes the next start quick. They must not
# be started by a program: they would inherit its output, and whoever reads that through a pipe would wait for them.

# For the caller to set: the component of set-up, and the words that start Wine and its server.
wine_folder=
wine_command=()
wineserver_command=()

# Seconds for which server and services outlive the last program.
readonly wine_linger=120

# Sets the environment that Wine needs. All else that the caller has set reaches the program.
set_wine_environment() {
    export WINEPREFIX=${ZELTO_WINEPREFIX:-$wine_folder/prefix}
    export WINEDEBUG=${WINEDEBUG:--all}
    # Wine takes its code page and formats from here, wherever it runs; the ARM64 Wine's folder has no other locale.
    export LC_ALL=C.UTF-8
    if [[ ! -d $WINEPREFIX ]]; then
        printf '%s: there is no Wine prefix %s; run scripts/setup.sh\n' "$0" "$WINEPREFIX" >&2
        exit 126
    fi
}

# Starts server and services for the prefix unless they run. The server holds the lock "alive" for as long as it lives.
# Whoever starts it holds "starting" until the services are up as well, and everybody else waits for that: a program
# that came between server and services would start them itself.
ensure_wine_session() {
    local starting alive
    exec {starting}>>"$WINEPREFIX/.zelto-starting" {alive}>>"$WINEPREFIX/.zelto-alive"
    flock --shared "$starting"
    if flock --nonblock --shared "$alive"; then
        flock --unlock "$alive"
        flock --unlock "$starting"
        flock "$starting"
        if flock --nonblock "$alive"; then
            start_wine_session {starting}>&- </dev/null >/dev/null 2>&1 || true
        fi
    fi
    exec {starting}>&- {alive}>&-
}

# Starts the server, and the services by way of a program that does nothing.
start_wine_session() {
    "${wineserver_command[@]}" --persistent="$wine_linger"
    "${wine_command[@]}" cmd /c exit
}

# Ends all programs in the prefix and the server, if it runs.
end_wine_session() {
    "${wineserver_command[@]}" --kill >/dev/null 2>&1 || true
    "${wineserver_command[@]}" --wait >/dev/null 2>&1 || true
}

# Wine hands a program's error output on to whatever the program has started: a desktop for the first window, a service.
# These live on, and whoever reads that output through a pipe would wait for them. So they get a file, and what is
# written there is passed on for as long as this process, which becomes the program, lives.
detach_error_output() {
    local errors reader writer
    [[ -p /proc/self/fd/2 ]] || return 0
    errors=$(mktemp)
    # shellcheck disable=SC2094 # it is there already, and empty
    exec {writer}>"$errors" {reader}<"$errors"
    rm -f "$errors"
    pass_on_while_alive $$ <&"$reader" >&2 2>/dev/null {writer}>&- {reader}<&- &
    exec 2>&"$writer" {writer}>&- {reader}<&-
}

# Copies what is appended to standard input until process $1 has ended. (A process that has ended may still be listed,
# as a zombie: its parent may be waiting for the end of this very output.)
pass_on_while_alive() {
    local stat
    while read -r stat <"/proc/$1/stat" && [[ ${stat##*) } != Z* ]]; do
        pass_on_new
        sleep 0.1
    done
    pass_on_new
}

pass_on_new() {
    local line
    while IFS= read -r line; do
        printf '%s\n' "$line"
    done
    printf '%s' "$line"
}

# Becomes the Windows program given by its Unix path and its arguments.
run_windows_program() {
    if (($# == 0)); then
        printf 'usage: %s PROGRAM.exe [ARGUMENT…]\n' "$0" >&2
        exit 2
    fi
    set_wine_environment
    if [[ $1 == --end-session ]]; then
        end_wine_session
        exit
    fi
    ensure_wine_session
    detach_error_output
    exec "${wine_command[@]}" "$@"
}
