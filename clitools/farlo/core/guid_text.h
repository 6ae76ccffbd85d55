// Disk-group GUID texts and the bounded copies into callers' buffers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

namespace farlo {

// Characters of the buffer that holds a disk-group GUID text, the terminator
// included.
inline constexpr std::size_t guid_text_capacity = 65;

// A GUID text that one call owns: a buffer of guid_text_capacity characters, or
// none.
class GuidText {
  public:
    // False, and no buffer, when out of memory.
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

// Copies a text with its terminator when it fits into `capacity` characters;
// else leaves the target alone and returns false.
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
