// A stand-in for the system's mount-point manager, as the DLL asks it.
#pragma once

#include "interposer.h"

#include <windows.h>

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace records {

// For the life of a run's body. Other files are opened as they would be.
class MountManager {
  public:
    explicit MountManager(HMODULE module);

    // Names of a device's links, in order.
    std::map<std::wstring, std::vector<std::wstring>> links;
    // In place of them: all bytes of the answer.
    std::optional<std::vector<std::uint8_t>> answer;
    bool refuses_to_open = false;
    bool refuses_to_answer = false;
    std::function<void()> on_open;

    // "open", "ask" and the device, "close", in order.
    std::vector<std::string> lines;
    // What a request had that it must not have.
    std::vector<std::string> faults;

  private:
    HANDLE open(const wchar_t* path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security,
                DWORD disposition, DWORD attributes);
    BOOL ask(HANDLE device, DWORD code, const void* input, DWORD input_size, void* output,
             DWORD output_size, DWORD* returned, const OVERLAPPED* overlapped);
    std::wstring take_question(const void* input, DWORD input_size);
    void expect(bool holds, const char* fault);

    HANDLE m_manager = nullptr;
    support::StandIn<decltype(CreateFileW)> m_open;
    support::StandIn<decltype(DeviceIoControl)> m_ask;
    support::StandIn<decltype(CloseHandle)> m_close;
};

// An answer of the mount-point manager: one entry a name, each name where and as
// long as it says.
struct Link {
    std::wstring name;
    std::optional<std::uint32_t> offset;
    std::optional<std::uint16_t> size;
};
// `told` entries; the names stand one behind the other, the first at an odd address.
std::vector<std::uint8_t> mount_answer(const std::vector<Link>& links,
                                       std::optional<std::uint32_t> told = {});

}  // namespace records
