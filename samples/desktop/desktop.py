"""Plays the user at a desktop: an X display, a Wine prefix whose programs show their windows on it, real key
presses, and pictures.

There is no window manager: Wine draws the title bars and moves the focus itself.
"""

import os
import pathlib
import shutil
import subprocess
import time
from typing import Callable

import PIL.Image
import PIL.ImageGrab

ROOT = pathlib.Path(__file__).resolve().parents[2]
_SCREEN = "1280x900x24"
_SECONDS = 60

# The ARM64 Wine has no fonts at all. Marlett holds the signs on a title bar's buttons.
_FONTS = (
    "/usr/share/fonts/truetype/open-sans/OpenSans-Regular.ttf",
    "/usr/share/fonts/truetype/open-sans/OpenSans-Semibold.ttf",
    "/usr/share/fonts/truetype/open-sans/OpenSans-Bold.ttf",
    "/usr/share/wine/fonts/marlett.ttf",
)
_REPLACED_FONTS = ("MS Shell Dlg", "MS Shell Dlg 2", "Segoe UI", "Tahoma", "MS Sans Serif", "System")

# Windows as they look today, rather than in Wine's colours of 1995.
_COLOURS = {
    "ActiveTitle": "238 241 246",
    "GradientActiveTitle": "238 241 246",
    "TitleText": "28 36 48",
    "ActiveBorder": "238 241 246",
    "ButtonFace": "238 241 246",
    "ButtonHilight": "238 241 246",
    "ButtonLight": "238 241 246",
    "ButtonShadow": "201 208 219",
    "ButtonDkShadow": "201 208 219",
}


class Desktop:
    """`runner` is scripts/run/x64.sh or arm64.sh; everything else goes into `folder`, which must be there.

    `registry` is more of the user's settings, in the format of Wine's own registry files.
    """

    def __init__(self, runner: str, folder: pathlib.Path, registry: str = ""):
        self._machine = pathlib.Path(runner).stem
        self.prefix = folder / "prefix"
        self._run_script("new-prefix.sh")
        self._prepare_prefix(registry)
        # -r: a key that is held for long, because the machine is busy, is not repeated.
        self._display = subprocess.Popen(
            ["Xvfb", "-displayfd", "1", "-screen", "0", _SCREEN, "-nolisten", "tcp", "-noreset", "-r"],
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

    def wait_for_window(self, program: str) -> str:
        """Waits until a window of this program shows and has the keyboard; returns X's number for it.

        (By its title it would not be found: the ARM64 Wine lacks what setting X's window titles takes.)

        There is no window manager: a window that has asked for the keyboard before it was shown does not get it.
        It is given to such a window after a while.
        """
        found: list[str] = []
        patience = time.monotonic() + _SECONDS / 4

        def has_keyboard() -> bool:
            # The search fails when a window ends under its eyes, and when it finds none.
            windows = self._do("search", "--onlyvisible", "--class", f"^{program}$", check=False).split()
            found[:] = [self._do("getwindowfocus", check=False).strip()]
            if windows and found[0] not in windows and time.monotonic() > patience:
                self._do("windowfocus", windows[0], check=False)
            return found[0] in windows

        self.wait_until(has_keyboard, f"a window of {program}")
        return found[0]

    def type(self, text: str) -> None:
        """Presses the keys of an English keyboard that give this text."""
        self._do("type", "--delay", "20", text)

    def press(self, *keys: str) -> None:
        """Presses keys by their X names, such as Tab, Return, Escape, shift+Tab."""
        self._do("key", "--delay", "20", *keys)

    def click(self, window: str, x: int, y: int) -> None:
        """Clicks the left button at this place in the window."""
        self._do("mousemove", "--window", window, str(x), str(y), "click", "1")

    def box_of(self, window: str) -> tuple[int, int, int, int]:
        """Left, top, right and bottom of the window."""
        lines = self._do("getwindowgeometry", "--shell", window).splitlines()
        value = {name: int(number) for name, _, number in (line.partition("=") for line in lines)}
        return value["X"], value["Y"], value["X"] + value["WIDTH"], value["Y"] + value["HEIGHT"]

    def picture_of(self, window: str) -> PIL.Image.Image:
        """The window as it shows now."""
        return PIL.ImageGrab.grab(xdisplay=self.environment["DISPLAY"]).crop(self.box_of(window))

    def still_picture_of(self, window: str) -> PIL.Image.Image:
        """The window when it seems to have finished drawing: three pictures in a row were the same.

        On a busy machine it may be a picture of before: who waits for a certain sight asks for that sight.
        A window that shows the seconds may never hold still there: after a while the last picture is taken.
        """
        patience = time.monotonic() + _SECONDS / 4
        pictures = [self.picture_of(window)]

        def is_still() -> bool:
            pictures.append(self.picture_of(window))
            is_same = len(pictures) > 2 and pictures[-1] == pictures[-2] == pictures[-3]
            return is_same or time.monotonic() > patience

        self.wait_until(is_still, "the window to hold still")
        return pictures[-1]

    def wait_until(self, condition: Callable[[], bool], what: str) -> None:
        """Asks for the condition again and again; nothing tells of what happens on a display."""
        deadline = time.monotonic() + _SECONDS
        while not condition():
            if time.monotonic() > deadline:
                raise TimeoutError(f"waited for {what}")
            time.sleep(0.05)

    def _prepare_prefix(self, registry: str) -> None:
        fonts = self.prefix / "drive_c" / "windows" / "Fonts"
        fonts.mkdir(exist_ok=True)
        for path in _FONTS:
            shutil.copy(path, fonts)
        user = self.prefix / "user.reg"
        text = user.read_text()
        if '"Graphics"="null"' not in text:
            raise RuntimeError(f"{user} does not look as set-up leaves it")
        text = text.replace('"Graphics"="null"', '"Graphics"="x11"')
        colours = "".join(f'"{name}"="{value}"\n' for name, value in _COLOURS.items())
        user.write_text(
            f'{text}\n[Software\\\\Wine\\\\X11 Driver]\n"Managed"="N"\n'
            f"\n[Control Panel\\\\Colors]\n{colours}\n{registry}"
        )
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
