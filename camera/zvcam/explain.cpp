#include "explain.h"

#include "bleProtocol.h"
#include "commandNames.h"
#include "cursor.h"
#include "hexText.h"
#include "quoteText.h"
#include "tlv.h"

#include <algorithm>
#include <cstdio>

namespace zvcamera {
namespace {

constexpr std::size_t headerBytes = 4;

class Explainer {
public:
    explicit Explainer(std::string command) : command_(std::move(command)) {}

    std::vector<Field> run(ByteSpan bytes);

private:
    void add(std::size_t offset, int depth, std::string name, std::string value) {
        fields_.push_back({offset, depth, std::move(name), std::move(value)});
    }
    void element(std::size_t offset, const Element& element);
    void requestData(std::size_t offset, ByteSpan data);
    void requestParameters(std::size_t offset, const CommandInfo& info, ByteSpan data);
    void response(std::size_t offset, ByteSpan data);
    void page(std::size_t offset, const CommandInfo& info, ByteSpan data);
    void scanEntry(std::size_t offset, ByteSpan bytes);
    void whitelistEntry(std::size_t offset, ByteSpan bytes);
    void address(std::size_t offset, ByteSpan data, int depth);

    std::string command_;
    std::string tag_; // of the message at hand
    std::vector<Field> fields_;
};

const char* categoryText(std::uint8_t category) {
    return category == categoryRequest ? " (request)" : category == categoryReply ? " (reply)" : " (unknown)";
}

const char* tagText(std::uint8_t tag) {
    switch (tag) {
    case tagCommand:
        return "command tag";
    case tagData:
        return "data";
    case tagDestination:
        return "destination";
    case tagReplyQueue:
        return "reply queue";
    case tagResponse:
        return "response";
    case tagTail:
        return "tail";
    default:
        return "unknown element";
    }
}

std::string flagsText(std::uint16_t flags) {
    char number[8];
    std::snprintf(number, sizeof number, "0x%04x", flags);
    std::string text = number;
    const auto name = [&](std::uint16_t flag, const char* word) { text += (flags & flag) != 0 ? word : ""; };
    name(flagInUse, " in-use");
    name(flagConnected, " connected");
    name(flagMitm, " mitm");
    name(flagAutoConnect, " auto-connect");
    return text;
}

std::string uuidsText(ByteSpan uuids, std::size_t size) {
    std::string text;
    for (; uuids.size() >= size; uuids = uuids.subspan(size)) {
        text += (text.empty() ? "" : " ") + uuidText(uuids.first(size));
    }
    return uuids.empty() ? text : text + " and " + toHex(uuids);
}

std::string statusText(std::uint8_t status) {
    return std::to_string(status) + " (" + toText(static_cast<Status>(status)) + ")";
}

std::string entriesText(const CommandInfo& info, ByteSpan data) {
    return std::to_string((data.size() - pageHeaderSize) / info.entrySize);
}

std::vector<Field> Explainer::run(ByteSpan bytes) {
    const DecodedMessage decoded = decodeMessage(bytes);
    if (bytes.size() >= headerBytes) {
        Cursor header(bytes);
        add(0, 0, "total length", std::to_string(header.big16()));
        const std::uint8_t category = decoded.message.category;
        add(3, 0, "category", std::to_string(category) + categoryText(category));
    }
    const Element* tag = decoded.message.find(tagCommand);
    tag_ = tag == nullptr ? "" : std::string(tag->text());
    std::size_t offset = headerBytes;
    for (const Element& one : decoded.message.elements) {
        element(offset, one);
        offset += headerBytes + one.data.size();
    }
    if (!decoded.problem.empty()) {
        add(std::min(offset, bytes.size()), 0, "malformed", decoded.problem);
        if (offset < bytes.size()) {
            add(offset, 0, "rest", toHex(bytes.subspan(offset)));
        }
    }
    return std::move(fields_);
}

void Explainer::element(std::size_t offset, const Element& element) {
    const std::size_t inside = offset + headerBytes;
    std::string value = std::to_string(element.tag) + ", " + std::to_string(element.data.size()) + " bytes";
    switch (element.tag) {
    case tagCommand:
    case tagDestination:
    case tagReplyQueue:
        add(offset, 0, tagText(element.tag), value + ": " + quoteText(element.text()));
        break;
    case tagData:
        add(offset, 0, tagText(element.tag), value);
        requestData(inside, element.data);
        break;
    case tagResponse:
        add(offset, 0, tagText(element.tag), value);
        response(inside, element.data);
        break;
    case tagTail:
        add(offset, 0, tagText(element.tag), value);
        break;
    default:
        add(offset, 0, tagText(element.tag), value + ": " + toHex(element.data));
        break;
    }
}

void Explainer::requestData(std::size_t offset, ByteSpan data) {
    const CommandInfo* info = tag_ == bleTag && !data.empty() ? findCommand(data[0]) : nullptr;
    if (info == nullptr || data.size() != info->dataSize) {
        if (info != nullptr) {
            add(offset, 1, "command", std::to_string(data[0]) + " (" + info->name + "), wrong size");
        }
        if (!data.empty()) {
            add(offset, 1, "bytes", toHex(data));
        }
        return;
    }
    add(offset, 1, "command", std::to_string(data[0]) + " (" + info->name + ")");
    requestParameters(offset, *info, data);
}

void Explainer::requestParameters(std::size_t offset, const CommandInfo& info, ByteSpan data) {
    const auto number = [&](std::size_t at, const char* name) { add(offset + at, 1, name, std::to_string(data[at])); };
    switch (info.code) {
    case BleCode::Scan:
        number(1, "mode");
        break;
    case BleCode::PairStart:
    case BleCode::PairCancel:
        address(offset + 1, data.subspan(1), 1);
        number(7, "address type");
        break;
    case BleCode::ScanList:
    case BleCode::WhitelistList:
        number(1, "start index");
        number(2, "maximum");
        break;
    case BleCode::WhitelistConfigure:
        add(offset + 1, 1, "operation",
            std::to_string(data[1]) + (data[1] == whitelistRemove        ? " (remove)"
                                       : data[1] == whitelistAutoConnect ? " (auto connect)"
                                                                         : " (unknown)"));
        number(2, "argument");
        address(offset + 3, data.subspan(3), 1);
        break;
    case BleCode::ConfigSet:
        number(1, "reserved");
        number(2, "auto connect");
        break;
    case BleCode::PairStatus:
    case BleCode::ConfigGet:
        break;
    }
}

void Explainer::address(std::size_t offset, ByteSpan data, int depth) {
    add(offset, depth, "address", toText(addressAt(data, 0)));
}

void Explainer::response(std::size_t offset, ByteSpan data) {
    if (data.empty()) {
        add(offset, 1, "status", "missing");
        return;
    }
    add(offset, 1, "status", statusText(data[0]));
    const ByteSpan rest = data.subspan(1);
    const CommandInfo* info = findCommand(std::string_view(command_));
    if (rest.empty()) {
        return;
    }
    if (info != nullptr && info->entrySize > 0 && rest.size() >= pageHeaderSize) {
        page(offset + 1, *info, rest);
    } else if (info != nullptr && info->code == BleCode::PairStatus && rest.size() == 1) {
        add(offset + 1, 1, "pairing status",
            std::to_string(rest[0]) + " (" + toText(static_cast<PairingStatus>(rest[0])) + ")");
    } else if (info != nullptr && info->code == BleCode::ConfigGet && rest.size() == 1) {
        add(offset + 1, 1, "auto connect", std::to_string(rest[0]));
    } else {
        add(offset + 1, 1, "bytes", toHex(rest));
    }
}

void Explainer::page(std::size_t offset, const CommandInfo& info, ByteSpan data) {
    static constexpr const char* names[pageHeaderSize] = {"list id", "total", "index", "count"};
    for (std::size_t i = 0; i < pageHeaderSize; ++i) {
        add(offset + i, 1, names[i], std::to_string(data[i]));
    }
    const std::size_t count = data[3];
    ByteSpan rest = data.subspan(pageHeaderSize);
    std::size_t place = offset + pageHeaderSize;
    for (std::size_t i = 0; i < count && rest.size() >= info.entrySize; ++i) {
        add(place, 1, "entry", std::to_string(data[2] + i));
        if (info.code == BleCode::ScanList) {
            scanEntry(place, rest);
        } else {
            whitelistEntry(place, rest);
        }
        place += info.entrySize;
        rest = rest.subspan(info.entrySize);
    }
    if (!rest.empty() || count * info.entrySize != data.size() - pageHeaderSize) {
        add(place, 1, "malformed",
            "the count says " + std::to_string(count) + " entries, there are " + entriesText(info, data) + ", " +
                std::to_string(rest.size()) + " bytes left");
    }
}

void Explainer::scanEntry(std::size_t offset, ByteSpan bytes) {
    const ScanEntry entry = readScanEntry(bytes);
    add(offset, 2, "address", toText(entry.address));
    add(offset + 6, 2, "address type", std::to_string(entry.addressType));
    add(offset + 7, 2, "rssi", std::to_string(entry.rssi));
    add(offset + 8, 2, "name", quoteText(entry.name));
    add(offset + 10, 2, "uuid128", uuidsText(entry.uuid128, uuid128Size));
    add(offset + 12, 2, "uuid16", uuidsText(entry.uuid16, uuid16Size));
}

void Explainer::whitelistEntry(std::size_t offset, ByteSpan bytes) {
    const WhitelistEntry entry = readWhitelistEntry(bytes);
    add(offset, 2, "address", toText(entry.address));
    add(offset + 6, 2, "flags", flagsText(entry.flags));
    add(offset + 8, 2, "name", quoteText(entry.name));
}

} // namespace

std::vector<Field> explainMessage(ByteSpan bytes, const std::string& command) {
    return Explainer(command).run(bytes);
}

std::string summarizeMessage(ByteSpan bytes, const std::string& command) {
    const DecodedMessage decoded = decodeMessage(bytes);
    if (!decoded.problem.empty()) {
        return "malformed: " + decoded.problem;
    }
    const Element* tag = decoded.message.find(tagCommand);
    const Element* data = decoded.message.find(tagData);
    const Element* response = decoded.message.find(tagResponse);
    const std::string answered = command.empty() ? "" : " to " + command;
    if (decoded.message.category == categoryReply && response != nullptr && !response->data.empty()) {
        return "reply" + answered + ", status " + statusText(response->data[0]);
    }
    if (decoded.message.category != categoryRequest || tag == nullptr) {
        return "category " + std::to_string(decoded.message.category) + categoryText(decoded.message.category) +
               (response == nullptr ? ", no response element" : "");
    }
    const std::string name = commandOf(tag->text(), data == nullptr ? ByteSpan{} : ByteSpan(data->data));
    return "request " + quoteText(tag->text()) + " " + (name.empty() ? "of no known command" : name);
}

} // namespace zvcamera
