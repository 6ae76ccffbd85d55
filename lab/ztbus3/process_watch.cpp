#include "ztbus3/process_watch.h"

namespace lab {

ProcessWatch::ProcessWatch(HANDLE process, std::function<void()> on_end)
    : m_process(process), m_on_end(std::move(on_end)) {
    if (m_process == nullptr) {
        return;
    }
    m_stop = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    if (m_stop != nullptr) {
        m_thread = CreateThread(nullptr, 0, watch, this, 0, nullptr);
    }
}

ProcessWatch::~ProcessWatch() {
    if (m_thread != nullptr) {
        SetEvent(m_stop);
        WaitForSingleObject(m_thread, INFINITE);
    }
    for (const HANDLE handle : {m_thread, m_stop, m_process}) {
        if (handle != nullptr) {
            CloseHandle(handle);
        }
    }
}

DWORD WINAPI ProcessWatch::watch(void* argument) {
    auto* self = static_cast<ProcessWatch*>(argument);
    const HANDLE handles[] = {self->m_stop, self->m_process};
    if (WaitForMultipleObjects(2, handles, FALSE, INFINITE) == WAIT_OBJECT_0 + 1) {
        self->m_on_end();
    }
    return 0;
}

}  // namespace lab
