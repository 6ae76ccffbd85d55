// What lies beside the bus, as stand-ins: the driver's two devices, disks and volumes,
// the mount-point manager. They always answer; making them fail is the sweep's.
#pragma once

#include "interposer.h"
#include "ztcmd.h"

#include <windows.h>

#include <winternl.h>

#include <memory>
#include <string>
#include <vector>

namespace sweep {

// For the life of a run's body. One at a time in a process.
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
    // Handles that the DLL was given and has not given back, since the last look.
    std::vector<opal_handle> take_new_connections();
    // Whether the DLL gave that handle back since then.
    bool has_released(opal_handle handle) const;
    // The same; the handle counts as not released from then on.
    bool forget_released(opal_handle handle);
    // How often the DLL has looked whether that handle is connected, or one that it made
    // since.
    void watch(opal_handle handle);
    unsigned connected_reads() const;
    // Waits until the threads that the DLL started have ended.
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
