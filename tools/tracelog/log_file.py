"""Records of log files: of one as it is, of several merged by time, of files that are still written to."""

import dataclasses
import heapq
import os
import pathlib
import re
import time
from collections.abc import Callable, Iterable, Iterator

from .record import Record, decode, parse

_POLL_SECONDS = 0.2
_PIECE = 1 << 20
_STEM = re.compile(r"(?P<name>.*?)(?P<rest>(?:_error)?(?:_pid_\d+)?)")


class RecordSplitter:
    """Puts lines together to records. A line without a head belongs to the record before it: as part of a
    message with line ends of its own, or of its hex dump."""

    def __init__(self) -> None:
        self._rest = b""
        self._open: Record | None = None

    def feed(self, data: bytes) -> Iterator[Record]:
        """The records that are known to be complete. The last one isn't before the next one begins."""
        *lines, self._rest = (self._rest + data).split(b"\n")
        for line in lines:
            yield from self._add(line.removesuffix(b"\r"))

    def finish(self, with_rest: bool = True) -> Iterator[Record]:
        """The last record, when nothing follows (for now); `with_rest` counts an unfinished line."""
        if with_rest and self._rest:
            line, self._rest = self._rest, b""
            yield from self._add(line)
        if self._open is not None:
            yield self._open
            self._open = None

    def _add(self, line: bytes) -> Iterator[Record]:
        record = parse(decode(line))
        continues = self._open is not None and bool(self._open.head)
        if not record.head and not record.rotation_header and continues:
            self._open = dataclasses.replace(self._open, text=f"{self._open.text}\n{record.text}")
            return
        if self._open is not None:
            yield self._open
        self._open = record


def read(path: pathlib.Path) -> Iterator[Record]:
    splitter = RecordSplitter()
    with path.open("rb") as file:
        while piece := file.read(_PIECE):
            yield from splitter.feed(piece)
    yield from splitter.finish()


def merge(logs: Iterable[Iterable[Record]]) -> Iterator[Record]:
    """The records of several logs by their times; those of one log stay in its order. What both a main log
    and its error copy hold comes once."""
    moments = [_with_moments(log, number) for number, log in enumerate(logs)]
    group: list[_Merged] = []  # of one moment
    group_moment = None
    for moment, number, record in heapq.merge(*moments, key=lambda item: item[:2]):
        if moment != group_moment:
            yield from (merged.record for merged in group)
            group, group_moment = [], moment
        _add_once(group, record, number)
    yield from (merged.record for merged in group)


def rotation_files(path: pathlib.Path) -> list[pathlib.Path]:
    """The names of the two files that a log of this name rotates through."""
    stem, dot, extension = path.name.rpartition(".")
    parts = _STEM.fullmatch(stem)
    return [path.with_name(f"{parts['name']}_{number}{parts['rest']}{dot}{extension}") for number in (1, 2)]


class Follower:
    """A log that is written to. It is opened for each look only: a file that is held open could not be
    deleted when it rotates."""

    def __init__(self, path: pathlib.Path):
        self._path = path
        self._splitter = RecordSplitter()
        self._identity: tuple | None = None
        self._position = 0

    def look(self) -> list[Record]:
        """What has come since the last look. A file that was replaced or shortened is read anew."""
        try:
            with self._path.open("rb") as file:
                return list(self._read_on(file))
        except FileNotFoundError:
            return []

    def _read_on(self, file) -> Iterator[Record]:
        status = os.fstat(file.fileno())
        identity = (status.st_dev, status.st_ino)
        if identity != self._identity or status.st_size < self._position:
            yield from self._splitter.finish()
            self._identity, self._position = identity, 0
        file.seek(self._position)
        data = file.read()
        self._position += len(data)
        if data:
            yield from self._splitter.feed(data)
        else:
            yield from self._splitter.finish(with_rest=False)


def follow(
    paths: list[pathlib.Path], wait: Callable[[], None] = lambda: time.sleep(_POLL_SECONDS)
) -> Iterator[Record]:
    """What the files hold and what is written to them from then on, without end."""
    followers = [Follower(path) for path in paths]
    while True:
        yield from merge([follower.look() for follower in followers])
        wait()


def _with_moments(log: Iterable[Record], number: int) -> Iterator[tuple[int, int, Record]]:
    """Each record with the latest moment so far: one log's order is never changed, whatever its clock did."""
    latest = 0
    waiting: list[Record] = []  # a rotation header has no offset: the record behind it tells
    for record in log:
        if record.time is not None and record.time.offset_minutes is None:
            waiting.append(record)
            continue
        for header in waiting:
            offset = record.time.offset_minutes if record.time else 0
            header_time = dataclasses.replace(header.time, offset_minutes=offset)
            latest = max(latest, header_time.ticks())
            yield latest, number, header
        waiting = []
        if record.time is not None:
            latest = max(latest, record.time.ticks())
        yield latest, number, record
    for header in waiting:
        latest = max(latest, header.time.ticks())
        yield latest, number, header


@dataclasses.dataclass
class _Merged:
    record: Record
    logs: set[int]  # the numbers of those that it has been found in


def _add_once(group: list[_Merged], record: Record, log: int) -> None:
    for merged in group:
        if log not in merged.logs and _are_the_same(merged.record, record):
            merged.logs.add(log)
            merged.record = max(merged.record, record, key=lambda one: len(one.text))
            return
    group.append(_Merged(record, {log}))


def _are_the_same(one: Record, other: Record) -> bool:
    """The error copy of a record lacks its hex dump."""
    shorter, longer = sorted((one.text, other.text), key=len)
    same_text = longer == shorter or longer.startswith(f"{shorter} length=")
    return bool(one.head) and one.head == other.head and same_text
