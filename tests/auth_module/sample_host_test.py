"""sample_host_test.py PROGRAM MODULE_FOLDER SESSION_DOUBLE [EMULATOR …]: the sample host's commands that start the auth module.

MODULE_FOLDER holds the library and doubles of the auth module (module_double.cpp); SESSION_DOUBLE is the double of the
session utility library that holds a launch up (session_double.cpp).
"""

import os
import pathlib
import shutil
import sys
import time
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tests" / "support"))

from sample_host import SampleHost, press_ctrl_c

# Hosts that no other run of this test names.
CANCELLED = f"cancelled-{os.getpid()}.example.com"
EARLY = f"early-{os.getpid()}.example.com"


def windows_path(path: pathlib.Path) -> str:
    return "Z:" + str(path).replace("/", "\\")


class ModuleCommands(unittest.TestCase):
    def setUp(self) -> None:
        self.host = SampleHost(sys.argv[1], sys.argv[4:])
        self.addCleanup(self.host.close)
        self.library = windows_path(pathlib.Path(sys.argv[2]) / "ZeltoAuth.dll")
        os.environ["ZELTO_AUTH_MODULE_DOUBLE"] = windows_path(self.host.folder)

    def script(self, *actions: str) -> None:
        (self.host.folder / "script.txt").write_text("".join(f"{action}\n" for action in actions))

    def answer(self, text: str) -> None:
        self.script("answer " + text.encode().hex())

    def start(self, command: str, gateway: str = "https://vpn.example.com"):
        return self.host.start(command, gateway, "--library", self.library)

    def run_command(self, command: str) -> tuple[int, str]:
        code, output, errors = self.start(command).finish()
        self.assertEqual(errors, "")
        return code, output

    def module_command_line(self) -> str:
        lines = (self.host.folder / "record.txt").read_text().splitlines()
        command = next(line for line in lines if line.startswith("command "))
        return bytes.fromhex(command.split()[1]).decode("utf-16-le")

    def test_saml_in_each_window(self):
        self.answer("RESPONSE\nServerIp:10.0.0.1")
        for command, provider in (
            ("saml-electron", "Electron"),
            ("saml-webbrowser", "WebBrowser"),
            ("saml-webview2", "WebView2"),
        ):
            with self.subTest(command):
                code, output = self.run_command(command)
                self.assertEqual(code, 0)
                self.assertIn("\nResponse  RESPONSE\nServer    10.0.0.1\n", output)
                self.assertIn("\nResult    0x00000000 ZELTO_AUTH_S_OK\n", output)
                self.assertIn(f"--provider-name={provider} ", self.module_command_line())
                self.assertIn(' --url="https://vpn.example.com" ', self.module_command_line())

    def test_user_name_and_password(self):
        self.answer("alice\nsecret\n")
        code, output = self.run_command("password")
        self.assertEqual(code, 0)
        self.assertIn("\nUser      alice\nPassword  6 characters\n", output)
        self.assertNotIn("secret", output)
        self.assertTrue(self.module_command_line().endswith(
            '--object=basic --require-username= --description="https://vpn.example.com" --timeout=120'))

    def test_token(self):
        self.answer("123456")
        code, output = self.run_command("token")
        self.assertEqual(code, 0)
        self.assertIn("\nToken     123456\n", output)
        self.assertTrue(self.module_command_line().endswith(
            '--object=2fa --description="https://vpn.example.com" --timeout=120'))

    def test_exit_code_of_the_module_is_shown(self):
        self.script("exit 0x1234")
        code, output = self.run_command("token")
        self.assertEqual(code, 1)
        self.assertIn("\nResult    0x00001234 unknown\n", output)

    def wait_until(self, condition) -> None:
        deadline = time.monotonic() + 60
        while not condition():
            self.assertLess(time.monotonic(), deadline)
            time.sleep(0.05)

    def test_ctrl_c_ends_the_module(self):
        self.script("delay 100000")
        running = self.start("token", f"https://{CANCELLED}")
        self.wait_until((self.host.folder / "record.txt").exists)
        press_ctrl_c(CANCELLED)
        code, output, _ = running.finish()
        self.assertEqual(code, 1)
        self.assertIn("\nStopping  the auth module\n", output)
        self.assertIn("\nResult    0xA7000007 ZELTO_AUTH_E_CANCELLED\n", output)

    def test_ctrl_c_that_comes_too_early_can_be_pressed_again(self):
        folder = self.host.folder / "held"
        shutil.copytree(sys.argv[2], folder, ignore=shutil.ignore_patterns("held", "records.txt"))
        shutil.copy(sys.argv[3], folder / "ZeltoSession.dll")
        self.library = windows_path(folder / "ZeltoAuth.dll")
        self.script("delay 100000")
        running = self.start("token", f"https://{EARLY}")
        self.wait_until((self.host.folder / "choosing").exists)
        press_ctrl_c(EARLY)
        self.wait_until(lambda: b"Stopping  the auth module" in running.output_file.read_bytes())
        (self.host.folder / "go on").touch()
        self.wait_until((self.host.folder / "record.txt").exists)
        press_ctrl_c(EARLY)
        code, output, _ = running.finish()
        self.assertEqual(code, 1)
        self.assertEqual(output.count("Stopping  the auth module\n"), 2)
        self.assertIn("\nResult    0xA7000007 ZELTO_AUTH_E_CANCELLED\n", output)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
