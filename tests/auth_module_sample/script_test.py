"""script_test.py MODULE HOST [EMULATOR …]: answers by a script, records, exit codes."""

import pathlib
import re
import sys
import time
import unittest

from module_process import (
    ANSWER_LOST,
    ANSWERED,
    BLOCK_SIZE,
    COMMAND_LINE,
    LARGEST_ANSWER,
    RECEIVER,
    SCRIPT,
    Modules,
    Result,
    windows_path,
)

OPTIONS = '--object=2fa --description="Code" --timeout=60'


class ScriptTestCase(unittest.TestCase):
    def setUp(self) -> None:
        self.modules = Modules(sys.argv[1], sys.argv[2], sys.argv[3:], {})
        self.addCleanup(self.modules.close)

    def script(self, text: str) -> str:
        path = self.modules.folder / "script"
        path.write_text(text, encoding="utf-8")
        return windows_path(path)

    def run_script(self, text: str, options: str = OPTIONS) -> Result:
        return self.modules.start_with(options, ZELTO_AUTH_MODULE_SCRIPT=self.script(text)).finish()


class Records(ScriptTestCase):
    def test_answer_is_read_by_an_independent_decrypter(self):
        for answer in ("", "a", "alice\\nsecret\\nCAFE", "é 日本", "x" * 1000):
            with self.subTest(answer):
                result = self.run_script(f"answer {answer}")
                self.assertEqual(result.exit_code, ANSWERED)
                self.assertEqual(result.answer().decode(), answer.replace("\\n", "\n"))

    def test_answers_around_a_block_of_the_cipher(self):
        for length in (15, 16, 17, 31, 32, 33):
            with self.subTest(length):
                result = self.run_script("answer " + "b" * length)
                self.assertEqual(len(result.record()), 16 + (length // 16 + 1) * 16)
                self.assertEqual(result.answer(), b"b" * length)

    def test_initialisation_vector_is_fresh(self):
        records = [self.run_script("answer same").record() for _ in range(2)]
        self.assertNotEqual(records[0][:16], records[1][:16])

    def test_largest_answer_fits(self):
        result = self.run_script("answer " + "c" * LARGEST_ANSWER)
        self.assertEqual(result.exit_code, ANSWERED)
        self.assertEqual(result.answer(), b"c" * LARGEST_ANSWER)

    def test_an_answer_too_long_is_not_written(self):
        result = self.run_script("answer " + "c" * (LARGEST_ANSWER + 1))
        self.assertEqual((result.exit_code, result.block), (ANSWER_LOST, bytes(BLOCK_SIZE)))


    def test_example_of_the_documentation(self):
        document = pathlib.Path(__file__).resolve().parents[2].joinpath("docs", "auth-module.md").read_text()
        key, record, text = re.search(
            r"^    key +(\w+)\n    record +(\w+)\n    text +(\S+)$", document, re.MULTILINE
        ).groups()
        result = Result(292, ANSWERED, text.encode().ljust(BLOCK_SIZE, b"\0"))
        self.assertEqual(result.key().hex(), key)
        self.assertEqual(result.record().hex(), record)
        self.assertEqual(result.answer(), b"alice\nsecret\n")


class Scripts(ScriptTestCase):
    def test_block_is_left_untouched_without_a_step_that_writes(self):
        result = self.run_script("exit 3")
        self.assertEqual((result.exit_code, result.block), (3, bytes(BLOCK_SIZE)))

    def test_raw_bytes(self):
        result = self.run_script("block \\x00\\xFFabc\\n")
        self.assertEqual(result.block, b"\0\xffabc\n".ljust(BLOCK_SIZE, b"\0"))

    def test_a_whole_block_of_raw_bytes(self):
        self.assertEqual(self.run_script("block " + "A" * 70_000).block, b"A" * BLOCK_SIZE)

    def test_exit_code_beside_an_answer(self):
        result = self.run_script("answer kept\nexit 0xA7000099")
        self.assertEqual((result.exit_code, result.answer()), (0xA7000099, b"kept"))

    def test_delay(self):
        started = time.monotonic()
        self.run_script("delay 700\nanswer late")
        self.assertGreaterEqual(time.monotonic() - started, 0.7)

    def test_crash_in_the_middle_keeps_what_was_written(self):
        result = self.run_script("block half a rec\ncrash\nexit 3")
        self.assertEqual(result.exit_code, 0xC0000005)
        self.assertEqual(result.block.rstrip(b"\0"), b"half a rec")

    def test_script_that_makes_no_sense(self):
        result = self.run_script("answer never written\ndance")
        self.assertEqual((result.exit_code, result.block), (SCRIPT, bytes(BLOCK_SIZE)))

    def test_script_that_is_not_there(self):
        result = self.modules.start_with(OPTIONS, ZELTO_AUTH_MODULE_SCRIPT=r"C:\none").finish()
        self.assertEqual(result.exit_code, SCRIPT)


class CommandLines(ScriptTestCase):
    def test_command_line_of_somebody_else(self):
        for line in (
            "",
            f" --receiver=@RECEIVER@ {OPTIONS}",
            " --provider-name=x --receiver=@RECEIVER@ --object=y",
        ):
            with self.subTest(line):
                self.assertEqual(self.modules.start(line).finish().exit_code, COMMAND_LINE)

    def test_receiver_that_is_no_block(self):
        for value in ("0", "999996", "18446744073709551615"):
            with self.subTest(value):
                line = f" --provider-name=x --receiver={value} {OPTIONS}"
                self.assertEqual(self.modules.start(line).finish().exit_code, RECEIVER)


class SecondName(unittest.TestCase):
    def test_is_the_same_program(self):
        first = pathlib.Path(sys.argv[1])
        self.assertEqual(first.read_bytes(), first.with_name("Zeltoclient.exe").read_bytes())


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
