"""dialog_test.py MODULE HOST EMULATOR: the dialogs, driven by real key presses."""

import datetime
import hashlib
import sys
import time
import unittest
from typing import Callable

from cryptography import x509
from cryptography.hazmat.primitives import hashes, serialization
from cryptography.hazmat.primitives.asymmetric import ec
from cryptography.x509.oid import NameOID
from desktop_case import TIMEOUT, DesktopTestCase
from module_process import ANSWERED, BLOCK_SIZE, CANCELLED, TIMED_OUT

TWO_FACTOR = f'--object=2fa --description="Code" --timeout={TIMEOUT}'
CERTIFICATE_ONLY = f'--object=basic --description="Choose" --timeout={TIMEOUT} --require-certificate=1'


def basic(user: str = "", description: str = "Sign in", timeout: int = TIMEOUT, more: str = "") -> str:
    return f'--object=basic --require-username={user} --description="{description}" --timeout={timeout}{more}'


def certificate(name: str, days: int) -> bytes:
    """A certificate (DER) that is valid until so many days from now."""
    key = ec.generate_private_key(ec.SECP256R1())
    subject = x509.Name([x509.NameAttribute(NameOID.COMMON_NAME, name)])
    end = datetime.datetime.now(datetime.timezone.utc) + datetime.timedelta(days=days)
    built = (
        x509.CertificateBuilder()
        .subject_name(subject)
        .issuer_name(subject)
        .public_key(key.public_key())
        .serial_number(x509.random_serial_number())
        .not_valid_before(end - datetime.timedelta(days=1000))
        .not_valid_after(end)
        .sign(key, hashes.SHA256())
    )
    return built.public_bytes(serialization.Encoding.DER)


class DialogTestCase(DesktopTestCase):
    def assert_answer(self, running, answer: str) -> None:
        result = running.finish()
        self.assertEqual(result.exit_code, ANSWERED)
        self.assertEqual(result.answer().decode(), answer)

    def assert_no_answer(self, running, exit_code: int) -> None:
        result = running.finish()
        self.assertEqual((result.exit_code, result.block), (exit_code, bytes(BLOCK_SIZE)))


class BasicDialog(DialogTestCase):
    def test_focus_is_on_the_user_name_when_none_is_offered(self):
        running, _ = self.open(basic())
        self.desktop.type("bob")
        self.desktop.press("Tab")
        self.desktop.type("Open+Sesame & 1")
        self.desktop.press("Return")
        self.assert_answer(running, "bob\nOpen+Sesame & 1\n")

    def test_focus_is_on_the_password_when_a_user_name_is_offered(self):
        running, _ = self.open(basic("alice"))
        self.desktop.type("secret")
        self.desktop.press("Return")
        self.assert_answer(running, "alice\nsecret\n")

    def test_offered_user_name_can_be_changed(self):
        running, _ = self.open(basic("alice"))
        self.desktop.type("secret")
        self.desktop.press("shift+Tab", "End")
        self.desktop.type("2")
        self.desktop.press("Return")
        self.assert_answer(running, "alice2\nsecret\n")

    def test_answer_is_utf_8(self):
        running, _ = self.open(basic("Zoë Müller 日本"))
        self.desktop.type("x")
        self.desktop.press("Return")
        self.assert_answer(running, "Zoë Müller 日本\nx\n")

    def test_enter_with_an_empty_field_asks_for_it(self):
        running, window = self.open(basic("alice"))
        height = self.height_of(window)
        self.desktop.press("shift+Tab", "Return")  # from the user name: the focus goes to what is missing
        self.wait_until_taller(window, height)
        self.desktop.type("secret")
        self.desktop.press("Return")
        self.assert_answer(running, "alice\nsecret\n")

    def test_escape_cancels(self):
        running, _ = self.open(basic("alice"))
        self.desktop.type("secret")
        self.desktop.press("Escape")
        self.assert_no_answer(running, CANCELLED)

    def test_closing_the_window_cancels(self):
        running, _ = self.open(basic("alice"))
        self.desktop.press("alt+F4")
        self.assert_no_answer(running, CANCELLED)

    def test_tab_goes_from_field_to_field_to_ok_to_cancel_and_round(self):
        running, _ = self.open(basic())
        self.desktop.press("Tab", "Tab", "Tab", "Tab")  # password, OK, Cancel, and back
        self.desktop.type("u")
        self.desktop.press("Tab")
        self.desktop.type("p")
        self.desktop.press("Tab", "space")
        self.assert_answer(running, "u\np\n")

    def test_enter_on_cancel_cancels(self):
        running, _ = self.open(basic("alice"))
        self.desktop.type("secret")
        self.desktop.press("Tab", "Tab", "Return")
        self.assert_no_answer(running, CANCELLED)

    def test_shift_tab_goes_backwards(self):
        running, _ = self.open(basic())
        self.desktop.press("shift+Tab", "Return")  # Cancel is the last
        self.assert_no_answer(running, CANCELLED)

    def test_ok_is_clicked(self):
        running, window = self.open(basic("alice"))
        self.desktop.type("secret")
        left, top, right, bottom = self.desktop.box_of(window)
        self.desktop.click(window, right - left - 180, bottom - top - 45)
        self.assert_answer(running, "alice\nsecret\n")

    def test_password_does_not_show(self):
        running, window = self.open(basic())
        height = self.height_of(window)

        def field() -> bytes:
            picture = self.desktop.picture_of(window)
            return picture.crop((20, height - 130, picture.width - 20, height - 80)).tobytes()

        def enter(*keys: str, text: str) -> None:
            """Once the field is seen to have the focus."""
            before = field()
            self.desktop.press("Tab")
            self.desktop.wait_until(lambda: field() != before, "the focus in the field")
            if keys:
                self.desktop.press(*keys)
            self.desktop.type(text)
            self.desktop.press("Return")  # the user name is missing: the focus goes there

        enter(text="iii")
        self.wait_until_taller(window, height)  # by the message of that
        narrow = self.steady(field)
        enter("ctrl+a", "BackSpace", text="WWW")
        self.desktop.wait_until(lambda: field() == narrow, "a field that looks the same")
        enter("End", text="W")
        self.assertNotEqual(self.steady(field), narrow)  # what it looks at does change
        self.desktop.press("Escape")
        running.finish()

    def steady(self, look: Callable[[], bytes]) -> bytes:
        """What is seen once it has been the same for 2 seconds: a caret in it would blink."""
        seen, since = look(), time.monotonic()

        def is_steady() -> bool:
            nonlocal seen, since
            now = look()
            if now != seen:
                seen, since = now, time.monotonic()
            return time.monotonic() - since > 2

        self.desktop.wait_until(is_steady, "a steady sight")
        return seen

    def test_description_shows_and_takes_the_room_it_needs(self):
        heights = []
        for description in ("", "One line.", "Two lines of text. " * 5, "Many lines of text. " * 60):
            running, window = self.open(basic("alice", description))
            heights.append(self.height_of(window))
            self.desktop.press("Escape")
            running.finish()
        self.assertEqual(heights, sorted(set(heights)))
        self.assertLess(heights[-1], 600)

    def test_time_out_comes_in_time_and_not_before(self):
        started = time.monotonic()
        running = self.modules.start_with(basic("alice", timeout=3))
        self.assert_no_answer(running, TIMED_OUT)
        self.assertGreaterEqual(time.monotonic() - started, 3)

    def test_seconds_left_are_counted_down(self):
        running, window = self.open(basic("alice"))
        shown = {self.countdown_area(window)}

        def changed_twice() -> bool:
            shown.add(self.countdown_area(window))
            return len(shown) > 2

        self.desktop.wait_until(changed_twice, "the countdown to go on")
        self.desktop.press("Escape")
        running.finish()

    def countdown_area(self, window: str) -> bytes:
        picture = self.desktop.picture_of(window)
        return picture.crop((20, picture.height - 60, 180, picture.height - 20)).tobytes()


