#!/usr/bin/env python3
"""Generates differential_cases.txt: random well-formed XML documents and the
tree Python's own XML parser (expat, through ElementTree) reads from each.

The documents stay inside the subset where the library's forgiving reader and
a conforming parser must agree: plain names, attributes with at most one
space around '=', text with the predefined entities and character
references inside the 16-bit range, line breaks in every convention but LF CR, and
UTF-8 beyond ASCII. No attribute value ends in '?', no comments, CDATA or DOCTYPE (ElementTree drops or
merges those), no namespaces.

Each case is written as
    <byte count>\n<document bytes>\n<byte count>\n<tree>\n
where the tree uses the picture of tests/xml/LXMLDump.h:
    (name @key=value ... children), text as a C-escaped quoted string.

Run from the repository root:  python3 tests/xml/make_differential_cases.py
"""
import os
import random
import xml.etree.ElementTree as ET

SEED = 20261123
CASES = 300
OUT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "differential_cases.txt")

NAME_START = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ_\u00e9\u00df\u4e2d"
NAME_REST = NAME_START + "0123456789-."
TEXT_PLAIN = "abc xyz ABC 0123456789 !#$%()*+,-./:;=?@[]^_`{|}~>\"'\u00e9\u20ac\u4e2d\U0001F600"


def name(rng):
    return rng.choice(NAME_START) + "".join(rng.choice(NAME_REST) for _ in range(rng.randint(0, 6)))


def char_ref(rng, allow_controls):
    while True:
        cp = rng.choice([rng.randint(0x20, 0x7E), rng.randint(0xA0, 0xD7FF), rng.randint(0xE000, 0xFFFD)]
                        + ([0x9, 0xA, 0xD] if allow_controls else []))
        # '?' could end an attribute value (see attributes()).
        if cp not in (0x3F, 0xFFFE, 0xFFFF):
            break
    return ("&#x%X;" if rng.random() < 0.5 else "&#%d;") % cp


def text(rng, quote=None):
    parts = []
    for _ in range(rng.randint(1, 8)):
        r = rng.random()
        if r < 0.55:
            s = "".join(rng.choice(TEXT_PLAIN) for _ in range(rng.randint(1, 10)))
            if quote:
                s = s.replace(quote, "")
            parts.append(s)
        elif r < 0.75:
            parts.append(rng.choice(["&amp;", "&lt;", "&gt;", "&quot;", "&apos;"]))
        elif r < 0.85:
            parts.append(char_ref(rng, quote is None))
        elif quote is None:
            parts.append(rng.choice(["\n", "\r\n", "\r", "\t", "  ", "\n\t\t"]))
    return "".join(parts)


def attributes(rng):
    out = []
    used = set()
    for _ in range(rng.randint(0, 4)):
        key = name(rng)
        if key in used:
            continue
        used.add(key)
        quote = rng.choice(["\"", "'"])
        eq = rng.choice(["=", " =", "= ", " = "])
        sep = rng.choice([" ", "  ", "\n", "\t", " \n "])
        value = text(rng, quote)
        if value.endswith("?"):
            # The reader takes a '?' that ends the last value before '>' as
            # the end of a "<?xml ...?>" declaration.
            value += "."
        out.append("%s%s%s%s%s%s" % (sep, key, eq, quote, value, quote))
    return "".join(out)


def element(rng, depth):
    tag = name(rng)
    start = "<" + tag + attributes(rng)
    if depth > 3 or rng.random() < 0.2:
        return start + rng.choice(["/>", " />"])
    body = []
    for _ in range(rng.randint(0, 5)):
        if rng.random() < 0.5:
            body.append(text(rng))
        else:
            body.append(element(rng, depth + 1))
    return start + ">" + "".join(body) + "</" + tag + rng.choice([">", " >", "\n>"])


def quoted(s):
    out = ['"']
    for ch in s:
        if ch in "\"\\":
            out.append("\\" + ch)
        elif ch == "\n":
            out.append("\\n")
        elif ch == "\t":
            out.append("\\t")
        elif ord(ch) < 32:
            out.append("\\x%02x" % ord(ch))
        else:
            out.append(ch)
    out.append('"')
    return "".join(out)


def dump(node):
    parts = ["(" + node.tag]
    for key in sorted(node.attrib, key=lambda k: k.encode("utf-8")):
        parts.append(" @%s=%s" % (key, node.attrib[key]))
    if node.text:
        parts.append(" " + quoted(node.text))
    for child in node:
        parts.append(" " + dump(child))
        if child.tail:
            parts.append(" " + quoted(child.tail))
    parts.append(")")
    return "".join(parts)


def main():
    rng = random.Random(SEED)
    with open(OUT, "wb") as f:
        for _ in range(CASES):
            prolog = rng.choice(["", "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n", "<?xml version='1.0'?>\r\n"])
            text_ = prolog + element(rng, 0) + rng.choice(["", "\n"])
            # LF CR is one line break to the reader (as CR LF is), two to a
            # conforming parser.
            while "\n\r" in text_:
                text_ = text_.replace("\n\r", "\n")
            document = text_.encode("utf-8")
            tree = dump(ET.fromstring(document)).encode("utf-8")
            for chunk in (document, tree):
                f.write(b"%d\n" % len(chunk))
                f.write(chunk)
                f.write(b"\n")


if __name__ == "__main__":
    main()
