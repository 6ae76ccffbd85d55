// CRC-32C (Castagnoli), as iSCSI and ext4 use it.
#pragma once

#include <cstddef>
#include <cstdint>

namespace lab {

[[nodiscard]] std::uint32_t crc32c(const void* data, std::size_t size);

}  // namespace lab
