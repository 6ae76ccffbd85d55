// Output buffers that end (or begin) exactly at memory that may not be touched:
// one byte too far faults.
#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <string>
#include <vector>

namespace support {

class GuardedBuffer {
  public:
    static constexpr std::uint8_t canary = 0xC5;

    // `size` bytes that end where the page does that may not be touched.
    explicit GuardedBuffer(std::size_t size) : m_size(size) {
        m_pages = (size + page - 1) / page * page;
        m_base = static_cast<std::uint8_t*>(
            VirtualAlloc(nullptr, m_pages + 2 * page, MEM_RESERVE, PAGE_NOACCESS));
        if (m_base == nullptr || (m_pages != 0 && VirtualAlloc(m_base + page, m_pages, MEM_COMMIT,
                                                               PAGE_READWRITE) == nullptr)) {
            throw std::bad_alloc();
        }
        if (size != 0) {
            std::memset(data(), canary, size);
        }
    }
    ~GuardedBuffer() { VirtualFree(m_base, 0, MEM_RELEASE); }
    GuardedBuffer(const GuardedBuffer&) = delete;
    GuardedBuffer& operator=(const GuardedBuffer&) = delete;

    std::uint8_t* data() { return m_base + page + m_pages - m_size; }
    template <class T> T* as() { return reinterpret_cast<T*>(data()); }
    std::size_t size() const { return m_size; }

    std::vector<std::uint8_t> bytes() { return {data(), data() + m_size}; }

    // Whether nothing was written.
    bool untouched() {
        for (std::size_t i = 0; i < m_size; ++i) {
            if (data()[i] != canary) {
                return false;
            }
        }
        return true;
    }

    // "" when the bytes are as wanted, else the first offset that differs.
    std::string difference(const std::vector<std::uint8_t>& wanted) {
        if (wanted.size() != m_size) {
            return "sizes differ: " + std::to_string(m_size) + " and " +
                   std::to_string(wanted.size());
        }
        for (std::size_t i = 0; i < m_size; ++i) {
            if (data()[i] != wanted[i]) {
                return "byte " + std::to_string(i) + " is " + std::to_string(data()[i]) +
                       ", wanted " + std::to_string(wanted[i]);
            }
        }
        return "";
    }

  private:
    static constexpr std::size_t page = 4096;
    std::size_t m_size;
    std::size_t m_pages = 0;
    std::uint8_t* m_base = nullptr;
};

}  // namespace support
