import unittest

from sample_images import FileTestCase, constant_data, dump_32, dump_64, line, ring_memory, split
from tracelog import ring
from tracelog.memory_image import open_image

HEADLESS = "a message without any head"


class Rings(FileTestCase):
    def find(self, data: bytes) -> list[ring.Ring]:
        image = open_image(self.file(data))
        self.addCleanup(image.close)
        return ring.find_rings(image)

    def texts(self, data: bytes) -> list[str]:
        (found,) = self.find(data)
        self.assertEqual(found.problems, [])
        return [record.text for record in found.records]

    def only(self, data: bytes) -> ring.Ring:
        (found,) = self.find(data)
        return found

    def test_layout(self):
        self.assertEqual(len(ring_memory([])), 1_048_600)

    def test_ring_that_is_not_full(self):
        self.assertEqual(
            self.texts(ring_memory([line(1), line(2), line(3)])), ["record 1", "record 2", "record 3"]
        )

    def test_oldest_first_at_each_edge_of_the_counter(self):
        for count in (1, 1023, 1024, 1025, 2047, 2048, 2049):
            texts = self.texts(ring_memory([line(number) for number in range(count)]))
            self.assertEqual(texts, [f"record {number}" for number in range(max(0, count - 1024), count)])

    def test_empty_ring(self):
        self.assertEqual(self.texts(ring_memory([])), [])

    def test_records_without_heads(self):
        self.assertEqual(self.texts(ring_memory([HEADLESS, "b"])), [HEADLESS, "b"])

    def test_record_that_fills_its_slot(self):
        self.assertEqual(
            len(self.texts(ring_memory([line(1, text="x" * 2000)]))[0]), 1023 - len(line(1, text=" ")) + 1
        )

    def test_address_is_that_of_the_process(self):
        found = self.only(
            dump_64([(0x1000, bytes(64)), (0x7FF6_0000_0000, bytes(64) + ring_memory([line(1)]))])
        )
        self.assertEqual((found.address, found.counter), (0x7FF6_0000_0040, 1))

    def test_the_librarys_own_constant_is_no_ring(self):
        for constant in (constant_data(), ring.NAME, ring.NAME + b"\0" * 9, ring.NAME + bytes([7] * 2000)):
            self.assertEqual(
                self.texts(constant_data() + constant + bytes(3) + ring_memory([line(1)])), ["record 1"]
            )
            self.assertEqual(self.find(constant), [])

    def test_ring_that_lies_across_ranges(self):
        memory = ring_memory([line(number) for number in range(1500)])
        expected = [f"record {number}" for number in range(476, 1500)]
        for make in (dump_64, dump_32):
            for sizes in ((7,), (20,), (24,), (4096, 4096), (500_000, 3, 500)):
                self.assertEqual(self.texts(make(split(memory, *sizes))), expected, sizes)

    def test_ring_across_ranges_that_are_not_in_order(self):
        memory = ring_memory([line(1), line(2)])
        self.assertEqual(self.texts(dump_64(split(memory, 9, 2000)[::-1])), ["record 1", "record 2"])

    def test_ring_that_is_cut_off(self):
        memory = ring_memory([line(number) for number in range(1500)])
        found = self.only(memory[: 24 + 600 * 1024 + 10])
        self.assertRegex(found.problems[0], r"cut off: 614,434 of its 1,048,600 bytes")
        texts = [record.text for record in found.records]
        self.assertEqual(texts, [f"record {number}" for number in (*range(476, 600), *range(1024, 1500))])

    def test_ring_whose_second_half_is_elsewhere_is_cut_off(self):
        memory = ring_memory([line(number) for number in range(1024)])
        found = self.only(dump_64([(0x10000, memory[:500_000]), (0x900000, memory[500_000:])]))
        self.assertIn("cut off", found.problems[0])
        self.assertEqual(len(found.records), 489)  # of the last one enough is there

    def test_damaged_records_are_left_out(self):
        memory = bytearray(ring_memory([line(number) for number in range(10)]))
        memory[24 + 3 * 1024] = 0  # empty
        memory[24 + 5 * 1024 : 24 + 6 * 1024] = b"\xff" * 1024  # without an end
        memory[24 + 7 * 1024 : 24 + 7 * 1024 + 40] = bytes(range(1, 9)) * 5  # no text
        found = self.only(bytes(memory))
        self.assertEqual(found.problems, ["3 of its records are damaged and left out"])
        self.assertEqual(
            [record.text for record in found.records], [f"record {n}" for n in (0, 1, 2, 4, 6, 8, 9)]
        )

    def test_damaged_counter(self):
        for counter in (2, 0, 2**63, 10**14):
            found = self.only(ring_memory([line(number) for number in range(1030)], counter))
            self.assertIn("counter", found.problems[0])
            self.assertEqual(
                [record.text for record in found.records], [f"record {n}" for n in range(6, 1030)]
            )

    def test_counter_that_is_too_high_for_the_slots(self):
        found = self.only(ring_memory([line(1), line(2)], 1000))
        self.assertIn("its counter (1,000) is damaged: the slots hold 2 records", found.problems[0])

    def test_the_ring_in_use_comes_before_older_ones(self):
        old = ring_memory([line(1), line(2), line(3)])
        new = ring_memory([line(5)])
        damaged = ring_memory([line(9)], 700)
        counters = [found.counter for found in self.find(old + bytes(8) + damaged + new)]
        self.assertEqual(counters, [1, 3, 700])


if __name__ == "__main__":
    unittest.main()
