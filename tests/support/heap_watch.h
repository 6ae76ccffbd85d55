// Watches the heap blocks of a DLL, and makes its allocations fail.
#pragma once

#include "support/interposer.h"

#include <memory>
#include <string>
#include <vector>

namespace support {

// Follows what the DLL allocates through malloc, calloc and realloc (and therefore through new)
// while the object exists. One at a time in a process; it may outlive the DLL.
//
// Check for leaks after the DLL is unloaded: its C++ runtime keeps a few blocks for each thread
// that has thrown an exception, and frees them only then.
class HeapWatch {
  public:
    explicit HeapWatch(HMODULE module);
    ~HeapWatch();
    HeapWatch(const HeapWatch&) = delete;
    HeapWatch& operator=(const HeapWatch&) = delete;

    // The number of blocks that were allocated since the watch began and are not freed.
    long live_blocks() const;
    // The sizes and allocation numbers of these blocks, for the message of a failure.
    std::string describe_live_blocks() const;
    // The number of times the DLL freed a block twice. The second call frees nothing.
    long double_frees() const;
    // The number of allocations, including failed ones and those by VirtualAlloc and _ZtAlloc.
    long allocations() const;

    // Makes `times` allocations fail, from the n-th from now on (1 is the next one).
    void fail(long n, long times = 1);
    // Whether an allocation has failed since the last call of fail().
    bool has_failed() const;
    void fail_no_more() { fail(0, 0); }

  private:
    std::vector<std::unique_ptr<Interposer>> m_interposers;
};

}  // namespace support
