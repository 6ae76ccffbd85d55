// The lab's side of dmcontrol.sys: feeds it, and hears what programs told it.
#pragma once

#include "lab_dmcontrol.h"

#include <windows.h>

#include <memory>
#include <vector>

namespace lab {

struct CloseWindowsHandle {
    using pointer = HANDLE;
    void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using WindowsHandle = std::unique_ptr<HANDLE, CloseWindowsHandle>;

// A handle of a native device; null when there is none of that name.
WindowsHandle open_device(const wchar_t* native_name);

// One request; its native status. `written` receives the size of the output.
std::uint32_t send_request(HANDLE device, std::uint32_t code, const void* input,
                           std::size_t input_size, void* output = nullptr,
                           std::size_t output_size = 0, std::size_t* written = nullptr);

// The info device, through which the lab drives the driver. Each function answers
// a native status.
class ControlDevice {
  public:
    // Whether the driver is there.
    explicit operator bool() const { return m_device != nullptr; }

    std::uint32_t forget();
    std::uint32_t set_groups(const std::vector<lab_dm_group>& groups);
    std::uint32_t set_volumes(const std::vector<lab_dm_volume>& volumes);
    // The next so many requests with that code answer that status; 0 requests
    // take an earlier answer back.
    std::uint32_t set_answer(std::uint32_t code, std::uint32_t status, std::uint32_t requests);

    // Whether programs told the driver something since the last call. Cheap.
    bool has_events() const;
    // What they told.
    std::vector<lab_dm_event> take_events();

  private:
    WindowsHandle m_device = open_device(DM_INFO_DEVICE);
    WindowsHandle m_signal{CreateEventW(nullptr, TRUE, FALSE, LAB_DM_EVENTS_SIGNAL)};
};

}  // namespace lab
