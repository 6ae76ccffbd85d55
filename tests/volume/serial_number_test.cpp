// GetVolumeNameForSerialNumber.
#include "support/bus_lines.h"
#include "support/farlo_test.h"

#include <cstring>
#include <map>

namespace {

using namespace support;

constexpr std::uint32_t buffer_size = 1656;

// File systems by their root folders: serial numbers, and errors of those that
// do not answer.
class FileSystems {
  public:
    explicit FileSystems(HMODULE module)
        : m_read(module, "GetVolumeInformationW",
                 [this](const wchar_t* root, wchar_t* label, DWORD label_size, DWORD* serial,
                        DWORD* longest, DWORD* flags, wchar_t* name, DWORD name_size) -> BOOL {
                     EXPECT_EQ(label, nullptr);
                     EXPECT_EQ(label_size, 0u);
                     EXPECT_EQ(longest, nullptr);
                     EXPECT_EQ(flags, nullptr);
                     EXPECT_NE(name, nullptr);
                     EXPECT_EQ(name_size, 260u);
                     roots.push_back(root);
                     const auto found = serials.find(root);
                     if (found == serials.end()) {
                         SetLastError(ERROR_PATH_NOT_FOUND);
                         return FALSE;
                     }
                     *serial = found->second;
                     std::wcscpy(name, L"NTFS");
                     return TRUE;
                 }) {}

    std::map<std::wstring, DWORD> serials;
    std::vector<std::wstring> roots;  // asked, in order

  private:
    StandIn<decltype(GetVolumeInformationW)> m_read;
};

class SerialNumber : public FarloTest {
  protected:
    SerialNumber() {
        scenario = R"({"disk_groups": [
            {"name": "dg1", "dgid": "guid-1", "type": 2, "volumes": [
                {"name": "one", "device": "d1", "volume_name": "V1"},
                {"name": "two", "device": "d2", "volume_name": "V2"},
                {"name": "three", "device": "d3", "volume_name": "V3"}]},
            {"name": "dg8", "dgid": "guid-8", "type": 8}]})";
    }

    std::uint32_t find(DWORD serial, void* buffer, std::uint32_t* size,
                       const wchar_t* name = L"dg1", const char* guid = nullptr) {
        return FARLO(GetVolumeNameForSerialNumberW)(handle, name, guid, serial,
                                                    static_cast<wchar_t*>(buffer), size);
    }

    // These lines between the entry and the exit line.
    void expect_lines(const std::vector<Expected>& lines, const std::string& serial,
                      bool exits = true) {
        std::vector<Expected> all{
            {4, "Entering GetVolumeNameForSerialNumberW - dg1 partition number " + serial}};
        all.insert(all.end(), lines.begin(), lines.end());
        if (exits) {
            all.push_back({4, "Exiting GetVolumeNameForSerialNumberW"});
        }
        expect_log(all);
    }
};

const Lines find_by_name{groups("@dg1 @dg8"), read("dg1", "LDM DG TYPE", "UINT32 2"),
                         read("dg1", "Name", wstr("dg1"))};
const Lines volumes{"ObGetChildObjects @dg1 tamo_ztvm_volume -> 0x0 [@one @two @three]"};

std::string volume_name(const std::string& volume, const std::string& name) {
    return read(volume, "volumename", wstr(name));
}

std::string failed(const std::string& status) {
    return "GetVolumeNameForSerialNumberW() failed, error=(" + status + ") ";
}

