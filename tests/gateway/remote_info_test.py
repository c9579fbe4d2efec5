import re
import socket
import ssl

from cryptography import x509
from cryptography.hazmat.primitives import serialization
from cryptography.hazmat.primitives.asymmetric import ec

from gateway_process import GatewayProcess, GatewayTestCase, read_all


def attribute(body: bytes, name: str) -> str | None:
    found = re.search(f" {name}='([^']*)'", body.decode())
    return found[1] if found else None


class RemoteInfo(GatewayTestCase):
    def test_names_port_and_time_out(self):
        answer = self.gateway.get("/remote/info")
        self.assertEqual(answer.status, 200)
        self.assertEqual(attribute(answer.body, "sso_port"), str(self.gateway.ready["sso_port"]))
        self.assertEqual(attribute(answer.body, "remoteauthtimeout"), "60")
        self.assertGreater(len(re.findall(rb"\w+='", answer.body)), 6, "plausible other attributes")

    def test_fits_what_a_client_reads(self):
        self.assertLess(len(self.gateway.get("/remote/info").body), 1024)

    def test_attributes_are_those_set_to_the_letter(self):
        self.gateway.set(sso_port="9x", remoteauthtimeout=4294967295)
        body = self.gateway.get("/remote/info").body
        self.assertEqual(attribute(body, "sso_port"), "9x")
        self.assertEqual(attribute(body, "remoteauthtimeout"), "4294967295")

    def test_null_leaves_an_attribute_out(self):
        self.gateway.set(remoteauthtimeout=None)
        body = self.gateway.get("/remote/info").body
        self.assertIsNone(attribute(body, "remoteauthtimeout"))
        self.assertIsNotNone(attribute(body, "sso_port"))

    def test_comes_in_one_piece(self):
        """A client that reads once gets the whole body: head and body are one TLS record."""
        with self.gateway.connect() as tls:
            tls.sendall(b"GET /remote/info HTTP/1.1\r\nHost: gateway\r\n\r\n")
            first = tls.recv(65_536)
            self.assertIn(b"</info>", first)
            self.assertEqual(read_all(tls), b"")

    def test_other_methods_and_addresses_are_refused(self):
        self.assertEqual(self.gateway.request("PUT", "/remote/info").status, 405)
        self.assertEqual(self.gateway.get("/nothing").status, 404)


class Certificate(GatewayTestCase):
    def certificate(self) -> x509.Certificate:
        with self.gateway.connect() as tls:
            return x509.load_der_x509_certificate(tls.getpeercert(binary_form=True))

    def test_is_self_signed_and_for_another_name(self):
        certificate = self.certificate()
        self.assertEqual(certificate.issuer, certificate.subject)
        certificate.public_key().verify(
            certificate.signature,
            certificate.tbs_certificate_bytes,
            ec.ECDSA(certificate.signature_hash_algorithm),
        )
        names = certificate.extensions.get_extension_for_class(x509.SubjectAlternativeName).value
        self.assertEqual(names.get_values_for_type(x509.DNSName), ["somewhere-else.invalid"])
        self.assertEqual(names.get_values_for_type(x509.IPAddress), [])

    def test_is_refused_as_expired_even_by_who_trusts_it(self):
        certificate = self.certificate()
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_CLIENT)
        context.load_verify_locations(cadata=certificate.public_bytes(serialization.Encoding.PEM).decode())
        with socket.create_connection(("127.0.0.1", self.gateway.ready["port"])) as connection:
            with self.assertRaisesRegex(ssl.SSLCertVerificationError, "expired"):
                context.wrap_socket(connection, server_hostname="somewhere-else.invalid")

    def test_is_fresh_at_each_start(self):
        other = GatewayProcess()
        with other.connect() as tls:
            der = tls.getpeercert(binary_form=True)
        self.assertEqual(other.stop(), 0)
        self.assertNotEqual(
            x509.load_der_x509_certificate(der).serial_number, self.certificate().serial_number
        )

    def test_tls_versions_follow_the_settings(self):
        with self.gateway.connect() as tls:
            self.assertEqual(tls.version(), "TLSv1.3")
        self.gateway.set(tls_maximum="1.2")
        with self.gateway.connect() as tls:
            self.assertEqual(tls.version(), "TLSv1.2")
        self.gateway.set(tls_minimum="1.3", tls_maximum="1.3")
        with self.assertRaises(ssl.SSLError):
            self.gateway.connect(maximum_version=ssl.TLSVersion.TLSv1_2)
