#!/usr/bin/env python3
"""Generates bom_cases.txt: files with and without byte-order marks and the
UTF-8 text Python's own decoders read from them ("utf-16" honours the mark,
"utf-8-sig" drops one), for the text-file loader's test.

Each case is  <byte count>\n<file bytes>\n<byte count>\n<expected UTF-8>\n.
Texts hold no U+0000 (the loader ends a UTF-16 text at its first zero unit).

Run from the repository root:  python3 tests/files/make_bom_cases.py
"""
import os
import random

SEED = 61
OUT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "bom_cases.txt")
ALPHABET = "ab xyz\n\r\t09<&>\u00e9\u00df\u20ac\u4e2d\u05d0\uff21\U0001F600\U00010348\ufeff"


def main():
    rng = random.Random(SEED)
    with open(OUT, "wb") as f:
        for i in range(120):
            text = "".join(rng.choice(ALPHABET) for _ in range(rng.randint(0, 40)))
            kind = i % 4
            if kind == 0:
                data = b"\xff\xfe" + text.encode("utf-16-le")
                expected = data.decode("utf-16")
            elif kind == 1:
                data = b"\xfe\xff" + text.encode("utf-16-be")
                expected = data.decode("utf-16")
            elif kind == 2:
                data = b"\xef\xbb\xbf" + text.encode("utf-8")
                expected = data.decode("utf-8-sig")
            else:
                data = text.lstrip("\ufeff").encode("utf-8")
                expected = data.decode("utf-8")
            for chunk in (data, expected.encode("utf-8")):
                f.write(b"%d\n" % len(chunk))
                f.write(chunk)
                f.write(b"\n")


if __name__ == "__main__":
    main()