TEST_F(SerialNumber, TheFirstVolumeThatHasIt) {
    at_every_threshold([&] {
        FileSystems file_systems(dll().module());
        file_systems.serials = {{L"V1\\", 7}, {L"V2\\", 0x89abcdef}, {L"V3\\", 0x89abcdef}};
        GuardedBuffer buffer(buffer_size);
        std::uint32_t size = buffer_size;
        EXPECT_EQ(find(0x89abcdef, buffer.data(), &size), 0u);
        EXPECT_EQ(size, buffer_size);
        std::vector<std::uint8_t> wanted(buffer_size, GuardedBuffer::canary);
        std::memcpy(wanted.data(), L"V2\\", 8);
        EXPECT_EQ(buffer.difference(wanted), "");
        EXPECT_EQ(file_systems.roots, (std::vector<std::wstring>{L"V1\\", L"V2\\"}));
        expect_calls(find_by_name + volumes +
                     Lines{volume_name("one", "V1"), volume_name("two", "V2")});
        // The serial number is printed as a signed one.
        expect_lines({}, "-1985229329");
    });
}

TEST_F(SerialNumber, ByGuidText) {
    once([&] {
        FileSystems file_systems(dll().module());
        file_systems.serials = {{L"V1\\", 7}};
        GuardedBuffer buffer(buffer_size);
        std::uint32_t size = buffer_size;
        EXPECT_EQ(find(7, buffer.data(), &size, L"dg1", "GUID-1"), 0u);
        expect_calls(Lines{groups("@dg1 @dg8"), read("dg1", "LDM DG TYPE", "UINT32 2"),
                           read("dg1", "dgid", str("guid-1"))} +
                     volumes + Lines{volume_name("one", "V1")});
    });
}

TEST_F(SerialNumber, AFileSystemThatDoesNotAnswerIsPassedOver) {
    at_every_threshold([&] {
        FileSystems file_systems(dll().module());
        file_systems.serials = {{L"V2\\", 8}};
        GuardedBuffer buffer(buffer_size);
        std::uint32_t size = buffer_size;
        EXPECT_EQ(find(7, buffer.data(), &size), 99u);
        EXPECT_TRUE(buffer.untouched());
        EXPECT_EQ(size, buffer_size);
        EXPECT_EQ(file_systems.roots, (std::vector<std::wstring>{L"V1\\", L"V2\\", L"V3\\"}));
        expect_lines({{0, "GetVolumeNameForSerialNumberW: GetVolumeInformation failed , "
                          "wcVolumeGuid V1\\, error=(0x3)"},
                      {0, "GetVolumeNameForSerialNumberW: GetVolumeInformation failed , "
                          "wcVolumeGuid V3\\, error=(0x3)"},
                      {0, failed("0x63")}},
                     "7");
    });
}

// The size is tested before the buffer, and is no failure in the log.
TEST_F(SerialNumber, TheSizeProtocol) {
    at_every_threshold([&] {
        GuardedBuffer buffer(buffer_size);
        for (const std::uint32_t given : {0u, 1655u}) {
            for (void* out : {static_cast<void*>(nullptr), static_cast<void*>(buffer.data())}) {
                start_watching();
                std::uint32_t size = given;
                EXPECT_EQ(find(7, out, &size), 97u);
                EXPECT_EQ(size, buffer_size);
                expect_calls(find_by_name + volumes);
                expect_lines({}, "7");
            }
        }
        EXPECT_TRUE(buffer.untouched());
    });
}

TEST_F(SerialNumber, NullBufferAndNullSize) {
    at_every_threshold([&] {
        std::uint32_t size = buffer_size;
        EXPECT_EQ(find(7, nullptr, &size), 19u);
        EXPECT_EQ(size, buffer_size);
        expect_calls(find_by_name + volumes);
        expect_lines({{0, "GetVolumeNameForSerialNumberW() failed , pVolumeInfo == NULL"}}, "7",
                     false);
        start_watching();
        GuardedBuffer buffer(buffer_size);
        EXPECT_EQ(find(7, buffer.data(), nullptr), 19u);
        expect_calls(find_by_name + volumes);
        expect_lines({{0, "GetVolumeNameForSerialNumberW() failed , pSize == NULL"}}, "7", false);
        EXPECT_TRUE(buffer.untouched());
    });
}

