"""The check of the order list must notice lines that match nothing."""

import unittest

from order import complaint

MEMBERS = [f"member{number}" for number in range(40)]


def script(members):
    lines = "".join(f"    *libc.a:{member}.o(.text)\n" for member in members)
    return f"/* Generated */\nSECTIONS\n{{\n  .text.start :\n  {{\n{lines}  }}\n}}\nINSERT BEFORE .text;\n"


def section(member):
    """As the map shows it; some of them behind a gap."""
    gap = " *fill*         0x0000000000400708        0x8 \n" if member.endswith("1") else ""
    return f"{gap} .text          0x0000000000400710      0x152 /usr/lib/libc.a({member}.o)\n" \
           f"                0x0000000000400710                {member}\n"


def listing(members, present):
    lines = "".join(f" *libc.a:{member}.o(.text)\n" + (section(member) if member in present else "")
                    for member in members)
    return "Linker script and memory map\n\n.init           0x4000\n *(SORT_NONE(.init))\n\n" \
           f".text.start     0x00000000004006c0    0x3b859\n{lines}\n" \
           ".text           0x0000000000440000\n *(.text.unlikely)\n"


class Complaint(unittest.TestCase):
    def test_none(self):
        self.assertEqual("", complaint("x.ld", script(MEMBERS), listing(MEMBERS, MEMBERS)))

    def test_a_twentieth_may_be_stale(self):
        self.assertEqual("", complaint("x.ld", script(MEMBERS), listing(MEMBERS, MEMBERS[2:])))
        found = complaint("x.ld", script(MEMBERS), listing(MEMBERS, MEMBERS[3:])).splitlines()
        self.assertRegex(found[0], r"^x\.ld: 37 of 40 lines match .*95% must\. Make the list anew")
        self.assertEqual([f"    libc.a:{member}.o(.text)" for member in MEMBERS[:3]], found[1:])

    def test_nothing_matches(self):
        self.assertIn("0 of 40 lines", complaint("x.ld", script(MEMBERS), listing(MEMBERS, [])))

    def test_a_program_linked_without_the_list(self):
        without = "Linker script and memory map\n\n.text           0x0000000000440000\n *(.text.unlikely)\n"
        self.assertIn("0 of 40 lines", complaint("x.ld", script(MEMBERS), without))

    def test_an_empty_list(self):
        self.assertIn("0 of 0 lines", complaint("x.ld", script([]), listing([], [])))


if __name__ == "__main__":
    unittest.main()
