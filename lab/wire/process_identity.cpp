#include "wire/process_identity.h"

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
