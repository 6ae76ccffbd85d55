#include "array/crc32c.h"

#include <array>

namespace lab {
namespace {

constexpr std::uint32_t reflected_polynomial = 0x82f63b78;

constexpr std::array<std::uint32_t, 256> make_table() {
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t byte = 0; byte < table.size(); ++byte) {
        std::uint32_t remainder = byte;
        for (int bit = 0; bit < 8; ++bit) {
            remainder = (remainder >> 1) ^ ((remainder & 1) != 0 ? reflected_polynomial : 0);
        }
        table[byte] = remainder;
    }
    return table;
}

constexpr auto table = make_table();

}  // namespace

std::uint32_t crc32c(const void* data, std::size_t size) {
    const auto* bytes = static_cast<const std::uint8_t*>(data);
    std::uint32_t remainder = 0xffffffff;
    for (std::size_t i = 0; i < size; ++i) {
        remainder = (remainder >> 8) ^ table[(remainder ^ bytes[i]) & 0xff];
    }
    return ~remainder;
}

}  // namespace lab
