/*
 * The link to the daemons: this process's reply queue and the network daemon's request queue. It serves one request,
 * between its opening and its closing (bleInterface.h).
 *
 * Results are codes of zvErrno.h. Every failure is logged at error level; nothing here writes an answer.
 */
#pragma once

#include <cstdint>

// Bytes of the longest message on either queue.
inline constexpr std::uint16_t BLE_MSG_SIZE = 1500;
// Seconds that a request waits for its reply, and for room in the daemon's queue.
inline constexpr int BLE_REPLY_TIMEOUT_S = 15;

// The serialised request while it is sent, then the received reply or its data.
extern std::uint8_t ble_msg_buffer[BLE_MSG_SIZE];

// Puts a message on the request queue. 0; -1 when the link is not open or the queue does not take the message before
// the time limit; -3 for a null message.
int ble_send(const std::uint8_t* message, std::uint32_t length);

// Waits for a message on the reply queue. *length is the room in buffer, at least BLE_MSG_SIZE, and becomes
// the number of bytes received. 0; -1, with *length 0, when no message comes before the time limit or receiving fails;
// -3, with *length untouched, when the link is not open or a pointer is null.
int ble_receive(std::uint8_t* buffer, std::uint16_t* length);

// Sends, then receives into reply; *replyLength is the room there. Results as above; after a failed send nothing is
// received and *replyLength is untouched.
int ble_send_receive_into(const std::uint8_t* message, std::uint32_t length, std::uint8_t* reply,
                          std::uint16_t* replyLength);

// The same with ble_msg_buffer as the place of the reply.
int ble_send_receive(const std::uint8_t* message, std::uint32_t length, std::uint16_t* replyLength);
