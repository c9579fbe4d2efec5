# shellcheck shell=bash
# Tells other scripts where set-up keeps what they use; to be sourced.
#
#   ZELTO_CACHE_DIR        the cache folder; set it beforehand to have the cache elsewhere
#   ZELTO_TOOLCHAIN_DIR    the cross toolchain; its commands are in bin
#   ZELTO_WINE_X64_DIR     what running x64 programs needs: prefix, template
#   ZELTO_WINE_ARM64_DIR   what running ARM64 programs needs: root, prefix, template
#
# The folders are named even when set-up has not made them yet.

source "$(dirname "${BASH_SOURCE[0]}")/component.sh"

export ZELTO_CACHE_DIR
ZELTO_TOOLCHAIN_DIR=$(component_dir toolchain)
ZELTO_WINE_X64_DIR=$(component_dir wine-x64)
ZELTO_WINE_ARM64_DIR=$(component_dir wine-arm64)
export ZELTO_TOOLCHAIN_DIR ZELTO_WINE_X64_DIR ZELTO_WINE_ARM64_DIR
