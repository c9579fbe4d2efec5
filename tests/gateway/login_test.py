import re
import urllib.parse

from gateway_process import GatewayTestCase

USER = "alice"
PASSWORD = "Open+Sesame & 1"


class Login(GatewayTestCase):
    def login_address(self, query: str = "redirect=1") -> str:
        answer = self.gateway.get(f"/remote/saml/start?{query}")
        self.assertEqual(answer.status, 302)
        return answer.headers["Location"]

    def post(self, address: str, user: str, password: str):
        body = urllib.parse.urlencode({"username": user, "password": password}).encode()
        return self.gateway.request(
            "POST", address, body, ("Content-Type: application/x-www-form-urlencoded",)
        )

    def test_start_leads_to_a_form_that_posts_to_itself(self):
        address = self.login_address()
        page = self.gateway.get(address)
        self.assertEqual(page.status, 200)
        text = page.body.decode()
        self.assertIn(f'action="{address}"', text)
        self.assertEqual(re.findall(r'<input[^>]* name="(\w+)"', text), ["username", "password"])
        self.assertNotIn("http://", text)
        self.assertNotIn("Realm", text)

    def test_good_credentials_lead_to_the_listener_with_an_id(self):
        answer = self.post(self.login_address(), USER, PASSWORD)
        self.assertEqual(answer.status, 302)
        issued = self.gateway.ids()
        self.assertEqual(len(issued), 1)
        port = self.gateway.ready["sso_port"]
        self.assertEqual(answer.headers["Location"], f"http://127.0.0.1:{port}/?id={issued[0]}")
        self.assertRegex(issued[0], r"^[A-Za-z0-9_-]{43}$")

    def test_every_id_is_fresh(self):
        for _ in range(3):
            self.post(self.login_address(), USER, PASSWORD)
        self.assertEqual(len(set(self.gateway.ids())), 3)

    def test_wrong_password_shows_the_form_again_with_an_error(self):
        address = self.login_address()
        for user, password in ((USER, "wrong"), (USER, ""), ("bob", PASSWORD), ("", "")):
            answer = self.post(address, user, password)
            self.assertEqual(answer.status, 401)
            self.assertIn("The user name or the password is wrong.", answer.body.decode())
            self.assertIn(f'value="{user}"', answer.body.decode())
        self.assertEqual(self.gateway.ids(), [])
        self.assertEqual(self.post(address, USER, PASSWORD).status, 302, "the same sign-in can still succeed")

    def test_realm_is_shown_and_escaped(self):
        address = self.login_address("redirect=1&realm=" + urllib.parse.quote('<b>"sales"'))
        self.assertIn("&lt;b&gt;&quot;sales&quot;", self.gateway.get(address).body.decode())

    def test_user_name_is_escaped_when_shown_again(self):
        answer = self.post(self.login_address(), '"><script>', "x")
        self.assertIn('value="&quot;&gt;&lt;script&gt;"', answer.body.decode())

    def test_a_sign_in_is_completed_once(self):
        address = self.login_address()
        self.assertEqual(self.post(address, USER, PASSWORD).status, 302)
        self.assertEqual(self.post(address, USER, PASSWORD).status, 410)
        self.assertEqual(len(self.gateway.ids()), 1)

    def test_unknown_sign_in_is_refused(self):
        self.assertEqual(self.gateway.get("/idp/login?flow=none").status, 410)
        self.assertEqual(self.post("/idp/login?flow=none", USER, PASSWORD).status, 410)
        self.assertEqual(self.gateway.ids(), [])

    def test_start_without_redirect_is_refused(self):
        self.assertEqual(self.gateway.get("/remote/saml/start").status, 400)
        self.assertEqual(self.gateway.get("/remote/saml/start?redirect=0").status, 400)

    def test_users_follow_the_settings(self):
        self.gateway.set(users={"bob": "päss wörd"})
        self.assertEqual(self.post(self.login_address(), USER, PASSWORD).status, 401)
        self.assertEqual(self.post(self.login_address(), "bob", "päss wörd").status, 302)
