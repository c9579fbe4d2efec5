import json
import socket

from gateway_process import GatewayTestCase


class Control(GatewayTestCase):
    def test_settings_are_merged_and_shown(self):
        status, text = self.gateway.control("POST", "/settings", {"remoteauthtimeout": 5})
        self.assertEqual(status, 200)
        shown = json.loads(self.gateway.control("GET", "/settings")[1])
        self.assertEqual(json.loads(text), shown)
        self.assertEqual(shown["remoteauthtimeout"], 5)
        self.assertEqual(shown["sso_port"], self.gateway.ready["sso_port"])

    def test_reset_restores_settings_and_forgets_log_and_ids(self):
        before = self.gateway.control("GET", "/settings")
        self.gateway.set(remoteauthtimeout=5, fault="status", users={})
        self.gateway.get("/remote/info")
        self.assertEqual(self.gateway.control("POST", "/reset"), before)
        self.assertEqual(self.gateway.control("GET", "/settings"), before)
        self.assertEqual(self.gateway.log(), [])

    def test_nonsense_is_refused_and_changes_nothing(self):
        before = self.gateway.control("GET", "/settings")
        for nonsense, text in (
            ({"remoteauthtimeout": 5, "fualt": "slow"}, "there is no setting named 'fualt'"),
            ({"remoteauthtimeout": 5, "fault": "unheard_of"}, "'unheard_of' is none of"),
            ({"delay_ms": "much"}, "wrong type"),
            ({"delay_ms": True}, "wrong type"),
            ({"delay_ms": -1}, "negative"),
            ({"users": {"bob": 1}}, "texts"),
            ({"fault": "raw_body", "body": "***"}, "base64"),
            ({"tls_minimum": "1.3", "tls_maximum": "1.2"}, "above"),
            (["fault"], "one JSON object"),
        ):
            with self.subTest(text):
                status, answer = self.gateway.control("POST", "/settings", nonsense)
                self.assertEqual(status, 400)
                self.assertIn(text, answer.decode())
        self.assertEqual(self.gateway.control("GET", "/settings"), before)

    def test_what_is_no_json_is_refused(self):
        with socket.create_connection(("127.0.0.1", self.gateway.ready["control_port"])) as connection:
            connection.sendall(b"POST /settings HTTP/1.1\r\nContent-Length: 3\r\n\r\n{{{")
            self.assertTrue(connection.recv(4096).startswith(b"HTTP/1.1 400 "))

    def test_unknown_address_names_the_known_ones(self):
        status, text = self.gateway.control("GET", "/unknown")
        self.assertEqual(status, 404)
        self.assertIn(b"POST /reset", text)