// What is missing is told at once; a size that is too small waits for the closing
// look at the connection, and is stored all the same.
TEST_F(SerialNumber, AConnectionThatDropsBeforeTheBufferIsLookedAt) {
    const char drop[] = R"([{"function": "ObGetChildObjects", "drop": true}])";
    at_every_threshold([&] {
        GuardedBuffer buffer(buffer_size);
        std::uint32_t size = buffer_size;
        set_faults(drop);
        start_watching();
        EXPECT_EQ(find(7, nullptr, &size), 19u);
        expect_lines({{0, "GetVolumeNameForSerialNumberW() failed , pVolumeInfo == NULL"}}, "7",
                     false);
    });
    at_every_threshold([&] {
        GuardedBuffer buffer(buffer_size);
        set_faults(drop);
        start_watching();
        EXPECT_EQ(find(7, buffer.data(), nullptr), 19u);
        expect_lines({{0, "GetVolumeNameForSerialNumberW() failed , pSize == NULL"}}, "7", false);
    });
    at_every_threshold([&] {
        GuardedBuffer buffer(buffer_size);
        std::uint32_t size = 1655;
        set_faults(drop);
        start_watching();
        EXPECT_EQ(find(7, buffer.data(), &size), 20u);
        EXPECT_EQ(size, buffer_size);
        EXPECT_TRUE(buffer.untouched());
        expect_lines({{0, failed("0x14")}}, "7");
    });
}

TEST_F(SerialNumber, NullHandleAndNotConnected) {
    at_every_threshold([&] {
        std::uint32_t size = 0;
        EXPECT_EQ(FARLO(GetVolumeNameForSerialNumberW)(nullptr, L"dg1", nullptr, 7, nullptr, &size),
                  100u);
        expect_lines({{0, "GetVolumeNameForSerialNumberW() failed , NULL opal_handle"}}, "7",
                     false);
        start_watching();
        disconnect();
        EXPECT_EQ(find(7, nullptr, &size), 20u);
        expect_lines({{0, "GetVolumeNameForSerialNumberW() failed , opal_handle not connected"}},
                     "7", false);
        expect_calls({});
        EXPECT_EQ(size, 0u);
    });
}

TEST_F(SerialNumber, TheLookupOfTheGroup) {
    at_every_threshold([&] {
        std::uint32_t size = 0;
        const auto expect_failure = [&](const std::vector<Expected>& lookup, const char* status,
                                        const std::string& name) {
            std::vector<Expected> lines{
                {4, "Entering GetVolumeNameForSerialNumberW - " + name + " partition number 7"}};
            lines.insert(lines.end(), lookup.begin(), lookup.end());
            lines.push_back({0, std::string("GetVolumeNameForSerialNumberW():GetDgObjId() failed, "
                                            "error=(") +
                                    status + ")"});
            expect_log(lines);
            start_watching();
        };
        EXPECT_EQ(find(7, nullptr, &size, L"none"), 1u);
        expect_failure({{0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, "
                            "error=(0x1)"}},
                       "0x1", "none");
        // Only cluster groups by name.
        EXPECT_EQ(find(7, nullptr, &size, L"dg8"), 1u);
        expect_failure({{0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, "
                            "error=(0x28)"}},
                       "0x1", "dg8");
        EXPECT_EQ(find(7, nullptr, &size, nullptr, ""), 19u);
        expect_failure({}, "0x13", "(null)");
        EXPECT_EQ(size, 0u);
    });
}

