"""sample_host_test.py PROGRAM [EMULATOR …], beside a simulated gateway."""

import json
import os
import pathlib
import re
import shutil
import socket
import ssl
import sys
import time
import unittest
import urllib.error
import urllib.parse
import urllib.request

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tests" / "support"))

from sample_host import BrowserFifo, SampleHost, press_ctrl_c

GATEWAY = f"https://127.0.0.1:{os.environ['ZELTO_GATEWAY_PORT']}"
CONTROL = f"http://127.0.0.1:{os.environ['ZELTO_GATEWAY_CONTROL_PORT']}"
SSO_PORT = int(os.environ["ZELTO_GATEWAY_SSO_PORT"])


def control(path: str, settings: dict | None = None) -> None:
    urllib.request.urlopen(
        urllib.request.Request(CONTROL + path, json.dumps(settings or {}).encode())
    ).close()


def connect(port: int) -> socket.socket:
    """Connects to the library's listener, which may come a little after the page is opened."""
    deadline = time.monotonic() + 60
    while True:
        try:
            return socket.create_connection(("127.0.0.1", port))
        except ConnectionRefusedError:
            if time.monotonic() > deadline:
                raise


def follow_redirect(target: str, port: int = SSO_PORT) -> bytes:
    """Does what a browser does at the end of a sign-in; returns the answer."""
    with connect(port) as browser:
        browser.sendall(f"GET {target} HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n".encode())
        answer = b""
        while piece := browser.recv(65_536):
            answer += piece
        return answer


class NoRedirects(urllib.request.HTTPRedirectHandler):
    """Has the opener raise a redirect as an error, which has the address."""

    def redirect_request(self, *_):
        return None


class SampleHostTestCase(unittest.TestCase):
    def setUp(self) -> None:
        self.host = SampleHost(sys.argv[1], sys.argv[2:])
        self.addCleanup(self.host.close)
        control("/reset")


class CommandLine(SampleHostTestCase):
    def test_without_arguments_shows_the_help_as_an_error(self):
        code, output, errors = self.host.run()
        self.assertEqual((code, output), (2, ""))
        self.assertIn("ZeltoSignIn.exe COMMAND GATEWAY [options]", errors)

    def test_help_wherever_it_is_asked_for(self):
        for arguments in (["--help"], ["-h"], ["ssl", "--help"]):
            code, output, errors = self.host.run(*arguments)
            self.assertEqual((code, errors), (0, ""))
            for word in ("ssl", "ipsec", "session", "--timeout SECONDS", "--user-id ID", "--library PATH", "Exit code", "Ctrl+C"):
                self.assertIn(word, output)

    def test_mistakes_are_named(self):
        for arguments, message in (
            (["sll", "gw"], "there is no command sll (--help shows them)"),
            (["ssl"], "which gateway?"),
            (["ssl", "gw", "other"], "one gateway is enough: other is too much"),
            (["ssl", "gw", "--verbose"], "there is no option --verbose"),
            (["ssl", "gw", "--library"], "--library needs a value"),
            (["ssl", "gw", "--timeout"], "--timeout needs a value"),
            (["ipsec", "gw", "--user-id"], "--user-id needs a value"),
            (["ipsec", "gw/realm"], "gw/realm: give [https://]host[:port]"),
            (["ipsec", "gw:x"], "gw:x: give [https://]host[:port]"),
            (["ipsec", "gw:65536"], "gw:65536: give [https://]host[:port]"),
            (["ipsec", "https://:1"], "https://:1: give [https://]host[:port]"),
        ):
            with self.subTest(message):
                self.assertEqual(self.host.run(*arguments), (2, "", f"ZeltoSignIn: {message}\n"))

    def test_bad_time_outs(self):
        for value in ("0", "-1", "10s", " 5", "86401", "4294967297"):
            with self.subTest(value):
                message = f"ZeltoSignIn: --timeout {value}: give whole seconds, 1 to 86400\n"
                self.assertEqual(self.host.run("ssl", "gw", "--timeout", value), (2, "", message))


