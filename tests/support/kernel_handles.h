// The kernel handles of this process.
#pragma once

#include <string>
#include <vector>

namespace support {

// The value, type and name of a handle: "0x54 Mutant \BaseNamedObjects\x".
std::string describe_handle(unsigned long long handle);

// The values of all handles that this process holds, in ascending order.
std::vector<unsigned long long> kernel_handles();

// The current handles that are not in `before`.
std::vector<unsigned long long> new_kernel_handles(const std::vector<unsigned long long>& before);

}  // namespace support
