#include "array/host/path_state.h"

namespace lab {

void PathState::restore() {
    set(false, std::chrono::milliseconds(0));
}

void PathState::cut() {
    set(true, std::chrono::milliseconds(0));
}

void PathState::slow(std::chrono::milliseconds delay) {
    set(false, delay);
}

bool PathState::is_cut() {
    const std::lock_guard hold(m_mutex);
    return m_cut;
}

std::chrono::milliseconds PathState::delay() {
    const std::lock_guard hold(m_mutex);
    return m_delay;
}

bool PathState::pass(std::chrono::steady_clock::time_point deadline) {
    std::unique_lock hold(m_mutex);
    if (m_delay.count() > 0) {
        // Any change ends the delay.
        const std::chrono::milliseconds delay = m_delay;
        m_changed.wait_for(hold, delay, [&] { return m_cut || m_delay != delay; });
    }
    return m_changed.wait_until(hold, deadline, [&] { return !m_cut; });
}

bool PathState::wait_until_joined(std::chrono::steady_clock::time_point deadline) {
    std::unique_lock hold(m_mutex);
    return m_changed.wait_until(hold, deadline, [&] { return !m_cut; });
}

void PathState::set(bool cut, std::chrono::milliseconds delay) {
    const std::lock_guard hold(m_mutex);
    m_cut = cut;
    m_delay = delay;
    m_changed.notify_all();
}

}  // namespace lab
