// A private registry for a process.
#pragma once

#include <windows.h>

#include <string>

namespace support {

inline constexpr wchar_t tracing_key[] = L"SOFTWARE\\Solvane\\ZtSvc\\CurrentVersion\\Tracing\\Cmd";
inline constexpr wchar_t volume_manager_key[] =
    L"SOFTWARE\\Solvane\\ZtSvc\\CurrentVersion\\VolumeManager";

// Replaces HKEY_LOCAL_MACHINE for this process while the object exists. The replacement is empty at
// first and no other process sees it. If the process is killed, its keys remain until the node
// stops.
class PrivateRegistry {
  public:
    PrivateRegistry();  // throws std::runtime_error
    ~PrivateRegistry();
    PrivateRegistry(const PrivateRegistry&) = delete;
    PrivateRegistry& operator=(const PrivateRegistry&) = delete;

    // Sets a value under HKEY_LOCAL_MACHINE, and creates the key if needed.
    void set(const wchar_t* key, const wchar_t* name, DWORD type, const void* data, DWORD size);
    void set(const wchar_t* key, const wchar_t* name, DWORD value);
    void set(const wchar_t* key, const wchar_t* name, const std::wstring& value);
    // Deletes the key with its values and subkeys.
    void clear(const wchar_t* key);

  private:
    std::wstring m_root;  // below HKEY_CURRENT_USER
    HKEY m_key = nullptr;
};

}  // namespace support
