// Stands in for the message classes of libzvCtrlD. The stand-in leaves the objects' own members alone, as their layout
// is the library's: what it knows of an object stands beside it, by its address.
#ifdef __clang__
#pragma clang diagnostic ignored "-Wunused-private-field"
#endif
#include "journal.h"
#include "zvCtrlD.h"

#include <cstring>
#include <list>
#include <map>
#include <set>
#include <vector>

using journal::place;
using journal::quoted;
using journal::record;

namespace {

constexpr std::size_t headerSize = 4;
constexpr unsigned short messageSize = 1500;
constexpr unsigned char readCategory = 20; // what a message that is to be read is constructed with

struct Element {
    std::string name;
    unsigned char type = 0;
    const unsigned char* data = nullptr;
    unsigned short length = 0;
    std::set<std::string> asked = {};
};

// An element that was read from a stream. Only its address is used.
struct alignas(MsgElement) Room {
    unsigned char bytes[sizeof(MsgElement)];
};

struct Message {
    std::string name;
    unsigned char category = 0;
    std::vector<MsgElement*> elements = {};
    std::list<Room> read = {};
    std::set<std::string> asked = {};
};

struct Stream {
    std::string name;
    unsigned char* buffer = nullptr;
    unsigned short capacity = 0;
    unsigned short used = 0;
    bool failed = false;
    std::set<std::string> asked = {};
};

Element& of(const MsgElement* element) {
    static std::map<const MsgElement*, Element> all;
    return all[element];
}

Message& of(const Msg* message) {
    static std::map<const Msg*, Message> all;
    return all[message];
}

Stream& of(const MemStream* stream) {
    static std::map<const MemStream*, Stream> all;
    return all[stream];
}

// How often an object is asked for what it holds is nobody's concern: only the first time is recorded.
template<typename Value>
void recordOnce(std::set<std::string>& asked, const std::string& object, const char* getter, const Value& value) {
    if (asked.insert(getter).second) {
        record(object, ".", getter, "() = ", value);
    }
}

// The program's elements, by type; the second one with a destination's type is the network daemon's.
std::string elementName(unsigned char type) {
    static const std::map<unsigned char, std::string> names = {{65, "tag"},        {66, "data"},  {67, "destination"},
                                                               {68, "replyQueue"}, {69, "spare"}, {238, "tail"}};
    static std::set<unsigned char> seen;
    const bool first = seen.insert(type).second;
    return first ? names.at(type) : "network";
}

unsigned get(const unsigned char* bytes) {
    return static_cast<unsigned>(bytes[0]) << 8 | bytes[1];
}

void put(unsigned char* bytes, std::size_t value) {
    bytes[0] = static_cast<unsigned char>(value >> 8);
    bytes[1] = static_cast<unsigned char>(value);
}

// Appends an element and returns how the journal shows it.
std::string append(Stream& stream, const Element& element) {
    unsigned char header[headerSize] = {0, 0, 0, element.type};
    put(header + 1, element.length);
    std::memcpy(stream.buffer + stream.used, header, headerSize);
    if (element.length > 0) {
        std::memcpy(stream.buffer + stream.used + headerSize, element.data, element.length);
    }
    stream.used = static_cast<unsigned short>(stream.used + headerSize + element.length);
    return " " + std::to_string(element.type) + ":" + journal::bytes(element.data, element.length);
}

void readElements(Message& message, unsigned char* bytes, std::size_t length) {
    for (std::size_t at = headerSize; at + headerSize <= length;) {
        MsgElement* const element = reinterpret_cast<MsgElement*>(&message.read.emplace_back());
        Element& read = of(element);
        read = {message.name + "[" + std::to_string(bytes[at + 3]) + "]", bytes[at + 3], bytes + at + headerSize,
                static_cast<unsigned short>(get(bytes + at + 1))};
        message.elements.push_back(element);
        at += headerSize + read.length;
    }
}

} // namespace

MsgElement::MsgElement(unsigned char type, bool borrow) {
    of(this) = {elementName(type), type};
    record("MsgElement(", int{type}, ", ", borrow, ") = ", of(this).name);
}

MsgElement::MsgElement(unsigned char type, unsigned short length, unsigned char* data, bool borrow) {
    of(this) = {elementName(type), type, data, length};
    record("MsgElement(", int{type}, ", ", length, ", ", place(data), ", ", borrow, ") = ", of(this).name);
}

MsgElement::~MsgElement() {
    record(of(this).name, ".~MsgElement()");
}

void MsgElement::setData(unsigned char* data, unsigned short length) {
    Element& element = of(this);
    element.data = data;
    element.length = length;
    record(element.name, ".setData(", journal::bytes(data, length), ", ", length, ")");
}

unsigned char MsgElement::getType() const {
    recordOnce(of(this).asked, of(this).name, "getType", int{of(this).type});
    return of(this).type;
}

