import json
import os
import pathlib
import pty
import resource
import signal
import subprocess
import unittest

from sample_images import FileTestCase, constant_data, dump_64, line, ring_memory

PROGRAM = ["/usr/bin/python3", "-B", str(pathlib.Path(__file__).with_name("read_trace.py"))]
SECONDS = 120
DUMP_SIZE = 500 * 1000 * 1000
DATA_LIMIT = 150 * 1000 * 1000  # bytes of memory of its own that the tool may have when it reads such a dump


def processor_seconds_of_children() -> float:
    """What the children that have ended have used: of no account is how busy the machine is beside them."""
    usage = resource.getrusage(resource.RUSAGE_CHILDREN)
    return usage.ru_utime + usage.ru_stime


class ReadTrace(FileTestCase):
    def run_tool(self, *arguments: object, **options: object) -> tuple[int, str, str]:
        result = subprocess.run(
            [*PROGRAM, *map(str, arguments)],
            capture_output=True,
            encoding="utf-8",
            timeout=SECONDS,
            **options,
        )
        return result.returncode, result.stdout, result.stderr

    def lines(self, *arguments: object) -> list[str]:
        code, output, errors = self.run_tool(*arguments)
        self.assertEqual((code, errors), (0, ""))
        return output.splitlines()

    def log(self, name: str = "host.log") -> pathlib.Path:
        return self.file(
            f"{line(1)}\r\n{line(2, '  debug', 'Größe', pid=13)}\r\n{line(3, 'warning', tid=35)}\r\n"
            f"{line(4, '  error', 'It FAILED')}\r\n",
            name,
        )


class Logs(ReadTrace):
    def test_log_is_shown_as_it_is(self):
        log = self.log()
        self.assertEqual(self.lines(log), log.read_text("utf-8").splitlines())

    def test_selection(self):
        log = self.log()
        for options, expected in (
            (["--level", "error"], [4]),
            (["--level", "Warning,debug"], [2, 3]),
            (["--pid", "13"], [2]),
            (["--pid", "0xC,99"], [1, 3, 4]),
            (["--tid", "35,99"], [3]),
            (["--text", "failed"], [4]),
            (["--text", "GRÖSSE"], [2]),
            (["--pid", "12", "--text", "record", "--level", "info"], [1]),
            (["--pid", "99"], []),
        ):
            shown = [int(one.split(".")[1][:7]) for one in self.lines(log, *options)]
            self.assertEqual(shown, expected, options)

    def test_json(self):
        first, second, *_ = map(json.loads, self.lines("--json", self.log()))
        self.assertEqual(
            first,
            {
                "time": "2026-03-19T04:11:33.0000001+01:00",
                "pid": 12,
                "tid": 34,
                "module": "ZeltoAuth",
                "line": 7,
                "level": "info",
                "text": "record 1",
            },
        )
        self.assertEqual(second["text"], "Größe")

    def test_json_of_a_record_without_a_head(self):
        (record,) = map(json.loads, self.lines("--json", self.file("plain\r\n")))
        self.assertEqual(
            record, {**dict.fromkeys(("time", "pid", "tid", "module", "line", "level")), "text": "plain"}
        )

    def test_main_log_and_error_copy_together(self):
        copy = self.file(f"{line(4, '  error', 'It FAILED')}\r\n", "host_error.log")
        self.assertEqual(len(self.lines(self.log(), copy)), 4)

    def test_name_of_a_log_that_rotates(self):
        self.file(f"{line(2)}\r\n", "host_1.log")
        self.file(f"{line(1)}\r\n", "host_2.log")
        self.assertEqual(self.lines(self.folder / "host.log"), [line(1), line(2)])
        self.file(f"{line(3, '  error')}\r\n", "host_1_error.log")
        self.assertEqual(self.lines(self.folder / "host_error.log"), [line(3, "  error")])

    def test_empty_log(self):
        self.assertEqual(self.lines(self.file("")), [])

    def test_control_characters_do_not_reach_the_terminal(self):
        log = self.file(line(1, text="a\x1b]0;title\x07\tb\x9b") + "\r\n")
        self.assertEqual(self.lines(log), [line(1, text="a\\x1b]0;title\\x07\tb\\x9b")])

    def test_control_characters_are_escaped_in_json(self):
        text = "a\x1b\x7e\x7f\x80\x9b\x9f\xa0é"
        (shown,) = self.lines("--json", self.file(line(1, text=text) + "\r\n"))
        self.assertTrue(shown.endswith('"a\\u001b\x7e\\u007f\\u0080\\u009b\\u009f\xa0é"}'), shown)
        self.assertEqual(json.loads(shown)["text"], text)

    def test_file_that_does_not_exist(self):
        path = self.folder / "host.log"
        self.assertEqual(
            self.run_tool(path), (1, "", f"{path}: there is no such file, nor its rotation files\n")
        )

    def test_others_are_shown_when_one_does_not_exist(self):
        code, output, _ = self.run_tool(self.folder / "nowhere", self.log())
        self.assertEqual((code, len(output.splitlines())), (1, 4))

    def test_mistakes_on_the_command_line(self):
        for arguments, message in (
            ([], "FILE"),
            (["x", "--level", "fatal"], "no level 'fatal'; there are: info, debug, warning, error"),
            (["x", "--pid", "abc"], "--pid"),
        ):
            code, output, errors = self.run_tool(*arguments)
            self.assertEqual((code, output), (2, ""))
            self.assertIn(message, errors)

    def test_reader_that_goes_away(self):
        log = self.file("".join(f"{line(number)}\r\n" for number in range(50_000)))
        result = subprocess.run(
            f"{' '.join(PROGRAM)} {log} | head -1",
            shell=True,
            capture_output=True,
            text=True,
            timeout=SECONDS,
        )
        self.assertEqual((result.stdout, result.stderr), (line(0) + "\n", ""))


