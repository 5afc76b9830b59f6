// What the tests of the BLE commands share: an open link to a scripted peer, the log, a response buffer, and the bytes
// of requests and replies.
#pragma once

#include "bleInterface.h"
#include "bleLink.h"
#include "linkFaults.h"
#include "queuePeer.h"
#include "syslogCapture.h"
#include "zvLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

using zvtest::Bytes;
using zvtest::QueuePeer;
using zvtest::SyslogCapture;

// Several byte strings in a row.
Bytes join(std::initializer_list<Bytes> parts);
Bytes bytesOf(const std::string& text);

// An element as it stands on a queue: 0, length big-endian, type, data.
Bytes element(std::uint8_t type, const Bytes& data);
// A message as it stands on a queue: length big-endian, 0, category, elements.
Bytes message(std::uint8_t category, const Bytes& elements);

// The request that a command with these data puts on the queue.
Bytes bleRequest(const Bytes& data);
// The data of a request to the BLE daemon; empty when it is not one.
Bytes dataOf(const Bytes& request);

// A reply of the daemon with this status and data.
Bytes replyOf(std::uint8_t status, const Bytes& data = {});

// The log lines since the last call. Lines of error level and of the source "command_ble" stand here as their callers
// wrote them; all others keep level and source.
std::vector<std::string> linesOf(SyslogCapture& log);
// Lines of other levels, as linesOf gives them.
std::string warning(const std::string& text);
std::string debugLine(const std::string& text);

// An empty queue, as a process that is gone leaves it. Closed again.
void makeQueue(const std::string& name);

// The category failure that an exchange without a reply leads to.
inline const std::string noReply = "Message from zvControlD was not CAT_CGI_BP_RSP, actual (20)\n";
// The log line after a send that failed: what stands in the buffer is the request itself.
inline const std::string ownRequest = "Message from zvControlD was not CAT_CGI_BP_RSP, actual (2)\n";

using Handler = int (*)(const char*, char*, int);

class BleTest : public testing::Test {
protected:
    // The peer takes messages up to this size.
    explicit BleTest(long peersMessageSize = QueuePeer::usualMessageSize);
    ~BleTest() override;

    // Calls a handler with the whole buffer, the buffer cut to a size, or none.
    int call(Handler handler, const char* query);
    int callWithRoom(Handler handler, const char* query, int room);
    int callWithoutBuffer(Handler handler, const char* query);

    // The text that the last call left; "untouched" when it has written nothing.
    std::string response() const;
    // The data of the requests so far.
    std::vector<Bytes> sent();
    // The log lines since the last call.
    std::vector<std::string> logged() { return linesOf(log_); }
    // From now on a request without an answer fails at once instead of after 15 seconds.
    static void hurry() { faults::clockOffset = -BLE_REPLY_TIMEOUT_S; }

    SyslogCapture log_;
    QueuePeer peer_;

private:
    std::vector<char> buffer_;
};
