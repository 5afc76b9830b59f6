"""Compares symbol tables with the names of the interface, and these with the list that the linker is given.

  exports.py --nm NM --exports LIST program FILE   the program's dynamic symbols: exactly the interface, with the right
                                                   kinds and sizes, and what the C++ runtime and the linker add
  exports.py --nm NM --exports LIST calls OBJECT   the undefined symbols of an object file: the whole interface
"""

import argparse
import re
import struct
import subprocess
import sys

POINTER = "pointer"

# The interface, written here a second time: a name that is lost from the linker's list is missed.
FUNCTIONS = """
    zvUtilSetLogLevel zvUtilKlogMsgLevel
    sntlv_msg_init sntlv_msg_len sntlv_add_bin sntlv_add_dat tlv_find sntlv_find tlv_validate sntlv_void sntlv_remove
    snLoclItoI snLoclbin
    zvMbox_init zvMbox_rxopen_ext zvMbox_rxopen zvMbox_txopen zvMbox_create_ext zvMbox_create zvMbox_close zvMbox_unlink
    zvMbox_send snzvMbox_receive snzvMbox_timedreceive
    zvmsg_build zvmsg_send zvmsg_send_timedreceive zvmsg_response
    snhexdump snhexdump0 _snhexdump hexline hexprint
    get_model_name trim daemon_init getCardIDStr
    zvErrno2Str
""".split()

# Its objects by name: their size as (count, size of one).
OBJECTS = {
    "g_debug": (1, 4),
    "g_debug_level": (1, 4),
    "g_logLevel": (1, 4),
    "g_timedreceive": (1, 4),
    "s_dmsghex": (28, 4),
    "s_dmsgstr": (28, POINTER),
    # A name and a 32-bit code, padded to the pointer's alignment.
    "zvErrnoStrMap": (22 * 2, POINTER),
}

INTERFACE = {*FUNCTIONS, *OBJECTS}

# Symbols that are not in the interface but belong to the program, and why.
ADDITIONS = [
    # Objects of shared libraries that the program uses in place (copy relocations); their names carry a version.
    ("BVRD", re.compile(r"\w+@+(GLIBC|GLIBCXX|CXXABI)_[\w.]+")),
    # The linker's marks of a program's parts.
    # (Templates and inline functions of the C++ library: is_runtime_copy.)
    ("ABDGRTW", re.compile(r"_init|_fini|_edata|_end|__bss_start|_IO_stdin_used|(__)?data_start|__end__|_bss_end__|"
                           r"__bss_(start|end)__")),
]


def read_list(path):
    with open(path, encoding="ascii") as file:
        lines = [line.split("#")[0].strip() for line in file]
    return [line for line in lines if line]


# Words of a demangled name that are part of the language.
WORDS = set("""
    bool char char8_t char16_t char32_t wchar_t short int long unsigned signed float double void __int128 const volatile
    true false decltype auto nullptr typeinfo name for vtable VTT guard variable reference temporary abi cxx11
""".split())
RUNTIME = ("std::", "__gnu_cxx::", "__cxxabiv1::")


def demangled(name):
    return subprocess.run(["c++filt", name], check=True, capture_output=True, text=True).stdout.strip()


def is_runtime_copy(kind, name):
    """True for a template or inline function of the C++ library. The program and a shared library both have a copy,
    and the linker exports the program's so that all use one. It is weak or unique, and its name holds only types of
    the C++ library and of the language: with a type of ours in it, it is a name of ours."""
    if kind not in "WVu" or not name.startswith("_Z"):
        return False
    text = demangled(name)
    if text == name:
        return False
    # Drops literals (16ul, (char)65), then takes whole qualified names. What follows a template's arguments (>::find)
    # belongs to the name before them.
    text = re.sub(r"\b\d\w*", "", text)
    names = re.findall(r"(?<!::)(?<!::~)\b[A-Za-z_]\w*(?:::~?\w+)*", text)
    return "anonymous namespace" not in text and "{" not in text and all(
        each in WORDS or each.startswith(RUNTIME) for each in names)


def is_addition(kind, name):
    return is_runtime_copy(kind, name) or any(kind in kinds and pattern.fullmatch(name) for kinds, pattern in ADDITIONS)


def list_differences(names):
    """Returns a line for each difference between the linker's list and the interface."""
    found = []
    if len(names) != len(set(names)):
        found.append("the list names something twice")
    for name in sorted(INTERFACE - set(names)):
        found.append(f"{name}: not in the list")
    for name in sorted(set(names) - INTERFACE):
        found.append(f"{name}: in the list, but not in the interface")
    return found


def differences(symbols, pointer_size):
    """Returns a line for each difference to the interface. symbols: {name: (nm's letter, size)}."""
    found = []
    for name in sorted(INTERFACE - set(symbols)):
        found.append(f"{name}: not exported")
    for name, (kind, size) in sorted(symbols.items()):
        if name not in INTERFACE:
            if not is_addition(kind, name):
                found.append(f"{name}: exported ({kind}), but not in the interface")
        elif name in OBJECTS:
            count, one = OBJECTS[name]
            expected = count * (pointer_size if one is POINTER else one)
            # The tables are for reading; the words are written by others as well.
            if kind not in ("BDGS" if name.startswith("g_") else "BDRGS"):
                found.append(f"{name}: {kind} is no {'writable ' * name.startswith('g_')}object")
            if size != expected:
                found.append(f"{name}: {size} bytes, {expected} expected")
        elif kind != "T":
            found.append(f"{name}: {kind} is no function")
    return found


def run_nm(nm, *arguments):
    output = subprocess.run([nm, "--format=posix", *arguments], check=True, capture_output=True, text=True).stdout
    symbols = {}
    for line in output.splitlines():
        name, kind, *rest = line.split()
        symbols[name] = (kind, int(rest[1], 16) if len(rest) > 1 else 0)
    return symbols


def pointer_size_of(path):
    with open(path, "rb") as file:
        magic, elf_class = struct.unpack("4sB", file.read(5))
    if magic != b"\x7fELF":
        raise SystemExit(f"{path}: no ELF file")
    return {1: 4, 2: 8}[elf_class]


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--nm", required=True)
    parser.add_argument("--exports", required=True)
    parser.add_argument("what", choices=["program", "calls"])
    parser.add_argument("file")
    options = parser.parse_args()
    found = list_differences(read_list(options.exports))
    if options.what == "program":
        symbols = run_nm(options.nm, "--dynamic", "--defined-only", options.file)
        found += differences(symbols, pointer_size_of(options.file))
    else:
        symbols = run_nm(options.nm, "--undefined-only", options.file)
        found += [f"{name}: never used" for name in sorted(INTERFACE - set(symbols))]
    for line in found:
        print(line)
    print(f"{len(INTERFACE)} names, {len(found)} differences")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
