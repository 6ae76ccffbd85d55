#include "imported_calls.h"

#include "exclusive.h"
#include "ztbus3.h"

#include <windows.h>

#include <ntstatus.h>
#include <winternl.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <set>
#include <stdexcept>
#include <utility>

namespace sweep {
namespace {

constexpr std::size_t argument_count = 13;  // PrCallDispatch has most
using Arguments = std::array<std::uint64_t, argument_count>;
using Original = std::uint64_t(std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t,
                               std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t,
                               std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t,
                               std::uint64_t);

constexpr std::size_t capacity = 96;
constexpr std::uint64_t none = ~std::uint64_t{0};  // INVALID_HANDLE_VALUE, (size_t)-1

struct State {
    std::array<Original*, capacity> originals{};
    std::array<unsigned, capacity> counts{};
    Call armed;
    Way way;
    std::function<void()> action;
    bool fired = false;
    bool counts_now = false;
};

SRWLOCK guard = SRWLOCK_INIT;
State state;

std::uint64_t call_original(std::size_t import, const Arguments& arguments) {
    return std::apply(state.originals[import], arguments);
}

// A status of the bus is 32 bits wide and nothing is known of the upper half, nor does
// anybody look at it.
std::uint64_t fail(std::size_t import, const Way& way, const Arguments& arguments) {
    if (way.work == Way::Work::done) {
        call_original(import, arguments);
    }
    if (way.work == Way::Work::handed) {
        for (const Import::Out& out : failing_imports()[import].outs) {
            std::memset(reinterpret_cast<void*>(arguments[out.argument]), 0, out.size);
        }
    }
    if (way.last_error != 0) {
        SetLastError(way.last_error);
    }
    return way.result;
}

std::uint64_t pass(std::size_t import, const Arguments& arguments) {
    Way way;
    std::function<void()> action;
    bool armed = false;
    if (const DWORD error = GetLastError(); state.counts_now) {
        const support::Exclusive hold(guard);
        const unsigned number = ++state.counts[import];
        armed = state.armed.number == number && state.armed.import == import;
        if (armed) {
            state.fired = true;
            way = state.way;
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
    return fail(import, way, arguments);
}

// Takes as many arguments as any function has: on this platform the caller cleans up, and
// those that were not passed are never looked at.
template <std::size_t import>
std::uint64_t thunk(std::uint64_t a, std::uint64_t b, std::uint64_t c, std::uint64_t d,
                    std::uint64_t e, std::uint64_t f, std::uint64_t g, std::uint64_t h,
                    std::uint64_t i, std::uint64_t j, std::uint64_t k, std::uint64_t l,
                    std::uint64_t m) {
    return pass(import, {a, b, c, d, e, f, g, h, i, j, k, l, m});
}

const std::array<Original*, capacity>& thunks() {
    static constexpr auto table = []<std::size_t... import>(std::index_sequence<import ...>) {
        return std::array<Original*, capacity>{&thunk<import>...};
    }
    (std::make_index_sequence<capacity>{});
    return table;
}

std::string hex(std::uint32_t value) {
    char text[16];
    snprintf(text, sizeof text, "0x%x", static_cast<unsigned>(value));
    return text;
}

// One status for each kind of failure, and one of each kind of success that is not 0.
std::vector<Way> statuses(Way::Work work = Way::Work::none) {
    std::vector<Way> ways;
    for (const std::uint32_t status : {ZTERROR_PROVIDER, 0x5u, 0x80070005u}) {
        ways.push_back({"answers " + hex(status), status, 0, work, Way::Meaning::failure});
    }
    for (const std::uint32_t status : {0x41000012u, 0x00070005u}) {
        ways.push_back({"succeeds with " + hex(status), status, 0, Way::Work::done,
                        Way::Meaning::informational});
    }
    return ways;
}

std::vector<Way> statuses_or_nothing() {
    std::vector<Way> ways = statuses();
    ways.push_back({"hands out nothing", 0, 0, Way::Work::handed, Way::Meaning::nothing});
    return ways;
}

std::vector<Way> errors(std::uint64_t result, const std::vector<DWORD>& codes,
                        Way::Work work = Way::Work::none) {
    std::vector<Way> ways;
    for (const DWORD code : codes) {
        ways.push_back({"fails with error " + std::to_string(code), result, code, work,
                        Way::Meaning::failure});
    }
    return ways;
}

// The registry answers its errors.
std::vector<Way> answers(const std::vector<DWORD>& codes) {
    std::vector<Way> ways;
    for (const DWORD code : codes) {
        ways.push_back(
            {"answers " + std::to_string(code), code, 0, Way::Work::none, Way::Meaning::failure});
    }
    return ways;
}

std::vector<Way> native_statuses(const std::vector<NTSTATUS>& statuses) {
    std::vector<Way> ways;
    for (const NTSTATUS status : statuses) {
        const auto code = static_cast<std::uint32_t>(status);
        ways.push_back({"answers " + hex(code), code, 0, Way::Work::none, Way::Meaning::failure});
    }
    return ways;
}

std::vector<Way> waits() {
    return {{"fails", WAIT_FAILED, ERROR_INVALID_HANDLE, Way::Work::none, Way::Meaning::failure},
            {"is abandoned", WAIT_ABANDONED, 0, Way::Work::done, Way::Meaning::timeout},
            {"times out", WAIT_TIMEOUT, 0, Way::Work::none, Way::Meaning::timeout}};
}

constexpr std::size_t word = sizeof(void*);
constexpr std::size_t record = sizeof(opal_property);
constexpr auto done = Way::Work::done;

// Such a call fails before it tells what it did not do: releasing is done all the same, so
// that what leaks is the library's.
const std::vector<Import> imports = {
    {"DbGetObjects", statuses_or_nothing(), {{3, word}, {4, 4}}},
    {"DbGetObjectsByQuery", statuses_or_nothing(), {{3, word}, {4, 4}}},
    {"ObGetChildObjects", statuses_or_nothing(), {{4, word}, {5, 4}}},
    {"ObGetParentObjects", statuses_or_nothing(), {{4, word}, {5, 4}}},
    {"ObGetProperty", statuses_or_nothing(), {{4, record}}},
    {"ObGetProperties", statuses_or_nothing(), {{3, word}}},
    {"ObGetObjectType", statuses_or_nothing(), {{3, word}}},
    {"ObSetProperty", statuses(), {}},
    {"ObDeleteObject", statuses(), {}},
    {"PrCallDispatch", statuses_or_nothing(), {}},
    {"PsCreatePropset", statuses_or_nothing(), {{0, word}}},
    {"PsCopyPropset", statuses_or_nothing(), {{1, word}}},
    {"PsAddProperty", statuses(), {}},
    {"PsSetProperty", statuses(), {}},
    {"PsFindProperty", statuses_or_nothing(), {{2, record}}},
    {"PsFindNextProperty", statuses_or_nothing(), {{1, record}}},
    {"PsOpenPropset", statuses(), {}},
    {"PsDestroyPropset", statuses(done), {}},
    {"PsFreeProperty", statuses(done), {}},
    {"ZtGUIDToString", {{"answers NULL", 0, 0, Way::Work::none, Way::Meaning::failure}}, {}},
    {"Ztwcstombs", errors(none, {ERROR_NO_UNICODE_TRANSLATION}), {}},
    {"InitializeZtVmW", statuses_or_nothing(), {{2, word}}},
    {"UnInitializeZtVmW", statuses(done), {}},
    {"RegisterAlertCallback", statuses(), {}},
    {"ZwOpenFile",
     native_statuses({STATUS_SHARING_VIOLATION, STATUS_OBJECT_NAME_NOT_FOUND,
                      STATUS_OBJECT_PATH_NOT_FOUND, STATUS_ACCESS_DENIED}),
     {}},
    {"ZwDeviceIoControlFile",
     native_statuses({STATUS_UNSUCCESSFUL, STATUS_INVALID_PARAMETER, STATUS_NO_SUCH_DEVICE,
                      STATUS_OBJECT_NAME_NOT_FOUND, STATUS_SHARING_VIOLATION,
                      STATUS_ACCESS_DENIED}),
     {}},
    {"CreateEventA", errors(0, {ERROR_ACCESS_DENIED}), {}},
    {"CreateMutexA", errors(0, {ERROR_ACCESS_DENIED}), {}},
    {"CreateThread", errors(0, {ERROR_NOT_ENOUGH_MEMORY}), {}},
    {"GetExitCodeThread", errors(0, {ERROR_INVALID_HANDLE}), {}},
    {"WaitForSingleObject", waits(), {}},
    {"ReleaseMutex", errors(0, {ERROR_NOT_OWNER}, done), {}},
    {"SetEvent", errors(0, {ERROR_INVALID_HANDLE}, done), {}},
    {"CloseHandle", errors(0, {ERROR_INVALID_HANDLE}, done), {}},
    {"CreateFileW", errors(none, {ERROR_FILE_NOT_FOUND, ERROR_SHARING_VIOLATION}), {}},
    {"DeviceIoControl",
     errors(0, {ERROR_INVALID_FUNCTION, ERROR_MORE_DATA, ERROR_INSUFFICIENT_BUFFER}),
     {}},
    {"FlushFileBuffers", errors(0, {ERROR_WRITE_PROTECT}), {}},
    {"GetVolumeInformationW", errors(0, {ERROR_NOT_READY}), {}},
    {"FindFirstFileW", errors(none, {ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED}), {}},
    {"FindNextFileW", errors(0, {ERROR_NO_MORE_FILES, ERROR_ACCESS_DENIED}), {}},
    {"FindClose", errors(0, {ERROR_INVALID_HANDLE}, done), {}},
    {"RemoveDirectoryW", errors(0, {ERROR_DIR_NOT_EMPTY, ERROR_ACCESS_DENIED}), {}},
    {"PathCombineW", errors(0, {ERROR_INVALID_PARAMETER}), {}},
    {"RegOpenKeyExA", answers({ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED}), {}},
    {"RegOpenKeyExW", answers({ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED}), {}},
    {"RegQueryValueExA", answers({ERROR_FILE_NOT_FOUND, ERROR_MORE_DATA}), {}},
    {"RegQueryValueExW", answers({ERROR_FILE_NOT_FOUND, ERROR_MORE_DATA}), {}},
    {"RegCloseKey", {{"answers 6", ERROR_INVALID_HANDLE, 0, done, Way::Meaning::failure}}, {}},
    {"CreateFileA", errors(none, {ERROR_SHARING_VIOLATION}), {}, true},
    {"GetFileSizeEx", errors(0, {ERROR_INVALID_HANDLE}), {}, true},
    {"LockFileEx", errors(0, {ERROR_LOCK_VIOLATION}), {}, true},
    {"SetFilePointerEx", errors(0, {ERROR_INVALID_HANDLE}), {}, true},
    {"WriteFile", errors(0, {ERROR_DISK_FULL}), {}, true},
    {"ReadFile", errors(0, {ERROR_READ_FAULT}), {}, true},
    {"_localtime64", errors(0, {ERROR_INVALID_PARAMETER}), {}, true},
};

// Functions that have no way of failing that a caller sees; texts and memory; those of the
// compiler's runtime. What allocates is made to fail by the sweep of allocations.
const std::set<std::string> others = {
    // Process attach only, which the tests of core make fail.
    "InitializeSecurityDescriptor", "SetSecurityDescriptorDacl", "ExpandEnvironmentStringsA",
    // Allocations.
    "VirtualAlloc", "_ZtAlloc", "malloc", "calloc", "realloc",
    // The bus: nothing to fail with.
    "ObCompareId", "ZtTrace", "ZtSleep", "_ZtFree", "ZtInitializeCriticalSection",
    "ZtEnterCriticalSection", "ZtLeaveCriticalSection", "ZtDeleteCriticalSection",
    // The system: nothing to fail with.
    "DeleteCriticalSection", "EnterCriticalSection", "InitializeCriticalSection",
    "LeaveCriticalSection", "AcquireSRWLockExclusive", "ReleaseSRWLockExclusive",
    "GetCurrentProcessId", "GetCurrentThreadId", "GetLastError", "SetLastError", "Sleep",
    "GetSystemTimeAsFileTime", "VirtualFree",
    // The compiler's runtime: start, exceptions, thread-local data, its own locks.
    "CreateSemaphoreW", "ReleaseSemaphore", "GetModuleHandleW", "GetProcAddress", "LoadLibraryW",
    "IsDBCSLeadByteEx", "MultiByteToWideChar", "WideCharToMultiByte", "RaiseException",
    "RtlCaptureContext", "RtlLookupFunctionEntry", "RtlUnwindEx", "RtlVirtualUnwind", "TlsAlloc",
    "TlsFree", "TlsGetValue", "TlsSetValue", "VirtualProtect", "VirtualQuery",
    "___lc_codepage_func", "___mb_cur_max_func", "__iob_func", "_amsg_exit", "_errno", "_initterm",
    "_lock", "_unlock", "abort", "free", "localeconv", "setlocale", "vfprintf", "_read", "_close",
    // Texts and bytes.
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
    const std::string front(name, 2);
    return front == "Db" || front == "Ob" || front == "Pr";
}

const std::vector<Import>& failing_imports() {
    return imports;
}

std::vector<std::string> unknown_imports(HMODULE module) {
    std::vector<std::string> unknown;
    for (const std::string& name : import_names(module)) {
        const bool fails = std::any_of(imports.begin(), imports.end(),
                                       [&](const Import& one) { return name == one.name; });
        if (!fails && !others.contains(name)) {
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

void ImportedCalls::start() {
    const support::Exclusive hold(guard);
    state.armed = {};
    state.action = nullptr;
    state.fired = false;
}

void ImportedCalls::start_counting() {
    const support::Exclusive hold(guard);
    state.counts.fill(0);
    state.counts_now = true;
}

void ImportedCalls::stop_counting() {
    const support::Exclusive hold(guard);
    state.counts_now = false;
}

std::vector<unsigned> ImportedCalls::counts() const {
    const support::Exclusive hold(guard);
    return {state.counts.begin(),
            state.counts.begin() + static_cast<std::ptrdiff_t>(imports.size())};
}

void ImportedCalls::fail(const Call& call, const Way& way) {
    const support::Exclusive hold(guard);
    state.armed = call;
    state.way = way;
    state.action = nullptr;
}

void ImportedCalls::before(const Call& call, std::function<void()> action) {
    const support::Exclusive hold(guard);
    state.armed = call;
    state.action = std::move(action);
}

bool ImportedCalls::fired() const {
    const support::Exclusive hold(guard);
    return state.fired;
}

}  // namespace sweep
