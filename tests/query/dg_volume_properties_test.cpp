// GetDgVolumeProperties.
#include "query/record_fixture.h"

namespace {

using namespace records;

class GetDgVolumeProperties : public RecordTest {
  protected:
    GetDgVolumeProperties() {
        scenario = R"({"disk_groups": [
            {"name": "dg", "dgid": "guid-1", "volumes": [
                {"name": "v1", "device": "\\Device\\v1"},
                {"name": "v2", "device": "\\Device\\v2", "type": 8, "state": 4294967295,
                 "size": 6, "file_system": {"type": "FAT", "label": "Box"}}]},
            {"name": "empty", "dgid": "guid-2"},
            {"name": "local", "dgid": "guid-3", "type": 1}]})";
        mounts["v2"] = {L"E", {}, {}};
    }

    std::uint32_t get_record(GuardedBuffer& record, std::uint32_t buffer_size,
                             const wchar_t* device = L"\\DEVICE\\V2", const char* guid = "guid-1") {
        size = buffer_size;
        return FARLO(GetDgVolumePropertiesW)(handle, L"dg", guid, device, record.as<VolInfo>(),
                                             &size);
    }

    Image expected_record() const { return Image(volume_size).volume(0, v2); }

    std::uint32_t size = 0;
    Volume v2{L"\\Device\\v2", L"E:", L"FAT", L"Box", L"", 8, -1, 6};
};

const Expected entering{4, "Entering GetDgVolumePropertiesW - dg"};
const Expected exiting{4, "Exiting GetDgVolumePropertiesW"};
const Lines find_group = {groups("@dg @empty @local"), read_type("dg", group_type::cluster),
                          read("dg", "dgid", str("guid-1"))};

TEST_F(GetDgVolumeProperties, FindsVolumeInAnyLetterCase) {
    at_every_threshold([&] {
        GuardedBuffer record(volume_size);
        EXPECT_EQ(get_record(record, volume_size), FARLO_SUCCESS);
        EXPECT_EQ(size, volume_size);
        EXPECT_EQ(record.difference(expected_record().bytes()), "");
        expect_calls(find_group + Lines{children("dg", object_type::volume, "@v1 @v2"),
                                        read("v1", "DEVICE NAME", wstr(R"(\\Device\\v1)")),
                                        read("v2", "DEVICE NAME", wstr(R"(\\Device\\v2)")),
                                        read("v2", "DEVICE NAME", wstr(R"(\\Device\\v2)")),
                                        get_mount_points("v2"), get_drive_letter("v2"),
                                        children("v2", object_type::file_system, "@v2 file system"),
                                        read("v2 file system", "type of file system", wstr("FAT")),
                                        read("v2 file system", "label", wstr("Box")),
                                        read("v2", "type", uint32(8)),
                                        read("v2", "ztvmstate", uint32(0xFFFFFFFF)),
                                        read("v2", "size", uint64(6))});
        expect_log({entering, {6, "GetDgVolumePropertiesW(), Total volume objects = 2"}, exiting});
    });
}

// The size is checked before the buffer and, unlike for other records, the failure is logged.
TEST_F(GetDgVolumeProperties, ReportsNeededSize) {
    at_every_threshold([&] {
        for (const std::uint32_t too_small : {0u, std::uint32_t{volume_size} - 1}) {
            start_watching();
            size = too_small;
            EXPECT_EQ(
                FARLO(GetDgVolumePropertiesW)(handle, L"dg", "guid-1", nullptr, nullptr, &size),
                FARLO_BUFFER_TOO_SMALL);
            EXPECT_EQ(size, volume_size);
            expect_calls(find_group);
            expect_log(
                {entering, {0, "GetDgVolumePropertiesW(): not enough buffer size, error=(0x61) "}});
        }
    });
}

