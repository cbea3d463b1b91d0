#!/usr/bin/env python3
"""Check what a Windows build of trova exports and imports.

  check_dll_exports.py --def resources/trova.def build/windows/src/trova.dll [host.exe ...]

For the DLL (the first image):
  - its export directory names the module trova.dll;
  - it exports exactly the names that the .def file lists (left of '=' where
    an export is an alias), each once, all by name, and nothing else;
  - in particular Reader_FFT_HIST2 is not exported under its plain name.
For every image given (the DLL and any program): it imports only system DLLs,
so it runs on a bare Windows without the compiler's runtime DLLs.

Exit status 0 when all holds, 1 on a violation, 2 on a usage or read error.
"""

import argparse
import os
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import pe_image  # noqa: E402

# DLLs that every Windows installation has. The compiler's own runtime
# (libstdc++-6.dll, libgcc_s_seh-1.dll, libwinpthread-1.dll) is not among them.
SYSTEM_DLLS = {
    "kernel32.dll", "user32.dll", "gdi32.dll", "comctl32.dll", "advapi32.dll",
    "shell32.dll", "ole32.dll", "oleaut32.dll", "ntdll.dll", "msvcrt.dll",
    "ucrtbase.dll", "shlwapi.dll", "version.dll", "ws2_32.dll", "bcrypt.dll",
}
SYSTEM_PREFIXES = ("api-ms-win-",)


def def_exports(path):
    """Export names of a module-definition file, in file order."""
    names = []
    in_exports = False
    with open(path, encoding="ascii") as f:
        for raw in f:
            line = raw.split(";", 1)[0].strip()
            if not line:
                continue
            word = line.split()[0].upper()
            if word in ("LIBRARY", "NAME", "DESCRIPTION", "STACKSIZE", "HEAPSIZE",
                        "SECTIONS", "VERSION"):
                in_exports = False
                continue
            if word == "EXPORTS":
                in_exports = True
                rest = line[len("EXPORTS"):].strip()
                if not rest:
                    continue
                line = rest
            if not in_exports:
                continue
            if line.startswith('"'):
                end = line.index('"', 1)
                name = line[1:end]
            else:
                name = line.split("=", 1)[0].split()[0]
            names.append(name)
    return names


def is_system_dll(name):
    lower = name.lower()
    return lower in SYSTEM_DLLS or lower.startswith(SYSTEM_PREFIXES)


def main(argv):
    p = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    p.add_argument("--def", dest="def_file", required=True, help="module-definition file")
    p.add_argument("--dll-name", default="trova.dll", help="expected module name")
    p.add_argument("dll")
    p.add_argument("programs", nargs="*", help="further images whose imports to check")
    args = p.parse_args(argv)

    try:
        expected = def_exports(args.def_file)
        images = {}
        for path in [args.dll] + args.programs:
            with open(path, "rb") as f:
                images[path] = pe_image.PEImage(f.read())
    except (OSError, ValueError, pe_image.FormatError) as e:
        print(f"error: {e}", file=sys.stderr)
        return 2

    problems = []
    dll = images[args.dll]
    if not dll.is_dll:
        problems.append(f"{args.dll} is not a DLL image")
    if not dll.is_pe32_plus or dll.machine != 0x8664:
        problems.append(f"{args.dll} is not a 64-bit x86-64 image (machine {dll.machine:#x})")
    module, names = dll.exports()
    if (module or "").lower() != args.dll_name.lower():
        problems.append(f"export directory names the module {module!r}, expected {args.dll_name!r}")
    if not expected:
        problems.append(f"{args.def_file} lists no exports")
    if len(set(expected)) != len(expected):
        problems.append(f"{args.def_file} lists a name twice")
    missing = sorted(set(expected) - set(names))
    extra = sorted(set(names) - set(expected))
    for name in missing:
        problems.append(f"not exported: {name}")
    for name in extra:
        problems.append(f"exported but not in {os.path.basename(args.def_file)}: {name}")
    if len(names) != len(set(names)):
        problems.append("an export name appears twice")
    if dll.function_count() != len(names):
        problems.append(f"{dll.function_count()} exported functions but {len(names)} names "
                        "(exports by ordinal only?)")
    if "Reader_FFT_HIST2" in names:
        problems.append("Reader_FFT_HIST2 is exported under its plain name")

    for path, image in images.items():
        for dep in image.imported_dlls():
            if not is_system_dll(dep):
                problems.append(f"{os.path.basename(path)} imports {dep}, which is not a system DLL")

    if problems:
        for line in problems:
            print(f"FAIL {line}")
        return 1
    for path, image in images.items():
        print(f"{os.path.basename(path)} imports: {', '.join(sorted(image.imported_dlls()))}")
    print(f"{os.path.basename(args.dll)}: {len(names)} exports as in {os.path.basename(args.def_file)}: OK")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
