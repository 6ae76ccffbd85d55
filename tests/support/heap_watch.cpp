#include "heap_watch.h"

#include <atomic>
#include <cstdlib>

namespace support {
namespace {
std::atomic<long> live{0};
std::atomic<long> count{0};
std::atomic<long> first_failure{0};
std::atomic<long> last_failure{0};
}  // namespace

HeapWatch::HeapWatch(HMODULE module) {
    live = 0;
    count = 0;
    fail_no_more();
    const auto replace = [&](const char* name, auto* function) {
        if (imports(module, name)) {
            m_interposers.push_back(std::make_unique<Interposer>(module, name, function));
        }
    };
    replace("malloc", &HeapWatch::allocate);
    replace("calloc", &HeapWatch::allocate_zeroed);
    replace("realloc", &HeapWatch::reallocate);
    replace("free", &HeapWatch::release);
}

HeapWatch::~HeapWatch() {
    fail_no_more();
}

long HeapWatch::live_blocks() const {
    return live;
}

long HeapWatch::allocations() const {
    return count;
}

void HeapWatch::fail(long n, long times) {
    first_failure = n == 0 ? 0 : count + n;
    last_failure = n == 0 ? 0 : count + n + times - 1;
}

bool HeapWatch::fails() {
    const long number = ++count;
    return first_failure != 0 && number >= first_failure && number <= last_failure;
}

void* HeapWatch::allocate(std::size_t size) {
    void* block = fails() ? nullptr : std::malloc(size);
    live += block != nullptr ? 1 : 0;
    return block;
}

void* HeapWatch::allocate_zeroed(std::size_t number, std::size_t size) {
    void* block = fails() ? nullptr : std::calloc(number, size);
    live += block != nullptr ? 1 : 0;
    return block;
}

void* HeapWatch::reallocate(void* block, std::size_t size) {
    if (fails()) {
        return nullptr;
    }
    void* moved = std::realloc(block, size);
    live += block == nullptr && moved != nullptr ? 1 : 0;
    return moved;
}

void HeapWatch::release(void* block) {
    live -= block != nullptr ? 1 : 0;
    std::free(block);
}

}  // namespace support
