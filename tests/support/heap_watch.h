// The heap of the DLL: counts its blocks, and makes an allocation fail.
#pragma once

#include "interposer.h"

#include <memory>
#include <vector>

namespace support {

// Counts what the DLL allocates through malloc, calloc and realloc and has not
// freed, from now on. One at a time in a process.
class HeapWatch {
  public:
    explicit HeapWatch(HMODULE module);
    ~HeapWatch();
    HeapWatch(const HeapWatch&) = delete;
    HeapWatch& operator=(const HeapWatch&) = delete;

    long live_blocks() const;
    // Allocations so far, failed ones included.
    long allocations() const;

    // From the n-th allocation on from now (1 is the next), `times` fail.
    void fail(long n, long times = 1);
    void fail_no_more() { fail(0, 0); }

  private:
    static void* allocate(std::size_t size);
    static void* allocate_zeroed(std::size_t count, std::size_t size);
    static void* reallocate(void* block, std::size_t size);
    static void release(void* block);
    static bool fails();

    std::vector<std::unique_ptr<Interposer>> m_interposers;
};

}  // namespace support
