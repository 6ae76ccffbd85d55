// A wide name for the log lines whose format takes a narrow one.
#pragma once

#include <string>

namespace farlo {

// "?" stands for what is not ASCII.
inline std::string narrow_name(const wchar_t* name) {
    std::string narrow;
    for (; *name != L'\0'; ++name) {
        narrow += *name < 0x80 ? static_cast<char>(*name) : '?';
    }
    return narrow;
}

}  // namespace farlo
