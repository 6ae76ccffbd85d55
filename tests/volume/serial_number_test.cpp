// GetVolumeNameForSerialNumber.
#include "support/bus_lines.h"
#include "support/farlo_test.h"
#include "support/fault_rules.h"

#include <cstring>
#include <map>

namespace {

using namespace support;

constexpr std::uint32_t buffer_size = FARLO_VOLUME_NAME_BUFFER_SIZE;

// Replaces GetVolumeInformationW, which then knows only these file systems.
class FileSystems {
  public:
    explicit FileSystems(HMODULE module)
        : m_get_information(module, "GetVolumeInformationW",
                            [this](const wchar_t* root, wchar_t* label, DWORD label_size,
                                   DWORD* serial, DWORD* longest, DWORD* flags, wchar_t* name,
                                   DWORD name_size) -> BOOL {
                                EXPECT_EQ(label, nullptr);
                                EXPECT_EQ(label_size, 0u);
                                EXPECT_EQ(longest, nullptr);
                                EXPECT_EQ(flags, nullptr);
                                EXPECT_NE(name, nullptr);
                                EXPECT_EQ(name_size, 260u);
                                queried_roots.push_back(root);
                                const auto found = serials.find(root);
                                if (found == serials.end()) {
                                    SetLastError(ERROR_PATH_NOT_FOUND);
                                    return FALSE;
                                }
                                *serial = found->second;
                                std::wcscpy(name, L"NTFS");
                                return TRUE;
                            }) {}

    std::map<std::wstring, DWORD> serials;    // by root folder
    std::vector<std::wstring> queried_roots;  // in order

  private:
    StandIn<decltype(GetVolumeInformationW)> m_get_information;
};

class GetVolumeNameForSerialNumber : public FarloTest {
  protected:
    GetVolumeNameForSerialNumber() {
        scenario = R"({"disk_groups": [
            {"name": "dg1", "dgid": "guid-1", "type": 2, "volumes": [
                {"name": "one", "device": "d1", "volume_name": "V1"},
                {"name": "two", "device": "d2", "volume_name": "V2"},
                {"name": "three", "device": "d3", "volume_name": "V3"}]},
            {"name": "dg8", "dgid": "guid-8", "type": 8}]})";
    }

    // Searches the group "dg1".
    std::uint32_t find(DWORD serial, void* buffer, std::uint32_t* size) {
        return find_in(L"dg1", nullptr, serial, buffer, size);
    }
    std::uint32_t find_in(const wchar_t* group, const char* guid, DWORD serial, void* buffer,
                          std::uint32_t* size) {
        return FARLO(GetVolumeNameForSerialNumberW)(handle, group, guid, serial,
                                                    static_cast<wchar_t*>(buffer), size);
    }
};

// Lines of the recorder.
const Lines find_group_by_name{groups("@dg1 @dg8"), read_type("dg1", group_type::cluster),
                               read("dg1", "Name", wstr("dg1"))};
const Lines find_group_by_guid{groups("@dg1 @dg8"), read_type("dg1", group_type::cluster),
                               read("dg1", "dgid", str("guid-1"))};
const Lines list_volumes{children("dg1", object_type::volume, "@one @two @three")};
std::string read_volume_name(const std::string& volume, const std::string& name) {
    return read(volume, "volumename", wstr(name));
}

// Lines of the log.
Expected entering(const std::string& serial) {
    return {4, "Entering GetVolumeNameForSerialNumberW - dg1 partition number " + serial};
}
Expected failed(std::uint32_t status) {
    return {0, "GetVolumeNameForSerialNumberW() failed, error=(" + hex(status) + ") "};
}
const Expected exiting{4, "Exiting GetVolumeNameForSerialNumberW"};
const Expected null_buffer{0, "GetVolumeNameForSerialNumberW() failed , pVolumeInfo == NULL"};
const Expected null_size{0, "GetVolumeNameForSerialNumberW() failed , pSize == NULL"};

