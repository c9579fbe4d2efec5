"""signin_browser_test.py PROGRAM [EMULATOR …], beside a simulated gateway.

A user signs in once, with Chromium; the tests then look at what everybody got to see.
"""

import contextlib
import json
import os
import pathlib
import re
import subprocess
import sys
import unittest
import urllib.request

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tests" / "support"))

from sample_host import SECONDS, SampleHost

GATEWAY = f"https://127.0.0.1:{os.environ['ZELTO_GATEWAY_PORT']}"
CONTROL = f"http://127.0.0.1:{os.environ['ZELTO_GATEWAY_CONTROL_PORT']}"
SSO_PORT = os.environ["ZELTO_GATEWAY_SSO_PORT"]
TRACE_LOG = r"%localappdata%\ZeltoClient\logs\trace\ZeltoSignIn.exe_ZeltoAuth.log"


def control(path: str) -> bytes:
    with urllib.request.urlopen(CONTROL + path) as answer:
        return answer.read()


@contextlib.contextmanager
def browser(host: SampleHost):
    """A browser that is ready for an address, and ends at the end of the block."""
    command = [
        "/usr/bin/python3",
        "-B",
        str(ROOT / "samples" / "browser" / "browser.py"),
        "--fifo",
        str(host.folder / "fifo"),
        "--user",
        os.environ["ZELTO_GATEWAY_USER"],
        "--password",
        os.environ["ZELTO_GATEWAY_PASSWORD"],
        "--report",
        str(host.folder / "report.json"),
        "--screenshot",
        str(host.folder / "page.png"),
    ]
    process = subprocess.Popen(command, stdout=subprocess.PIPE, text=True)
    try:
        line = process.stdout.readline()
        if line != "browser: ready, waiting for an address\n":
            raise AssertionError(f"the browser is not ready: {line}")
        yield process
    finally:
        process.terminate()
        process.wait(SECONDS)


def last_run(log: str) -> list[str]:
    """The messages that the last process wrote into the trace log, each with its level."""
    start = log.rindex("[", 0, log.rindex("(Time Zone:"))
    return re.findall(
        r"^\[.*? UTC.{6}\] \[\d+:\d+\] \[ZeltoAuth  \d+ +(\w+\] .*)$",
        log[log.rindex("\n", 0, start) + 1 :],
        re.MULTILINE,
    )


class SignInWithABrowser(unittest.TestCase):
    @classmethod
    def setUpClass(cls) -> None:
        host = SampleHost(sys.argv[1], sys.argv[2:])
        cls.addClassCleanup(host.close)
        with browser(host) as process:
            cls.exit_code, cls.output, cls.errors = host.run(
                "ssl", GATEWAY + "/sales", "--timeout", "50", fifo=str(host.folder / "fifo")
            )
            steps = process.communicate(timeout=SECONDS)[0]
        if process.returncode != 0:
            raise AssertionError(f"the browser failed:\n{steps}\nthe host wrote:\n{cls.output}{cls.errors}")
        cls.page = json.loads((host.folder / "report.json").read_text())
        cls.screenshot = (host.folder / "page.png").read_bytes()
        cls.issued = json.loads(control("/ids"))
        cls.requests = [json.loads(line) for line in control("/log").splitlines()]
        _, log, _ = host.run_system_program("cmd.exe", "/c", "type", TRACE_LOG)
        cls.messages = last_run(log)

    def test_caller_gets_the_id_that_the_gateway_issued(self):
        self.assertEqual(len(self.issued), 1)
        self.assertEqual(re.findall(r"^Id        (.*)$", self.output, re.MULTILINE), self.issued)

    def test_host_ends_well(self):
        self.assertEqual((self.exit_code, self.errors), (0, ""))
        self.assertIn("Result    0x00000000 ZELTO_AUTH_S_OK\n", self.output)

    def test_browser_is_opened_at_the_start_page(self):
        self.assertEqual(self.page["address"], f"{GATEWAY}/remote/saml/start?redirect=1&realm=sales")

    def test_user_sees_the_page_of_the_library(self):
        self.assertEqual(self.page["h1"], "VPN Connecting")
        self.assertEqual(
            self.page["paragraph"],
            "Your VPN connection has been redirected to ZeltoClient.\n"
            "You may close the browser window now.",
        )
        self.assertEqual(self.page["url"], f"http://127.0.0.1:{SSO_PORT}/?id={self.issued[0]}")
        self.assertTrue(self.screenshot.startswith(b"\x89PNG"))

    def test_gateway_is_asked_by_library_and_browser_in_turn(self):
        asked = [
            (request["method"], request["path"].partition("?")[0], request["status"])
            for request in self.requests
            if request["event"] == "request" and request["path"] != "/favicon.ico"
        ]
        self.assertEqual(
            asked,
            [
                ("GET", "/remote/info", 200),
                ("GET", "/remote/saml/start", 302),
                ("GET", "/idp/login", 200),
                ("POST", "/idp/login", 302),
            ],
        )
        self.assertEqual(self.requests[0]["headers"]["User-Agent"], "ZeltoClient Windows")
        self.assertIn("Chrome", self.requests[1]["headers"]["User-Agent"])

    def test_trace_log_tells_the_story(self):
        told = "\n".join(self.messages)
        story = (
            r"info\] GetHttpResponse\(\) response=<\?xml",
            r"info\] Timeout for external browser auth: 50$",
            rf"info\] called\. dwPort={SSO_PORT}, dwTimeout=50000, hEvtExit=",
            r"info\] Client socket\(.*\) established\.$",
            r"debug\] RecvFromSocket\(\) Read event on the socket\.$",
            r"info\] Get authId successfully!$",
            r"info\] RecvReqDataFromExtBrow\(\) Got auth id from external browser successfully\.$",
            r"info\] GetSslSamlDataExternalBrowser\(\) Get auth id from external browser successfully\.$",
            r"info\] trace stopped$",
        )
        at = 0
        for line in story:
            found = re.compile(line, re.MULTILINE).search(told, at)
            self.assertIsNotNone(found, f"{line} is not in its place in:\n{told}")
            at = found.end()
        self.assertIn(f"info] Browser opens url {self.page['address']}", self.messages)

    def test_trace_log_complains_about_nothing(self):
        self.assertEqual([line for line in self.messages if line.startswith("error")], [])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
