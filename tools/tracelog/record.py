"""One record of the trace, taken apart. docs/trace-format.md has the format."""

import dataclasses
import datetime
import re

LEVELS = ("info", "debug", "warning", "error")

# Each block may be left out, by the flags of the process that wrote the record.
_HEAD = re.compile(
    r"(?:\[(?P<local>\d{4,}-\d\d-\d\d \d\d:\d\d:\d\d)\.(?P<fraction>\d{7}) UTC(?P<sign>[+-])(?P<hours>\d\d):"
    r"(?P<minutes>\d\d)\] )?"
    r"(?:\[(?P<pid>\d*):(?P<tid>\d*)\] )?"
    r"(?:\[(?!\])(?P<module>ZeltoAuth)?(?: ? (?P<line>-?\d+))?"
    r"(?: ?(?P<level>   info|  debug|warning|  error))?\] )?"
)
_ROTATION = re.compile(
    r"\(Time Zone: .*\) log rotated at (?P<local>\d{4}-\d\d-\d\d \d\d:\d\d:\d\d)\."
    r"(?P<milliseconds>\d{3}) type: "
)

TICKS_PER_SECOND = 10_000_000  # the fraction of a record's time is in units of 100 ns


@dataclasses.dataclass(frozen=True)
class Time:
    """A local time to 100 ns, and what its zone is ahead of UTC; None where that is not known."""

    local: datetime.datetime
    fraction: int
    offset_minutes: int | None

    def ticks(self) -> int:
        """Orders moments: units of 100 ns in UTC since the year 1, as far as the offset is known."""
        seconds = (self.local - datetime.datetime.min) // datetime.timedelta(seconds=1)
        return (seconds - 60 * (self.offset_minutes or 0)) * TICKS_PER_SECOND + self.fraction

    def iso(self) -> str:
        text = f"{self.local:%Y-%m-%dT%H:%M:%S}.{self.fraction:07d}"
        if self.offset_minutes is None:
            return text
        hours, minutes = divmod(abs(self.offset_minutes), 60)
        return f"{text}{'-' if self.offset_minutes < 0 else '+'}{hours:02d}:{minutes:02d}"


@dataclasses.dataclass(frozen=True)
class Record:
    """What is not in the record is None. `head` and `text` together are the whole record."""

    head: str
    text: str  # the message, with further lines of its own and its hex dump
    time: Time | None = None
    pid: int | None = None
    tid: int | None = None
    module: str | None = None
    line: int | None = None
    level: str | None = None

    @property
    def rotation_header(self) -> bool:
        return not self.head and _ROTATION.match(self.text) is not None


def parse(text: str) -> Record:
    """The record that `text` is, without its line end. Text of any other form is a record without a head."""
    match = _HEAD.match(text)
    head = match.group(0)
    if not head:
        return Record("", text, time=_rotation_time(text))
    level = match["level"]
    return Record(
        head=head,
        text=text[len(head) :],
        time=_time(match),
        pid=_number(match["pid"]),
        tid=_number(match["tid"]),
        module=match["module"],
        line=_number(match["line"]),
        level=level and level.strip(),
    )


def decode(data: bytes) -> str:
    """Records hold UTF-8, and whatever bytes callers pass as text; a cut may fall inside a character."""
    return data.decode("utf-8", errors="replace")


def _number(text: str | None) -> int | None:
    return int(text) if text else None


def _local(text: str) -> datetime.datetime | None:
    try:
        return datetime.datetime.strptime(text, "%Y-%m-%d %H:%M:%S")
    except ValueError:
        return None  # a damaged one: no such day


def _time(match: re.Match) -> Time | None:
    local = _local(match["local"]) if match["local"] else None
    if local is None:
        return None
    offset = 60 * int(match["hours"]) + int(match["minutes"])
    return Time(local, int(match["fraction"]), -offset if match["sign"] == "-" else offset)


def _rotation_time(text: str) -> Time | None:
    match = _ROTATION.match(text)
    local = match and _local(match["local"])
    return Time(local, int(match["milliseconds"]) * 10_000, None) if local else None