// The serial number is logged as a signed number.
TEST_F(GetVolumeNameForSerialNumber, ProvidesNameOfFirstVolumeWithSerialNumber) {
    at_every_threshold([&] {
        FileSystems file_systems(dll().module());
        file_systems.serials = {{L"V1\\", 7}, {L"V2\\", 0x89abcdef}, {L"V3\\", 0x89abcdef}};
        GuardedBuffer buffer(buffer_size);
        std::uint32_t size = buffer_size;
        EXPECT_EQ(find(0x89abcdef, buffer.data(), &size), FARLO_SUCCESS);
        EXPECT_EQ(size, buffer_size);
        std::vector<std::uint8_t> wanted(buffer_size, GuardedBuffer::canary);
        std::memcpy(wanted.data(), L"V2\\", 8);
        EXPECT_EQ(buffer.difference(wanted), "");
        EXPECT_EQ(file_systems.queried_roots, (std::vector<std::wstring>{L"V1\\", L"V2\\"}));
        expect_calls(find_group_by_name + list_volumes +
                     Lines{read_volume_name("one", "V1"), read_volume_name("two", "V2")});
        expect_log({entering("-1985229329"), exiting});
    });
}

TEST_F(GetVolumeNameForSerialNumber, FindsGroupByGuid) {
    once([&] {
        FileSystems file_systems(dll().module());
        file_systems.serials = {{L"V1\\", 7}};
        GuardedBuffer buffer(buffer_size);
        std::uint32_t size = buffer_size;
        EXPECT_EQ(find_in(L"dg1", "GUID-1", 7, buffer.data(), &size), FARLO_SUCCESS);
        expect_calls(find_group_by_guid + list_volumes + Lines{read_volume_name("one", "V1")});
    });
}

TEST_F(GetVolumeNameForSerialNumber, SkipsFileSystemsThatCannotBeRead) {
    at_every_threshold([&] {
        FileSystems file_systems(dll().module());
        file_systems.serials = {{L"V2\\", 8}};
        GuardedBuffer buffer(buffer_size);
        std::uint32_t size = buffer_size;
        EXPECT_EQ(find(7, buffer.data(), &size), FARLO_VOLUME_NOT_FOUND);
        EXPECT_TRUE(buffer.untouched());
        EXPECT_EQ(size, buffer_size);
        EXPECT_EQ(file_systems.queried_roots,
                  (std::vector<std::wstring>{L"V1\\", L"V2\\", L"V3\\"}));
        expect_log({entering("7"),
                    {0, "GetVolumeNameForSerialNumberW: GetVolumeInformation failed , "
                        "wcVolumeGuid V1\\, error=(0x3)"},
                    {0, "GetVolumeNameForSerialNumberW: GetVolumeInformation failed , "
                        "wcVolumeGuid V3\\, error=(0x3)"},
                    failed(FARLO_VOLUME_NOT_FOUND),
                    exiting});
    });
}

// The size is checked before the buffer. The log does not show a failure.
TEST_F(GetVolumeNameForSerialNumber, StoresRequiredSizeWhenBufferIsTooSmall) {
    at_every_threshold([&] {
        GuardedBuffer buffer(buffer_size);
        for (const std::uint32_t too_small : {0u, buffer_size - 1}) {
            for (void* passed : {static_cast<void*>(nullptr), static_cast<void*>(buffer.data())}) {
                start_watching();
                std::uint32_t size = too_small;
                EXPECT_EQ(find(7, passed, &size), FARLO_BUFFER_TOO_SMALL);
                EXPECT_EQ(size, buffer_size);
                expect_calls(find_group_by_name + list_volumes);
                expect_log({entering("7"), exiting});
            }
        }
        EXPECT_TRUE(buffer.untouched());
    });
}

TEST_F(GetVolumeNameForSerialNumber, RejectsNullBufferAndNullSizeAfterListingVolumes) {
    at_every_threshold([&] {
        std::uint32_t size = buffer_size;
        EXPECT_EQ(find(7, nullptr, &size), FARLO_MISSING_ARGUMENT);
        EXPECT_EQ(size, buffer_size);
        expect_calls(find_group_by_name + list_volumes);
        expect_log({entering("7"), null_buffer});
        start_watching();
        GuardedBuffer buffer(buffer_size);
        EXPECT_EQ(find(7, buffer.data(), nullptr), FARLO_MISSING_ARGUMENT);
        expect_calls(find_group_by_name + list_volumes);
        expect_log({entering("7"), null_size});
        EXPECT_TRUE(buffer.untouched());
    });
}

