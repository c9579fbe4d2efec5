"""The gateway's TLS side: handshake, request, answer, and the log record of each."""

import contextlib
import email.message
import http.client
import io
import re
import socket
import ssl
import urllib.parse

import faults
from answer import Answer, page
from certificate import make_contexts
from connection_server import ConnectionServer
from identity_provider import LOGIN_PATH, IdentityProvider
from remote_info import remote_info
from request_log import RequestLog
from saml_login import saml_login
from saml_response import SAML_PATH, check_saml_login, show_saml_login
from settings import Settings

_IDLE_SECONDS = 20.0
_SECONDS_FOR_THE_ALERT = 20.0
_MOST_HEAD_BYTES = 65_536
_MOST_BODY_BYTES = 1_048_576
_TLS_VERSIONS = {"1.2": ssl.TLSVersion.TLSv1_2, "1.3": ssl.TLSVersion.TLSv1_3}


class GatewayServer:
    def __init__(self, port: int, settings: Settings, log: RequestLog):
        self._settings = settings
        self._log = log
        self._contexts = make_contexts()
        self._identity_provider = IdentityProvider()
        self._server = ConnectionServer(port, "gateway", self._serve)
        self.port = self._server.port

    def start(self) -> None:
        self._server.start()

    def stop(self) -> None:
        self._server.stop()

    def _serve(self, connection: socket.socket) -> None:
        settings = self._settings.snapshot()
        client_port = connection.getpeername()[1]
        connection.settimeout(_IDLE_SECONDS)
        if faults.breaks_handshake(settings):
            self._log.add(event="connection", client_port=client_port, fault=settings["fault"], error=None)
            faults.break_handshake(connection, settings)
            return
        context = self._context(settings)
        with context.wrap_socket(connection, server_side=True, do_handshake_on_connect=False) as tls:
            try:
                if self._shake_hands(tls):
                    self._serve_request(tls, client_port)
            except (OSError, ValueError) as error:
                fault = settings["fault"]
                self._log.add(event="connection", client_port=client_port, fault=fault, error=str(error))
                if isinstance(error, ValueError):
                    say_goodbye(tls)
                else:
                    let_the_alert_be_read(tls)

    @staticmethod
    def _shake_hands(tls: ssl.SSLSocket) -> bool:
        """False for a client that has gone, without a request, as soon as its own part of it was done."""
        try:
            tls.do_handshake()
        except ConnectionError:
            return False
        return True

    def _context(self, settings: dict) -> ssl.SSLContext:
        asks = settings["certificate"] if settings["fault"] == "client_certificate" else "none"
        context = self._contexts[asks]
        context.minimum_version = _TLS_VERSIONS[settings["tls_minimum"]]
        context.maximum_version = _TLS_VERSIONS[settings["tls_maximum"]]
        return context

    def _serve_request(self, tls: ssl.SSLSocket, client_port: int) -> None:
        request = read_request(tls)
        if request is None:
            return
        method, target, headers, body = request
        settings = self._settings.snapshot()
        path, _, query = target.partition("?")
        fault = faults.fault_of(path, settings)
        answer = self._answer(method, path, query, headers, body, settings)
        answer = faults.changed_answer(fault, answer, settings)
        self._log.add(
            event="request",
            method=method,
            path=target,
            headers=joined(headers),
            body=loggable(path, body),
            status=None if faults.sends_nothing(fault, settings) else answer.status,
            client_port=client_port,
            tls=tls.version(),
            client_certificate=tls.getpeercert() is not None,
            fault=fault,
            id_issued=answer.id_issued,
        )
        faults.send(tls, fault, answer, settings, self._server.stopping)
        if fault != "reset":
            say_goodbye(tls)

    def _answer(
        self,
        method: str,
        path: str,
        query: str,
        headers: email.message.Message,
        body: bytes,
        settings: dict,
    ) -> Answer:
        known = {
            ("GET", "/remote/info"): lambda: remote_info(settings),
            ("GET", "/remote/saml/start"): lambda: self._identity_provider.start(query),
            ("POST", "/saml_login"): lambda: saml_login(
                self._identity_provider, headers.get("Host", ""), body, settings
            ),
            ("GET", LOGIN_PATH): lambda: self._identity_provider.show_login(query),
            ("POST", LOGIN_PATH): lambda: self._identity_provider.check_login(query, body, settings),
            ("GET", SAML_PATH): show_saml_login,
            ("POST", SAML_PATH): lambda: check_saml_login(body, settings),
        }
        if (method, path) in known:
            return known[method, path]()
        if path in (route for _, route in known):
            return page(405, "refusal.html", text="This address does not take that method.")
        return page(404, "refusal.html", text="There is nothing at this address.")


def say_goodbye(tls: ssl.SSLSocket) -> None:
    """Sends TLS's closing message. Without blocking, so that the client's own one is not waited for."""
    tls.settimeout(0)
    with contextlib.suppress(OSError):
        tls.unwrap()


def let_the_alert_be_read(tls: ssl.SSLSocket) -> None:
    """Takes in what the client still sends: closing earlier would reset the connection, alert included."""
    tls.shutdown(socket.SHUT_WR)  # from here on the socket speaks plain TCP
    tls.settimeout(_SECONDS_FOR_THE_ALERT)
    with contextlib.suppress(OSError):
        while tls.recv(4096):
            pass


def read_request(connection: socket.socket) -> tuple[str, str, email.message.Message, bytes] | None:
    """Reads one request: method, target, headers, body. None when the client sent nothing at all.

    Raises ValueError when what came is no HTTP request, or too large.
    """
    data = b""
    while b"\r\n\r\n" not in data:
        try:
            piece = connection.recv(16_384)
        except (TimeoutError, ConnectionError):
            piece = b""
        if not piece:
            if data:
                raise ValueError(f"the request broke off: {data[:80]!r}")
            return None
        data += piece
        if len(data) > _MOST_HEAD_BYTES:
            raise ValueError("the head of the request is too large")
    head, _, body = data.partition(b"\r\n\r\n")
    line, _, header_lines = head.partition(b"\r\n")
    parts = re.fullmatch(r"(\S+) (\S+) HTTP/1\.[01]", line.decode("latin-1"))
    if not parts:
        raise ValueError(f"no HTTP request: {line[:80]!r}")
    headers = http.client.parse_headers(io.BytesIO(header_lines + b"\r\n\r\n"))
    length = headers.get("Content-Length", "0")
    if not length.isdecimal() or int(length) > _MOST_BODY_BYTES:
        raise ValueError(f"cannot take a body of {length[:20]!r} bytes")
    while len(body) < int(length):
        piece = connection.recv(16_384)
        if not piece:
            raise ValueError("the body broke off")
        body += piece
    return parts[1], parts[2], headers, body


def joined(headers: email.message.Message) -> dict[str, str]:
    """Headers by name as sent; of a name sent twice, both values with a comma between."""
    result: dict[str, str] = {}
    for name, value in headers.items():
        result[name] = f"{result[name]}, {value}" if name in result else value
    return result


def loggable(path: str, body: bytes) -> str:
    """The body as text; a password that somebody typed stays out of the log."""
    text = body.decode("utf-8", "backslashreplace")
    if path not in (LOGIN_PATH, SAML_PATH):
        return text
    fields = urllib.parse.parse_qsl(text, keep_blank_values=True)
    return urllib.parse.urlencode(
        [(name, "***" if name == "password" else value) for name, value in fields], safe="*"
    )
