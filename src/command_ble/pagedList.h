/*
 * Acquisition of a list that the BLE daemon hands out in pages. All pages of an answer belong to one generation of the
 * list, which carries an id. A list that is rebuilt between two pages is fetched again once.
 */
#pragma once

#include "bleCommands.h"
#include "bleQuery.h"
#include "bleResponse.h"
#include "zvErrno.h"

#include <cstdint>
#include <exception>
#include <optional>
#include <span>

// A list of the daemon, by the code of the command that asks for a page of it.
enum class BleList : std::uint8_t {
    ScanResults = codeOf(BleCommand::ScanListPage),
    Whitelist = codeOf(BleCommand::WhitelistPage),
};

// The values of an attempt's first reply.
struct BleListHeader {
    int id;
    int total;  // entries in the daemon's list
    int index;  // index of the reply's first entry
    int wanted; // entries to be delivered: the reply's own (single page) or total (whole list)
};

// The entries of one reply.
struct BlePage {
    // From the first entry to the end of the message buffer. count entries were received; the bytes behind them are
    // left over from other messages.
    std::span<const std::uint8_t> bytes;
    int count;
};

// Receives the entries, in the order of the list.
class BleListSink {
public:
    BleListSink() = default;
    BleListSink(const BleListSink&) = delete;
    BleListSink& operator=(const BleListSink&) = delete;
    virtual ~BleListSink();

    // The first reply of an attempt was accepted; called once more when the list is fetched again.
    virtual void begin(const BleListHeader& header) = 0;
    // Entries of a reply, only valid during the call. False when no more of them are needed.
    virtual bool add(const BlePage& page) = 0;
};

// Seconds after which an acquisition requests no further page: a daemon that hands out tiny pages slowly must not hold
// the request for hours.
inline constexpr int listTimeoutSeconds = 60;

inline constexpr int scanEntrySize = 82;
inline constexpr int whitelistEntrySize = 41;

// Bytes of an entry.
constexpr int entrySize(BleList list) {
    return list == BleList::ScanResults ? scanEntrySize : whitelistEntrySize;
}

// Reads the optional start index, "p=", cut to 8 bits. 0; -3 and a log line when it is not a number.
int readPage(const char* params, std::optional<std::uint8_t>& page);

/*
 * Acquires one page from a start index or, without one, the whole list. 0 when the sink has got all wanted entries, or
 * needs no more; -1 and log lines otherwise. Makes at most two attempts of at most 255 requests each, and requests no
 * further page once listTimeoutSeconds have passed.
 */
int acquireList(BleList list, std::optional<std::uint8_t> page, BleListSink& sink);

// Logs that there is no memory for a list's answer. -1, for the command to return.
int listOutOfMemory();

// Answers a command for one page ("p=") or for the whole list with the sink's document(). The command's result.
template<class Sink>
int answerList(BleList list, const char* params, Sink& sink, char* response, int responseSize) try {
    std::optional<std::uint8_t> page;
    if (const int result = readPage(params, page); result != ZV_OK) {
        return result;
    }
    if (const int result = acquireList(list, page, sink); result != ZV_OK) {
        return result;
    }
    return writeResponse(sink.document().c_str(), response, responseSize);
} catch (const std::exception&) {
    return listOutOfMemory();
}
