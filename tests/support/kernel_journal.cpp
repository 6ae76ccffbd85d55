#include "support/kernel_journal.h"

#include "dmcontrol.h"
#include "support/hex.h"
#include "support/native_string.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

extern "C" NTSTATUS NTAPI NtCompareObjects(HANDLE first, HANDLE second);

namespace support {
namespace {

KernelJournal* current = nullptr;

std::string native(NTSTATUS status) {
    return hex(static_cast<ULONG>(status));
}

KernelJournal::Result next(std::deque<KernelJournal::Result>& results) {
    const KernelJournal::Result result = results.front();
    if (results.size() > 1) {
        results.pop_front();
    }
    return result;
}

}  // namespace

template <class Function> void KernelJournal::replace(const char* name, Function* function) {
    m_interposers.push_back(std::make_unique<Interposer>(m_module, name, function));
}

KernelJournal::KernelJournal(HMODULE module, VirtualClock& clock)
    : m_module(module), m_clock(clock) {
    current = this;
    replace("CreateMutexA", &KernelJournal::create_mutex);
    replace("WaitForSingleObject", &KernelJournal::wait);
    m_clocks_wait = m_interposers.back()->original<DWORD WINAPI(HANDLE, DWORD)>();
    replace("ReleaseMutex", &KernelJournal::release_mutex);
    replace("SetEvent", &KernelJournal::set_event);
    replace("CloseHandle", &KernelJournal::close);
    replace("VirtualAlloc", &KernelJournal::allocate);
    replace("VirtualFree", &KernelJournal::release_page);
    replace("ZwOpenFile", &KernelJournal::open);
    replace("ZwDeviceIoControlFile", &KernelJournal::control);
    clock.on_pause = [this](int number) {
        const Pause& pause = m_clock.pauses()[static_cast<std::size_t>(number) - 1];
        lines.push_back(pause.function + " " + std::to_string(pause.milliseconds));
        if (on_pause) {
            on_pause(number);
        }
    };
}

KernelJournal::~KernelJournal() {
    m_clock.on_pause = nullptr;
    while (!m_interposers.empty()) {
        m_interposers.pop_back();
    }
    free_pages();
    if (m_event != nullptr) {
        CloseHandle(m_event);
    }
    current = nullptr;
}

void KernelJournal::watch_event(const char* event, const std::string& as) {
    m_event = OpenEventA(EVENT_ALL_ACCESS, FALSE, event);
    if (m_event == nullptr) {
        throw std::runtime_error(std::string("there is no event ") + event);
    }
    m_event_name = as;
}

std::string KernelJournal::name_of(HANDLE handle) const {
    const auto known = m_handles.find(handle);
    if (known != m_handles.end()) {
        return known->second;
    }
    return m_event != nullptr && NtCompareObjects(handle, m_event) == 0 ? m_event_name : "";
}

void KernelJournal::free_pages() {
    for (const auto& [page, size] : m_pages) {
        VirtualFree(page, 0, MEM_RELEASE);
    }
    m_pages.clear();
}

HANDLE WINAPI KernelJournal::create_mutex(SECURITY_ATTRIBUTES* security, BOOL owned,
                                          const char* name) {
    std::string line = "CreateMutexA " + std::string(name) + (owned ? " owned" : " not owned") +
                       (security != nullptr ? " secured" : "");
    HANDLE mutex = nullptr;
    if (current->create_mutex_error) {
        SetLastError(*current->create_mutex_error);
    } else {
        mutex = CreateMutexA(security, owned, name);
    }
    const DWORD error = GetLastError();
    if (mutex != nullptr) {
        current->m_handles[mutex] = "mutex";
        line += " -> mutex";
    } else {
        line += " -> none";
    }
    current->lines.push_back(line);
    SetLastError(error);
    return mutex;
}

DWORD WINAPI KernelJournal::wait(HANDLE object, DWORD milliseconds) {
    const std::string name = current->name_of(object);
    if (name.empty()) {
        return current->m_clocks_wait(object, milliseconds);
    }
    const DWORD result = name == "mutex" && current->wait_result
                             ? *current->wait_result
                             : current->m_clocks_wait(object, milliseconds);
    current->lines.push_back("WaitForSingleObject " + name + " " + std::to_string(milliseconds) +
                             " -> " + std::to_string(result));
    return result;
}

BOOL WINAPI KernelJournal::release_mutex(HANDLE mutex) {
    current->lines.push_back("ReleaseMutex " + current->name_of(mutex));
    return ReleaseMutex(mutex);
}

BOOL WINAPI KernelJournal::set_event(HANDLE event) {
    const std::string name = current->name_of(event);
    if (!name.empty()) {
        current->lines.push_back("SetEvent " + name);
    }
    return SetEvent(event);
}

BOOL WINAPI KernelJournal::close(HANDLE handle) {
    const auto known = current->m_handles.find(handle);
    if (known == current->m_handles.end()) {
        return CloseHandle(handle);
    }
    const bool device = known->second == "device";
    current->lines.push_back("CloseHandle " + known->second);
    current->m_handles.erase(known);
    return device ? TRUE : CloseHandle(handle);
}

void* WINAPI KernelJournal::allocate(void* address, SIZE_T size, DWORD type, DWORD protection) {
    void* page = current->pages_fail ? nullptr : VirtualAlloc(address, size, type, protection);
    if (page != nullptr) {
        current->m_pages[page] = size;
    }
    current->lines.push_back("VirtualAlloc " + std::to_string(size) + " " + hex(type) + " " +
                             hex(protection) + (page != nullptr ? " -> page" : " -> none"));
    return page;
}

BOOL WINAPI KernelJournal::release_page(void* address, SIZE_T size, DWORD type) {
    if (size != 0 || type != MEM_RELEASE || current->m_pages.erase(address) != 1) {
        current->m_faults.push_back("VirtualFree of an unknown page, or of a part of one");
    }
    current->lines.push_back("VirtualFree page");
    return VirtualFree(address, size, type);
}

NTSTATUS NTAPI KernelJournal::open(HANDLE* file, ACCESS_MASK access, OBJECT_ATTRIBUTES* attributes,
                                   IO_STATUS_BLOCK* io_status, ULONG share, ULONG options) {
    const Result result = next(current->opens);
    if (attributes->Length != sizeof *attributes || attributes->RootDirectory != nullptr ||
        attributes->SecurityDescriptor != nullptr ||
        attributes->SecurityQualityOfService != nullptr) {
        current->m_faults.push_back("wrong object attributes");
    }
    current->lines.push_back("ZwOpenFile " + narrow(*attributes->ObjectName) + " " +
                             hex(attributes->Attributes) + " " + hex(access) + " " + hex(share) +
                             " " + hex(options) + " -> " + native(result.returned) + " " +
                             native(result.io_status));
    io_status->Status = result.io_status;
    if (NT_SUCCESS(result.returned)) {
        // The library keeps this handle until the process ends, so it must not be a real one.
        current->m_device =
            reinterpret_cast<HANDLE>(std::uintptr_t{0x70000} + 4 * ++current->m_devices);
        current->m_handles[current->m_device] = "device";
        *file = current->m_device;
    }
    return result.returned;
}

void KernelJournal::check_request(const void* input, ULONG input_size, const void* output,
                                  ULONG output_size, HANDLE file, const void* event,
                                  const void* apc_routine, const void* apc_context) {
    if (file != m_device) {
        m_faults.push_back("a request on another handle");
    }
    if (event != nullptr || apc_routine != nullptr || apc_context != nullptr) {
        m_faults.push_back("a request with an event or an APC");
    }
    if (input != output || input_size != 16 || output_size != 16) {
        m_faults.push_back("the block is not both input and output, or not 16 bytes");
    }
    dm_control_block block;
    std::memcpy(&block, input, sizeof block);
    if (block.zero != 0) {
        m_faults.push_back("the block's field `zero` is not zero");
    }
    if (block.record % 4096 != 0) {
        m_faults.push_back("the record is not at the beginning of a page");
    }
}

NTSTATUS NTAPI KernelJournal::control(HANDLE file, HANDLE event, void* apc_routine,
                                      void* apc_context, IO_STATUS_BLOCK* io_status, ULONG code,
                                      void* input, ULONG input_size, void* output,
                                      ULONG output_size) {
    current->check_request(input, input_size, output, output_size, file, event, apc_routine,
                           apc_context);
    const Result result = next(current->controls);
    auto* record = reinterpret_cast<dm_reservation_request*>(
        static_cast<std::uintptr_t>(static_cast<dm_control_block*>(input)->record));
    const auto is_zero = [](auto byte) { return byte == 0; };
    const std::size_t length = strnlen(record->group_guid, sizeof record->group_guid);
    if (!std::all_of(record->group_guid + length, std::end(record->group_guid), is_zero) ||
        !std::all_of(std::begin(record->zero1), std::end(record->zero1), is_zero) ||
        !std::all_of(std::begin(record->zero2), std::end(record->zero2), is_zero)) {
        current->m_faults.push_back("an unused byte of the record is not zero");
    }
    current->lines.push_back("control " + hex(code) + " \"" + record->group_guid + "\" " +
                             std::to_string(record->reservation) + " -> " +
                             native(result.returned) + " " + native(result.io_status));
    record->reply = result.reply;
    io_status->Status = result.io_status;
    return result.returned;
}

}  // namespace support
