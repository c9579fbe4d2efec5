# shellcheck shell=bash
# The Debian packages that each purpose needs; to be sourced. All names are found in Debian 12 and in 13.
# shellcheck disable=SC2034

# What set-up itself uses.
readonly packages_base=(bash bzip2 ca-certificates coreutils debian-archive-keyring findutils util-linux xz-utils)

# Compiling, for Windows and natively; running Python scripts.
readonly packages_build=(
    ccache clang-19 lld-19 llvm-19 libclang-rt-19-dev cmake git googletest make ninja-build
    curl python3 python3-cryptography python3-pefile openssl
)

# Style checks.
readonly packages_lint=(clang-format-19 clang-tidy-19 shellcheck)

# Running x64 Windows programs. The 64-bit Wine alone: nothing here is built for 32 bits.
readonly packages_x64=(wine wine64)

# Running ARM64 programs on another processor. Their Wine isn't installed but unpacked into the cache.
readonly packages_arm64=(qemu-user-static)

# A browser that scripts drive, at a gateway that Python simulates.
readonly packages_demo=(chromium chromium-driver python3-selenium)

# A desktop for dialogs, and keys pressed on it; fonts, which neither Wine has.
readonly packages_desktop=(xvfb xdotool python3-pil fonts-open-sans fonts-wine)

# Making an MSI.
readonly packages_installer=(wixl)

# Looking into crash dumps.
readonly packages_debugger=(lldb-19)

# The benchmark's peers, and counting instructions.
readonly packages_bench=(libfmt-dev libspdlog-dev valgrind)
