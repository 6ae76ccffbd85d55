// The environment of this process.
#pragma once

#include <windows.h>

#include <string>

namespace lab {

// Empty if the variable is not set.
inline std::wstring environment_variable(const wchar_t* name) {
    std::wstring value(GetEnvironmentVariableW(name, nullptr, 0), L'\0');
    value.resize(GetEnvironmentVariableW(name, value.data(), static_cast<DWORD>(value.size())));
    return value;
}

}  // namespace lab
