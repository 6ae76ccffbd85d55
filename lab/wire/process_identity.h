// Which process is on the other side of a connection: one of this node, if it
// can be opened here.
#pragma once

#include <windows.h>

#include <cstdint>

namespace lab {

// Numbers of processes are used again, and mean another process on another node.
struct ProcessIdentity {
    std::uint32_t number;
    std::uint64_t started;  // 100 ns since 1601
};

ProcessIdentity this_process();

// A handle to wait with, for the caller to close; null if this node has no such
// process.
HANDLE open_process(const ProcessIdentity& identity);

}  // namespace lab
