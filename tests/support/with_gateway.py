#!/usr/bin/python3
"""Runs a command beside a simulated gateway: with_gateway.py [options] -- command [arguments]

The command finds in its environment: ZELTO_GATEWAY_PORT (TLS), ZELTO_GATEWAY_CONTROL_PORT (plain HTTP),
ZELTO_GATEWAY_SSO_PORT (where browsers are sent), ZELTO_GATEWAY_LOG (the request log), ZELTO_GATEWAY_USER and
ZELTO_GATEWAY_PASSWORD. The exit code is the command's; 128 + n when signal n ended it; 125 when the gateway
failed.
"""

import argparse
import contextlib
import ctypes
import json
import os
import pathlib
import select
import signal
import subprocess
import sys
import tempfile

_GATEWAY = pathlib.Path(__file__).resolve().parents[2] / "samples" / "gateway" / "gateway.py"
_SECONDS_TO_START = 75
_SECONDS_TO_END = 75
_LINES_SHOWN = 30
_GATEWAY_FAILED = 125
_PR_SET_PDEATHSIG = 1
_USER = "alice"
_PASSWORD = "Open+Sesame & 1"


def main() -> int:
    arguments = parse_arguments()
    # A time-out of the test runner ends this process; it shall not leave the others behind.
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(128 + signal.SIGTERM))
    with tempfile.TemporaryDirectory(prefix="zelto-with-gateway-") as folder:
        log = pathlib.Path(arguments.log or pathlib.Path(folder, "gateway.jsonl"))
        errors = pathlib.Path(folder, "gateway.err")
        gateway = start_gateway(log, errors, arguments.gateway_option)
        code = _GATEWAY_FAILED
        try:
            ports = read_ready_line(gateway)
            if ports:
                code = run(arguments.command, ports, log)
        finally:
            ended_well = stop_gateway(gateway)
        if not ended_well and code == 0:
            code = _GATEWAY_FAILED
        if code != 0:
            show("the gateway's request log", log)
        if code != 0 or not ended_well:
            show("the gateway's error output", errors)
        return code


def parse_arguments() -> argparse.Namespace:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--log", metavar="FILE", help="keep the request log in this file")
    parser.add_argument(
        "--gateway-option",
        action="append",
        default=[],
        metavar="OPTION",
        help="hand this on to the gateway, as in --gateway-option=--fault=silent (repeatable)",
    )
    parser.add_argument("command", nargs="+", help="what to run, behind --")
    return parser.parse_args()


def start_gateway(log: pathlib.Path, errors: pathlib.Path, options: list[str]) -> subprocess.Popen:
    command = [
        "/usr/bin/python3",
        str(_GATEWAY),
        "--log",
        str(log),
        "--user",
        f"{_USER}={_PASSWORD}",
        *options,
    ]
    with errors.open("wb") as error_stream:
        # A session of its own: Ctrl+C in a terminal is for the command; the gateway is ended after it.
        return subprocess.Popen(
            command,
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            stderr=error_stream,
            start_new_session=True,
        )


def read_ready_line(gateway: subprocess.Popen) -> dict | None:
    """Returns the ports, or None when the gateway ended or stayed silent instead.

    It prints nothing after that line.
    """
    assert gateway.stdout is not None
    if not select.select([gateway.stdout], [], [], _SECONDS_TO_START)[0]:
        print(f"with_gateway: the gateway was not ready after {_SECONDS_TO_START} seconds", file=sys.stderr)
        return None
    line = gateway.stdout.readline()
    if not line:
        print("with_gateway: the gateway ended before it was ready", file=sys.stderr)
        return None
    return json.loads(line)


def run(command: list[str], ports: dict, log: pathlib.Path) -> int:
    environment = {
        **os.environ,
        "ZELTO_GATEWAY_PORT": str(ports["port"]),
        "ZELTO_GATEWAY_CONTROL_PORT": str(ports["control_port"]),
        "ZELTO_GATEWAY_SSO_PORT": str(ports["sso_port"]),
        "ZELTO_GATEWAY_LOG": str(log.resolve()),
        "ZELTO_GATEWAY_USER": _USER,
        "ZELTO_GATEWAY_PASSWORD": _PASSWORD,
    }
    try:
        child = subprocess.Popen(command, env=environment, preexec_fn=end_with_parent)
    except OSError as error:
        print(f"with_gateway: cannot start {command[0]}: {error.strerror}", file=sys.stderr)
        return 127
    try:
        while True:
            with contextlib.suppress(KeyboardInterrupt):  # the command got it, too, and decides
                code = child.wait()
                return code if code >= 0 else 128 - code
    finally:
        if child.poll() is None:
            child.terminate()
            with contextlib.suppress(subprocess.TimeoutExpired):
                child.wait(_SECONDS_TO_END)
            child.kill()


def end_with_parent() -> None:
    ctypes.CDLL(None).prctl(_PR_SET_PDEATHSIG, int(signal.SIGTERM), 0, 0, 0)


def stop_gateway(gateway: subprocess.Popen) -> bool:
    """Returns whether the gateway lived until now and then ended as told."""
    alive = gateway.poll() is None
    gateway.terminate()
    try:
        code = gateway.wait(_SECONDS_TO_END)
    except subprocess.TimeoutExpired:
        gateway.kill()
        code = gateway.wait()
    if not alive or code != 0:
        print(f"with_gateway: the gateway ended with {code}{'' if alive else ' on its own'}", file=sys.stderr)
    return alive and code == 0


def show(title: str, path: pathlib.Path) -> None:
    lines = path.read_text(encoding="utf-8", errors="replace").splitlines() if path.exists() else []
    print(f"--- {title}, last {min(len(lines), _LINES_SHOWN)} of {len(lines)} lines:", file=sys.stderr)
    for line in lines[-_LINES_SHOWN:]:
        print(line, file=sys.stderr)


if __name__ == "__main__":
    sys.exit(main())
