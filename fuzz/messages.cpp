// What the camera's daemons decode: messages of the queues, entries, packets of the control libraries, texts.
#include "bleAddress.h"
#include "bleEntries.h"
#include "controlProtocol.h"
#include "fuzzInput.h"
#include "hexText.h"
#include "jsonReader.h"
#include "quoteText.h"
#include "tlv.h"

#include <nlohmann/json.hpp>

namespace {

using namespace zvcamera;
using zvfuzz::Input;
using zvfuzz::require;

// The bytes that a message's reserved parts keep out of the comparison.
void checkMessage(const Bytes& bytes) {
    const DecodedMessage decoded = decodeMessage(bytes);
    if (!decoded.problem.empty()) {
        return;
    }
    const Bytes again = encodeMessage(decoded.message);
    require(again.size() == bytes.size(), "a message keeps its size");
    const DecodedMessage second = decodeMessage(again);
    require(second.problem.empty() && second.message == decoded.message, "a message that is read can be written");
}

void checkEntries(Bytes bytes) {
    bytes.resize(scanEntrySize);
    const ScanEntry scan = readScanEntry(bytes);
    Bytes written;
    appendEntry(written, scan);
    require(written.size() == scanEntrySize, "the size of a scan entry");
    const ScanEntry again = readScanEntry(written);
    require(again.address == scan.address && again.rssi == scan.rssi, "a scan entry's fixed parts");
    require(scan.name.rfind(again.name, 0) == 0, "a scan entry's name");

    bytes.resize(whitelistEntrySize);
    const WhitelistEntry entry = readWhitelistEntry(bytes);
    written.clear();
    appendEntry(written, entry);
    require(written.size() == whitelistEntrySize, "the size of a whitelist entry");
    const WhitelistEntry same = readWhitelistEntry(written);
    require(same.address == entry.address && same.flags == entry.flags, "a whitelist entry's fixed parts");
    // An offset may lead into the fixed parts: the name is then longer than an entry has room for.
    require(entry.name.rfind(same.name, 0) == 0, "a whitelist entry's name");
}

void checkPackets(const Bytes& bytes) {
    unsigned char packet[zvcontrol::maxPacket];
    if (const auto request = zvcontrol::decodeRequest(bytes)) {
        const std::size_t length = zvcontrol::encodeRequest(*request, packet);
        require(Bytes(packet, packet + length) == bytes, "a request that is read is the one that was written");
    }
    if (const auto answer = zvcontrol::decodeAnswer(bytes)) {
        const std::size_t length = zvcontrol::encodeAnswer(*answer, packet);
        require(length == bytes.size(), "an answer that is read is as long as the one that was written");
    }
}

void checkTexts(const std::string& text) {
    try {
        require(fromHex(toHex(fromHex(text))) == fromHex(text), "hexadecimal digits");
    } catch (const std::invalid_argument&) {
    }
    try {
        const Address address = parseAddress(text);
        require(parseAddress(toText(address)) == address, "an address that is read can be written");
    } catch (const std::invalid_argument&) {
    }
    for (const std::size_t size : {uuid16Size, uuid128Size}) {
        try {
            const Bytes uuid = parseUuid(text, size);
            require(uuid.size() == size && parseUuid(uuidText(uuid), size) == uuid, "a UUID");
        } catch (const std::invalid_argument&) {
        }
    }
    require(quoteText(text).size() >= text.size(), "a quoted text is no shorter");
    try {
        static_cast<void>(parseJson(text));
    } catch (const std::exception&) {
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Bytes bytes(data, data + size);
    checkMessage(bytes);
    checkEntries(bytes);
    checkPackets(bytes);
    checkTexts({bytes.begin(), bytes.end()});
    return 0;
}
