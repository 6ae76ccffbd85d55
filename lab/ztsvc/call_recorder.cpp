#include "ztsvc/call_recorder.h"

#include <algorithm>

namespace lab {
namespace {

constexpr std::size_t most_lines = 100'000;
constexpr std::size_t part_size = 1024 * 1024;  // of an answer, in bytes

}  // namespace

void CallRecorder::start() {
    const Exclusive hold(m_lock);
    m_lines.clear();
    m_discarded = 0;
    m_on = true;
}

void CallRecorder::add(std::string line) {
    const Exclusive hold(m_lock);
    if (!m_on) {
        return;
    }
    m_lines.push_back(std::move(line));
    if (m_lines.size() > most_lines) {
        m_lines.pop_front();
        ++m_discarded;
    }
}

CallRecorder::Part CallRecorder::lines(std::uint64_t from) const {
    const Shared hold(m_lock);
    Part part;
    part.discarded = m_discarded;
    part.next = std::max(from, m_discarded);
    for (std::size_t size = 0; part.next - m_discarded < m_lines.size() && size < part_size;
         ++part.next) {
        part.lines.push_back(m_lines[static_cast<std::size_t>(part.next - m_discarded)]);
        size += part.lines.back().size();
    }
    return part;
}

}  // namespace lab
