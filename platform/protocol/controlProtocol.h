/*
 * What the libraries and zvControlD say to each other.
 *
 * A Unix SOCK_SEQPACKET connection carries request packets, each followed by its answer packet before the next. Either
 * side closes it when it likes to. Numbers are big-endian.
 *
 *   request:  'Z' 'C' 1 operation, number (4 bytes, signed), parameter bytes
 *   answer:   'Z' 'A' 1 0,         result (4 bytes, signed), data bytes
 *
 *   operation   number          parameter          data
 *   Open        0               none               none
 *   Close       0               none               none
 *   Command     command         of the command     of the command
 *   GetState    State           none               text without zero, or one byte
 *   GetItem     item            none               4 bytes, signed
 *   SetItem     item            4 bytes, signed    none
 *
 * An answer with a result other than 0 carries no data. A packet that is none of these is not answered: the connection
 * is closed.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace zvcontrol {

inline constexpr const char* socketPath = "/run/zarvo/zvControlD.sock";
inline constexpr const char* socketName = "zvControlD.sock"; // in the run folder

inline constexpr std::size_t headerSize = 8;
inline constexpr std::size_t maxData = 4096; // parameter or data bytes
inline constexpr std::size_t maxPacket = headerSize + maxData;

enum class Operation : std::uint8_t { Open = 1, Close, Command, GetState, GetItem, SetItem };

enum class State : std::int32_t {
    ModelNumber = 1, // one byte
    ModelName,
    FirmwareVersion,
    SerialNumber,
    BoardType,
    ApMac,
    ApSsid,
    ApHasDefaultCredentials, // one byte, 0 or 1
};

struct Request {
    Operation operation;
    std::int32_t number;
    std::span<const unsigned char> param; // points into the packet
};

struct AnswerView {
    std::int32_t result;
    std::span<const unsigned char> data; // points into the packet
};

// Both write the packet and return its length; 0 when the data are more than maxData.
std::size_t encodeRequest(const Request& request, std::span<unsigned char, maxPacket> packet);
std::size_t encodeAnswer(const AnswerView& answer, std::span<unsigned char, maxPacket> packet);

// Nothing when the packet is malformed: too short, too long, wrong marks, unknown operation, data where there are none.
std::optional<Request> decodeRequest(std::span<const unsigned char> packet);
std::optional<AnswerView> decodeAnswer(std::span<const unsigned char> packet);

void putNumber(std::int32_t number, std::span<unsigned char, 4> bytes);
std::int32_t takeNumber(std::span<const unsigned char, 4> bytes);

} // namespace zvcontrol
