"""Runs the sample auth module as the library does, and decrypts what it leaves in its block."""

import base64
import dataclasses
import hashlib
import os
import pathlib
import re
import subprocess
import tempfile

from cryptography.hazmat.primitives import padding
from cryptography.hazmat.primitives.ciphers import Cipher, algorithms, modes

BLOCK_SIZE = 65_536
LARGEST_ANSWER = 49_119
SECONDS = 120

ANSWERED = 0
CANCELLED = 10
TIMED_OUT = 11
COMMAND_LINE = 12
RECEIVER = 13
ANSWER_LOST = 14
SCRIPT = 16


@dataclasses.dataclass
class Result:
    receiver: int
    exit_code: int
    block: bytes

    def record(self) -> bytes:
        """The block's text, decoded; it must be terminated, with nothing but zeros behind it."""
        text, _, rest = self.block.partition(b"\0")
        if rest.strip(b"\0"):
            raise AssertionError("there is something behind the text")
        return base64.b64decode(text, validate=True)

    def key(self) -> bytes:
        return hashlib.sha256(str(self.receiver).encode()).digest()[:16]

    def answer(self) -> bytes:
        record = self.record()
        decryptor = Cipher(algorithms.AES(self.key()), modes.CBC(record[:16])).decryptor()
        padded = decryptor.update(record[16:]) + decryptor.finalize()
        unpadder = padding.PKCS7(128).unpadder()
        return unpadder.update(padded) + unpadder.finalize()


class Modules:
    """Starts auth modules; `program` and `host` are the built programs, `emulator` runs them."""

    def __init__(self, program: str, host: str, emulator: list[str], environment: dict[str, str]):
        self.program = program
        self._command = [*emulator, host]
        self._environment = {**os.environ, **environment}
        # Beside the programs: they can reach it, whatever they can reach.
        self._folder = tempfile.TemporaryDirectory(prefix="module-", dir=pathlib.Path(host).parent)
        self.folder = pathlib.Path(self._folder.name)
        self._started: list["Running"] = []

    def close(self) -> None:
        for running in self._started:
            running.end()
        self._folder.cleanup()

    def start(self, command_line: str, **environment: str) -> "Running":
        """`command_line` is the whole one; @RECEIVER@ in it stands for the block's handle."""
        folder = self.folder / f"run-{len(self._started)}"
        folder.mkdir()
        (folder / "command-line").write_text(command_line, encoding="utf-8")
        command = [
            *self._command,
            windows_path(self.program),
            windows_path(folder / "command-line"),
            windows_path(folder / "block"),
        ]
        self._started.append(Running(command, {**self._environment, **environment}, folder))
        return self._started[-1]

    def start_with(self, options: str, provider: str = "ZeltoAuth", **environment: str) -> "Running":
        return self.start(f" --provider-name={provider} --receiver=@RECEIVER@ {options}", **environment)

    def add_certificate(self, der: bytes) -> None:
        path = self.folder / "certificate.der"
        path.write_bytes(der)
        command = [*self._command, "--add-certificate", windows_path(path)]
        subprocess.run(command, env=self._environment, check=True, timeout=SECONDS)


class Running:
    def __init__(self, command: list[str], environment: dict[str, str], folder: pathlib.Path):
        self._folder = folder
        # To a file: services that Wine starts with it would keep a pipe open after its end.
        with (folder / "output").open("wb") as output:
            self._process = subprocess.Popen(
                command, env=environment, stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.STDOUT
            )

    def finish(self) -> Result:
        code = self._process.wait(SECONDS)
        output = (self._folder / "output").read_text()
        if code != 0:
            raise AssertionError(f"the host failed: {output}")
        # A module that crashes has Wine's debugger write more.
        numbers = dict(re.findall(r"^(receiver|exit) (\d+)\r?$", output, re.MULTILINE))
        block = (self._folder / "block").read_bytes()
        return Result(int(numbers["receiver"]), int(numbers["exit"]), block)

    def end(self) -> None:
        if self._process.poll() is None:
            self._process.kill()
            self._process.wait()


def windows_path(path: str | os.PathLike) -> str:
    return "Z:" + str(pathlib.Path(path).resolve()).replace("/", "\\")
