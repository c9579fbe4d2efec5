"""Records of log files: of one as it is, of several merged by time, of files that are still written to."""

import collections
import dataclasses
import heapq
import itertools
import os
import pathlib
import re
import time
from collections.abc import Callable, Iterable, Iterator

from .record import Record, decode, parse

_POLL_SECONDS = 0.2
_PIECE = 1 << 20
_LENGTH = re.compile(" length=")  # between a message and its hex dump
_STEM = re.compile(r"(?P<name>.*?)(?P<rest>(?:_error)?(?:_pid_\d+)?)")


class RecordSplitter:
    """Puts lines together to records. A line without a head belongs to the record before it: as part of a
    message with line ends of its own, or of its hex dump."""

    def __init__(self) -> None:
        self._rest = b""
        self._open: Record | None = None
        self._more: list[str] = []  # the further lines of the open record

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
        yield from self._close()

    def _close(self) -> Iterator[Record]:
        if self._open is not None:
            yield dataclasses.replace(self._open, text="\n".join([self._open.text, *self._more]))
        self._open = None
        self._more.clear()

    def _add(self, line: bytes) -> Iterator[Record]:
        record = parse(decode(line))
        continues = self._open is not None and bool(self._open.head)
        if not record.head and not record.rotation_header and continues:
            self._more.append(record.text)
            return
        yield from self._close()
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
    logs = list(logs)
    if len(logs) == 1:
        yield from logs[0]  # each as soon as it is read
        return
    moments = [_with_moments(log, number) for number, log in enumerate(logs)]
    merged = heapq.merge(*moments, key=lambda item: item[:2])
    for _, of_one_moment in itertools.groupby(merged, key=lambda item: item[0]):
        group: list[Record] = []
        for _, of_one_log in itertools.groupby(of_one_moment, key=lambda item: item[1]):
            _add_once(group, [record for *_, record in of_one_log])
        yield from group


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


def _add_once(group: list[Record], log: list[Record]) -> None:
    """Adds the records of one moment of a log to those of the logs before it. What is the same, but for the
    hex dump that the error copy lacks, is one record then: the longer one. Looked up, not searched for:
    without times, all the records of the logs are of one moment."""
    if not group:
        group += log
        return
    whole: dict[tuple[str, str], collections.deque[int]] = collections.defaultdict(collections.deque)
    shortened: dict[tuple[str, str], collections.deque[int]] = collections.defaultdict(collections.deque)
    for position, record in enumerate(group):
        whole[record.head, record.text].append(position)
        for text in _without_dump(record.text):
            shortened[record.head, text].append(position)
    taken: set[int] = set()
    for record in log:
        like = [
            whole.get((record.head, record.text)),
            shortened.get((record.head, record.text)),
            *(whole.get((record.head, text)) for text in _without_dump(record.text)),
        ]
        position = _first_free([positions for positions in like if positions], taken) if record.head else None
        if position is None:
            group.append(record)
        else:
            taken.add(position)
            group[position] = max(group[position], record, key=lambda one: len(one.text))


def _without_dump(text: str) -> Iterator[str]:
    """What the error copy may have in place of `text`."""
    return (text[: found.start()] for found in _LENGTH.finditer(text))


def _first_free(queues: list[collections.deque[int]], taken: set[int]) -> int | None:
    for queue in queues:
        while queue and queue[0] in taken:
            queue.popleft()
    return min((queue[0] for queue in queues if queue), default=None)
