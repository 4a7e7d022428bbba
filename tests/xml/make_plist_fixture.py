#!/usr/bin/env python3
"""Writes plist_from_python.plist with Python's plistlib (XML format), the
fixture LPlist must read. Run from the repository root:
    python3 tests/xml/make_plist_fixture.py
"""
import os
import plistlib

OUT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "plist_from_python.plist")
VALUE = {
    "Enabled": True,
    "Disabled": False,
    "Count": 7,
    "Negative": -123456,
    "Ratio": 0.5,
    "Name": "Caf\u00e9 <&> \"quoted\" \U0001F600",
    "List": ["a", 1, True],
    "Nested": {"Inner": "value", "Number": 42},
}

with open(OUT, "wb") as f:
    plistlib.dump(VALUE, f, fmt=plistlib.FMT_XML)