TEST_F(GetDgVolumeProperties, ChecksArguments) {
    at_every_threshold([&] {
        GuardedBuffer record(volume_size);
        auto* const out = record.as<VolInfo>();
        size = volume_size;
        const auto call = [&](opal_handle used, VolInfo* to, std::uint32_t* to_size,
                              const wchar_t* device) {
            return FARLO(GetDgVolumePropertiesW)(used, L"dg", nullptr, device, to, to_size);
        };
        EXPECT_EQ(call(nullptr, nullptr, nullptr, nullptr), FARLO_NULL_HANDLE);
        EXPECT_EQ(call(handle, out, nullptr, L"v"), FARLO_MISSING_ARGUMENT);
        EXPECT_EQ(call(handle, nullptr, &size, nullptr), FARLO_MISSING_ARGUMENT);
        EXPECT_EQ(call(handle, out, &size, nullptr), FARLO_MISSING_ARGUMENT);
        EXPECT_EQ(get_record(record, 0, L"v", "guid-3"), FARLO_NOT_FOUND);
        disconnect();
        EXPECT_EQ(call(handle, nullptr, nullptr, nullptr), FARLO_NOT_CONNECTED);
        EXPECT_TRUE(record.untouched());
        expect_log(
            {entering,
             {0, "GetDgVolumePropertiesW() failed , NULL opal_handle, error=(0x64)"},
             entering,
             {0, "GetDgVolumePropertiesW() failed, pInfoSize==NULL, error=(0x13) "},
             entering,
             {0, "GetDgVolumePropertiesW() failed, pDgInfo==NULL, error=(0x13) "},
             entering,
             {0, "GetDgVolumePropertiesW() failed, pwVolName==NULL, error=(0x13) "},
             entering,
             {0, "GetDgObjIdByGuid() failed , DG_TYPENAME not found in OPAL, error=(0x28)"},
             {0, "GetDgVolumePropertiesW():GetDgObjId() failed, error=(0x1) "},
             entering,
             {0, "GetDgVolumePropertiesW() failed , opal_handle not connected, error=(0x14)"}});
    });
}

TEST_F(GetDgVolumeProperties, ReturnsVolumeNotFoundForUnknownVolume) {
    at_every_threshold([&] {
        GuardedBuffer record(volume_size);
        EXPECT_EQ(get_record(record, volume_size, L"\\Device\\v"), FARLO_VOLUME_NOT_FOUND);
        EXPECT_EQ(get_record(record, volume_size + 1, L"\\Device\\v1", "guid-2"),
                  FARLO_VOLUME_NOT_FOUND);
        EXPECT_EQ(size, volume_size + 1);
        EXPECT_TRUE(record.untouched());
        expect_log({entering,
                    {6, "GetDgVolumePropertiesW(), Total volume objects = 2"},
                    {0, "GetDgVolumePropertiesW() failed, error=(0x63)"},
                    exiting,
                    entering,
                    {6, "GetDgVolumePropertiesW(), Total volume objects = 0"},
                    {0, "GetDgVolumePropertiesW() failed, error=(0x63)"},
                    exiting});
    });
}

TEST_F(GetDgVolumeProperties, FailsWhenGroupCannotBeRead) {
    at_every_threshold([&] {
        GuardedBuffer record(volume_size);
        set_faults({failing({.function = "ObGetChildObjects"})});
        EXPECT_EQ(get_record(record, volume_size), FARLO_EXCEPTION);
        expect_log(
            {entering, caught, {0, "GetDgVolumePropertiesW() failed, error=(0x12)"}, exiting});
        set_faults({failing({.function = "ObGetProperty", .object = "v1"})});
        start_watching();
        EXPECT_EQ(get_record(record, volume_size), FARLO_EXCEPTION);
        EXPECT_TRUE(record.untouched());
        expect_log({entering,
                    {6, "GetDgVolumePropertiesW(), Total volume objects = 2"},
                    caught,
                    {0, "GetDgVolumePropertiesW() failed, error=(0x12)"},
                    exiting});
        EXPECT_EQ(size, volume_size);
    });
}

// Without the drop, the result would be a record, an unknown volume, or an exception.
TEST_F(GetDgVolumeProperties, ReturnsNotConnectedWhenConnectionDrops) {
    const Expected total{6, "GetDgVolumePropertiesW(), Total volume objects = 2"};
    const auto of = [this](const wchar_t* device) {
        return [this, device](GuardedBuffer& record) {
            return get_record(record, volume_size, device);
        };
    };
    const std::vector<Drop> drops = {
        {reading("v2", "size"), of(L"\\Device\\v2"), true, {total}},
        {reading("v2", "DEVICE NAME"), of(L"\\Device\\v3"), false, {total}},
        {listing(object_type::volume), of(L"\\Device\\v2"), false, {total, caught}}};
    expect_drops_reported(drops, expected_record(), size, volume_size, entering,
                          {{0, "GetDgVolumePropertiesW() failed, error=(0x14)"}, exiting});
}

