"""What the demo's parts share: telling what happens, the gateway, the host program, its trace log."""

import argparse
import contextlib
import json
import pathlib
import signal
import subprocess
import sys
import threading
import time
import urllib.request
from typing import Callable

ROOT = pathlib.Path(__file__).resolve().parents[2]
GATEWAY = ROOT / "samples" / "gateway" / "gateway.py"
TRACE_LOG = r"%localappdata%\ZeltoClient\logs\trace\ZeltoSignIn.exe_ZeltoAuth.log"
USER, PASSWORD = "alice", "Open+Sesame & 1"
SECONDS = 120
SECONDS_TO_READ = 2


class Failed(Exception):
    """One sentence: what failed and where to look."""


class Demo:
    def __init__(self, arguments: argparse.Namespace):
        self.started = arguments.started
        self.folder = pathlib.Path(arguments.folder)
        self.host_command = [arguments.runner, arguments.program]
        self.system_command = [arguments.runner, "cmd.exe", "/c"]

    def say(self, who: str, text: str) -> None:
        print(f"[{time.time() - self.started:5.1f} s] {who:8} {text}", flush=True)

    def path(self, name: str) -> str:
        """The path of a file in the demo's folder, without what an earlier demo left there."""
        path = self.folder / name
        path.unlink(missing_ok=True)
        return str(path)

    @contextlib.contextmanager
    def gateway(self):
        command = [
            "/usr/bin/python3",
            "-B",
            str(GATEWAY),
            "--log",
            self.path("gateway.jsonl"),
            "--user",
            f"{USER}={PASSWORD}",
        ]
        with ended_at_the_end(subprocess.Popen(command, stdout=subprocess.PIPE, text=True)) as process:
            line = process.stdout.readline()
            if not line:
                raise Failed("the gateway did not start (see above)")
            ports = json.loads(line)
            self.say(
                "gateway",
                f"listens at https://127.0.0.1:{ports['port']}; its certificate is self-signed, "
                "for another name, and expired",
            )
            yield ports

    def issued(self, ports: dict) -> list[str]:
        """What the gateway has handed out."""
        with urllib.request.urlopen(f"http://127.0.0.1:{ports['control_port']}/ids") as answer:
            return json.load(answer)

    def follow(
        self, who: str, process: subprocess.Popen, lines: list[str], on_failure=None
    ) -> threading.Thread:
        """Prints and keeps the lines that the process writes, on a thread of its own."""

        def read() -> None:
            for data in process.stdout:
                lines.append(data.decode("utf-8", "replace").rstrip())
                self.say(who, shortened(lines[-1].removeprefix("browser: "), 60))
            if on_failure and process.wait() != 0:
                on_failure()

        thread = threading.Thread(target=read, daemon=True)
        thread.start()
        return thread

    def forget_trace_log(self) -> None:
        subprocess.run(
            [*self.system_command, "del", TRACE_LOG], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL
        )

    def keep_trace_log(self) -> None:
        with open(self.path("trace.log"), "wb") as file:
            subprocess.run([*self.system_command, "type", TRACE_LOG], stdout=file, stderr=subprocess.DEVNULL)

    def show_files(self, files: dict[str, str]) -> None:
        """Lists what is in the folder, by name; all of it must be there."""
        print(f"In {self.folder}:")
        for name, what in files.items():
            if not (self.folder / name).is_file() or (self.folder / name).stat().st_size == 0:
                raise Failed(f"{self.folder / name} is missing or empty")
            print(f"    {name:15} {what}")


def shortened(text: str, most: int) -> str:
    """The text, or so many characters of it from either end."""
    return text if len(text) <= 2 * most else f"{text[:most]}…{text[-most:]} ({len(text)} characters)"


@contextlib.contextmanager
def ended_at_the_end(process: subprocess.Popen):
    try:
        yield process
    finally:
        if process.poll() is None:
            process.terminate()
            try:
                process.wait(15)
            except subprocess.TimeoutExpired:
                process.kill()
                process.wait()


def run_demo(demo: Callable[[argparse.Namespace], Demo], parser: argparse.ArgumentParser) -> int:
    """Reads the command line, adding to what the parser knows, and runs the demo; returns the exit code."""
    parser.add_argument(
        "--started", type=float, required=True, help="when the demo began, in seconds since 1970"
    )
    parser.add_argument("--folder", required=True, help="where screenshots and logs go")
    parser.add_argument("--program", required=True, help="the host program")
    parser.add_argument("--runner", required=True, help="what runs it")
    arguments = parser.parse_args()
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(128 + signal.SIGTERM))
    try:
        return 0 if demo(arguments).run() else 1
    except Failed as failure:
        print(f"scripts/demo.sh: failed: {failure}", file=sys.stderr)
        return 1
    except KeyboardInterrupt:
        return 130