TEST_F(SerialNumber, WhatCannotBeReadEndsTheCall) {
    at_every_threshold([&] {
        for (const char* fault : {R"({"function": "ObGetChildObjects", "status": "0xc1000104"})",
                                  R"({"property": "volumename", "status": "0xc100003a"})",
                                  R"({"property": "volumename", "as": "STR"})",
                                  R"({"property": "volumename", "lie": "unterminated"})"}) {
            SCOPED_TRACE(fault);
            FileSystems file_systems(dll().module());
            set_faults("[" + std::string(fault) + "]");
            start_watching();
            GuardedBuffer buffer(buffer_size);
            std::uint32_t size = buffer_size;
            EXPECT_EQ(find(7, buffer.data(), &size), 18u);
            EXPECT_TRUE(buffer.untouched());
            expect_lines({{6, "API_TRY_CATCH_FAILED "}, {0, failed("0x12")}}, "7");
        }
    });
}

// The buffer's own size counts: a name that fills it, and one that does not fit.
TEST_F(SerialNumber, ANameAsLongAsTheBufferAndOneLonger) {
    const auto with_name_of = [](std::size_t length) {
        return R"({"disk_groups": [{"name": "dg1", "dgid": "guid-1", "type": 2, "volumes": [
            {"name": "one", "device": "d1", "volume_name": ")" +
               std::string(length, 'v') + R"("}]}]})";
    };
    once([&] {
        FileSystems file_systems(dll().module());
        file_systems.serials = {{std::wstring(826, L'v') + L"\\", 7},
                                {std::wstring(827, L'v') + L"\\", 7}};
        load_scenario(with_name_of(826));
        {
            GuardedBuffer buffer(buffer_size);
            std::uint32_t size = buffer_size;
            EXPECT_EQ(find(7, buffer.data(), &size), 0u);
            EXPECT_EQ(std::wstring(buffer.as<wchar_t>()), std::wstring(826, L'v') + L"\\");
        }
        load_scenario(with_name_of(827));
        {
            GuardedBuffer buffer(buffer_size + 1);
            std::uint32_t size = buffer_size + 1;
            EXPECT_EQ(find(7, buffer.data(), &size), 18u);
            EXPECT_TRUE(buffer.untouched());
        }
        {
            GuardedBuffer buffer(buffer_size + 2);
            std::uint32_t size = buffer_size + 2;
            EXPECT_EQ(find(7, buffer.data(), &size), 0u);
        }
    });
}

TEST_F(SerialNumber, AGroupWithoutVolumes) {
    scenario = R"({"disk_groups": [{"name": "dg1", "dgid": "guid-1", "type": 2}]})";
    at_every_threshold([&] {
        GuardedBuffer buffer(buffer_size);
        std::uint32_t size = buffer_size;
        EXPECT_EQ(find(7, buffer.data(), &size), 99u);
        expect_lines({{0, failed("0x63")}}, "7");
    });
}

TEST_F(SerialNumber, AConnectionThatDropsMeanwhileVoidsTheResult) {
    at_every_threshold([&] {
        const StandIn<decltype(GetVolumeInformationW)> read_serial(
            dll().module(), "GetVolumeInformationW",
            [&](const wchar_t*, wchar_t*, DWORD, DWORD* serial, DWORD*, DWORD*, wchar_t*,
                DWORD) -> BOOL {
                disconnect();
                *serial = 7;
                return TRUE;
            });
        GuardedBuffer buffer(buffer_size);
        std::uint32_t size = buffer_size;
        EXPECT_EQ(find(7, buffer.data(), &size), 20u);
        expect_lines({{0, failed("0x14")}}, "7");
    });
}

TEST_F(SerialNumber, TheNarrowForm) {
    at_every_threshold([&] {
        FileSystems file_systems(dll().module());
        file_systems.serials = {{L"V1\\", 7}};
        GuardedBuffer buffer(buffer_size);
        std::uint32_t size = buffer_size;
        EXPECT_EQ(FARLO(GetVolumeNameForSerialNumberA)(handle, "dg1", nullptr, 7,
                                                       buffer.as<wchar_t>(), &size),
                  0u);
        EXPECT_EQ(std::wstring(buffer.as<wchar_t>()), L"V1\\");
        expect_lines({}, "7");
        start_watching();
        EXPECT_EQ(FARLO(GetVolumeNameForSerialNumberA)(handle, std::string(32, 'n').c_str(),
                                                       nullptr, 7, buffer.as<wchar_t>(), &size),
                  0x80070057u);
        expect_calls({});
        expect_log(
            {{0, "GetVolumeNameForSerialNumberA() failed , name string of more than 31 characters "
                 "or invalid, error=(0x80070057)"}});
    });
}

