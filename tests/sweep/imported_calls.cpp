#include "sweep/imported_calls.h"

#include "support/exclusive.h"
#include "support/service_names.h"
#include "ztbus3.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <set>
#include <stdexcept>
#include <utility>

using namespace support;

namespace sweep {
namespace {

constexpr std::size_t argument_count = 13;  // PrCallDispatch has the most
using Arguments = std::array<std::uint64_t, argument_count>;
using Original = std::uint64_t(std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t,
                               std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t,
                               std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t,
                               std::uint64_t);

constexpr std::size_t capacity = 96;
constexpr std::uint64_t all_bits = ~std::uint64_t{0};  // INVALID_HANDLE_VALUE, (size_t)-1

struct State {
    std::array<Original*, capacity> originals{};
    std::array<unsigned, capacity> counts{};
    std::vector<Call> sequence;
    Call armed;
    Fault fault;
    std::function<void()> action;
    bool reached = false;
    bool is_counting = false;
};

SRWLOCK guard = SRWLOCK_INIT;
State state;

std::uint64_t call_original(std::size_t import, const Arguments& arguments) {
    return std::apply(state.originals[import], arguments);
}

std::uint64_t inject(std::size_t import, const Fault& fault, const Arguments& arguments) {
    if (fault.effect == Fault::Effect::called) {
        call_original(import, arguments);
    }
    if (fault.effect == Fault::Effect::clears_outputs) {
        for (const Import::Output& output : failing_imports()[import].outputs) {
            std::memset(reinterpret_cast<void*>(arguments[output.argument]), 0, output.size);
        }
    }
    if (fault.last_error != 0) {
        SetLastError(fault.last_error);
    }
    return fault.result;
}

std::uint64_t dispatch(std::size_t import, const Arguments& arguments) {
    Fault fault;
    std::function<void()> action;
    bool armed = false;
    if (const DWORD error = GetLastError(); state.is_counting) {
        const support::Exclusive hold(guard);
        const unsigned number = ++state.counts[import];
        state.sequence.push_back({import, number});
        armed = state.armed.number == number && state.armed.import == import;
        if (armed) {
            state.reached = true;
            fault = state.fault;
            action = state.action;
        }
        SetLastError(error);
    }
    if (!armed) {
        return call_original(import, arguments);
    }
    if (action) {
        action();
        return call_original(import, arguments);
    }
    return inject(import, fault, arguments);
}

// Takes as many arguments as any function has. On this platform the caller cleans up, and the
// function does not read arguments that it does not have.
template <std::size_t import>
std::uint64_t thunk(std::uint64_t a, std::uint64_t b, std::uint64_t c, std::uint64_t d,
                    std::uint64_t e, std::uint64_t f, std::uint64_t g, std::uint64_t h,
                    std::uint64_t i, std::uint64_t j, std::uint64_t k, std::uint64_t l,
                    std::uint64_t m) {
    return dispatch(import, {a, b, c, d, e, f, g, h, i, j, k, l, m});
}

const std::array<Original*, capacity>& thunks() {
    static constexpr auto table = []<std::size_t... import>(std::index_sequence<import ...>) {
        return std::array<Original*, capacity>{&thunk<import>...};
    }
    (std::make_index_sequence<capacity>{});
    return table;
}

// A status of each kind of failure, and of each kind of success that is not 0.
std::vector<Fault> statuses(Fault::Effect effect = Fault::Effect::not_called) {
    std::vector<Fault> faults;
    for (const std::uint32_t status :
         {bus_provider_failed, std::uint32_t{ERROR_ACCESS_DENIED}, system_access_denied}) {
        faults.push_back(
            {.description = "returns " + hex(status), .result = status, .effect = effect});
    }
    for (const std::uint32_t status : {bus_same_value, system_informational}) {
        faults.push_back({.description = "succeeds with " + hex(status),
                          .result = status,
                          .effect = Fault::Effect::called,
                          .meaning = Fault::Meaning::informational});
    }
    return faults;
}

std::vector<Fault> statuses_or_no_output() {
    std::vector<Fault> faults = statuses();
    faults.push_back({.description = "returns nothing",
                      .effect = Fault::Effect::clears_outputs,
                      .meaning = Fault::Meaning::no_output});
    return faults;
}

std::vector<Fault> last_errors(std::uint64_t result, const std::vector<DWORD>& codes,
                               Fault::Effect effect = Fault::Effect::not_called) {
    std::vector<Fault> faults;
    for (const DWORD code : codes) {
        faults.push_back({.description = "fails with error " + std::to_string(code),
                          .result = result,
                          .last_error = code,
                          .effect = effect});
    }
    return faults;
}

// The registry functions return the error.
std::vector<Fault> returned_errors(const std::vector<DWORD>& codes,
                                   Fault::Effect effect = Fault::Effect::not_called) {
    std::vector<Fault> faults;
    for (const DWORD code : codes) {
        faults.push_back(
            {.description = "returns " + std::to_string(code), .result = code, .effect = effect});
    }
    return faults;
}

std::vector<Fault> native_statuses(const std::vector<std::int32_t>& statuses) {
    std::vector<Fault> faults;
    for (const std::int32_t status : statuses) {
        const auto code = static_cast<std::uint32_t>(status);
        faults.push_back({.description = "returns " + hex(code), .result = code});
    }
    return faults;
}

std::vector<Fault> failing_waits() {
    return {
        {.description = "fails", .result = WAIT_FAILED, .last_error = ERROR_INVALID_HANDLE},
        {.description = "is abandoned",
         .result = WAIT_ABANDONED,
         .effect = Fault::Effect::called,
         .meaning = Fault::Meaning::timeout},
        {.description = "times out", .result = WAIT_TIMEOUT, .meaning = Fault::Meaning::timeout}};
}

constexpr std::size_t pointer_size = sizeof(void*);
constexpr std::size_t count_size = sizeof(std::uint32_t);
constexpr std::size_t property_size = sizeof(opal_property);
constexpr auto called = Fault::Effect::called;
constexpr bool log_only = true;

// A function that releases something does so even when it fails: what leaks then was leaked by
// the library.
const std::vector<Import> imports = {
    {"DbGetObjects", statuses_or_no_output(), {{3, pointer_size}, {4, count_size}}},
    {"DbGetObjectsByQuery", statuses_or_no_output(), {{3, pointer_size}, {4, count_size}}},
    {"ObGetChildObjects", statuses_or_no_output(), {{4, pointer_size}, {5, count_size}}},
    {"ObGetParentObjects", statuses_or_no_output(), {{4, pointer_size}, {5, count_size}}},
    {"ObGetProperty", statuses_or_no_output(), {{4, property_size}}},
    {"ObGetProperties", statuses_or_no_output(), {{3, pointer_size}}},
    {"ObGetObjectType", statuses_or_no_output(), {{3, pointer_size}}},
    {"ObSetProperty", statuses(), {}},
    {"ObDeleteObject", statuses(), {}},
    {"PrCallDispatch", statuses_or_no_output(), {}},
    {"PsCreatePropset", statuses_or_no_output(), {{0, pointer_size}}},
    {"PsCopyPropset", statuses_or_no_output(), {{1, pointer_size}}},
    {"PsAddProperty", statuses(), {}},
    {"PsSetProperty", statuses(), {}},
    {"PsFindProperty", statuses_or_no_output(), {{2, property_size}}},
    {"PsFindNextProperty", statuses_or_no_output(), {{1, property_size}}},
    {"PsOpenPropset", statuses(), {}},
    {"PsDestroyPropset", statuses(called), {}},
    {"PsFreeProperty", statuses(called), {}},
    {"ZtGUIDToString", {{.description = "returns NULL"}}, {}},
    {"Ztwcstombs", last_errors(all_bits, {ERROR_NO_UNICODE_TRANSLATION}), {}},
    {"InitializeZtVmW", statuses_or_no_output(), {{2, pointer_size}}},
    {"UnInitializeZtVmW", statuses(called), {}},
    {"RegisterAlertCallback", statuses(), {}},
    {"ZwOpenFile",
     native_statuses({native::sharing_violation, native::object_name_not_found,
                      native::object_path_not_found, native::access_denied}),
     {}},
    {"ZwDeviceIoControlFile",
     native_statuses({native::unsuccessful, native::invalid_parameter, native::no_such_device,
                      native::object_name_not_found, native::sharing_violation,
                      native::access_denied}),
     {}},
    {"CreateEventA", last_errors(0, {ERROR_ACCESS_DENIED}), {}},
    {"CreateMutexA", last_errors(0, {ERROR_ACCESS_DENIED}), {}},
    {"CreateThread", last_errors(0, {ERROR_NOT_ENOUGH_MEMORY}), {}},
    {"GetExitCodeThread", last_errors(0, {ERROR_INVALID_HANDLE}), {}},
    {"WaitForSingleObject", failing_waits(), {}},
    {"ReleaseMutex", last_errors(0, {ERROR_NOT_OWNER}, called), {}},
    {"SetEvent", last_errors(0, {ERROR_INVALID_HANDLE}, called), {}},
    {"CloseHandle", last_errors(0, {ERROR_INVALID_HANDLE}, called), {}},
    {"CreateFileW", last_errors(all_bits, {ERROR_FILE_NOT_FOUND, ERROR_SHARING_VIOLATION}), {}},
    {"DeviceIoControl",
     last_errors(0, {ERROR_INVALID_FUNCTION, ERROR_MORE_DATA, ERROR_INSUFFICIENT_BUFFER}),
     {}},
    {"FlushFileBuffers", last_errors(0, {ERROR_WRITE_PROTECT}), {}},
    {"GetVolumeInformationW", last_errors(0, {ERROR_NOT_READY}), {}},
    {"FindFirstFileW", last_errors(all_bits, {ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED}), {}},
    {"FindNextFileW", last_errors(0, {ERROR_NO_MORE_FILES, ERROR_ACCESS_DENIED}), {}},
    {"FindClose", last_errors(0, {ERROR_INVALID_HANDLE}, called), {}},
    {"RemoveDirectoryW", last_errors(0, {ERROR_DIR_NOT_EMPTY, ERROR_ACCESS_DENIED}), {}},
    {"PathCombineW", last_errors(0, {ERROR_INVALID_PARAMETER}), {}},
    {"RegOpenKeyExA", returned_errors({ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED}), {}},
    {"RegOpenKeyExW", returned_errors({ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED}), {}},
    {"RegQueryValueExA", returned_errors({ERROR_FILE_NOT_FOUND, ERROR_MORE_DATA}), {}},
    {"RegQueryValueExW", returned_errors({ERROR_FILE_NOT_FOUND, ERROR_MORE_DATA}), {}},
    {"RegCloseKey", returned_errors({ERROR_INVALID_HANDLE}, called), {}},
    {"CreateFileA", last_errors(all_bits, {ERROR_SHARING_VIOLATION}), {}, log_only},
    {"GetFileSizeEx", last_errors(0, {ERROR_INVALID_HANDLE}), {}, log_only},
    {"LockFileEx", last_errors(0, {ERROR_LOCK_VIOLATION}), {}, log_only},
    {"SetFilePointerEx", last_errors(0, {ERROR_INVALID_HANDLE}), {}, log_only},
    {"WriteFile", last_errors(0, {ERROR_DISK_FULL}), {}, log_only},
    {"ReadFile", last_errors(0, {ERROR_READ_FAULT}), {}, log_only},
    {"_localtime64", last_errors(0, {ERROR_INVALID_PARAMETER}), {}, log_only},
};

// Functions that report no failure to their caller, and those that only allocate, which
// CallSweep.HandlesEveryFailingAllocation makes fail.
const std::set<std::string> never_failing = {
    // Called at process attach only; the tests in core/ make them fail.
    "InitializeSecurityDescriptor", "SetSecurityDescriptorDacl", "ExpandEnvironmentStringsA",
    // Allocations.
    "VirtualAlloc", "_ZtAlloc", "malloc", "calloc", "realloc",
    // The bus.
    "ObCompareId", "ZtTrace", "ZtSleep", "_ZtFree", "ZtInitializeCriticalSection",
    "ZtEnterCriticalSection", "ZtLeaveCriticalSection", "ZtDeleteCriticalSection",
    // The system.
    "DeleteCriticalSection", "EnterCriticalSection", "InitializeCriticalSection",
    "LeaveCriticalSection", "AcquireSRWLockExclusive", "ReleaseSRWLockExclusive",
    "GetCurrentProcessId", "GetCurrentThreadId", "GetLastError", "SetLastError", "Sleep",
    "GetSystemTimeAsFileTime", "VirtualFree",
    // The compiler's runtime: start, exceptions, thread-local data, locks.
    "CreateSemaphoreW", "ReleaseSemaphore", "GetModuleHandleW", "GetProcAddress", "LoadLibraryW",
    "IsDBCSLeadByteEx", "MultiByteToWideChar", "WideCharToMultiByte", "RaiseException",
    "RtlCaptureContext", "RtlLookupFunctionEntry", "RtlUnwindEx", "RtlVirtualUnwind", "TlsAlloc",
    "TlsFree", "TlsGetValue", "TlsSetValue", "VirtualProtect", "VirtualQuery",
    "___lc_codepage_func", "___mb_cur_max_func", "__iob_func", "_amsg_exit", "_errno", "_initterm",
    "_lock", "_unlock", "abort", "free", "localeconv", "setlocale", "vfprintf", "_read", "_close",
    // Strings and bytes.
    "_snprintf", "_snwprintf", "_vsnwprintf", "_stricmp", "_strnicmp", "_wcsicmp", "_wcserror",
    "fflush", "fputc", "fputs", "fwrite", "memchr", "memcmp", "memcpy", "memmove", "memset",
    "strcmp", "strcpy", "strerror", "strftime", "strlen", "strncmp", "strtoul", "wcscmp", "wcscpy",
    "wcslen", "wcsstr"};

template <class T> T* at(HMODULE module, std::size_t address) {
    return reinterpret_cast<T*>(reinterpret_cast<char*>(module) + address);
}

std::set<std::string> import_names(HMODULE module) {
    std::set<std::string> names;
    const auto* headers = at<IMAGE_NT_HEADERS64>(
        module, static_cast<std::size_t>(at<IMAGE_DOS_HEADER>(module, 0)->e_lfanew));
    const auto& directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    for (const auto* dll = at<IMAGE_IMPORT_DESCRIPTOR>(module, directory.VirtualAddress);
         dll->Name != 0; ++dll) {
        for (const auto* name = at<IMAGE_THUNK_DATA64>(module, dll->OriginalFirstThunk);
             name->u1.AddressOfData != 0; ++name) {
            names.insert(reinterpret_cast<const char*>(
                at<IMAGE_IMPORT_BY_NAME>(module, name->u1.AddressOfData)->Name));
        }
    }
    return names;
}

}  // namespace

bool Import::asks_service() const {
    const std::string prefix(name, 2);
    return prefix == "Db" || prefix == "Ob" || prefix == "Pr";
}

const std::vector<Import>& failing_imports() {
    return imports;
}

std::vector<std::string> unknown_imports(HMODULE module) {
    std::vector<std::string> unknown;
    for (const std::string& name : import_names(module)) {
        const bool fails = std::any_of(imports.begin(), imports.end(),
                                       [&](const Import& one) { return name == one.name; });
        if (!fails && !never_failing.contains(name)) {
            unknown.push_back(name);
        }
    }
    return unknown;
}

ImportedCalls::ImportedCalls(HMODULE module) {
    static_assert(capacity >= 64);
    if (imports.size() > capacity) {
        throw std::logic_error("more imports than thunks");
    }
    state = State{};
    for (std::size_t import = 0; import < imports.size(); ++import) {
        if (!support::imports(module, imports[import].name)) {
            continue;
        }
        m_interposers.push_back(std::make_unique<support::Interposer>(
            module, imports[import].name, reinterpret_cast<void*>(thunks()[import])));
        state.originals[import] = m_interposers.back()->original<Original>();
    }
}

ImportedCalls::~ImportedCalls() {
    while (!m_interposers.empty()) {
        m_interposers.pop_back();
    }
}

void ImportedCalls::disarm() {
    const support::Exclusive hold(guard);
    state.armed = {};
    state.action = nullptr;
    state.reached = false;
}

void ImportedCalls::start_counting() {
    const support::Exclusive hold(guard);
    state.counts.fill(0);
    state.sequence.clear();
    state.is_counting = true;
}

void ImportedCalls::stop_counting() {
    const support::Exclusive hold(guard);
    state.is_counting = false;
}

std::vector<unsigned> ImportedCalls::counts() const {
    const support::Exclusive hold(guard);
    return {state.counts.begin(),
            state.counts.begin() + static_cast<std::ptrdiff_t>(imports.size())};
}

std::vector<Call> ImportedCalls::sequence() const {
    const support::Exclusive hold(guard);
    return state.sequence;
}

void ImportedCalls::fail(const Call& call, const Fault& fault) {
    const support::Exclusive hold(guard);
    state.armed = call;
    state.fault = fault;
    state.action = nullptr;
}

void ImportedCalls::before(const Call& call, std::function<void()> action) {
    const support::Exclusive hold(guard);
    state.armed = call;
    state.action = std::move(action);
}

bool ImportedCalls::reached() const {
    const support::Exclusive hold(guard);
    return state.reached;
}

}  // namespace sweep
