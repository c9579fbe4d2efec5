# shellcheck shell=bash
# Takes packages from the pinned suite without touching the machine's own apt: own sources, lists, cache and status, but
# the machine's mirror, proxy and trusted keys, so that apt verifies what it fetches as ever. To be sourced.

source "${BASH_SOURCE[0]%/*}/pins.sh"

# Prints the address of the mirror of Debian that the machine's apt uses.
machine_mirror() {
    local -a filters=('Created-By: Packages' 'Component: main' 'Origin: Debian' 'Label: Debian')
    local mirror
    # shellcheck disable=SC2016 # $(REPO_URI) is apt's to fill in
    mirror=$(apt-get indextargets --format '$(REPO_URI)' "${filters[@]}" | head -n 1)
    if [[ -z $mirror ]]; then
        printf 'apt knows no mirror of Debian here; has "apt-get update" run?\n' >&2
        return 1
    fi
    printf '%s\n' "$mirror"
}

# Makes the private configuration in folder $1, for architecture $2 and entries of type $3 ("deb" or "deb-src"), and
# fetches the suite's lists. From here on private_apt and private_apt_cache use it.
open_private_apt() {
    local home=$1 architecture=$2 type=$3 mirror
    mirror=$(machine_mirror)
    mkdir -p "$home"/{lists/partial,cache/archives/partial,sources.list.d,preferences.d}
    : >"$home/status"
    printf '%s [signed-by=%s] %s %s main\n' "$type" /usr/share/keyrings/debian-archive-keyring.gpg \
        "$mirror" "$pinned_suite" >"$home/sources.list"
    cat >"$home/apt.conf" <<END
APT::Architecture "$architecture";
APT::Architectures "$architecture";
APT::Install-Recommends "false";
APT::Install-Suggests "false";
APT::Sandbox::User "";
Dir::Etc::SourceList "$home/sources.list";
Dir::Etc::SourceParts "$home/sources.list.d";
Dir::Etc::Preferences "$home/preferences";
Dir::Etc::PreferencesParts "$home/preferences.d";
Dir::State "$home";
Dir::State::Lists "$home/lists";
Dir::State::status "$home/status";
Dir::State::extended_states "$home/extended_states";
Dir::Cache "$home/cache";
DPkg::Pre-Install-Pkgs "";
END
    private_apt_config=$home/apt.conf
    private_apt update --error-on=any
}

private_apt() {
    apt-get -c "$private_apt_config" -q "$@"
}

private_apt_cache() {
    apt-cache -c "$private_apt_config" "$@"
}
