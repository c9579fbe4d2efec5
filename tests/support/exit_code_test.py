"""exit_code_test.py [EMULATOR …] PROGRAM: the exit code of busy_at_the_end is seen from outside, every time."""

import subprocess
import sys
import unittest

ROUNDS = 10


class ExitCode(unittest.TestCase):
    def test_of_a_program_with_a_busy_thread(self):
        codes = [subprocess.run(sys.argv[1:], timeout=60).returncode for _ in range(ROUNDS)]
        self.assertEqual(codes, [7] * ROUNDS)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
