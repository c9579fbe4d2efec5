# shellcheck shell=bash
# The components that set-up keeps in the cache folder: where each lies, and how a new one gets there. To be sourced.
#
# A component lies in CACHE/NAME-KEY; the key is a hash of its recipe (the scripts and data files that make it, pinned
# versions included), so that a changed recipe makes a new component and a fresh clone finds the one it needs. A
# component is made in a folder of its own and moved into place when it is complete: whoever sees it sees it whole.

setup_dir=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
ZELTO_CACHE_DIR=${ZELTO_CACHE_DIR:-${XDG_CACHE_HOME:-$HOME/.cache}/zelto-auth}

# Prints the version of an installed package, nothing when it isn't there.
installed_version() {
    dpkg-query --showformat='${Version}' --show "$1" 2>/dev/null || true
}

# Prints the files that make up the recipe of component $1, and whatever else its content depends on.
recipe_of() {
    case $1 in
        toolchain)
            cat "$setup_dir"/{pins.sh,private-apt.sh,toolchain.sh,toolchain-target.sh,toolchain-wrappers.sh}
            ;;
        wine-x64)
            cat "$setup_dir"/{wine-x64.sh,wine-prefix.sh,wine-prefix.reg,browser-handover.sh}
            installed_version wine64
            ;;
        wine-arm64)
            cat "$setup_dir"/{pins.sh,private-apt.sh,wine-arm64.sh,wine-arm64.pins,wine-prefix.sh,wine-prefix.reg}
            cat "$setup_dir"/{browser-handover.sh,mend_wine_arm64.py}
            ;;
        *)
            printf 'no component is named %s\n' "$1" >&2
            return 1
            ;;
    esac
}

# Prints the folder of component $1, whether it is there already or not.
component_dir() {
    local key
    key=$(recipe_of "$1" | sha256sum | cut -c1-12)
    printf '%s/%s-%s\n' "$ZELTO_CACHE_DIR" "$1" "$key"
}

# Makes component $1 with the script $2, unless it is there. The script is given an empty folder to fill, and shows its
# steps (steps.sh, which must be sourced for this).
# It may write a file "replaced-versions" there: the versions it took because the pinned ones were gone. They then
# become part of the folder's name, to which the usual name is a link.
ensure_component() {
    local name=$1 maker=$2 dir
    dir=$(component_dir "$name")
    [[ -d $dir ]] && return
    mkdir -p "$ZELTO_CACHE_DIR/building"
    # One maker at a time; whoever waited finds the component made.
    exec {component_lock}>"$ZELTO_CACHE_DIR/building/$name.lock"
    if ! flock --nonblock "$component_lock"; then
        say "$name: another set-up makes it; waiting"
        flock "$component_lock"
    fi
    if [[ ! -d $dir ]]; then
        # What a killed run left: nobody can be working on it, as the lock is ours.
        rm -rf "$ZELTO_CACHE_DIR/building/$name".*.part
        local part=$ZELTO_CACHE_DIR/building/$name.$$.part
        mkdir "$part"
        open_log "$ZELTO_CACHE_DIR/logs"
        "$maker" "$part" "$dir"
        publish_component "$part" "$dir"
    fi
    exec {component_lock}>&-
}

# Moves the finished component $1 to where it belongs, $2.
publish_component() {
    local part=$1 dir=$2 replaced
    if [[ -e $part/replaced-versions ]]; then
        replaced=$dir-$(sha256sum <"$part/replaced-versions" | cut -c1-8)
        rm -rf "$replaced"
        mv -T "$part" "$replaced"
        ln -sfnT "${replaced##*/}" "$dir"
    else
        mv -T "$part" "$dir"
    fi
}
