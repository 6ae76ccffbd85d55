// The library's record of a thread's exceptions, linked into this program in place of
// the C++ runtime's own: the runtime must use it.
#include <windows.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <cxxabi.h>

// From the C runtime: this program's storage that every thread has from its start.
extern "C" {
extern ULONG _tls_index;                     // NOLINT(bugprone-reserved-identifier): its name
extern const IMAGE_TLS_DIRECTORY _tls_used;  // NOLINT(bugprone-reserved-identifier): its name
}

namespace {

struct Record {
    void* caught;
    unsigned int under_way;
};

const Record& record() {
    return *reinterpret_cast<const Record*>(abi::__cxa_get_globals());
}

// Whether an address is in the static storage of the calling thread.
bool is_in_static_storage(const void* address) {
    const auto* storages = reinterpret_cast<const char* const*>(__readgsqword(0x58));
    const char* const storage = storages[_tls_index];
    const std::size_t size = _tls_used.EndAddressOfRawData - _tls_used.StartAddressOfRawData;
    const auto* byte = static_cast<const char*>(address);
    return byte >= storage && byte + sizeof(Record) <= storage + size;
}

TEST(ExceptionRecord, HoldsTheExceptionThatIsBeingHandled) {
    EXPECT_EQ(record().caught, nullptr);
    try {
        throw 1;
    } catch (int) {
        EXPECT_NE(record().caught, nullptr);
    }
    EXPECT_EQ(record().caught, nullptr);
}

TEST(ExceptionRecord, CountsTheExceptionsThatAreUnderWay) {
    struct Witness {
        unsigned int& under_way;
        ~Witness() { under_way = record().under_way; }
    };
    unsigned int under_way = 0;
    try {
        const Witness witness{under_way};
        throw 1;
    } catch (int) {
        EXPECT_EQ(record().under_way, 0u);
    }
    EXPECT_EQ(under_way, 1u);
}

struct ThreadsRecord {
    const void* address = nullptr;
    bool in_static_storage = false;
};

DWORD WINAPI look_at_record(void* seen) {
    try {
        throw 1;
    } catch (int) {
        static_cast<ThreadsRecord*>(seen)->address = &record();
        static_cast<ThreadsRecord*>(seen)->in_static_storage = is_in_static_storage(&record());
    }
    return 0;
}

TEST(ExceptionRecord, IsInTheStaticStorageOfEachThread) {
    EXPECT_TRUE(is_in_static_storage(&record()));

    ThreadsRecord other;
    const HANDLE thread = CreateThread(nullptr, 0, look_at_record, &other, 0, nullptr);
    ASSERT_NE(thread, nullptr);
    EXPECT_EQ(WaitForSingleObject(thread, INFINITE), WAIT_OBJECT_0);
    CloseHandle(thread);
    EXPECT_TRUE(other.in_static_storage);
    EXPECT_NE(other.address, &record());
}

}  // namespace
