#!/usr/bin/python3
"""Plays the user at a browser: waits for an address, signs in there, and records what the last page shows.

The address comes as one line through a FIFO (which this program makes), as a default browser would be handed
it. The browser is a real, headless Chromium with an empty profile. Each step is printed as one line, prefixed
"browser: ".

Exit code: 0 the expected page was shown; 1 something else was shown, or nothing in time; 2 the browser did
not start.
"""

import argparse
import contextlib
import ctypes
import json
import os
import pathlib
import select
import signal
import stat
import sys
import tempfile
import time

from selenium import webdriver
from selenium.common.exceptions import WebDriverException
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.support.ui import WebDriverWait

_PR_SET_PDEATHSIG = 1
_PR_SET_CHILD_SUBREAPER = 36
_SECONDS_TO_END = 10
_CHROMIUM = "/usr/bin/chromium"
_DRIVER = "/usr/bin/chromedriver"
_OPTIONS = (
    "--headless",
    "--disable-gpu",
    "--disable-quic",
    "--disable-dev-shm-usage",
    "--no-first-run",
    "--disable-background-networking",
    "--disable-component-update",
    "--disable-sync",
    "--no-proxy-server",
    "--ignore-certificate-errors",
    "--force-device-scale-factor=2",
    "--window-size=1000,900",
)


class Unexpected(Exception):
    """What was shown, or not shown, instead of what should have been; the text is for people."""


def main() -> int:
    arguments = parse_arguments()
    join_family()
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(128 + signal.SIGTERM))  # runs the clean-up of main()
    with contextlib.ExitStack() as stack:
        fifo = stack.enter_context(open_fifo(arguments.fifo))
        profile = stack.enter_context(
            tempfile.TemporaryDirectory(prefix="zelto-browser-", ignore_cleanup_errors=True)
        )
        try:
            driver = stack.enter_context(start_chromium(profile, arguments.dark))
        except WebDriverException as error:
            say(f"Chromium does not start: {error.msg}")
            return 2
        say("ready, waiting for an address")
        try:
            sign_in(driver, read_address(fifo, arguments.timeout), arguments)
        except Unexpected as error:
            say(f"failed: {error}")
            return 1
        except WebDriverException as error:
            say(f"failed: {error.msg}")
            return 1
    return 0


def parse_arguments() -> argparse.Namespace:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--fifo", required=True, metavar="PATH", help="where the address comes from; is made")
    parser.add_argument("--user", required=True)
    parser.add_argument("--password", required=True)
    parser.add_argument(
        "--expect", default="VPN Connecting", metavar="TEXT", help="heading (h1) of the last page"
    )
    parser.add_argument(
        "--timeout", type=float, default=60, metavar="SECONDS", help="for each wait (default 60)"
    )
    parser.add_argument("--login-screenshot", metavar="PNG")
    parser.add_argument("--screenshot", metavar="PNG", help="of the last page")
    parser.add_argument("--report", metavar="JSON", help="what the last page showed")
    parser.add_argument("--dark", action="store_true", help="prefer dark pages")
    return parser.parse_args()


def say(text: str) -> None:
    print(f"browser: {text}", flush=True)


def join_family() -> None:
    """Has this process end with its parent, and become the parent of what its children leave behind."""
    prctl = ctypes.CDLL(None).prctl
    prctl(_PR_SET_PDEATHSIG, int(signal.SIGTERM), 0, 0, 0)
    prctl(_PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0)


@contextlib.contextmanager
def open_fifo(path: str):
    """Makes the FIFO and yields its descriptor.

    It is there before the browser is, so no writer comes too early.
    """
    with contextlib.suppress(FileNotFoundError):
        if stat.S_ISFIFO(os.stat(path).st_mode):
            os.unlink(path)
    os.mkfifo(path, 0o600)
    # Open for writing as well: a writer that closes is then no end of file, and a writer is never refused.
    descriptor = os.open(path, os.O_RDWR | os.O_NONBLOCK)
    try:
        yield descriptor
    finally:
        os.close(descriptor)
        os.unlink(path)


def read_address(fifo: int, seconds: float) -> str:
    deadline = time.monotonic() + seconds
    data = b""
    while b"\n" not in data:
        if not select.select([fifo], [], [], max(0.0, deadline - time.monotonic()))[0]:
            raise Unexpected(f"no address came within {seconds:.0f} seconds")
        data += os.read(fifo, 4096)
    return data.split(b"\n")[0].decode()