// A missing argument ends the call without a check of the connection. A size that is too small
// does not; it is stored anyway.
TEST_F(GetVolumeNameForSerialNumber, ChecksConnectionForSmallBufferButNotForMissingArgument) {
    const std::string plan = fault_plan({dropping(listing(object_type::volume))});
    at_every_threshold([&] {
        GuardedBuffer buffer(buffer_size);
        std::uint32_t size = buffer_size;
        set_faults(plan);
        start_watching();
        EXPECT_EQ(find(7, nullptr, &size), FARLO_MISSING_ARGUMENT);
        expect_log({entering("7"), null_buffer});
    });
    at_every_threshold([&] {
        GuardedBuffer buffer(buffer_size);
        set_faults(plan);
        start_watching();
        EXPECT_EQ(find(7, buffer.data(), nullptr), FARLO_MISSING_ARGUMENT);
        expect_log({entering("7"), null_size});
    });
    at_every_threshold([&] {
        GuardedBuffer buffer(buffer_size);
        std::uint32_t size = buffer_size - 1;
        set_faults(plan);
        start_watching();
        EXPECT_EQ(find(7, buffer.data(), &size), FARLO_NOT_CONNECTED);
        EXPECT_EQ(size, buffer_size);
        EXPECT_TRUE(buffer.untouched());
        expect_log({entering("7"), failed(FARLO_NOT_CONNECTED), exiting});
    });
}

TEST_F(GetVolumeNameForSerialNumber, RequiresConnectedHandle) {
    at_every_threshold([&] {
        std::uint32_t size = 0;
        EXPECT_EQ(FARLO(GetVolumeNameForSerialNumberW)(nullptr, L"dg1", nullptr, 7, nullptr, &size),
                  FARLO_NULL_HANDLE);
        expect_log(
            {entering("7"), {0, "GetVolumeNameForSerialNumberW() failed , NULL opal_handle"}});
        start_watching();
        disconnect();
        EXPECT_EQ(find(7, nullptr, &size), FARLO_NOT_CONNECTED);
        expect_log({entering("7"),
                    {0, "GetVolumeNameForSerialNumberW() failed , opal_handle not connected"}});
        expect_calls({});
        EXPECT_EQ(size, 0u);
    });
}

// A name finds cluster groups only.
TEST_F(GetVolumeNameForSerialNumber, FailsForUnknownGroupClusterSharedGroupAndNoGroup) {
    at_every_threshold([&] {
        std::uint32_t size = 0;
        EXPECT_EQ(find_in(L"none", nullptr, 7, nullptr, &size), FARLO_NOT_FOUND);
        expect_log({{4, "Entering GetVolumeNameForSerialNumberW - none partition number 7"},
                    {0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x1)"},
                    {0, "GetVolumeNameForSerialNumberW():GetDgObjId() failed, error=(0x1)"}});
        start_watching();
        EXPECT_EQ(find_in(L"dg8", nullptr, 7, nullptr, &size), FARLO_NOT_FOUND);
        expect_log({{4, "Entering GetVolumeNameForSerialNumberW - dg8 partition number 7"},
                    {0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x28)"},
                    {0, "GetVolumeNameForSerialNumberW():GetDgObjId() failed, error=(0x1)"}});
        start_watching();
        EXPECT_EQ(find_in(nullptr, "", 7, nullptr, &size), FARLO_MISSING_ARGUMENT);
        expect_log({{4, "Entering GetVolumeNameForSerialNumberW - (null) partition number 7"},
                    {0, "GetVolumeNameForSerialNumberW():GetDgObjId() failed, error=(0x13)"}});
        EXPECT_EQ(size, 0u);
    });
}

