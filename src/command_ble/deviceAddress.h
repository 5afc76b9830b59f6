// The address of a BLE device. Daemons keep it as six bytes, the last octet first. Queries and answers hold it as
// twelve hexadecimal digits without separators, the first octet first.
#pragma once

#include <cstdint>
#include <string>

inline constexpr int bleAddressSize = 6;

// Reads the address A1B2C3D4E5F6 as F6 E5 D4 C3 B2 A1. A shorter text counts as filled with zeros on its left, a longer
// one loses its first characters. 0; -3 when the text is empty or one of its last twelve characters is not a
// hexadecimal digit, and address is untouched. Logs nothing.
//
// Only digits pass: a reader of numbers takes "-C", "+A", " 1" and "5:" as well, and would turn an address with
// separators into another device's.
int parse_device_address(const std::string& text, std::uint8_t* address);

// The twelve digits of an address, in lower case.
std::string addressText(const std::uint8_t* address);
