#!/usr/bin/env bash
# Installs the Debian packages named as arguments, as root or through sudo.
set -euo pipefail

as_root() {
    if ((EUID == 0)); then
        "$@"
    else
        sudo --non-interactive "$@"
    fi
}

install_packages() {
    as_root env DEBIAN_FRONTEND=noninteractive apt-get -q -y --no-install-recommends \
        -o DPkg::Lock::Timeout=300 install "$@"
}

# Lists that are new enough spare the download; a package that can't be found or fetched means they are not.
install_packages "$@" || {
    as_root apt-get -q -o DPkg::Lock::Timeout=300 update
    install_packages "$@"
}
