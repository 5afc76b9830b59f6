// Reading the parts of a list's entry that are found through offsets. Entries come from outside: an offset or a size
// may point anywhere, so every read is bounded by the bytes given.
#pragma once

#include <cstdint>
#include <span>
#include <string>

// An entry's bytes, from its start to the end of the buffer that it stands in.
using BleEntry = std::span<const std::uint8_t>;

// Appends the name at an offset: at most size characters, ending early at the first zero byte or at the end of the
// buffer. Nothing when offset or size is 0. Names are appended as they are, without escaping.
void appendName(std::string& text, BleEntry entry, std::uint8_t offset, std::uint8_t size);

/*
 * The items of a UUID list as JSON strings separated by commas: width bytes each, as hexadecimal digits in the order in
 * which they are stored. Empty when offset or length is 0.
 *
 * A trailing partial item, as of a list of 3 bytes with items of 2, is read whole, from the bytes behind the list; so
 * is a list that reaches beyond its entry. An item of which a byte lies beyond the end of the buffer ends the list and
 * is left out.
 */
std::string uuidItems(BleEntry entry, std::uint8_t offset, std::uint8_t length, int width);
