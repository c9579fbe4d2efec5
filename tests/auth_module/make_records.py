"""Writes answers of the auth module as an implementation of its own makes them, sound and damaged ones.

Usage: make_records.py OUTPUT RECEIVER

One record a line, fields separated by blanks: name, the library's nRet for it, the plaintext in hex ("-": none), the bytes
of the block in hex. All are made for the receiver number RECEIVER.
"""

import base64
import hashlib
import sys

from cryptography.hazmat.primitives import padding
from cryptography.hazmat.primitives.ciphers import Cipher, algorithms, modes

BLOCK_SIZE = 65536
LARGEST = 49119  # bytes of plaintext whose record, in base64, leaves room for the terminating zero


def stream(seed, length):
    """Bytes that look random and are the same in every build."""
    out = b""
    while len(out) < length:
        out += hashlib.sha512(f"{seed} {len(out)}".encode()).digest()
    return out[:length]


def key_of(receiver):
    return hashlib.sha256(str(receiver).encode()).digest()[:16]


def cipher(receiver, iv):
    return Cipher(algorithms.AES(key_of(receiver)), modes.CBC(iv))


def encrypt(receiver, plaintext, seed, pad=None):
    """Initialisation vector and ciphertext; `pad` replaces the padding."""
    iv = stream(f"iv {seed}", 16)
    if pad is None:
        padder = padding.PKCS7(128).padder()
        padded = padder.update(plaintext) + padder.finalize()
    else:
        padded = plaintext + pad
    encryptor = cipher(receiver, iv).encryptor()
    return iv + encryptor.update(padded) + encryptor.finalize()


def last_padding_byte(receiver, record):
    decryptor = cipher(receiver, record[:16]).decryptor()
    return (decryptor.update(record[16:]) + decryptor.finalize())[-1]


def flip(record, position, bits=0x80):
    changed = bytearray(record)
    changed[position] ^= bits
    return bytes(changed)


def unpadded(receiver, records):
    """The first of `records` whose padding is wrong whichever way one checks it."""
    return next(record for record in records if last_padding_byte(receiver, record) > 16)


def sound(receiver):
    for length in list(range(65)) + [255, 256, 257, 4095, 4096, 4097, LARGEST - 16, LARGEST - 1, LARGEST]:
        plaintext = stream(f"text {length}", length)
        yield f"length_{length}", plaintext, base64.b64encode(encrypt(receiver, plaintext, length))


def unusual(receiver):
    """Records that are unusual and still deliver an answer."""
    text = b"RESPONSE\nServerIp:10.0.0.1\nOther:x" * 3
    record = encrypt(receiver, text, "unusual")
    encoded = base64.b64encode(record)
    lines = b"".join(encoded[i:i + 64] + b"\r\n" for i in range(0, len(encoded), 64))
    yield "in_lines_of_64", text, lines
    yield "with_a_line_end", text, encoded + b"\r\n"
    yield "garbage_behind_the_terminator", text, encoded + b"\0" + b"!" * 5000
    yield "changed_vector", bytes([text[0] ^ 0x80]) + text[1:], base64.b64encode(flip(record, 0))
    yield "zero_bytes_inside", b"a\0b\0", base64.b64encode(encrypt(receiver, b"a\0b\0", "zeros"))
    plaintext = stream("full", LARGEST)
    full = base64.b64encode(encrypt(receiver, plaintext, "full"))
    yield "all_bytes_of_the_block", plaintext, full + b"\r\n\r" + b"A"  # the last one is not read
    yield "all_bytes_but_one", plaintext, full + b"\r\n\r"


def damaged(receiver):
    text = b"RESPONSE\nServerIp:10.0.0.1\nOther:x" * 3
    record = encrypt(receiver, text, "damaged")
    encoded = base64.b64encode(record)
    yield "untouched", -10, b""
    yield "not_base64", -10, b"!!! no base64 !!!"
    yield "base64_with_a_foreign_character", -10, encoded[:40] + b"*" + encoded[41:]
    for length in (1, 15, 16):
        yield f"record_of_{length}_bytes", -10, base64.b64encode(record[:length])
    for length in (17, 31, 33, 47):
        yield f"record_of_{length}_bytes", -14, base64.b64encode(record[:length])
    yield "last_block_missing", -14, base64.b64encode(unpadded(receiver, [record[:-16]]))
    changes = (flip(record, len(record) - back) for back in range(1, 17))
    yield "changed_last_block", -14, base64.b64encode(unpadded(receiver, changes))
    yield "changed_padding", -14, base64.b64encode(unpadded(receiver, [flip(record, len(record) - 17)]))
    yield "padding_of_17", -14, base64.b64encode(encrypt(receiver, b"x" * 15, "17", b"\x11"))
    yield "padding_of_255", -14, base64.b64encode(encrypt(receiver, b"x" * 15, "255", b"\xff"))
    for other in (receiver + 4, receiver + 8):
        foreign = (encrypt(other, text, seed) for seed in range(100))
        yield f"key_of_receiver_{other}", -14, base64.b64encode(unpadded(receiver, foreign))
    too_large = base64.b64encode(encrypt(receiver, stream("large", LARGEST + 1), "large"))
    yield "one_byte_too_large", None, too_large[:BLOCK_SIZE]


def main():
    output, receiver = sys.argv[1], int(sys.argv[2])
    with open(output, "w", encoding="ascii") as file:
        for name, plaintext, block in list(sound(receiver)) + list(unusual(receiver)):
            assert len(block) <= BLOCK_SIZE, name
            file.write(f"{name} 0 {plaintext.hex() or '-'} {block.hex() or '-'}\n")
        for name, result, block in damaged(receiver):
            assert len(block) <= BLOCK_SIZE, name
            file.write(f"{name} {'any' if result is None else result} - {block.hex() or '-'}\n")


if __name__ == "__main__":
    main()
