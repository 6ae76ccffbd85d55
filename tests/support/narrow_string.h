// Wide strings of ASCII characters as narrow ones.
#pragma once

#include <string>
#include <string_view>

namespace support {

inline std::string narrow_string(std::wstring_view string) {
    return {string.begin(), string.end()};
}

}  // namespace support
