#include "array/private_region.h"

#include "array/crc32c.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <vector>

namespace lab {
namespace {

// The header's integers are stored as they are in memory.
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__);

// Blocks in one command to the disk.
constexpr std::uint32_t transfer_limit = 64;

std::uint32_t blocks_of(std::size_t bytes) {
    return static_cast<std::uint32_t>((bytes + block_size - 1) / block_size);
}

std::vector<std::uint8_t> read_blocks(BlockDevice& disk, std::uint64_t first,
                                      std::uint32_t blocks) {
    std::vector<std::uint8_t> data(std::size_t{blocks} * block_size);
    for (std::uint32_t done = 0; done < blocks; done += transfer_limit) {
        disk.read(first + done, std::min(transfer_limit, blocks - done),
                  data.data() + std::size_t{done} * block_size);
    }
    return data;
}

void write_blocks(BlockDevice& disk, std::uint64_t first, const std::vector<std::uint8_t>& data) {
    const std::uint32_t blocks = blocks_of(data.size());
    for (std::uint32_t done = 0; done < blocks; done += transfer_limit) {
        disk.write(first + done, std::min(transfer_limit, blocks - done),
                   data.data() + std::size_t{done} * block_size);
    }
}

RegionHeader header_of(const RegionContents& contents) {
    RegionHeader header{};
    std::memcpy(header.magic, region_magic, sizeof header.magic);
    header.version = region_version;
    header.payload_length = static_cast<std::uint32_t>(contents.payload.size());
    header.generation = contents.generation;
    header.payload_crc = crc32c(contents.payload.data(), contents.payload.size());
    header.header_crc = crc32c(&header, offsetof(RegionHeader, header_crc));
    return header;
}

bool is_valid(const RegionHeader& header) {
    return std::memcmp(header.magic, region_magic, sizeof header.magic) == 0 &&
           header.version == region_version && header.payload_length <= region_payload_limit &&
           header.header_crc == crc32c(&header, offsetof(RegionHeader, header_crc));
}

std::uint64_t generation_of(const std::optional<RegionContents>& copy) {
    return copy ? copy->generation : 0;
}

}  // namespace

PrivateRegion::PrivateRegion(BlockDevice& disk) : m_disk(disk) {
    if (disk.block_count() < region_end) {
        throw DiskError("the disk is too small for a private region");
    }
}

std::optional<RegionContents> PrivateRegion::read() {
    std::optional<RegionContents> first = read_copy(0);
    std::optional<RegionContents> second = read_copy(1);
    return generation_of(second) > generation_of(first) ? std::move(second) : std::move(first);
}

std::uint64_t PrivateRegion::write(const std::string& payload) {
    if (payload.size() > region_payload_limit) {
        throw std::length_error("the payload is too long for a private region");
    }
    const std::optional<RegionContents> first = read_copy(0);
    const std::optional<RegionContents> second = read_copy(1);
    // The older copy first: a newer one may be the only one that is valid.
    const std::size_t older = generation_of(first) > generation_of(second) ? 1 : 0;
    const RegionContents contents{std::max(generation_of(first), generation_of(second)) + 1,
                                  payload};
    write_copy(older, contents);
    write_copy(1 - older, contents);
    return contents.generation;
}

void PrivateRegion::erase() {
    const std::vector<std::uint8_t> zeros(block_size);
    // The older copy first, too: the region is there or not, and never an older one.
    const std::size_t older = generation_of(read_copy(0)) > generation_of(read_copy(1)) ? 1 : 0;
    for (const std::size_t copy : {older, 1 - older}) {
        write_blocks(m_disk, region_copies[copy], zeros);
        m_disk.flush();
    }
}

std::optional<RegionContents> PrivateRegion::read_copy(std::size_t copy) {
    const std::vector<std::uint8_t> block = read_blocks(m_disk, region_copies[copy], 1);
    RegionHeader header;
    std::memcpy(&header, block.data(), sizeof header);
    if (!is_valid(header)) {
        return std::nullopt;
    }
    const std::vector<std::uint8_t> data =
        read_blocks(m_disk, region_copies[copy] + 1, blocks_of(header.payload_length));
    RegionContents contents{header.generation,
                            std::string(data.begin(), data.begin() + header.payload_length)};
    if (header.payload_crc != crc32c(contents.payload.data(), contents.payload.size())) {
        return std::nullopt;
    }
    return contents;
}

void PrivateRegion::write_copy(std::size_t copy, const RegionContents& contents) {
    std::vector<std::uint8_t> payload(contents.payload.begin(), contents.payload.end());
    payload.resize(std::size_t{blocks_of(payload.size())} * block_size);
    write_blocks(m_disk, region_copies[copy] + 1, payload);

    std::vector<std::uint8_t> block(block_size);
    const RegionHeader header = header_of(contents);
    std::memcpy(block.data(), &header, sizeof header);
    write_blocks(m_disk, region_copies[copy], block);
    m_disk.flush();
    // The other copy is given up only for one that can be read.
    const std::optional<RegionContents> written = read_copy(copy);
    if (generation_of(written) != contents.generation || written->payload != contents.payload) {
        throw DiskError("the private region does not have the contents that were written");
    }
}

}  // namespace lab
