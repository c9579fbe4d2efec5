#!/usr/bin/python3
"""A simulated VPN gateway with its identity provider, for trying out and testing the sign-in.

It listens on 127.0.0.1 only. When it is ready it prints one JSON line with its ports; it ends on SIGTERM, on
Ctrl+C, and with the process that started it. docs/simulated-gateway.md describes it.
"""

import argparse
import ctypes
import json
import os
import pathlib
import signal
import sys

sys.dont_write_bytecode = True

from connection_server import free_port
from control import ControlServer
from gateway_server import GatewayServer
from request_log import RequestLog
from settings import FAULTS, Settings

_PR_SET_PDEATHSIG = 1


def main() -> int:
    arguments = parse_arguments()
    signals = {signal.SIGTERM, signal.SIGINT, signal.SIGHUP}
    signal.pthread_sigmask(signal.SIG_BLOCK, signals)  # before any thread starts: all of them inherit it
    end_with_parent()
    try:
        settings = Settings(arguments.sso_port or free_port(), changes_from(arguments))
        log = RequestLog(arguments.log)
        gateway = GatewayServer(arguments.port, settings, log)
        control = ControlServer(arguments.control_port, settings, log)
    except (OSError, ValueError) as error:
        print(f"gateway: {error}", file=sys.stderr)
        return 1
    gateway.start()
    control.start()
    announce(arguments.ready_file, gateway.port, control.port, settings.snapshot()["sso_port"])
    signal.sigwait(signals)
    gateway.stop()
    control.stop()
    log.close()
    return 0


def parse_arguments() -> argparse.Namespace:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--port", type=int, default=0, help="TLS port; 0 (default) takes a free one")
    parser.add_argument(
        "--control-port", type=int, default=0, help="port of the control server; 0 (default) takes a free one"
    )
    parser.add_argument(
        "--sso-port", type=int, default=0, help="port that browsers are sent to; 0 (default) takes a free one"
    )
    parser.add_argument("--log", metavar="FILE", help="append one JSON line for each request to this file")
    parser.add_argument("--ready-file", metavar="FILE", help="write the ready line to this file, too")
    parser.add_argument(
        "--user", action="append", default=[], metavar="NAME=PASSWORD", help="who may sign in (repeatable)"
    )
    parser.add_argument("--fault", choices=FAULTS, help="what to do wrong")
    parser.add_argument(
        "--set",
        action="append",
        default=[],
        metavar="NAME=VALUE",
        help="any other setting; VALUE is JSON or text (repeatable)",
    )
    return parser.parse_args()


def changes_from(arguments: argparse.Namespace) -> dict:
    changes: dict = {"fault": arguments.fault} if arguments.fault else {}
    for text in arguments.set:
        name, value = split_pair(text, "--set")
        try:
            changes[name] = json.loads(value)
        except ValueError:
            changes[name] = value
    if arguments.user:
        changes["users"] = dict(split_pair(text, "--user") for text in arguments.user)
    return changes


def split_pair(text: str, option: str) -> tuple[str, str]:
    name, found, value = text.partition("=")
    if not found:
        raise ValueError(f"{option} {text}: there is no '='")
    return name, value


def end_with_parent() -> None:
    """Has the kernel send SIGTERM when the parent dies, also when that has happened already."""
    parent = os.getppid()
    ctypes.CDLL(None, use_errno=True).prctl(_PR_SET_PDEATHSIG, int(signal.SIGTERM), 0, 0, 0)
    if os.getppid() != parent:
        os.kill(os.getpid(), signal.SIGTERM)


def announce(ready_file: str | None, port: int, control_port: int, sso_port: int) -> None:
    line = json.dumps({"port": port, "control_port": control_port, "sso_port": sso_port})
    if ready_file:
        # Renamed into place, so that whoever waits for the file never reads half a line.
        unfinished = pathlib.Path(f"{ready_file}.new")
        unfinished.write_text(line + "\n", encoding="utf-8")
        unfinished.replace(ready_file)
    print(line, flush=True)


if __name__ == "__main__":
    sys.exit(main())
