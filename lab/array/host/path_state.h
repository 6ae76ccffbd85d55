// The path between a node and the array, which can be cut, slowed and restored.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace lab {

class PathState {
  public:
    // A command waits this long for a path that is cut.
    explicit PathState(std::chrono::milliseconds limit) : m_limit(limit) {}

    void restore();
    void cut();
    // Each command then takes that much longer. Restores a path that is cut.
    void slow(std::chrono::milliseconds delay);

    [[nodiscard]] bool is_cut();
    [[nodiscard]] std::chrono::milliseconds delay();

    [[nodiscard]] std::chrono::steady_clock::time_point deadline() const {
        return std::chrono::steady_clock::now() + m_limit;
    }
    // Waits as long as the path is slow and, until the deadline, as long as it is cut. Returns
    // false if it is still cut.
    [[nodiscard]] bool pass(std::chrono::steady_clock::time_point deadline);
    // Waits until the path is not cut. Returns false at the deadline.
    [[nodiscard]] bool wait_until_joined(std::chrono::steady_clock::time_point deadline);

  private:
    void set(bool cut, std::chrono::milliseconds delay);

    const std::chrono::milliseconds m_limit;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_cut = false;
    std::chrono::milliseconds m_delay{0};
};

}  // namespace lab
