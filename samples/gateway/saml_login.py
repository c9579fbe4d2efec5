"""The answer to "/saml_login?": the page that sends a client's browser to the start of an IPsec sign-in."""

import urllib.parse

from answer import Answer, page
from identity_provider import IdentityProvider


def saml_login(provider: IdentityProvider, host: str, body: bytes, settings: dict) -> Answer:
    """Begins a sign-in whose browser will be sent to the port that the form names."""
    fields = urllib.parse.parse_qs(body.decode("utf-8", "replace"), keep_blank_values=True)
    port = fields.get("REDIRECT_PORT", [""])[0]
    if "UID" not in fields or not port.isdecimal() or not 0 < int(port) < 65_536:
        return page(400, "refusal.html", text="This sign-in was not started by a client.")
    address = settings["start_address"]
    if address is None:
        address = f"https://{host}{provider.start_ipsec(int(port))}"
    return Answer(200, answer_text(address, settings["fault"]).encode())


def answer_text(address: str, fault: str | None) -> str:
    line = f'window.location="{address}";'
    if fault == "no_marker":
        line = f"window.open('{address}');"
    elif fault == "no_closing_quote":
        line = f'window.location="{address};'
    elif fault == "empty_address":
        line = 'window.location="";'
    # No other double quote stands behind the address: without its own one, none closes it.
    return f"<!DOCTYPE html>\n<html lang='en'>\n<script>{line}</script>\n</html>\n"
