"""A host process that crashes in a folder of its own, and what it leaves there."""

import dataclasses
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tools"))

from tracelog import log_file

SECONDS = 400
MEMORY_DISK = pathlib.Path("/dev/shm")
ROOM_FOR_DUMPS = 2 << 30  # bytes


@dataclasses.dataclass(frozen=True)
class Stop:
    """What a debugger tells of a dump: the thread at which it stopped, and why."""

    tid: int
    code: int


class CrashedProcess:
    """Runs until its end. The program is copied to a new folder: dumps come to lie beside it."""

    def __init__(self, program: str, emulator: list[str], flags: int, way: str):
        self._folder = tempfile.TemporaryDirectory(prefix="zelto-crash-", dir=folder_for_dumps())
        self.folder = pathlib.Path(self._folder.name)
        self.program = pathlib.Path(shutil.copy(program, self.folder))
        output_file = self.folder / "output"
        with output_file.open("wb") as output:
            # Wine would start its debugger after the library's handler has run.
            environment = {**os.environ, "WINEDLLOVERRIDES": "winedbg.exe=d"}
            command = [*emulator, str(self.program), self.windows_path(self.folder) + "\\", f"{flags:x}", way]
            with subprocess.Popen(
                command, env=environment, stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.DEVNULL
            ) as process:
                try:
                    self.exit_code = process.wait(SECONDS)
                except subprocess.TimeoutExpired:
                    process.kill()
                    raise
        self.ready = [
            (int(pid), int(tid)) for pid, tid in re.findall(r"ready (\d+) (\d+)", output_file.read_text())
        ]

    def close(self) -> None:
        self._folder.cleanup()

    def dumps(self) -> list[pathlib.Path]:
        return sorted(self.folder.glob("*.dmp"))

    def log(self) -> list[tuple[int, str]]:
        """Line number and message of each record behind the one that the host has logged itself."""
        records = [(record.line, record.text) for record in log_file.read(self.folder / "host.log")]
        return records[[text for _, text in records].index("before the crash") + 1 :]

    @staticmethod
    def windows_path(path: pathlib.Path) -> str:
        return "Z:" + str(path).replace("/", "\\")


def folder_for_dumps() -> str | None:
    """Dumps have hundreds of megabytes, of which little is read: they go to memory, if there is room."""
    if MEMORY_DISK.is_dir() and shutil.disk_usage(MEMORY_DISK).free >= ROOM_FOR_DUMPS:
        return str(MEMORY_DISK)
    return None


def debugger_stop(dump: pathlib.Path) -> Stop | None:
    """What LLDB says that the dump's process has stopped for."""
    command = [
        "lldb-19",
        "--batch",
        "--no-lldbinit",
        "-o",
        f"target create --core '{dump}'",
        "-o",
        "thread list",
    ]
    output = subprocess.run(command, capture_output=True, text=True, timeout=SECONDS, check=True).stdout
    found = re.search(
        r"^\* thread #\d+: tid = 0x([0-9a-f]+),.* stop reason = Exception 0x([0-9a-f]+) ", output, re.M
    )
    return Stop(int(found[1], 16), int(found[2], 16)) if found else None
