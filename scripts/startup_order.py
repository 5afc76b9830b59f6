"""Prints the linker script that puts together what the stand-alone program runs of the system's static libraries.

A static program is mapped in pieces of 64 KiB, as they are touched, and what a request runs of the C and C++ libraries lies
spread over all of theirs. This looks which sections of which members the program runs, in some requests under callgrind,
and lists them. A line that matches nothing, in another version of the libraries or on another processor, does no harm.

    scripts/startup_order.py >src/zvControl/startup.ld

after `cmake --build` of the presets release and standalone, with valgrind.
"""

import bisect
import os
import re
import sys

_SOURCE = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
sys.path.insert(0, os.path.join(_SOURCE, "camera", "launcher"))

from zvcamera.camera import Camera  # noqa: E402

_PROGRAM = "/usr/local/zarvo/standalone/zvControl-cgi-bin"
_REQUESTS = [("/command/ble/pair/status", ""), ("/command/ble/pairing_available", ""),
             ("/command/ble/whitelist/device", "address=ffffffffffff")]
# The C library chooses among several of a function by the processor, and valgrind's has not all of what others have.
_SIBLINGS = [("-avx2-movbe.o", "-evex-movbe.o"), ("-avx2.o", "-evex.o"), ("-avx2-unaligned-erms.o", "-evex-unaligned-erms.o"),
             ("-avx-unaligned-erms.o", "-evex-unaligned-erms.o")]


def _executed(program):
    """The addresses that callgrind saw executed."""
    addresses = set()
    with Camera(os.path.join(_SOURCE, "build", "release"), more=[(program, _PROGRAM)]) as camera:
        for path, query in _REQUESTS:
            done = camera.run(["/usr/bin/valgrind", "--tool=callgrind", "--dump-instr=yes", "--callgrind-out-file=/tmp/calls",
                               _PROGRAM], {"PATH_INFO": path, "QUERY_STRING": query, "PATH": "/usr/bin:/bin"})
            if done.status != 0:
                raise SystemExit(f"{path}: status {done.status}: {done.stderr.decode()}")
            address = 0
            for line in camera.run(["/bin/cat", "/tmp/calls"]).stdout.decode().splitlines():
                # A cost line: an address, or its distance from the last one, source line and cost.
                match = re.match(r"(0x[0-9a-f]+|[+-]\d+|\*) \S+ \d+$", line)
                if match and match[1] != "*":
                    address = int(match[1], 16) if match[1].startswith("0x") else address + int(match[1])
                    addresses.add(address)
    return addresses


def _sections(listing):
    """(address, size, name, archive and member) of each input section, by the linker's map."""
    with open(listing, encoding="utf-8") as file:
        text = file.read().split("\nLinker script and memory map", 1)[1]
    text = re.sub(r"\n (\S+)\n {2,}(?=0x)", r"\n \1 ", text)  # long names stand on lines of their own
    found = re.findall(r"^ (\S+) +0x([0-9a-f]+) +0x([0-9a-f]+) (\S.*)$", text, re.MULTILINE)
    return sorted((int(address, 16), int(size, 16), name, origin) for name, address, size, origin in found
                  if int(size, 16) > 0 and int(address, 16) > 0)


def main():
    build = os.path.join(_SOURCE, "build", "standalone")
    sections = _sections(os.path.join(build, "zvControl-cgi-bin.map"))
    starts = [section[0] for section in sections]
    lines = set()
    for address in _executed(os.path.join(build, "zvControl-cgi-bin")):
        start, size, name, origin = sections[bisect.bisect_right(starts, address) - 1]
        library = re.search(r"/(lib(?:c|stdc\+\+|gcc|gcc_eh)\.a)\((.*)\)$", origin)
        if start <= address < start + size and library and name.startswith(".text"):
            lines.add((library[1], library[2], name))
            for ending, sibling in _SIBLINGS:
                if library[2].endswith(ending):
                    lines.update((library[1], library[2][:-len(ending)] + sibling, other)
                                 for other in (".text.evex", ".text.evex512"))
    print("/* Made by scripts/startup_order.py: what a request runs of the static libraries, side by side. */")
    print("SECTIONS\n{\n  .text.start :\n  {")
    for library, member, name in sorted(lines):
        print(f"    *{library}:{member}({name})")
    print("  }\n}\nINSERT BEFORE .text;")


if __name__ == "__main__":
    main()
