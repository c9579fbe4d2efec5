"""The demo's sign-ins through the auth module: its dialogs show on a display, and keys are pressed there.

Exit code: 0 the caller got what the gateway issued and what the user typed, 1 otherwise.
"""

import argparse
import contextlib
import os
import pathlib
import subprocess
import sys
import tempfile
from typing import Callable

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
    shortened,
)

sys.path.insert(0, str(ROOT / "samples" / "desktop"))

from desktop import Desktop

MODULE = "ZeltoAuth.exe"
TOKEN = "271 828"
MOST_SHOWN = 12  # of a long text, at either end


class ModuleDemo(Demo):
    def __init__(self, arguments: argparse.Namespace):
        super().__init__(arguments)
        self.runner = arguments.runner

    def run(self) -> bool:
        with self.desktop() as self.screen, self.gateway() as ports:
            address = f"https://127.0.0.1:{ports['port']}"
            saml_page = f"{address}/idp/saml"
            response = self.host(["saml-webview2", saml_page], "saml.png", self.type_name_and_password)
            password = self.host(["password", address], "password.png", self.type_name_and_password)
            token = self.host(["token", address], "token.png", lambda: self.screen.type(TOKEN))
            issued = self.issued(ports)
            self.keep_trace_log()
        agree = self.compare(
            [
                ("SAML response", ", ".join(issued), response.get("Response")),
                ("Server address", "127.0.0.1", response.get("Server")),
                ("User name", USER, password.get("User")),
                ("Password", f"{len(PASSWORD)} characters", password.get("Password")),
                ("Token", TOKEN, token.get("Token")),
            ]
        )
        self.show_files(
            {
                "saml.png": "the dialog for a sign-in at the identity provider",
                "password.png": "the dialog for user name and password",
                "token.png": "the dialog for the second factor",
                "trace.log": "the library's trace log",
                "gateway.jsonl": "what the gateway was asked",
            }
        )
        return agree

    @contextlib.contextmanager
    def desktop(self):
        with tempfile.TemporaryDirectory(prefix="zelto-desktop-") as folder:
            desktop = Desktop(self.runner, pathlib.Path(folder))
            try:
                os.environ.update(desktop.environment)
                self.say("desktop", f"display {desktop.environment['DISPLAY']}, and a Wine that shows windows")
                yield desktop
            finally:
                desktop.close()

    def type_name_and_password(self) -> None:
        self.screen.type(USER)
        self.screen.press("Tab")
        self.screen.type(PASSWORD)

    def host(self, arguments: list[str], picture: str, type_answer: Callable[[], None]) -> dict[str, str]:
        """Runs the host program and answers the dialog; returns its lines, by their first words."""
        self.say("host", f"{pathlib.Path(self.host_command[1]).name} {' '.join(arguments)}")
        command = [*self.host_command, *arguments, "--timeout", str(SECONDS)]
        process = subprocess.Popen(
            command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT
        )
        lines: list[str] = []
        with ended_at_the_end(process):
            follower = self.follow("host", process, lines)
            try:
                self.answer_dialog(self.path(picture), type_answer)
                process.wait(SECONDS)
            except (subprocess.TimeoutExpired, TimeoutError, RuntimeError) as error:
                raise Failed(f"the dialog was not answered: {error}") from error
            follower.join(SECONDS_TO_READ)
        if process.returncode != 0:
            raise Failed(f"the host program ended with exit code {process.returncode}; see above")
        return {line[:10].strip(): line[10:] for line in lines}

    def answer_dialog(self, picture: str, type_answer: Callable[[], None]) -> None:
        window = self.screen.wait_for_window(MODULE)
        self.say("user", "sees the dialog, and types")
        type_answer()
        self.screen.still_picture_of(window).save(picture)
        self.screen.press("Return")

    def compare(self, rows: list[tuple[str, str, str | None]]) -> bool:
        """Prints what was issued or typed, and what the caller got, side by side."""
        width = 2 * MOST_SHOWN + 22
        print(f"\n{'':15} {'issued or typed':{width}} what the caller got")
        for name, expected, got in rows:
            verdict = "they agree" if got == expected else "they DIFFER"
            left, right = (shortened(text or "nothing", MOST_SHOWN) for text in (expected, got))
            print(f"{name:15} {left:{width}} {right:{width}} {verdict}")
        print()
        return all(got == expected for _, expected, got in rows)


if __name__ == "__main__":
    sys.exit(run_demo(ModuleDemo, argparse.ArgumentParser(description=__doc__.splitlines()[0])))
