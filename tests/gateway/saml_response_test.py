import base64
import re
import urllib.parse
import xml.etree.ElementTree as ElementTree

from gateway_process import GatewayTestCase

USER = "alice"
PASSWORD = "Open+Sesame & 1"
FORM = ("Content-Type: application/x-www-form-urlencoded",)


class SamlEndpoint(GatewayTestCase):
    def post(self, user: str, password: str):
        body = urllib.parse.urlencode({"username": user, "password": password}).encode()
        return self.gateway.request("POST", "/idp/saml", body, FORM)

    def response_in(self, answer) -> str:
        return re.search(r'name="SAMLResponse" value="([^"]*)"', answer.body.decode())[1]

    def test_good_credentials_give_the_response_that_is_on_record(self):
        answer = self.post(USER, PASSWORD)
        self.assertEqual(answer.status, 200)
        response = self.response_in(answer)
        self.assertEqual(self.gateway.ids(), [response])
        self.assertEqual(self.gateway.log()[0]["id_issued"], response)
        document = ElementTree.fromstring(base64.b64decode(response, validate=True))
        self.assertTrue(document.tag.endswith("}Response"))
        self.assertEqual([node.text for node in document.iter() if node.tag.endswith("}NameID")], [USER])

    def test_every_response_is_fresh(self):
        self.assertEqual(len({self.response_in(self.post(USER, PASSWORD)) for _ in range(3)}), 3)

    def test_wrong_credentials_show_the_form_again_with_an_error(self):
        for user, password in ((USER, "wrong"), (USER, ""), ("bob", PASSWORD), ("", "")):
            answer = self.post(user, password)
            self.assertEqual(answer.status, 401)
            self.assertIn("The user name or the password is wrong.", answer.body.decode())
            self.assertNotIn("SAMLResponse", answer.body.decode())
        self.assertEqual(self.gateway.ids(), [])

    def test_a_browser_gets_a_form_that_posts_to_the_same_address(self):
        answer = self.gateway.get("/idp/saml")
        self.assertEqual(answer.status, 200)
        self.assertIn('action="/idp/saml"', answer.body.decode())

    def test_user_name_is_escaped_in_page_and_response(self):
        self.gateway.set(users={"<b>&": "x"})
        answer = self.post("<b>&", "x")
        self.assertIn("signed in as &lt;b&gt;&amp;.", answer.body.decode())
        self.assertIn(b"<saml:NameID>&lt;b&gt;&amp;<", base64.b64decode(self.response_in(answer)))

    def test_password_stays_out_of_the_log(self):
        self.post(USER, PASSWORD)
        self.assertEqual(self.gateway.log()[0]["body"], "username=alice&password=***")

    def test_other_methods_are_refused(self):
        self.assertEqual(self.gateway.request("PUT", "/idp/saml").status, 405)
