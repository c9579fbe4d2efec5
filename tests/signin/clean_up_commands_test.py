"""clean_up_commands_test.py PROGRAM [EMULATOR …]: the sample host's commands that are no sign-ins."""

import pathlib
import sys
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tests" / "support"))

from sample_host import SampleHost


class CleanUpCommands(unittest.TestCase):
    def setUp(self) -> None:
        self.host = SampleHost(sys.argv[1], sys.argv[2:])
        self.addCleanup(self.host.close)

    def install(self) -> None:
        """Installs the sample client that the build made."""
        installer = "Z:" + str(self.host.program.parent / "ZeltoClient.msi").replace("/", "\\")
        self.addCleanup(self.host.run_system_program, "msiexec", "/x", installer, "/qn")
        self.assertEqual(self.host.run_system_program("msiexec", "/i", installer, "/qn")[0], 0)

    def browser_data(self, *command: str) -> int:
        """Runs a command of the system's interpreter on the embedded browser's folder; returns its exit code."""
        folder = r"%localappdata%\ZeltoClient\SamlAuth"
        return self.host.run_system_program("cmd", "/c", *(word.format(folder) for word in command))[0]

    def make_browser_data(self) -> None:
        self.assertEqual(self.browser_data("mkdir", r"{}\Default"), 0)
        self.addCleanup(self.browser_data, "rmdir", "/s", "/q", "{}")
        self.assertTrue(self.has_browser_data())

    def has_browser_data(self) -> bool:
        return self.browser_data("if", "exist", "{}", "exit", "3") == 3

    def test_help_names_the_commands(self):
        code, output, _ = self.host.run("--help")
        self.assertEqual(code, 0)
        for command in ("azure-token", "clear-cookies", "clear-browser-data"):
            self.assertIn(f"\n  {command} ", output)

    def test_mistakes_are_named(self):
        for arguments, message in (
            (["azure-token"], "which client id and which tenant?"),
            (["azure-token", "client"], "which client id and which tenant?"),
            (["azure-token", "client", "tenant", "more"], "more is too much"),
            (["clear-cookies", "gw"], "gw is too much"),
            (["clear-browser-data", "gw"], "gw is too much"),
        ):
            with self.subTest(message):
                self.assertEqual(self.host.run(*arguments), (2, "", f"ZeltoSignIn: {message}\n"))

    def test_clear_cookies(self):
        self.make_browser_data()
        code, output, errors = self.host.run("clear-cookies")
        self.assertEqual((code, errors), (0, ""))
        self.assertTrue(output.endswith("\nCookies   deleted\n"), output)
        self.assertTrue(self.has_browser_data())

    def test_clear_browser_data(self):
        self.make_browser_data()
        code, output, errors = self.host.run("clear-browser-data")
        self.assertEqual((code, errors), (0, ""))
        self.assertTrue(output.endswith("\nData      deleted, as far as no other program uses it\n"), output)
        self.assertFalse(self.has_browser_data())

    def test_azure_token_without_a_client(self):
        code, output, errors = self.host.run("azure-token", "client", "tenant")
        self.assertEqual((code, errors), (1, ""))
        self.assertIn("\nResult    0xA7000000 no token\nTo do     See that the client is installed", output)

    def test_azure_token_of_an_installed_client(self):
        self.install()
        code, output, errors = self.host.run("azure-token", "0f3c-11", "contoso.example")
        self.assertEqual((code, errors), (0, ""))
        self.assertTrue(output.endswith("\nToken     sample-token.0f3c-11.contoso.example\n"), output)

    def test_azure_token_that_does_not_fit(self):
        self.install()
        code, output, errors = self.host.run("azure-token", "c" * 4000, "contoso.example")
        self.assertEqual((code, errors), (1, ""))
        self.assertTrue(output.endswith("\nResult    0x00000000 an empty token, or one of more than 3899 characters\n"), output)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
