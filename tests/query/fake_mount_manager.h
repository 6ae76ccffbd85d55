// Replaces the system's mount-point manager for the DLL.
#pragma once

#include "support/interposer.h"

#include <windows.h>

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace records {

// Lives as long as a run's body. Other files are opened as usual.
class MountManager {
  public:
    explicit MountManager(HMODULE module);

    // The names of each device's links, in order.
    std::map<std::wstring, std::vector<std::wstring>> links;
    // All bytes of the response, instead of one that is made from `links`.
    std::optional<std::vector<std::uint8_t>> response;
    bool open_fails = false;
    bool query_fails = false;
    std::function<void()> on_open;

    // The requests, in order: "open", "query " with the device, "close".
    std::vector<std::string> requests;
    // What was wrong with a request.
    std::vector<std::string> errors;

  private:
    HANDLE open(const wchar_t* path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security,
                DWORD disposition, DWORD attributes);
    BOOL query(HANDLE device, DWORD code, const void* input, DWORD input_size, void* output,
               DWORD output_size, DWORD* returned, const OVERLAPPED* overlapped);
    std::wstring check_input(const void* input, DWORD input_size);
    void expect(bool holds, const char* error);

    HANDLE m_manager = nullptr;
    support::StandIn<decltype(CreateFileW)> m_open;
    support::StandIn<decltype(DeviceIoControl)> m_query;
    support::StandIn<decltype(CloseHandle)> m_close;
};

// An entry of the mount-point manager's response. The offset and the size of the name are correct
// unless they are given.
struct Link {
    std::wstring name;
    std::optional<std::uint32_t> offset = {};
    std::optional<std::uint16_t> size = {};
};
// A response with these entries. The names are stored consecutively, the first at an odd address.
// `entry_count` is correct unless it is given.
std::vector<std::uint8_t> mount_response(const std::vector<Link>& links,
                                         std::optional<std::uint32_t> entry_count = {});

}  // namespace records
