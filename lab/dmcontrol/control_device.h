// Access to dmcontrol.sys for the lab: sends it its state and collects its events.
#pragma once

#include "dmcontrol/lab_dmcontrol.h"

#include <windows.h>

#include <memory>
#include <vector>

namespace lab {

struct CloseWindowsHandle {
    using pointer = HANDLE;
    void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using WindowsHandle = std::unique_ptr<HANDLE, CloseWindowsHandle>;

// Opens a device by its native name. Returns null on failure.
WindowsHandle open_device(const wchar_t* native_name);

// Sends one request and returns its native status. `written` receives the size of the
// output.
std::uint32_t send_request(HANDLE device, std::uint32_t code, const void* input,
                           std::size_t input_size, void* output = nullptr,
                           std::size_t output_size = 0, std::size_t* written = nullptr);

// The info device, which takes the lab's own requests. Functions that send a request
// return its native status.
class ControlDevice {
  public:
    // Whether the driver is loaded.
    explicit operator bool() const { return m_device != nullptr; }

    std::uint32_t forget();
    std::uint32_t set_groups(const std::vector<lab_dm_group>& groups);
    std::uint32_t set_volumes(const std::vector<lab_dm_volume>& volumes);
    // Makes the next `requests` requests with a code return a status without doing
    // anything. 0 requests cancel an earlier call.
    std::uint32_t set_answer(std::uint32_t code, std::uint32_t status, std::uint32_t requests);

    // Whether there are events to take. Cheap.
    bool has_events() const;
    // Returns what programs requested from the driver since the last call.
    std::vector<lab_dm_event> take_events();

  private:
    WindowsHandle m_device = open_device(DM_INFO_DEVICE);
    WindowsHandle m_signal{CreateEventW(nullptr, TRUE, FALSE, LAB_DM_EVENTS_SIGNAL)};
};

}  // namespace lab
