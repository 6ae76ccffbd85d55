// Corrupt and random bodies: each is rejected, or read and written again unchanged.
#include "service/wire_values.h"
#include "wire/frame.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace {

using namespace lab;

using ByteList = std::vector<std::uint8_t>;

class WireFuzz : public testing::Test {
  protected:
    std::size_t below(std::size_t limit) {
        return std::uniform_int_distribution<std::size_t>(0, limit - 1)(m_random);
    }

    // Changes the bytes once, as a broken or hostile sender might.
    void corrupt(ByteList& bytes) {
        constexpr std::uint32_t awkward[] = {
            0, 1, 2, 0x7f, 0xff, 0xffff, 0x10005, 0x80000000, 0x8000000a, 0x7fffffff, 0xffffffff};
        const std::size_t at = below(bytes.size());
        const auto place = bytes.begin() + static_cast<std::ptrdiff_t>(at);
        switch (below(5)) {
        case 0:
            *place ^= static_cast<std::uint8_t>(1u << below(8));
            break;
        case 1:
            bytes.insert(place, static_cast<std::uint8_t>(below(256)));
            break;
        case 2:
            bytes.erase(place, place + static_cast<std::ptrdiff_t>(
                                           std::min(bytes.size() - at, 1 + below(8))));
            break;
        case 3:
            for (std::size_t i = 0; i < 4 && at + i < bytes.size(); ++i) {
                bytes[at + i] =
                    static_cast<std::uint8_t>(awkward[m_word % std::size(awkward)] >> (8 * i));
            }
            ++m_word;
            break;
        default:
            std::rotate(bytes.begin(), place, bytes.end());
            break;
        }
        if (bytes.empty()) {
            bytes.push_back(0);
        }
    }

    void expect_rejected_or_unchanged(const ByteList& bytes) {
        PropertySet set;
        try {
            Reader reader(bytes);
            set = reader.set();
            reader.finish();
        } catch (const Malformed&) {
            ++m_rejected;
            return;
        }
        ++m_read;
        Writer writer;
        writer.set(set);
        EXPECT_EQ(writer.take(), bytes);
    }

    std::mt19937 m_random{20240229};
    std::size_t m_word = 0;
    int m_rejected = 0;
    int m_read = 0;
};

TEST_F(WireFuzz, RejectsOrRoundTripsCorruptBodies) {
    Writer writer;
    writer.set(set_of_every_type());
    const ByteList whole = writer.take();
    for (int round = 0; round < 6000; ++round) {
        ByteList bytes = whole;
        for (std::size_t faults = 1 + below(3); faults != 0; --faults) {
            corrupt(bytes);
        }
        expect_rejected_or_unchanged(bytes);
    }
    // Both outcomes occurred often enough.
    EXPECT_GT(m_rejected, 1000);
    EXPECT_GT(m_read, 100);
}

TEST_F(WireFuzz, RejectsOrRoundTripsSmallBodiesOfAwkwardNumbers) {
    constexpr std::uint32_t parts[] = {0,  1,  2,  3,          6,          7,
                                       10, 16, 17, 0x8000000a, 0x80000006, 0xffffffff};
    for (int round = 0; round < 6000; ++round) {
        Writer writer;
        for (std::size_t left = 1 + below(12); left != 0; --left) {
            writer.number(parts[below(std::size(parts))]);
        }
        expect_rejected_or_unchanged(writer.take());
    }
    EXPECT_GT(m_rejected, 1000);
}

}  // namespace
