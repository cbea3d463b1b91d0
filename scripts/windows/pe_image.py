"""Just enough of the PE/COFF image and .res formats to check trova.dll.

Standard library only, so the checks run wherever python3 does, without the
cross binutils. Used by check_dialog_resource.py and check_dll_exports.py.
"""

import struct

RT_DIALOG = 5


class FormatError(Exception):
    """The bytes are not the structure they claim to be."""


def _u16(data, offset):
    if offset + 2 > len(data):
        raise FormatError(f"read past end at {offset:#x}")
    return struct.unpack_from("<H", data, offset)[0]


def _u32(data, offset):
    if offset + 4 > len(data):
        raise FormatError(f"read past end at {offset:#x}")
    return struct.unpack_from("<I", data, offset)[0]


def _cstring(data, offset):
    end = data.find(b"\0", offset)
    if end < 0:
        raise FormatError(f"unterminated string at {offset:#x}")
    return data[offset:end].decode("latin-1")


class PEImage:
    """A PE32 or PE32+ image held in memory."""

    def __init__(self, data):
        self.data = data
        if data[:2] != b"MZ":
            raise FormatError("no MZ header")
        pe = _u32(data, 0x3C)
        if data[pe:pe + 4] != b"PE\0\0":
            raise FormatError("no PE signature")
        coff = pe + 4
        self.machine = _u16(data, coff)
        section_count = _u16(data, coff + 2)
        optional_size = _u16(data, coff + 16)
        self.characteristics = _u16(data, coff + 18)
        opt = coff + 20
        magic = _u16(data, opt)
        if magic == 0x20B:
            self.is_pe32_plus = True
            dir_count = _u32(data, opt + 108)
            dirs = opt + 112
        elif magic == 0x10B:
            self.is_pe32_plus = False
            dir_count = _u32(data, opt + 92)
            dirs = opt + 96
        else:
            raise FormatError(f"unknown optional header magic {magic:#x}")
        self.directories = []
        for i in range(dir_count):
            self.directories.append((_u32(data, dirs + 8 * i), _u32(data, dirs + 8 * i + 4)))
        self.sections = []
        table = opt + optional_size
        for i in range(section_count):
            s = table + 40 * i
            name = data[s:s + 8].rstrip(b"\0").decode("latin-1")
            vsize, vaddr, rawsize, rawptr = struct.unpack_from("<IIII", data, s + 8)
            self.sections.append((name, vaddr, max(vsize, rawsize), rawptr, rawsize))

    @property
    def is_dll(self):
        return bool(self.characteristics & 0x2000)

    def offset(self, rva):
        for _name, vaddr, vsize, rawptr, rawsize in self.sections:
            if vaddr <= rva < vaddr + vsize:
                delta = rva - vaddr
                if delta >= rawsize:
                    raise FormatError(f"RVA {rva:#x} lies in uninitialised data")
                return rawptr + delta
        raise FormatError(f"RVA {rva:#x} is in no section")

    def _directory(self, index):
        if index >= len(self.directories):
            return 0, 0
        return self.directories[index]

    def exports(self):
        """(dll_name, [export names]) of the export directory."""
        rva, size = self._directory(0)
        if not rva or not size:
            return None, []
        d = self.offset(rva)
        name = _cstring(self.data, self.offset(_u32(self.data, d + 12)))
        name_count = _u32(self.data, d + 24)
        names_rva = _u32(self.data, d + 32)
        names = []
        for i in range(name_count):
            entry = _u32(self.data, self.offset(names_rva) + 4 * i)
            names.append(_cstring(self.data, self.offset(entry)))
        return name, names

    def function_count(self):
        """Number of entries of the export address table (named or not)."""
        rva, size = self._directory(0)
        if not rva or not size:
            return 0
        return _u32(self.data, self.offset(rva) + 20)

    def imported_dlls(self):
        """Names of the DLLs in the import and delay-import directories."""
        dlls = []
        rva, size = self._directory(1)
        if rva and size:
            d = self.offset(rva)
            while True:
                fields = struct.unpack_from("<IIIII", self.data, d)
                if not any(fields):
                    break
                dlls.append(_cstring(self.data, self.offset(fields[3])))
                d += 20
        rva, size = self._directory(13)
        if rva and size:
            d = self.offset(rva)
            while True:
                fields = struct.unpack_from("<8I", self.data, d)
                if not any(fields):
                    break
                dlls.append(_cstring(self.data, self.offset(fields[1])))
                d += 32
        return dlls

    def resources(self):
        """[(type, name, language, bytes)] for every resource with numeric or
        string type and name (strings are returned as str)."""
        rva, size = self._directory(2)
        if not rva or not size:
            return []
        base = self.offset(rva)
        out = []

        def entries(dir_offset):
            named = _u16(self.data, base + dir_offset + 12)
            ids = _u16(self.data, base + dir_offset + 14)
            for i in range(named + ids):
                e = base + dir_offset + 16 + 8 * i
                name_field, target = struct.unpack_from("<II", self.data, e)
                if name_field & 0x80000000:
                    s = base + (name_field & 0x7FFFFFFF)
                    length = _u16(self.data, s)
                    key = self.data[s + 2:s + 2 + 2 * length].decode("utf-16-le")
                else:
                    key = name_field
                yield key, target

        for rtype, t in entries(0):
            if not t & 0x80000000:
                raise FormatError("resource type entry is not a directory")
            for rname, n in entries(t & 0x7FFFFFFF):
                if not n & 0x80000000:
                    raise FormatError("resource name entry is not a directory")
                for lang, leaf in entries(n & 0x7FFFFFFF):
                    if leaf & 0x80000000:
                        raise FormatError("resource language entry is a directory")
                    data_rva, data_size = struct.unpack_from("<II", self.data, base + leaf)
                    start = self.offset(data_rva)
                    out.append((rtype, rname, lang, self.data[start:start + data_size]))
        return out


def _res_id(data, offset):
    """A type or name field of a .res header: ordinal or UTF-16 string."""
    if _u16(data, offset) == 0xFFFF:
        return _u16(data, offset + 2), offset + 4
    end = offset
    while _u16(data, end) != 0:
        end += 2
    return data[offset:end].decode("utf-16-le"), end + 2


def read_res(data):
    """[(type, name, language, bytes)] of a 32-bit .res file."""
    out = []
    pos = 0
    while pos < len(data):
        if len(data) - pos < 32:
            if data[pos:].strip(b"\0"):
                raise FormatError(f"trailing bytes at {pos:#x}")
            break
        data_size = _u32(data, pos)
        header_size = _u32(data, pos + 4)
        rtype, p = _res_id(data, pos + 8)
        rname, p = _res_id(data, p)
        p = (p + 3) & ~3
        language = _u16(data, p + 6)
        start = pos + header_size
        if start + data_size > len(data):
            raise FormatError(f"resource at {pos:#x} runs past the end of the file")
        out.append((rtype, rname, language, data[start:start + data_size]))
        pos = (start + data_size + 3) & ~3
    # The first entry of every .res file is an empty marker (type 0, name 0).
    return [r for r in out if not (r[0] == 0 and r[1] == 0 and not r[3])]


def load_resources(path):
    """Resources of a .res file or of a PE image, judged by its first bytes."""
    with open(path, "rb") as f:
        data = f.read()
    if data[:2] == b"MZ":
        return PEImage(data).resources()
    return read_res(data)
