// Processes that tests start, and their files.
#pragma once

#include <windows.h>

#include <optional>
#include <string>

namespace support {

// A folder that is deleted with the object.
class TemporaryFolder {
  public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::wstring file(const std::wstring& name) const { return m_path + L"\\" + name; }
    // Writes a file and returns its path.
    std::wstring write(const std::wstring& name, const std::string& text) const;

  private:
    std::wstring m_path;
};

// Returns the contents of a file; empty if there is no such file.
std::string read_text(const std::wstring& path);

std::wstring in_quotes(const std::wstring& path);

// Returns the path of a program in this test program's folder, in quotes.
std::wstring beside_this_program(const wchar_t* name);

// A process with its output redirected to files. The destructor kills it.
class Process {
  public:
    explicit Process(const std::wstring& command_line);
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    bool runs() const;
    void kill();
    // Returns its exit code; nothing if it still runs after that time.
    std::optional<DWORD> wait(DWORD limit_ms) const;
    HANDLE handle() const { return m_process; }
    std::string output() const { return read_text(m_folder.file(L"out")); }
    std::string errors() const { return read_text(m_folder.file(L"err")); }

  private:
    TemporaryFolder m_folder;
    HANDLE m_process = nullptr;
};

// Returns whether a condition becomes true within the limit.
template <class Condition> bool eventually(Condition&& condition, DWORD limit_ms = 20'000) {
    const ULONGLONG begin = GetTickCount64();
    while (!condition()) {
        if (GetTickCount64() - begin > limit_ms) {
            return false;
        }
        Sleep(10);
    }
    return true;
}

}  // namespace support
