"""saml_test.py MODULE HOST EMULATOR, beside a simulated gateway: signing in at its identity provider."""

import contextlib
import json
import os
import sys
import time
import unittest
import urllib.request

from desktop_case import PROGRAM, TIMEOUT, DesktopTestCase
from module_process import ANSWERED, BLOCK_SIZE, CANCELLED, TIMED_OUT

ADDRESS = f"127.0.0.1:{os.environ['ZELTO_GATEWAY_PORT']}/idp/saml"
CONTROL = f"http://127.0.0.1:{os.environ['ZELTO_GATEWAY_CONTROL_PORT']}"
USER = os.environ["ZELTO_GATEWAY_USER"]
PASSWORD = os.environ["ZELTO_GATEWAY_PASSWORD"]
SECONDS_OF_SILENCE = 10  # after which the module gives the request up
ATTEMPTS = 3


def control(path: str, settings: dict | None = None) -> bytes:
    body = None if settings is None else json.dumps(settings).encode()
    with urllib.request.urlopen(urllib.request.Request(CONTROL + path, body)) as answer:
        return answer.read()


def requests() -> list[dict]:
    return [json.loads(line) for line in control("/log").splitlines()]


def is_busy_since(submitted: float) -> bool:
    """Whether a module that has submitted a request then cannot have given it up yet."""
    return time.monotonic() - submitted < SECONDS_OF_SILENCE - 1


def saml(url: str = f"https://{ADDRESS}", ignore_certificate: int = 1, timeout: int = TIMEOUT) -> str:
    """The options as the library writes them, with the blank that they begin with."""
    return (
        f' --object="saml:sales" --object-name="Sales" --url="{url}" --description="Sign in"'
        f" --ignore-certificate={ignore_certificate} --timeout={timeout} --delete-cookies"
    )


class SamlDialog(DesktopTestCase):
    def setUp(self) -> None:
        control("/reset", {})

    def fill_in(self, password: str = PASSWORD) -> None:
        self.desktop.type(USER)
        self.desktop.press("Tab")
        self.desktop.type(password)

    def submit(self, password: str = PASSWORD) -> None:
        self.fill_in(password)
        self.desktop.press("Return")

    def assert_signed_in(self, running) -> None:
        result = running.finish()
        (issued,) = json.loads(control("/ids"))
        self.assertEqual(result.exit_code, ANSWERED)
        self.assertEqual(result.answer().decode(), f"{issued}\nServerIp:127.0.0.1")

    def assert_cancelled(self, running) -> None:
        self.desktop.press("Escape")
        self.assert_no_answer(running, CANCELLED)
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
        running = self.start(TIMEOUT)
        self.submit_to_silence()
        self.desktop.press("Escape")
        self.assert_no_answer(running, CANCELLED)

    def test_enter_while_the_identity_provider_is_silent_cancels(self):
        """The focus is on Cancel: the fields are disabled."""
        for _ in range(ATTEMPTS):
            running = self.start(TIMEOUT)
            submitted = self.submit_to_silence()
            self.desktop.press("Return")
            if is_busy_since(submitted):
                self.assert_no_answer(running, CANCELLED)
                return
            self.desktop.press("Escape")
            running.finish()
        self.fail("Enter never came in time")

    def test_time_out_while_the_identity_provider_is_silent(self):
        # On a busy machine the shortest is up before the request, or the window is seen long after its time began.
        for timeout, wait in ((6, 0), (25, 19), (40, 28), (60, 42)):
            running = self.start(timeout)
            submitted = None
            with contextlib.suppress(TimeoutError):
                submitted = self.submit_to_silence(wait)
            self.assert_no_answer(running, TIMED_OUT)
            if submitted is not None and is_busy_since(submitted):
                return
        self.fail("the time was never up while the dialog was busy")

    def start(self, timeout: int):
        control("/reset", {})
        control("/settings", {"fault": "silent", "fault_path": "/idp/saml"})
        running = self.modules.start_with(saml(timeout=timeout))
        self.addCleanup(running.end)
        return running

    def submit_to_silence(self, wait: float = 0) -> float:
        """Submits when the window has been seen for so long; once the request has come, returns when that was."""
        self.desktop.wait_for_window(PROGRAM)
        not_before = time.monotonic() + wait
        self.fill_in()
        time.sleep(max(0.0, not_before - time.monotonic()))
        submitted = time.monotonic()
        self.desktop.press("Return")
        self.desktop.wait_until(lambda: len(requests()) == 1, "the request")
        return submitted

    def assert_no_answer(self, running, exit_code: int) -> None:
        result = running.finish()
        self.assertEqual((result.exit_code, result.block), (exit_code, bytes(BLOCK_SIZE)))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
