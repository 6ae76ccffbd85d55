// The loader entry: what process attach sets up and process detach releases.
#include "core/attach.h"

#include "core/ngc_setting.h"
#include "core/trace_log.h"

#include <tuple>

namespace farlo {

CRITICAL_SECTION library_lock;
HANDLE start_event = nullptr;

namespace {

// Any account may use the event, because agents run under different accounts.
void create_start_event() {
    SECURITY_DESCRIPTOR descriptor;
    if (InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION) == FALSE) {
        log(0, L"Farlo InitializeSecurityDescriptor Error %u\n", GetLastError());
        return;
    }
    if (SetSecurityDescriptorDacl(&descriptor, TRUE, nullptr, FALSE) == FALSE) {
        log(0, L"Farlo SetSecurityDescriptorDacl Error %u\n", GetLastError());
        return;
    }
    SECURITY_ATTRIBUTES attributes{sizeof attributes, &descriptor, TRUE};
    start_event = CreateEventA(&attributes, FALSE, TRUE, "Global\\cvmstartevent");
    if (start_event == nullptr) {
        log(0, L"Farlo CreateEvent failed %u\n", GetLastError());
    }
}

void attach() {
    InitializeCriticalSection(&library_lock);
    // For its line in the log; the reservation status reads the setting itself.
    std::ignore = ReadNgcSetting();
    log(6, L"=====Farlo DllMain ,Created farlo.log=====");
    create_start_event();
}

void detach() {
    DeleteCriticalSection(&library_lock);
    if (start_event != nullptr) {
        CloseHandle(start_event);
        start_event = nullptr;
    }
}

}  // namespace
}  // namespace farlo

// A step that fails is logged; the library is loaded anyway.
extern "C" BOOL WINAPI DllMain(HINSTANCE /*instance*/, DWORD reason, LPVOID /*reserved*/) {
    if (reason == DLL_PROCESS_ATTACH) {
        farlo::attach();
    } else if (reason == DLL_PROCESS_DETACH) {
        farlo::detach();
    }
    return TRUE;
}
