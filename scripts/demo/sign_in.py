"""The demo's sign-in: starts gateway and browser, runs the host program, and tells what happens.

Exit code: 0 the caller got the id that the gateway issued, 1 otherwise.
"""

import argparse
import contextlib
import json
import os
import pathlib
import signal
import subprocess
import sys
import threading
import time
import urllib.request

ROOT = pathlib.Path(__file__).resolve().parents[2]
GATEWAY = ROOT / "samples" / "gateway" / "gateway.py"
BROWSER = ROOT / "samples" / "browser" / "browser.py"
TRACE_LOG = r"%localappdata%\ZeltoClient\logs\trace\ZeltoSignIn.exe_ZeltoAuth.log"
USER, PASSWORD = "alice", "Open+Sesame & 1"
SECONDS = 120
SECONDS_AFTER_FAILURE = 3
SECONDS_TO_READ = 2


# By the name of the road: the host program's arguments, and the heading of the last page.
ROADS = {
    "ssl": (["ssl", "{gateway}/sales", "--timeout", str(SECONDS)], "VPN Connecting"),
    "session": (["session", "{gateway}/remote/saml/start?realm=sales"], "ZTNA Connecting"),
    "ipsec": (["ipsec", "{gateway}", "--timeout", str(SECONDS)], "VPN Connecting"),
}


class Failed(Exception):
    """One sentence: what failed and where to look."""


class Demo:
    def __init__(self, arguments: argparse.Namespace):
        self.started = arguments.started
        self.folder = pathlib.Path(arguments.folder)
        self.host_arguments, self.heading = ROADS[arguments.road]
        self.host_command = [arguments.runner, arguments.program]
        self.system_command = [arguments.runner, "cmd.exe", "/c"]

    def say(self, who: str, text: str) -> None:
        print(f"[{time.time() - self.started:5.1f} s] {who:8} {text}", flush=True)

    def path(self, name: str) -> str:
        """The path of a file in the demo's folder, without what an earlier demo left there."""
        path = self.folder / name
        path.unlink(missing_ok=True)
        return str(path)

    def run(self) -> bool:
        self.say("wine", "starts (its first start takes some seconds)")
        self.forget_trace_log()
        with self.gateway() as ports, self.browser() as (browser, fifo):
            output, code = self.sign_in(f"https://127.0.0.1:{ports['port']}", fifo, browser)
            browser_code = browser.poll()  # None: it still waits, as the host never opened a page
            with urllib.request.urlopen(f"http://127.0.0.1:{ports['control_port']}/ids") as answer:
                issued = json.load(answer)
        self.keep_trace_log()
        if browser_code:
            raise Failed(f"the browser did not get to the end; see above and {self.folder}/gateway.jsonl")
        if code != 0:
            raise Failed(
                f"the host program ended with exit code {code}; see above and {self.folder}/trace.log"
            )
        if browser_code is None:
            raise Failed(f"the browser did not show the last page; see {self.folder}/gateway.jsonl")
        return self.compare(issued, [line[10:] for line in output if line.startswith("Id ")])

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

    @contextlib.contextmanager
    def browser(self):
        fifo = self.path("browser.fifo")
        command = [
            "/usr/bin/python3",
            "-B",
            str(BROWSER),
            "--fifo",
            fifo,
            "--user",
            USER,
            "--password",
            PASSWORD,
            "--login-screenshot",
            self.path("login.png"),
            "--screenshot",
            self.path("last-page.png"),
            "--report",
            self.path("last-page.json"),
            "--expect",
            self.heading,
            "--timeout",
            str(SECONDS),
        ]
        process = subprocess.Popen(command, stdout=subprocess.PIPE)
        with ended_at_the_end(process):
            line = process.stdout.readline().decode().rstrip()
            self.say("browser", line.removeprefix("browser: "))
            if not line.startswith("browser: ready"):
                raise Failed("the browser did not start (see above)")
            yield process, fifo

    def sign_in(self, gateway: str, fifo: str, browser: subprocess.Popen) -> tuple[list[str], int]:
        """Runs the host program beside the browser; returns its lines and its exit code."""
        arguments = [argument.format(gateway=gateway) for argument in self.host_arguments]
        self.say("host", f"{pathlib.Path(self.host_command[1]).name} {' '.join(arguments)}")
        host = subprocess.Popen(
            [*self.host_command, *arguments],
            env={**os.environ, "ZELTO_BROWSER_FIFO": fifo},
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
        )
        lines: list[str] = []
        with ended_at_the_end(host):
            followers = [self.follow("host", host, lines)]
            # Without the browser the host would wait for its time-out: as if somebody had pressed Ctrl+C.
            followers.append(self.follow("browser", browser, [], lambda: interrupt(host)))
            try:
                host.wait(2 * SECONDS)
            except subprocess.TimeoutExpired:
                raise Failed(f"the host program did not end within {2 * SECONDS} seconds") from None
            with contextlib.suppress(subprocess.TimeoutExpired):
                browser.wait(SECONDS if host.returncode == 0 else SECONDS_AFTER_FAILURE)
            for follower in followers:
                # Others that were started with the program may hold its output open: all that it wrote is
                # read by then.
                follower.join(SECONDS_TO_READ)
        return lines, host.returncode

    def follow(
        self, who: str, process: subprocess.Popen, lines: list[str], on_failure=None
    ) -> threading.Thread:
        """Prints and keeps the lines that the process writes, on a thread of its own."""

        def read() -> None:
            for data in process.stdout:
                lines.append(data.decode("utf-8", "replace").rstrip())
                self.say(who, lines[-1].removeprefix("browser: "))
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

    def compare(self, issued: list[str], got: list[str]) -> bool:
        agree = len(issued) == 1 and issued == got
        print(f"\nId that the gateway issued   {', '.join(issued) or 'none'}")
        print(f"Id that the caller got       {', '.join(got) or 'none'}")
        print(f"                             {'they agree' if agree else 'they DIFFER'}\n")
        print(f"In {self.folder}:")
        for name, what in (
            ("login.png", "the login page, filled in"),
            ("last-page.png", "the page that the user sees at the end"),
            ("trace.log", "the library's trace log"),
            ("gateway.jsonl", "what the gateway was asked"),
        ):
            if not (self.folder / name).is_file() or (self.folder / name).stat().st_size == 0:
                raise Failed(f"{self.folder / name} is missing or empty")
            print(f"    {name:15} {what}")
        return agree


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


def interrupt(process: subprocess.Popen) -> None:
    with contextlib.suppress(
        PermissionError
    ):  # run by way of another user's program, it ends by its time-out
        process.send_signal(signal.SIGINT)


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument(
        "--started", type=float, required=True, help="when the demo began, in seconds since 1970"
    )
    parser.add_argument("--road", choices=ROADS, required=True, help="which kind of sign-in")
    parser.add_argument("--folder", required=True, help="where screenshots and logs go")
    parser.add_argument("--program", required=True, help="the host program")
    parser.add_argument("--runner", required=True, help="what runs it")
    arguments = parser.parse_args()
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(128 + signal.SIGTERM))
    try:
        return 0 if Demo(arguments).run() else 1
    except Failed as failure:
        print(f"scripts/demo.sh: failed: {failure}", file=sys.stderr)
        return 1
    except KeyboardInterrupt:
        return 130


if __name__ == "__main__":
    sys.exit(main())
