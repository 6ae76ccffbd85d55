// Records the DLL's calls for kernel objects, pages and device requests, one line each, in order,
// and replaces the driver by one that returns what a test sets.
//
//   CreateMutexA Global\name not owned -> mutex
//   WaitForSingleObject mutex 0 -> 0
//   ReleaseMutex mutex
//   CloseHandle mutex                    only for handles from these calls
//   SetEvent token                       only for the event of watch_event
//   VirtualAlloc 308 0x1000 0x4 -> page
//   VirtualFree page
//   ZwOpenFile \Device\DmControl\DmInfo 0x40 0x100003 0x3 0x10 -> 0x0 0x0
//                                        name, attributes, access, sharing, options
//   control 0xd903f02c "guid" 1 -> 0x0 0x0
//                                        the record's GUID string and reservation number
//   Sleep 1000                           a pause of the virtual clock
#pragma once

#include "support/interposer.h"
#include "support/virtual_clock.h"

#include <windows.h>

#include <ntstatus.h>
#include <winternl.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace support {

// One at a time in a process, within the body of a run.
class KernelJournal {
  public:
    KernelJournal(HMODULE module, VirtualClock& clock);
    ~KernelJournal();
    KernelJournal(const KernelJournal&) = delete;
    KernelJournal& operator=(const KernelJournal&) = delete;

    std::vector<std::string> lines;

    // Records the calls for this named event, which must exist, under the name `as`.
    void watch_event(const char* event, const std::string& as);
    // Called at every pause, after its line was recorded, with the number of the pause from 1.
    std::function<void(int number)> on_pause;

    // The results of one call of the driver.
    struct Result {
        NTSTATUS returned = STATUS_SUCCESS;   // the status that the call returns
        NTSTATUS io_status = STATUS_SUCCESS;  // the status in the I/O status block
        std::uint8_t reply = 0;               // the reply flags of a request
    };
    // The results of the next calls. The last one applies to all further calls as well.
    std::deque<Result> opens{{}};
    std::deque<Result> controls{{}};

    // If set: CreateMutexA fails with this system error; the wait for the mutex has this result.
    std::optional<DWORD> create_mutex_error;
    std::optional<DWORD> wait_result;
    bool pages_fail = false;

    // The number of pages that are allocated and not freed.
    std::size_t live_pages() const { return m_pages.size(); }
    // What was wrong with the arguments, blocks and records of the calls.
    const std::vector<std::string>& faults() const { return m_faults; }

  private:
    static HANDLE WINAPI create_mutex(SECURITY_ATTRIBUTES* security, BOOL owned, const char* name);
    static DWORD WINAPI wait(HANDLE object, DWORD milliseconds);
    static BOOL WINAPI release_mutex(HANDLE mutex);
    static BOOL WINAPI set_event(HANDLE event);
    static BOOL WINAPI close(HANDLE handle);
    static void* WINAPI allocate(void* address, SIZE_T size, DWORD type, DWORD protection);
    static BOOL WINAPI release_page(void* address, SIZE_T size, DWORD type);
    static NTSTATUS NTAPI open(HANDLE* file, ACCESS_MASK access, OBJECT_ATTRIBUTES* attributes,
                               IO_STATUS_BLOCK* io_status, ULONG share, ULONG options);
    static NTSTATUS NTAPI control(HANDLE file, HANDLE event, void* apc_routine, void* apc_context,
                                  IO_STATUS_BLOCK* io_status, ULONG code, void* input,
                                  ULONG input_size, void* output, ULONG output_size);

    // The journal's name for a handle, or "" if the handle is unknown.
    std::string name_of(HANDLE handle) const;
    void free_pages();
    template <class Function> void replace(const char* name, Function* function);
    void check_request(const void* input, ULONG input_size, const void* output, ULONG output_size,
                       HANDLE file, const void* event, const void* apc_routine,
                       const void* apc_context);

    HMODULE m_module;
    VirtualClock& m_clock;
    std::vector<std::unique_ptr<Interposer>> m_interposers;
    DWORD(WINAPI* m_clocks_wait)(HANDLE object, DWORD milliseconds) = nullptr;
    std::map<HANDLE, std::string> m_handles;
    HANDLE m_event = nullptr;
    std::string m_event_name;
    std::map<void*, SIZE_T> m_pages;
    std::vector<std::string> m_faults;
    HANDLE m_device = nullptr;
    unsigned m_devices = 0;
};

}  // namespace support
