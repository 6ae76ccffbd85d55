#include "ztcmd/record.h"

#include "store/locks.h"
#include "ztbus3/lab_bus.h"

#include <atomic>
#include <bitset>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

namespace lab {
namespace {

constexpr std::size_t page_size = 4096;
static_assert(sizeof(opal_session) <= page_size);

// Pages for records, from a region that is never freed, so that its addresses are not reused.
// Neighbouring pages that were released are one mapping to the system.
class Region {
  public:
    // Throws std::bad_alloc.
    Region()
        : m_base(static_cast<char*>(
              VirtualAlloc(nullptr, pages * page_size, MEM_RESERVE, PAGE_NOACCESS))) {
        if (m_base == nullptr) {
            throw std::bad_alloc();
        }
    }

    bool is_full() const { return m_used == pages; }
    void* take_page() {
        void* page =
            VirtualAlloc(m_base + m_used * page_size, page_size, MEM_COMMIT, PAGE_READWRITE);
        if (page == nullptr) {
            throw std::bad_alloc();
        }
        ++m_used;
        return page;
    }
    bool contains(const void* address) const {
        const auto* byte = static_cast<const char*>(address);
        return byte >= m_base && byte < m_base + pages * page_size;
    }
    void release(const void* address) {
        m_released[page_number(address)] = true;
        VirtualFree(page_at(address), page_size, MEM_DECOMMIT);
    }
    bool is_released(const void* address) const { return m_released[page_number(address)]; }
    opal_handle page_at(const void* address) const {
        return reinterpret_cast<opal_handle>(m_base + page_number(address) * page_size);
    }

  private:
    static constexpr std::size_t pages = 4096;

    std::size_t page_number(const void* address) const {
        return static_cast<std::size_t>(static_cast<const char*>(address) - m_base) / page_size;
    }

    char* m_base;
    std::size_t m_used = 0;
    std::bitset<pages> m_released;
};

SRWLOCK regions_lock = SRWLOCK_INIT;
// Never destroyed: records are released, and accessed, until the process ends.
auto& regions = *new std::vector<std::unique_ptr<Region>>;

// Null for an address in no region. Under the lock.
Region* region_of(const void* address) {
    for (const auto& region : regions) {
        if (region->contains(address)) {
            return region.get();
        }
    }
    return nullptr;
}

// The released handle whose page an address is in, or null.
opal_handle released_handle_at(const void* address) {
    const Shared hold(regions_lock);
    const Region* region = region_of(address);
    return region != nullptr && region->is_released(address) ? region->page_at(address) : nullptr;
}

LONG CALLBACK end_at_released_page(EXCEPTION_POINTERS* exception) {
    const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
    if (record.ExceptionCode != EXCEPTION_ACCESS_VIOLATION || record.NumberParameters < 2) {
        return EXCEPTION_CONTINUE_SEARCH;
    }
    const opal_handle handle =
        released_handle_at(reinterpret_cast<const void*>(record.ExceptionInformation[1]));
    if (handle != nullptr) {
        char use[64];
        std::snprintf(use, sizeof use, "released handle 0x%llx was accessed",
                      static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(handle)));
        LabEndReleasedUse(use, exception->ContextRecord);
    }
    return EXCEPTION_CONTINUE_SEARCH;
}

// The handler is never removed, so the code that it runs must stay loaded.
void watch_released_pages() {
    HMODULE self = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                       reinterpret_cast<const wchar_t*>(&end_at_released_page), &self);
    AddVectoredExceptionHandler(1, end_at_released_page);
}

std::atomic<bool>& strict_mode() {
    static std::atomic<bool> strict = [] {
        char value[8] = "";
        GetEnvironmentVariableA("ZTLAB_STRICT", value, sizeof value);
        return std::strcmp(value, "1") == 0;
    }();
    return strict;
}

}  // namespace

bool is_strict() {
    return strict_mode();
}

bool set_strict(bool strict) {
    return strict_mode().exchange(strict);
}

opal_handle make_record() {
    if (!is_strict()) {
        return new opal_session{};
    }
    const Exclusive hold(regions_lock);
    if (regions.empty()) {
        watch_released_pages();
    }
    if (regions.empty() || regions.back()->is_full()) {
        regions.push_back(std::make_unique<Region>());
    }
    return new (regions.back()->take_page()) opal_session{};
}

void release_record(opal_handle record) {
    const Exclusive hold(regions_lock);
    Region* region = region_of(record);
    if (region == nullptr) {
        delete record;
    } else if (is_strict()) {
        region->release(record);
    }
}

bool was_released(opal_handle handle) {
    return released_handle_at(handle) != nullptr;
}

}  // namespace lab
