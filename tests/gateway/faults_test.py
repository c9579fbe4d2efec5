import base64
import select
import socket
import ssl
import time

from gateway_process import SECONDS, GatewayProcess, GatewayTestCase, read_all

REQUEST = b"GET /remote/info HTTP/1.1\r\nHost: gateway\r\n\r\n"


def silent_for(connection: socket.socket, seconds: float) -> bool:
    return not select.select([connection], [], [], seconds)[0]


def is_reset(connection: socket.socket, milliseconds: int = SECONDS * 1000) -> bool:
    """Waits for the error state that a reset, unlike an orderly end, puts the socket into."""
    poll = select.poll()
    poll.register(connection, 0)
    return any(event & select.POLLERR for _, event in poll.poll(milliseconds))


class AnswerFaults(GatewayTestCase):
    def test_no_sso_port(self):
        self.gateway.set(fault="no_sso_port")
        answer = self.gateway.get("/remote/info")
        self.assertEqual(answer.status, 200)
        self.assertNotIn(b"sso_port", answer.body)
        self.assertIn(b"remoteauthtimeout='60'", answer.body)

    def test_oversized_behind_and_before(self):
        self.gateway.set(fault="oversized", size=5000)
        body = self.gateway.get("/remote/info").body
        self.assertEqual(len(body), 5000)
        self.assertLess(body.index(b"sso_port"), 1024)
        self.gateway.set(padding="before")
        self.assertGreater(self.gateway.get("/remote/info").body.index(b"sso_port"), 1024)

    def test_zero_byte(self):
        whole = self.gateway.get("/remote/info").body
        self.gateway.set(fault="zero_byte", position=10)
        self.assertEqual(self.gateway.get("/remote/info").body, whole[:10] + b"\0" + whole[10:])

    def test_status_with_a_body(self):
        self.gateway.set(fault="status", body="sso_port='1'")
        answer = self.gateway.get("/remote/info")
        self.assertEqual((answer.status, answer.body), (503, b"sso_port='1'"))
        self.gateway.set(status=404)
        self.assertEqual(self.gateway.get("/remote/info").status, 404)

    def test_raw_body(self):
        self.gateway.set(fault="raw_body", body=base64.b64encode(bytes(range(256))).decode())
        answer = self.gateway.get("/remote/info")
        self.assertEqual((answer.status, answer.body), (200, bytes(range(256))))

    def test_raw_answer(self):
        self.gateway.set(fault="raw_answer", body=base64.b64encode(b"no HTTP at all").decode())
        with self.gateway.connect() as tls:
            tls.sendall(REQUEST)
            self.assertEqual(read_all(tls), b"no HTTP at all")

    def test_slow(self):
        self.gateway.set(fault="slow", delay_ms=700)
        started = time.monotonic()
        self.assertIn(b"</info>", self.gateway.get("/remote/info").body)
        self.assertGreaterEqual(time.monotonic() - started, 0.7)

    def test_slow_after_a_part_of_the_body(self):
        self.gateway.set(fault="slow", delay_ms=500, first_bytes=7)
        with self.gateway.connect() as tls:
            started = time.monotonic()
            tls.sendall(REQUEST)
            self.assertTrue(tls.recv(65_536).endswith(b"\r\n\r\n<?xml v"))
            self.assertTrue(read_all(tls).endswith(b"</info>\n"))
            self.assertGreaterEqual(time.monotonic() - started, 0.5)

    def test_fault_path_spares_the_others(self):
        self.gateway.set(fault="status", fault_path="/remote/saml/start")
        self.assertEqual(self.gateway.get("/remote/info").status, 200)
        self.assertEqual(self.gateway.get("/remote/saml/start?redirect=1").status, 503)
        self.gateway.set(fault_path="*")
        self.assertEqual(self.gateway.get("/remote/info").status, 503)


