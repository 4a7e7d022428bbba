#!/usr/bin/env python3
"""Writes setting_cipher_vectors.txt: texts and their password-field form made
by an independent Blowfish (the "cryptography" package's), for the settings
cipher's test.

The form: the text, its terminating zero and zero bytes up to a multiple of
8; each 8-byte block enciphered with Blowfish (ECB) under the key
"commonsecret98765", its two 32-bit halves taken in little-endian byte order
(standard Blowfish reads them big-endian, so each half is byte-swapped
around the standard cipher); base64 with CR LF after every 76 characters
but at the very end.

Each vector is  <byte count>\n<text>\n<byte count>\n<form>\n.
Run from the repository root:  python3 tests/xml/make_setting_cipher_vectors.py
"""
import base64
import os
import random

from cryptography.hazmat.decrepit.ciphers.algorithms import Blowfish
from cryptography.hazmat.primitives.ciphers import Cipher, modes

KEY = b"commonsecret98765"
OUT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "setting_cipher_vectors.txt")


def swap_halves(block):
    return block[3::-1] + block[7:3:-1]


def encode(text):
    data = text.encode("utf-8")
    n = (len(data) + 8) & ~7
    data = data + b"\0" * (n - len(data))
    encryptor = Cipher(Blowfish(KEY), modes.ECB()).encryptor()
    out = b"".join(swap_halves(encryptor.update(swap_halves(data[i:i + 8]))) for i in range(0, n, 8))
    b64 = base64.b64encode(out).decode("ascii")
    return "\r\n".join(b64[i:i + 76] for i in range(0, len(b64), 76))


def main():
    rng = random.Random(7)
    texts = ["abc", "12345678", "x" * 60, "p\u00e4ss w\u00f6rd \u20ac", "a" * 7, "b" * 9, "\U0001F600"]
    alphabet = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789 !\"#$%&'()*+,-./:;<=>?@\u00e9\u4e2d"
    texts += ["".join(rng.choice(alphabet) for _ in range(rng.randint(1, 200))) for _ in range(40)]
    with open(OUT, "wb") as f:
        for text in texts:
            for chunk in (text.encode("utf-8"), encode(text).encode("ascii")):
                f.write(b"%d\n" % len(chunk))
                f.write(chunk)
                f.write(b"\n")


if __name__ == "__main__":
    main()
