#include "bleReply.h"

#include "bleLog.h"
#include "bleMessages.h"
#include "zvErrno.h"

#include <cstdint>
#include <cstring>

namespace {

// The category until a message has been read; no request or reply carries it.
constexpr unsigned char placeholderCategory = 20;

// A reply's first data byte, and what stands for one that cannot be read.
constexpr unsigned char statusSuccess = 0;
constexpr unsigned char statusNone = 1;

// A received message and the stream that its elements point into.
class Reply {
public:
    Reply(const std::uint8_t* bytes, std::uint16_t length)
        : message_(placeholderCategory),
          // Reading does not write to the bytes.
          stream_(const_cast<unsigned char*>(bytes), bytes == nullptr ? 0 : length) {
        stream_ >> message_;
        message_.dump(nullptr);
    }

    // The element that carries status and data, with at least one byte; null, and a log line, for a malformed reply.
    MsgElement* response() {
        if (message_.getCategory() != CAT_CGI_BP_RSP) {
            BLE_LOG(UTIL_LOG_ERROR, "Message from zvControlD was not CAT_CGI_BP_RSP, actual (%d)\n",
                    message_.getCategory());
            return nullptr;
        }
        MsgElement* const element = message_.findElement(typeRSP);
        if (element == nullptr) {
            BLE_LOG(UTIL_LOG_ERROR, "Expected a typeRSP element from daemon but got none\n");
            return nullptr;
        }
        if (element->getLength() == 0) {
            BLE_LOG(UTIL_LOG_ERROR, "ERROR: typeRSP did not contain enough bytes for int8_t (got %d)\n",
                    element->getLength());
            return nullptr;
        }
        return element;
    }

private:
    Msg message_;
    MemStream stream_;
};

} // namespace

int ble_check_response(const std::uint8_t* reply, std::uint16_t length) {
    Reply received(reply, length);
    MsgElement* const element = received.response();
    if (element == nullptr) {
        return ZV_ERR;
    }
    MemStream stream(element->getData(), element->getLength());
    unsigned char status = statusNone;
    stream >> status;
    return status == statusSuccess ? ZV_OK : ZV_ERR;
}

int ble_get_response_data(const std::uint8_t* reply, std::uint16_t length, std::uint8_t* data,
                          std::uint16_t* dataLength) {
    Reply received(reply, length);
    MsgElement* const element = received.response();
    if (element == nullptr) {
        return ZV_ERR;
    }
    if (*dataLength < element->getLength()) {
        BLE_LOG(UTIL_LOG_ERROR, "Not enough buffer to hold data length:%d", element->getLength());
        return ZV_ERR;
    }
    const unsigned char* const bytes = element->getData();
    if (bytes[0] != statusSuccess) {
        return ZV_ERR;
    }
    const auto count = static_cast<std::uint16_t>(element->getLength() - 1);
    if (*dataLength < count) {
        BLE_LOG(UTIL_LOG_ERROR, "Not enough len to hold data");
        return ZV_ERR;
    }
    *dataLength = count;
    if (count > 0) {
        std::memmove(data, bytes + 1, count);
    }
    return ZV_OK;
}
