// CheckOSVersionAndReg: on the test's own registry.
#include "support/farlo_test.h"
#include "volume/system_errors.h"

#include <optional>

namespace {

using namespace support;

constexpr wchar_t version_key[] = L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";
constexpr wchar_t switch_name[] = L"VMMSFolderDelete";

class OsVersion : public FarloTest {
  protected:
    OsVersion() { connects = false; }

    // What a run finds; the fixture clears the volume manager's key before it.
    void set(const std::wstring& version, std::optional<DWORD> clean_up) {
        environment().clear_registry(version_key);
        environment().set_registry(version_key, L"CurrentVersion", version);
        if (clean_up) {
            environment().set_registry(volume_manager_key, switch_name, *clean_up);
        } else {
            environment().set_registry(volume_manager_key, L"other", DWORD{1});
        }
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

    // Texts end in a line feed of their own.
    void expect_lines(const std::vector<Expected>& lines) {
        std::vector<Expected> all{{6, "Entering CheckOSVersionAndReg"}};
        all.insert(all.end(), lines.begin(), lines.end());
        all.push_back({0, "Exiting CheckOSVersionAndReg"});
        expect_log(all);
    }
};

const Expected other_version{0, "CheckOSVersionAndReg: OS version is not 6.3 \n"};
const Expected not_set{0, "CheckOSVersionAndReg: Registry VMMSFolderDelete is not set\n"};

TEST_F(OsVersion, TheRightOneWithTheSwitchOn) {
    at_every_threshold([&] {
        set(L"6.3", 1);
        EXPECT_EQ(check(), 0u);
        expect_lines({});
    });
}

TEST_F(OsVersion, TheSwitchIsOnOnlyWhenItIsOne) {
    at_every_threshold([&] {
        for (const DWORD value : {0u, 2u, 0x101u}) {
            set(L"6.3", value);
            EXPECT_EQ(check(), 0xc1000001u);
            expect_lines({not_set});
        }
    });
}

TEST_F(OsVersion, AnotherVersionIsNotAskedForTheSwitch) {
    at_every_threshold([&] {
        for (const wchar_t* version : {L"6.2", L"6.30", L"6.3.9600", L"6.", L"", L"10.0"}) {
            set(version, 1);
            EXPECT_EQ(check(), 0xc1000001u);
            expect_lines({other_version});
        }
    });
}

// 520 bytes are read, and no more.
TEST_F(OsVersion, AVersionTextThatFillsTheBufferAndOneThatDoesNotFit) {
    once([&] {
        set(L"", 1);
        // A terminator right after what is set would be stored with it.
        const std::wstring text(300, L'6');
        environment().set_registry(version_key, L"CurrentVersion", REG_SZ, text.data(), 520);
        EXPECT_EQ(check(), 0xc1000001u);
        expect_lines({other_version});
        environment().set_registry(version_key, L"CurrentVersion", REG_SZ, text.data(), 522);
        EXPECT_EQ(check(), 0x800700eau);
        expect_lines(
            {{0, "CheckOSVersionAndReg: RegQueryValueEx for OS Version check Error 0xea.\n"}});
    });
}

TEST_F(OsVersion, NoVersionKey) {
    at_every_threshold([&] {
        environment().clear_registry(version_key);
        EXPECT_EQ(check(), 0x80070002u);
        expect_lines({{0, "CheckOSVersionAndReg: RegOpenKeyEx for OS Version check failed Error "
                          "0x2.\n"}});
    });
}

TEST_F(OsVersion, NoVersionValue) {
    at_every_threshold([&] {
        environment().clear_registry(version_key);
        environment().set_registry(version_key, L"other", DWORD{1});
        EXPECT_EQ(check(), 0x80070002u);
        expect_lines(
            {{0, "CheckOSVersionAndReg: RegQueryValueEx for OS Version check Error 0x2.\n"}});
    });
}

TEST_F(OsVersion, NoSwitchKey) {
    at_every_threshold([&] {
        set(L"6.3", 1);
        environment().clear_registry(volume_manager_key);
        EXPECT_EQ(check(), 0x80070002u);
        expect_lines({{0, "CheckOSVersionAndReg: RegOpenKeyEx Error 0x2.\n"}});
    });
}

TEST_F(OsVersion, NoSwitchValue) {
    at_every_threshold([&] {
        set(L"6.3", std::nullopt);
        EXPECT_EQ(check(), 0x80070002u);
        expect_lines({{0, "CheckOSVersionAndReg: RegQueryValueEx Error 0x2.\n"}});
    });
}

// Four bytes are read.
TEST_F(OsVersion, ASwitchOfMoreBytes) {
    once([&] {
        set(L"6.3", 1);
        const std::uint64_t one = 1;
        environment().set_registry(volume_manager_key, switch_name, REG_QWORD, &one, 8);
        EXPECT_EQ(check(), 0x800700eau);
        expect_lines({{0, "CheckOSVersionAndReg: RegQueryValueEx Error 0xea.\n"}});
    });
}

TEST_F(OsVersion, KeysAreOpenedForReading) {
    once([&] {
        set(L"6.3", 1);
        std::vector<std::wstring> opened;
        const StandIn<decltype(RegOpenKeyExW)> open(
            dll().module(), "RegOpenKeyExW",
            [&](HKEY root, const wchar_t* key, DWORD options, REGSAM access, HKEY* result) {
                EXPECT_EQ(root, HKEY_LOCAL_MACHINE);
                EXPECT_EQ(options, 0u);
                EXPECT_EQ(access, 0x20019u);
                opened.push_back(key);
                return open.real(root, key, options, access, result);
            });
        EXPECT_EQ(check(), 0u);
        EXPECT_EQ(opened, (std::vector<std::wstring>{
                              L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\",
                              L"SOFTWARE\\SOLVANE\\ZtSvc\\CurrentVersion\\VolumeManager\\"}));
    });
}

TEST_F(OsVersion, ErrorsOfEachCallOfTheRegistry) {
    once([&] {
        set(L"6.3", 1);
        for (const auto& each : system_errors) {
            SCOPED_TRACE(each.logged);
            const auto error = static_cast<LSTATUS>(each.error);
            const auto expect_failure = [&](const char* line) {
                EXPECT_EQ(check(), each.status);
                expect_lines({{0, std::string("CheckOSVersionAndReg: ") + line + " " + each.logged +
                                      ".\n"}});
            };
            const char* const opening_failed[] = {"RegOpenKeyEx for OS Version check failed Error",
                                                  "RegOpenKeyEx Error"};
            const char* const reading_failed[] = {"RegQueryValueEx for OS Version check Error",
                                                  "RegQueryValueEx Error"};
            for (const unsigned call : {1u, 2u}) {
                SCOPED_TRACE(call);
                {
                    const Failure<decltype(RegOpenKeyExW)> open(dll().module(), "RegOpenKeyExW",
                                                                {.call = call}, error);
                    expect_failure(opening_failed[call - 1]);
                }
                const Failure<decltype(RegQueryValueExW)> read(dll().module(), "RegQueryValueExW",
                                                               {.call = call}, error);
                expect_failure(reading_failed[call - 1]);
            }
        }
    });
}

// A terminator right after the bytes that are set would be stored with them.
TEST_F(OsVersion, AVersionWithoutATerminator) {
    once([&] {
        set(L"", 1);
        environment().set_registry(version_key, L"CurrentVersion", REG_SZ, L"6.3x", 6);
        EXPECT_EQ(check(), 0u);
        expect_lines({});
        environment().set_registry(version_key, L"CurrentVersion", REG_SZ, L"6.30x", 8);
        EXPECT_EQ(check(), 0xc1000001u);
        expect_lines({other_version});
    });
}

// The bytes count, not the type; bytes that are not there are 0.
TEST_F(OsVersion, ASwitchOfAnotherTypeOrOfFewerBytes) {
    once([&] {
        set(L"6.3", std::nullopt);
        const std::uint8_t one[4] = {1, 0, 0, 0};
        const std::uint8_t other[4] = {1, 0, 1, 0};
        const struct {
            const std::uint8_t* bytes;
            DWORD size;
            bool on;
        } cases[] = {{one, 4, true},    {one, 2, true},   {one, 1, true},     {one, 0, false},
                     {other, 4, false}, {other, 2, true}, {one + 1, 3, false}};
        for (const auto& each : cases) {
            SCOPED_TRACE(testing::PrintToString(each.size) + " bytes");
            environment().set_registry(volume_manager_key, switch_name, REG_BINARY, each.bytes,
                                       each.size);
            EXPECT_EQ(check(), each.on ? 0u : 0xc1000001u);
            expect_lines(each.on ? std::vector<Expected>{} : std::vector<Expected>{not_set});
        }
        // The text that begins with the character of that number.
        environment().set_registry(volume_manager_key, switch_name, L"\x01");
        EXPECT_EQ(check(), 0u);
    });
}

TEST_F(OsVersion, EveryAllocationThatFails) {
    at_every_allocation([&] {
        set(L"6.3", 1);
        EXPECT_EQ(check(), 0u);
        expect_lines({});
    });
}

}  // namespace
