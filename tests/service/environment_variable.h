// An environment variable, for the processes that are started meanwhile.
#pragma once

#include <windows.h>

#include <optional>
#include <string>

namespace support {

class EnvironmentVariable {
  public:
    // No value removes the variable.
    EnvironmentVariable(const wchar_t* name, const std::optional<std::wstring>& value)
        : m_name(name) {
        if (const DWORD size = GetEnvironmentVariableW(name, nullptr, 0); size != 0) {
            m_before.emplace(size, L'\0');
            m_before->resize(GetEnvironmentVariableW(name, m_before->data(), size));
        }
        set(value);
    }
    ~EnvironmentVariable() { set(m_before); }
    EnvironmentVariable(const EnvironmentVariable&) = delete;
    EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;

  private:
    void set(const std::optional<std::wstring>& value) {
        SetEnvironmentVariableW(m_name, value ? value->c_str() : nullptr);
    }

    const wchar_t* m_name;
    std::optional<std::wstring> m_before;
};

}  // namespace support