TEST_F(GetVolumeNameForSerialNumber, FailsWhenVolumeCannotBeRead) {
    at_every_threshold([&] {
        for (const FaultRule& fault : {failing(listing(object_type::volume), bus_unknown_object),
                                       failing(reading("volumename"), bus_no_property),
                                       with_type(reading("volumename"), "STR"),
                                       lying(reading("volumename"), "unterminated")}) {
            SCOPED_TRACE(fault_plan({fault}));
            FileSystems file_systems(dll().module());
            set_faults(fault_plan({fault}));
            start_watching();
            GuardedBuffer buffer(buffer_size);
            std::uint32_t size = buffer_size;
            EXPECT_EQ(find(7, buffer.data(), &size), FARLO_EXCEPTION);
            EXPECT_TRUE(buffer.untouched());
            expect_log(
                {entering("7"), {6, "API_TRY_CATCH_FAILED "}, failed(FARLO_EXCEPTION), exiting});
        }
    });
}

// The required size has room for 828 characters: a name of 826, "\" and the terminator.
TEST_F(GetVolumeNameForSerialNumber, FillsBufferButFailsForNameThatDoesNotFit) {
    const auto with_name_of_length = [](std::size_t length) {
        return R"({"disk_groups": [{"name": "dg1", "dgid": "guid-1", "type": 2, "volumes": [
            {"name": "one", "device": "d1", "volume_name": ")" +
               std::string(length, 'v') + R"("}]}]})";
    };
    once([&] {
        FileSystems file_systems(dll().module());
        file_systems.serials = {{std::wstring(826, L'v') + L"\\", 7},
                                {std::wstring(827, L'v') + L"\\", 7}};
        load_scenario(with_name_of_length(826));
        {
            GuardedBuffer buffer(buffer_size);
            std::uint32_t size = buffer_size;
            EXPECT_EQ(find(7, buffer.data(), &size), FARLO_SUCCESS);
            EXPECT_EQ(std::wstring(buffer.as<wchar_t>()), std::wstring(826, L'v') + L"\\");
        }
        load_scenario(with_name_of_length(827));
        {
            GuardedBuffer buffer(buffer_size + 1);
            std::uint32_t size = buffer_size + 1;
            EXPECT_EQ(find(7, buffer.data(), &size), FARLO_EXCEPTION);
            EXPECT_TRUE(buffer.untouched());
        }
        {
            GuardedBuffer buffer(buffer_size + 2);
            std::uint32_t size = buffer_size + 2;
            EXPECT_EQ(find(7, buffer.data(), &size), FARLO_SUCCESS);
        }
    });
}

TEST_F(GetVolumeNameForSerialNumber, ReturnsNotFoundForGroupWithoutVolumes) {
    scenario = R"({"disk_groups": [{"name": "dg1", "dgid": "guid-1", "type": 2}]})";
    at_every_threshold([&] {
        GuardedBuffer buffer(buffer_size);
        std::uint32_t size = buffer_size;
        EXPECT_EQ(find(7, buffer.data(), &size), FARLO_VOLUME_NOT_FOUND);
        expect_log({entering("7"), failed(FARLO_VOLUME_NOT_FOUND), exiting});
    });
}

TEST_F(GetVolumeNameForSerialNumber, ReturnsNotConnectedWhenConnectionDrops) {
    at_every_threshold([&] {
        const StandIn<decltype(GetVolumeInformationW)> get_information(
            dll().module(), "GetVolumeInformationW",
            [&](const wchar_t*, wchar_t*, DWORD, DWORD* serial, DWORD*, DWORD*, wchar_t*,
                DWORD) -> BOOL {
                disconnect();
                *serial = 7;
                return TRUE;
            });
        GuardedBuffer buffer(buffer_size);
        std::uint32_t size = buffer_size;
        EXPECT_EQ(find(7, buffer.data(), &size), FARLO_NOT_CONNECTED);
        expect_log({entering("7"), failed(FARLO_NOT_CONNECTED), exiting});
    });
}