@contextlib.contextmanager
def start_chromium(profile: str, dark: bool):
    options = webdriver.ChromeOptions()
    options.binary_location = _CHROMIUM
    for option in (*_OPTIONS, f"--user-data-dir={profile}/profile"):
        options.add_argument(option)
    if os.geteuid() == 0:
        options.add_argument("--no-sandbox")  # the sandbox does not work for root
    os.environ[
        "no_proxy"
    ] = "127.0.0.1,localhost"  # a proxy that the machine has is not for the driver's own port
    # Chromium leaves more than its profile behind: all of it goes where the profile goes.
    environment = {**os.environ, "HOME": profile, "XDG_CONFIG_HOME": profile, "XDG_CACHE_HOME": profile}
    service = Service(executable_path=_DRIVER, env=environment, service_args=["--log-path=/dev/null"])
    driver = webdriver.Chrome(service=service, options=options)
    try:
        if dark:
            features = [{"name": "prefers-color-scheme", "value": "dark"}]
            driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": features})
        yield driver
    finally:
        driver.quit()
        wait_for_descendants()


def wait_for_descendants() -> None:
    """Chromium's helpers outlive the driver for a moment, and would still write into the profile."""

    def give_up(*_: object) -> None:
        raise TimeoutError

    signal.signal(signal.SIGALRM, give_up)
    signal.alarm(_SECONDS_TO_END)
    with contextlib.suppress(ChildProcessError, TimeoutError):
        while True:
            os.wait()
    signal.alarm(0)


def sign_in(driver: webdriver.Chrome, address: str, arguments: argparse.Namespace) -> None:
    say(f"opens {address}")
    driver.set_page_load_timeout(arguments.timeout)
    driver.get(address)
    login_address = driver.current_url
    say(f'shows "{driver.title}" at {login_address}')
    fill_in(driver, arguments)
    picture(driver, arguments.login_screenshot)
    say(f"signs in as {arguments.user}")
    driver.find_element(By.ID, "submit").click()
    WebDriverWait(driver, arguments.timeout, 0.1).until(
        lambda _: outcome(driver, arguments.expect) is not None, f'"{arguments.expect}" did not appear'
    )
    picture(driver, arguments.screenshot)
    report = {
        "address": address,
        "login_url": login_address,
        "url": driver.current_url,
        "title": driver.title,
        "h1": text_of(driver, "h1"),
        "paragraph": text_of(driver, "p"),
    }
    if arguments.report:
        pathlib.Path(arguments.report).write_text(json.dumps(report, indent=2) + "\n", encoding="utf-8")
    if report["h1"] != arguments.expect:
        raise Unexpected(f"{outcome(driver, arguments.expect)} (at {report['url']})")
    say(f'shows "{report["h1"]}" at {report["url"]}')


def fill_in(driver: webdriver.Chrome, arguments: argparse.Namespace) -> None:
    for name, value in (("username", arguments.user), ("password", arguments.password)):
        fields = driver.find_elements(By.NAME, name)
        if not fields:
            raise Unexpected(f'there is no login form, but "{text_of(driver, "body")[:200]}"')
        fields[0].clear()
        fields[0].send_keys(value)


def outcome(driver: webdriver.Chrome, expected: str) -> str | None:
    """What the page that follows the form shows; None while it is still on its way."""
    if text_of(driver, "h1") == expected:
        return expected
    error = text_of(driver, "p.error")
    if error:
        return f'the login page says "{error}"'
    if driver.find_elements(By.CSS_SELECTOR, "body.neterror"):
        return f'Chromium says "{text_of(driver, "#main-message")}"'
    return None


def text_of(driver: webdriver.Chrome, selector: str) -> str:
    """The text of the first such element as it is shown, with its line breaks; empty when there is none."""
    script = "const element = document.querySelector(arguments[0]); return element?.innerText.trim() ?? '';"
    return driver.execute_script(script, selector)


def picture(driver: webdriver.Chrome, path: str | None) -> None:
    if path:
        pathlib.Path(path).write_bytes(driver.get_screenshot_as_png())


if __name__ == "__main__":
    sys.exit(main())
