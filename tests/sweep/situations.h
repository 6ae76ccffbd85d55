// Every export with the situations in which it is swept: how it is called, with what
// behind its pointers, and what it may answer.
#pragma once

#include "farlo.h"

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

namespace sweep {

struct Argument {
    enum class Kind {
        handle,      // a connected one
        slot,        // the address of a slot that holds NULL
        used_slot,   // the address of a slot that holds a handle that lost its connection
        own_handle,  // a connected one of the call's own, which it gives back
        narrow,      // a text
        wide,        // a text
        bytes,       // 16 bytes
        out,         // `size` bytes that are written
        in_out,      // a 32-bit number that is read and may be written
        list,        // the address of a pointer to `size` bytes that are written
        null,        // NULL
        number,      // itself
        callback,    // of RegisterForAlerts
        folder,      // a folder with empty subfolders, made anew for each call
    };

    Kind kind = Kind::null;
    std::string text{};  // narrow, and wide where it is converted: ASCII
    std::uint64_t number = 0;
    std::size_t size = 0;
    std::size_t limit = 0;  // characters that a text may have; 0: no limit is told
    bool written_on_failure = false;
    std::size_t misplaced = 0;  // bytes by which its memory is not aligned
    // Whether a longer string is refused in a line of its own; else it names nothing.
    bool refused_beyond_limit = true;
};

// What may be answered beside the status of a clean call.
struct Answers {
    std::vector<std::uint32_t> statuses;
    bool service = false;  // any status of the service and the bus
    bool system = false;   // any error of the system
    bool flag = false;     // a byte, 0 on failure
    // Where every status that is not 0 counts as a failure, also one that tells of success.
    bool zero_only = false;
    // Failures that need no line of level 0.
    std::vector<std::uint32_t> silent{};
    // The same, of arguments that are refused.
    std::vector<std::uint32_t> silent_refusals{};
    // What is answered for a NULL handle.
    std::uint32_t null_handle = FARLO_NULL_HANDLE;
    // What is answered once the connection was lost on the way.
    std::vector<std::uint32_t> dropped = {FARLO_NOT_CONNECTED};
    // It does not look at the connection again once the service has answered.
    bool unaware = false;
};

bool among(const std::vector<std::uint32_t>& statuses, std::uint32_t status);

// Whether the export may answer that, whatever happens below it.
bool is_described(const Answers& answers, std::uint32_t status);

struct Situation {
    const char* name;
    const char* export_name;
    std::vector<Argument> arguments{};
    Answers answers{};
    std::uint32_t clean = 0;
    // More than the usual:
    DWORD support_scsi3 = 0;
    DWORD disk_style = 0;
    std::string node = R"("role": 2)";
    // Whether volumes have volume GUID links.
    bool volume_links = true;
};

void PrintTo(const Situation& situation, std::ostream* out);

// The storage of all of them; `node` goes into the node's description.
std::string scenario_text(const std::string& node);

const std::vector<Situation>& situations();

// Whether everything is swept (FARLO_SWEEP=full), not a sample that takes a minute.
bool full_sweep();

}  // namespace sweep
