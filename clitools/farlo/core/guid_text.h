// Disk-group GUID strings, and bounded copies into callers' buffers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

namespace farlo {

// The size of the buffer for a disk-group GUID string in characters, including the
// terminator.
inline constexpr std::size_t guid_text_capacity = 65;

// A GUID string that one call owns: a buffer of guid_text_capacity characters, or no
// buffer.
class GuidText {
  public:
    // Returns false, and holds no buffer, when out of memory.
    [[nodiscard]] bool allocate() {
        m_text.reset(static_cast<char*>(std::calloc(guid_text_capacity, 1)));
        return m_text != nullptr;
    }
    void free() { m_text.reset(); }

    explicit operator bool() const { return m_text != nullptr; }
    char* get() { return m_text.get(); }
    const char* get() const { return m_text.get(); }

  private:
    struct Free {
        void operator()(char* text) const { std::free(text); }
    };
    std::unique_ptr<char, Free> m_text;
};

// Copies a string and its terminator if they fit into `capacity` characters. Otherwise
// leaves the target unchanged and returns false.
template <class Char>
[[nodiscard]] bool copy_text(Char* target, std::size_t capacity, const Char* text,
                             std::size_t length) {
    if (length >= capacity) {
        return false;
    }
    for (std::size_t i = 0; i < length; ++i) {
        target[i] = text[i];
    }
    target[length] = 0;
    return true;
}

}  // namespace farlo
