"""Makes rings, dumps and records for the tests."""

import pathlib
import struct
import tempfile
import unittest

from tracelog import ring

_ADDRESS = 0x7FF6_1000_0040


def line(number: int, level: str = "   info", text: str = "", pid: int = 12, tid: int = 34) -> str:
    """The record whose time is `number` units of 100 ns after a certain second."""
    head = f"[2026-03-19 04:11:33.{number:07d} UTC+01:00] [{pid}:{tid}] [ZeltoAuth  7 {level}] "
    return head + (text or f"record {number}")


def ring_memory(records: list[str], counter: int | None = None) -> bytes:
    """The ring's memory after these records have been put into it, one after the other."""
    slots = [b""] * ring.SLOTS
    for index, record in enumerate(records):
        slots[index % ring.SLOTS] = record.encode()[: ring.SLOT_SIZE - 1]
    counter = len(records) if counter is None else counter
    return (
        ring.NAME + struct.pack("<Q", counter) + b"".join(slot.ljust(ring.SLOT_SIZE, b"\0") for slot in slots)
    )


def constant_data() -> bytes:
    """The name as the library's own data has it, with other constants behind it."""
    return ring.NAME + b"\r\n\x000123456789ABCDEF\x00%s\x00" + bytes(50) + b"a text of some length\0" * 60


def dump_64(ranges: list[tuple[int, bytes]]) -> bytes:
    """A minidump with a 64-bit list of memory."""
    directory = 32
    listing = directory + 12
    base = listing + 16 + 16 * len(ranges)
    head = struct.pack("<4sIIIIIQ", b"MDMP", 0xA793, 1, directory, 0, 0, 0x3FE)
    head += struct.pack("<III", 9, 16 + 16 * len(ranges), listing) + struct.pack("<QQ", len(ranges), base)
    head += b"".join(struct.pack("<QQ", address, len(data)) for address, data in ranges)
    return head + b"".join(data for _, data in ranges)


def dump_32(ranges: list[tuple[int, bytes]]) -> bytes:
    """A minidump with a list of memory whose ranges lie anywhere in the file: the last one first."""
    directory = 32
    listing = directory + 12
    offset = listing + 4 + 16 * len(ranges)
    head = struct.pack("<4sIIIIIQ", b"MDMP", 0xA793, 1, directory, 0, 0, 0)
    head += struct.pack("<III", 5, 4 + 16 * len(ranges), listing) + struct.pack("<I", len(ranges))
    places = {}
    for address, data in reversed(ranges):
        places[address] = offset
        offset += len(data)
    head += b"".join(struct.pack("<QII", address, len(data), places[address]) for address, data in ranges)
    return head + b"".join(data for _, data in reversed(ranges))


def split(memory: bytes, *sizes: int, address: int = _ADDRESS) -> list[tuple[int, bytes]]:
    """Neighbouring ranges of these sizes; the last one takes the rest."""
    ranges = []
    for size in (*sizes, len(memory)):
        if memory:
            ranges.append((address, memory[:size]))
            address += len(ranges[-1][1])
            memory = memory[size:]
    return ranges


class FileTestCase(unittest.TestCase):
    """A test with a folder of its own."""

    def setUp(self) -> None:
        folder = tempfile.TemporaryDirectory(prefix="zelto-tools-")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def file(self, data: bytes | str, name: str = "file") -> pathlib.Path:
        path = self.folder / name
        path.write_bytes(data.encode() if isinstance(data, str) else data)
        return path
