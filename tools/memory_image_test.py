import unittest

from sample_images import FileTestCase, dump_32, dump_64, split
from tracelog.memory_image import Unreadable, open_image


class Images(FileTestCase):
    def open(self, data: bytes):
        image = open_image(self.file(data))
        self.addCleanup(image.close)
        return image

    def test_any_file_is_memory_from_address_0_on(self):
        image = self.open(b"abcdef")
        self.assertEqual((image.read(2, 3), image.read(4, 9), image.read(6, 1)), (b"cde", b"ef", b""))
        self.assertEqual(list(image.find(b"cd")), [2])

    def test_ranges_that_are_neighbours_are_read_as_one(self):
        for make in (dump_64, dump_32):
            image = self.open(make([(0x1000, b"abcd"), (0x1004, b"efgh"), (0x2000, b"ijkl")]))
            self.assertEqual(image.read(0x1002, 4), b"cdef")
            self.assertEqual(image.read(0x1002, 100), b"cdefgh")
            self.assertEqual(image.read(0x2003, 1), b"l")
            self.assertEqual((image.read(0x1008, 1), image.read(0xFFF, 1)), (b"", b""))

    def test_ranges_in_any_order(self):
        image = self.open(dump_64([(0x2000, b"efgh"), (0x1FFC, b"abcd")]))
        self.assertEqual(image.read(0x1FFC, 8), b"abcdefgh")

    def test_pattern_in_one_range(self):
        for make in (dump_64, dump_32):
            image = self.open(make([(0x1000, b"..NAME"), (0x3000, b"NAME..NAME")]))
            self.assertEqual(sorted(image.find(b"NAME")), [0x1002, 0x3000, 0x3006])

    def test_pattern_across_ranges(self):
        for make in (dump_64, dump_32):
            for sizes in ((3,), (2, 1), (3, 1, 1), (5,)):
                image = self.open(make(split(b"..NAME..", *sizes, address=0x1000)))
                self.assertEqual(set(image.find(b"NAME")), {0x1002}, sizes)

    def test_what_are_neighbours_in_the_file_only_is_no_find(self):
        self.assertEqual(list(self.open(dump_64([(0x1000, b"..NA"), (0x3000, b"ME..")])).find(b"NAME")), [])

    def test_pattern_outside_of_memory_is_no_find(self):
        self.assertEqual(list(self.open(dump_64([(0x1000, b"....")])).find(b"MDMP")), [])

    def test_overlapping_ranges(self):
        image = self.open(dump_32([(0x1000, b"abcd"), (0x1002, b"cdef"), (0x1003, b"d")]))
        self.assertEqual(image.read(0x1000, 10), b"abcdef")

    def test_dump_that_is_cut_off(self):
        image = self.open(dump_64([(0x1000, b"abcd"), (0x1004, b"efgh"), (0x1008, b"i")])[:-3])
        self.assertEqual(image.read(0x1000, 10), b"abcdef")
        self.assertEqual(image.warnings, ["the dump is cut off: 3 bytes of memory are missing from its end"])

    def test_whole_dump_has_no_warnings(self):
        self.assertEqual(self.open(dump_64([(0x1000, b"abcd"), (0x1002, b"cd")])).warnings, [])

    def test_dump_without_its_list_is_searched_as_it_is(self):
        image = self.open(dump_64([(0x1000, b"NAME")])[:50])
        self.assertIn("searching it as plain memory", image.warnings[0])
        image = self.open(b"MDMP" + bytes(40) + b"NAME")
        self.assertEqual(list(image.find(b"NAME")), [44])
        self.assertIn("lists no memory", image.warnings[0])

    def test_files_that_cannot_be_used(self):
        with self.assertRaisesRegex(Unreadable, "empty"):
            open_image(self.file(b""))
        with self.assertRaisesRegex(Unreadable, "No such file"):
            open_image(self.folder / "nowhere")


if __name__ == "__main__":
    unittest.main()