class Colours(ReadTrace):
    def on_terminal(self, *arguments: object, **environment: str) -> str:
        terminal, output = pty.openpty()
        with subprocess.Popen(
            [*PROGRAM, *map(str, arguments)], stdout=output, env={**os.environ, **environment}
        ) as process:
            os.close(output)
            shown = b""
            try:
                while piece := os.read(terminal, 4096):
                    shown += piece
            except OSError:
                pass  # the end of the other side
            self.assertEqual(process.wait(SECONDS), 0)
        os.close(terminal)
        return shown.decode()

    def test_times_and_levels_on_a_terminal(self):
        shown = self.on_terminal(self.log())
        self.assertIn(
            "\x1b[2m[2026-03-19 04:11:33.0000004 UTC+01:00]\x1b[0m [12:34] [ZeltoAuth  7 "
            "\x1b[91m  error\x1b[0m] It",
            shown,
        )
        self.assertIn("\x1b[93mwarning\x1b[0m] ", shown)

    def test_none_where_they_are_not_wanted(self):
        log = self.log()
        self.assertNotIn("\x1b", self.on_terminal(log, NO_COLOR="1"))
        self.assertNotIn("\x1b", self.on_terminal(log, "--colour", "never"))
        self.assertNotIn("\x1b", "".join(self.lines(log)))

    def test_wanted_elsewhere(self):
        self.assertIn("\x1b", "".join(self.lines(self.log(), "--colour", "always")))


