"""The identity provider behind the gateway: a login page, the check of the credentials, and the way back.

A sign-in that was started is known by a flow number in the page's address; it can be completed once.
"""

import collections
import hmac
import html
import secrets
import threading
import urllib.parse

from answer import Answer, page, redirect

LOGIN_PATH = "/idp/login"
_MOST_FLOWS = 1_000


class IdentityProvider:
    def __init__(self) -> None:
        self._lock = threading.Lock()
        self._realms: collections.OrderedDict[str, str] = collections.OrderedDict()  # by flow

    def start(self, query: str) -> Answer:
        """Answers "/remote/saml/start": begins a sign-in and sends the browser to the login page."""
        fields = urllib.parse.parse_qs(query)
        if fields.get("redirect") != ["1"]:
            return _refusal(400, "This sign-in was not started by a client.")
        flow = secrets.token_urlsafe(16)
        with self._lock:
            self._realms[flow] = fields.get("realm", [""])[0]
            if len(self._realms) > _MOST_FLOWS:
                self._realms.popitem(last=False)
        return redirect(f"{LOGIN_PATH}?flow={flow}")

    def show_login(self, query: str) -> Answer:
        flow = _flow_of(query)
        realm = self._realm(flow)
        if realm is None:
            return _refusal(410, "This sign-in has expired. Start it again from your client.")
        return _login_page(200, flow, realm)

    def check_login(self, query: str, body: bytes, settings: dict) -> Answer:
        """Good credentials end the flow and send the browser, with a fresh id, to the client's listener."""
        flow = _flow_of(query)
        realm = self._realm(flow)
        if realm is None:
            return _refusal(410, "This sign-in has expired. Start it again from your client.")
        fields = urllib.parse.parse_qs(body.decode("utf-8", "replace"), keep_blank_values=True)
        user = fields.get("username", [""])[0]
        password = fields.get("password", [""])[0]
        expected = settings["users"].get(user)
        if expected is None or not hmac.compare_digest(expected.encode(), password.encode()):
            return _login_page(401, flow, realm, user, "The user name or the password is wrong.")
        with self._lock:
            if self._realms.pop(flow, None) is None:
                return _refusal(410, "This sign-in has been completed already.")
        authentication_id = secrets.token_urlsafe(32)
        answer = redirect(f"http://127.0.0.1:{settings['sso_port']}/?id={authentication_id}")
        answer.id_issued = authentication_id
        return answer

    def _realm(self, flow: str) -> str | None:
        with self._lock:
            return self._realms.get(flow)


def _flow_of(query: str) -> str:
    return urllib.parse.parse_qs(query).get("flow", [""])[0]


def _login_page(status: int, flow: str, realm: str, user: str = "", error: str = "") -> Answer:
    return page(
        status,
        "login.html",
        action=html.escape(f"{LOGIN_PATH}?flow={flow}"),
        realm=f'<p class="realm">Realm <b>{html.escape(realm)}</b></p>' if realm else "",
        user=html.escape(user),
        error=f'<p class="error" role="alert">{html.escape(error)}</p>' if error else "",
    )


def _refusal(status: int, text: str) -> Answer:
    return page(status, "refusal.html", text=html.escape(text))
