#!/usr/bin/env python3
"""Writes the seed corpus of every fuzz target into fuzz/corpus/<target>/.

The seeds are small, valid or nearly valid inputs that show each target the
shape of what it parses; the fuzzer finds the rest. Run again after changing
a seed here; files not listed here (saved findings) are left alone.
"""
import os
import struct

HERE = os.path.dirname(os.path.abspath(__file__))


def utf16(text, mark=True):
    return (b"\xff\xfe" if mark else b"") + text.encode("utf-16-le")


def wide_input(text):
    """A 16-bit text for the targets that read 0xFF + UTF-16LE."""
    return b"\xff" + text.encode("utf-16-le", "surrogatepass")


SEEDS = {
    "property_text": {
        "integer": b"$I-2147483648",
        "boolean": b"$Btrue",
        "string": b"$Shello world",
        "date": b"$D000250:09:04:13:05:07:1999",
        "period": b"$T500000:00:01:02:0000000003",
        "bad_descriptor": b"$Xabc",
        "wide_string": wide_input("$S\u00e9t\u00e9 \u03a3"),
        "values": b"\xfe\x00\x00\x00\x2a\x00\x00\x00\x01\x00\x00\x00\x02\x00\x00\x00\x03\x00\x00\x00\x04\x00\x00\x00\x05text",
    },
    "property_list": {
        "unique": bytes([0, 4, 0, 1, 1, 2, 3, 3, 7, 4, 2, 5, 6, 7, 8, 3, 0, 3, 8]),
        "duplicates": bytes([3, 5, 0, 1, 2, 2, 1, 3, 3, 4, 4, 5, 2, 9, 9, 2, 2, 0]),
        "empty_name": bytes([1, 3, 10, 1, 0, 2, 11, 3, 1, 10, 0, 2, 10, 12]),
    },
    "tokens": {
        "plain": b"\x00hello %Alpha% and %b%!",
        "callback": b"\x01%cbx% %cb% %Alpha%%B% 100%",
        "empty_token": b"\x00a %% b % c",
        "wide": b"\x00" + wide_input("%\u00c9T\u00c9% %\u03c3% %nothing%"),
    },
    "type_id": {
        "upper": b"{5AE48720-05EB-11D3-BF61-5E0703000000}",
        "lower": b"{5ae48720-05eb-11d3-bf61-5e0703000000}",
        "lenient": b"{ 0x1-+2- -3-0x45-6789abcdef01}trailing",
        "short": b"{5AE48720-05EB}",
        "wide": wide_input("{5AE48720-05EB-11D3-BF61-5E07030000\u0660\u0660}"),
    },
    "ip_text": {
        "loopback": b"127.0.0.1",
        "short_forms": b"10.1",
        "hex_octal": b"0x7f.010.0.1",
        "broadcast": b"255.255.255.255",
        "garbage": b"1.2.3.4.5",
    },
    "messages": {
        "file": b"# comment\r\n; another\r\n0xC2010905 The plug-in %1 could not create an object.\r\n\r\n"
                b"0x1 short code\n0X00000002 upper X\n0x1 replaced text\n",
        "bom": b"\xef\xbb\xbf0xC0000001 with a mark %2 %1\n",
        "bad_line": b"0xC0000001 good\nnot a message\n",
        "nine_digits": b"0x123456789 too long\n",
        "utf8_text": "0xC0000003 \u00e9t\u00e9 \u2192 done\n".encode("utf-8"),
    },
    "reg_file": {
        "version5": utf16("Windows Registry Editor Version 5.00\r\n\r\n"
                          "[HKEY_CURRENT_USER\\Software\\Kov]\r\n"
                          "@=\"default\"\r\n"
                          "\"Name\"=\"text with \\\"quotes\\\" and \\\\\"\r\n"
                          "\"Count\"=dword:0000abcd\r\n"
                          "\"Blob\"=hex:de,ad,be,ef\r\n"
                          "\"Path\"=hex(2):25,00,41,00,25,00,00,00\r\n"
                          "\"List\"=hex(7):61,00,00,00,62,00,00,00,00,00\r\n"
                          "\"Big\"=hex(b):01,02,03,04,05,06,07,08\r\n"
                          "\"Gone\"=-\r\n\r\n"
                          "[-HKEY_CURRENT_USER\\Software\\Old]\r\n"),
        "version4": b"REGEDIT4\r\n\r\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\Kov]\r\n"
                    b"\"Caf\xe9\"=\"na\xefve\"\r\n\"Expand\"=hex(2):25,41,25,00\r\n"
                    b"\"Long\"=hex:00,01,02,03,04,05,06,07,08,09,0a,0b,0c,0d,0e,0f,10,11,12,13,14,15,\\\r\n"
                    b"  16,17,18,19\r\n",
        "utf8": "Windows Registry Editor Version 5.00\n[HKEY_USERS\\S-1\\\u00c9t\u00e9]\n"
                "\"\u03a3\"=\"\u00e9\"  ; comment\n@=dword:1\n".encode("utf-8"),
        "utf8_mark": b"\xef\xbb\xbf" + "Windows Registry Editor Version 5.00\r\n[HKEY_CLASSES_ROOT\\.kov]\r\n"
                     "@=\"kovfile\"\r\n".encode("utf-8"),
        "bad_root": utf16("Windows Registry Editor Version 5.00\r\n[HKEY_NOWHERE\\X]\r\n"),
        # 0xFE: keys built directly (see keys_of_input in reg_file.cpp).
        "writer": bytes([0xFE, 1, 1, 1, 2]) + "K\u00e9y".encode("utf-16-le") + bytes([2, 3]) +
                  "a\u03a3b".encode("utf-16-le") + bytes([4, 4, 1, 2, 3, 4, 0, 1, 6]) + "hi\0".encode("utf-16-le") +
                  bytes([1, 2, 5, 1]) + "x".encode("utf-16-le") + bytes([2, 3, 0x61, 0x62, 0x63]),
        "surrogates": utf16("Windows Registry Editor Version 5.00\r\n[HKEY_CURRENT_CONFIG\\\U0001F600]\r\n"
                            "\"\U0001F600\"=\"\U0001F600\"\r\n"),
    },
    "utf": {
        "ascii": b"plain text",
        "mixed": "\u00e9t\u00e9 \u03a3 \u2192 \U0001F600".encode("utf-8"),
        "overlong": b"\xc0\xaf\xe0\x80\xaf",
        "surrogate": b"\xed\xa0\x80\xed\xbf\xbf",
        "truncated": b"\xf0\x9f\x98",
        "utf16_lone": b"\x00\xd8\x41\x00\x00\xdc",
    },
    "diag_reader": {
        "lines": struct.pack(">I", 0x1A2B) + bytes([3, 5, 1, 64, 2]) + b"\0" * 59 +
                 utf16("**** Diagnostic file created: 2026-11-23\r\n"
                       "**** Switch to thread 1A2B ****\r\nkept line\r\n"
                       "**** Switch to thread 7 ****\r\ndropped line\r\nhalf", False),
        "path": struct.pack(">I", 7) + b"\0" * 64 + b"/var/log/kov/diag0042.dgn",
        "wrap": struct.pack(">I", 0) + b"\0" * 64 + b"trace65535.log",
        "odd": struct.pack(">I", 1) + bytes([1] * 64) + b"\x41\x00\x0d\x00\x0a\x00\x42",
    },
    "registry": {
        # op byte, then the operation's own bytes (see registry.cpp).
        "create_and_list": bytes([0, 1, 0, 0, 1, 2, 0, 0x41, 1, 1, 3, 4, 0x02, 1, 0, 1, 4, 0x00, 1, 0]),
        "values": bytes([1, 0, 1, 0, 0, 1, 1, 2, 1, 1, 2, 0, 1, 3, 5, 0, 1, 2, 3, 4,
                         1, 0, 1, 0, 2, 0, 0, 0, 0, 0x2a, 5, 0, 1, 0, 2, 0, 1, 0, 1, 1,
                         3, 0, 1, 0, 1, 1, 5, 0, 1, 0]),
        "tree_and_batch": bytes([0, 2, 1, 0, 1, 1, 1, 1, 2, 6, 0, 1, 1,
                                 7, 2, 0, 1, 4, 2, 1, 2, 3, 4, 1, 7, 0x00, 1, 5, 3, 0, 1, 6, 0]),
        "case": bytes([0, 0, 1, 1, 0, 0, 1, 0, 4, 0, 1, 1, 1, 0, 1, 0, 0, 2, 1, 4, 0, 2, 0, 1, 2, 0, 1, 5]),
    },
}


def main():
    for target, seeds in SEEDS.items():
        folder = os.path.join(HERE, "corpus", target)
        os.makedirs(folder, exist_ok=True)
        for name, data in seeds.items():
            with open(os.path.join(folder, name), "wb") as out:
                out.write(data)


if __name__ == "__main__":
    main()
