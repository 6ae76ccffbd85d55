// Identifies the process at the other end of a connection.
#pragma once

#include <windows.h>

#include <cstdint>

namespace lab {

// The start time makes the identity unique: process ids are reused, and another node
// may use the same id.
struct ProcessIdentity {
    std::uint32_t number;
    std::uint64_t started;  // 100 ns since 1601
};

ProcessIdentity this_process();

// Returns a handle to wait on, which the caller closes; null if this node has no
// such process.
HANDLE open_process(const ProcessIdentity& identity);

}  // namespace lab
