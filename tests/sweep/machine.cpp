#include "sweep/machine.h"

#include "dmcontrol.h"

#include <ntstatus.h>
#include <winioctl.h>

#include <ddk/mountmgr.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

extern "C" NTSTATUS NTAPI NtQueryMutant(HANDLE mutant, int what, void* buffer, ULONG size,
                                        ULONG* returned);

namespace sweep {
namespace {

// MUTANT_BASIC_INFORMATION, which the headers do not declare.
struct MutexState {
    LONG count;
    BOOLEAN owned_by_caller;
    BOOLEAN abandoned;
};
constexpr int mutant_basic_information = 0;

MutexState state_of(HANDLE mutex) {
    MutexState state{};
    if (NtQueryMutant(mutex, mutant_basic_information, &state, sizeof state, nullptr) != 0) {
        throw std::runtime_error("cannot query the state of a mutex");
    }
    return state;
}

// The library never closes the info device, so this is not a handle of the process.
const HANDLE info_device = reinterpret_cast<HANDLE>(std::uintptr_t{0x70004});
constexpr const wchar_t* links[] = {L"\\DosDevices\\F:", L"\\??\\Volume{v1}"};

DWORD disk_style = 0;
int link_count = 0;
decltype(&WaitForSingleObject) original_wait;
std::vector<HANDLE> threads;
std::vector<HANDLE> threads_to_start;
std::vector<opal_handle> connections;
std::vector<opal_handle> released;
std::vector<opal_handle> watched;
std::atomic<unsigned> read_count;

HANDLE some_handle() {
    return CreateEventW(nullptr, TRUE, FALSE, nullptr);
}

NTSTATUS NTAPI open_device(HANDLE* file, ACCESS_MASK, OBJECT_ATTRIBUTES* attributes,
                           IO_STATUS_BLOCK* io_status, ULONG, ULONG) {
    const std::wstring name(attributes->ObjectName->Buffer,
                            attributes->ObjectName->Length / sizeof(wchar_t));
    *file = name == DM_INFO_DEVICE ? info_device : some_handle();
    io_status->Status = 0;
    return 0;
}

NTSTATUS NTAPI control_device(HANDLE, HANDLE, void*, void*, IO_STATUS_BLOCK* io_status, ULONG code,
                              void* input, ULONG, void*, ULONG) {
    const auto* block = static_cast<const dm_control_block*>(input);
    io_status->Status = 0;
    if (code == DM_INFO_GET_RESERVATION || code == DM_INFO_GET_IMPORTED) {
        auto* request =
            reinterpret_cast<dm_reservation_request*>(static_cast<std::uintptr_t>(block->record));
        request->reply = code == DM_INFO_GET_RESERVATION ? 1 : 0;
    }
    // The driver's status for a healthy volume.
    if (code == DM_CONFIG_GET_VOLUME_STATUS) {
        io_status->Status = STATUS_UNSUCCESSFUL;
    }
    return 0;
}

HANDLE WINAPI open_file(const wchar_t*, DWORD, DWORD, SECURITY_ATTRIBUTES*, DWORD, DWORD, HANDLE) {
    return some_handle();
}

DWORD fill_mount_points(void* output) {
    auto* points = static_cast<MOUNTMGR_MOUNT_POINTS*>(output);
    std::memset(output, 0, 512);
    points->NumberOfMountPoints = static_cast<ULONG>(link_count);
    auto end = static_cast<ULONG>(offsetof(MOUNTMGR_MOUNT_POINTS, MountPoints) +
                                  2 * sizeof(MOUNTMGR_MOUNT_POINT));
    for (int i = 0; i < link_count; ++i) {
        const auto size = static_cast<USHORT>(std::wcslen(links[i]) * sizeof(wchar_t));
        points->MountPoints[i].SymbolicLinkNameOffset = end;
        points->MountPoints[i].SymbolicLinkNameLength = size;
        std::memcpy(static_cast<std::uint8_t*>(output) + end, links[i], size);
        end += size;
    }
    points->Size = end;
    return end;
}

DWORD fill_drive_layout(void* output, DWORD size) {
    DRIVE_LAYOUT_INFORMATION_EX layout{};
    layout.PartitionStyle = disk_style;
    if (disk_style == PARTITION_STYLE_MBR) {
        layout.Mbr.Signature = Machine::disk_signature;
    } else {
        layout.Gpt.DiskId = GUID{1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
    }
    std::memset(output, 0, size);
    std::memcpy(output, &layout, sizeof layout);
    return size;
}

BOOL WINAPI control_file(HANDLE, DWORD code, void*, DWORD, void* output, DWORD output_size,
                         DWORD* returned, OVERLAPPED*) {
    switch (code) {
    case IOCTL_MOUNTMGR_QUERY_POINTS:
        *returned = fill_mount_points(output);
        return TRUE;
    case IOCTL_DISK_GET_DRIVE_LAYOUT_EX:
        *returned = fill_drive_layout(output, output_size);
        return TRUE;
    case FSCTL_DISMOUNT_VOLUME:
        return TRUE;
    default:
        SetLastError(ERROR_INVALID_FUNCTION);
        return FALSE;
    }
}

BOOL WINAPI flush(HANDLE) {
    return TRUE;
}

BOOL WINAPI volume_information(const wchar_t*, wchar_t*, DWORD, DWORD* serial, DWORD*, DWORD*,
                               wchar_t* file_system, DWORD capacity) {
    *serial = Machine::serial_number;
    std::wcsncpy(file_system, L"NTFS", capacity);
    return TRUE;
}

void start_threads() {
    for (const HANDLE thread : std::exchange(threads_to_start, {})) {
        ResumeThread(thread);
    }
}

// A thread starts when the DLL next waits for something, so that the calls and log lines of both
// threads always have the same order.
HANDLE WINAPI create_thread(SECURITY_ATTRIBUTES* security, SIZE_T stack,
                            LPTHREAD_START_ROUTINE routine, void* argument, DWORD flags,
                            DWORD* id) {
    const HANDLE thread =
        CreateThread(security, stack, routine, argument, flags | CREATE_SUSPENDED, id);
    if (thread == nullptr) {
        return nullptr;
    }
    HANDLE kept = nullptr;
    if (DuplicateHandle(GetCurrentProcess(), thread, GetCurrentProcess(), &kept, 0, FALSE,
                        DUPLICATE_SAME_ACCESS)) {
        threads.push_back(kept);
        threads_to_start.push_back(kept);
    } else {
        ResumeThread(thread);
    }
    return thread;
}

DWORD WINAPI wait(HANDLE object, DWORD milliseconds) {
    start_threads();
    return original_wait(object, milliseconds);
}

opal_status connect(std::uint32_t flags, std::uint32_t reserved, opal_handle* slot) {
    const opal_status status = InitializeZtVmW(flags, reserved, slot);
    if (status == ZTSTATUS_OK) {
        connections.push_back(*slot);
        watched.push_back(*slot);
        std::erase(released, *slot);
    }
    return status;
}

opal_status disconnect(opal_handle handle) {
    std::erase(connections, handle);
    std::erase(watched, handle);
    released.push_back(handle);
    return UnInitializeZtVmW(handle);
}

// The library reads `connected` under the handle's own lock.
void WINAPI enter(CRITICAL_SECTION* section) {
    const auto is_its_lock = [section](opal_handle handle) { return &handle->lock == section; };
    if (std::any_of(watched.begin(), watched.end(), is_its_lock)) {
        ++read_count;
    }
    EnterCriticalSection(section);
}

}  // namespace

Machine::Machine(HMODULE module) {
    disk_style = PARTITION_STYLE_MBR;
    set_volume_links(true);
    connections.clear();
    for (const char* name : {"Global\\rescanMutex", "Global\\cvmclusternodeMutex"}) {
        m_mutexes.push_back({name, CreateMutexA(nullptr, FALSE, name)});
    }
    const auto replace = [&](const char* name, auto* function) {
        m_interposers.push_back(std::make_unique<support::Interposer>(module, name, function));
    };
    replace("ZwOpenFile", &open_device);
    replace("ZwDeviceIoControlFile", &control_device);
    replace("CreateFileW", &open_file);
    replace("DeviceIoControl", &control_file);
    replace("FlushFileBuffers", &flush);
    replace("GetVolumeInformationW", &volume_information);
    replace("CreateThread", &create_thread);
    replace("WaitForSingleObject", &wait);
    original_wait = m_interposers.back()->original<decltype(wait)>();
    replace("InitializeZtVmW", &connect);
    replace("UnInitializeZtVmW", &disconnect);
    replace("EnterCriticalSection", &enter);
}

Machine::~Machine() {
    join_threads();
    while (!m_interposers.empty()) {
        m_interposers.pop_back();
    }
    for (const Mutex& mutex : m_mutexes) {
        CloseHandle(mutex.handle);
    }
}

void Machine::set_partition_style(DWORD style) {
    disk_style = style;
}

void Machine::set_volume_links(bool has_links) {
    link_count = has_links ? 2 : 1;
}

std::vector<opal_handle> Machine::take_new_connections() {
    released.clear();
    return std::exchange(connections, {});
}

void Machine::watch(opal_handle handle) {
    watched = {handle};
}

unsigned Machine::connected_reads() const {
    return read_count;
}

bool Machine::has_released(opal_handle handle) const {
    return std::find(released.begin(), released.end(), handle) != released.end();
}

bool Machine::forget_released(opal_handle handle) {
    return std::erase(released, handle) != 0;
}

void Machine::join_threads() {
    start_threads();
    for (const HANDLE thread : threads) {
        WaitForSingleObject(thread, INFINITE);
        CloseHandle(thread);
    }
    threads.clear();
}

std::vector<std::string> Machine::take_owned_mutexes() {
    std::vector<std::string> owned;
    for (const Mutex& mutex : m_mutexes) {
        const MutexState state = state_of(mutex.handle);
        if (!state.owned_by_caller && !state.abandoned) {
            continue;
        }
        owned.push_back(mutex.name);
        WaitForSingleObject(mutex.handle, INFINITE);
        while (ReleaseMutex(mutex.handle)) {
        }
    }
    return owned;
}

}  // namespace sweep
