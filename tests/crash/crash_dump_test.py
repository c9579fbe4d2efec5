"""crash_dump_test.py PROGRAM [EMULATOR …]: real crashes of crash_host, and what they leave."""

import struct
import subprocess
import sys
import unittest

from crashed_process import ROOT, CrashedProcess, Stop, debugger_stop

FLAGS = 0x10000303  # info and debug records, file output, memory ring, crash dumps
NO_DUMPS = 0x303
ACCESS_VIOLATION = 0xC0000005
STACK_OVERFLOW = 0xC00000FD
MICROSOFT_EXCEPTION = 0xE06D7363
THIS_RUNTIMES_EXCEPTION = 0x20474343
NEXT_HANDLER_RAN = 10


class CrashTestCase(unittest.TestCase):
    def crash(self, way: str, flags: int = FLAGS) -> CrashedProcess:
        process = CrashedProcess(sys.argv[1], sys.argv[2:], flags, way)
        self.addCleanup(process.close)
        return process

    def only_dump(self, process: CrashedProcess):
        self.assertEqual(len(process.dumps()), 1, process.exit_code)
        return process.dumps()[0]

    def assert_stopped_trace(self, process: CrashedProcess) -> None:
        path = process.windows_path(process.program)
        self.assertEqual(process.log(), [(400, path), (1413, "trace stopped")])

    def ring_texts(self, dump) -> list[str]:
        command = ["/usr/bin/python3", "-B", str(ROOT / "tools" / "read_trace.py"), str(dump)]
        output = subprocess.run(command, capture_output=True, text=True, timeout=60, check=True).stdout
        return [line.rpartition("] ")[2] for line in output.splitlines()]


class Dumps(CrashTestCase):
    def assert_dumped(self, way: str, code: int) -> None:
        process = self.crash(way)
        dump = self.only_dump(process)
        ((pid, tid),) = process.ready
        self.assertRegex(
            dump.name,
            rf"^crash_host\.exe \[{pid}\.{tid}\] \d{{4}}-\d\d-\d\d \d\d\.\d\d\.\d\d\.dmp$",
        )
        self.assertEqual(debugger_stop(dump), Stop(tid, code))
        self.assertEqual(
            process.exit_code, code & 0xFF
        )  # given by the system's handler, which has run as well
        self.assert_stopped_trace(process)
        path = process.windows_path(process.program)
        self.assertEqual(self.ring_texts(dump)[1:], ["before the crash", path, "trace stopped"])

    def test_null_write_in_the_main_thread(self):
        self.assert_dumped("null_write", ACCESS_VIOLATION)

    def test_null_write_in_another_thread(self):
        self.assert_dumped("null_write_on_thread", ACCESS_VIOLATION)

    def test_stack_overflow_in_the_main_thread(self):
        self.assert_dumped("stack_overflow", STACK_OVERFLOW)

    def test_stack_overflow_in_another_thread(self):
        self.assert_dumped("stack_overflow_on_thread", STACK_OVERFLOW)

    def test_uncaught_exception_in_the_main_thread(self):
        self.assert_dumped("exception", MICROSOFT_EXCEPTION)

    def test_uncaught_exception_in_another_thread(self):
        self.assert_dumped("exception_on_thread", THIS_RUNTIMES_EXCEPTION)

    def test_the_trace_lock_is_held_by_the_crashed_thread(self):
        process = self.crash("holding_the_lock")
        self.assertEqual(debugger_stop(self.only_dump(process)), Stop(process.ready[0][1], ACCESS_VIOLATION))
        self.assert_stopped_trace(process)

    def test_the_trace_lock_is_never_given_back_by_another_thread(self):
        process = self.crash("lock_held_elsewhere")
        dump = self.only_dump(process)
        self.assertEqual(debugger_stop(dump), Stop(process.ready[0][1], ACCESS_VIOLATION))
        self.assertEqual(self.ring_texts(dump)[1:], ["before the crash"])

    def test_crash_in_the_writer(self):
        process = self.crash("in_the_writer")
        self.assertEqual(debugger_stop(self.only_dump(process)), Stop(process.ready[0][1], ACCESS_VIOLATION))
        self.assertEqual([line for line, _ in process.log()], [400, 1413])

    def test_two_threads_crash_at_once(self):
        process = self.crash("on_two_threads")
        stop = debugger_stop(self.only_dump(process))
        self.assertEqual(stop.code, ACCESS_VIOLATION)
        self.assertIn(stop.tid, [tid for _, tid in process.ready])
        self.assert_stopped_trace(process)

    def test_the_next_handler_runs_after_the_dump(self):
        process = self.crash("under_a_hosts_filter")
        self.assertEqual(process.exit_code, NEXT_HANDLER_RAN)
        dump = self.only_dump(process)
        self.assertEqual(debugger_stop(dump), Stop(process.ready[0][1], ACCESS_VIOLATION))
        with dump.open("rb") as file:
            (flags,) = struct.unpack("<Q", file.read(32)[24:])
        self.assertEqual(flags, 0x3FE)


class NoDump(CrashTestCase):
    def test_without_the_flag(self):
        process = self.crash("null_write", NO_DUMPS)
        self.assertEqual((process.dumps(), process.exit_code), ([], ACCESS_VIOLATION & 0xFF))
        self.assertEqual(len(process.ready), 1)

    def test_host_path_that_cannot_be_had(self):
        process = self.crash("no_path")
        self.assertEqual((process.dumps(), process.exit_code), ([], ACCESS_VIOLATION & 0xFF))

    def test_host_path_without_a_folder(self):
        process = self.crash("path_without_backslash")
        self.assertEqual((process.dumps(), process.exit_code), ([], ACCESS_VIOLATION & 0xFF))
        self.assertEqual(process.log(), [(400, "crash_host.exe"), (1413, "trace stopped")])

    def test_file_that_cannot_be_created(self):
        process = self.crash("path_of_no_folder")
        self.assertEqual((process.dumps(), process.exit_code), ([], ACCESS_VIOLATION & 0xFF))
        self.assertEqual(
            process.log(), [(400, "C:\\no such folder\\crash_host.exe"), (1413, "trace stopped")]
        )


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
