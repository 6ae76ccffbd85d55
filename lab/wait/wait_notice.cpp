#include "wait/wait_notice.h"

#include <cstdio>

namespace lab {
namespace {

constexpr DWORD patience_ms = 2000;

}  // namespace

// Without the event or the thread, nothing is said.
WaitNotice::WaitNotice(const char* program, const std::string& what)
    : m_line(std::string(program) + ": waiting for " + what + "\n"),
      m_over(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
    if (m_over != nullptr) {
        m_thread = CreateThread(nullptr, 0, say_later, this, 0, nullptr);
    }
}

WaitNotice::~WaitNotice() {
    if (m_thread != nullptr) {
        SetEvent(m_over);
        WaitForSingleObject(m_thread, INFINITE);
        CloseHandle(m_thread);
    }
    if (m_over != nullptr) {
        CloseHandle(m_over);
    }
}

DWORD WINAPI WaitNotice::say_later(void* notice) {
    const auto* self = static_cast<const WaitNotice*>(notice);
    if (WaitForSingleObject(self->m_over, patience_ms) == WAIT_TIMEOUT) {
        std::fputs(self->m_line.c_str(), stderr);
        std::fflush(stderr);
    }
    return 0;
}

}  // namespace lab
