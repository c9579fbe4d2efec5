"""Runs the sample host program, ZeltoSignIn.exe, and stands in for the browser that the library opens."""

import contextlib
import os
import pathlib
import select
import signal
import subprocess
import tempfile
import time

SECONDS = 60


class SampleHost:
    """The built program and how to run it; a folder for scratch files that the program can reach, too."""

    def __init__(self, program: str, emulator: list[str]):
        self.program = pathlib.Path(program).resolve()
        self.emulator = emulator
        self._started: list["Running"] = []
        self._folder = tempfile.TemporaryDirectory(prefix="signin-", dir=self.program.parent)
        self.folder = pathlib.Path(self._folder.name)

    def close(self) -> None:
        """Ends what a failed test has left running, and removes the scratch folder."""
        for running in self._started:
            running.end()
        self._folder.cleanup()

    def start(
        self, *arguments: str, program: pathlib.PurePath | None = None, fifo: str | None = None
    ) -> "Running":
        environment = {**os.environ, **({"ZELTO_BROWSER_FIFO": fifo} if fifo else {})}
        command = [*self.emulator, str(program or self.program), *arguments]
        self._started.append(Running(command, environment, self.folder / f"run-{len(self._started)}"))
        return self._started[-1]

    def run(self, *arguments: str, **options: object) -> tuple[int, str, str]:
        return self.start(*arguments, **options).finish()

    def run_system_program(self, name: str, *arguments: str) -> tuple[int, str, str]:
        """Runs one of the programs that come with Windows."""
        return self.run(*arguments, program=pathlib.PurePath(name))


class Running:
    """A started program.

    It writes to files: services that Wine starts with it would keep pipes open after its end.
    """

    def __init__(self, command: list[str], environment: dict[str, str], folder: pathlib.Path):
        folder.mkdir()
        self.output_file = folder / "output"
        self.error_file = folder / "errors"
        with self.output_file.open("wb") as output, self.error_file.open("wb") as errors:
            self.process = subprocess.Popen(
                command, env=environment, stdin=subprocess.DEVNULL, stdout=output, stderr=errors
            )

    def finish(self) -> tuple[int, str, str]:
        """Waits for the end; returns the exit code and what was written to stdout and stderr."""
        code = self.process.wait(SECONDS)
        texts = (file.read_bytes().decode("utf-8") for file in (self.output_file, self.error_file))
        return code, *(text.replace("\r\n", "\n") for text in texts)

    def end(self) -> None:
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()


def press_ctrl_c(mark: str) -> None:
    """Interrupts the one running host whose command line holds the mark.

    Wine hands SIGINT on as Ctrl+C. An emulator's scripts hold the mark, too: the host is what has no such
    child.
    """
    found = {}
    for entry in pathlib.Path("/proc").iterdir():
        with contextlib.suppress(OSError, IndexError):
            words = (entry / "cmdline").read_bytes()
            if entry.name.isdigit() and mark.encode() in words and b"ZeltoSignIn.exe" in words:
                parent = int((entry / "stat").read_text().rpartition(")")[2].split()[1])
                found[int(entry.name)] = parent
    hosts = set(found) - set(found.values()) - {os.getpid()}
    if len(hosts) != 1:
        raise AssertionError(f"one process was to be found with {mark}, not {hosts}")
    os.kill(hosts.pop(), signal.SIGINT)


class BrowserFifo:
    """Where the set-up's hand-over script puts the address of the page that a program opens."""

    def __init__(self, folder: pathlib.Path):
        self.path = str(folder / "browser.fifo")
        os.mkfifo(self.path)
        self._descriptor = os.open(self.path, os.O_RDWR | os.O_NONBLOCK)

    def address(self) -> str:
        """Waits until a page is opened and returns its address."""
        deadline = time.monotonic() + SECONDS
        data = b""
        while not data.endswith(b"\n"):
            if not select.select([self._descriptor], [], [], max(0.0, deadline - time.monotonic()))[0]:
                raise AssertionError("no page was opened")
            data += os.read(self._descriptor, 4096)
        return data.decode().rstrip("\n")

    def close(self) -> None:
        os.close(self._descriptor)
        os.unlink(self.path)
