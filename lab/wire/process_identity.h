// Identifies the process at the other end of a connection.
#pragma once

#include <windows.h>

#include <cstdint>
#include <string>

namespace lab {

// The start time makes the identity unique: process ids are reused, and another node
// may use the same id.
struct ProcessIdentity {
    std::uint32_t number;
    std::uint64_t started;  // 100 ns since 1601
};

ProcessIdentity this_process();

// The file name of this process's program: "failover.exe".
std::string this_program();

// Returns a handle to wait on, which the caller closes; null if this node has no
// such process.
HANDLE open_process(const ProcessIdentity& identity);

}  // namespace lab
