// Random sequences of edits, compared after every step with a model that is nothing but the message's bytes.
#include "tlvOracle.h"
#include "zvTlv.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <random>

using namespace zvtest;

namespace {

constexpr std::uint8_t tags[] = {65, 66, 67, 68, 69, 238};

class Model {
public:
    explicit Model(std::uint32_t capacity) : capacity_(capacity) {}

    void init(std::uint8_t type) { bytes_ = {0, 4, 0, type}; }

    int add(std::uint8_t tag, const Bytes& data) {
        if (bytes_.size() + data.size() > capacity_) {
            return 0;
        }
        bytes_.insert(bytes_.end(),
                      {0, static_cast<std::uint8_t>(data.size() >> 8), static_cast<std::uint8_t>(data.size()), tag});
        bytes_.insert(bytes_.end(), data.begin(), data.end());
        setTotal();
        return static_cast<int>(data.size()) + 4;
    }

    void blank(const Found& element) {
        bytes_[element.offset] = 'W';
        const auto from = bytes_.begin() + static_cast<std::ptrdiff_t>(element.offset) + 4;
        std::fill(from, from + static_cast<std::ptrdiff_t>(present(element)), std::uint8_t{0});
    }

    int remove(const Found& element) {
        const std::size_t size = present(element) + 4;
        bytes_.resize(bytes_.size() - size);
        setTotal();
        return -static_cast<int>(size);
    }

    const Bytes& bytes() const { return bytes_; }

private:
    std::size_t present(const Found& element) const {
        return std::min(element.length, bytes_.size() - element.offset - 4);
    }
    void setTotal() {
        bytes_[0] = static_cast<std::uint8_t>(bytes_.size() >> 8);
        bytes_[1] = static_cast<std::uint8_t>(bytes_.size());
    }

    std::uint32_t capacity_;
    Bytes bytes_;
};

void run(std::uint32_t seed) {
    std::mt19937 random(seed);
    const auto below = [&](std::uint32_t limit) { return static_cast<std::uint32_t>(random() % limit); };
    const std::uint32_t capacity = 4 + below(seed % 7 == 0 ? 1500 : 120);
    GuardedBuffer memory(capacity + 4);
    std::uint8_t* const buffer = memory.data();
    Model model(capacity);
    const auto start = [&] {
        const auto type = static_cast<std::uint8_t>(below(16));
        model.init(type);
        ASSERT_EQ(4, sntlv_msg_init(buffer, capacity, type));
    };
    start();
    for (int step = 0; step < 60; ++step) {
        const std::uint8_t tag = tags[below(6)];
        const auto found = firstOf(model.bytes(), tag);
        switch (below(10)) {
        case 0:
            if (below(8) == 0) {
                start();
            }
            break;
        case 1:
            if (found) {
                model.blank(*found);
                sntlv_void(buffer, tag);
            }
            break;
        case 2:
            if (found) {
                ASSERT_EQ(model.remove(*found), sntlv_remove(buffer, capacity, tag));
            }
            break;
        case 3: {
            const auto value = static_cast<std::uint32_t>(random());
            Bytes data(4);
            std::memcpy(data.data(), &value, 4);
            data.resize(below(5));
            ASSERT_EQ(model.add(tag, data), sntlv_add_dat(buffer, capacity, tag, std::uint32_t(data.size()), value));
            break;
        }
        default: {
            Bytes data(below(below(4) == 0 ? 200 : 20));
            for (std::uint8_t& byte : data) {
                byte = static_cast<std::uint8_t>(random());
            }
            ASSERT_EQ(model.add(tag, data),
                      sntlv_add_bin(buffer, capacity, tag, std::uint32_t(data.size()), data.data()));
        }
        }
        const Bytes& bytes = model.bytes();
        ASSERT_EQ(static_cast<int>(bytes.size()), sntlv_msg_len(buffer));
        ASSERT_EQ(Bytes(buffer, buffer + bytes.size()), bytes);
        ASSERT_EQ(verdictOf(bytes), tlv_validate(buffer));
        for (const std::uint8_t any : tags) {
            const auto element = firstOf(bytes, any);
            ASSERT_EQ(element ? buffer + element->offset : nullptr, tlv_find(buffer, any));
        }
    }
}

} // namespace

TEST(ZvTlvEdits, RandomSequencesMatchTheModel) {
    for (std::uint32_t seed = 1; seed <= 3000; ++seed) {
        SCOPED_TRACE(seed);
        run(seed);
        if (HasFatalFailure()) {
            return;
        }
    }
}

TEST(ZvTlv, NumbersAreWrittenNoFurtherThanTheirLength) {
    for (const std::uint32_t length : {1U, 2U, 3U, 5U, 6U, 7U}) {
        std::uint8_t buffer[64];
        std::fill(std::begin(buffer), std::end(buffer), std::uint8_t{0xA5});
        sntlv_msg_init(buffer, sizeof buffer, 1);
        EXPECT_EQ(static_cast<int>(length + 4),
                  sntlv_add_dat(buffer, sizeof buffer - 4, 66, length, 0x01020304, 0x05060708));
        EXPECT_NE(0xA5, buffer[8 + length - 1]);
        EXPECT_EQ(0xA5, buffer[8 + length]) << length;
    }
}
