# shellcheck shell=bash
# Makes the Wine prefix that programs run in; to be sourced, by the recipes of both Wines. What the prefix differs in
# from one that Wine makes by itself is in wine-prefix.reg: addresses are opened by browser-handover.sh, windows need
# no display, and nothing ever asks a question or offers to download something.

# Makes the prefix $1/template and a copy of it, $1/prefix, in which programs run unless told otherwise. $2 is the
# folder that $1 will be moved to; the further arguments are the words that start Wine, and after "--" its server.
make_prefixes() {
    local part=$1 final=$2
    local -a wine=() server=()
    shift 2
    while [[ $1 != -- ]]; do
        wine+=("$1")
        shift
    done
    server=("${@:2}")
    cp "$(dirname "${BASH_SOURCE[0]}")/browser-handover.sh" "$part/browser-handover"
    chmod 755 "$part/browser-handover"

    export WINEPREFIX=$part/template WINEDEBUG=-all
    export WINEDLLOVERRIDES='winemenubuilder.exe,mscoree,mshtml='
    mkdir "$WINEPREFIX"
    # A Wine that lacks something can go on for ever.
    if ! timeout --kill-after=5 300 "${wine[@]}" wineboot --init; then
        "${server[@]}" --kill || true
        printf 'Wine could not make a prefix\n' >&2
        return 1
    fi
    sed "s|@BROWSER@|$final/browser-handover|" "$(dirname "${BASH_SOURCE[0]}")/wine-prefix.reg" \
        >"$WINEPREFIX/drive_c/settings.reg"
    "${wine[@]}" regedit /S 'C:\settings.reg'
    rm "$WINEPREFIX/drive_c/settings.reg"
    # The server writes the registry to the prefix when it ends.
    "${server[@]}" --wait
    grep -q browser-handover "$WINEPREFIX/user.reg"
    clone_prefix "$WINEPREFIX" "$part/prefix"
}

# Copies the prefix $1, in which nothing runs, to $2. The programs and libraries that come with Wine are most of it, and
# nothing changes them: they are shared by hard links where the file system lets them be.
clone_prefix() {
    local from=$1 to=$2 shared=drive_c/windows/system32
    mkdir -p "$to/${shared%/*}"
    cp --archive --link "$from/$shared" "$to/$shared" 2>/dev/null \
        || cp --archive --reflink=auto "$from/$shared" "$to/${shared%/*}"
    # The file "wineserver" says where the server's socket was.
    tar --create --directory "$from" --exclude="./$shared" --exclude=./wineserver . \
        | tar --extract --directory "$to"
}
