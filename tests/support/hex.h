// Numbers in hexadecimal.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

namespace support {

// A number as the recorder, the fault plan and the log write it: "0xc1000001".
inline std::string hex(std::uint64_t number) {
    char digits[24];
    std::snprintf(digits, sizeof digits, "0x%llx", static_cast<unsigned long long>(number));
    return digits;
}

}  // namespace support
