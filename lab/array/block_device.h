// What the private region is kept on: a disk of 512-byte blocks.
#pragma once

#include <cstdint>
#include <stdexcept>

namespace lab {

inline constexpr std::uint32_t block_size = 512;

// A transfer that the disk refused or that did not reach it.
class DiskError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

class BlockDevice {
  public:
    BlockDevice() = default;
    BlockDevice(const BlockDevice&) = default;
    BlockDevice& operator=(const BlockDevice&) = default;
    virtual ~BlockDevice() = default;

    [[nodiscard]] virtual std::uint64_t block_count() const = 0;
    // Each of these throws DiskError. After a failed write, each of its blocks has its old
    // contents, its new ones or any other.
    virtual void read(std::uint64_t first_block, std::uint32_t blocks, void* data) = 0;
    virtual void write(std::uint64_t first_block, std::uint32_t blocks, const void* data) = 0;
    // Returns when everything written before is on the disk.
    virtual void flush() = 0;
};

}  // namespace lab
