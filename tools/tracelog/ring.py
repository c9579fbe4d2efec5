"""The ring of recent records in a memory image: found by its name, told from other places that hold the name,
and read oldest first."""

import dataclasses
import struct

from .memory_image import MemoryImage
from .record import Record, decode, parse

NAME = b"TraceMemLogHead\0"
SLOTS = 1024
SLOT_SIZE = 1024
HEAD_SIZE = len(NAME) + 8
RING_SIZE = HEAD_SIZE + SLOTS * SLOT_SIZE

_HIGHEST_COUNTER = 10**13  # a thousand records a second for three centuries


@dataclasses.dataclass
class Ring:
    address: int
    counter: int
    records: list[Record]  # oldest first
    problems: list[str]  # empty: the ring is whole

    def rank(self) -> tuple:
        """The higher, the likelier the ring in use: whole, with the newest record, with the most records."""
        newest = max((record.time.ticks() for record in self.records if record.time), default=0)
        return not self.problems, newest, len(self.records)


def find_rings(image: MemoryImage) -> list[Ring]:
    """All rings of the image, likeliest first. The name alone is none: the library's constants have it."""
    candidates = (_read(image, address) for address in image.find(NAME))
    return sorted((ring for ring in candidates if ring is not None), key=Ring.rank, reverse=True)


def _read(image: MemoryImage, address: int) -> Ring | None:
    memory = image.read(address, RING_SIZE)
    if len(memory) < HEAD_SIZE:
        return None
    (counter,) = struct.unpack_from("<Q", memory, len(NAME))
    slots = [_Slot(memory[start : start + SLOT_SIZE]) for start in range(HEAD_SIZE, len(memory), SLOT_SIZE)]
    if len(memory) < RING_SIZE and slots and slots[-1].damaged:
        slots.pop()  # the one that the cut goes through
    with_head = sum(slot.record is not None and bool(slot.record.head) for slot in slots)
    plausible = counter <= _HIGHEST_COUNTER
    if not with_head and not (plausible and _text_fits_counter(slots, counter)):
        return None

    problems = []
    if len(memory) < RING_SIZE:
        problems.append(f"the ring is cut off: {len(memory):,} of its {RING_SIZE:,} bytes are in the file")
    if not plausible or not _fits_counter(slots, counter):
        problems.append(
            f"its counter ({counter:,}) is damaged: the slots hold {with_head} records; "
            "shown in the order of their times"
        )
        ordered = sorted((slot for slot in slots if slot.record), key=_Slot.ticks)
    else:
        oldest = counter % SLOTS if counter > SLOTS else 0
        ordered = slots[oldest:] + slots[:oldest]
        ordered = ordered[: min(counter, SLOTS)]
        damaged = sum(slot.damaged for slot in ordered)
        if damaged:
            problems.append(f"{damaged} of its records are damaged and left out")
    return Ring(address, counter, [slot.record for slot in ordered if slot.record], problems)


class _Slot:
    """A slot is untouched, holds one record, or is damaged."""

    def __init__(self, memory: bytes):
        end = memory.find(b"\0")
        self.untouched = not any(memory)
        text = memory[:end] if end >= 0 else memory
        complete = end > 0 and _is_text(text)
        self.record = parse(decode(text)) if complete else None
        self.damaged = self.record is None

    def ticks(self) -> int:
        return self.record.time.ticks() if self.record.time else 0


def _is_text(data: bytes) -> bool:
    """Records hold line ends and blanks of any kind, and no other control characters in number."""
    return sum(byte < 32 and byte not in b"\t\r\n" for byte in data) * 8 <= len(data)


def _fits_counter(slots: list[_Slot], counter: int) -> bool:
    """Slots from the counter on are untouched; of those before it most hold a record."""
    used = slots[: min(counter, SLOTS)]
    unused = slots[len(used) :]
    return all(slot.untouched for slot in unused) and sum(slot.damaged for slot in used) * 2 <= len(used)


def _text_fits_counter(slots: list[_Slot], counter: int) -> bool:
    """For an empty ring, and for records without heads: only counter and text tell them from other memory."""
    used = slots[: min(counter, SLOTS)]
    return len(slots) > 0 and _fits_counter(slots, counter) and not any(slot.damaged for slot in used)
