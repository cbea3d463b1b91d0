#!/usr/bin/env python3
"""Check the progress dialog template (id 101) that trova.dll carries.

The frame's dialog procedure and the host depend on the exact form of this
template: a classic DLGTEMPLATE (not the extended form) with a progress bar
1000 and a push button 1001. This script decodes the compiled bytes field
by field and compares them with the layout below.

  check_dialog_resource.py FILE           FILE: a .res file or a PE image (trova.dll)
  check_dialog_resource.py --rc trova.rc --windres x86_64-w64-mingw32-windres
                                          compile the script first, then check
  check_dialog_resource.py --self-test    check that the decoder rejects altered templates

Exit status: 0 when the template matches, 1 on any mismatch, 2 on a usage or
tool error, 77 when the resource compiler for --rc is not installed (CTest's
SKIP_RETURN_CODE).
"""

import argparse
import os
import struct
import subprocess
import sys
import tempfile

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import pe_image  # noqa: E402

# Window and dialog styles (the values of the platform's headers).
WS_POPUP = 0x80000000
WS_CHILD = 0x40000000
WS_VISIBLE = 0x10000000
WS_CAPTION = 0x00C00000
WS_BORDER = 0x00800000
WS_SYSMENU = 0x00080000
WS_TABSTOP = 0x00010000
DS_SETFONT = 0x00000040
DS_MODALFRAME = 0x00000080
BS_PUSHBUTTON = 0x00000000
BUTTON_CLASS_ORDINAL = 0x0080

DIALOG_ID = 101

EXPECTED = {
    "style": DS_SETFONT | DS_MODALFRAME | WS_POPUP | WS_CAPTION | WS_SYSMENU,
    "exstyle": 0,
    "rect": (0, 0, 186, 82),
    "menu": None,
    "class": None,
    "title": "Dialog",
    "font": (8, "MS Sans Serif"),
    "items": [
        {
            "style": WS_CHILD | WS_VISIBLE | WS_BORDER,
            "exstyle": 0,
            "rect": (7, 23, 172, 16),
            "id": 1000,
            # Window class names are matched without regard to case; the
            # resource compiler may store this one in capitals.
            "class": "msctls_progress32",
            "title": "Progress1",
            "extra": b"",
        },
        {
            "style": WS_CHILD | WS_VISIBLE | WS_TABSTOP | BS_PUSHBUTTON,
            "exstyle": 0,
            "rect": (56, 46, 70, 15),
            "id": 1001,
            "class": BUTTON_CLASS_ORDINAL,
            "title": "Button1",
            "extra": b"",
        },
    ],
}


class Reader:
    """Sequential little-endian reader over one template."""

    def __init__(self, data):
        self.data = data
        self.pos = 0

    def need(self, n):
        if self.pos + n > len(self.data):
            raise pe_image.FormatError(
                f"template ends at {len(self.data)} bytes, needed {n} more at {self.pos}")

    def u16(self):
        self.need(2)
        v = struct.unpack_from("<H", self.data, self.pos)[0]
        self.pos += 2
        return v

    def s16(self):
        self.need(2)
        v = struct.unpack_from("<h", self.data, self.pos)[0]
        self.pos += 2
        return v

    def u32(self):
        self.need(4)
        v = struct.unpack_from("<I", self.data, self.pos)[0]
        self.pos += 4
        return v

    def string(self):
        chars = []
        while True:
            c = self.u16()
            if c == 0:
                return "".join(chars)
            chars.append(chr(c))

    def sz_or_ord(self):
        """None (0x0000), an int (0xFFFF + ordinal) or a str."""
        self.need(2)
        first = struct.unpack_from("<H", self.data, self.pos)[0]
        if first == 0:
            self.pos += 2
            return None
        if first == 0xFFFF:
            self.pos += 2
            return self.u16()
        return self.string()

    def align4(self):
        self.pos = (self.pos + 3) & ~3


