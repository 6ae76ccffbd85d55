#include "service/process.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace support {

TemporaryFolder::TemporaryFolder() {
    static int last_number = 0;
    wchar_t base[MAX_PATH];
    GetTempPathW(MAX_PATH, base);
    m_path = std::wstring(base) + L"farlo-" + std::to_wstring(GetCurrentProcessId()) + L"-" +
             std::to_wstring(++last_number);
    // May be left over from a crashed process with the same id.
    std::filesystem::remove_all(m_path);
    std::filesystem::create_directories(m_path);
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::wstring TemporaryFolder::write(const std::wstring& name, const std::string& text) const {
    std::ofstream stream(std::filesystem::path(file(name)), std::ios::binary);
    stream << text;
    EXPECT_TRUE(stream.flush().good());
    return file(name);
}

std::string read_text(const std::wstring& path) {
    std::ifstream stream(std::filesystem::path(path), std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

std::wstring in_quotes(const std::wstring& path) {
    return L"\"" + path + L"\"";
}

std::wstring beside_this_program(const wchar_t* name) {
    wchar_t path[MAX_PATH];
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    return in_quotes(std::filesystem::path(path).replace_filename(name).wstring());
}

namespace {

constexpr int start_attempts = 5;
constexpr DWORD start_pause_ms = 200;

// Wine's start of a process rarely fails with ERROR_INTERNAL_ERROR on a busy machine: the new
// process ended before its program began to run. Nothing of it is left, so it is started again.
BOOL create_process(const std::wstring& command_line, STARTUPINFOW& start,
                    PROCESS_INFORMATION& process) {
    for (int attempt = 1;; ++attempt) {
        std::wstring line = command_line;  // CreateProcessW modifies its argument
        const BOOL created = CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, 0,
                                            nullptr, nullptr, &start, &process);
        if (created != FALSE || GetLastError() != ERROR_INTERNAL_ERROR ||
            attempt == start_attempts) {
            return created;
        }
        std::printf("Wine did not start a process (attempt %d of %d)\n", attempt, start_attempts);
        Sleep(start_pause_ms);
    }
}

}  // namespace

Process::Process(const std::wstring& command_line) {
    SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
    const auto open = [&inheritable](const std::wstring& path) {
        return CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_DELETE,
                           &inheritable, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    };
    STARTUPINFOW start{};
    start.cb = sizeof start;
    start.dwFlags = STARTF_USESTDHANDLES;
    start.hStdOutput = open(m_folder.file(L"out"));
    start.hStdError = open(m_folder.file(L"err"));
    PROCESS_INFORMATION process{};
    if (create_process(command_line, start, process) == FALSE) {
        ADD_FAILURE() << "a process was not started, error " << GetLastError() << "\n" << errors();
    } else {
        CloseHandle(process.hThread);
        m_process = process.hProcess;
    }
    CloseHandle(start.hStdOutput);
    CloseHandle(start.hStdError);
}

Process::~Process() {
    if (m_process != nullptr) {
        kill();
        CloseHandle(m_process);
    }
}

bool Process::runs() const {
    return WaitForSingleObject(m_process, 0) == WAIT_TIMEOUT;
}

void Process::kill() {
    TerminateProcess(m_process, 99);
    WaitForSingleObject(m_process, INFINITE);
}

std::optional<DWORD> Process::wait(DWORD limit_ms) const {
    DWORD code = 0;
    if (WaitForSingleObject(m_process, limit_ms) != WAIT_OBJECT_0 ||
        GetExitCodeProcess(m_process, &code) == FALSE) {
        return std::nullopt;
    }
    return code;
}

}  // namespace support
