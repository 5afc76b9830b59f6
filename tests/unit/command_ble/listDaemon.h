// A list of the BLE daemon that hands itself out in pages, and the entries that it is made of.
#pragma once

#include "bleTest.h"

#include <cstdint>
#include <vector>

struct ListDaemon {
    std::uint8_t id = 1;
    int pageSize = 255;
    std::vector<Bytes> entries;

    // The page that a request asks for. Also usable as the peer's answer.
    Bytes page(int start, int maximum) const;
    std::vector<Bytes> operator()(const Bytes& request) const;
};

// The entries of a list, and the document that they make.
struct LongList {
    std::vector<Bytes> entries;
    std::string document;
};

// Header and entries of a page, the data of a reply.
Bytes pageData(int id, int total, int index, int count, const std::vector<Bytes>& entries);

// An entry of the whitelist, 41 bytes: address in the order in which it is stored, flags, name at offset 10.
Bytes whitelistEntry(const Bytes& address, int flags, const std::string& name = "");
// count entries in use with the addresses 000000000000, 000000000001 ... and without a name.
std::vector<Bytes> whitelistOf(int count);
// The device object of number's entry.
std::string whitelistObject(int number);

// An entry of the scan list, 82 bytes, without name and UUIDs.
Bytes scanEntry(const Bytes& address, std::uint8_t type = 0, std::uint8_t rssi = 0);
// Writes bytes into an entry, which keeps its size.
Bytes put(Bytes entry, std::size_t offset, const Bytes& bytes);
