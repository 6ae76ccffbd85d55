// A registry of a process's own.
#pragma once

#include <windows.h>

#include <string>

namespace support {

inline constexpr wchar_t tracing_key[] = L"SOFTWARE\\Solvane\\ZtSvc\\CurrentVersion\\Tracing\\Cmd";
inline constexpr wchar_t volume_manager_key[] =
    L"SOFTWARE\\Solvane\\ZtSvc\\CurrentVersion\\VolumeManager";

// Replaces HKEY_LOCAL_MACHINE for this process while it is in scope: empty at first,
// whatever the node's has, and seen by no other process. When the process is killed, its
// keys last until the node goes down.
class PrivateRegistry {
  public:
    PrivateRegistry();  // throws std::runtime_error
    ~PrivateRegistry();
    PrivateRegistry(const PrivateRegistry&) = delete;
    PrivateRegistry& operator=(const PrivateRegistry&) = delete;

    // Sets a value under HKEY_LOCAL_MACHINE; the key is made.
    void set(const wchar_t* key, const wchar_t* name, DWORD type, const void* data, DWORD size);
    void set(const wchar_t* key, const wchar_t* name, DWORD value);
    void set(const wchar_t* key, const wchar_t* name, const std::wstring& text);
    // Removes the key and all below it.
    void clear(const wchar_t* key);

  private:
    std::wstring m_root;  // below HKEY_CURRENT_USER
    HKEY m_key = nullptr;
};

}  // namespace support
