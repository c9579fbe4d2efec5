# shellcheck shell=bash
# What set-up shows: a line for each step, with the time it took; everything else goes to a log. To be sourced.
# A step is a command in a process of its own, so that `set -e` holds within it.

# The log is passed on to recipes, which run as processes of their own and use this file too.
export ZELTO_SETUP_LOG=${ZELTO_SETUP_LOG:-}

# Starts the log of this run in folder $1, unless there is one. A run that has nothing to do needs none.
open_log() {
    [[ -z $ZELTO_SETUP_LOG ]] || return 0
    mkdir -p "$1"
    ZELTO_SETUP_LOG=$(mktemp "$1/setup-$(date +%Y%m%d-%H%M%S)-XXXX.log")
    # The last ten runs are enough to look at.
    find "$1" -name 'setup-*.log' -printf '%T@ %p\n' | sort -rn | tail -n +11 | cut -d' ' -f2- | xargs -r rm -f
}

say() {
    printf 'set-up: %s\n' "$*"
}

# Prints $1 seconds as "7 s" or "2 min 7 s".
elapsed_text() {
    if (($1 < 60)); then
        printf '%d s' "$1"
    else
        printf '%d min %d s' $(($1 / 60)) $(($1 % 60))
    fi
}

# Keeps a terminal's line up to date while step $1 is on its way. An interrupt doesn't reach what runs in the background;
# it notices when the script has ended.
show_time_passing() {
    local title=$1 start=$SECONDS
    while sleep 1 && kill -0 $$ 2>/dev/null; do
        printf '\rset-up: %s … %s ' "$title" "$(elapsed_text $((SECONDS - start)))"
    done
}

# Runs step "$1": the command in the further arguments. A step that fails ends the whole run, with what is known.
step() {
    local title=$1 start=$SECONDS from ticker='' status=0
    shift
    printf '### %s\n' "$title" >>"$ZELTO_SETUP_LOG"
    from=$(($(wc -l <"$ZELTO_SETUP_LOG") + 1))
    printf 'set-up: %s …' "$title"
    if [[ -t 1 ]]; then
        show_time_passing "$title" &
        ticker=$!
    fi
    "$@" >>"$ZELTO_SETUP_LOG" 2>&1 </dev/null || status=$?
    if [[ -n $ticker ]]; then
        kill "$ticker" 2>/dev/null || true
        wait "$ticker" 2>/dev/null || true
        printf '\rset-up: %s …' "$title"
    fi
    if ((status != 0)); then
        printf ' FAILED after %s (exit code %d)\n' "$(elapsed_text $((SECONDS - start)))" "$status"
        explain_failure "$title" "$from"
        exit 1
    fi
    printf ' %s\n' "$(elapsed_text $((SECONDS - start)))"
    # Whatever a step has to tell people, it writes to its output as a line that begins with "set-up note: ".
    tail -n "+$from" "$ZELTO_SETUP_LOG" | sed -n 's/^set-up note: /set-up:   /p'
}

# Tells why step $1, whose output begins at line $2 of the log, has failed.
explain_failure() {
    {
        printf 'set-up: "%s" failed. Its last words:\n' "$1"
        tail -n "+$2" "$ZELTO_SETUP_LOG" | grep -v '^[[:space:]]*$' | tail -n 12 | sed 's/^/    /'
        printf 'set-up: the whole output is in %s\n' "$ZELTO_SETUP_LOG"
    } >&2
}
