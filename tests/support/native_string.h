// Strings of the native API.
#pragma once

#include "support/narrow_string.h"

#include <windows.h>

#include <winternl.h>

#include <string>

namespace support {

// The ASCII characters of a native string.
inline std::string narrow(const UNICODE_STRING& string) {
    return narrow_string({string.Buffer, string.Length / sizeof(wchar_t)});
}

}  // namespace support
