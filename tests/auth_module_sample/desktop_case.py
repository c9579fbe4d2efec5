"""Test cases whose auth modules show their dialogs on a desktop of their own."""

import pathlib
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "samples" / "desktop"))

from desktop import Desktop
from module_process import Modules, Running

PROGRAM = "ZeltoAuth.exe"
TIMEOUT = 100


class DesktopTestCase(unittest.TestCase):
    """One desktop for the class. `registry` is more of the user's settings."""

    registry = ""

    @classmethod
    def setUpClass(cls) -> None:
        # Not beside the programs, where their folder's name could become too long for a socket.
        folder = tempfile.TemporaryDirectory(prefix="zelto-desktop-")
        cls.addClassCleanup(folder.cleanup)
        cls.desktop = Desktop(sys.argv[3], pathlib.Path(folder.name), cls.registry)
        cls.addClassCleanup(cls.desktop.close)
        cls.modules = Modules(sys.argv[1], sys.argv[2], sys.argv[3:], cls.desktop.environment)
        cls.addClassCleanup(cls.modules.close)

    def open(self, options: str) -> tuple[Running, str]:
        """Starts the module; returns it and the number of its window when that has the keyboard."""
        running = self.modules.start_with(options)
        self.addCleanup(running.end)
        return running, self.desktop.wait_for_window(PROGRAM)

    def height_of(self, window: str) -> int:
        _, top, _, bottom = self.desktop.box_of(window)
        return bottom - top

    def wait_until_taller(self, window: str, height: int) -> None:
        """A message makes the dialog taller."""
        self.desktop.wait_until(lambda: self.height_of(window) > height, "a message in the dialog")
