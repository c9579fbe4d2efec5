import itertools
import sys
import unittest

from sample_images import FileTestCase, line
from tracelog import log_file
from tracelog.record import parse

HEADER = (
    "(Time Zone: UTC) (Thu Mar 19 04:11:33 2026, 59s) log rotated at 2026-03-19 04:11:33.{:03d} "
    "type: 0x1ff size: 2"
)


MANY = 200_000  # records
STEPS_PER_RECORD = 60


class StepLimit:
    """Fails what takes more steps than that; each line of Python that is run is one."""

    def __init__(self, limit: int) -> None:
        self._left = limit

    def __enter__(self) -> None:
        sys.settrace(self._count)

    def __exit__(self, *_) -> None:
        sys.settrace(None)

    def _count(self, *_):
        self._left -= 1
        if self._left < 0:
            raise AssertionError("too many steps")
        return self._count


def no_more_yet():
    raise AssertionError("read on before what was read is shown")
    yield


def texts(records) -> list[str]:
    return [record.text for record in records]


class Reading(FileTestCase):
    def read(self, data: bytes | str) -> list[str]:
        return texts(log_file.read(self.file(data)))

    def test_one_record_a_line(self):
        self.assertEqual(self.read(f"{line(1)}\r\n{line(2)}\r\n"), ["record 1", "record 2"])

    def test_empty_file(self):
        self.assertEqual(self.read(""), [])

    def test_last_line_that_is_cut_off(self):
        self.assertEqual(self.read(f"{line(1)}\r\n{line(2)}"), ["record 1", "record 2"])

    def test_lines_without_a_head_belong_to_the_record_before(self):
        dump = "00000000  30 31\r\n00000010  32"
        self.assertEqual(
            self.read(f"{line(1, text='a length=17')}\r\n{dump}\r\n{line(2, text='b')}\r\n\r\n{line(3)}\r\n"),
            ["a length=17\n00000000  30 31\n00000010  32", "b\n", "record 3"],
        )

    def test_rotation_header_is_a_record_of_its_own(self):
        self.assertEqual(self.read(f"{HEADER.format(0)}\r\n{line(1)}\r\n"), [HEADER.format(0), "record 1"])

    def test_log_without_any_heads(self):
        self.assertEqual(self.read("a\r\nb\r\n"), ["a", "b"])

    def test_bytes_that_are_no_utf_8(self):
        self.assertEqual(self.read(line(1, text="x").encode() + b"\xff\xc3\xa9\r\n"), ["x\ufffdé"])

    def test_record_that_comes_in_pieces(self):
        data = f"{line(1)}\r\n{line(2)}\r\n".encode()
        for size in (1, 2, 7):
            splitter = log_file.RecordSplitter()
            records = [
                one
                for start in range(0, len(data), size)
                for one in splitter.feed(data[start : start + size])
            ]
            self.assertEqual(texts([*records, *splitter.finish()]), ["record 1", "record 2"])


class Merging(unittest.TestCase):
    def merge(self, *logs: list[str]) -> list[str]:
        return texts(log_file.merge([map(parse, log) for log in logs]))

    def test_by_time(self):
        self.assertEqual(
            self.merge([line(2), line(4)], [line(1), line(3), line(5)]),
            [f"record {number}" for number in range(1, 6)],
        )

    def test_the_order_of_one_log_is_kept(self):
        self.assertEqual(self.merge([line(5), line(2)], [line(6)]), ["record 5", "record 2", "record 6"])
        self.assertEqual(self.merge([line(6)], [line(5), line(2)]), ["record 5", "record 2", "record 6"])

    def test_records_without_a_time_stay_behind_the_one_before(self):
        self.assertEqual(
            self.merge([line(1), "[1:2] a", line(4)], [line(3)]), ["record 1", "a", "record 3", "record 4"]
        )

    def test_header_of_the_later_rotation_file(self):
        older = [HEADER.format(0), line(1), line(90_000)]
        newer = [HEADER.format(10), line(100_001)]
        expected = [HEADER.format(0), "record 1", "record 90000", HEADER.format(10), "record 100001"]
        self.assertEqual(self.merge(newer, older), expected)
        self.assertEqual(self.merge(older, newer), expected)

    def test_file_with_a_header_only(self):
        self.assertEqual(self.merge([HEADER.format(0)]), [HEADER.format(0)])

    def test_error_copy_comes_once(self):
        main = [line(1), line(2, "  error"), line(3)]
        self.assertEqual(self.merge(main, [line(2, "  error")]), ["record 1", "record 2", "record 3"])

    def test_error_copy_lacks_the_hex_dump(self):
        copy = line(2, "  error", "answer")
        whole = copy + " length=1\n00000000  30"
        for logs in ([whole], [copy]), ([copy], [whole]):
            self.assertEqual(self.merge(*logs), ["answer length=1\n00000000  30"])

    def test_different_records_of_one_moment_stay(self):
        self.assertEqual(
            self.merge([line(1, text="a")], [line(1, text="b")], [line(1, text="a", tid=7)]), ["a", "b", "a"]
        )

    def test_records_of_one_log_that_are_alike_stay(self):
        self.assertEqual(self.merge([line(1), line(1)], [line(1)]), ["record 1", "record 1"])

    def test_records_without_a_head_are_never_the_same(self):
        self.assertEqual(self.merge(["a", "b"], ["a"]), ["a", "b", "a"])

    def test_copies_of_records_without_a_time_come_once(self):
        main = ["[1:2] a length=1\n30", "[1:2] b", "[1:2] a", "[1:2] a"]
        self.assertEqual(self.merge(main, ["[1:2] a", "[1:2] a", "[1:2] c"]), [*texts(map(parse, main)), "c"])
        self.assertEqual(
            self.merge(["[1:2] a", "[1:2] b"], ["[1:2] a length=1\n30"], ["[1:2] a", "[1:2] b"]),
            ["a length=1\n30", "b"],
        )

    def test_a_log_alone_is_shown_as_it_is_read(self):
        records = log_file.merge([itertools.chain(map(parse, ["a", "b"]), no_more_yet())])
        self.assertEqual(texts(itertools.islice(records, 2)), ["a", "b"])

    def test_many_records_without_a_time_take_steps_in_proportion(self):
        numbered = [parse(f"[1:2] {number}") for number in range(MANY)]
        with StepLimit(STEPS_PER_RECORD * MANY):
            self.assertEqual(sum(1 for _ in log_file.merge([numbered])), MANY)
        part = MANY // 8
        headless = [parse(str(number)) for number in range(2 * part)]
        main = [parse("[1:2] a length=1\n30")] * part + numbered[:part] + headless
        copy = [parse("[1:2] a")] * part + numbered[:part] + headless
        with StepLimit(STEPS_PER_RECORD * MANY):
            self.assertEqual(sum(1 for _ in log_file.merge([main, copy])), 6 * part)


