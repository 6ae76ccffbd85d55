// CheckOSVersionAndReg, with the private registry of the test.
#include "support/farlo_test.h"
#include "support/service_names.h"
#include "volume/system_errors.h"

namespace {

using namespace support;

constexpr wchar_t version_key[] = L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";
constexpr wchar_t version_value[] = L"CurrentVersion";
constexpr wchar_t switch_value[] = L"VMMSFolderDelete";

class CheckOSVersionAndReg : public FarloTest {
  protected:
    CheckOSVersionAndReg() { connects = false; }

    // The fixture clears the volume manager's key before each run, but not the version's.
    void set_version(const std::wstring& version) {
        environment().clear_registry(version_key);
        environment().set_registry(version_key, version_value, version);
    }
    void set_switch(DWORD value) {
        environment().set_registry(volume_manager_key, switch_value, value);
    }

    void TearDown() override {
        environment().clear_registry(version_key);
        environment().clear_registry(volume_manager_key);
        FarloTest::TearDown();
    }

    std::uint32_t check() {
        start_watching();
        return FARLO(CheckOSVersionAndReg)();
    }
};

// All lines between the first and the last one end in a line feed.
const Expected entering{6, "Entering CheckOSVersionAndReg"};
const Expected other_version{0, "CheckOSVersionAndReg: OS version is not 6.3 \n"};
const Expected not_set{0, "CheckOSVersionAndReg: Registry VMMSFolderDelete is not set\n"};
const Expected exiting{0, "Exiting CheckOSVersionAndReg"};

TEST_F(CheckOSVersionAndReg, SucceedsForVersion63WithSwitchSet) {
    at_every_threshold([&] {
        set_version(L"6.3");
        set_switch(1);
        EXPECT_EQ(check(), FARLO_SUCCESS);
        expect_log({entering, exiting});
    });
}

TEST_F(CheckOSVersionAndReg, FailsUnlessSwitchIsOne) {
    at_every_threshold([&] {
        set_version(L"6.3");
        for (const DWORD value : {0u, 2u, 0x101u}) {
            set_switch(value);
            EXPECT_EQ(check(), FARLO_PROVIDER_FAILED);
            expect_log({entering, not_set, exiting});
        }
    });
}

TEST_F(CheckOSVersionAndReg, FailsForOtherVersions) {
    at_every_threshold([&] {
        set_switch(1);
        for (const wchar_t* version : {L"6.2", L"6.30", L"6.3.9600", L"6.", L"", L"10.0"}) {
            set_version(version);
            EXPECT_EQ(check(), FARLO_PROVIDER_FAILED);
            expect_log({entering, other_version, exiting});
        }
    });
}

// A terminator that follows the value's bytes in memory would be stored with them, so the bytes
// are taken from a longer string.
TEST_F(CheckOSVersionAndReg, ReadsVersionOfAtMost520Bytes) {
    once([&] {
        set_version(L"");
        set_switch(1);
        const std::wstring version(300, L'6');
        environment().set_registry(version_key, version_value, REG_SZ, version.data(), 520);
        EXPECT_EQ(check(), FARLO_PROVIDER_FAILED);
        expect_log({entering, other_version, exiting});
        environment().set_registry(version_key, version_value, REG_SZ, version.data(), 522);
        EXPECT_EQ(check(), system_more_data);
        expect_log({entering,
                    {0, "CheckOSVersionAndReg: RegQueryValueEx for OS Version check Error 0xea.\n"},
                    exiting});
    });
}

TEST_F(CheckOSVersionAndReg, FailsWithoutVersionKey) {
    at_every_threshold([&] {
        environment().clear_registry(version_key);
        EXPECT_EQ(check(), system_file_not_found);
        expect_log({entering,
                    {0, "CheckOSVersionAndReg: RegOpenKeyEx for OS Version check failed Error "
                        "0x2.\n"},
                    exiting});
    });
}

TEST_F(CheckOSVersionAndReg, FailsWithoutVersionValue) {
    at_every_threshold([&] {
        environment().clear_registry(version_key);
        environment().set_registry(version_key, L"other", DWORD{1});
        EXPECT_EQ(check(), system_file_not_found);
        expect_log({entering,
                    {0, "CheckOSVersionAndReg: RegQueryValueEx for OS Version check Error 0x2.\n"},
                    exiting});
    });
}

TEST_F(CheckOSVersionAndReg, FailsWithoutSwitchKey) {
    at_every_threshold([&] {
        set_version(L"6.3");
        environment().clear_registry(volume_manager_key);
        EXPECT_EQ(check(), system_file_not_found);
        expect_log({entering, {0, "CheckOSVersionAndReg: RegOpenKeyEx Error 0x2.\n"}, exiting});
    });
}

TEST_F(CheckOSVersionAndReg, FailsWithoutSwitchValue) {
    at_every_threshold([&] {
        set_version(L"6.3");
        environment().set_registry(volume_manager_key, L"other", DWORD{1});
        EXPECT_EQ(check(), system_file_not_found);
        expect_log({entering, {0, "CheckOSVersionAndReg: RegQueryValueEx Error 0x2.\n"}, exiting});
    });
}

TEST_F(CheckOSVersionAndReg, RejectsSwitchOfMoreThanFourBytes) {
    once([&] {
        set_version(L"6.3");
        const std::uint64_t one = 1;
        environment().set_registry(volume_manager_key, switch_value, REG_QWORD, &one, 8);
        EXPECT_EQ(check(), system_more_data);
        expect_log({entering, {0, "CheckOSVersionAndReg: RegQueryValueEx Error 0xea.\n"}, exiting});
    });
}

TEST_F(CheckOSVersionAndReg, OpensKeysForReading) {
    once([&] {
        set_version(L"6.3");
        set_switch(1);
        std::vector<std::wstring> opened;
        const StandIn<decltype(RegOpenKeyExW)> open(
            dll().module(), "RegOpenKeyExW",
            [&](HKEY root, const wchar_t* key, DWORD options, REGSAM access, HKEY* result) {
                EXPECT_EQ(root, HKEY_LOCAL_MACHINE);
                EXPECT_EQ(options, 0u);
                EXPECT_EQ(access, REGSAM{KEY_READ});
                opened.push_back(key);
                return open.real(root, key, options, access, result);
            });
        EXPECT_EQ(check(), FARLO_SUCCESS);
        EXPECT_EQ(opened, (std::vector<std::wstring>{
                              L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\",
                              L"SOFTWARE\\SOLVANE\\ZtSvc\\CurrentVersion\\VolumeManager\\"}));
    });
}

TEST_F(CheckOSVersionAndReg, ReturnsErrorOfEachRegistryCall) {
    once([&] {
        set_version(L"6.3");
        set_switch(1);
        for (const auto& row : system_errors) {
            SCOPED_TRACE(row.logged);
            const auto expect_failure = [&](const char* line) {
                EXPECT_EQ(check(), row.status);
                expect_log(
                    {entering,
                     {0, std::string("CheckOSVersionAndReg: ") + line + " " + row.logged + ".\n"},
                     exiting});
            };
            const char* const opening_failed[] = {"RegOpenKeyEx for OS Version check failed Error",
                                                  "RegOpenKeyEx Error"};
            const char* const reading_failed[] = {"RegQueryValueEx for OS Version check Error",
                                                  "RegQueryValueEx Error"};
            for (const unsigned call : {1u, 2u}) {
                SCOPED_TRACE(call);
                const auto result = static_cast<LSTATUS>(row.error);
                {
                    const Failure<decltype(RegOpenKeyExW)> open(dll().module(), "RegOpenKeyExW",
                                                                {.call = call}, result);
                    expect_failure(opening_failed[call - 1]);
                }
                const Failure<decltype(RegQueryValueExW)> read(dll().module(), "RegQueryValueExW",
                                                               {.call = call}, result);
                expect_failure(reading_failed[call - 1]);
            }
        }
    });
}

// As in ReadsVersionOfAtMost520Bytes, the bytes are followed by something else than a terminator.
TEST_F(CheckOSVersionAndReg, AcceptsVersionWithoutTerminator) {
    once([&] {
        set_version(L"");
        set_switch(1);
        environment().set_registry(version_key, version_value, REG_SZ, L"6.3x", 6);
        EXPECT_EQ(check(), FARLO_SUCCESS);
        expect_log({entering, exiting});
        environment().set_registry(version_key, version_value, REG_SZ, L"6.30x", 8);
        EXPECT_EQ(check(), FARLO_PROVIDER_FAILED);
        expect_log({entering, other_version, exiting});
    });
}

// Missing bytes count as 0.
TEST_F(CheckOSVersionAndReg, ReadsBytesOfSwitchOfAnyType) {
    once([&] {
        set_version(L"6.3");
        const std::uint8_t one[4] = {1, 0, 0, 0};
        const std::uint8_t other[4] = {1, 0, 1, 0};
        const struct {
            const std::uint8_t* bytes;
            DWORD size;
            bool set;
        } rows[] = {{one, 4, true},    {one, 2, true},   {one, 1, true},     {one, 0, false},
                    {other, 4, false}, {other, 2, true}, {one + 1, 3, false}};
        for (const auto& row : rows) {
            SCOPED_TRACE(testing::PrintToString(row.size) + " bytes");
            environment().set_registry(volume_manager_key, switch_value, REG_BINARY, row.bytes,
                                       row.size);
            EXPECT_EQ(check(), row.set ? FARLO_SUCCESS : FARLO_PROVIDER_FAILED);
            expect_log(row.set ? std::vector<Expected>{entering, exiting}
                               : std::vector<Expected>{entering, not_set, exiting});
        }
        // A string whose only character is U+0001.
        environment().set_registry(volume_manager_key, switch_value, L"\x01");
        EXPECT_EQ(check(), FARLO_SUCCESS);
    });
}

TEST_F(CheckOSVersionAndReg, SucceedsWhenAnyAllocationFails) {
    at_every_allocation([&] {
        set_version(L"6.3");
        set_switch(1);
        EXPECT_EQ(check(), FARLO_SUCCESS);
        expect_log({entering, exiting});
    });
}

}  // namespace