def decode(data):
    """Decode a classic dialog template into the shape of EXPECTED."""
    if len(data) >= 4 and struct.unpack_from("<HH", data, 0) == (1, 0xFFFF):
        raise pe_image.FormatError("extended template (DIALOGEX); a classic DIALOG is required")
    r = Reader(data)
    t = {"style": r.u32(), "exstyle": r.u32()}
    count = r.u16()
    t["rect"] = (r.s16(), r.s16(), r.s16(), r.s16())
    t["menu"] = r.sz_or_ord()
    t["class"] = r.sz_or_ord()
    t["title"] = r.string()
    t["font"] = (r.u16(), r.string()) if t["style"] & DS_SETFONT else None
    items = []
    for _ in range(count):
        r.align4()
        item = {"style": r.u32(), "exstyle": r.u32()}
        item["rect"] = (r.s16(), r.s16(), r.s16(), r.s16())
        item["id"] = r.u16()
        item["class"] = r.sz_or_ord()
        item["title"] = r.sz_or_ord()
        extra = r.u16()
        r.need(extra)
        item["extra"] = data[r.pos:r.pos + extra]
        r.pos += extra
        items.append(item)
    t["items"] = items
    rest = data[r.pos:]
    if len(rest) >= 4 or rest.strip(b"\0"):
        raise pe_image.FormatError(f"{len(rest)} unexplained bytes after the last control")
    return t


def _same_class(expected, actual):
    if isinstance(expected, str) and isinstance(actual, str):
        return expected.lower() == actual.lower()
    return expected == actual


def compare(expected, actual):
    """List of human-readable differences; empty when the templates agree."""
    problems = []
    for key in ("style", "exstyle", "rect", "menu", "class", "title", "font"):
        if expected[key] != actual[key]:
            problems.append(f"dialog {key}: expected {_show(expected[key])}, found {_show(actual[key])}")
    if len(expected["items"]) != len(actual["items"]):
        problems.append(f"dialog has {len(actual['items'])} controls, expected {len(expected['items'])}")
    for i, (e, a) in enumerate(zip(expected["items"], actual["items"])):
        for key in ("style", "exstyle", "rect", "id", "title", "extra"):
            if e[key] != a[key]:
                problems.append(f"control {i} {key}: expected {_show(e[key])}, found {_show(a[key])}")
        if not _same_class(e["class"], a["class"]):
            problems.append(f"control {i} class: expected {_show(e['class'])}, found {_show(a['class'])}")
    return problems


def _show(v):
    if isinstance(v, int) and v > 0xFFFF:
        return f"{v:#010x}"
    return repr(v)


def check_template(data):
    try:
        actual = decode(data)
    except pe_image.FormatError as e:
        return [str(e)]
    return compare(EXPECTED, actual)


def find_dialog(resources):
    found = [r for r in resources if r[0] == pe_image.RT_DIALOG and r[1] == DIALOG_ID]
    if len(found) != 1:
        return None, f"expected one dialog resource {DIALOG_ID}, found {len(found)}"
    return found[0][3], None


# --- self-test: an encoder for the same structure, and altered templates ---

def _enc_sz_or_ord(v):
    if v is None:
        return b"\0\0"
    if isinstance(v, int):
        return struct.pack("<HH", 0xFFFF, v)
    return v.encode("utf-16-le") + b"\0\0"


def encode(t):
    out = bytearray(struct.pack("<IIH4h", t["style"], t["exstyle"], len(t["items"]), *t["rect"]))
    out += _enc_sz_or_ord(t["menu"]) + _enc_sz_or_ord(t["class"])
    out += t["title"].encode("utf-16-le") + b"\0\0"
    if t["font"] is not None:
        out += struct.pack("<H", t["font"][0]) + t["font"][1].encode("utf-16-le") + b"\0\0"
    for item in t["items"]:
        out += b"\0" * (-len(out) % 4)
        out += struct.pack("<II4hH", item["style"], item["exstyle"], *item["rect"], item["id"])
        out += _enc_sz_or_ord(item["class"]) + _enc_sz_or_ord(item["title"])
        out += struct.pack("<H", len(item["extra"])) + item["extra"]
    return bytes(out)


