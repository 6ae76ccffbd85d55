// The private region on a disk in memory that can lose its power at any byte.
#include "array/private_region.h"

#include "array/crc32c.h"

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <vector>

namespace {

using lab::block_size;
using lab::DiskError;
using lab::PrivateRegion;
using lab::region_copies;
using lab::RegionContents;

using Block = std::vector<std::uint8_t>;

class PowerLost : public std::runtime_error {
  public:
    PowerLost() : std::runtime_error("power lost") {}
};

// What the block that was being written holds after the bytes that arrived.
enum class Torn { old_bytes, zeros, ones, noise };

class MemoryDisk : public lab::BlockDevice {
  public:
    explicit MemoryDisk(std::uint64_t blocks = 8192) : m_block_count(blocks) {}

    [[nodiscard]] std::uint64_t block_count() const override { return m_block_count; }

    void read(std::uint64_t first, std::uint32_t blocks, void* data) override {
        auto* target = static_cast<std::uint8_t*>(data);
        for (std::uint32_t i = 0; i < blocks; ++i) {
            std::memcpy(target + i * block_size, block(first + i).data(), block_size);
        }
    }

    void write(std::uint64_t first, std::uint32_t blocks, const void* data) override {
        const auto* source = static_cast<const std::uint8_t*>(data);
        for (std::uint32_t i = 0; i < blocks; ++i) {
            write_block(first + i, source + i * block_size);
        }
    }

    void flush() override {
        ++flushes;
        unflushed.clear();
    }

    // The power is lost when this many more bytes are written.
    void lose_power_after(std::uint64_t bytes, Torn torn) {
        m_bytes_left = bytes;
        m_torn = torn;
    }
    void restore_power() { m_bytes_left = UINT64_MAX; }

    Block& block(std::uint64_t number) {
        return m_blocks.try_emplace(number, Block(block_size)).first->second;
    }

    std::uint64_t written = 0;  // bytes
    int flushes = 0;
    // The blocks written since the last flush, with their old contents.
    std::vector<std::pair<std::uint64_t, Block>> unflushed;

  private:
    void write_block(std::uint64_t number, const std::uint8_t* data) {
        Block& target = block(number);
        unflushed.emplace_back(number, target);
        if (m_bytes_left < block_size) {
            spoil(target);
            std::memcpy(target.data(), data, m_bytes_left);
            m_bytes_left = 0;
            throw PowerLost();
        }
        target.assign(data, data + block_size);
        m_bytes_left -= m_bytes_left == UINT64_MAX ? 0 : block_size;
        written += block_size;
    }

    void spoil(Block& target) {
        if (m_bytes_left == 0 || m_torn == Torn::old_bytes) {
            return;  // nothing of the block was written
        }
        for (std::size_t i = 0; i < target.size(); ++i) {
            target[i] = m_torn == Torn::zeros  ? 0
                        : m_torn == Torn::ones ? 0xff
                                               : static_cast<std::uint8_t>(i * 151 + 7);
        }
    }

