"""mend_wine_arm64.py NTDLL.so: mends the one thing in Wine 8 for ARM64 that makes programs crash as they end.

When a process ends, each thread of it that is running code of the program, rather than waiting in a system call, is
moved to the stack on which it entered that code. Wine keeps this address 280 bytes into the thread's system call frame,
but reads it back from 272, where it finds 0: the thread crashes, and the program ends with signal 11 in place of its
exit code.
"""

import pathlib
import struct
import sys

LOAD_FROM_272 = 0xF9408821  # ldr x1, [x1, #272]
LOAD_FROM_280 = 0xF9408C21  # ldr x1, [x1, #280]
MOVE_TO_STACK = (0xD103003D, 0x910003BF)  # sub x29, x1, #192; mov sp, x29


def main() -> None:
    path = pathlib.Path(sys.argv[1])
    code = path.read_bytes()
    wrong, right = (struct.pack("<3I", load, *MOVE_TO_STACK) for load in (LOAD_FROM_272, LOAD_FROM_280))
    places = code.count(wrong)
    if places > 1:
        sys.exit(f"{path}: {places} places look like the one to be mended")
    if places == 0:
        print(f"{path}: nothing to mend")
    path.write_bytes(code.replace(wrong, right))


if __name__ == "__main__":
    main()
