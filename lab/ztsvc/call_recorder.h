// The service's record of the calls of its clients.
#pragma once

#include "store/locks.h"

#include <atomic>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

namespace lab {

// May be used by several threads.
class CallRecorder {
  public:
    // Discards what was recorded before.
    void start();
    void stop() { m_on = false; }
    bool is_on() const { return m_on; }

    // Adds a line. The oldest are discarded when there are too many.
    void add(std::string line);

    struct Part {
        std::vector<std::string> lines;
        std::uint64_t next = 0;       // the number of the line after these
        std::uint64_t discarded = 0;  // lines
    };
    // The lines from a number on, as many as fit into one answer. Lines are counted from 0.
    Part lines(std::uint64_t from) const;

  private:
    mutable SRWLOCK m_lock = SRWLOCK_INIT;
    std::atomic<bool> m_on{false};
    std::deque<std::string> m_lines;
    std::uint64_t m_discarded = 0;
};

}  // namespace lab