class Loading(SampleHostTestCase):
    def test_library_missing_beside_the_program(self):
        lonely = pathlib.Path(shutil.copy(self.host.program, self.host.folder))
        code, output, errors = self.host.run("ssl", "gw", program=lonely)
        self.assertEqual((code, output), (2, ""))
        self.assertRegex(
            errors, rf"^ZeltoSignIn: cannot load .*\\{self.host.folder.name}\\ZeltoAuth.dll: error 126 \w"
        )

    def test_library_missing_where_it_was_named(self):
        code, _, errors = self.host.run("ssl", "gw", "--library", r"C:\none\Other.dll")
        self.assertEqual(code, 2)
        self.assertRegex(errors, r"^ZeltoSignIn: cannot load C:\\none\\Other.dll: error 126 \w")

    def test_library_without_the_function(self):
        code, _, errors = self.host.run("ssl", "gw", "--library", r"C:\windows\system32\version.dll")
        self.assertEqual(code, 2)
        self.assertRegex(errors, r"the library has no function GetSslSamlDataExternalBrowser: error 127 \w")


class SigningIn(SampleHostTestCase):
    def setUp(self) -> None:
        super().setUp()
        self.fifo = BrowserFifo(self.host.folder)
        self.addCleanup(self.fifo.close)

    def sign_in(self, *arguments: str, gateway: str = GATEWAY) -> tuple[int, str, str]:
        return self.host.run("ssl", gateway, *arguments, fifo=self.fifo.path)

    def start(self, gateway: str = GATEWAY):
        """Starts a sign-in; returns when it has opened the page and waits for the browser's return."""
        process = self.host.start("ssl", gateway, "--timeout", "50", fifo=self.fifo.path)
        self.assertTrue(self.fifo.address().startswith(f"{GATEWAY}/remote/saml/start?redirect=1"))
        return process

    def assert_result(self, result: tuple[int, str, str], code: int, name: str) -> None:
        exit_code, output, errors = result
        self.assertEqual((exit_code, errors), (0 if code == 0 else 1, ""))
        self.assertIn(f"\nResult    0x{code:08X} {name}\n", output)
        self.assertEqual("\nTo do     " in output, code != 0)

    def test_id_is_printed(self):
        process = self.start()
        self.assertIn(b"VPN Connecting", follow_redirect("/?id=some-id_42"))
        result = process.finish()
        self.assert_result(result, 0, "ZELTO_AUTH_S_OK")
        self.assertTrue(result[1].endswith("\nId        some-id_42\n"), result[1])

    def test_wide_text_comes_out_as_utf_8(self):
        control("/settings", {"fault": "no_sso_port"})
        _, output, _ = self.sign_in(gateway=GATEWAY + "/vertrieb-süd-日本")
        self.assertIn(f"Gateway   {GATEWAY}/vertrieb-süd-日本\n", output)

    def test_ctrl_c_cancels(self):
        process = self.start(GATEWAY + "/cancelled-realm")
        press_ctrl_c(f"{GATEWAY}/cancelled-realm")
        self.assert_result(process.finish(), 0xA7000007, "ZELTO_AUTH_E_CANCELLED")

    def test_second_sign_in_is_busy(self):
        first = self.start(GATEWAY + "/first-realm")
        self.assert_result(self.sign_in(), 0xA7000005, "ZELTO_AUTH_E_BUSY")
        press_ctrl_c(f"{GATEWAY}/first-realm")
        first.finish()

    def test_time_out(self):
        process = self.host.start("ssl", GATEWAY, "--timeout", "1", fifo=self.fifo.path)
        self.fifo.address()  # the program that opens the page has been there
        self.assert_result(process.finish(), 0xA7000003, "ZELTO_AUTH_E_TIMEOUT")

    def test_redirect_without_an_id(self):
        process = self.start()
        follow_redirect("/nothing")
        self.assert_result(process.finish(), 0xA7000000, "ZELTO_AUTH_E_FAILED")

    def test_gateway_without_a_port(self):
        control("/settings", {"fault": "no_sso_port"})
        self.assert_result(self.sign_in(), 1, "ZELTO_AUTH_GATEWAY_FAILED")

    def test_port_is_taken(self):
        with socket.create_server(("127.0.0.1", SSO_PORT)):
            self.assert_result(self.sign_in(), 0xA7000009, "ZELTO_AUTH_E_PORT_UNUSABLE")


