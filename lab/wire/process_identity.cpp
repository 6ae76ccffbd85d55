#include "wire/process_identity.h"

#include "store/string_conversions.h"

#include <filesystem>

namespace lab {
namespace {

std::uint64_t start_of(HANDLE process) {
    FILETIME started{};
    FILETIME unused;
    GetProcessTimes(process, &started, &unused, &unused, &unused);
    return std::uint64_t{started.dwHighDateTime} << 32 | started.dwLowDateTime;
}

}  // namespace

ProcessIdentity this_process() {
    return {GetCurrentProcessId(), start_of(GetCurrentProcess())};
}

std::string this_program() {
    wchar_t path[MAX_PATH] = L"";
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    return narrow(std::filesystem::path(path).filename().wstring());
}

HANDLE open_process(const ProcessIdentity& identity) {
    const HANDLE process =
        OpenProcess(SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION, FALSE, identity.number);
    if (process != nullptr && start_of(process) != identity.started) {
        CloseHandle(process);
        return nullptr;
    }
    return process;
}

}  // namespace lab
