#!/usr/bin/env bash
# Tells the kernel to start ARM64 programs with qemu, as root in the mount namespace that this is called in, or as
# whoever has made the user namespace that this is called in (from Linux 6.7 on).
#
# The kernel opens the interpreter's file now ("F"), for the room in which the programs run has none. It keeps what it
# is told as long as this file system is mounted somewhere, older kernels until the next start of the machine.
set -euo pipefail

formats=/proc/sys/fs/binfmt_misc
magic='\x7fELF\x02\x01\x01\x00\x00\x00\x00\x00\x00\x00\x00\x00\x02\x00\xb7\x00'
mask='\xff\xff\xff\xff\xff\xff\xff\x00\xff\xff\xff\xff\xff\xff\xff\xff\xfe\xff\xff\xff'

mount -t binfmt_misc binfmt_misc "$formats"
if [[ ! -e $formats/zelto-arm64 ]]; then
    # The kernel reads the backslashes itself, and wants all in one go. Another room may have been quicker.
    printf '%s' ":zelto-arm64:M::$magic:$mask:/usr/bin/qemu-aarch64-static:OCF" >"$formats/register" \
        || [[ -e $formats/zelto-arm64 ]]
fi
