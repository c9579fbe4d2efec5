"""The control port: plain HTTP on 127.0.0.1, to change the gateway's behaviour and to read its log."""

import json
import socket
from typing import Callable

from answer import Answer, head_bytes
from connection_server import ConnectionServer
from gateway_server import read_request
from request_log import RequestLog
from settings import Settings

_IDLE_SECONDS = 20.0


class ControlServer:
    def __init__(self, port: int, settings: Settings, log: RequestLog):
        self._settings = settings
        self._log = log
        self._server = ConnectionServer(port, "control", self._serve)
        self.port = self._server.port
        self.start = self._server.start
        self.stop = self._server.stop

    def _serve(self, connection: socket.socket) -> None:
        connection.settimeout(_IDLE_SECONDS)
        try:
            request = read_request(connection)
            if request is None:
                return
            method, path, _, body = request
            answer = self._answer(method, path, body)
        except ValueError as error:
            answer = Answer(400, f"{error}\n".encode(), "text/plain; charset=utf-8")
        connection.sendall(head_bytes(answer) + answer.body)

    def _answer(self, method: str, path: str, body: bytes) -> Answer:
        actions: dict[tuple[str, str], Callable[[], Answer]] = {
            ("GET", "/settings"): lambda: as_json(self._settings.snapshot()),
            ("POST", "/settings"): lambda: as_json(self._settings.merge(as_object(body))),
            ("POST", "/reset"): self._reset,
            ("GET", "/log"): lambda: Answer(200, as_lines(self._log.lines()), "application/x-ndjson"),
            ("GET", "/ids"): lambda: as_json(self._log.ids()),
        }
        action = actions.get((method, path))
        if action is None:
            names = ", ".join(" ".join(name) for name in actions)
            return Answer(404, f"There is only: {names}\n".encode(), "text/plain; charset=utf-8")
        return action()

    def _reset(self) -> Answer:
        self._settings.reset()
        self._log.reset()
        return as_json(self._settings.snapshot())


def as_json(value: object) -> Answer:
    return Answer(200, json.dumps(value).encode() + b"\n", "application/json")


def as_lines(lines: list[str]) -> bytes:
    return "".join(line + "\n" for line in lines).encode()


def as_object(body: bytes) -> dict:
    value = json.loads(body)
    if not isinstance(value, dict):
        raise ValueError("the settings are given as one JSON object")
    return value