class SigningInForIpsec(SampleHostTestCase):
    def setUp(self) -> None:
        super().setUp()
        self.fifo = BrowserFifo(self.host.folder)
        self.addCleanup(self.fifo.close)

    def test_token_and_user_name_are_printed(self):
        process = self.host.start("ipsec", GATEWAY, "--user-id", "jörg", fifo=self.fifo.path)
        self.assertTrue(self.fifo.address().startswith(f"{GATEWAY}/idp/login?flow="))
        with urllib.request.urlopen(CONTROL + "/log") as log:
            form = urllib.parse.parse_qs(json.loads(log.readline())["body"])
        self.assertEqual(form["UID"], ["jörg"])
        follow_redirect("/?tokenid=some-id_42&username=j%C3%B6rg%20x", int(form["REDIRECT_PORT"][0]))
        code, output, errors = process.finish()
        self.assertEqual((code, errors), (0, ""))
        self.assertIn("\nResult    0x00000000 ZELTO_AUTH_S_OK\n", output)
        self.assertTrue(output.endswith("\nId        some-id_42\nUser      jörg x\n"), output)

    def sign_in_at_the_gateway(self, user: str) -> str:
        """Signs in as a browser does, at the gateway's own login page; returns what is printed."""
        process = self.host.start("ipsec", GATEWAY, fifo=self.fifo.path)
        form = urllib.parse.urlencode({"username": user, "password": "x"}).encode()
        browser = urllib.request.build_opener(
            urllib.request.HTTPSHandler(context=ssl._create_unverified_context()), NoRedirects()
        )
        with self.assertRaises(urllib.error.HTTPError) as answer:
            browser.open(self.fifo.address(), form)
        location = urllib.parse.urlsplit(answer.exception.headers["Location"])
        answer.exception.close()
        follow_redirect(f"/?{location.query}", location.port)
        code, output, errors = process.finish()
        self.assertEqual((code, errors), (0, ""))
        return output

    def test_user_name_beyond_ascii_as_the_gateway_encodes_it(self):
        control("/settings", {"users": {"jörg 日本": "x"}})
        self.assertTrue(self.sign_in_at_the_gateway("jörg 日本").endswith("\nUser      jörg 日本\n"))

    def test_user_name_of_which_the_gateway_encodes_every_byte(self):
        control("/settings", {"username_encoding": "every_byte", "users": {"a+ü.b": "x"}})
        self.assertTrue(self.sign_in_at_the_gateway("a+ü.b").endswith("\nUser      a+ü.b\n"))

    def test_gateway_that_names_no_page(self):
        control("/settings", {"fault": "no_marker"})
        code, output, _ = self.host.run("ipsec", GATEWAY, fifo=self.fifo.path)
        self.assertEqual(code, 1)
        self.assertIn("\nResult    0xA7000003 ZELTO_AUTH_E_TIMEOUT\n", output)


class SigningInWithASession(SampleHostTestCase):
    def test_id_is_printed(self):
        fifo = BrowserFifo(self.host.folder)
        self.addCleanup(fifo.close)
        process = self.host.start("session", f"{GATEWAY}/remote/saml/start?realm=x", fifo=fifo.path)
        address, _, port = fifo.address().partition("&redirect=1&redirport=")
        self.assertEqual(address, f"{GATEWAY}/remote/saml/start?realm=x")
        with connect(int(port)) as browser:
            browser.sendall(b"GET /?id=some-id_42 HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n")
            code, output, errors = process.finish()
        self.assertEqual((code, errors), (0, ""))
        self.assertIn("\nResult    0x00000000 ZELTO_AUTH_S_OK\n", output)
        self.assertTrue(output.endswith("\nId        some-id_42\n"), output)


class Texts(unittest.TestCase):
    def test_every_code_of_the_header_is_described(self):
        header = (ROOT / "include" / "zelto_auth.h").read_text()
        codes = re.findall(r"^#define (ZELTO_AUTH_\w+) +0?x?[0-9A-Fa-f]+u$", header, re.MULTILINE)
        described = (ROOT / "samples" / "signin" / "result_text.c").read_text()
        self.assertGreater(len(codes), 7)
        self.assertEqual([code for code in codes if f'{{{code}, L"{code}"' not in described], [])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
