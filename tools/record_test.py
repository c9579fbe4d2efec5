import unittest

from tracelog.record import parse

TIME = "[2026-03-19 04:11:33.1234567 UTC+01:00] "
IDS = "[1234:5678] "
LABEL = "[ZeltoAuth  1413    info] "


class Parsing(unittest.TestCase):
    def test_record_with_the_defaults(self):
        record = parse(TIME + IDS + LABEL + "trace stopped")
        self.assertEqual(record.time.iso(), "2026-03-19T04:11:33.1234567+01:00")
        self.assertEqual((record.pid, record.tid), (1234, 5678))
        self.assertEqual((record.module, record.line, record.level), ("ZeltoAuth", 1413, "info"))
        self.assertEqual((record.head, record.text), (TIME + IDS + LABEL, "trace stopped"))

    def test_each_level(self):
        for level in ("   info", "  debug", "warning", "  error"):
            self.assertEqual(parse(f"{TIME}{IDS}[ZeltoAuth  7 {level}] x").level, level.strip())

    def test_blocks_and_fields_that_flags_leave_out(self):
        for head, expected in (
            (IDS + LABEL, (None, 1234, 5678, "ZeltoAuth", 1413, "info")),
            (TIME + "[:5678] " + LABEL, (True, None, 5678, "ZeltoAuth", 1413, "info")),
            (TIME + "[1234:] " + LABEL, (True, 1234, None, "ZeltoAuth", 1413, "info")),
            (TIME + LABEL, (True, None, None, "ZeltoAuth", 1413, "info")),
            (TIME + IDS + "[ 1413    info] ", (True, 1234, 5678, None, 1413, "info")),
            (TIME + IDS + "[ZeltoAuth    info] ", (True, 1234, 5678, "ZeltoAuth", None, "info")),
            (TIME + IDS + "[ZeltoAuth  1413] ", (True, 1234, 5678, "ZeltoAuth", 1413, None)),
            (TIME + IDS + "[warning] ", (True, 1234, 5678, None, None, "warning")),
            (TIME + IDS, (True, 1234, 5678, None, None, None)),
        ):
            record = parse(head + "text [a] b")
            found = (record.time and True, record.pid, record.tid, record.module, record.line, record.level)
            self.assertEqual(found, expected, head)
            self.assertEqual(record.text, "text [a] b", head)

    def test_negative_line(self):
        self.assertEqual(parse(IDS + "[ZeltoAuth  -5 warning] x").line, -5)

    def test_text_of_another_form_has_no_head(self):
        for text in ("", "trace stopped", "[] x", "[brackets] x", "00000000  30 31", "[2026-03-19 04:11] x"):
            record = parse(text)
            self.assertEqual((record.head, record.text, record.time), ("", text, None))
            self.assertFalse(record.rotation_header)

    def test_a_day_that_does_not_exist(self):
        record = parse("[2026-02-31 04:11:33.1234567 UTC+01:00] " + IDS + LABEL + "x")
        self.assertIsNone(record.time)
        self.assertEqual((record.pid, record.text), (1234, "x"))

    def test_rotation_header(self):
        record = parse(
            "(Time Zone: Europe (x)) (Thu Mar 19 04:11:33 2026, 59s) log rotated at 2026-03-20 09:29:41.003 "
            "type: 0x1ff size: 2 memory: 0x00007FFB12345678"
        )
        self.assertTrue(record.rotation_header)
        self.assertEqual(record.time.iso(), "2026-03-20T09:29:41.0030000")


class Times(unittest.TestCase):
    def test_order_is_that_of_utc(self):
        def ticks(text: str) -> int:
            return parse(f"[{text}] x").time.ticks()

        self.assertLess(
            ticks("2026-03-19 04:11:33.1234567 UTC+01:00"), ticks("2026-03-19 04:11:33.1234567 UTC+00:00")
        )
        self.assertLess(
            ticks("2026-03-19 04:11:33.1234567 UTC+00:00"), ticks("2026-03-19 01:11:34.0000000 UTC-03:00")
        )
        self.assertEqual(
            ticks("2026-03-19 04:11:33.0000001 UTC+05:30") + 1, ticks("2026-03-18 22:41:33.0000002 UTC+00:00")
        )

    def test_offset_west_of_utc(self):
        self.assertTrue(parse("[2026-03-19 04:11:33.1234567 UTC-03:30] x").time.iso().endswith("-03:30"))


if __name__ == "__main__":
    unittest.main()
