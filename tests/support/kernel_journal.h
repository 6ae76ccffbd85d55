// The kernel objects, pages and device requests of the DLL, one line each, in
// order; and a driver that answers what a test says.
//
//   CreateMutexA Global\name not owned -> mutex
//   WaitForSingleObject mutex 0 -> 0
//   ReleaseMutex mutex
//   CloseHandle mutex                    only handles that the journal knows
//   SetEvent token                       only an event that the journal watches
//   VirtualAlloc 308 0x1000 0x4 -> page
//   VirtualFree page
//   ZwOpenFile \Device\DmControl\DmInfo 0x40 0x100003 0x3 0x10 -> 0x0 0x0
//                                        name, attributes, access, sharing, options
//   control 0xd903f02c "guid" 1 -> 0x0 0x0
//                                        the record's GUID text and reservation word
//   Sleep 1000                           every pause of the virtual clock
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

// One at a time in a process; for the life of a run's body.
class KernelJournal {
  public:
    KernelJournal(HMODULE module, VirtualClock& clock);
    ~KernelJournal();
    KernelJournal(const KernelJournal&) = delete;
    KernelJournal& operator=(const KernelJournal&) = delete;

    std::vector<std::string> lines;

    // Takes down what is done with that named event, which must exist.
    void watch_event(const char* event, const std::string& as);
    // Called at every pause, after its line, with its number from 1.
    std::function<void(int number)> on_pause;

    // What the driver answers: the call's own status, the I/O status, and for a
    // request the reply flags. The first in the list is taken, the last stays.
    struct Answer {
        NTSTATUS returned = STATUS_SUCCESS;
        NTSTATUS io_status = STATUS_SUCCESS;
        std::uint8_t reply = 0;
    };
    std::deque<Answer> opens{{}};
    std::deque<Answer> controls{{}};

    // The system error of CreateMutexA; the result of the wait for the mutex.
    std::optional<DWORD> create_mutex_error;
    std::optional<DWORD> wait_result;
    bool pages_fail = false;

    // Pages that were not given back; faults in a request's blocks and records.
    std::size_t live_pages() const { return m_pages.size(); }
    const std::vector<std::string>& faults() const { return m_faults; }
    // Gives back what the library left.
    void free_pages();

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

    // The journal's word for a handle; empty for one that it does not know.
    std::string name_of(HANDLE handle) const;
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
