"""What the gateway can be told, at start and while it runs."""

import base64
import binascii
import threading

FAULTS = (
    "no_sso_port",  # the attribute is left out of the "/remote/info" answer
    "no_marker",  # the "/saml_login" answer names its page in another way
    "no_closing_quote",  # nothing ends the page's address in the "/saml_login" answer
    "empty_address",  # the page's address in the "/saml_login" answer is empty
    "silent",  # accepts, then never answers (stage)
    "slow",  # answers after delay_ms; first_bytes of the body go out before the pause
    "oversized",  # the body is padded to size bytes (padding)
    "zero_byte",  # a zero byte stands at index position of the body
    "reset",  # the connection is reset (stage)
    "bad_handshake",  # what follows the client's greeting is no TLS handshake (handshake)
    "status",  # answers with status and body
    "client_certificate",  # asks for a client certificate during the handshake (certificate)
    "raw_body",  # status and a body given in base64
    "raw_answer",  # a whole answer, head included, given in base64
)

# Connection faults come before any request is read, so that fault_path cannot apply to them.
CONNECTION_FAULTS = ("bad_handshake", "client_certificate")

_TEXT_OR_NUMBER = (int, str)
_CHOICES = {
    "fault": (None, *FAULTS),
    "stage": ("handshake", "request", "answer"),
    "handshake": ("garbage", "alert", "close"),
    "certificate": ("optional", "required"),
    "padding": ("before", "after"),
    "username_encoding": ("reserved", "every_byte"),
    "tls_minimum": ("1.2", "1.3"),
    "tls_maximum": ("1.2", "1.3"),
}
_TYPES = {
    "sso_port": (*_TEXT_OR_NUMBER, type(None)),
    "remoteauthtimeout": (*_TEXT_OR_NUMBER, type(None)),
    "start_address": (str, type(None)),
    "users": (dict,),
    "fault_path": (str,),
    "delay_ms": (int,),
    "first_bytes": (int, type(None)),
    "size": (int,),
    "position": (int,),
    "status": (int, type(None)),
    "body": (str,),
}


def defaults(sso_port: int) -> dict:
    return {
        "sso_port": sso_port,
        "remoteauthtimeout": 60,
        "start_address": None,
        "username_encoding": "reserved",
        "users": {"alice": "Open+Sesame & 1"},
        "tls_minimum": "1.2",
        "tls_maximum": "1.3",
        "fault": None,
        "fault_path": "/remote/info",
        "stage": "request",
        "handshake": "garbage",
        "certificate": "required",
        "padding": "after",
        "delay_ms": 2000,
        "first_bytes": None,
        "size": 2000,
        "position": 10,
        "status": None,
        "body": "",
    }


class Settings:
    """The settings in force. Any thread may read or change them."""

    def __init__(self, sso_port: int, changes: dict | None = None):
        self._lock = threading.Lock()
        self._start = check({**defaults(sso_port), **(changes or {})})
        self._now = dict(self._start)

    def snapshot(self) -> dict:
        with self._lock:
            return dict(self._now)

    def merge(self, changes: dict) -> dict:
        """Changes the named settings, all or (ValueError) none, and returns what is then in force."""
        with self._lock:
            self._now = check({**self._now, **changes})
            return dict(self._now)

    def reset(self) -> None:
        """Goes back to the settings that the gateway was started with."""
        with self._lock:
            self._now = dict(self._start)


def check(settings: dict) -> dict:
    """Returns the settings; raises ValueError with a text for people when one of them cannot be meant."""
    for key, value in settings.items():
        if key in _CHOICES:
            if value not in _CHOICES[key]:
                raise ValueError(f"{key}: {value!r} is none of {', '.join(map(str, _CHOICES[key]))}")
        elif key not in _TYPES:
            raise ValueError(f"there is no setting named {key!r}")
        elif isinstance(value, bool) or not isinstance(value, _TYPES[key]):
            raise ValueError(f"{key}: {value!r} has the wrong type")
        elif isinstance(value, int) and value < 0:
            raise ValueError(f"{key}: {value} is negative")
    if not all(isinstance(part, str) for pair in settings["users"].items() for part in pair):
        raise ValueError("users: names and passwords are texts")
    if settings["tls_minimum"] > settings["tls_maximum"]:
        raise ValueError("tls_minimum is above tls_maximum")
    if settings["fault"] in ("raw_body", "raw_answer"):
        try:
            base64.b64decode(settings["body"], validate=True)
        except (binascii.Error, ValueError):
            raise ValueError(f"body: the fault {settings['fault']} wants it in base64") from None
    return settings
