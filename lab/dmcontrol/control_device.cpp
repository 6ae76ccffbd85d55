#include "dmcontrol/control_device.h"

#include <winternl.h>

#include <algorithm>

extern "C" NTSTATUS NTAPI NtOpenFile(HANDLE* file, ACCESS_MASK access,
                                     OBJECT_ATTRIBUTES* attributes, IO_STATUS_BLOCK* io_status,
                                     ULONG share, ULONG options);

namespace lab {
namespace {

constexpr ULONG synchronous_io = 0x20;  // FILE_SYNCHRONOUS_IO_NONALERT
constexpr std::size_t records_per_request = 256;
constexpr std::size_t events_per_request = 64;

template <class Record>
std::uint32_t send_records(HANDLE device, std::uint32_t code, const std::vector<Record>& records) {
    std::uint32_t status = 0;
    for (std::size_t sent = 0; sent < records.size() && status == 0; sent += records_per_request) {
        const std::size_t count = std::min(records_per_request, records.size() - sent);
        status = send_request(device, code, &records[sent], count * sizeof(Record));
    }
    return status;
}

}  // namespace

WindowsHandle open_device(const wchar_t* native_name) {
    UNICODE_STRING path{};
    RtlInitUnicodeString(&path, native_name);
    OBJECT_ATTRIBUTES attributes{};
    attributes.Length = sizeof attributes;
    attributes.ObjectName = &path;
    attributes.Attributes = OBJ_CASE_INSENSITIVE;
    HANDLE device = nullptr;
    IO_STATUS_BLOCK io_status{};
    const NTSTATUS status =
        NtOpenFile(&device, SYNCHRONIZE | FILE_READ_DATA | FILE_WRITE_DATA, &attributes, &io_status,
                   FILE_SHARE_READ | FILE_SHARE_WRITE, synchronous_io);
    return WindowsHandle(NT_SUCCESS(status) ? device : nullptr);
}

std::uint32_t send_request(HANDLE device, std::uint32_t code, const void* input,
                           std::size_t input_size, void* output, std::size_t output_size,
                           std::size_t* written) {
    IO_STATUS_BLOCK io_status{};
    const NTSTATUS status = NtDeviceIoControlFile(
        device, nullptr, nullptr, nullptr, &io_status, code, const_cast<void*>(input),
        static_cast<ULONG>(input_size), output, static_cast<ULONG>(output_size));
    if (written != nullptr) {
        *written = io_status.Information;
    }
    return static_cast<std::uint32_t>(status);
}

std::uint32_t ControlDevice::forget() {
    return send_request(m_device.get(), LAB_DM_FORGET, nullptr, 0);
}

std::uint32_t ControlDevice::set_groups(const std::vector<lab_dm_group>& groups) {
    return send_records(m_device.get(), LAB_DM_SET_GROUPS, groups);
}

std::uint32_t ControlDevice::set_volumes(const std::vector<lab_dm_volume>& volumes) {
    return send_records(m_device.get(), LAB_DM_SET_VOLUMES, volumes);
}

std::uint32_t ControlDevice::set_answer(std::uint32_t code, std::uint32_t status,
                                        std::uint32_t requests) {
    const lab_dm_answer answer{code, status, requests};
    return send_request(m_device.get(), LAB_DM_SET_ANSWER, &answer, sizeof answer);
}

bool ControlDevice::has_events() const {
    return WaitForSingleObject(m_signal.get(), 0) == WAIT_OBJECT_0;
}

std::vector<lab_dm_event> ControlDevice::take_events() {
    // Reset first, so that events that arrive meanwhile set it again.
    ResetEvent(m_signal.get());
    std::vector<lab_dm_event> events;
    for (;;) {
        const std::size_t before = events.size();
        events.resize(before + events_per_request);
        std::size_t written = 0;
        const std::uint32_t status =
            send_request(m_device.get(), LAB_DM_TAKE_EVENTS, nullptr, 0, &events[before],
                         events_per_request * sizeof(lab_dm_event), &written);
        const std::size_t count = status == 0 ? written / sizeof(lab_dm_event) : 0;
        events.resize(before + count);
        if (count < events_per_request) {
            return events;
        }
    }
}

}  // namespace lab
