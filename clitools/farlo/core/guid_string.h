// Disk-group GUID strings, and bounded copies into callers' buffers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

namespace farlo {

// The size of the buffer for a disk-group GUID string in characters, including the
// terminator.
inline constexpr std::size_t guid_string_capacity = 65;

// A GUID string that one call owns: a buffer of guid_string_capacity characters, or no
// buffer.
class GuidString {
  public:
    // Returns false, and holds no buffer, when out of memory.
    [[nodiscard]] bool allocate() {
        m_string.reset(static_cast<char*>(std::calloc(guid_string_capacity, 1)));
        return m_string != nullptr;
    }
    void free() { m_string.reset(); }

    explicit operator bool() const { return m_string != nullptr; }
    char* get() { return m_string.get(); }
    const char* get() const { return m_string.get(); }

  private:
    struct Free {
        void operator()(char* string) const { std::free(string); }
    };
    std::unique_ptr<char, Free> m_string;
};

// Copies a string and its terminator if they fit into `capacity` characters. Otherwise
// leaves the target unchanged and returns false.
template <class Char>
[[nodiscard]] bool copy_string(Char* target, std::size_t capacity, const Char* string,
                               std::size_t length) {
    if (length >= capacity) {
        return false;
    }
    for (std::size_t i = 0; i < length; ++i) {
        target[i] = string[i];
    }
    target[length] = 0;
    return true;
}

}  // namespace farlo