class Rings(ReadTrace):
    def test_ring_of_a_dump(self):
        data = dump_64([(0x1000, constant_data()), (0x20000, bytes(16) + ring_memory([line(1), line(2)]))])
        code, output, errors = self.run_tool(path := self.file(data))
        self.assertEqual((code, output.splitlines()), (0, [line(1), line(2)]))
        self.assertEqual(errors, f"{path}: ring at 0x20010, counter 2, 2 records\n")

    def test_selection_and_json(self):
        path = self.file(dump_64([(0x1000, ring_memory([line(1), line(2, "  error")]))]))
        code, output, _ = self.run_tool(path, "--level", "error", "--json")
        self.assertEqual((code, json.loads(output)["level"]), (0, "error"))

    def test_any_memory(self):
        code, output, _ = self.run_tool(self.file(b"\x01\x00" * 700 + ring_memory([line(1)])))
        self.assertEqual((code, output), (0, line(1) + "\n"))

    def test_memory_that_looks_like_a_log(self):
        data = f"{line(1)}\r\n".encode() + ring_memory([line(2)])
        self.assertEqual(self.run_tool("--memory", self.file(data))[1], line(2) + "\n")

    def test_no_ring(self):
        for data in (dump_64([(0x1000, constant_data())]), bytes(100)):
            code, output, errors = self.run_tool(self.file(data))
            self.assertEqual((code, output), (1, ""))
            self.assertIn(
                "no ring of trace records; the process ran without flag 0x200, or without the library", errors
            )

    def test_no_ring_in_what_is_left_of_a_dump(self):
        code, _, errors = self.run_tool(
            self.file(dump_64([(0x1000, bytes(100)), (0x9000, ring_memory([]))])[:-1_048_590])
        )
        self.assertEqual(code, 1)
        self.assertIn("the dump is cut off: 1,048,590 bytes", errors)
        self.assertIn("it may be in the part that is missing", errors)

    def test_ring_that_is_cut_off(self):
        code, output, errors = self.run_tool(self.file(dump_64([(0x1000, ring_memory([line(1)]))])[:-1000]))
        self.assertEqual((code, output), (3, line(1) + "\n"))
        self.assertIn("the ring is cut off: 1,047,600 of its 1,048,600 bytes are in the file", errors)

    def test_damaged_ring(self):
        code, output, errors = self.run_tool(self.file(dump_64([(0x1000, ring_memory([line(1)], 500))])))
        self.assertEqual((code, output), (3, line(1) + "\n"))
        self.assertIn("its counter (500) is damaged", errors)

    def test_one_of_several_rings(self):
        path = self.file(dump_64([(0x1000, ring_memory([line(1)])), (0x900000, ring_memory([line(2)]))]))
        code, output, errors = self.run_tool(path)
        self.assertEqual((code, output), (0, line(2) + "\n"))
        self.assertIn("another ring at 0x1000, counter 1 (--ring shows it)", errors)
        self.assertEqual(self.run_tool(path, "--ring", "0x1000")[1], line(1) + "\n")
        code, output, errors = self.run_tool(path, "--ring", "7")
        self.assertEqual((code, output), (1, ""))
        self.assertIn("no ring at that address; there are: 0x900000, 0x1000", errors)

    def test_ring_and_log_together(self):
        path = self.file(dump_64([(0x1000, ring_memory([line(3), line(5)]))]), "dump")
        self.assertEqual(self.run_tool(path, self.log())[1].count("record 3"), 2)  # of two threads
        self.assertEqual(len(self.run_tool(path, self.log())[1].splitlines()), 6)

    def test_empty_file_as_memory(self):
        self.assertIn("the file is empty", self.run_tool("--memory", self.file(b""))[2])

    def test_500_megabytes_in_less_than_5_processor_seconds_and_not_in_memory(self):
        data = ring_memory([line(number) for number in range(2000)])
        filling = os.urandom(1 << 20)
        path = self.folder / "large.dmp"
        head = dump_64([(0x1000, b"")])[:44]
        ranges = [(0x1000, DUMP_SIZE), (0x7F0000000000, len(data))]
        head += (2).to_bytes(8, "little") + (44 + 16 + 32).to_bytes(8, "little")
        head += b"".join(part.to_bytes(8, "little") for one in ranges for part in one)
        with path.open("wb") as file:
            file.write(head)
            for _ in range(DUMP_SIZE >> 20):
                file.write(filling)
            file.truncate(len(head) + DUMP_SIZE)
            file.seek(len(head) + DUMP_SIZE)
            file.write(data)
        start = processor_seconds_of_children()
        code, output, errors = self.run_tool(
            path, preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_DATA, (DATA_LIMIT, DATA_LIMIT))
        )
        self.assertLess(processor_seconds_of_children() - start, 5)
        self.assertEqual((code, len(output.splitlines())), (0, 1024), errors)


class Following(ReadTrace):
    def test_goes_on_until_it_is_interrupted(self):
        log = self.log()
        with subprocess.Popen(
            [*PROGRAM, "--follow", "--level", "error", str(log)], stdout=subprocess.PIPE, encoding="utf-8"
        ) as process:
            self.assertTrue(process.stdout.readline().endswith("It FAILED\n"))
            with log.open("a") as file:
                file.write(f"{line(5)}\r\n{line(6, '  error')}\r\n")
            self.assertEqual(process.stdout.readline(), line(6, "  error") + "\n")
            process.send_signal(signal.SIGINT)
            self.assertEqual(process.communicate(timeout=SECONDS)[0], "")
        self.assertEqual(process.returncode, 0)

    def test_log_that_begins_to_rotate_later(self):
        with subprocess.Popen(
            [*PROGRAM, "--follow", str(self.folder / "host.log")], stdout=subprocess.PIPE, encoding="utf-8"
        ) as process:
            self.file(f"{line(1)}\r\n", "host_1.log")
            self.assertEqual(process.stdout.readline(), line(1) + "\n")
            self.file(f"{line(2)}\r\n", "host_2.log")
            self.assertEqual(process.stdout.readline(), line(2) + "\n")
            process.send_signal(signal.SIGINT)


if __name__ == "__main__":
    unittest.main()
