"""Where a minidump has the memory of its process."""

import dataclasses
import struct

_SIGNATURE = b"MDMP"
_HEADER = struct.Struct(
    "<4sIIII"
)  # signature, version, number of streams, offset of their directory, checksum
_STREAM = struct.Struct("<III")  # type, size, offset
_MEMORY_LIST = 5
_MEMORY_64_LIST = 9
_RANGE = struct.Struct("<QII")  # address, size, offset
_HEADER_64 = struct.Struct("<QQ")  # number of ranges, offset of the first; the others follow it
_RANGE_64 = struct.Struct("<QQ")  # address, size


class Damaged(Exception):
    """The dump's own directory cannot be read."""


@dataclasses.dataclass(frozen=True)
class Range:
    """`size` bytes of memory from `address` on, at `offset` of the file."""

    address: int
    offset: int
    size: int

    @property
    def end(self) -> int:
        return self.address + self.size


def is_minidump(data) -> bool:
    return data[:4] == _SIGNATURE


def memory_ranges(data) -> tuple[list[Range], list[str]]:
    """The ranges that are in the file, without overlaps, and what is wrong with them."""
    try:
        ranges = [one for kind, offset in _streams(data) for one in _list(data, kind, offset)]
    except struct.error as error:
        raise Damaged("the dump is cut off or damaged before its list of memory") from error
    if not ranges:
        raise Damaged("the dump lists no memory")
    present = [clipped for one in _without_overlaps(ranges) if (clipped := _clip(one, len(data))).size > 0]
    missing = sum(one.size for one in ranges) - sum(one.size for one in present)
    whole = max(one.offset + one.size for one in ranges) <= len(data)
    return present, [] if whole else [
        f"the dump is cut off: {missing:,} bytes of memory are missing from its end"
    ]


def _streams(data):
    _, _, count, directory, _ = _HEADER.unpack_from(data, 0)
    for index in range(count):
        kind, _, offset = _STREAM.unpack_from(data, directory + index * _STREAM.size)
        yield kind, offset


def _list(data, kind: int, offset: int):
    if kind == _MEMORY_LIST:
        (count,) = struct.unpack_from("<I", data, offset)
        for index in range(count):
            address, size, where = _RANGE.unpack_from(data, offset + 4 + index * _RANGE.size)
            yield Range(address, where, size)
    elif kind == _MEMORY_64_LIST:
        count, where = _HEADER_64.unpack_from(data, offset)
        for index in range(count):
            address, size = _RANGE_64.unpack_from(data, offset + _HEADER_64.size + index * _RANGE_64.size)
            yield Range(address, where, size)
            where += size


def _without_overlaps(ranges: list[Range]) -> list[Range]:
    """What several ranges hold is taken from the one that begins first."""
    result: list[Range] = []
    for one in sorted(ranges, key=lambda item: (item.address, -item.size)):
        skipped = max(0, result[-1].end - one.address) if result else 0
        if skipped < one.size:
            result.append(Range(one.address + skipped, one.offset + skipped, one.size - skipped))
    return result


def _clip(one: Range, file_size: int) -> Range:
    return Range(one.address, one.offset, max(0, min(one.size, file_size - one.offset)))
