// The trace log: the file in which administrators follow what the agent asked of the
// volume manager.
//
// Levels: 0 errors and a few notices, 2 entry and exit, 4 failed service calls and some
// entry and exit lines, 6 progress. A line is written if its level is not above the
// threshold, which is read once, when the library is loaded.
#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>

namespace farlo {

class TraceLog {
  public:
    // The length of the longest path, without its terminator.
    static constexpr std::size_t path_characters = 260;
    static constexpr std::size_t line_capacity = 2048;
    // A line that would bring the file to this size is written to a new file.
    static constexpr std::uint64_t rollover_size = 10'485'760;

    // Reads path and threshold from the environment and the registry.
    TraceLog() noexcept;

    std::uint32_t threshold() const { return m_threshold; }

    // Formats and writes one line. `format` follows Microsoft's conventions: in a wide
    // format "%s" is wide and "%S" narrow. A message is cut off after 2047 characters.
    void write(const wchar_t* format, ...) noexcept;

  private:
    void read_threshold() noexcept;
    std::size_t build_line(char* line) const noexcept;
    void append(const char* line, std::size_t length) noexcept;

    std::uint32_t m_threshold = 0;
    // The expansion of a narrow string may need a character beyond the terminator.
    char m_path[path_characters + 2] = {};
    // Held while a line is written, so that lines of two threads never mix.
    SRWLOCK m_lock = SRWLOCK_INIT;
    wchar_t m_wide_line[line_capacity] = {};
    char m_narrow_line[line_capacity] = {};
};

// The log of this process. Never destroyed.
extern TraceLog trace_log;

// Writes a line of a level. A line above the threshold costs one comparison; its
// arguments are not formatted.
template <class... Arguments>
inline void log(std::uint32_t level, const wchar_t* format, Arguments... arguments) noexcept {
    // No caller passes NULL.
    if (level > trace_log.threshold() || format == nullptr) [[likely]] {
        return;
    }
    trace_log.write(format, arguments...);
}

}  // namespace farlo
