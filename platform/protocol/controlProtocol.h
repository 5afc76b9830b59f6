/*
 * The protocol between the libraries and zvControlD.
 *
 * A Unix SOCK_SEQPACKET connection carries request packets; the answer packet to each comes before the next request.
 * Either side may close it at any time. Numbers are big-endian.
 *
 *   request:  'Z' 'C' 1 operation, number (4 bytes, signed), parameter bytes
 *   answer:   'Z' 'A' 1 0,         result (4 bytes, signed), data bytes
 *
 *   operation   number          parameter          data
 *   Open        0               client's port      none
 *   Close       0               none               none
 *   Command     command         of the command     of the command
 *   GetState    State           none               text without zero, or one byte
 *   GetItem     item            none               4 bytes, signed
 *   SetItem     item            4 bytes, signed    none
 *
 * The parameter of Open is the TCP port of the client whose request is served, in 1 to 5 decimal digits; none when the
 * library does not know it.
 *
 * An answer with a result other than 0 carries no data. The receiver of any other packet closes the connection.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace zvcontrol {

inline constexpr const char* socketPath = "/run/zarvo/zvControlD.sock";
inline constexpr const char* socketName = "zvControlD.sock"; // in the run folder

inline constexpr std::size_t numberSize = 4;
inline constexpr std::size_t headerSize = 4 + numberSize;
inline constexpr std::size_t portDigits = 5; // of a client's port, at most
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
    std::span<const unsigned char> param; // in the packet
};

struct AnswerView {
    std::int32_t result;
    std::span<const unsigned char> data; // in the packet
};

// Both write the packet and return its length in bytes; 0 when there are more than maxData bytes of data.
std::size_t encodeRequest(const Request& request, std::span<unsigned char, maxPacket> packet);
std::size_t encodeAnswer(const AnswerView& answer, std::span<unsigned char, maxPacket> packet);

// Nothing when the packet is malformed: its length, its marks, its operation, or data where none belong.
std::optional<Request> decodeRequest(std::span<const unsigned char> packet);
std::optional<AnswerView> decodeAnswer(std::span<const unsigned char> packet);

// Whether bytes are the client's port: 1 to 5 decimal digits.
bool isPort(std::span<const unsigned char> bytes);

// A number as its big-endian bytes, and back.
void putNumber(std::int32_t number, std::span<unsigned char, numberSize> bytes);
std::int32_t takeNumber(std::span<const unsigned char, numberSize> bytes);

} // namespace zvcontrol
