#!/usr/bin/env python3
"""Reads the trace of ZeltoAuth: log files, error copies, and the ring of recent records in a crash dump.

A log file is shown as it is; several are merged by time, and what a main log and its error copy both hold
comes once. HOST_ZeltoAuth.log stands for HOST_ZeltoAuth_1.log and HOST_ZeltoAuth_2.log where the log rotates.
Any other file is taken for memory: a minidump, or any other image of a process's memory.

Exit code: 0 all is well, 1 a file cannot be read or holds no ring, 2 the command line is wrong, 3 a ring is
damaged or cut off and what is left of it has been shown.
"""

import argparse
import os
import pathlib
import sys
from collections.abc import Iterable, Iterator

from tracelog import log_file, presentation, ring
from tracelog.memory_image import Unreadable, open_image
from tracelog.record import LEVELS, Record, decode, parse
from tracelog.selection import Selection

OK, UNREADABLE, DAMAGED = 0, 1, 3


class Reader:
    """Says on the standard error output what it meets, and remembers the worst of it."""

    def __init__(self) -> None:
        self.exit_code = OK

    def records_of_image(self, path: pathlib.Path, address: int | None) -> list[Record]:
        try:
            image = open_image(path)
        except Unreadable as error:
            return self._give_up(path, str(error))
        for warning in image.warnings:
            self._say(path, warning)
        try:
            rings = ring.find_rings(image)
            truncated = bool(image.warnings)
        finally:
            image.close()
        chosen = [one for one in rings if address is None or one.address == address]
        if not chosen:
            return self._give_up(path, self._no_ring(rings, truncated))
        self._describe(path, chosen[0], rings)
        return chosen[0].records

    def records_of_log(self, path: pathlib.Path) -> Iterator[Record]:
        try:
            yield from log_file.read(path)
        except OSError as error:
            self._give_up(path, error.strerror or str(error))

    def missing(self, path: pathlib.Path) -> None:
        self._give_up(path, "there is no such file, nor its rotation files")

    @staticmethod
    def _no_ring(rings: list[ring.Ring], truncated: bool) -> str:
        if rings:
            return "no ring at that address; there are: " + ", ".join(f"{one.address:#x}" for one in rings)
        if truncated:
            return "no ring of trace records; it may be in the part that is missing"
        return "no ring of trace records; the process ran without flag 0x200, or without the library"

    def _describe(self, path: pathlib.Path, chosen: ring.Ring, rings: list[ring.Ring]) -> None:
        self._say(
            path, f"ring at {chosen.address:#x}, counter {chosen.counter:,}, {len(chosen.records):,} records"
        )
        for problem in chosen.problems:
            self._say(path, problem)
            self.exit_code = max(self.exit_code, DAMAGED)
        for other in rings:
            if other is not chosen:
                self._say(
                    path, f"another ring at {other.address:#x}, counter {other.counter:,} (--ring shows it)"
                )

    def _give_up(self, path: pathlib.Path, why: str) -> list[Record]:
        self._say(path, why)
        self.exit_code = UNREADABLE
        return []

    @staticmethod
    def _say(path: pathlib.Path, text: str) -> None:
        print(f"{path}: {text}", file=sys.stderr)


def looks_like_log(path: pathlib.Path) -> bool:
    """Whether the file begins as a log does. One without heads of records is a log if it is all text."""
    with path.open("rb") as file:
        start = file.read(4096)
    if not start:
        return True  # one that has been opened and not yet written to
    first = parse(decode(start.split(b"\n")[0]))
    return bool(first.head) or first.rotation_header or (b"\0" not in start and start[:4] != b"MDMP")


def numbers(text: str) -> list[int]:
    return [int(part, 0) for part in text.split(",")]


def level_names(text: str) -> list[str]:
    names = [part.strip().lower() for part in text.split(",")]
    unknown = [name for name in names if name not in LEVELS]
    if unknown:
        raise argparse.ArgumentTypeError(f"no level {unknown[0]!r}; there are: {', '.join(LEVELS)}")
    return names


def read_options(arguments: list[str] | None) -> argparse.Namespace:
    parser = argparse.ArgumentParser(
        prog="read_trace.py", description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter
    )
    parser.add_argument("files", nargs="+", metavar="FILE", type=pathlib.Path)
    parser.add_argument(
        "--pid", type=numbers, default=[], metavar="ID,…", help="only records of these processes"
    )
    parser.add_argument(
        "--tid", type=numbers, default=[], metavar="ID,…", help="only records of these threads"
    )
    parser.add_argument(
        "--level", type=level_names, default=[], metavar="LEVEL,…", help=f"of {', '.join(LEVELS)}"
    )
    parser.add_argument("--text", default="", help="only records whose message has this in it, in any case")
    parser.add_argument("--json", action="store_true", help="one JSON object a line")
    parser.add_argument("--follow", action="store_true", help="go on with what is written to the log files")
    parser.add_argument(
        "--ring", type=lambda text: int(text, 0), metavar="ADDRESS", help="the ring at this address"
    )
    parser.add_argument(
        "--memory", action="store_true", help="take every file for memory, whatever it looks like"
    )
    parser.add_argument("--colour", choices=("auto", "always", "never"), default="auto")
    return parser.parse_args(arguments)


def files_meant(given: pathlib.Path, follow: bool) -> list[pathlib.Path]:
    """The file, or its rotation files. Those that are followed may come into being later."""
    if given.exists():
        return [given]
    rotating = log_file.rotation_files(given)
    existing = [path for path in rotating if path.exists()]
    return [given, *rotating] if follow else existing


def is_log(path: pathlib.Path) -> bool:
    try:
        return looks_like_log(path)
    except OSError:
        return True  # which says why it cannot be read when it is


def gather(options: argparse.Namespace, reader: Reader) -> Iterator[Record]:
    logs: list[pathlib.Path] = []
    sources: list[Iterable[Record]] = []
    for given in options.files:
        paths = files_meant(given, options.follow)
        if not paths:
            reader.missing(given)
        for path in paths:
            if options.memory or not is_log(path):
                sources.append(reader.records_of_image(path, options.ring))
            else:
                logs.append(path)
    if not options.follow:
        sources += [reader.records_of_log(path) for path in logs]
    yield from log_file.merge(sources)
    if options.follow and logs:
        yield from log_file.follow(logs)


def main(arguments: list[str] | None = None) -> int:
    options = read_options(arguments)
    selection = Selection(
        frozenset(options.pid), frozenset(options.tid), frozenset(options.level), options.text
    )
    coloured = presentation.colours_wanted(options.colour)
    sys.stdout.reconfigure(encoding="utf-8", errors="replace")
    reader = Reader()
    try:
        for record in gather(options, reader):
            if selection.takes(record):
                print(
                    presentation.as_json(record) if options.json else presentation.as_text(record, coloured),
                    flush=options.follow,
                )
        sys.stdout.flush()
    except BrokenPipeError:
        os.dup2(
            os.open(os.devnull, os.O_WRONLY), sys.stdout.fileno()
        )  # nobody reads on; the interpreter flushes once more
    except KeyboardInterrupt:
        pass
    return reader.exit_code


if __name__ == "__main__":
    sys.exit(main())
