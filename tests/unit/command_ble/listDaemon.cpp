#include "listDaemon.h"

#include <algorithm>
#include <cstdio>

Bytes pageData(int id, int total, int index, int count, const std::vector<Bytes>& entries) {
    Bytes data = {static_cast<std::uint8_t>(id), static_cast<std::uint8_t>(total), static_cast<std::uint8_t>(index),
                  static_cast<std::uint8_t>(count)};
    for (const Bytes& entry : entries) {
        data.insert(data.end(), entry.begin(), entry.end());
    }
    return data;
}

Bytes ListDaemon::page(int start, int maximum) const {
    const int total = static_cast<int>(entries.size());
    const int count = std::clamp(std::min({total - start, maximum, pageSize}), 0, 255);
    std::vector<Bytes> part;
    for (int i = start; i < start + count; ++i) {
        part.push_back(entries[static_cast<std::size_t>(i)]);
    }
    return replyOf(0, pageData(id, total, start, count, part));
}

std::vector<Bytes> ListDaemon::operator()(const Bytes& request) const {
    const Bytes data = dataOf(request);
    if (data.size() != 3) {
        return {replyOf(1)};
    }
    return {page(data[1], data[2])};
}

Bytes whitelistEntry(const Bytes& address, int flags, const std::string& name) {
    Bytes entry = join({address,
                        {static_cast<std::uint8_t>(flags), static_cast<std::uint8_t>(flags >> 8),
                         static_cast<std::uint8_t>(name.empty() ? 0 : 10), static_cast<std::uint8_t>(name.size())},
                        bytesOf(name)});
    entry.resize(41);
    return entry;
}

std::vector<Bytes> whitelistOf(int count) {
    std::vector<Bytes> entries;
    entries.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        entries.push_back(whitelistEntry({static_cast<std::uint8_t>(i), 0, 0, 0, 0, 0}, 0x0040));
    }
    return entries;
}

std::string whitelistObject(int number) {
    char text[128];
    std::snprintf(text, sizeof text,
                  R"({"address":"0000000000%02x","name":"","mitm_paired":0,"auto_connect":0,"connected":0})", number);
    return text;
}

Bytes scanEntry(const Bytes& address, std::uint8_t type, std::uint8_t rssi) {
    Bytes entry = join({address, {type, rssi}});
    entry.resize(82);
    return entry;
}

Bytes put(Bytes entry, std::size_t offset, const Bytes& bytes) {
    for (std::size_t i = 0; i < bytes.size() && offset + i < entry.size(); ++i) {
        entry[offset + i] = bytes[i];
    }
    return entry;
}
