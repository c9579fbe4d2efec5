"""The SAML endpoint: one address that takes user name and password and gives a SAML response in a page.

Clients that show a login form of their own post to it directly; a browser gets the login page from it.
"""

import base64
import datetime
import html
import secrets

from answer import Answer, page
from identity_provider import WRONG_CREDENTIALS, credentials_of, login_page

SAML_PATH = "/idp/saml"


def show_saml_login() -> Answer:
    return login_page(200, SAML_PATH)


def check_saml_login(body: bytes, settings: dict) -> Answer:
    """Good credentials lead to a page with a fresh response in a hidden field."""
    user, right = credentials_of(body, settings)
    if not right:
        return login_page(401, SAML_PATH, user=user, error=WRONG_CREDENTIALS)
    response = new_response(user)
    answer = page(200, "saml_response.html", user=html.escape(user), response=html.escape(response))
    answer.id_issued = response
    return answer


def new_response(user: str) -> str:
    """A response as SAML has them, without a signature, in base64; 256 random bits make it fresh."""
    now = datetime.datetime.now(datetime.timezone.utc).strftime("%Y-%m-%dT%H:%M:%SZ")
    text = (
        '<samlp:Response xmlns:samlp="urn:oasis:names:tc:SAML:2.0:protocol"'
        ' xmlns:saml="urn:oasis:names:tc:SAML:2.0:assertion"'
        f' ID="_{secrets.token_hex(32)}" Version="2.0" IssueInstant="{now}">'
        "<saml:Issuer>simulated-gateway</saml:Issuer>"
        '<samlp:Status><samlp:StatusCode Value="urn:oasis:names:tc:SAML:2.0:status:Success"/></samlp:Status>'
        f"<saml:Assertion><saml:Subject><saml:NameID>{html.escape(user)}</saml:NameID></saml:Subject>"
        "</saml:Assertion></samlp:Response>"
    )
    return base64.b64encode(text.encode()).decode("ascii")
