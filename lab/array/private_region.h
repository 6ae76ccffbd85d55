// The private region of a disk: where the disk keeps what its disk group is.
//
// The region holds one string (of any bytes) in two copies. write() replaces the string so that
// at any point at which it may end, by a killed process or a lost disk, the next read() returns
// the whole old string or the whole new one. README.md describes the layout.
//
// One process at a time may write a region; a reservation on the disk sees to that. An object
// may be used by one thread at a time.
#pragma once

#include "array/block_device.h"

#include <array>
#include <optional>
#include <string>

namespace lab {

// The copies begin at these blocks. The first MiB is left to a partition table, and what is from
// region_end on belongs to volumes.
inline constexpr std::array<std::uint64_t, 2> region_copies{2048, 4096};
inline constexpr std::uint32_t region_copy_blocks = 2048;
inline constexpr std::uint64_t region_end = 6144;
// The first block of a copy is its header.
inline constexpr std::uint32_t region_payload_limit = (region_copy_blocks - 1) * block_size;

struct RegionHeader {
    char magic[8];  // region_magic
    std::uint32_t version;
    std::uint32_t payload_length;
    std::uint64_t generation;
    std::uint32_t payload_crc;
    std::uint32_t header_crc;  // of all before it
};
static_assert(sizeof(RegionHeader) == 32);

inline constexpr char region_magic[9] = "ZTREGION";
inline constexpr std::uint32_t region_version = 1;

struct RegionContents {
    // Grows by one with each write.
    std::uint64_t generation = 0;
    std::string payload;
};

class PrivateRegion {
  public:
    // Throws DiskError if the disk is too small.
    explicit PrivateRegion(BlockDevice& disk);

    // Returns nullopt if the disk has no valid copy. Throws DiskError.
    [[nodiscard]] std::optional<RegionContents> read();

    // Returns the new generation; both copies are then on the disk. Throws DiskError, and
    // std::length_error for a payload beyond region_payload_limit. After a DiskError the
    // region holds the old payload or the new one: read() returns which.
    std::uint64_t write(const std::string& payload);

    // Makes the disk one without a region. Throws DiskError.
    void erase();

  private:
    std::optional<RegionContents> read_copy(std::size_t copy);
    void write_copy(std::size_t copy, const RegionContents& contents);

    BlockDevice& m_disk;
};

}  // namespace lab
