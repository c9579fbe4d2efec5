"""saml_test.py MODULE HOST EMULATOR, beside a simulated gateway: signing in at its identity provider."""

import json
import os
import sys
import unittest
import urllib.request

from desktop_case import TIMEOUT, DesktopTestCase
from module_process import ANSWERED, BLOCK_SIZE, CANCELLED, TIMED_OUT

ADDRESS = f"127.0.0.1:{os.environ['ZELTO_GATEWAY_PORT']}/idp/saml"
CONTROL = f"http://127.0.0.1:{os.environ['ZELTO_GATEWAY_CONTROL_PORT']}"
USER = os.environ["ZELTO_GATEWAY_USER"]
PASSWORD = os.environ["ZELTO_GATEWAY_PASSWORD"]


def control(path: str, settings: dict | None = None) -> bytes:
    body = None if settings is None else json.dumps(settings).encode()
    with urllib.request.urlopen(urllib.request.Request(CONTROL + path, body)) as answer:
        return answer.read()


def requests() -> list[dict]:
    return [json.loads(line) for line in control("/log").splitlines()]


def saml(url: str = f"https://{ADDRESS}", ignore_certificate: int = 1, timeout: int = TIMEOUT) -> str:
    """The options as the library writes them, with the blank that they begin with."""
    return (
        f' --object="saml:sales" --object-name="Sales" --url="{url}" --description="Sign in"'
        f" --ignore-certificate={ignore_certificate} --timeout={timeout} --delete-cookies"
    )


class SamlDialog(DesktopTestCase):
    def setUp(self) -> None:
        control("/reset", {})

    def submit(self, password: str = PASSWORD) -> None:
        self.desktop.type(USER)
        self.desktop.press("Tab")
        self.desktop.type(password)
        self.desktop.press("Return")

    def assert_signed_in(self, running) -> None:
        result = running.finish()
        (issued,) = json.loads(control("/ids"))
        self.assertEqual(result.exit_code, ANSWERED)
        self.assertEqual(result.answer().decode(), f"{issued}\nServerIp:127.0.0.1")

    def assert_cancelled(self, running) -> None:
        self.desktop.press("Escape")
        result = running.finish()
        self.assertEqual((result.exit_code, result.block), (CANCELLED, bytes(BLOCK_SIZE)))
        self.assertEqual(json.loads(control("/ids")), [])

    def test_answer_is_the_response_that_was_issued(self):
        running, _ = self.open(saml())
        self.submit()
        self.assert_signed_in(running)
        (request,) = requests()
        self.assertEqual((request["method"], request["path"], request["status"]), ("POST", "/idp/saml", 200))
        self.assertEqual(request["headers"]["Content-Type"], "application/x-www-form-urlencoded")

    def test_query_of_the_address_is_sent_and_its_fragment_is_not(self):
        running, _ = self.open(saml(f"https://{ADDRESS}?realm=a%20b&x=1#part"))
        self.submit()
        self.assert_signed_in(running)
        self.assertEqual(requests()[0]["path"], "/idp/saml?realm=a%20b&x=1")

    def test_wrong_password_can_be_corrected(self):
        running, window = self.open(saml())
        height = self.height_of(window)
        self.submit("wrong")
        self.wait_until_taller(window, height)
        self.desktop.type(PASSWORD)  # the user name was kept; the focus is on the password, which was not
        self.desktop.press("Return")
        self.assert_signed_in(running)
        self.assertEqual([request["status"] for request in requests()], [401, 200])

    def test_bad_certificate_is_refused_unless_it_is_to_be_ignored(self):
        running, window = self.open(saml(ignore_certificate=0))
        height = self.height_of(window)
        self.submit()
        self.wait_until_taller(window, height)
        self.assertEqual([request for request in requests() if request["event"] == "request"], [])
        self.assert_cancelled(running)

    def test_address_that_is_not_https_gets_no_password(self):
        running, window = self.open(saml(f"http://{ADDRESS}"))
        height = self.height_of(window)
        self.submit()
        self.wait_until_taller(window, height)
        self.assertEqual(requests(), [])
        self.assert_cancelled(running)

    def test_page_without_a_response_is_none(self):
        control("/settings", {"fault": "status", "fault_path": "/idp/saml", "status": 200, "body": "hello"})
        running, window = self.open(saml())
        height = self.height_of(window)
        self.submit()
        self.wait_until_taller(window, height)
        self.desktop.press("Escape")
        self.assertEqual(running.finish().exit_code, CANCELLED)

    def test_client_certificate_is_not_needed_when_it_is_optional(self):
        control("/settings", {"fault": "client_certificate", "certificate": "optional"})
        running, _ = self.open(saml())
        self.submit()
        self.assert_signed_in(running)

    def test_cancel_while_the_identity_provider_is_silent(self):
        running = self.submit_to_silence(TIMEOUT)
        self.assert_silence_ended_by(running, CANCELLED, "Escape")

    def test_enter_while_the_identity_provider_is_silent_cancels(self):
        """The focus is on Cancel: the fields are disabled."""
        running = self.submit_to_silence(TIMEOUT)
        self.assert_silence_ended_by(running, CANCELLED, "Return")

    def test_time_out_while_the_identity_provider_is_silent(self):
        running = self.submit_to_silence(6)
        self.assert_silence_ended_by(running, TIMED_OUT)

    def submit_to_silence(self, timeout: int):
        control("/settings", {"fault": "silent", "fault_path": "/idp/saml"})
        running, _ = self.open(saml(timeout=timeout))
        self.submit()
        self.desktop.wait_until(lambda: len(requests()) == 1, "the request")
        return running

    def assert_silence_ended_by(self, running, exit_code: int, *keys: str) -> None:
        if keys:
            self.desktop.press(*keys)
        result = running.finish()
        self.assertEqual((result.exit_code, result.block), (exit_code, bytes(BLOCK_SIZE)))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
