"""The demo's sign-in in the browser: starts gateway and browser, runs the host, and tells what happens.

Exit code: 0 the caller got the id that the gateway issued, 1 otherwise.
"""

import argparse
import contextlib
import os
import pathlib
import signal
import subprocess
import sys

from demo import (
    PASSWORD,
    ROOT,
    SECONDS,
    SECONDS_TO_READ,
    USER,
    Demo,
    Failed,
    ended_at_the_end,
    run_demo,
)

BROWSER = ROOT / "samples" / "browser" / "browser.py"
SECONDS_AFTER_FAILURE = 3

# By the name of the road: the host program's arguments, and the heading of the last page.
ROADS = {
    "ssl": (["ssl", "{gateway}/sales", "--timeout", str(SECONDS)], "VPN Connecting"),
    "session": (["session", "{gateway}/remote/saml/start?realm=sales"], "ZTNA Connecting"),
    "ipsec": (["ipsec", "{gateway}", "--timeout", str(SECONDS)], "VPN Connecting"),
}


class BrowserDemo(Demo):
    def __init__(self, arguments: argparse.Namespace):
        super().__init__(arguments)
        self.host_arguments, self.heading = ROADS[arguments.road]

    def run(self) -> bool:
        self.say("wine", "starts (its first start takes some seconds)")
        self.forget_trace_log()
        with self.gateway() as ports, self.browser() as (browser, fifo):
            output, code = self.sign_in(f"https://127.0.0.1:{ports['port']}", fifo, browser)
            browser_code = browser.poll()  # None: it still waits, as the host never opened a page
            issued = self.issued(ports)
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

    def compare(self, issued: list[str], got: list[str]) -> bool:
        agree = len(issued) == 1 and issued == got
        print(f"\nId that the gateway issued   {', '.join(issued) or 'none'}")
        print(f"Id that the caller got       {', '.join(got) or 'none'}")
        print(f"                             {'they agree' if agree else 'they DIFFER'}\n")
        self.show_files(
            {
                "login.png": "the login page, filled in",
                "last-page.png": "the page that the user sees at the end",
                "trace.log": "the library's trace log",
                "gateway.jsonl": "what the gateway was asked",
            }
        )
        return agree


def interrupt(process: subprocess.Popen) -> None:
    with contextlib.suppress(
        PermissionError
    ):  # run by way of another user's program, it ends by its time-out
        process.send_signal(signal.SIGINT)


if __name__ == "__main__":
    command_line = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    command_line.add_argument("--road", choices=ROADS, required=True, help="which kind of sign-in")
    sys.exit(run_demo(BrowserDemo, command_line))
