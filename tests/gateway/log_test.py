import datetime
import json
import urllib.parse

from gateway_process import GatewayTestCase


class Log(GatewayTestCase):
    def test_request_is_recorded_whole(self):
        with self.gateway.connect() as tls:
            tls.sendall(
                b"POST /remote/info?x=1 HTTP/1.1\r\nHost: gw\r\nX-Twice: a\r\nx-other: \xe4\r\n"
                b"X-Twice: b\r\nContent-Length: 6\r\n\r\nb\xc3\xb6dy\xff"
            )
            tls.recv(65_536)
            client_port = tls.getsockname()[1]
        (record,) = self.gateway.log()
        age = datetime.datetime.now(datetime.timezone.utc) - datetime.datetime.fromisoformat(
            record.pop("time")
        )
        self.assertLess(abs(age.total_seconds()), 60)
        self.assertEqual(
            record,
            {
                "event": "request",
                "method": "POST",
                "path": "/remote/info?x=1",
                "headers": {"Host": "gw", "X-Twice": "a, b", "x-other": "ä", "Content-Length": "6"},
                "body": "bödy\\xff",
                "status": 405,
                "client_port": client_port,
                "tls": "TLSv1.3",
                "client_certificate": False,
                "fault": None,
                "id_issued": None,
            },
        )

    def test_password_stays_out(self):
        self.gateway.set(users={"bob": "secret&word"})
        address = self.gateway.get("/remote/saml/start?redirect=1").headers["Location"]
        self.gateway.request(
            "POST", address, urllib.parse.urlencode({"username": "bob", "password": "secret&word"}).encode()
        )
        record = self.gateway.log()[-1]
        self.assertEqual(record["body"], "username=bob&password=***")
        self.assertEqual(record["id_issued"], self.gateway.ids()[0])
        self.assertNotIn("secret", self.gateway.log_file.read_text())

    def test_what_is_no_request_is_recorded_as_a_connection(self):
        with self.gateway.connect() as tls:
            tls.sendall(b"nonsense\r\n\r\n")
            self.assertEqual(tls.recv(4096), b"")
        self.assertEqual(self.gateway.log()[0]["event"], "connection")
        self.assertIn("nonsense", self.gateway.log()[0]["error"])

    def test_connection_without_a_request_leaves_no_record(self):
        self.gateway.connect().close()
        self.gateway.get("/remote/info")
        self.assertEqual([record["event"] for record in self.gateway.log()], ["request"])

    def test_file_keeps_what_a_reset_forgets(self):
        self.gateway.get("/before")
        self.gateway.control("POST", "/reset")
        self.gateway.get("/after")
        lines = [json.loads(line) for line in self.gateway.log_file.read_text().splitlines()]
        self.assertEqual(
            [line.get("path", line["event"]) for line in lines[-3:]], ["/before", "reset", "/after"]
        )
        self.assertEqual([record["path"] for record in self.gateway.log()], ["/after"])