class ConnectionFaults(GatewayTestCase):
    def test_silent_after_the_request(self):
        self.gateway.set(fault="silent")
        with self.gateway.connect() as tls:
            tls.sendall(REQUEST)
            tls.setblocking(True)
            while not self.gateway.log():
                pass
            tls.setblocking(False)
            with self.assertRaises(ssl.SSLWantReadError):
                tls.recv(1)
        self.assertIsNone(self.gateway.log()[0]["status"])

    def test_silent_during_the_handshake(self):
        self.gateway.set(fault="silent", stage="handshake")
        with socket.create_connection(("127.0.0.1", self.gateway.ready["port"])) as connection:
            connection.settimeout(0.5)
            with self.assertRaises(TimeoutError):
                self.gateway.wrap(connection)

    def test_reset_during_the_handshake(self):
        self.gateway.set(fault="reset", stage="handshake")
        with self.assertRaises(ConnectionResetError):
            self.gateway.connect()

    def test_reset_after_the_request(self):
        self.gateway.set(fault="reset")
        with self.gateway.connect() as tls:
            tls.sendall(REQUEST)
            self.assertTrue(is_reset(tls))

    def test_reset_amid_the_answer(self):
        whole = self.gateway.get("/remote/info").data
        self.gateway.set(fault="reset", stage="answer")
        with self.gateway.connect() as tls:
            tls.sendall(REQUEST)
            part = tls.recv(65_536)
            self.assertTrue(is_reset(tls))
        self.assertTrue(whole.startswith(part))
        self.assertGreater(len(part), whole.index(b"<?xml"))
        self.assertLess(len(part), len(whole))

    def test_an_ordinary_answer_ends_without_a_reset(self):
        with self.gateway.connect() as tls:
            tls.sendall(REQUEST)
            read_all(tls)
            self.assertFalse(is_reset(tls, milliseconds=200))

    def test_bad_handshake_of_each_kind(self):
        for kind, text in (
            ("garbage", "wrong version number"),
            ("alert", "handshake failure"),
            ("close", "EOF"),
        ):
            with self.subTest(kind):
                self.gateway.set(fault="bad_handshake", handshake=kind)
                with self.assertRaisesRegex((ssl.SSLError, ConnectionResetError), f"(?i){text}"):
                    self.gateway.connect()

    def test_client_certificate_required(self):
        """The client has sent its request by the time it is refused; it gets to read why all the same."""
        self.gateway.set(fault="client_certificate")
        with self.gateway.connect() as tls:
            tls.sendall(REQUEST)
            while not self.gateway.log():
                pass
            with self.assertRaisesRegex(ssl.SSLError, "(?i)certificate required"):
                tls.recv(1)
        self.assertIn("did not return a certificate", self.gateway.log()[0]["error"])

    def test_client_certificate_required_in_tls_1_2_breaks_the_handshake(self):
        self.gateway.set(fault="client_certificate", tls_maximum="1.2")
        with self.assertRaisesRegex(ssl.SSLError, "(?i)handshake failure"):
            self.gateway.connect()

    def test_client_certificate_optional(self):
        self.gateway.set(fault="client_certificate", certificate="optional")
        self.assertEqual(self.gateway.get("/remote/info").status, 200)
        self.assertFalse(self.gateway.log()[0]["client_certificate"])


class FaultFromTheCommandLine(GatewayTestCase):
    @classmethod
    def setUpClass(cls) -> None:
        cls.gateway = GatewayProcess("--fault", "status", "--set", "status=404", "--set", "body=gone")

    def test_is_in_force_also_after_a_reset(self):
        answer = self.gateway.get("/remote/info")
        self.assertEqual((answer.status, answer.body), (404, b"gone"))


class ManyConnections(GatewayTestCase):
    def test_more_than_the_gateway_serves_at_once_wait_their_turn(self):
        self.gateway.set(fault="silent", stage="handshake")
        address = ("127.0.0.1", self.gateway.ready["port"])
        held = [socket.create_connection(address, SECONDS) for _ in range(64)]
        while len(self.gateway.log()) < 64:
            pass
        self.gateway.set(fault=None)
        waiting = socket.create_connection(address, SECONDS)
        waiting.settimeout(0.5)
        with self.assertRaises(TimeoutError):
            self.gateway.wrap(waiting)
        for connection in held:
            connection.close()
        self.assertEqual(self.gateway.get("/remote/info").status, 200)
