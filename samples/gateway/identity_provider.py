"""The identity provider behind the gateway: a login page, the check of the credentials, and the way back.

A sign-in that was started is known by a flow number in the page's address; it can be completed once.
"""

import collections
import dataclasses
import hmac
import html
import secrets
import threading
import urllib.parse

from answer import Answer, page, redirect

LOGIN_PATH = "/idp/login"
WRONG_CREDENTIALS = "The user name or the password is wrong."
_MOST_FLOWS = 1_000


@dataclasses.dataclass
class Flow:
    """A sign-in that was started."""

    realm: str = ""
    port: int | None = None  # of the client's listener; None: the settings' sso_port
    ipsec: bool = False  # the redirect carries a token id and the user name


class IdentityProvider:
    def __init__(self) -> None:
        self._lock = threading.Lock()
        self._flows: collections.OrderedDict[str, Flow] = collections.OrderedDict()

    def start(self, query: str) -> Answer:
        """Answers "/remote/saml/start": begins a sign-in and sends the browser to the login page."""
        fields = urllib.parse.parse_qs(query)
        if fields.get("redirect") != ["1"]:
            return _refusal(400, "This sign-in was not started by a client.")
        port = fields.get("redirport", [None])[0]
        if port is not None and not (port.isdecimal() and 0 < int(port) < 65_536):
            return _refusal(400, "This sign-in was started with a port that is none.")
        realm = fields.get("realm", [""])[0]
        return redirect(self._begin(Flow(realm, int(port) if port is not None else None)))

    def start_ipsec(self, port: int) -> str:
        """Begins a sign-in for an IPsec tunnel; returns its login page, without the host."""
        return self._begin(Flow(port=port, ipsec=True))

    def _begin(self, flow: Flow) -> str:
        number = secrets.token_urlsafe(16)
        with self._lock:
            self._flows[number] = flow
            if len(self._flows) > _MOST_FLOWS:
                self._flows.popitem(last=False)
        return _address(number)

    def show_login(self, query: str) -> Answer:
        number = _number_of(query)
        flow = self._flow(number)
        if flow is None:
            return _refusal(410, "This sign-in has expired. Start it again from your client.")
        return login_page(200, _address(number), flow.realm)

    def check_login(self, query: str, body: bytes, settings: dict) -> Answer:
        """Good credentials end the flow and send the browser, with a fresh id, to the client's listener."""
        number = _number_of(query)
        flow = self._flow(number)
        if flow is None:
            return _refusal(410, "This sign-in has expired. Start it again from your client.")
        user, right = credentials_of(body, settings)
        if not right:
            return login_page(401, _address(number), flow.realm, user, WRONG_CREDENTIALS)
        with self._lock:
            if self._flows.pop(number, None) is None:
                return _refusal(410, "This sign-in has been completed already.")
        authentication_id = secrets.token_urlsafe(32)
        port = settings["sso_port"] if flow.port is None else flow.port
        answer = redirect(f"http://127.0.0.1:{port}/?{_redirect_query(flow, authentication_id, user, settings)}")
        answer.id_issued = authentication_id
        return answer

    def _flow(self, number: str) -> Flow | None:
        with self._lock:
            return self._flows.get(number)


def _number_of(query: str) -> str:
    return urllib.parse.parse_qs(query).get("flow", [""])[0]


def _redirect_query(flow: Flow, authentication_id: str, user: str, settings: dict) -> str:
    if not flow.ipsec:
        return f"id={authentication_id}"
    return f"tokenid={authentication_id}&username={_encoded(user, settings['username_encoding'])}"


def _encoded(user: str, encoding: str) -> str:
    if encoding == "every_byte":
        return "".join(f"%{byte:02x}" for byte in user.encode())
    return urllib.parse.quote(user, safe="")


def _address(number: str) -> str:
    return f"{LOGIN_PATH}?flow={number}"


def credentials_of(body: bytes, settings: dict) -> tuple[str, bool]:
    """The user name in a posted login form, and whether the password in it is his."""
    fields = urllib.parse.parse_qs(body.decode("utf-8", "replace"), keep_blank_values=True)
    user = fields.get("username", [""])[0]
    password = fields.get("password", [""])[0]
    expected = settings["users"].get(user)
    return user, expected is not None and hmac.compare_digest(expected.encode(), password.encode())


def login_page(status: int, address: str, realm: str = "", user: str = "", error: str = "") -> Answer:
    """The form, which posts to this address."""
    return page(
        status,
        "login.html",
        action=html.escape(address),
        realm=f'<p class="realm">Realm <b>{html.escape(realm)}</b></p>' if realm else "",
        user=html.escape(user),
        error=f'<p class="error" role="alert">{html.escape(error)}</p>' if error else "",
    )


def _refusal(status: int, text: str) -> Answer:
    return page(status, "refusal.html", text=html.escape(text))
