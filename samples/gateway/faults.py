"""What the gateway does wrong when told to."""

import base64
import contextlib
import socket
import threading

from answer import Answer, head_bytes
from connection_server import reset_when_closed
from settings import CONNECTION_FAULTS

# A TLS alert record: version 1.2, two bytes, fatal, handshake_failure.
_ALERT = bytes([21, 3, 3, 0, 2, 2, 40])
_GARBAGE = b"This is no TLS handshake.\r\n"

# A reset throws away what the other side has received but not read yet: time to read it.
_SECONDS_BEFORE_RESET = 3.0


def breaks_handshake(settings: dict) -> bool:
    """Returns whether the fault in force comes before TLS, so that no request will be read."""
    fault = settings["fault"]
    return fault == "bad_handshake" or (fault in ("silent", "reset") and settings["stage"] == "handshake")


def break_handshake(connection: socket.socket, settings: dict) -> None:
    if settings["fault"] == "silent":
        wait_for_end(connection)
        return
    connection.recv(4096)
    if settings["fault"] == "reset":
        reset_when_closed(connection)
    else:
        connection.sendall({"garbage": _GARBAGE, "alert": _ALERT, "close": b""}[settings["handshake"]])


def fault_of(path: str, settings: dict) -> str | None:
    """Returns the fault that a request for this path (without its query) meets."""
    if settings["fault"] in CONNECTION_FAULTS or settings["fault_path"] not in (path, "*"):
        return None
    return settings["fault"]


def changed_answer(fault: str | None, answer: Answer, settings: dict) -> Answer:
    """Applies those faults that only change what is answered."""
    body = answer.body
    if fault == "oversized":
        fill = b"." * max(0, settings["size"] - len(body))
        answer.body = fill + body if settings["padding"] == "before" else body + fill
    elif fault == "zero_byte":
        answer.body = body[: settings["position"]] + b"\0" + body[settings["position"] :]
    elif fault == "status":
        answer = Answer(settings["status"] or 503, settings["body"].encode())
    elif fault == "raw_body":
        answer = Answer(settings["status"] or 200, base64.b64decode(settings["body"]), answer.content_type)
    return answer


def sends_nothing(fault: str | None, settings: dict) -> bool:
    return fault == "silent" or (fault == "reset" and settings["stage"] != "answer")


def send(
    connection: socket.socket, fault: str | None, answer: Answer, settings: dict, stop: threading.Event
) -> None:
    """Sends the answer, or what the fault leaves of it. A whole answer goes out in one piece."""
    head = head_bytes(answer)
    if fault == "silent":
        wait_for_end(connection)
    elif fault == "reset":
        if settings["stage"] == "answer":
            connection.sendall(head + answer.body[: len(answer.body) // 2])
            stop.wait(_SECONDS_BEFORE_RESET)
        reset_when_closed(connection)
    elif fault == "slow":
        first = 0 if settings["first_bytes"] is None else len(head) + settings["first_bytes"]
        connection.sendall((head + answer.body)[:first])
        stop.wait(settings["delay_ms"] / 1000)
        connection.sendall((head + answer.body)[first:])
    elif fault == "raw_answer":
        connection.sendall(base64.b64decode(settings["body"]))
    else:
        connection.sendall(head + answer.body)


def wait_for_end(connection: socket.socket) -> None:
    """Says nothing until the other side gives up, or the gateway ends and shuts the connection down."""
    connection.settimeout(None)
    with contextlib.suppress(OSError):
        while connection.recv(4096):
            pass
