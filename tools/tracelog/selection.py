"""Which records are wanted."""

import dataclasses

from .record import Record


@dataclasses.dataclass(frozen=True)
class Selection:
    """Each condition that is not empty must be met; a record that lacks the field does not meet it."""

    pids: frozenset[int] = frozenset()
    tids: frozenset[int] = frozenset()
    levels: frozenset[str] = frozenset()
    text: str = ""  # anywhere in the message, in any case

    def takes(self, record: Record) -> bool:
        return (
            (not self.pids or record.pid in self.pids)
            and (not self.tids or record.tid in self.tids)
            and (not self.levels or record.level in self.levels)
            and self.text.casefold() in record.text.casefold()
        )
