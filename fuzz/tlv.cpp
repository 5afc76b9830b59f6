// TLV buffers: what any bytes give, and a message that is built step by step beside a plain model of it.
#include "fuzzInput.h"
#include "zvMsg.h"
#include "zvTlv.h"

#include <cstring>
#include <memory>
#include <optional>

namespace {

using zvfuzz::Bytes;
using zvfuzz::Input;
using zvfuzz::require;

constexpr std::size_t header = 4;

// The length of the data of an element.
std::size_t lengthAt(const Bytes& bytes, std::size_t at) {
    return static_cast<std::size_t>(bytes[at + 1]) * 256 + bytes[at + 2];
}

// Where the first element with the tag begins, as the bytes say; nothing when none lies inside the total length.
std::optional<std::size_t> elementAt(const Bytes& bytes, std::size_t total, std::uint8_t tag) {
    for (std::size_t at = header; at + header <= total; at += header + lengthAt(bytes, at)) {
        if (bytes[at + 3] == tag) {
            return at;
        }
    }
    return std::nullopt;
}

int validated(const Bytes& bytes, std::size_t total) {
    if (total <= header || bytes[total - 1] != ZVTLV_TAIL) {
        return -1;
    }
    std::size_t at = header;
    while (at + header <= total) {
        const std::size_t next = at + header + lengthAt(bytes, at);
        if (bytes[at + 3] == ZVTLV_TAIL) {
            return next == total && at + header == total ? 0 : -1;
        }
        at = next;
    }
    if (at == total) {
        return -1;
    }
    const bool payload = elementAt(bytes, total, ZVTLV_DATA).has_value();
    const bool response = elementAt(bytes, total, ZVTLV_RSP).has_value();
    const bool answered = bytes[3] <= 13 && bytes[3] % 2 == 1;
    return payload && response == answered ? -2 : -3;
}

void checkFind(Bytes& bytes, std::size_t total, std::uint8_t tag, std::size_t room) {
    const auto at = elementAt(bytes, total, tag);
    require(tlv_find(bytes.data(), tag) == (at ? bytes.data() + *at : nullptr), "an element is found where it stands");
    const std::size_t length = at ? lengthAt(bytes, *at) : 0;
    const bool whole = at && *at + header + length <= total && length < room;
    Bytes copy(room);
    require(sntlv_find(copy.data(), static_cast<std::uint32_t>(room), tag, bytes.data()) ==
                (whole ? static_cast<int>(length) : 0),
            "the length of an element's data");
    require(!whole || length == 0 || std::memcmp(copy.data(), &bytes[*at + header], length) == 0, "an element's data");
}

// A block of just the message's size, so that a read behind it is seen.
void checkAnyBytes(Input& input) {
    const std::uint8_t tag = input.byte();
    const std::size_t room = input.byte();
    Bytes bytes = input.bytes(2000);
    if (bytes.size() < header) {
        return;
    }
    const std::size_t claimed = static_cast<std::size_t>(bytes[0]) * 256 + bytes[1];
    if (claimed > bytes.size() && claimed < 0x8000) {
        bytes[0] = static_cast<std::uint8_t>(bytes.size() >> 8);
        bytes[1] = static_cast<std::uint8_t>(bytes.size());
    }
    bytes.shrink_to_fit();
    const std::size_t named = static_cast<std::size_t>(bytes[0]) * 256 + bytes[1];
    const std::size_t total = named < 0x8000 ? named : 0;
    require(tlv_validate(bytes.data()) == validated(bytes, total), "the verdict on a message");
    checkFind(bytes, total, tag, room);
    if (const auto at = elementAt(bytes, total, tag)) {
        const std::size_t length = std::min<std::size_t>(lengthAt(bytes, *at), total - *at - header);
        Bytes expected = bytes;
        expected[*at] = 'W';
        std::fill_n(expected.begin() + static_cast<std::ptrdiff_t>(*at + header), length, std::uint8_t{0});
        sntlv_void(bytes.data(), tag);
        require(bytes == expected, "a blanked element");
        const int size = static_cast<int>(length + header);
        require(sntlv_remove(bytes.data(), 0, tag) == -size, "the size of a removed element");
        require(bytes[0] * 256 + bytes[1] == static_cast<int>(total) - size, "the length without it");
    }
}

// In a holder, where a total length may claim more than has come.
void checkResponse(Input& input) {
    const std::uint32_t capacity = input.byte() * 4U + 4;
    const Bytes bytes = input.bytes(capacity);
    const std::unique_ptr<void, decltype(&std::free)> block(std::calloc(1, ZVMSG_HOLDER_SIZE(capacity)), &std::free);
    auto* const holder = static_cast<zvmsg_holder*>(block.get());
    holder->capacity = capacity;
    std::copy(bytes.begin(), bytes.end(), holder->buf);
    std::uint8_t* data = nullptr;
    std::uint16_t length = 0;
    if (zvmsg_response(holder, &data, &length) != nullptr) {
        require(data >= holder->buf + header && data + length <= holder->buf + capacity + 4,
                "a response lies in its holder");
    }
}

void append(Bytes& model, std::uint8_t tag, const Bytes& data) {
    for (const std::size_t byte : {std::size_t{0}, data.size() >> 8, data.size(), std::size_t{tag}}) {
        model.push_back(static_cast<std::uint8_t>(byte));
    }
    model.insert(model.end(), data.begin(), data.end());
    model[0] = static_cast<std::uint8_t>(model.size() >> 8);
    model[1] = static_cast<std::uint8_t>(model.size());
}

// An element fits when the total length and its data do not exceed the capacity.
void addStep(Input& input, Bytes& buffer, Bytes& model) {
    const std::uint8_t tag = input.byte();
    const Bytes data = input.bytes(input.byte());
    const auto length = static_cast<std::uint32_t>(data.size());
    const auto capacity = static_cast<std::uint32_t>(buffer.size() - header);
    const bool fits = model.size() + length <= capacity;
    const int added = sntlv_add_bin(buffer.data(), capacity, tag, length, data.data());
    require(added == (fits ? static_cast<int>(length + header) : 0), "the size of an added element");
    if (fits) {
        append(model, tag, data);
    }
}

void addNumberStep(Input& input, Bytes& buffer, Bytes& model) {
    const std::uint8_t tag = input.byte();
    const std::uint32_t length = input.byte() % 9;
    const std::uint32_t first = input.number();
    const std::uint32_t second = input.number();
    const auto capacity = static_cast<std::uint32_t>(buffer.size() - header);
    const bool fits = model.size() + length <= capacity;
    const int added = sntlv_add_dat(buffer.data(), capacity, tag, length, first, second);
    require(added == (fits ? static_cast<int>(length + header) : 0), "the size of an added number");
    if (fits) {
        Bytes data(8);
        std::memcpy(data.data(), &first, sizeof first);
        std::memcpy(data.data() + sizeof first, &second, sizeof second);
        data.resize(length);
        append(model, tag, data);
    }
}

// Only the last element, as callers do: no byte is moved.
void removeStep(Bytes& buffer, Bytes& model, std::size_t last) {
    const std::uint8_t tag = model[last + 3];
    if (elementAt(model, model.size(), tag) != last) {
        return;
    }
    require(sntlv_remove(buffer.data(), 0, tag) == -static_cast<int>(model.size() - last), "the last element's size");
    model.resize(last);
    model[0] = static_cast<std::uint8_t>(model.size() >> 8);
    model[1] = static_cast<std::uint8_t>(model.size());
}

void checkSteps(Input& input) {
    Bytes buffer(std::size_t{input.byte()} * 8 + 2 * header);
    const std::uint8_t type = input.byte();
    Bytes model{0, 4, 0, type};
    std::vector<std::size_t> starts;
    require(sntlv_msg_init(buffer.data(), 0, type) == 4, "an empty message");
    while (!input.empty()) {
        const std::size_t before = model.size();
        switch (input.byte() % 4) {
        case 0:
            addStep(input, buffer, model);
            break;
        case 1:
            addNumberStep(input, buffer, model);
            break;
        case 2:
            if (!starts.empty()) {
                removeStep(buffer, model, starts.back());
            }
            break;
        default:
            checkFind(buffer, model.size(), input.byte(), 64);
            break;
        }
        if (model.size() > before) {
            starts.push_back(before);
        } else if (model.size() < before) {
            starts.pop_back();
        }
        require(sntlv_msg_len(buffer.data()) == static_cast<int>(model.size()), "the total length");
        require(std::equal(model.begin(), model.end(), buffer.begin()), "the message");
        require(tlv_validate(buffer.data()) == validated(model, model.size()), "the verdict on a built message");
    }
}

} // namespace

// What to do (0: any bytes, 1: a response in a holder, 2: steps), and the bytes for it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    switch (input.byte() % 3) {
    case 0:
        checkAnyBytes(input);
        break;
    case 1:
        checkResponse(input);
        break;
    default:
        checkSteps(input);
        break;
    }
    return 0;
}
