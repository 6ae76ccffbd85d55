#include "support/private_registry.h"

#include <stdexcept>

namespace support {
namespace {

void require(LSTATUS status, const char* failure) {
    if (status != ERROR_SUCCESS) {
        throw std::runtime_error(std::string(failure) + ": system error " + std::to_string(status));
    }
}

}  // namespace

PrivateRegistry::PrivateRegistry() {
    m_root = L"Software\\farlo-test\\" + std::to_wstring(GetCurrentProcessId());
    // An earlier process with the same id may have been killed.
    RegDeleteTreeW(HKEY_CURRENT_USER, m_root.c_str());
    require(RegCreateKeyExW(HKEY_CURRENT_USER, m_root.c_str(), 0, nullptr, REG_OPTION_VOLATILE,
                            KEY_ALL_ACCESS, nullptr, &m_key, nullptr),
            "the private registry could not be created");
    require(RegOverridePredefKey(HKEY_LOCAL_MACHINE, m_key),
            "the private registry could not be created");
}

PrivateRegistry::~PrivateRegistry() {
    RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
    RegCloseKey(m_key);
    RegDeleteTreeW(HKEY_CURRENT_USER, m_root.c_str());
}

void PrivateRegistry::set(const wchar_t* key, const wchar_t* name, DWORD type, const void* data,
                          DWORD size) {
    HKEY opened = nullptr;
    LSTATUS status = RegCreateKeyExW(HKEY_LOCAL_MACHINE, key, 0, nullptr, REG_OPTION_VOLATILE,
                                     KEY_ALL_ACCESS, nullptr, &opened, nullptr);
    if (status == ERROR_SUCCESS) {
        status = RegSetValueExW(opened, name, 0, type, static_cast<const BYTE*>(data), size);
        RegCloseKey(opened);
    }
    require(status, "a registry value could not be set");
}

void PrivateRegistry::set(const wchar_t* key, const wchar_t* name, DWORD value) {
    set(key, name, REG_DWORD, &value, sizeof value);
}

void PrivateRegistry::set(const wchar_t* key, const wchar_t* name, const std::wstring& value) {
    set(key, name, REG_SZ, value.c_str(), static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
}

void PrivateRegistry::clear(const wchar_t* key) {
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, key);
}

}  // namespace support
