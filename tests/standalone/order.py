"""Compares the order list of the stand-alone program with the linker's map: order.py LIST MAP

A line of the list that names nothing in the libraries does no harm, and no good. Of a hundred lines 95 must match.
"""

import re
import sys

LEAST_SHARE = 0.95


def listed(script):
    """The lines of a list: library:member(section)."""
    return re.findall(r"^ *\*(lib\S+\.a:\S+\(\S+\))$", script, re.MULTILINE)


def placed(listing):
    """The lines of the list, as the map repeats them, that input sections stand below."""
    layout = listing.split("\nLinker script and memory map", 1)[-1]
    start = re.search(r"^\.text\.start\b.*?(?=^\S|\Z)", layout, re.MULTILINE | re.DOTALL)
    line_and_section = r"^ \*(lib\S+\.a:\S+\(\S+\))\n (?:\*fill\*.*\n )?\."
    return set(re.findall(line_and_section, start[0], re.MULTILINE)) if start else set()


def complaint(name, script, listing):
    """What is wrong; nothing when enough lines match."""
    lines, matched = listed(script), placed(listing)
    stale = [line for line in lines if line not in matched]
    if lines and len(stale) <= len(lines) * (1 - LEAST_SHARE):
        return ""
    return "\n".join([f"{name}: {len(lines) - len(stale)} of {len(lines)} lines match what the program is linked from; "
                      f"{LEAST_SHARE:.0%} must. Make the list anew: its first line tells how. These match nothing:",
                      *(f"    {line}" for line in stale)])


def main():
    script, listing = sys.argv[1:]
    with open(script, encoding="utf-8") as text, open(listing, encoding="utf-8") as lines:
        found = complaint(script, text.read(), lines.read())
    if found:
        sys.exit(found)


if __name__ == "__main__":
    main()