class RotationFiles(FileTestCase):
    def test_names(self):
        for name, expected in (
            ("host.exe_ZeltoAuth.log", ["host.exe_ZeltoAuth_1.log", "host.exe_ZeltoAuth_2.log"]),
            ("host_error.log", ["host_1_error.log", "host_2_error.log"]),
            ("host_pid_12.log", ["host_1_pid_12.log", "host_2_pid_12.log"]),
            ("host_error_pid_12.log", ["host_1_error_pid_12.log", "host_2_error_pid_12.log"]),
            ("trace", ["_1trace", "_2trace"]),
        ):
            self.assertEqual([path.name for path in log_file.rotation_files(self.folder / name)], expected)


class Following(FileTestCase):
    def test_what_is_there_and_what_comes(self):
        path = self.file(f"{line(1)}\r\n")
        follower = log_file.Follower(path)
        self.assertEqual(texts(follower.look()), [])  # a hex dump may follow
        self.assertEqual(texts(follower.look()), ["record 1"])
        with path.open("a") as file:
            file.write(f"{line(2)}\r\n{line(3)[:20]}")
        self.assertEqual(texts(follower.look()), [])
        self.assertEqual(texts(follower.look()), ["record 2"])
        with path.open("a") as file:
            file.write(f"{line(3)[20:]}\r\n{line(4)}\r\n")
        self.assertEqual(texts(follower.look()), ["record 3"])
        self.assertEqual(texts(follower.look()), ["record 4"])
        self.assertEqual(texts(follower.look()), [])

    def test_file_that_does_not_exist_yet(self):
        follower = log_file.Follower(self.folder / "file")
        self.assertEqual(follower.look(), [])
        self.file(f"{line(1)}\r\n{line(2)}\r\n")
        self.assertEqual(texts(follower.look()), ["record 1"])

    def test_file_that_is_replaced(self):
        path = self.file(f"{line(1)}\r\n")
        follower = log_file.Follower(path)
        follower.look()
        self.file(f"{line(2)}\r\n{line(3)}\r\n", "new").replace(path)
        self.assertEqual(texts(follower.look()), ["record 1", "record 2"])

    def test_file_that_is_shortened(self):
        path = self.file(f"{line(1)}\r\n{line(2)}\r\n")
        follower = log_file.Follower(path)
        follower.look()
        path.write_text(f"{line(3)}\r\n")
        self.assertEqual(texts(follower.look()), ["record 2"])
        self.assertEqual(texts(follower.look()), ["record 3"])

    def test_rotation_files_are_followed_together(self):
        first, second = self.file(f"{line(1)}\r\n", "host_1.log"), self.folder / "host_2.log"
        waits = []

        def wait() -> None:
            waits.append(1)
            if len(waits) == 2:
                second.write_text(f"{HEADER.format(1)}\r\n{line(20_000)}\r\n")

        records = log_file.follow([first, second], wait)
        self.assertEqual(
            texts(next(records) for _ in range(3)), ["record 1", HEADER.format(1), "record 20000"]
        )


if __name__ == "__main__":
    unittest.main()
