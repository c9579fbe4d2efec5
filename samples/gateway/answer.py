"""An HTTP answer as a record, and its bytes."""

import dataclasses
import http
import pathlib
import string

_FOLDER = pathlib.Path(__file__).parent


@dataclasses.dataclass
class Answer:
    status: int
    body: bytes = b""
    content_type: str = "text/html; charset=utf-8"
    headers: dict[str, str] = dataclasses.field(default_factory=dict)
    id_issued: str | None = None  # the authentication id that this answer hands out


def head_bytes(answer: Answer) -> bytes:
    """Every answer ends its connection, so that an idle browser holds no thread of the gateway."""
    try:
        reason = http.HTTPStatus(answer.status).phrase
    except ValueError:
        reason = "Unknown"
    headers = {
        "Content-Type": answer.content_type,
        "Content-Length": str(len(answer.body)),
        "Cache-Control": "no-store",
        "Connection": "close",
        **answer.headers,
    }
    lines = [f"HTTP/1.1 {answer.status} {reason}", *(f"{name}: {value}" for name, value in headers.items())]
    return ("\r\n".join(lines) + "\r\n\r\n").encode("latin-1")


def redirect(location: str) -> Answer:
    return Answer(302, headers={"Location": location})


def page(status: int, file_name: str, **texts: str) -> Answer:
    """Fills a page of this folder in. The texts go in as they are: escape what came from outside."""
    template = string.Template(_FOLDER.joinpath(file_name).read_text(encoding="utf-8"))
    policy = (
        "default-src 'none'; style-src 'unsafe-inline'; img-src data:; form-action 'self' http://127.0.0.1:*"
    )
    return Answer(status, template.substitute(texts).encode(), headers={"Content-Security-Policy": policy})
