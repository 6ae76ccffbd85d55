// The partition style and the identity of a disk.
#pragma once

#include <cstdint>

namespace farlo {

// farlo.h, GetDiskTypeAndSignature.
[[nodiscard]] std::uint32_t GetDiskTypeAndSignatureW(const wchar_t* path, std::uint32_t* signature,
                                                     std::uint8_t* disk_guid, std::uint32_t* style);

}  // namespace farlo
