// The memory of the DLL: which blocks it holds, and allocations that fail.
#pragma once

#include "support/interposer.h"

#include <memory>
#include <string>
#include <vector>

namespace support {

// Follows what the DLL allocates through malloc, calloc and realloc (and so
// through new) and frees, from now on. One at a time in a process.
//
// A C++ runtime keeps a few blocks for each thread that raised an exception, and
// gives them back when the DLL is unloaded: look for leaks after that. The
// object may outlive the DLL.
class HeapWatch {
  public:
    explicit HeapWatch(HMODULE module);
    ~HeapWatch();
    HeapWatch(const HeapWatch&) = delete;
    HeapWatch& operator=(const HeapWatch&) = delete;

    // Blocks allocated since the watch began that were not freed.
    long live_blocks() const;
    // Their sizes and the numbers of their allocations, for a failure's message.
    std::string live_text() const;
    // Frees of a block that the DLL had freed already. They are not carried out.
    long double_frees() const;
    // Allocations so far, failed ones included: those above, VirtualAlloc and
    // _ZtAlloc.
    long allocations() const;

    // From the n-th allocation on from now (1 is the next), `times` fail.
    void fail(long n, long times = 1);
    // Whether one has failed since then.
    bool has_failed() const;
    void fail_no_more() { fail(0, 0); }

  private:
    std::vector<std::unique_ptr<Interposer>> m_interposers;
};

}  // namespace support
