#include "zvCtrlD.h"

#include <cstring>
#include <new>

MsgElement::MsgElement(unsigned char type, bool borrow) : type_(type), borrow_(borrow) {}

MsgElement::MsgElement(unsigned char type, unsigned short length, unsigned char* data, bool borrow)
    : MsgElement(type, borrow) {
    setData(data, length);
}

MsgElement::~MsgElement() {
    if (!borrow_) {
        delete[] data_;
    }
}

void MsgElement::setData(unsigned char* data, unsigned short length) {
    unsigned char* next = length > 0 ? data : nullptr;
    if (!borrow_) {
        // The copy comes first: the caller may pass a part of the old data.
        unsigned char* copy = next != nullptr ? new (std::nothrow) unsigned char[length] : nullptr;
        if (copy != nullptr) {
            std::memcpy(copy, next, length);
        }
        delete[] data_;
        next = copy;
    }
    data_ = next;
    length_ = next != nullptr ? length : static_cast<unsigned short>(0);
}

unsigned char MsgElement::getType() const {
    return type_;
}

unsigned short MsgElement::getLength() const {
    return length_;
}

unsigned char* MsgElement::getData() const {
    return data_;
}
