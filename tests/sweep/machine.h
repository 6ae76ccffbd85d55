// Replaces what the DLL uses beside the bus: the driver's two devices, disks and volumes, the
// mount manager. The replacements always succeed; ImportedCalls makes them fail.
#pragma once

#include "support/interposer.h"
#include "ztcmd.h"

#include <windows.h>

#include <winternl.h>

#include <memory>
#include <string>
#include <vector>

namespace sweep {

// Replaces as long as it exists. One at a time in a process.
class Machine {
  public:
    explicit Machine(HMODULE module);
    ~Machine();
    Machine(const Machine&) = delete;
    Machine& operator=(const Machine&) = delete;

    static constexpr DWORD serial_number = 77;
    static constexpr DWORD disk_signature = 11;

    // The partition style of every disk.
    void set_partition_style(DWORD style);
    // Whether every volume has a volume GUID link beside its drive letter.
    void set_volume_links(bool has_links);
    // Connections that the DLL has made since the last call of this and not released.
    std::vector<opal_handle> take_new_connections();
    // Whether the DLL has released that handle since then.
    bool has_released(opal_handle handle) const;
    // The same; the handle then no longer counts as released.
    bool forget_released(opal_handle handle);
    // Counts how often the DLL reads `connected` of that handle and of those that it makes from
    // then on.
    void watch(opal_handle handle);
    unsigned connected_reads() const;
    // Waits for the threads that the DLL has started.
    void join_threads();
    // Releases the machine's mutexes that this thread still owns, or that a thread of the DLL
    // owned when it ended, and returns their names.
    std::vector<std::string> take_owned_mutexes();

  private:
    struct Mutex {
        const char* name;
        HANDLE handle;
    };
    // Held open: a mutex whose last handle is closed ceases to exist, even while it is owned.
    std::vector<Mutex> m_mutexes;
    std::vector<std::unique_ptr<support::Interposer>> m_interposers;
};

}  // namespace sweep