    std::uint64_t m_block_count;
    std::uint64_t m_bytes_left = UINT64_MAX;
    Torn m_torn = Torn::old_bytes;
    std::map<std::uint64_t, Block> m_blocks;
};

const std::string old_payload(700, 'o');
const std::string new_payload(1100, 'n');

// A disk whose region was written twice, so that both copies are in use.
MemoryDisk disk_with_old_payload() {
    MemoryDisk disk;
    PrivateRegion region(disk);
    region.write("first");
    region.write(old_payload);
    return disk;
}

// Writes until the power is lost. Returns whether it was.
bool write_until_power_loss(MemoryDisk& disk, const std::string& payload, std::uint64_t bytes,
                            Torn torn) {
    disk.lose_power_after(bytes, torn);
    bool lost = false;
    try {
        PrivateRegion(disk).write(payload);
    } catch (const PowerLost&) {
        lost = true;
    }
    disk.restore_power();
    return lost;
}

std::string payload_of(MemoryDisk& disk) {
    const std::optional<RegionContents> contents = PrivateRegion(disk).read();
    return contents ? contents->payload : "no valid copy";
}

std::uint64_t bytes_of_a_write(MemoryDisk disk, const std::string& payload) {
    const std::uint64_t before = disk.written;
    PrivateRegion(disk).write(payload);
    return disk.written - before;
}

TEST(PrivateRegion, HasNoContentsOnAnEmptyDisk) {
    MemoryDisk disk;
    EXPECT_FALSE(PrivateRegion(disk).read().has_value());
}

TEST(PrivateRegion, RefusesADiskThatIsTooSmall) {
    MemoryDisk disk(lab::region_end - 1);
    EXPECT_THROW(PrivateRegion{disk}, DiskError);
}

TEST(PrivateRegion, ReadsWhatWasWritten) {
    MemoryDisk disk;
    PrivateRegion region(disk);
    const std::string any_bytes("a\0b\xff", 4);
    for (const std::string& payload :
         {std::string("x"), any_bytes, std::string(512, 'b'), std::string(513, 'c'),
          std::string(200000, 'd'), std::string(lab::region_payload_limit, 'e'), std::string()}) {
        region.write(payload);
        EXPECT_EQ(payload_of(disk), payload);
    }
}

TEST(PrivateRegion, CountsGenerations) {
    MemoryDisk disk;
    PrivateRegion region(disk);
    EXPECT_EQ(region.write("one"), 1U);
    EXPECT_EQ(region.write("two"), 2U);
    EXPECT_EQ(region.read()->generation, 2U);
}

TEST(PrivateRegion, RefusesAPayloadThatIsTooLongAndKeepsTheOldOne) {
    MemoryDisk disk = disk_with_old_payload();
    const std::string long_payload(lab::region_payload_limit + 1, 'x');
    EXPECT_THROW(PrivateRegion(disk).write(long_payload), std::length_error);
    EXPECT_EQ(payload_of(disk), old_payload);
}

TEST(PrivateRegion, WritesOnlyItsOwnBlocks) {
    MemoryDisk disk;
    const Block pattern(block_size, 0xa5);
    for (const std::uint64_t number : {std::uint64_t{0}, region_copies[0] - 1, lab::region_end}) {
        disk.block(number) = pattern;
    }
    PrivateRegion(disk).write(std::string(lab::region_payload_limit, 'x'));
    for (const std::uint64_t number : {std::uint64_t{0}, region_copies[0] - 1, lab::region_end}) {
        EXPECT_EQ(disk.block(number), pattern) << number;
    }
}

// The layout that README.md describes, byte by byte.
TEST(PrivateRegion, HasTheDocumentedLayout) {
    MemoryDisk disk;
    PrivateRegion(disk).write("{}");
    const std::uint32_t payload_crc = lab::crc32c("{}", 2);
    for (const std::uint64_t copy : {std::uint64_t{2048}, std::uint64_t{4096}}) {
        Block expected(block_size);
        std::memcpy(expected.data(), "ZTREGION", 8);
        expected[8] = 1;   // version
        expected[12] = 2;  // length
        expected[16] = 1;  // generation
        std::memcpy(&expected[24], &payload_crc, 4);
        const std::uint32_t header_crc = lab::crc32c(expected.data(), 28);
        std::memcpy(&expected[28], &header_crc, 4);
        EXPECT_EQ(disk.block(copy), expected);

        Block payload(block_size);
        std::memcpy(payload.data(), "{}", 2);
        EXPECT_EQ(disk.block(copy + 1), payload);
    }
}

TEST(PrivateRegion, SurvivesTheLossOfEitherCopy) {
    for (const std::uint64_t copy : region_copies) {
        for (const std::uint64_t damaged : {copy, copy + 1, copy + 2}) {
            MemoryDisk disk = disk_with_old_payload();
            disk.block(damaged)[17] ^= 1;
            EXPECT_EQ(payload_of(disk), old_payload) << damaged;
        }
    }
}

TEST(PrivateRegion, HasNoContentsIfBothCopiesAreDamaged) {
    MemoryDisk disk = disk_with_old_payload();
    disk.block(region_copies[0])[17] ^= 1;
    disk.block(region_copies[1] + 1)[17] ^= 1;
    EXPECT_FALSE(PrivateRegion(disk).read().has_value());
}

TEST(PrivateRegion, NoticesEveryChangedBitOfTheHeader) {
    for (std::size_t bit = 0; bit < sizeof(lab::RegionHeader) * 8; ++bit) {
        MemoryDisk disk = disk_with_old_payload();
        for (const std::uint64_t copy : region_copies) {
            disk.block(copy)[bit / 8] ^= static_cast<std::uint8_t>(1U << (bit % 8));
        }
        EXPECT_FALSE(PrivateRegion(disk).read().has_value()) << bit;
    }
}

TEST(PrivateRegion, IsOfNoOtherVersion) {
    MemoryDisk disk = disk_with_old_payload();
    for (const std::uint64_t copy : region_copies) {
        disk.block(copy)[8] = 2;
        const std::uint32_t header_crc = lab::crc32c(disk.block(copy).data(), 28);
        std::memcpy(&disk.block(copy)[28], &header_crc, 4);
    }
    EXPECT_FALSE(PrivateRegion(disk).read().has_value());
}

TEST(PrivateRegion, FlushesEachCopy) {
    MemoryDisk disk;
    PrivateRegion(disk).write("x");
    EXPECT_EQ(disk.flushes, 2);
    EXPECT_TRUE(disk.unflushed.empty());
}

TEST(PrivateRegion, HoldsTheOldOrTheNewPayloadAfterPowerLossAtAnyByte) {
    const std::uint64_t total = bytes_of_a_write(disk_with_old_payload(), new_payload);
    ASSERT_EQ(total, 2U * 4 * block_size);
    for (const Torn torn : {Torn::old_bytes, Torn::zeros, Torn::ones, Torn::noise}) {
        bool new_before = false;
        for (std::uint64_t bytes = 0; bytes < total; ++bytes) {
            MemoryDisk disk = disk_with_old_payload();
            ASSERT_TRUE(write_until_power_loss(disk, new_payload, bytes, torn));
            const bool is_new = payload_of(disk) == new_payload;
            ASSERT_TRUE(is_new || payload_of(disk) == old_payload) << bytes;
            // Once it is new, it stays so.
            ASSERT_TRUE(is_new || !new_before) << bytes;
            new_before = is_new;
        }
        EXPECT_TRUE(new_before);
    }
}

// After the first loss only one copy may be valid: the second write must spare that one.
TEST(PrivateRegion, HoldsAWholePayloadAfterTwoPowerLossesInARow) {
    const std::string newest_payload(900, 'z');
    const std::uint64_t total = bytes_of_a_write(disk_with_old_payload(), new_payload);
    for (std::uint64_t first = 0; first < total; first += 64) {
        MemoryDisk once = disk_with_old_payload();
        ASSERT_TRUE(write_until_power_loss(once, new_payload, first, Torn::noise));
        const std::string between = payload_of(once);
        for (std::uint64_t second = 0; second < total; second += 64) {
            MemoryDisk disk = once;
            write_until_power_loss(disk, newest_payload, second, Torn::noise);
            const std::string after = payload_of(disk);
            ASSERT_TRUE(after == between || after == newest_payload) << first << " " << second;
        }
    }
}

TEST(PrivateRegion, CanBeWrittenAfterEveryPowerLoss) {
    const std::uint64_t total = bytes_of_a_write(disk_with_old_payload(), new_payload);
    for (std::uint64_t bytes = 0; bytes < total; bytes += 16) {
        MemoryDisk disk = disk_with_old_payload();
        write_until_power_loss(disk, new_payload, bytes, Torn::noise);
        const std::uint64_t generation = PrivateRegion(disk).read()->generation;
        EXPECT_EQ(PrivateRegion(disk).write("after"), generation + 1);
        // Both copies are the new ones: either may now be lost.
        for (const std::uint64_t copy : region_copies) {
            MemoryDisk damaged = disk;
            damaged.block(copy)[0] ^= 1;
            EXPECT_EQ(payload_of(damaged), "after") << bytes;
        }
    }
}

// A disk may write what it holds in its cache in any order, until it is flushed.
TEST(PrivateRegion, HoldsTheOldOrTheNewPayloadIfTheDiskReordersWrites) {
    const std::uint64_t total = bytes_of_a_write(disk_with_old_payload(), new_payload);
    for (std::uint64_t bytes = 0; bytes < total; bytes += block_size) {
        MemoryDisk at_loss = disk_with_old_payload();
        ASSERT_TRUE(write_until_power_loss(at_loss, new_payload, bytes, Torn::noise));
        const auto cached = at_loss.unflushed;
        ASSERT_LE(cached.size(), 4U);
        for (unsigned lost = 0; lost < 1U << cached.size(); ++lost) {
            MemoryDisk disk = at_loss;
            for (std::size_t i = 0; i < cached.size(); ++i) {
                if ((lost >> i & 1) != 0) {
                    disk.block(cached[i].first) = cached[i].second;
                }
            }
            const std::string after = payload_of(disk);
            ASSERT_TRUE(after == old_payload || after == new_payload) << bytes << " " << lost;
        }
    }
}

TEST(PrivateRegion, HoldsTheOldPayloadOrNoneWhileItIsErased) {
    for (std::uint64_t bytes = 0; bytes < 2U * block_size; ++bytes) {
        // The second copy is of an older generation.
        MemoryDisk disk = disk_with_old_payload();
        ASSERT_TRUE(write_until_power_loss(disk, new_payload, 4U * block_size, Torn::noise));
        disk.lose_power_after(bytes, Torn::noise);
        EXPECT_THROW(PrivateRegion(disk).erase(), PowerLost);
        disk.restore_power();
        const std::string after = payload_of(disk);
        ASSERT_TRUE(after == new_payload || after == "no valid copy") << bytes;
    }
    MemoryDisk disk = disk_with_old_payload();
    PrivateRegion(disk).erase();
    EXPECT_FALSE(PrivateRegion(disk).read().has_value());
}

// A disk that loses a write of its second block without saying so.
class LosingDisk : public MemoryDisk {
  public:
    void write(std::uint64_t first, std::uint32_t blocks, const void* data) override {
        if (!lose || first != region_copies[0] + 1) {
            MemoryDisk::write(first, blocks, data);
        }
    }
    bool lose = false;
};

TEST(PrivateRegion, SparesTheOtherCopyIfTheFirstWasNotWritten) {
    LosingDisk disk;
    PrivateRegion region(disk);
    region.write(old_payload);
    disk.lose = true;
    EXPECT_THROW(region.write(new_payload), DiskError);
    EXPECT_EQ(payload_of(disk), old_payload);
}

}  // namespace
