"""signin_browser_test.py PROGRAM [EMULATOR …], beside a simulated gateway.

A user signs in once on each road, with Chromium; the tests then look at what everybody got to see.
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


def control(path: str, body: bytes | None = None) -> bytes:
    with urllib.request.urlopen(CONTROL + path, body) as answer:
        return answer.read()


@contextlib.contextmanager
def browser(host: SampleHost, heading: str):
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
        "--expect",
        heading,
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
        log[log.rfind("\n", 0, start) + 1 :],
        re.MULTILINE,
    )


class Road:
    """A sign-in of one kind, and what holds for all of them."""

    arguments: tuple[str, ...]  # of the host program
    heading = "VPN Connecting"
    paragraph = (
        "Your VPN connection has been redirected to ZeltoClient.\nYou may close the browser window now."
    )

    @classmethod
    def setUpClass(cls) -> None:
        host = SampleHost(sys.argv[1], sys.argv[2:])
        cls.addClassCleanup(host.close)
        control("/reset", b"{}")
        with browser(host, cls.heading) as process:
            cls.exit_code, cls.output, cls.errors = host.run(*cls.arguments, fifo=str(host.folder / "fifo"))
            steps = process.communicate(timeout=SECONDS)[0]
        if process.returncode != 0:
            raise AssertionError(f"the browser failed:\n{steps}\nthe host wrote:\n{cls.output}{cls.errors}")
        cls.page = json.loads((host.folder / "report.json").read_text())
        cls.screenshot = (host.folder / "page.png").read_bytes()
        cls.issued = json.loads(control("/ids"))
        cls.requests = [json.loads(line) for line in control("/log").splitlines()]
        _, log, _ = host.run_system_program("cmd.exe", "/c", "type", TRACE_LOG)
        cls.messages = last_run(log)

    def assert_told(self, *story: str) -> None:
        """The trace log holds these lines, in this order."""
        told = "\n".join(self.messages)
        at = 0
        for line in story:
            found = re.compile(line, re.MULTILINE).search(told, at)
            self.assertIsNotNone(found, f"{line} is not in its place in:\n{told}")
            at = found.end()

    def asked(self) -> list[tuple[str, str, int]]:
        return [
            (request["method"], request["path"].partition("?")[0], request["status"])
            for request in self.requests
            if request["event"] == "request" and request["path"] != "/favicon.ico"
        ]

    def test_caller_gets_the_id_that_the_gateway_issued(self):
        self.assertEqual(len(self.issued), 1)
        self.assertEqual(re.findall(r"^Id        (.*)$", self.output, re.MULTILINE), self.issued)

    def test_host_ends_well(self):
        self.assertEqual((self.exit_code, self.errors), (0, ""))
        self.assertIn("Result    0x00000000 ZELTO_AUTH_S_OK\n", self.output)

    def test_user_sees_the_page_of_the_library(self):
        self.assertEqual(self.page["h1"], self.heading)
        self.assertEqual(self.page["paragraph"], self.paragraph)
        self.assertTrue(self.screenshot.startswith(b"\x89PNG"))

    def test_trace_log_complains_about_nothing(self):
        self.assertEqual([line for line in self.messages if line.startswith("error")], [])


class SslSignIn(Road, unittest.TestCase):
    arguments = ("ssl", GATEWAY + "/sales", "--timeout", "50")

    def test_browser_is_opened_at_the_start_page(self):
        self.assertEqual(self.page["address"], f"{GATEWAY}/remote/saml/start?redirect=1&realm=sales")

    def test_browser_ends_at_the_listener(self):
        self.assertEqual(self.page["url"], f"http://127.0.0.1:{SSO_PORT}/?id={self.issued[0]}")

    def test_gateway_is_asked_by_library_and_browser_in_turn(self):
        self.assertEqual(
            self.asked(),
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
        self.assert_told(
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
        self.assertIn(f"info] Browser opens url {self.page['address']}", self.messages)


class IpsecSignIn(Road, unittest.TestCase):
    arguments = ("ipsec", GATEWAY, "--user-id", "0123-abcd", "--timeout", "50")

    def test_caller_gets_the_name_that_the_user_signed_in_with(self):
        self.assertTrue(self.output.endswith(f"\nUser      {os.environ['ZELTO_GATEWAY_USER']}\n"), self.output)

    def test_browser_goes_from_the_gateways_page_to_the_listener(self):
        self.assertTrue(self.page["address"].startswith(f"{GATEWAY}/idp/login?flow="))
        port = re.fullmatch(r"UID=0123-abcd&REDIRECT_PORT=(\d+)", self.requests[0]["body"])[1]
        self.assertEqual(
            self.page["url"], f"http://127.0.0.1:{port}/?tokenid={self.issued[0]}&username=alice"
        )

    def test_gateway_is_asked_by_library_and_browser_in_turn(self):
        self.assertEqual(
            self.asked(),
            [("POST", "/saml_login", 200), ("GET", "/idp/login", 200), ("POST", "/idp/login", 302)],
        )

    def test_trace_log_tells_the_story(self):
        self.assert_told(
            r"debug\] GetIpsecSamlDataExternalBrowser\(\) starts\.$",
            r"debug\] GetIpsecSamlDataExternalBrowser\(\) listen on port \d+ for external browser request\.$",
            r"info\] GetHttpResponse\(\) response=<!DOCTYPE",
            rf"info\] Browser opens url {re.escape(self.page['address'])}$",
            r"info\] RecvReqDataFromExtBrow\(\) Got auth id from external browser successfully\.$",
            r"info\] trace stopped$",
        )
        self.assertNotIn(self.issued[0], "\n".join(self.messages))


class SessionSignIn(Road, unittest.TestCase):
    arguments = ("session", GATEWAY + "/remote/saml/start?realm=sales")
    heading = "ZTNA Connecting"
    paragraph = (
        "Your ZTNA connection has been redirected to ZeltoClient.\nYou may close the browser window now."
    )

    def test_browser_goes_from_the_start_page_to_the_listener(self):
        address, _, port = self.page["address"].partition("&redirect=1&redirport=")
        self.assertEqual(address, f"{GATEWAY}/remote/saml/start?realm=sales")
        self.assertEqual(self.page["url"], f"http://127.0.0.1:{port}/?id={self.issued[0]}")

    def test_gateway_is_asked_by_the_browser_only(self):
        self.assertEqual(
            self.asked(),
            [("GET", "/remote/saml/start", 302), ("GET", "/idp/login", 200), ("POST", "/idp/login", 302)],
        )

    def test_trace_log_tells_the_story(self):
        self.assert_told(
            r"info\] dll-SamlAuthGetResponseUsingExternalBrowser called$",
            rf"info\] Browser opens URL {re.escape(self.page['address'])}$",
            rf"info\] authId: {self.issued[0]}$",
            r"info\] SamlGetResponseUsingExternalAuthProvider result: 0$",
            rf"info\] ResponseBuffer: {self.issued[0]}$",
            r"info\] trace stopped$",
        )


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
