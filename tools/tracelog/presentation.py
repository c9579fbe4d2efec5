"""How a record is shown."""

import json
import os
import re
import sys

from .record import Record

_RESET = "\x1b[0m"
_DIM = "\x1b[2m"
_LEVEL_COLOURS = {"info": "\x1b[32m", "debug": "\x1b[36m", "warning": "\x1b[93m", "error": "\x1b[91m"}
_LEVEL_IN_HEAD = re.compile(r"(   info|  debug|warning|  error)(\] )$")
_CONTROLS = re.compile(r"[\x00-\x08\x0b-\x1f\x7f-\x9f]")
_UNESCAPED_IN_JSON = re.compile(r"[\x7f-\x9f]")  # which json leaves as they are


def as_text(record: Record, coloured: bool) -> str:
    """The record as it was written. Control characters must not reach a terminal: they are shown as \\xNN."""
    text = _CONTROLS.sub(lambda found: f"\\x{ord(found[0]):02x}", record.text)
    return (_coloured_head(record) if coloured else record.head) + text


def as_json(record: Record) -> str:
    """One object on one line; null for what the record does not have. All control characters are escaped."""
    text = json.dumps(
        {
            "time": record.time.iso() if record.time else None,
            "pid": record.pid,
            "tid": record.tid,
            "module": record.module,
            "line": record.line,
            "level": record.level,
            "text": record.text,
        },
        ensure_ascii=False,
    )
    return _UNESCAPED_IN_JSON.sub(lambda found: f"\\u{ord(found[0]):04x}", text)


def colours_wanted(choice: str) -> bool:
    """ "always", "never", or "auto": on a terminal, unless NO_COLOR is set."""
    wanted = choice == "always" or (
        choice == "auto" and sys.stdout.isatty() and not os.environ.get("NO_COLOR")
    )
    if wanted and os.name == "nt":
        os.system("")  # has the console take escape sequences
    return wanted


def _coloured_head(record: Record) -> str:
    head = record.head
    if record.level:
        colour = _LEVEL_COLOURS[record.level]
        head = _LEVEL_IN_HEAD.sub(lambda found: f"{colour}{found[1]}{_RESET}{found[2]}", head)
    if record.time:
        end = head.index("] ") + 1
        head = f"{_DIM}{head[:end]}{_RESET}{head[end:]}"
    return head
