"""Compares what the program uses of libzvCtrlD's message classes with the list of what it may use.

  platform_calls.py --nm NM FILE   the undefined dynamic symbols of Msg, MsgElement and MemStream: exactly those below

The closed library's classes may have other members than this project's replacement, so the program must use no others.
"""

import argparse
import re
import subprocess
import sys

NAMES = {
    "_ZN10MsgElement7setDataEPht": "MsgElement::setData(unsigned char*, unsigned short)",
    "_ZN10MsgElementC1Ehb": "MsgElement::MsgElement(unsigned char, bool)",
    "_ZN10MsgElementC1EhtPhb": "MsgElement::MsgElement(unsigned char, unsigned short, unsigned char*, bool)",
    "_ZN10MsgElementD1Ev": "MsgElement::~MsgElement()",
    "_ZN3Msg10addElementEP10MsgElement": "Msg::addElement(MsgElement*)",
    "_ZN3Msg11findElementEh": "Msg::findElement(unsigned char)",
    "_ZN3Msg5clearEv": "Msg::clear(), in the virtual tables of the requests",
    "_ZN3MsgC1Eh": "Msg::Msg(unsigned char)",
    "_ZN3MsgC2Eh": "Msg::Msg(unsigned char), of a base",
    "_ZN3MsgD1Ev": "Msg::~Msg()",
    "_ZN3MsgD2Ev": "Msg::~Msg(), of a base",
    "_ZN9MemStreamC1EPht": "MemStream::MemStream(unsigned char*, unsigned short)",
    "_ZNK10MsgElement7getDataEv": "MsgElement::getData() const",
    "_ZNK10MsgElement9getLengthEv": "MsgElement::getLength() const",
    "_ZNK3Msg11getCategoryEv": "Msg::getCategory() const",
    "_ZNK3Msg4dumpEPKc": "Msg::dump(char const*) const",
    "_ZNK3Msg7getSizeEv": "Msg::getSize() const, in the virtual tables of the requests",
    "_ZNK9MemStream9getBufferEv": "MemStream::getBuffer() const",
    "_ZNK9MemStream9getLengthEv": "MemStream::getLength() const",
    "_ZTI3Msg": "typeinfo for Msg",
    "_ZlsR9MemStreamRK3Msg": "operator<<(MemStream&, Msg const&)",
    "_ZrsR9MemStreamR3Msg": "operator>>(MemStream&, Msg&)",
    "_ZrsR9MemStreamRh": "operator>>(MemStream&, unsigned char&)",
}


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--nm", required=True)
    parser.add_argument("file")
    options = parser.parse_args()
    output = subprocess.run([options.nm, "--dynamic", "--undefined-only", "--format=posix", options.file],
                            check=True, capture_output=True, text=True).stdout
    taken = {line.split()[0] for line in output.splitlines()}
    # A mangled name has the name's length before it.
    taken = {name for name in taken if re.search(r"3Msg|10MsgElement|9MemStream", name)}
    for name in sorted(taken - set(NAMES)):
        print(f"{name}: taken, but not in the list")
    for name in sorted(set(NAMES) - taken):
        print(f"{name}: not taken, {NAMES[name]}")
    return 0 if taken == set(NAMES) else 1


if __name__ == "__main__":
    sys.exit(main())
