// Output buffers that end (or begin) exactly at memory that may not be touched:
// one byte too far is a failure of the test, told with its place and its doer.
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
    // What the buffer and all around it is filled with.
    static constexpr std::uint8_t canary = 0xC5;

    enum class Guard {
        behind,  // the forbidden page begins where the buffer ends
        before,  // the buffer begins where the forbidden page ends
    };

    // `size` bytes beside the forbidden page. `distance` bytes of canary lie
    // between both, which puts the buffer at an address of any alignment.
    explicit GuardedBuffer(std::size_t size, Guard guard = Guard::behind, std::size_t distance = 0);
    // Fails the test when something beside the buffer was touched.
    ~GuardedBuffer();
    GuardedBuffer(const GuardedBuffer&) = delete;
    GuardedBuffer& operator=(const GuardedBuffer&) = delete;

    std::uint8_t* data() const { return m_data; }
    template <class T> T* as() const { return reinterpret_cast<T*>(m_data); }
    std::size_t size() const { return m_size; }
    std::vector<std::uint8_t> bytes() const { return {m_data, m_data + m_size}; }

    // Fills the buffer with other bytes than the canary.
    void fill(std::uint8_t value);

    // Whether nothing was written.
    bool untouched() const { return untouched_from(0); }
    // Whether nothing was written from that offset on.
    bool untouched_from(std::size_t offset) const;

    // "" when the bytes are as wanted, else the first offset that differs.
    std::string difference(const std::vector<std::uint8_t>& wanted) const;
    // Whether the buffer holds these bytes and no more of it was written;
    // likewise for a text with its terminator.
    testing::AssertionResult holds(const std::vector<std::uint8_t>& wanted) const;
    testing::AssertionResult holds_text(std::string_view wanted) const;
    testing::AssertionResult holds_text(std::wstring_view wanted) const;

    // What was touched beside the buffer, "" for nothing. Asking for it counts
    // as telling: the destructor is silent then.
    std::string overrun();

  private:
    class Pages;

    testing::AssertionResult begins_with(const void* wanted, std::size_t size) const;

    std::size_t m_size;
    std::unique_ptr<Pages> m_pages;
    std::uint8_t* m_data;
    bool m_told = false;
};

}  // namespace support
