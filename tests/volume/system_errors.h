// Errors of the system, and the statuses that CheckOSVersionAndReg and DeleteVMMSFolder return
// for them: the lower half as 0x8007xxxx, but an error below 1 (as a signed number) unchanged.
#pragma once

#include <cstdint>

namespace support {

struct SystemError {
    std::uint32_t error;
    const char* logged;
    std::uint32_t status;
};
inline constexpr SystemError system_errors[] = {{0x1f, "0x1f", 0x8007001f},
                                                {0xffff, "0xffff", 0x8007ffff},
                                                {0x12345, "0x12345", 0x80072345},
                                                {0x7fffffff, "0x7fffffff", 0x8007ffff},
                                                {0x80090001, "0x80090001", 0x80090001},
                                                {0xffffffff, "0xffffffff", 0xffffffff}};

}  // namespace support
