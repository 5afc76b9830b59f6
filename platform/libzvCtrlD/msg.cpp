#include "msgTrace.h"
#include "zvCtrlD.h"

#include <new>

namespace {

constexpr unsigned short headerSize = 4; // of a message and of an element
constexpr std::size_t maxSize = 0xFFFF;
constexpr unsigned char endMarker = 238;

void putHeader(MemStream& stream, std::size_t length, unsigned char type) {
    const unsigned char header[headerSize] = {static_cast<unsigned char>(length >> 8),
                                              static_cast<unsigned char>(length), 0, type};
    stream.write(header, headerSize);
}

void putElementHeader(MemStream& stream, std::size_t length, unsigned char type) {
    const unsigned char header[headerSize] = {0, static_cast<unsigned char>(length >> 8),
                                              static_cast<unsigned char>(length), type};
    stream.write(header, headerSize);
}

std::size_t bigEndian16(const unsigned char* bytes) {
    return static_cast<std::size_t>(bytes[0]) << 8 | bytes[1];
}

} // namespace

Msg::Msg(unsigned char category) : constructed_(category), category_(category) {}

Msg::~Msg() {
    dropElements();
}

void Msg::dropElements() {
    for (Block* block = first_.next; block != nullptr;) {
        Block* next = block->next;
        delete block;
        block = next;
    }
    first_.next = nullptr;
    first_.used = 0;
    last_ = &first_;
    incomplete_ = false;
}

void Msg::clear() {
    dropElements();
}

template<class Visitor>
void Msg::forEach(Visitor visit) const {
    for (const Block* block = &first_; block != nullptr; block = block->next) {
        for (std::size_t i = 0; i < block->used; ++i) {
            if (!visit(*block->slots[i].element)) {
                return;
            }
        }
    }
}

std::size_t Msg::getSize() const {
    std::size_t size = headerSize;
    forEach([&](const MsgElement& element) {
        size += headerSize + element.getLength();
        return true;
    });
    return size;
}

unsigned char Msg::getCategory() const {
    return category_;
}

MsgElement* Msg::findElement(unsigned char type) {
    MsgElement* found = nullptr;
    forEach([&](MsgElement& element) {
        if (element.getType() == type) {
            found = &element;
        }
        return found == nullptr;
    });
    return found;
}

void Msg::dump(const char* title) const {
    if (!MsgTrace::wanted()) {
        return;
    }
    MsgTrace trace(title, category_, getSize());
    forEach([&](const MsgElement& element) { return trace.add(element); });
    trace.log();
}

// A slot for one more element; null when there is no memory for it.
Msg::Slot* Msg::nextSlot() {
    if (last_->used == blockSlots) {
        last_->next = new (std::nothrow) Block;
        if (last_->next == nullptr) {
            incomplete_ = true;
            return nullptr;
        }
        last_ = last_->next;
    }
    return &last_->slots[last_->used++];
}

void Msg::addElement(MsgElement* element) {
    if (element == nullptr) {
        return;
    }
    if (Slot* slot = nextSlot()) {
        slot->element = element;
    }
}

MemStream& operator<<(MemStream& stream, const Msg& message) {
    const std::size_t size = message.getSize();
    if (message.incomplete_ || size > maxSize || size > stream.getRoom()) {
        stream.setFail();
        return stream;
    }
    putHeader(stream, size, message.category_);
    message.forEach([&](const MsgElement& element) {
        putElementHeader(stream, element.getLength(), element.getType());
        return stream.write(element.getData(), element.getLength());
    });
    return stream;
}

// Reads the elements; false when they do not fill length bytes exactly.
bool Msg::readElements(unsigned char* elements, std::size_t length) {
    while (length > 0) {
        if (length < headerSize || length - headerSize < bigEndian16(elements + 1)) {
            return false;
        }
        const std::size_t size = bigEndian16(elements + 1);
        const unsigned char type = elements[3];
        if (type == endMarker && length != headerSize) {
            return false;
        }
        Slot* slot = nextSlot();
        if (slot == nullptr) {
            return false;
        }
        slot->element = &slot->read.emplace(type, static_cast<unsigned short>(size), elements + headerSize, true);
        elements += headerSize + size;
        length -= headerSize + size;
    }
    return true;
}

MemStream& operator>>(MemStream& stream, Msg& message) {
    message.dropElements();
    message.category_ = message.constructed_;
    MemStream probe = stream;
    const unsigned char* header = probe.take(headerSize);
    const std::size_t total = header != nullptr ? bigEndian16(header) : 0;
    unsigned char* elements = nullptr;
    if (total >= headerSize) {
        elements = probe.take(static_cast<unsigned short>(total - headerSize));
    }
    if (elements == nullptr || !message.readElements(elements, total - headerSize)) {
        message.dropElements();
        stream.setFail();
        return stream;
    }
    message.category_ = header[headerSize - 1];
    stream = probe;
    return stream;
}
