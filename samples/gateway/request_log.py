"""The request log: one JSON line for each request, and for each connection that never became one."""

import collections
import datetime
import json
import threading

_KEPT = 20_000


class RequestLog:
    """Lines in a file (all of them) and in memory (those since the last reset). Any thread may add to it."""

    def __init__(self, path: str | None):
        self._lock = threading.Lock()
        self._file = open(path, "a", encoding="utf-8") if path else None
        self._lines: collections.deque[str] = collections.deque(maxlen=_KEPT)
        self._ids: collections.deque[str] = collections.deque(maxlen=_KEPT)

    def add(self, **record) -> None:
        """Writes one record.

        Call it before the answer is sent: whoever has the answer then finds the record.
        """
        with self._lock:
            line = self._write(record)
            self._lines.append(line)
            if record.get("id_issued") is not None:
                self._ids.append(record["id_issued"])

    def lines(self) -> list[str]:
        with self._lock:
            return list(self._lines)

    def ids(self) -> list[str]:
        with self._lock:
            return list(self._ids)

    def reset(self) -> None:
        """Forgets all lines and ids. The file keeps them, for whoever looks for the reason of a failure."""
        with self._lock:
            self._write({"event": "reset"})
            self._lines.clear()
            self._ids.clear()

    def close(self) -> None:
        with self._lock:
            if self._file:
                self._file.close()
                self._file = None

    def _write(self, record: dict) -> str:
        now = datetime.datetime.now(datetime.timezone.utc).isoformat(timespec="milliseconds")
        line = json.dumps({"time": now, **record}, ensure_ascii=False)
        if self._file:
            self._file.write(line + "\n")
            self._file.flush()
        return line
