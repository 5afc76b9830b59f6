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

// The caller may have set any current length: the sum stops at the limits of its type.
void grow(zvmsg_holder* iobuf, int size) {
    const std::int64_t sum = std::int64_t{iobuf->length} + size;
    iobuf->length = static_cast<std::int32_t>(std::clamp<std::int64_t>(sum, INT32_MIN, INT32_MAX));
}

// The bytes that a holder has for a message.
std::int64_t storage(const zvmsg_holder* iobuf) {
    return std::int64_t{iobuf->capacity} + ZVTLV_HEADER_SIZE;
}

// The bytes of the message that lie in the holder.
int present(const zvmsg_holder* iobuf) {
    return static_cast<int>(std::min<std::int64_t>(iobuf->length, storage(iobuf)));
}

// Fills the bytes between two offsets with zeros, up to the capacity: an answer lies in front of it.
void clear(zvmsg_holder* iobuf, int from, int to) {
    const std::int64_t end = std::min<std::int64_t>(to, iobuf->capacity);
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

// A function whose checks end the process, with the lines that their reports name.
struct Caller {
    const char* function;
    int validateLine;
    int openLine;
};
// Fixed: readers of the reports find the failed check by its line.
constexpr Caller sender{"zvmsg_send", 45, 48};
constexpr Caller exchanger{"zvmsg_send_timedreceive", 66, 73};
constexpr int replyOpenLine = 70;

void checkMessage(zvmsg_holder* iobuf, const Caller& caller) {
    // A total length that points behind the holder is wrong: nothing there is read.
    if (sntlv_msg_len(iobuf->buf) > storage(iobuf) || tlv_validate(iobuf->buf) != 0) {
        zv::assertFailed(modulePath, caller.function, caller.validateLine, "0 == tlv_validate(iobuf->buf)");
    }
}

// Opens the mailbox, sends and closes it; returns the result of the close.
// Fixed: the result of the send is dropped; callers notice a lost request by the missing answer.
int sendThrough(const zvmsg_holder* iobuf, const char* mailbox, const Caller& caller) {
    zvMbox_attr txq;
    if (zvMbox_txopen(mailbox, &txq) != 0) {
        zv::assertFailed(modulePath, caller.function, caller.openLine, "zvMbox_txopen(via, &txq) == 0");
    }
    // zvMbox_send ends the process for a length that no mailbox takes, and reads nothing before.
    const int length = iobuf->length > ZVMSG_MAX ? iobuf->length : present(iobuf);
    zvMbox_send(iobuf->buf, length, &txq);
    return zvMbox_close(&txq);
}

// Receives the answer into the holder. What remains of the request is cleared, and so are the bytes that the answer
// claims but did not bring: neither may pass for a part of the answer.
int receiveAnswer(zvmsg_holder* iobuf, zvMbox_attr* rxq) {
    const int requestEnd = std::max(sntlv_msg_len(iobuf->buf), present(iobuf));
    const int received = snzvMbox_timedreceive(iobuf->buf, iobuf->capacity, rxq);
    if (received >= 0) {
        clear(iobuf, received, requestEnd);
        clear(iobuf, received, sntlv_msg_len(iobuf->buf));
    }
    return received;
}

// The bytes in which a response is searched. A total length that no message in this holder can have is wrong; of such a
// message only what lies in front of the capacity can have come. A capacity of 0 has never been set.
int searched(const zvmsg_holder* iobuf) {
    const int total = sntlv_msg_len(iobuf->buf);
    return iobuf->capacity == 0 || total <= storage(iobuf) ? total : static_cast<int>(iobuf->capacity);
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
    address(iobuf, from, to, direction);
    checkMessage(iobuf, sender);
    return sendThrough(iobuf, via != nullptr ? via : to, sender);
}

int zvmsg_send_timedreceive(zvmsg_holder* iobuf, const char* from, const char* to, const char* via, int direction) {
    address(iobuf, from, to, direction);
    checkMessage(iobuf, exchanger);

    zvMbox_unlink(from);
    zvMbox_attr rxq;
    if (zvMbox_rxopen(from, ZVMSG_MAX_COUNT_SM, &rxq) != 0) {
        zv::assertFailed(modulePath, exchanger.function, replyOpenLine,
                         "zvMbox_rxopen(from, ZVMSG_MAX_COUNT_SM, &rxq) == 0");
    }
    sendThrough(iobuf, via != nullptr ? via : to, exchanger);
    iobuf->length = receiveAnswer(iobuf, &rxq);
    zvMbox_close(&rxq);
    zvMbox_unlink(from);
    return iobuf->length;
}

std::uint8_t* zvmsg_response(zvmsg_holder* iobuf, std::uint8_t** data, std::uint16_t* length) {
    const zv::Element element = zv::findElement(iobuf->buf, searched(iobuf), ZVTLV_RSP);
    if (element.address == nullptr || element.cut()) {
        return nullptr;
    }
    *data = element.data();
    *length = element.length;
    return element.address;
}
