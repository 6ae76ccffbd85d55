// Output buffers that end (or begin) exactly at memory that must not be touched. An access beyond
// the buffer fails the test and reports the offset and the code that made the access.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace support {

class GuardedBuffer {
  public:
    // The initial value of every byte of the buffer and around it.
    static constexpr std::uint8_t canary = 0xC5;

    enum class Guard {
        after,   // the forbidden page begins where the buffer ends
        before,  // the buffer begins where the forbidden page ends
    };

    // `size` bytes beside the forbidden page, with `distance` canary bytes between them, so that
    // the buffer can have any alignment.
    explicit GuardedBuffer(std::size_t size, Guard guard = Guard::after, std::size_t distance = 0);
    // Fails the test if anything beside the buffer was touched, unless overrun() was called.
    ~GuardedBuffer();
    GuardedBuffer(const GuardedBuffer&) = delete;
    GuardedBuffer& operator=(const GuardedBuffer&) = delete;

    std::uint8_t* data() const { return m_data; }
    template <class T> T* as() const { return reinterpret_cast<T*>(m_data); }
    std::size_t size() const { return m_size; }
    std::vector<std::uint8_t> bytes() const { return {m_data, m_data + m_size}; }

    // Overwrites every byte of the buffer.
    void fill(std::uint8_t value);

    // Whether the buffer still holds only the canary.
    bool untouched() const { return untouched_from(0); }
    // The same for the bytes from that offset on.
    bool untouched_from(std::size_t offset) const;

    // The first byte that differs from `wanted`, or "" if all are equal.
    std::string difference(const std::vector<std::uint8_t>& wanted) const;
    // Whether the buffer begins with these bytes, or with this string and its terminator, and the
    // rest is untouched.
    testing::AssertionResult holds(const std::vector<std::uint8_t>& wanted) const;
    testing::AssertionResult holds_string(std::string_view wanted) const;
    testing::AssertionResult holds_string(std::wstring_view wanted) const;

    // Describes the first access beside the buffer, or returns "" if there was none. The destructor
    // then no longer reports it.
    std::string overrun();

  private:
    class Pages;

    testing::AssertionResult begins_with(const void* wanted, std::size_t size) const;

    std::size_t m_size;
    std::unique_ptr<Pages> m_pages;
    std::uint8_t* m_data;
    bool m_reported = false;
};

}  // namespace support
