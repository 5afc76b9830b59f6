#include "zvMsg.h"

#include "zvHexdump.h"
#include "zvLog.h"
#include "zvMbox.h"
#include "zvReport.h"
#include "zvTlv.h"
#include "zvTlvWalk.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace {

constexpr const char* modulePath = "libzvCommon/src/zvMsg";
constexpr std::uint32_t codeSize = 2;

// The current length is the caller's word: it is counted on, but nothing is read or added up beyond its limits.
void grow(zvmsg_holder* iobuf, int size) {
    const std::int64_t sum = std::int64_t{iobuf->length} + size;
    iobuf->length = static_cast<std::int32_t>(std::clamp<std::int64_t>(sum, INT32_MIN, INT32_MAX));
}

// The bytes that a holder has for a message.
std::int64_t storage(const zvmsg_holder* iobuf) {
    return std::int64_t{iobuf->capacity} + ZVTLV_HEADER_SIZE;
}

// The bytes of the message that are in the holder.
int present(const zvmsg_holder* iobuf) {
    return static_cast<int>(std::min<std::int64_t>(iobuf->length, storage(iobuf)));
}

// Makes the bytes from one offset to another zero, as far as the holder has them.
void clear(zvmsg_holder* iobuf, int from, std::int64_t to) {
    const std::int64_t end = std::min(to, storage(iobuf));
    if (from < end) {
        std::memset(iobuf->buf + from, 0, static_cast<std::size_t>(end - from));
    }
}

void addName(zvmsg_holder* iobuf, std::uint8_t tag, const char* name) {
    const auto length = static_cast<std::uint32_t>(std::strlen(name));
    grow(iobuf, sntlv_add_bin(iobuf->buf, iobuf->capacity, tag, length, name));
}

void trace(const zvmsg_holder* iobuf, int direction) {
    const bool known = direction >= 0 && direction < ZVMSG_DIRECTIONS;
    if (known && (g_debug_level & zv::traceSends) != 0 && (s_dmsghex[direction] & g_debug) != 0) {
        hexprint(s_dmsgstr[direction], 0, iobuf->buf, present(iobuf));
    }
}

void address(zvmsg_holder* iobuf, const char* from, const char* to, int direction) {
    addName(iobuf, ZVTLV_SRC, from);
    addName(iobuf, ZVTLV_DST, to);
    grow(iobuf, sntlv_add_dat(iobuf->buf, iobuf->capacity, ZVTLV_TAIL, 0));
    trace(iobuf, direction);
}

// The lines of one function's checks, which its reports tell.
struct Caller {
    const char* function;
    int validateLine;
    int openLine;
};

void checkMessage(zvmsg_holder* iobuf, const Caller& caller) {
    // A total length that points behind the holder is not looked at: what lies there is not the message.
    if (sntlv_msg_len(iobuf->buf) > storage(iobuf) || tlv_validate(iobuf->buf) != 0) {
        zv::assertFailed(modulePath, caller.function, caller.validateLine, "0 == tlv_validate(iobuf->buf)");
    }
}

// Opens, sends and closes; returns what closing gave. The send's own result is deliberately not used: what can go wrong
// ends the process inside zvMbox_send, and an answer that does not come is told by the receive.
int sendThrough(const zvmsg_holder* iobuf, const char* mailbox, const Caller& caller) {
    zvMbox_attr txq;
    if (zvMbox_txopen(mailbox, &txq) != 0) {
        zv::assertFailed(modulePath, caller.function, caller.openLine, "zvMbox_txopen(via, &txq) == 0");
    }
    // One that is too long for any mailbox goes there as it is, to end the process; nothing of it is read.
    const int length = iobuf->length > ZVMSG_MAX ? iobuf->length : present(iobuf);
    zvMbox_send(iobuf->buf, length, &txq);
    return zvMbox_close(&txq);
}

// Receives the answer into the holder. Nothing older may pass for a part of it, neither what remains of the request nor
// what an answer that is cut off has claimed but not brought.
int receiveAnswer(zvmsg_holder* iobuf, zvMbox_attr* rxq) {
    const int requestEnd = std::max(sntlv_msg_len(iobuf->buf), present(iobuf));
    const int received = snzvMbox_timedreceive(iobuf->buf, iobuf->capacity, rxq);
    if (received >= 0) {
        clear(iobuf, received, requestEnd);
        clear(iobuf, received, sntlv_msg_len(iobuf->buf));
    }
    return received;
}

// The bytes in which a response is looked for, by what the holder says. The current length limits them only where no
// capacity tells what the holder has: it is that of the last build or exchange, and elements may have been appended
// since.
std::int64_t searchLimit(const zvmsg_holder* iobuf) {
    if (iobuf->capacity > 0) {
        return storage(iobuf);
    }
    return iobuf->length > 0 ? iobuf->length : INT32_MAX;
}

} // namespace

int zvmsg_build(zvmsg_holder* iobuf, const void* code, const void* payload, std::uint32_t payloadLength,
                std::uint8_t type) {
    iobuf->length = sntlv_msg_init(iobuf->buf, iobuf->capacity, type);
    iobuf->length += sntlv_add_bin(iobuf->buf, iobuf->capacity, ZVTLV_CODE, codeSize, code);
    iobuf->length += sntlv_add_bin(iobuf->buf, iobuf->capacity, ZVTLV_DATA, payloadLength, payload);
    return iobuf->length;
}

int zvmsg_send(zvmsg_holder* iobuf, const char* from, const char* to, const char* via, int direction) {
    constexpr Caller caller{"zvmsg_send", 45, 48};
    address(iobuf, from, to, direction);
    checkMessage(iobuf, caller);
    return sendThrough(iobuf, via != nullptr ? via : to, caller);
}

int zvmsg_send_timedreceive(zvmsg_holder* iobuf, const char* from, const char* to, const char* via, int direction) {
    constexpr Caller caller{"zvmsg_send_timedreceive", 66, 73};
    address(iobuf, from, to, direction);
    checkMessage(iobuf, caller);

    zvMbox_unlink(from);
    zvMbox_attr rxq;
    if (zvMbox_rxopen(from, ZVMSG_MAX_COUNT_SM, &rxq) != 0) {
        zv::assertFailed(modulePath, caller.function, 70, "zvMbox_rxopen(from, ZVMSG_MAX_COUNT_SM, &rxq) == 0");
    }
    sendThrough(iobuf, via != nullptr ? via : to, caller);
    iobuf->length = receiveAnswer(iobuf, &rxq);
    zvMbox_close(&rxq);
    zvMbox_unlink(from);
    return iobuf->length;
}

std::uint8_t* zvmsg_response(zvmsg_holder* iobuf, std::uint8_t** data, std::uint16_t* length) {
    if (iobuf->length < 0) {
        return nullptr; // no answer
    }
    const std::int64_t limit = searchLimit(iobuf);
    const int total =
        limit < ZVTLV_HEADER_SIZE ? 0 : static_cast<int>(std::min<std::int64_t>(sntlv_msg_len(iobuf->buf), limit));
    const zv::Element element = zv::findElement(iobuf->buf, total, ZVTLV_RSP);
    if (element.address == nullptr || element.cut()) {
        return nullptr;
    }
    *data = element.data();
    *length = element.length;
    return element.address;
}
