// The library's record of a thread's exceptions. It is linked into this program, where it must
// replace the C++ runtime's own.
#include <windows.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <cxxabi.h>

// From the C runtime: the program's static thread-local storage.
extern "C" {
extern ULONG _tls_index;                     // NOLINT(bugprone-reserved-identifier): its name
extern const IMAGE_TLS_DIRECTORY _tls_used;  // NOLINT(bugprone-reserved-identifier): its name
}

namespace {

struct Record {
    void* caught;
    unsigned int uncaught;
};

const Record& record() {
    return *reinterpret_cast<const Record*>(abi::__cxa_get_globals());
}

// Whether a record is in the static thread-local storage of the calling thread.
bool is_in_static_tls(const void* address) {
    constexpr unsigned long tls_pointer_in_teb = 0x58;
    const auto* storages = reinterpret_cast<const char* const*>(__readgsqword(tls_pointer_in_teb));
    const char* const storage = storages[_tls_index];
    const std::size_t size = _tls_used.EndAddressOfRawData - _tls_used.StartAddressOfRawData;
    const auto* byte = static_cast<const char*>(address);
    return byte >= storage && byte + sizeof(Record) <= storage + size;
}

TEST(ExceptionRecord, HoldsExceptionWhileItIsHandled) {
    EXPECT_EQ(record().caught, nullptr);
    try {
        throw 1;
    } catch (int) {
        EXPECT_NE(record().caught, nullptr);
    }
    EXPECT_EQ(record().caught, nullptr);
}

TEST(ExceptionRecord, CountsUncaughtExceptions) {
    struct CountAtUnwind {
        unsigned int& uncaught;
        ~CountAtUnwind() { uncaught = record().uncaught; }
    };
    unsigned int uncaught = 0;
    try {
        const CountAtUnwind at_unwind{uncaught};
        throw 1;
    } catch (int) {
        EXPECT_EQ(record().uncaught, 0u);
    }
    EXPECT_EQ(uncaught, 1u);
}

struct RecordOfThread {
    const void* address = nullptr;
    bool in_static_tls = false;
};

DWORD WINAPI locate_record(void* located) {
    try {
        throw 1;
    } catch (int) {
        static_cast<RecordOfThread*>(located)->address = &record();
        static_cast<RecordOfThread*>(located)->in_static_tls = is_in_static_tls(&record());
    }
    return 0;
}

TEST(ExceptionRecord, IsInStaticTlsOfEachThread) {
    EXPECT_TRUE(is_in_static_tls(&record()));

    RecordOfThread other;
    const HANDLE thread = CreateThread(nullptr, 0, locate_record, &other, 0, nullptr);
    ASSERT_NE(thread, nullptr);
    EXPECT_EQ(WaitForSingleObject(thread, INFINITE), WAIT_OBJECT_0);
    CloseHandle(thread);
    EXPECT_TRUE(other.in_static_tls);
    EXPECT_NE(other.address, &record());
}

}  // namespace
