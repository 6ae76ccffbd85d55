// The C++ runtime's own record of a thread's exceptions.
//
// libstdc++ allocates it at a thread's first exception, and where there is no
// memory for it, it aborts the process: the agent. Here it is thread-local
// storage of the loader's, which every thread has when it starts.
#include <windows.h>

#include <cstddef>
#include <cxxabi.h>

// From the C runtime: this DLL's index into a thread's storage, and where the
// template of that storage begins.
extern "C" {
extern ULONG _tls_index;  // NOLINT(bugprone-reserved-identifier): its name
extern char _tls_start;   // NOLINT(bugprone-reserved-identifier): its name
}

namespace {
// As large as libstdc++'s: the caught exceptions, and a count of those under way.
struct Record {
    void* caught;
    unsigned int under_way;
};
static_assert(sizeof(Record) == 16);

// The linker sorts these sections by name: before ".tls$ZZZ", where the storage
// ends.
__attribute__((section(".tls$FARLO"), used)) Record record_template = {};

Record* record_of_this_thread() {
    char** storages = nullptr;  // one for each program file, told by the thread's block
    __asm__("movq %%gs:0x58, %0" : "=r"(storages));
    char* const storage = storages[_tls_index];
    const std::ptrdiff_t offset = reinterpret_cast<char*>(&record_template) - &_tls_start;
    return reinterpret_cast<Record*>(storage + offset);
}
}  // namespace

namespace __cxxabiv1 {
extern "C" __cxa_eh_globals* __cxa_get_globals() noexcept {
    return reinterpret_cast<__cxa_eh_globals*>(record_of_this_thread());
}

extern "C" __cxa_eh_globals* __cxa_get_globals_fast() noexcept {
    return reinterpret_cast<__cxa_eh_globals*>(record_of_this_thread());
}
}  // namespace __cxxabiv1