class CertificateDialog(DialogTestCase):
    @classmethod
    def setUpClass(cls) -> None:
        super().setUpClass()
        der = certificate("Alice Liddell", 500)
        cls.thumbprint = hashlib.sha1(der).hexdigest().upper()
        cls.modules.add_certificate(der)
        cls.modules.add_certificate(certificate("Expired", -10))

    def test_first_valid_certificate_is_offered(self):
        running, _ = self.open(CERTIFICATE_ONLY)
        self.desktop.press("Return")
        self.assert_answer(running, f"\n\n{self.thumbprint}")

    def test_none_can_be_chosen_and_is_the_last(self):
        running, _ = self.open(CERTIFICATE_ONLY)
        self.desktop.press("Down", "Return")
        self.assert_answer(running, "\n\n")

    def test_certificate_beside_user_name_and_password(self):
        running, _ = self.open(basic("alice", more=" --require-certificate=1"))
        self.desktop.type("secret")
        self.desktop.press("Return")
        self.assert_answer(running, f"alice\nsecret\n{self.thumbprint}")

    def test_list_is_reached_by_tab_behind_the_password(self):
        running, _ = self.open(basic("alice", more=" --require-certificate=1"))
        self.desktop.type("secret")
        self.desktop.press("Tab", "Down", "Up", "Down", "Return")
        self.assert_answer(running, "alice\nsecret\n")

    def test_escape_cancels(self):
        running, _ = self.open(CERTIFICATE_ONLY)
        self.desktop.press("Escape")
        self.assert_no_answer(running, CANCELLED)


class TwoFactorDialog(DialogTestCase):
    def test_token_is_the_whole_answer(self):
        running, _ = self.open(TWO_FACTOR)
        self.desktop.type("123 456")
        self.desktop.press("Return")
        self.assert_answer(running, "123 456")

    def test_escape_cancels(self):
        running, _ = self.open(TWO_FACTOR)
        self.desktop.press("Escape")
        self.assert_no_answer(running, CANCELLED)

    def test_time_out(self):
        # Its window is not waited for: it may have come and gone before it is seen.
        running = self.modules.start_with('--object=2fa --description="Code" --timeout=1')
        self.assert_no_answer(running, TIMED_OUT)


class LargeAndDark(DialogTestCase):
    registry = (
        '[Control Panel\\\\Desktop]\n"LogPixels"=dword:000000c0\n'
        "\n[Software\\\\Microsoft\\\\Windows\\\\CurrentVersion\\\\Themes\\\\Personalize]\n"
        '"AppsUseLightTheme"=dword:00000000\n'
    )

    def test_dialog_is_twice_as_large_and_dark(self):
        running, window = self.open(basic("alice"))
        left, _, right, bottom = self.desktop.box_of(window)
        self.assertGreater(right - left, 2 * 372)
        self.desktop.wait_until(lambda: self.is_dark_and_drawn(window), "a dark dialog")
        self.desktop.type("secret")
        self.desktop.press("Return")
        self.assert_answer(running, "alice\nsecret\n")

    def is_dark_and_drawn(self, window: str) -> bool:
        """Whether the window shows light text on dark ground; before it is drawn there is no text."""
        picture = self.desktop.picture_of(window).convert("L")
        below_title = picture.crop((20, 80, picture.width - 20, picture.height - 20))
        return below_title.getpixel((0, below_title.height // 2)) < 60 and below_title.getextrema()[1] > 180


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