// No more characters than a group's name has room for.
TEST_F(SerialNumber, TheLongestNameOfTheNarrowForm) {
    const std::string longest(31, 'n');
    scenario = R"({"disk_groups": [{"name": ")" + longest +
               R"(", "id": "dg1", "dgid": "guid-1", "type": 2, "volumes": [
                   {"name": "one", "device": "d1", "volume_name": "V1"}]}]})";
    once([&] {
        FileSystems file_systems(dll().module());
        file_systems.serials = {{L"V1\\", 7}};
        GuardedBuffer buffer(buffer_size);
        std::uint32_t size = buffer_size;
        EXPECT_EQ(FARLO(GetVolumeNameForSerialNumberA)(handle, longest.c_str(), nullptr, 7,
                                                       buffer.as<wchar_t>(), &size),
                  0u);
        EXPECT_EQ(std::wstring(buffer.as<wchar_t>()), L"V1\\");
        // NULL stays NULL.
        EXPECT_EQ(FARLO(GetVolumeNameForSerialNumberA)(handle, nullptr, nullptr, 7,
                                                       buffer.as<wchar_t>(), &size),
                  19u);
    });
}

// The buffer has the name, or it has nothing.
TEST_F(SerialNumber, EveryAllocationThatFails) {
    const auto run = [&](auto find_in) {
        const auto answers = answers_at_every_allocation([&] {
            FileSystems file_systems(dll().module());
            file_systems.serials = {{L"V1\\", 7}};
            GuardedBuffer buffer(buffer_size);
            std::uint32_t size = buffer_size;
            const std::uint32_t status = find_in(buffer.as<wchar_t>(), &size);
            EXPECT_EQ(status != 0, buffer.untouched());
            EXPECT_EQ(size, buffer_size);
            return status;
        });
        // Of the group: no such group. Of its volumes: an exception.
        EXPECT_THAT(answers, testing::Each(testing::AnyOf(1u, 18u)));
        EXPECT_THAT(answers, testing::Contains(18u));
    };
    run([&](wchar_t* buffer, std::uint32_t* size) {
        return FARLO(GetVolumeNameForSerialNumberW)(handle, L"dg1", nullptr, 7, buffer, size);
    });
    run([&](wchar_t* buffer, std::uint32_t* size) {
        return FARLO(GetVolumeNameForSerialNumberA)(handle, "dg1", nullptr, 7, buffer, size);
    });
}

// Nothing replaced: the system's own drive, after a volume that is not there.
TEST_F(SerialNumber, ARealVolumeByItsRealSerialNumber) {
    scenario = R"({"disk_groups": [{"name": "dg1", "dgid": "guid-1", "type": 2, "volumes": [
        {"name": "one", "device": "d1", "volume_name": "\\\\?\\Volume{no such volume}"},
        {"name": "two", "device": "d2", "volume_name": "C:"}]}]})";
    DWORD serial = 0;
    ASSERT_TRUE(GetVolumeInformationW(L"C:\\", nullptr, 0, &serial, nullptr, nullptr, nullptr, 0));
    once([&] {
        GuardedBuffer buffer(buffer_size);
        std::uint32_t size = buffer_size;
        EXPECT_EQ(find(serial, buffer.data(), &size), 0u);
        EXPECT_EQ(std::wstring(buffer.as<wchar_t>()), L"C:\\");
        EXPECT_EQ(find(serial + 1, buffer.data(), &size), 99u);
    });
}

}  // namespace
