"""A gateway in a process of its own, and a client that sees every byte and every TLS detail."""

import http.client
import json
import pathlib
import socket
import ssl
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
GATEWAY = ROOT / "samples" / "gateway" / "gateway.py"
SECONDS = 60


class GatewayProcess:
    def __init__(self, *options: str):
        self.folder = tempfile.TemporaryDirectory(prefix="zelto-gateway-test-")
        self.log_file = pathlib.Path(self.folder.name, "gateway.jsonl")
        self.process = subprocess.Popen(
            ["/usr/bin/python3", "-B", str(GATEWAY), "--log", str(self.log_file), *options],
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            text=True,
        )
        line = self.process.stdout.readline()
        if not line:
            raise AssertionError(f"no ready line: {self.process.communicate()[1]}")
        self.ready = json.loads(line)

    def stop(self) -> int:
        self.process.terminate()
        code = self.process.wait(SECONDS)
        self.process.stdout.close()
        self.process.stderr.close()
        self.folder.cleanup()
        return code

    def control(self, method: str, path: str, body: object = None) -> tuple[int, bytes]:
        connection = http.client.HTTPConnection("127.0.0.1", self.ready["control_port"], timeout=SECONDS)
        connection.request(method, path, None if body is None else json.dumps(body))
        answer = connection.getresponse()
        result = answer.status, answer.read()
        connection.close()
        return result

    def set(self, **settings: object) -> None:
        status, text = self.control("POST", "/settings", settings)
        assert status == 200, text

    def log(self) -> list[dict]:
        return [json.loads(line) for line in self.control("GET", "/log")[1].splitlines()]

    def ids(self) -> list[str]:
        return json.loads(self.control("GET", "/ids")[1])

    def connect(self, **context_changes: object) -> ssl.SSLSocket:
        return self.wrap(
            socket.create_connection(("127.0.0.1", self.ready["port"]), SECONDS), **context_changes
        )

    def wrap(self, connection: socket.socket, **context_changes: object) -> ssl.SSLSocket:
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_CLIENT)
        context.check_hostname = False
        context.verify_mode = ssl.CERT_NONE
        context.options &= ~ssl.OP_IGNORE_UNEXPECTED_EOF  # an end without TLS's goodbye is an error
        for name, value in context_changes.items():
            setattr(context, name, value)
        return context.wrap_socket(connection, suppress_ragged_eofs=False)

    def request(
        self, method: str, target: str, body: bytes = b"", headers: tuple[str, ...] = ()
    ) -> "RawAnswer":
        with self.connect() as tls:
            lines = [f"{method} {target} HTTP/1.1", "Host: gateway", f"Content-Length: {len(body)}", *headers]
            tls.sendall(("\r\n".join(lines) + "\r\n\r\n").encode() + body)
            return RawAnswer(read_all(tls))

    def get(self, target: str) -> "RawAnswer":
        return self.request("GET", target)


class RawAnswer:
    def __init__(self, data: bytes):
        self.data = data
        self.head, _, self.body = data.partition(b"\r\n\r\n")
        line, *headers = self.head.decode("latin-1").split("\r\n")
        self.status = int(line.split(" ")[1]) if line else 0
        self.headers = dict(header.split(": ", 1) for header in headers)


def read_all(connection: socket.socket) -> bytes:
    data = b""
    while piece := connection.recv(65_536):
        data += piece
    return data


def has_ended(connection):
    """Waits for the other side's end: orderly, or with a reset when it had something unread."""
    try:
        return connection.recv(1) == b""
    except ConnectionResetError:
        return True


class GatewayTestCase(unittest.TestCase):
    """One gateway for the class, back at its start settings before each test."""

    @classmethod
    def setUpClass(cls) -> None:
        cls.gateway = GatewayProcess()

    @classmethod
    def tearDownClass(cls) -> None:
        if cls.gateway.stop() != 0:
            raise AssertionError("the gateway did not end well")

    def setUp(self) -> None:
        self.gateway.control("POST", "/reset")
