// Where the C++ runtime keeps its record of a thread's exceptions.
//
// libstdc++ allocates the record at a thread's first exception. If there is no
// memory for it, libstdc++ aborts the process, which is the agent. This source
// replaces the two functions by which libstdc++ finds the record: it is in the
// thread's static storage here, which every thread has from its start.
//
// Holds for the libstdc++ of GCC for x86-64 Windows, linked statically. The link
// fails, because the functions are defined twice, if libstdc++ needs its own.
// exception_record_test fails if libstdc++ no longer calls these, or lays the
// record out in another way.
#include <windows.h>

#include <cstddef>
#include <cxxabi.h>

#if !defined(__GLIBCXX__) || !defined(__MINGW32__) || !defined(__x86_64__)
#error "another C++ runtime keeps its record of exceptions in another way"
#endif

// From the C runtime: this DLL's index into a thread's storage, and the start of the
// template of that storage.
extern "C" {
extern ULONG _tls_index;  // NOLINT(bugprone-reserved-identifier): its name
extern char _tls_start;   // NOLINT(bugprone-reserved-identifier): its name
}

namespace {
// libstdc++'s layout: the caught exceptions, and the number of those under way.
struct Record {
    void* caught;
    unsigned int under_way;
};
static_assert(sizeof(Record) == 16);

// The linker sorts these sections by name: before ".tls$ZZZ", where the storage
// ends.
__attribute__((section(".tls$FARLO"), used)) Record record_template = {};

Record* record_of_this_thread() {
    char** storages = nullptr;  // one for each module; the thread's block points to them
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
