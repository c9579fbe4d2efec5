"""library_test.py HOST [EMULATOR …]: the real library and the sample auth module, which share no code, together."""

import os
import pathlib
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))

from module_process import CANCELLED, LARGEST_ANSWER, windows_path
from sample_host import SampleHost


class LibraryAndModule(unittest.TestCase):
    def setUp(self) -> None:
        self.host = SampleHost(sys.argv[1], sys.argv[2:])
        self.addCleanup(self.host.close)
        self.addCleanup(os.environ.pop, "ZELTO_AUTH_MODULE_SCRIPT", None)

    def run_host(self, command: str, script: str) -> tuple[int, str]:
        path = self.host.folder / "script"
        path.write_text(script, encoding="utf-8")
        os.environ["ZELTO_AUTH_MODULE_SCRIPT"] = windows_path(path)
        code, output, _ = self.host.run(command, "https://gateway.invalid/", "--timeout", "60")
        return code, output

    def test_saml_by_each_of_the_providers(self):
        for command in ("saml-electron", "saml-webbrowser", "saml-webview2"):
            with self.subTest(command):
                code, output = self.run_host(command, "answer PHNhbWw+\\nServerIp:10.0.0.1\\nOther:x")
                self.assertEqual(code, 0)
                self.assertIn("\nResponse  PHNhbWw+\nServer    10.0.0.1\n", output)

    def test_user_name_and_password(self):
        code, output = self.run_host("password", "answer alice\\nsecret\\n")
        self.assertEqual(code, 0)
        self.assertIn("\nUser      alice\nPassword  6 characters\n", output)

    def test_token(self):
        code, output = self.run_host("token", "answer 123 456")
        self.assertEqual(code, 0)
        self.assertIn("\nToken     123 456\n", output)

    def test_answers_around_a_block_of_the_cipher(self):
        for length in (0, 1, 15, 16, 17, 31, 32, 33):
            with self.subTest(length):
                code, output = self.run_host("token", "answer " + "t" * length)
                self.assertEqual(code, 0)
                self.assertIn(f"\nToken     {'t' * length}\n", output)

    def test_largest_answer(self):
        code, output = self.run_host("saml-webview2", "answer " + "r" * LARGEST_ANSWER)
        self.assertEqual(code, 0)
        self.assertIn(f"\nResponse  {'r' * LARGEST_ANSWER}\n", output)

    def test_exit_code_is_the_result(self):
        for command in ("saml-webview2", "password", "token"):
            with self.subTest(command):
                code, output = self.run_host(command, f"answer a\\nb\\nc\nexit {CANCELLED}")
                self.assertEqual(code, 1)
                self.assertIn(f"\nResult    0x{CANCELLED:08X} ", output)
                self.assertNotIn("\nUser ", output)

    def test_crash_is_the_result(self):
        code, output = self.run_host("token", "answer lost\ncrash")
        self.assertEqual(code, 1)
        self.assertIn("\nResult    0xC0000005 ", output)

    def test_block_that_holds_no_record_is_an_empty_answer(self):
        for script in ("exit 0", "block no base64!", "block AAAA", "block " + "A" * 70_000):
            with self.subTest(script[:20]):
                code, output = self.run_host("token", script)
                self.assertEqual(code, 0)
                self.assertIn("\nToken     \n", output)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
