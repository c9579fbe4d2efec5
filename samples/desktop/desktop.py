"""Plays the user at a desktop: an X display of its own, a Wine prefix whose programs show their windows on it,
real key presses, and pictures.

There is no window manager: Wine draws the title bars and moves the focus itself.
"""

import os
import pathlib
import shutil
import subprocess
import time

import PIL.Image
import PIL.ImageGrab

ROOT = pathlib.Path(__file__).resolve().parents[2]
_SCREEN = "1280x900x24"
_SECONDS = 60
_FONTS = pathlib.Path("/usr/share/fonts/truetype/open-sans")
_FONT_FILES = ("OpenSans-Regular.ttf", "OpenSans-Semibold.ttf", "OpenSans-Bold.ttf")

# Wine brings no fonts of its own along: these stand in for the names that programs ask for.
_REPLACED_FONTS = ("MS Shell Dlg", "MS Shell Dlg 2", "Segoe UI", "Tahoma", "MS Sans Serif", "System")


class Desktop:
    """`runner` is scripts/run/x64.sh or arm64.sh; everything else goes into `folder`, which must be there.

    `registry` is more of the user's settings, in the format of Wine's own registry files.
    """

    def __init__(self, runner: str, folder: pathlib.Path, registry: str = ""):
        self._machine = pathlib.Path(runner).stem
        self.prefix = folder / "prefix"
        self._run_script("new-prefix.sh")
        self._prepare_prefix(registry)
        self._display = subprocess.Popen(
            ["Xvfb", "-displayfd", "1", "-screen", "0", _SCREEN, "-nolisten", "tcp", "-noreset"],
            stdout=subprocess.PIPE,
            stderr=subprocess.DEVNULL,
            start_new_session=True,  # Ctrl+C is for who uses it; it is ended by close()
        )
        number = self._display.stdout.readline().decode().strip()
        if not number:
            self.close()
            raise RuntimeError("Xvfb does not start")
        self.environment = {"DISPLAY": f":{number}", "ZELTO_WINEPREFIX": str(self.prefix)}

    def close(self) -> None:
        """Ends what runs in the prefix, and the display."""
        self._run_script("end-prefix.sh")
        self._display.terminate()
        self._display.wait(_SECONDS)
        self._display.stdout.close()

    def wait_for_window(self, title: str) -> str:
        """Waits until a window with this title shows and has the keyboard; returns X's number for it."""
        window = self._do("search", "--sync", "--onlyvisible", "--name", f"^{title}$").split()[-1]
        self._wait(lambda: self._do("getwindowfocus", check=False).strip() == window, f"{title} to have the focus")
        return window

    def type(self, text: str) -> None:
        """Presses the keys of an English keyboard that give this text."""
        self._do("type", "--delay", "20", text)

    def press(self, *keys: str) -> None:
        """Presses keys by their X names, such as Tab, Return, Escape, shift+Tab."""
        self._do("key", "--delay", "20", *keys)

    def click(self, window: str, x: int, y: int) -> None:
        """Clicks the left button at this place in the window."""
        self._do("mousemove", "--window", window, str(x), str(y), "click", "1")

    def picture_of(self, window: str) -> PIL.Image.Image:
        """The window as it shows now."""
        geometry = dict(
            line.split("=") for line in self._do("getwindowgeometry", "--shell", window).splitlines()
        )
        left, top = int(geometry["X"]), int(geometry["Y"])
        box = (left, top, left + int(geometry["WIDTH"]), top + int(geometry["HEIGHT"]))
        return PIL.ImageGrab.grab(xdisplay=self.environment["DISPLAY"]).crop(box)

    def still_picture_of(self, window: str) -> PIL.Image.Image:
        """The window when it has finished drawing: three pictures in a row were the same."""
        same, last = 0, self.picture_of(window)
        deadline = time.monotonic() + _SECONDS
        while same < 2:
            if time.monotonic() > deadline:
                raise TimeoutError("the window never holds still")
            time.sleep(0.1)
            now = self.picture_of(window)
            same = same + 1 if now == last else 0
            last = now
        return last

    def _prepare_prefix(self, registry: str) -> None:
        fonts = self.prefix / "drive_c" / "windows" / "Fonts"
        fonts.mkdir(exist_ok=True)
        for name in _FONT_FILES:
            shutil.copy(_FONTS / name, fonts)
        user = self.prefix / "user.reg"
        text = user.read_text()
        if '"Graphics"="null"' not in text:
            raise RuntimeError(f"{user} does not look as set-up leaves it")
        text = text.replace('"Graphics"="null"', '"Graphics"="x11"')
        user.write_text(f'{text}\n[Software\\\\Wine\\\\X11 Driver]\n"Managed"="N"\n{registry}')
        names = "".join(f'"{name}"="Open Sans"\n' for name in _REPLACED_FONTS)
        with (self.prefix / "system.reg").open("a") as system:
            key = r"Software\\Microsoft\\Windows NT\\CurrentVersion\\FontSubstitutes"
            system.write(f"\n[{key}]\n{names}")

    def _run_script(self, name: str) -> None:
        command = [str(ROOT / "scripts" / "run" / name), self._machine, str(self.prefix)]
        result = subprocess.run(command, capture_output=True, text=True)
        if result.returncode != 0:
            raise RuntimeError(f"{name} failed: {result.stderr}")

    def _do(self, *words: str, check: bool = True) -> str:
        result = subprocess.run(
            ["xdotool", *words],
            env={**os.environ, **self.environment},
            capture_output=True,
            text=True,
            timeout=_SECONDS,
        )
        if check and result.returncode != 0:
            raise RuntimeError(f"xdotool {' '.join(words)}: {result.stderr.strip()}")
        return result.stdout

    def _wait(self, condition, what: str) -> None:
        deadline = time.monotonic() + _SECONDS
        while not condition():
            if time.monotonic() > deadline:
                raise TimeoutError(f"waited for {what}")
            time.sleep(0.05)
