#include "support/guarded_buffer.h"

#include "support/code_address.h"
#include "support/exclusive.h"
#include "support/hex.h"

#include <windows.h>

#include <algorithm>
#include <cstring>
#include <new>

namespace support {
namespace {

constexpr std::size_t page = 4096;

// "farlo.dll + 0x1234"
std::string place_of(const void* instruction) {
    const CodeAddress address = code_address(instruction);
    return address.module + (" + " + hex(address.offset));
}

SRWLOCK guard = SRWLOCK_INIT;

}  // namespace

// Writable pages between two forbidden ones. The first access to a forbidden page is recorded, and
// the page becomes accessible, so that the test fails instead of crashing.
class GuardedBuffer::Pages {
  public:
    explicit Pages(std::size_t size) : m_size((size + page - 1) / page * page) {
        m_base = static_cast<std::uint8_t*>(
            VirtualAlloc(nullptr, m_size + 2 * page, MEM_RESERVE, PAGE_NOACCESS));
        if (m_base == nullptr ||
            (m_size != 0 && VirtualAlloc(begin(), m_size, MEM_COMMIT, PAGE_READWRITE) == nullptr)) {
            throw std::bad_alloc();
        }
        std::memset(begin(), canary, m_size);

        static void* const handler = AddVectoredExceptionHandler(1, &Pages::handle);
        (void)handler;
        const Exclusive hold(guard);
        s_all.push_back(this);
    }
    ~Pages() {
        {
            const Exclusive hold(guard);
            std::erase(s_all, this);
        }
        VirtualFree(m_base, 0, MEM_RELEASE);
    }
    Pages(const Pages&) = delete;
    Pages& operator=(const Pages&) = delete;

    std::uint8_t* begin() const { return m_base + page; }
    std::uint8_t* end() const { return begin() + m_size; }

    struct Touch {
        const std::uint8_t* address = nullptr;  // NULL if there was none
        bool writes = false;
        const void* instruction = nullptr;
    };
    const Touch& touch() const { return m_touch; }

  private:
    static LONG CALLBACK handle(EXCEPTION_POINTERS* exception) {
        const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
        if (record.ExceptionCode != EXCEPTION_ACCESS_VIOLATION || record.NumberParameters < 2) {
            return EXCEPTION_CONTINUE_SEARCH;
        }
        auto* const address = reinterpret_cast<std::uint8_t*>(record.ExceptionInformation[1]);
        const Exclusive hold(guard);
        for (Pages* pages : s_all) {
            if (pages->forbids(address)) {
                return pages->admit(address, record);
            }
        }
        return EXCEPTION_CONTINUE_SEARCH;
    }

    bool forbids(const std::uint8_t* address) const {
        return (address >= m_base && address < begin()) ||
               (address >= end() && address < end() + page);
    }

    LONG admit(std::uint8_t* address, const EXCEPTION_RECORD& record) {
        if (m_touch.address == nullptr) {
            m_touch = {address, record.ExceptionInformation[0] == 1, record.ExceptionAddress};
        }
        std::uint8_t* const forbidden = address < begin() ? m_base : end();
        return VirtualAlloc(forbidden, page, MEM_COMMIT, PAGE_READWRITE) != nullptr
                   ? EXCEPTION_CONTINUE_EXECUTION
                   : EXCEPTION_CONTINUE_SEARCH;
    }

    static inline std::vector<Pages*> s_all;

    std::size_t m_size;
    std::uint8_t* m_base;
    Touch m_touch;
};

GuardedBuffer::GuardedBuffer(std::size_t size, Guard guard_place, std::size_t distance)
    : m_size(size), m_pages(std::make_unique<Pages>(size + distance)),
      m_data(guard_place == Guard::after ? m_pages->end() - distance - size
                                         : m_pages->begin() + distance) {}

GuardedBuffer::~GuardedBuffer() {
    if (!m_reported) {
        const std::string touched = overrun();
        EXPECT_EQ(touched, "") << "beside a buffer of " << m_size << " bytes";
    }
}

void GuardedBuffer::fill(std::uint8_t value) {
    std::fill_n(m_data, m_size, value);
}

bool GuardedBuffer::untouched_from(std::size_t offset) const {
    return std::all_of(m_data + std::min(offset, m_size), m_data + m_size,
                       [](std::uint8_t byte) { return byte == canary; });
}

std::string GuardedBuffer::overrun() {
    m_reported = true;
    const Pages::Touch& touch = m_pages->touch();
    if (touch.address != nullptr) {
        return (touch.writes ? "write at offset " : "read at offset ") +
               std::to_string(touch.address - m_data) + " by " + place_of(touch.instruction);
    }
    for (const std::uint8_t* byte = m_pages->begin(); byte != m_pages->end(); ++byte) {
        if ((byte < m_data || byte >= m_data + m_size) && *byte != canary) {
            return "write at offset " + std::to_string(byte - m_data);
        }
    }
    return "";
}

std::string GuardedBuffer::difference(const std::vector<std::uint8_t>& wanted) const {
    if (wanted.size() != m_size) {
        return "sizes differ: " + std::to_string(m_size) + ", wanted " +
               std::to_string(wanted.size());
    }
    const auto [found, other] = std::mismatch(m_data, m_data + m_size, wanted.begin());
    return found == m_data + m_size ? ""
                                    : "byte " + std::to_string(found - m_data) + " is " +
                                          hex(*found) + ", wanted " + hex(*other);
}

testing::AssertionResult GuardedBuffer::begins_with(const void* wanted, std::size_t size) const {
    if (size > m_size) {
        return testing::AssertionFailure()
               << "the buffer is smaller than the wanted " << size << " bytes";
    }
    const auto* const bytes = static_cast<const std::uint8_t*>(wanted);
    const auto [found, other] = std::mismatch(m_data, m_data + size, bytes);
    if (found != m_data + size) {
        return testing::AssertionFailure()
               << "byte " << found - m_data << " is " << hex(*found) << ", wanted " << hex(*other);
    }
    for (std::size_t i = size; i < m_size; ++i) {
        if (m_data[i] != canary) {
            return testing::AssertionFailure() << "byte " << i << " was written: " << hex(m_data[i])
                                               << ", wanted are " << size << " bytes";
        }
    }
    return testing::AssertionSuccess();
}

testing::AssertionResult GuardedBuffer::holds(const std::vector<std::uint8_t>& wanted) const {
    return begins_with(wanted.data(), wanted.size());
}

testing::AssertionResult GuardedBuffer::holds_string(std::string_view wanted) const {
    const std::string string(wanted);
    return begins_with(string.c_str(), string.size() + 1);
}

testing::AssertionResult GuardedBuffer::holds_string(std::wstring_view wanted) const {
    const std::wstring string(wanted);
    return begins_with(string.c_str(), (string.size() + 1) * sizeof(wchar_t));
}

}  // namespace support