// The connection is checked again only where the call reaches its exit line. Unlike for other
// records, it does not when the size is too small.
TEST_F(GetDgVolumeProperties, ReturnsEarlierFailureWhenConnectionDrops) {
    at_every_threshold([&] {
        set_faults({dropping(reading("dg", "dgid"))});
        GuardedBuffer record(volume_size);
        EXPECT_EQ(get_record(record, volume_size - 1), FARLO_BUFFER_TOO_SMALL);
        EXPECT_EQ(size, volume_size);
        EXPECT_TRUE(record.untouched());
        expect_log(
            {entering, {0, "GetDgVolumePropertiesW(): not enough buffer size, error=(0x61) "}});
    });
    at_every_threshold([&] {
        set_faults({dropping(reading("dg", "dgid"))});
        size = volume_size;
        EXPECT_EQ(FARLO(GetDgVolumePropertiesW)(handle, L"dg", "guid-1", L"v", nullptr, &size),
                  FARLO_MISSING_ARGUMENT);
        EXPECT_EQ(size, volume_size);
        expect_log(
            {entering, {0, "GetDgVolumePropertiesW() failed, pDgInfo==NULL, error=(0x13) "}});
    });
    at_every_threshold([&] {
        set_faults({dropping(reading("dg", "LDM DG TYPE"))});
        GuardedBuffer record(volume_size);
        EXPECT_EQ(get_record(record, 0), FARLO_NOT_FOUND);
        EXPECT_EQ(size, 0u);
        EXPECT_TRUE(record.untouched());
        expect_log({entering,
                    {0, "GetDgObjIdByGuid() failed , DG_TYPENAME not found in OPAL, error=(0x1)"},
                    {0, "GetDgVolumePropertiesW():GetDgObjId() failed, error=(0x1) "}});
    });
}

TEST_F(GetDgVolumeProperties, SurvivesEveryAllocationFailure) {
    mounts.clear();
    v2.letter = L"";
    expect_survives_allocation_failures(
        expected_record(), [&](GuardedBuffer& record) { return get_record(record, volume_size); });
    EXPECT_EQ(size, volume_size);
}

// group_type::cluster_shared counts as a cluster group by GUID, but not by name.
TEST_F(GetDgVolumeProperties, FindsClusterSharedGroupByGuidOnly) {
    scenario.replace(scenario.find(R"("guid-1",)"), 9, R"("guid-1", "type": 8,)");
    at_every_threshold([&] {
        GuardedBuffer record(volume_size);
        EXPECT_EQ(get_record(record, volume_size), FARLO_SUCCESS);
        EXPECT_EQ(record.difference(expected_record().bytes()), "");
        GuardedBuffer by_name(volume_size);
        EXPECT_EQ(get_record(by_name, volume_size, L"\\Device\\v2", nullptr), FARLO_NOT_FOUND);
        EXPECT_TRUE(by_name.untouched());
        expect_log({entering,
                    {6, "GetDgVolumePropertiesW(), Total volume objects = 2"},
                    exiting,
                    entering,
                    {0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x28)"},
                    {0, "GetDgVolumePropertiesW():GetDgObjId() failed, error=(0x1) "}});
    });
}

TEST_F(GetDgVolumeProperties, TakesFirstVolumeOfThatName) {
    scenario = R"({"disk_groups": [{"name": "dg", "dgid": "guid-1", "volumes": [
        {"name": "v1", "device": "other", "type": 7},
        {"name": "v2", "device": "TWIN", "type": 1, "state": 2, "size": 3},
        {"name": "v3", "device": "twin", "type": 4, "state": 5, "size": 6}]}]})";
    mounts.clear();
    once([&] {
        GuardedBuffer record(volume_size);
        EXPECT_EQ(get_record(record, volume_size, L"twin"), FARLO_SUCCESS);
        Image wanted(volume_size);
        wanted.volume(0, {L"TWIN", L"", {}, {}, L"", 1, 2, 3});
        EXPECT_EQ(record.difference(wanted.bytes()), "");
        // The later volume is not read.
        EXPECT_THAT(calls(),
                    testing::Not(testing::Contains(testing::StartsWith("ObGetProperty @v3"))));
    });
}

TEST_F(GetDgVolumeProperties, AcceptsNarrowNamesOfUpTo31Characters) {
    once([&] {
        GuardedBuffer record(volume_size);
        size = volume_size;
        const auto call = [&](const char* name, const char* device) {
            return FARLO(GetDgVolumePropertiesA)(handle, name, nullptr, device,
                                                 record.as<VolInfo>(), &size);
        };
        EXPECT_EQ(call("dg", "\\Device\\v2"), FARLO_SUCCESS);
        EXPECT_EQ(call("dg", std::string(31, 'n').c_str()), FARLO_VOLUME_NOT_FOUND);
        start_watching();
        EXPECT_EQ(call("dg", std::string(32, 'n').c_str()), FARLO_INVALID_ARGUMENT);
        EXPECT_EQ(call(std::string(32, 'n').c_str(), "\\Device\\v2"), FARLO_INVALID_ARGUMENT);
        expect_log({{0, "GetDgVolumePropertiesA() failed , device string of more than 31 "
                        "characters or invalid, error=(0x80070057)"},
                    {0, "GetDgVolumePropertiesA() failed , name string of more than 31 "
                        "characters or invalid, error=(0x80070057)"}});
    });
}

}  // namespace
