#include "support/runtime_locks.h"

#include "support/exclusive.h"

namespace support {
namespace {
SRWLOCK guard = SRWLOCK_INIT;
RuntimeLocks* current = nullptr;
}  // namespace

RuntimeLocks::RuntimeLocks() {
    current = this;
}

RuntimeLocks::~RuntimeLocks() {
    m_interposer.reset();
    for (HANDLE semaphore : m_semaphores) {
        CloseHandle(semaphore);
    }
    current = nullptr;
}

void RuntimeLocks::watch(HMODULE module) {
    if (imports(module, "CreateSemaphoreW")) {
        m_interposer =
            std::make_unique<Interposer>(module, "CreateSemaphoreW", &RuntimeLocks::create);
    }
}

HANDLE WINAPI RuntimeLocks::create(SECURITY_ATTRIBUTES* security, LONG initial, LONG maximum,
                                   const wchar_t* name) {
    const HANDLE semaphore = CreateSemaphoreW(security, initial, maximum, name);
    if (semaphore != nullptr && name == nullptr) {
        const Exclusive hold(guard);
        current->m_semaphores.push_back(semaphore);
    }
    return semaphore;
}

}  // namespace support
