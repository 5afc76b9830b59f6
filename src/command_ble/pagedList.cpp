#include "pagedList.h"

#include "bleLink.h"
#include "bleLog.h"
#include "bleQuery.h"
#include "bleRequest.h"
#include "zvErrno.h"

#include <array>
#include <cstddef>
#include <ctime>
#include <string>

BleListSink::~BleListSink() = default;

namespace {

constexpr int mostEntries = 255; // of a list: counts and indices are bytes
constexpr int maximumAttempts = 2;
constexpr std::uint8_t scanPageMaximum = 15;
constexpr std::uint8_t whitelistPageMaximum = 255;

// A request: command code, start index, maximum of entries.
using PageRequest = std::array<std::uint8_t, 3>;
constexpr std::size_t startIndex = 1;
constexpr std::size_t maximum = 2;

// A reply's data: id, total, index, count, entries.
constexpr std::uint16_t headerSize = 4;

// Monotonic, so that setting the camera's clock neither ends nor prolongs an acquisition.
timespec now() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time;
}

class Acquisition {
public:
    Acquisition(BleList list, std::optional<std::uint8_t> page, BleListSink& sink)
        : list_(list),
          page_(page),
          sink_(sink),
          request_{static_cast<std::uint8_t>(list), 0,
                   list == BleList::ScanResults ? scanPageMaximum : whitelistPageMaximum} {}

    int run();

private:
    enum class Outcome { Complete, Rebuilt, Failed };

    Outcome attempt(int number);
    Outcome deliver(const BleListHeader& header, int number);
    bool fetch();
    bool timeIsUp() const;
    bool receive();
    bool accept() const;
    bool holdsEntries() const;
    void logRebuilt(int number, int from, int to) const;

    static int id() { return ble_msg_buffer[0]; }
    static int total() { return ble_msg_buffer[1]; }
    static int index() { return ble_msg_buffer[2]; }
    static int count() { return ble_msg_buffer[3]; }
    static BlePage entries() { return {std::span<const std::uint8_t>(ble_msg_buffer).subspan(headerSize), count()}; }

    const BleList list_;
    const std::optional<std::uint8_t> page_;
    BleListSink& sink_;
    PageRequest request_;
    int requests_ = 0;         // of this attempt
    std::uint16_t length_ = 0; // of the last reply's data
    const timespec start_ = now();
};

int Acquisition::run() {
    for (int number = 0; number < maximumAttempts; ++number) {
        if (number > 0 && timeIsUp()) {
            return ZV_ERR;
        }
        switch (attempt(number)) {
        case Outcome::Complete:
            return ZV_OK;
        case Outcome::Failed:
            return ZV_ERR;
        case Outcome::Rebuilt:
            break;
        }
    }
    BLE_LOG(UTIL_LOG_ERROR, "Failed to get continuous list results after %d attempts.", maximumAttempts);
    return ZV_ERR;
}

Acquisition::Outcome Acquisition::attempt(int number) {
    // Fixed: the daemon sees the maximum of the last request again when a second attempt begins.
    request_[startIndex] = page_.value_or(0);
    requests_ = 0;
    if (!fetch()) {
        return Outcome::Failed;
    }
    const BleListHeader header{id(), total(), index(), page_ ? count() : total()};
    if (header.wanted != 0 && !holdsEntries()) {
        return Outcome::Failed;
    }
    sink_.begin(header);
    return header.wanted == 0 ? Outcome::Complete : deliver(header, number);
}

Acquisition::Outcome Acquisition::deliver(const BleListHeader& header, int number) {
    int wanted = header.wanted;
    for (;;) {
        const int delivered = count();
        if (!sink_.add(entries())) {
            return Outcome::Complete;
        }
        wanted -= delivered;
        if (wanted <= 0) {
            return Outcome::Complete;
        }
        request_[startIndex] = static_cast<std::uint8_t>(request_[startIndex] + delivered);
        request_[maximum] = static_cast<std::uint8_t>(wanted);
        if (timeIsUp() || !fetch()) {
            return Outcome::Failed;
        }
        if (id() != header.id) {
            logRebuilt(number, header.id, id());
            return Outcome::Rebuilt;
        }
        if (!holdsEntries()) {
            return Outcome::Failed;
        }
    }
}

// Asked before every page but the first.
bool Acquisition::timeIsUp() const {
    const timespec time = now();
    const time_t seconds = time.tv_sec - start_.tv_sec - (time.tv_nsec < start_.tv_nsec ? 1 : 0);
    if (seconds < listTimeoutSeconds) {
        return false;
    }
    BLE_LOG(UTIL_LOG_ERROR, "Failed to get the whole list within %d seconds", listTimeoutSeconds);
    return true;
}

// Requests a page and leaves its data in ble_msg_buffer. False when it is not accepted.
bool Acquisition::fetch() {
    if (requests_ == mostEntries) {
        BLE_LOG(UTIL_LOG_ERROR, "Failed to get the whole list with %d requests", mostEntries);
        return false;
    }
    ++requests_;
    return receive() && accept();
}

bool Acquisition::receive() {
    const int result = exchangeForData(serialiseCommand(request_), length_);
    if (result != ZV_OK) {
        // Fixed: readers of the log expect this text of the whitelist commands too.
        BLE_LOG(UTIL_LOG_ERROR, "Failed to get proper response for scan results: %d", result);
    }
    return result == ZV_OK;
}

// Checks a reply's header against the request.
bool Acquisition::accept() const {
    if (length_ < headerSize) {
        BLE_LOG(UTIL_LOG_ERROR, "List response of %d bytes is shorter than its header", length_);
        return false;
    }
    if (index() != request_[startIndex]) {
        BLE_LOG(UTIL_LOG_ERROR, "Requested data from index:%d got data from :%d", request_[startIndex], index());
        return false;
    }
    if (count() > request_[maximum]) {
        BLE_LOG(UTIL_LOG_ERROR, "Requested %d entries got %d", request_[maximum], count());
        return false;
    }
    return true;
}

// Asked just before the entries are read: a list that is empty or was rebuilt has none to read.
bool Acquisition::holdsEntries() const {
    if (length_ - headerSize < count() * entrySize(list_)) {
        BLE_LOG(UTIL_LOG_ERROR, "List response of %d bytes is too short for %d entries", length_, count());
        return false;
    }
    return true;
}

void Acquisition::logRebuilt(int number, int from, int to) const {
    switch (list_) {
    case BleList::ScanResults:
        BLE_LOG(UTIL_LOG_WARN, "scan_id changed on attempt:%d from %d to %d while acquiring list. Reacquiring!", number,
                from, to);
        break;
    case BleList::Whitelist:
        BLE_LOG(UTIL_LOG_WARN, "list_id changed on attempt:%d from %d to %d while acquiring list. Reacquiring!", number,
                from, to);
        break;
    }
}

} // namespace

int readPage(const char* params, std::optional<std::uint8_t>& page) {
    std::string value;
    if (!findParameter(params, "p=", value)) {
        return ZV_OK;
    }
    int start = 0;
    if (const int result = readInteger(value, "Error parsing p parameter [%s]", start); result != ZV_OK) {
        return result;
    }
    page = static_cast<std::uint8_t>(start);
    return ZV_OK;
}

int acquireList(BleList list, std::optional<std::uint8_t> page, BleListSink& sink) {
    return Acquisition(list, page, sink).run();
}

int listOutOfMemory() {
    BLE_LOG(UTIL_LOG_ERROR, "No memory for the list");
    return ZV_ERR;
}
