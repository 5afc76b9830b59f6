/*
 * Acquisition of a list that the BLE daemon hands out in pages. All pages of an answer belong to one generation of the
 * list: it carries an id, and a list that is rebuilt between two pages is fetched again once.
 */
#pragma once

#include "bleCommands.h"

#include <cstdint>
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
    // From the first entry to the end of the message buffer. At least count entries of the list's size were received;
    // what lies behind them is left over in the buffer and holds nothing to rely on.
    std::span<const std::uint8_t> bytes;
    int count;
};

// Takes what is acquired, in the order of the list.
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

// Seconds from the start of an acquisition after which it is given up instead of requesting a further page: a daemon
// that hands out tiny pages slowly must not keep the request for hours. The page that is under way has its own time
// limits.
inline constexpr int listTimeoutSeconds = 60;

// Bytes of an entry.
constexpr int entrySize(BleList list) {
    return list == BleList::ScanResults ? 82 : 41;
}

// Reads the optional start index, "p=", cut to 8 bits. 0; -3 and a log line when it is not a number.
int readPage(const char* query, std::optional<std::uint8_t>& page);

/*
 * Acquires one page from a start index or, without one, the whole list. 0 when all wanted entries were delivered or the
 * sink had enough; -1 and log lines otherwise. Always ends: at most two attempts, each of at most 255 page requests,
 * since a list has at most 255 entries; and once listTimeoutSeconds have passed, no further page is requested.
 */
int acquireList(BleList list, std::optional<std::uint8_t> page, BleListSink& sink);

// What a list command returns when there is no memory for its answer, which it logs: -1.
int listOutOfMemory();
