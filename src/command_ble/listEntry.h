// Reading the parts of a list's entry that offsets lead to. Offsets and sizes come from outside and may lead anywhere,
// so every read ends with the buffer.
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
 * An item that begins in the list is read whole, also when it ends behind the list or behind the entry. An item that
 * ends behind the buffer is left out, and ends the list.
 */
std::string uuidItems(BleEntry entry, std::uint8_t offset, std::uint8_t length, int width);
