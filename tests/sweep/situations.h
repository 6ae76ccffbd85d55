// Every export with the situations in which it is swept: its arguments, and what farlo.h documents
// about its statuses.
#pragma once

#include "farlo.h"

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

namespace sweep {

// GetDgDiskAvailability's status for every failure of the service's method.
inline constexpr std::uint32_t availability_failed = 1;

struct Argument {
    enum class Kind {
        handle,             // a connected handle
        empty_slot,         // the address of a handle variable that is NULL
        disconnected_slot,  // the address of a handle variable whose connection was lost
        own_handle,         // a connected handle of this call, which releases it
        narrow,             // a narrow string
        wide,               // a wide string
        bytes,              // the address of 16 bytes
        output,             // the address of `size` bytes that are written
        in_out,             // the address of a 32-bit number that is read and may be written
        name_list,          // the address of a pointer to `size` bytes that are written
        null,               // NULL
        number,             // the number itself
        callback,           // RegisterForAlerts's callback
        folder,             // a folder with empty subfolders, made anew for each call
    };

    Kind kind = Kind::null;
    std::string string{};  // ASCII; converted for a wide string
    std::uint64_t number = 0;
    std::size_t size = 0;
    std::size_t limit = 0;  // documented limit of a string in characters; 0: none
    bool written_on_failure = false;
    std::size_t misaligned_by = 0;  // bytes by which a buffer's address is off its alignment
    // Whether a string beyond the limit is refused with a line that names the argument; otherwise
    // it is looked up and not found.
    bool refused_beyond_limit = true;
};

// What farlo.h documents about the statuses of an export and the log lines of its failures.
struct Contract {
    // The statuses beside that of a clean call.
    std::vector<std::uint32_t> statuses{};
    bool service_statuses = false;  // any status of the service and the bus is passed on
    bool system_errors = false;     // any error of the system is passed on
    bool returns_flag = false;      // returns a byte, 0 on failure
    // A status of the service that reports success but is not 0 is treated as a failure.
    bool only_zero_succeeds = false;
    // Statuses of failures that log no line of level 0.
    std::vector<std::uint32_t> without_line{};
    // The same, where an argument is refused.
    std::vector<std::uint32_t> refused_without_line{};
    // The status for a NULL handle.
    std::uint32_t null_handle = FARLO_NULL_HANDLE;
    // The statuses once it has found that the connection was lost during the call.
    std::vector<std::uint32_t> when_disconnected = {FARLO_NOT_CONNECTED};
    // Whether it checks the connection again after the service has returned.
    bool rechecks_connection = true;
};

bool among(const std::vector<std::uint32_t>& statuses, std::uint32_t status);

// Whether the export may return that status when a call below it fails.
bool is_described(const Contract& contract, std::uint32_t status);

// What differs from the usual lab node.
struct Setup {
    DWORD support_scsi3 = 0;            // registry value SupportSCSI3
    DWORD partition_style = 0;          // of every disk
    std::string node = R"("role": 2)";  // goes into the scenario's description of the node
    bool volume_links = true;           // whether volumes have volume GUID links
};

struct Situation {
    const char* name;
    const char* export_name;
    std::vector<Argument> arguments{};
    Contract contract{};
    std::uint32_t clean_status = 0;
    Setup setup{};
};

void PrintTo(const Situation& situation, std::ostream* out);

// The scenario of all situations; `node_members` go into its description of the node.
std::string scenario_json(const std::string& node_members);

const std::vector<Situation>& situations();

// Whether everything is swept (FARLO_SWEEP=full in the environment) or a sample.
bool full_sweep();

}  // namespace sweep