unsigned short MsgElement::getLength() const {
    recordOnce(of(this).asked, of(this).name, "getLength", of(this).length);
    return of(this).length;
}

unsigned char* MsgElement::getData() const {
    recordOnce(of(this).asked, of(this).name, "getData", place(of(this).data));
    return const_cast<unsigned char*>(of(this).data);
}

Msg::Msg(unsigned char category) {
    of(this) = {category == readCategory ? "reply" : "request", category};
    record("Msg(", int{category}, ") = ", of(this).name);
}

Msg::~Msg() {
    record(of(this).name, ".~Msg()");
}

void Msg::clear() {
    record(of(this).name, ".clear()");
    of(this).elements.clear();
}

std::size_t Msg::getSize() const {
    std::size_t size = headerSize;
    for (const MsgElement* const element : of(this).elements) {
        size += headerSize + of(element).length;
    }
    recordOnce(of(this).asked, of(this).name, "getSize", size);
    return size;
}

unsigned char Msg::getCategory() const {
    recordOnce(of(this).asked, of(this).name, "getCategory", int{of(this).category});
    return of(this).category;
}

MsgElement* Msg::findElement(unsigned char type) {
    MsgElement* found = nullptr;
    for (MsgElement* const element : of(this).elements) {
        if (found == nullptr && of(element).type == type) {
            found = element;
        }
    }
    record(of(this).name, ".findElement(", int{type}, ") = ", found == nullptr ? "null" : of(found).name);
    return found;
}

void Msg::dump(const char* title) const {
    record(of(this).name, ".dump(", quoted(title), ")");
}

void Msg::addElement(MsgElement* element) {
    record(of(this).name, ".addElement(", of(element).name, ")");
    of(this).elements.push_back(element);
}

// The first stream with room for a whole message shows where the program keeps its messages.
MemStream::MemStream(unsigned char* buffer, unsigned short capacity) {
    if (capacity == messageSize && place(buffer) == "memory") {
        journal::name(buffer, messageSize, "ble_msg_buffer");
    }
    of(this) = {"MemStream(" + place(buffer) + ", " + std::to_string(capacity) + ")", buffer, capacity};
    record(of(this).name);
}

unsigned char* MemStream::getBuffer() const {
    recordOnce(of(this).asked, of(this).name, "getBuffer", place(of(this).buffer));
    return of(this).buffer;
}

unsigned short MemStream::getLength() const {
    recordOnce(of(this).asked, of(this).name, "getLength", of(this).used);
    return of(this).used;
}

unsigned short MemStream::getUnread() const {
    const auto left = static_cast<unsigned short>(of(this).capacity - of(this).used);
    recordOnce(of(this).asked, of(this).name, "getUnread", left);
    return left;
}

unsigned short MemStream::getRoom() const {
    const auto left = static_cast<unsigned short>(of(this).capacity - of(this).used);
    recordOnce(of(this).asked, of(this).name, "getRoom", left);
    return left;
}

bool MemStream::fail() const {
    recordOnce(of(this).asked, of(this).name, "fail", of(this).failed);
    return of(this).failed;
}

bool MemStream::write(const unsigned char* data, unsigned short length) {
    record(of(this).name, ".write(", journal::bytes(data, length), ", ", length, ")");
    return false;
}

bool MemStream::read(unsigned char*, unsigned short length) {
    record(of(this).name, ".read(", length, ")");
    return false;
}

unsigned char* MemStream::take(unsigned short length) {
    record(of(this).name, ".take(", length, ")");
    return nullptr;
}

void MemStream::setFail() {
    record(of(this).name, ".setFail()");
    of(this).failed = true;
}

MemStream& operator<<(MemStream& stream, unsigned char byte) {
    record(of(&stream).name, " << ", journal::bytes(&byte, 1));
    return stream;
}

MemStream& operator>>(MemStream& stream, unsigned char& byte) {
    Stream& state = of(&stream);
    if (state.used < state.capacity) {
        byte = state.buffer[state.used++];
    }
    record(state.name, " >> ", int{byte});
    return stream;
}

MemStream& operator<<(MemStream& stream, const Msg& message) {
    Stream& state = of(&stream);
    state.used = headerSize;
    std::string shown;
    for (const MsgElement* const element : of(&message).elements) {
        shown += append(state, of(element));
    }
    put(state.buffer, state.used);
    put(state.buffer + 2, of(&message).category);
    record(state.name, " << ", of(&message).name, shown);
    return stream;
}

// Reads what the tests send, and believes its lengths.
MemStream& operator>>(MemStream& stream, Msg& message) {
    Stream& state = of(&stream);
    record(state.name, " >> ", of(&message).name);
    if (state.capacity < headerSize || get(state.buffer) != state.capacity) {
        state.failed = true;
        return stream;
    }
    of(&message).category = state.buffer[3];
    readElements(of(&message), state.buffer, state.capacity);
    return stream;
}
