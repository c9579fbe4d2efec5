"""Says what takes the space in a built DLL: sizes.py NAME STRIPPED_DLL LINKER_MAP

The sum over the linker's map is of what the file holds; memory that is all zero at the start is not in it.
"""

import collections
import pathlib
import re
import sys

LIMIT = 256 * 1024
PIECE = re.compile(r"^[0-9a-f]{8} ([0-9a-f]{8})\s+\d+ {5,}(\S.*):\((\S+)\)$")


def part_of(source):
    """Whose code or data an input file of the linker is."""
    if source.endswith(".res"):
        return "resources: pages, version, manifest"
    if "CMakeFiles/" in source:
        return source.split("/")[0] + "/"
    if source.endswith(".cpp.obj") or source.startswith(("Unwind", "libunwind")):
        return "C++ runtime and unwinder"
    return "C runtime's start-up and helpers"


def main():
    name, dll, linker_map = sys.argv[1], pathlib.Path(sys.argv[2]), pathlib.Path(sys.argv[3])
    parts = collections.Counter()
    for line in linker_map.read_text(encoding="utf-8", errors="replace").splitlines():
        piece = PIECE.match(line)
        if piece and not piece[3].startswith(".bss"):
            parts[part_of(piece[2])] += int(piece[1], 16)
    size = dll.stat().st_size
    verdict = "reached" if size <= LIMIT else "NOT reached"
    print(f"\n{name}, stripped: {size} bytes (to reach: {LIMIT}) {verdict}")
    if sum(parts.values()) > size or len(parts) < 5:
        sys.exit("the linker's map was not understood")
    parts["imports, exports, relocations, headers, filling"] = size - sum(parts.values())
    for part, bytes_ in parts.most_common():
        print(f"  {part:<50} {bytes_:>8} {100 * bytes_ / size:5.1f} %")


if __name__ == "__main__":
    main()
