#include "support/heap_watch.h"

#include "support/exclusive.h"
#include "ztbus3.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <optional>
#include <stdexcept>
#include <unordered_map>
#include <unordered_set>

namespace support {
namespace {

struct Block {
    std::size_t size;
    long number;
};

struct State {
    std::unordered_map<const void*, Block> live;
    std::unordered_set<const void*> freed;  // and not allocated again
    long double_frees = 0;
    long allocations = 0;
    long first_failure = 1;
    long last_failure = 0;
    bool failed = false;
};

SRWLOCK guard = SRWLOCK_INIT;
std::optional<State> state;

// Counts an allocation. Returns whether it must fail.
bool fails() {
    const Exclusive hold(guard);
    const long number = ++state->allocations;
    const bool result = number >= state->first_failure && number <= state->last_failure;
    state->failed = state->failed || result;
    return result;
}

void* remember(void* block, std::size_t size) {
    if (block != nullptr) {
        const Exclusive hold(guard);
        state->freed.erase(block);
        state->live[block] = {size, state->allocations};
    }
    return block;
}

// Returns false if the block has been freed before.
bool forget(void* block) {
    const Exclusive hold(guard);
    if (state->freed.contains(block)) {
        ++state->double_frees;
        return false;
    }
    // Blocks that were allocated before the watch began are unknown, and are freed as usual.
    state->live.erase(block);
    state->freed.insert(block);
    return true;
}

void* no_memory() {
    errno = ENOMEM;
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
}

void* allocate(std::size_t size) {
    return fails() ? no_memory() : remember(std::malloc(size), size);
}

void* allocate_zeroed(std::size_t count, std::size_t size) {
    return fails() ? no_memory() : remember(std::calloc(count, size), count * size);
}

void release(void* block) {
    if (block != nullptr && forget(block)) {
        std::free(block);
    }
}

void* reallocate(void* block, std::size_t size) {
    if (block != nullptr && size == 0) {
        release(block);
        return nullptr;
    }
    if (fails()) {
        return no_memory();
    }
    if (block != nullptr && !forget(block)) {
        return nullptr;
    }
    void* const moved = std::realloc(block, size);
    // A block that could not be moved is still allocated.
    remember(moved != nullptr ? moved : block, size);
    return moved;
}

char* copy_string(const char* string) {
    const std::size_t size = std::strlen(string) + 1;
    void* const copy = allocate(size);
    return static_cast<char*>(copy == nullptr ? nullptr : std::memcpy(copy, string, size));
}

wchar_t* copy_wide_string(const wchar_t* string) {
    const std::size_t size = (std::wcslen(string) + 1) * sizeof *string;
    void* const copy = allocate(size);
    return static_cast<wchar_t*>(copy == nullptr ? nullptr : std::memcpy(copy, string, size));
}

void* WINAPI allocate_pages(void* address, SIZE_T size, DWORD type, DWORD protection) {
    return fails() ? no_memory() : VirtualAlloc(address, size, type, protection);
}

void* allocate_from_bus(size_t size) {
    return fails() ? nullptr : _ZtAlloc(size);
}

}  // namespace

HeapWatch::HeapWatch(HMODULE module) {
    if (state) {
        throw std::logic_error("there is already a heap watch");
    }
    state.emplace();
    const auto replace = [&](const char* name, auto* function) {
        if (imports(module, name)) {
            m_interposers.push_back(std::make_unique<Interposer>(module, name, function));
        }
    };
    replace("malloc", &allocate);
    replace("calloc", &allocate_zeroed);
    replace("realloc", &reallocate);
    replace("free", &release);
    replace("_strdup", &copy_string);
    replace("_wcsdup", &copy_wide_string);
    replace("VirtualAlloc", &allocate_pages);
    replace("_ZtAlloc", &allocate_from_bus);
}

HeapWatch::~HeapWatch() {
    m_interposers.clear();
    state.reset();
}

long HeapWatch::live_blocks() const {
    const Exclusive hold(guard);
    return static_cast<long>(state->live.size());
}

std::string HeapWatch::describe_live_blocks() const {
    const Exclusive hold(guard);
    std::string result;
    for (const auto& [block, known] : state->live) {
        result += (result.empty() ? "" : ", ") + std::to_string(known.size) +
                  " bytes of allocation " + std::to_string(known.number);
    }
    return result;
}

long HeapWatch::double_frees() const {
    const Exclusive hold(guard);
    return state->double_frees;
}

long HeapWatch::allocations() const {
    const Exclusive hold(guard);
    return state->allocations;
}

bool HeapWatch::has_failed() const {
    const Exclusive hold(guard);
    return state->failed;
}

void HeapWatch::fail(long n, long times) {
    const Exclusive hold(guard);
    state->failed = false;
    state->first_failure = n == 0 ? 1 : state->allocations + n;
    state->last_failure = n == 0 ? 0 : state->first_failure + times - 1;
}

}  // namespace support