TEST_F(GetVolumeNameForSerialNumber, AcceptsNarrowNameButNotOneOfMoreThan31Characters) {
    at_every_threshold([&] {
        FileSystems file_systems(dll().module());
        file_systems.serials = {{L"V1\\", 7}};
        GuardedBuffer buffer(buffer_size);
        std::uint32_t size = buffer_size;
        EXPECT_EQ(FARLO(GetVolumeNameForSerialNumberA)(handle, "dg1", nullptr, 7,
                                                       buffer.as<wchar_t>(), &size),
                  FARLO_SUCCESS);
        EXPECT_EQ(std::wstring(buffer.as<wchar_t>()), L"V1\\");
        expect_log({entering("7"), exiting});
        start_watching();
        EXPECT_EQ(FARLO(GetVolumeNameForSerialNumberA)(handle, std::string(32, 'n').c_str(),
                                                       nullptr, 7, buffer.as<wchar_t>(), &size),
                  FARLO_INVALID_ARGUMENT);
        expect_calls({});
        expect_log(
            {{0, "GetVolumeNameForSerialNumberA() failed , name string of more than 31 characters "
                 "or invalid, error=(0x80070057)"}});
    });
}

TEST_F(GetVolumeNameForSerialNumber, AcceptsNarrowNameOf31CharactersButNotNull) {
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
                  FARLO_SUCCESS);
        EXPECT_EQ(std::wstring(buffer.as<wchar_t>()), L"V1\\");
        EXPECT_EQ(FARLO(GetVolumeNameForSerialNumberA)(handle, nullptr, nullptr, 7,
                                                       buffer.as<wchar_t>(), &size),
                  FARLO_MISSING_ARGUMENT);
    });
}

TEST_F(GetVolumeNameForSerialNumber, WritesBufferOnlyOnSuccessWhenAllocationsFail) {
    const auto run = [&](auto find_volume) {
        const auto results = statuses_at_every_allocation([&] {
            FileSystems file_systems(dll().module());
            file_systems.serials = {{L"V1\\", 7}};
            GuardedBuffer buffer(buffer_size);
            std::uint32_t size = buffer_size;
            const std::uint32_t status = find_volume(buffer.as<wchar_t>(), &size);
            EXPECT_EQ(status != FARLO_SUCCESS, buffer.untouched());
            EXPECT_EQ(size, buffer_size);
            return status;
        });
        // The search for the group does not find it; the search for the volume fails.
        EXPECT_THAT(results, testing::Each(testing::AnyOf(FARLO_NOT_FOUND, FARLO_EXCEPTION)));
        EXPECT_THAT(results, testing::Contains(FARLO_EXCEPTION));
    };
    run([&](wchar_t* buffer, std::uint32_t* size) {
        return FARLO(GetVolumeNameForSerialNumberW)(handle, L"dg1", nullptr, 7, buffer, size);
    });
    run([&](wchar_t* buffer, std::uint32_t* size) {
        return FARLO(GetVolumeNameForSerialNumberA)(handle, "dg1", nullptr, 7, buffer, size);
    });
}

// Drive C: of this machine, after a volume that does not exist.
TEST_F(GetVolumeNameForSerialNumber, FindsRealVolume) {
    scenario = R"({"disk_groups": [{"name": "dg1", "dgid": "guid-1", "type": 2, "volumes": [
        {"name": "one", "device": "d1", "volume_name": "\\\\?\\Volume{no such volume}"},
        {"name": "two", "device": "d2", "volume_name": "C:"}]}]})";
    DWORD serial = 0;
    ASSERT_TRUE(GetVolumeInformationW(L"C:\\", nullptr, 0, &serial, nullptr, nullptr, nullptr, 0));
    once([&] {
        GuardedBuffer buffer(buffer_size);
        std::uint32_t size = buffer_size;
        EXPECT_EQ(find(serial, buffer.data(), &size), FARLO_SUCCESS);
        EXPECT_EQ(std::wstring(buffer.as<wchar_t>()), L"C:\\");
        EXPECT_EQ(find(serial + 1, buffer.data(), &size), FARLO_VOLUME_NOT_FOUND);
    });
}

}  // namespace