def _altered():
    """(description, template bytes) pairs that must each be rejected."""
    import copy

    def variant(desc, change):
        t = copy.deepcopy(EXPECTED)
        change(t)
        return desc, encode(t)

    yield variant("extended style set", lambda t: t.update(exstyle=0x8))
    yield variant("no DS_MODALFRAME", lambda t: t.update(style=t["style"] & ~DS_MODALFRAME))
    yield variant("wider dialog", lambda t: t.update(rect=(0, 0, 187, 82)))
    yield variant("caption changed", lambda t: t.update(title="Dialog1"))
    yield variant("menu present", lambda t: t.update(menu=1))
    yield variant("font size 9", lambda t: t.update(font=(9, "MS Sans Serif")))
    yield variant("other face", lambda t: t.update(font=(8, "MS Shell Dlg")))
    yield variant("controls swapped", lambda t: t["items"].reverse())
    yield variant("button missing", lambda t: t["items"].pop())
    yield variant("bar without border", lambda t: t["items"][0].update(style=WS_CHILD | WS_VISIBLE))
    yield variant("bar id 1002", lambda t: t["items"][0].update(id=1002))
    yield variant("bar moved", lambda t: t["items"][0].update(rect=(7, 24, 172, 16)))
    yield variant("bar class static", lambda t: t["items"][0].update(**{"class": 0x0082}))
    yield variant("button default push", lambda t: t["items"][1].update(style=t["items"][1]["style"] | 1))
    yield variant("button by class name", lambda t: t["items"][1].update(**{"class": "msctls_progress32"}))
    yield variant("button text", lambda t: t["items"][1].update(title="Cancel"))
    yield variant("button creation data", lambda t: t["items"][1].update(extra=b"\1\0"))
    good = encode(EXPECTED)
    yield "extended header", struct.pack("<HH", 1, 0xFFFF) + good[4:]
    yield "truncated", good[:-6]
    yield "trailing bytes", good + b"\0" * 8


def self_test():
    failures = 0
    good = encode(EXPECTED)
    problems = check_template(good)
    if problems:
        print("self-test: the expected template itself is rejected:", *problems, sep="\n  ")
        failures += 1
    upper = encode({**EXPECTED, "items": [{**EXPECTED["items"][0], "class": "MSCTLS_PROGRESS32"},
                                          EXPECTED["items"][1]]})
    if check_template(upper):
        print("self-test: the bar class in capitals is rejected")
        failures += 1
    for desc, data in _altered():
        if not check_template(data):
            print(f"self-test: altered template accepted: {desc}")
            failures += 1
    print(f"self-test: {'FAILED' if failures else 'OK'} ({failures} failure(s))")
    return 1 if failures else 0


def main(argv):
    p = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    p.add_argument("file", nargs="?", help=".res file or PE image")
    p.add_argument("--rc", help="resource script to compile first")
    p.add_argument("--windres", default="x86_64-w64-mingw32-windres", help="resource compiler for --rc")
    p.add_argument("--self-test", action="store_true")
    args = p.parse_args(argv)

    if args.self_test:
        return self_test()
    if bool(args.file) == bool(args.rc):
        p.error("give either FILE or --rc")

    if args.rc:
        with tempfile.TemporaryDirectory() as tmp:
            res = os.path.join(tmp, "trova.res")
            cmd = [args.windres, "-O", "res", args.rc, res]
            try:
                subprocess.run(cmd, check=True)
            except FileNotFoundError:
                print(f"resource compiler {args.windres} not found; "
                      "scripts/windows/install-deps.sh installs it", file=sys.stderr)
                return 77
            except (OSError, subprocess.CalledProcessError) as e:
                print(f"cannot compile {args.rc}: {e}", file=sys.stderr)
                return 2
            resources = pe_image.load_resources(res)
        source = args.rc
    else:
        try:
            resources = pe_image.load_resources(args.file)
        except (OSError, pe_image.FormatError) as e:
            print(f"cannot read {args.file}: {e}", file=sys.stderr)
            return 2
        source = args.file

    data, error = find_dialog(resources)
    problems = [error] if error else check_template(data)
    if problems:
        print(f"{source}: dialog {DIALOG_ID} does not match:")
        for line in problems:
            print(f"  {line}")
        return 1
    t = decode(data)
    print(f"{source}: dialog {DIALOG_ID} OK: style {t['style']:#010x}, {len(t['items'])} controls "
          f"({', '.join(str(i['id']) for i in t['items'])}), font {t['font'][0]} {t['font'][1]!r}")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
