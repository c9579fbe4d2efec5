"""Memory by its addresses, out of a minidump or any other file that holds memory. Nothing is read before it
is asked for: a dump of hundreds of megabytes is mapped, not loaded."""

import bisect
import dataclasses
import mmap
import pathlib
from collections.abc import Iterator

from . import minidump
from .minidump import Range


class Unreadable(Exception):
    """The file cannot be used; the text says why."""


@dataclasses.dataclass
class MemoryImage:
    """Ranges of addresses in a mapped file. `warnings` tell what is wrong with the file."""

    data: mmap.mmap
    ranges: list[Range]
    is_minidump: bool
    warnings: list[str]

    def __post_init__(self) -> None:
        self.ranges.sort(key=lambda one: one.address)
        self._addresses = [one.address for one in self.ranges]
        self._by_offset = sorted(self.ranges, key=lambda one: one.offset)
        self._offsets = [one.offset for one in self._by_offset]

    def close(self) -> None:
        self.data.close()

    def read(self, address: int, size: int) -> bytes:
        """The bytes from an address on; fewer when the image does not have what follows."""
        pieces = []
        while size > 0:
            index = bisect.bisect_right(self._addresses, address) - 1
            if index < 0 or address >= self.ranges[index].end:
                break
            one = self.ranges[index]
            start = one.offset + address - one.address
            piece = self.data[start : start + min(size, one.end - address)]
            if not piece:
                break  # the file has become shorter since
            pieces.append(piece)
            address += len(piece)
            size -= len(piece)
        return b"".join(pieces)

    def find(self, pattern: bytes) -> Iterator[int]:
        """The addresses at which the pattern stands, in no particular order."""
        yield from self._find_within_ranges(pattern)
        yield from self._find_across_ranges(pattern)

    def _find_within_ranges(self, pattern: bytes) -> Iterator[int]:
        # In one go over the file: a search by range would take a call for each of some ten thousand.
        offset = self.data.find(pattern)
        while offset >= 0:
            index = bisect.bisect_right(self._offsets, offset) - 1
            if index >= 0:
                one = self._by_offset[index]
                if offset + len(pattern) <= one.offset + one.size:
                    yield one.address + offset - one.offset
            offset = self.data.find(pattern, offset + 1)

    def _find_across_ranges(self, pattern: bytes) -> Iterator[int]:
        reach = len(pattern) - 1
        for one, following in zip(self.ranges, self.ranges[1:]):
            if one.end == following.address:
                start = max(one.address, one.end - reach)
                seam = self.read(start, one.end - start + reach)
                found = seam.find(pattern)
                while found >= 0:
                    if found + len(pattern) > one.end - start:
                        yield start + found
                    found = seam.find(pattern, found + 1)


def open_image(path: pathlib.Path) -> MemoryImage:
    """Maps a minidump by its ranges, and any other file as one range from address 0 on."""
    try:
        with path.open("rb") as file:
            size = file.seek(0, 2)
            if size == 0:
                raise Unreadable("the file is empty")
            data = mmap.mmap(file.fileno(), 0, access=mmap.ACCESS_READ)
    except OSError as error:
        raise Unreadable(error.strerror or str(error)) from error
    if not minidump.is_minidump(data):
        return MemoryImage(data, [Range(0, 0, size)], False, [])
    try:
        ranges, warnings = minidump.memory_ranges(data)
    except minidump.Damaged as error:
        return MemoryImage(data, [Range(0, 0, size)], False, [f"{error}; searching it as plain memory"])
    return MemoryImage(data, ranges, True, warnings)
