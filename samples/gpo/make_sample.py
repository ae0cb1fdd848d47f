#!/usr/bin/env python3
"""Writes the sample GPO's Machine/Registry.pol: the logon policy enabled with one mask (password and
fingerprint), and the enrollment policy disabling recovery key, face and voice (the stored mask is
the complement of the credentials left allowed), in the Registry.pol format ("PReg", version 1,
[key;value;type;size;data])."""
import os
import struct

KEY = "Software\\Policies\\Vantorix\\Applications\\{5ED04F3F-AC3E-4BE0-A157-782B204E2B8C}"
REG_MULTI_SZ = 7


def text(s):
    return (s + "\0").encode("utf-16-le")


def record(key, value, kind, data):
    sep = ";".encode("utf-16-le")
    return (b"[\0" + text(key) + sep + text(value) + sep + struct.pack("<I", kind) + sep +
            struct.pack("<I", len(data)) + sep + data + b"]\0")


masks = "0000000000000003\0\0".encode("utf-16-le")  # one string, then the list's end
allowed = 0x1 | 0x2 | 0x4 | 0x10 | 0x80  # password, fingerprint, smart card, one-time code, security key
disabled = ("%016X\0\0" % (~allowed & 0xFFFFFFFFFFFFFFFF)).encode("utf-16-le")
body = (struct.pack("<II", 0x67655250, 1) + record(KEY, "LogonPolicy", REG_MULTI_SZ, masks) +
        record(KEY, "DisableCredentials", REG_MULTI_SZ, disabled))
here = os.path.dirname(os.path.abspath(__file__))
with open(os.path.join(here, "Machine", "Registry.pol"), "wb") as out:
    out.write(body)
