"""The gateway's certificate: wrong on purpose in every way that a client may meet.

It is signed by itself, names another host, and expired a year ago. The private key reaches the disk only
because the ssl module loads keys from files; the folder is gone again before the first connection is
accepted.
"""

import datetime
import pathlib
import ssl
import tempfile

from cryptography import x509
from cryptography.hazmat.primitives import hashes, serialization
from cryptography.hazmat.primitives.asymmetric import ec
from cryptography.x509.oid import NameOID

COMMON_NAME = "somewhere-else.invalid"


def make_pem() -> tuple[bytes, bytes]:
    """Returns a new certificate and its private key, both as PEM."""
    key = ec.generate_private_key(ec.SECP256R1())
    name = x509.Name([x509.NameAttribute(NameOID.COMMON_NAME, COMMON_NAME)])
    now = datetime.datetime.now(datetime.timezone.utc)
    certificate = (
        x509.CertificateBuilder()
        .subject_name(name)
        .issuer_name(name)
        .public_key(key.public_key())
        .serial_number(x509.random_serial_number())
        .not_valid_before(now - datetime.timedelta(days=730))
        .not_valid_after(now - datetime.timedelta(days=365))
        .add_extension(x509.SubjectAlternativeName([x509.DNSName(COMMON_NAME)]), critical=False)
        .add_extension(x509.BasicConstraints(ca=True, path_length=0), critical=True)
        .sign(key, hashes.SHA256())
    )
    key_pem = key.private_bytes(
        serialization.Encoding.PEM, serialization.PrivateFormat.PKCS8, serialization.NoEncryption()
    )
    return certificate.public_bytes(serialization.Encoding.PEM), key_pem


def make_contexts() -> dict[str, ssl.SSLContext]:
    """Returns one TLS context for each way to treat client certificates: "none", "optional", "required"."""
    modes = {"none": ssl.CERT_NONE, "optional": ssl.CERT_OPTIONAL, "required": ssl.CERT_REQUIRED}
    contexts = {}
    certificate_pem, key_pem = make_pem()
    with tempfile.TemporaryDirectory(prefix="zelto-gateway-") as folder:
        chain = pathlib.Path(folder, "gateway.pem")
        chain.touch(mode=0o600)
        chain.write_bytes(certificate_pem + key_pem)
        for name, mode in modes.items():
            context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
            context.load_cert_chain(chain)
            context.load_verify_locations(cadata=certificate_pem.decode("ascii"))
            context.verify_mode = mode
            contexts[name] = context
    return contexts
