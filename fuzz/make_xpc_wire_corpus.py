#!/usr/bin/env python3
"""Writes the seed corpus of xpc_wire_decoder_fuzz: a few valid frames in
the fuzz target's input format (one descriptor byte, then the frame; see
compat/xpc/WIRE.md). Run from anywhere; rewrites fuzz/corpus/xpc_wire/."""

import os
import struct

HERE = os.path.dirname(os.path.abspath(__file__))
OUT = os.path.join(HERE, "corpus", "xpc_wire")

MESSAGE, REPLY = 1, 2
WANTS_REPLY = 1
PIPE, SEALED, CONNECTOR = 0, 1, 2


def text(value):
    return struct.pack("<I", len(value)) + value


def dictionary(entries):
    out = b"\x0c" + struct.pack("<I", len(entries))
    for key, value in entries:
        out += text(key) + value
    return out


def frame(kind, body, flags=0, descriptors=(), token=0):
    count = len(descriptors)
    described = count
    for i, kind_of in enumerate(descriptors):
        described |= kind_of << (2 + 2 * i)
    header = struct.pack("<IBBHIIQ", 0x31505848, kind, flags, count, len(body), 0, token)
    return bytes([described]) + header + body


SEEDS = {
    "audio_4096": frame(MESSAGE, dictionary([(b"AUDIO_DATA", b"\x06" + text(bytes(range(256)) * 16))])),
    "audio_empty": frame(MESSAGE, dictionary([(b"AUDIO_DATA", b"\x06" + text(b""))])),
    "volume": frame(MESSAGE, dictionary([(b"VOLUME_CHANGED", b"\x04" + struct.pack("<d", 0.75))])),
    "request_endpoint": frame(MESSAGE, dictionary([(b"REQUEST_ENDPOINT", b"\x01\x01")]),
                              flags=WANTS_REPLY, token=1),
    "send_endpoint_reply": frame(REPLY, dictionary([(b"SEND_ENDPOINT", b"\x0b" + struct.pack("<I", 0))]),
                                 descriptors=(CONNECTOR,), token=1),
    "every_type": frame(MESSAGE, dictionary([
        (b"bool", b"\x01\x00"),
        (b"date", b"\x05" + struct.pack("<q", 1700000000000000000)),
        (b"fd", b"\x0a" + struct.pack("<I", 0)),
        (b"int64", b"\x02" + struct.pack("<q", -5)),
        (b"nested", dictionary([(b"", b"\x03" + struct.pack("<Q", 2 ** 64 - 1))])),
        (b"sealed", b"\x07" + struct.pack("<IQ", 1, 64)),
        (b"string", b"\x08" + text("caf\u00e9".encode())),
        (b"uuid", b"\x09" + bytes(range(16))),
    ]), descriptors=(PIPE, SEALED)),
}


def main():
    os.makedirs(OUT, exist_ok=True)
    for name, data in SEEDS.items():
        with open(os.path.join(OUT, name), "wb") as out:
            out.write(data)


if __name__ == "__main__":
    main()
