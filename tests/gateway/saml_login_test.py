import base64
import re
import time
import urllib.parse

from gateway_process import GatewayTestCase

FORM = ("Content-Type: application/x-www-form-urlencoded",)
USER = "alice"
PASSWORD = "Open+Sesame & 1"


class SamlLogin(GatewayTestCase):
    def ask(self, body: bytes = b"UID=0123-abcd&REDIRECT_PORT=51000"):
        return self.gateway.request("POST", "/saml_login?", body, FORM)

    def address(self) -> str:
        return re.search(rb'window\.location="([^"]*)"', self.ask().body)[1].decode()

    def sign_in(self, user: str = USER, password: str = PASSWORD) -> str:
        """Returns where the browser is sent in the end."""
        target = self.address().removeprefix("https://gateway")
        body = urllib.parse.urlencode({"username": user, "password": password}).encode()
        return self.gateway.request("POST", target, body, FORM).headers["Location"]

    def test_answer_leads_to_the_login_page(self):
        answer = self.ask()
        self.assertEqual(answer.status, 200)
        self.assertLess(len(answer.body), 1024)
        address = self.address()
        self.assertTrue(address.startswith("https://gateway/idp/login?flow="), address)
        self.assertEqual(self.gateway.get(address.removeprefix("https://gateway")).status, 200)

    def test_good_credentials_lead_to_the_listener_with_token_and_name(self):
        location = self.sign_in()
        issued = self.gateway.ids()
        self.assertEqual(len(issued), 1)
        self.assertEqual(location, f"http://127.0.0.1:51000/?tokenid={issued[0]}&username=alice")

    def test_request_is_logged_with_its_body(self):
        self.ask()
        record = self.gateway.log()[0]
        self.assertEqual((record["method"], record["path"]), ("POST", "/saml_login?"))
        self.assertEqual(record["body"], "UID=0123-abcd&REDIRECT_PORT=51000")

    def test_form_without_a_user_id_or_a_port_is_refused(self):
        for body in (
            b"",
            b"UID=1",
            b"REDIRECT_PORT=51000",
            b"UID=1&REDIRECT_PORT=",
            b"UID=1&REDIRECT_PORT=0",
            b"UID=1&REDIRECT_PORT=65536",
            b"UID=1&REDIRECT_PORT=x",
        ):
            with self.subTest(body):
                self.assertEqual(self.ask(body).status, 400)

    def test_another_method_is_refused(self):
        self.assertEqual(self.gateway.get("/saml_login?").status, 405)

    def test_user_names_that_are_not_ascii(self):
        self.gateway.set(users={"jörg 日本": "x"})
        self.assertTrue(self.sign_in("jörg 日本", "x").endswith("&username=j%C3%B6rg%20%E6%97%A5%E6%9C%AC"))

    def test_every_byte_encoded(self):
        self.gateway.set(username_encoding="every_byte", users={"a+ü": "x"})
        self.assertTrue(self.sign_in("a+ü", "x").endswith("&username=%61%2b%c3%bc"))

    def test_no_marker(self):
        self.gateway.set(fault="no_marker")
        body = self.ask().body
        self.assertNotIn(b"window.location", body)
        self.assertIn(b"https://gateway/idp/login?flow=", body)

    def test_no_closing_quote(self):
        self.gateway.set(fault="no_closing_quote")
        self.assertEqual(self.ask().body.count(b'"'), 1)

    def test_empty_address(self):
        self.gateway.set(fault="empty_address")
        self.assertIn(b'window.location="";', self.ask().body)

    def test_address_as_told(self):
        self.gateway.set(start_address="https://gw/ü?a=b&c=%41")
        self.assertEqual(self.address(), "https://gw/ü?a=b&c=%41")

    def test_slow(self):
        self.gateway.set(fault="slow", fault_path="/saml_login", delay_ms=500)
        started = time.monotonic()
        self.assertEqual(self.ask().status, 200)
        self.assertGreaterEqual(time.monotonic() - started, 0.5)

    def test_marker_before_and_after_the_first_1024_bytes(self):
        self.gateway.set(fault="oversized", fault_path="/saml_login", size=4000)
        self.assertLess(self.ask().body.index(b"window.location"), 1024)
        self.gateway.set(padding="before")
        self.assertGreater(self.ask().body.index(b"window.location"), 1024)

    def test_body_as_told(self):
        body = base64.b64encode(b'window.location="\xff"').decode()
        self.gateway.set(fault="raw_body", fault_path="/saml_login", body=body)
        self.assertEqual(self.ask().body, b'window.location="\xff"')


class RedirectPort(GatewayTestCase):
    """A browser that was started in another session says itself where it is to be sent."""

    def finish(self, query: str) -> str:
        address = self.gateway.get(f"/remote/saml/start?{query}").headers["Location"]
        body = urllib.parse.urlencode({"username": USER, "password": PASSWORD}).encode()
        return self.gateway.request("POST", address, body, FORM).headers["Location"]

    def test_browser_is_sent_to_the_port_of_its_start_address(self):
        location = self.finish("realm=x&redirect=1&redirport=51000")
        self.assertEqual(location, f"http://127.0.0.1:51000/?id={self.gateway.ids()[0]}")

    def test_what_is_no_port_is_refused(self):
        for port in ("0", "65536", "x", "-1"):
            with self.subTest(port):
                answer = self.gateway.get(f"/remote/saml/start?redirect=1&redirport={port}")
                self.assertEqual(answer.status, 400)
