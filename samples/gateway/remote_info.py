"""The answer to "/remote/info": what a client must know before it signs in."""

from answer import Answer


def remote_info(settings: dict) -> Answer:
    attributes = ["realms='1'", "methods='password,saml'"]
    if settings["sso_port"] is not None and settings["fault"] != "no_sso_port":
        attributes.append(f"sso_port='{settings['sso_port']}'")
    if settings["remoteauthtimeout"] is not None:
        attributes.append(f"remoteauthtimeout='{settings['remoteauthtimeout']}'")
    text = (
        "<?xml version='1.0' encoding='utf-8'?>\n"
        "<info>\n"
        "  <gateway name='sample' version='4.2.1' build='1187' />\n"
        f"  <signin {' '.join(attributes)} />\n"
        "  <tunnel dtls='1' keepalive='10' idletimeout='300' />\n"
        "</info>\n"
    )
    return Answer(200, text.encode(), "text/xml; charset=utf-8")
