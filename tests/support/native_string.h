// Strings of the native API.
#pragma once

#include <windows.h>

#include <winternl.h>

#include <string>
#include <string_view>

namespace support {

// The ASCII characters of a native string.
inline std::string narrow(const UNICODE_STRING& string) {
    std::string result;
    for (const wchar_t character :
         std::wstring_view(string.Buffer, string.Length / sizeof(wchar_t))) {
        result += static_cast<char>(character);
    }
    return result;
}

}  // namespace support
