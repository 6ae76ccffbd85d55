#include "support/before_attach.h"

#include <winternl.h>

#include <stdexcept>
#include <utility>

namespace support {
namespace {

// The loader's notifications; no header of the tool chain declares them.
constexpr ULONG dll_loaded = 1;

struct DllNotification {
    ULONG flags;
    const UNICODE_STRING* full_name;
    const UNICODE_STRING* base_name;
    void* base;
    ULONG size;
};

using Callback = void(CALLBACK*)(ULONG reason, const void* data, void* context);
using Register = NTSTATUS(NTAPI*)(ULONG flags, Callback callback, void* context, void** cookie);
using Unregister = NTSTATUS(NTAPI*)(void* cookie);

template <class Function> Function loader_function(const char* name) {
    return reinterpret_cast<Function>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), name)));
}

}  // namespace

BeforeAttach::BeforeAttach(const wchar_t* dll, std::function<void(HMODULE)> action)
    : m_dll(dll), m_action(std::move(action)) {
    const auto start = loader_function<Register>("LdrRegisterDllNotification");
    if (start == nullptr || start(0, &BeforeAttach::notified, this, &m_cookie) != 0) {
        throw std::runtime_error("the loader does not support notifications");
    }
}

BeforeAttach::~BeforeAttach() {
    loader_function<Unregister>("LdrUnregisterDllNotification")(m_cookie);
}

void BeforeAttach::rethrow() const {
    if (m_raised) {
        std::rethrow_exception(m_raised);
    }
}

void CALLBACK BeforeAttach::notified(ULONG reason, const void* data, void* self) noexcept {
    auto& waiting = *static_cast<BeforeAttach*>(self);
    const auto& loaded = *static_cast<const DllNotification*>(data);
    if (reason != dll_loaded || GetCurrentThreadId() != waiting.m_thread ||
        _wcsicmp(loaded.base_name->Buffer, waiting.m_dll) != 0) {
        return;
    }
    try {
        waiting.m_action(static_cast<HMODULE>(loaded.base));
    } catch (...) {
        waiting.m_raised = std::current_exception();
    }
}

}  // namespace support
