// GetVolumeInfo.
#include "query/fake_mount_manager.h"
#include "query/record_fixture.h"

namespace {

using namespace records;

class GetVolumeInfo : public RecordTest {
  protected:
    GetVolumeInfo() {
        scenario = R"({"disk_groups": [
            {"name": "dg", "dgid": "guid-1", "volumes": [
                {"name": "v1", "device": "\\Device\\v1"},
                {"name": "v2", "device": "\\Device\\v2", "type": 8, "state": 4, "size": 6}]},
            {"name": "empty", "dgid": "guid-2"},
            {"name": "local", "dgid": "guid-3", "type": 1}]})";
        links = {{L"\\Device\\v2", {L"\\DosDevices\\F:", L"\\??\\Volume{1}"}}};
    }

    std::uint32_t get_record(GuardedBuffer& record, std::uint32_t buffer_size,
                             const wchar_t* device = L"\\DEVICE\\V2", const wchar_t* name = L"dg") {
        MountManager manager(dll().module());
        manager.links = links;
        size = buffer_size;
        const std::uint32_t status =
            FARLO(GetVolumeInfo)(handle, name, nullptr, device, record.as<VolInfo>(), &size);
        EXPECT_EQ(manager.errors, Lines{});
        mount_requests = manager.requests;
        return status;
    }

    Image expected_record() const { return Image(volume_size).volume(0, v2); }

    std::map<std::wstring, std::vector<std::wstring>> links;
    std::uint32_t size = 0;
    Lines mount_requests;
    Volume v2{L"\\Device\\v2", L"", {}, {}, L"", 8, 4, 6};
};

const Expected entering{4, "Entering GetVolumeInfo - dg"};
const Expected exiting{4, "Exiting GetVolumeInfo"};

// Links are searched by the device name in the record, not by the caller's. The bits of the state
// do not matter.
TEST_F(GetVolumeInfo, WritesUsableVolumeWithVolumeGuidName) {
    at_every_threshold([&] {
        GuardedBuffer record(volume_size);
        EXPECT_EQ(get_record(record, volume_size), FARLO_SUCCESS);
        EXPECT_EQ(size, volume_size);
        EXPECT_EQ(record.difference(expected_record().bytes()), "");
        EXPECT_EQ(mount_requests, (Lines{"open", "query \\Device\\v2", "close"}));
        expect_calls({groups("@dg @empty @local"), read_type("dg", group_type::cluster),
                      read("dg", "Name", wstr("dg")),
                      children("dg", object_type::volume, "@v1 @v2"),
                      read("v1", "DEVICE NAME", wstr(R"(\\Device\\v1)")),
                      read("v2", "DEVICE NAME", wstr(R"(\\Device\\v2)")),
                      read("v2", "DEVICE NAME", wstr(R"(\\Device\\v2)")), get_mount_points("v2"),
                      get_drive_letter("v2"), children("v2", object_type::file_system, ""),
                      read("v2", "type", uint32(8)), read("v2", "ztvmstate", uint32(4)),
                      read("v2", "size", uint64(6))});
        expect_log({entering, exiting});
    });
}

TEST_F(GetVolumeInfo, MarksVolumeWithoutVolumeGuidName) {
    links.clear();
    v2.state = 4 | FARLO_VOLUME_UNUSABLE;
    at_every_threshold([&] {
        GuardedBuffer record(volume_size);
        EXPECT_EQ(get_record(record, volume_size), FARLO_SUCCESS);
        EXPECT_EQ(record.difference(expected_record().bytes()), "");
        expect_log({entering, exiting});
    });
}

// When the name cannot be read, the field holds what the buffer held, which has no terminator.
TEST_F(GetVolumeInfo, SearchesLinksByDeviceNameInRecord) {
    once([&] {
        set_faults({failing({.object = "v2", .property = "DEVICE NAME", .call = 2})});
        v2.device.reset();
        v2.state = 4 | FARLO_VOLUME_UNUSABLE;
        GuardedBuffer record(volume_size);
        EXPECT_EQ(get_record(record, volume_size), FARLO_SUCCESS);
        EXPECT_EQ(record.difference(expected_record().bytes()), "");
        ASSERT_EQ(mount_requests.size(), 3u);
        EXPECT_EQ(mount_requests[1].size(), std::string("query ").size() + 259);
    });
}

TEST_F(GetVolumeInfo, ReportsNeededSize) {
    at_every_threshold([&] {
        for (const std::uint32_t too_small : {0u, std::uint32_t{volume_size} - 1}) {
            start_watching();
            GuardedBuffer record(volume_size);
            EXPECT_EQ(get_record(record, too_small, nullptr), FARLO_BUFFER_TOO_SMALL);
            EXPECT_EQ(size, volume_size);
            EXPECT_TRUE(record.untouched());
            expect_log({entering, exiting});
        }
    });
}

TEST_F(GetVolumeInfo, ReturnsVolumeNotFoundForUnknownVolume) {
    at_every_threshold([&] {
        GuardedBuffer record(volume_size);
        EXPECT_EQ(get_record(record, volume_size, L"v2"), FARLO_VOLUME_NOT_FOUND);
        EXPECT_EQ(get_record(record, volume_size + 1, L"v2", L"empty"), FARLO_VOLUME_NOT_FOUND);
        EXPECT_EQ(size, volume_size + 1);
        EXPECT_TRUE(record.untouched());
        expect_log({entering,
                    {0, "GetVolumeInfo failed, error=(0x63)"},
                    exiting,
                    {4, "Entering GetVolumeInfo - empty"},
                    {0, "GetVolumeInfo failed, error=(0x63)"},
                    exiting});
    });
}

TEST_F(GetVolumeInfo, ChecksArgumentsInOrder) {
    at_every_threshold([&] {
        GuardedBuffer record(volume_size);
        auto* const out = record.as<VolInfo>();
        size = volume_size;
        const auto call = FARLO(GetVolumeInfo);
        EXPECT_EQ(call(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), FARLO_NULL_HANDLE);
        EXPECT_EQ(call(handle, L"local", nullptr, L"v", out, &size), FARLO_NOT_FOUND);
        EXPECT_EQ(call(handle, L"dg", nullptr, nullptr, out, &size), FARLO_MISSING_ARGUMENT);
        disconnect();
        EXPECT_EQ(call(handle, nullptr, nullptr, nullptr, nullptr, nullptr),
                  FARLO_MISSING_ARGUMENT);
        EXPECT_EQ(call(handle, L"dg", nullptr, nullptr, nullptr, nullptr), FARLO_MISSING_ARGUMENT);
        EXPECT_EQ(call(handle, L"dg", nullptr, nullptr, out, nullptr), FARLO_MISSING_ARGUMENT);
        EXPECT_EQ(call(handle, L"dg", nullptr, nullptr, out, &size), FARLO_NOT_CONNECTED);
        EXPECT_TRUE(record.untouched());
        expect_log({{4, "Entering GetVolumeInfo - (null)"},
                    {0, "GetVolumeInfo failed , NULL opal_handle, error=(0x64)"},
                    {4, "Entering GetVolumeInfo - local"},
                    {0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x28)"},
                    {0, "GetVolumeInfo::GetDgObjId failed, error=(0x1) "},
                    entering,
                    {0, "GetVolumeInfo failed , pwVolName == NULL, error=(0x13)"},
                    {4, "Entering GetVolumeInfo - (null)"},
                    {0, "GetVolumeInfo failed , pDgGuid == NULL && pwDgName == NULL, error=(0x13)"},
                    entering,
                    {0, "GetVolumeInfo failed , pbVolInfo == NULL, error=(0x13)"},
                    entering,
                    {0, "GetVolumeInfo failed , pSize == NULL, error=(0x13)"},
                    entering,
                    {0, "GetVolumeInfo failed , opal_handle not connected, error=(0x14)"}});
    });
}

TEST_F(GetVolumeInfo, FailsWhenGroupCannotBeRead) {
    at_every_threshold([&] {
        GuardedBuffer record(volume_size);
        for (const FaultRule& calls :
             {listing(object_type::volume), reading("v1", "DEVICE NAME")}) {
            set_faults({failing(calls)});
            start_watching();
            EXPECT_EQ(get_record(record, volume_size), FARLO_EXCEPTION);
            EXPECT_TRUE(record.untouched());
            expect_log({entering, caught, {0, "GetVolumeInfo failed, error=(0x12)"}, exiting});
        }
        EXPECT_EQ(size, volume_size);
    });
}

// Without the drop, the result would be a record, a size that is too small, an unknown volume, or
// an exception.
TEST_F(GetVolumeInfo, ReturnsNotConnectedWhenConnectionDrops) {
    const auto with = [this](std::uint32_t buffer_size, const wchar_t* device) {
        return [this, buffer_size, device](GuardedBuffer& record) {
            return get_record(record, buffer_size, device);
        };
    };
    const std::vector<Drop> drops = {
        {reading("v2", "size"), with(volume_size, L"\\Device\\v2"), true, {}},
        {reading("dg", "Name"), with(volume_size - 1, L"\\Device\\v2"), false, {}},
        {reading("v2", "DEVICE NAME"), with(volume_size, L"\\Device\\v3"), false, {}},
        {listing(object_type::volume), with(volume_size, L"\\Device\\v2"), false, {caught}}};
    expect_drops_reported(drops, expected_record(), size, volume_size, entering,
                          {{0, "GetVolumeInfo failed, error=(0x14)"}, exiting});
}

// The connection is checked again only where the call reaches its exit line.
TEST_F(GetVolumeInfo, ReturnsNotFoundWhenConnectionDropsDuringSearch) {
    at_every_threshold([&] {
        set_faults({dropping(reading("dg", "LDM DG TYPE"))});
        GuardedBuffer record(volume_size);
        EXPECT_EQ(get_record(record, 0), FARLO_NOT_FOUND);
        EXPECT_EQ(size, 0u);
        EXPECT_TRUE(record.untouched());
        expect_log({entering,
                    {0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x1)"},
                    {0, "GetVolumeInfo::GetDgObjId failed, error=(0x1) "}});
    });
}

TEST_F(GetVolumeInfo, SurvivesEveryAllocationFailure) {
    // Without links the result is the same when there is no memory to query them.
    links.clear();
    v2.state = 4 | FARLO_VOLUME_UNUSABLE;
    expect_survives_allocation_failures(
        expected_record(), [&](GuardedBuffer& record) { return get_record(record, volume_size); });
    EXPECT_EQ(size, volume_size);
}

TEST_F(GetVolumeInfo, MarksVolumeWhenLinksCannotBeQueried) {
    v2.state = 4 | FARLO_VOLUME_UNUSABLE;
    at_every_threshold([&] {
        for (const bool open_fails : {false, true}) {
            MountManager manager(dll().module());
            manager.links = links;
            manager.open_fails = open_fails;
            manager.query_fails = true;
            start_watching();
            GuardedBuffer record(volume_size);
            size = volume_size;
            EXPECT_EQ(FARLO(GetVolumeInfo)(handle, L"dg", nullptr, L"\\Device\\v2",
                                           record.as<VolInfo>(), &size),
                      FARLO_SUCCESS);
            EXPECT_EQ(record.difference(expected_record().bytes()), "");
            EXPECT_EQ(manager.requests,
                      open_fails ? Lines{"open"} : (Lines{"open", "query \\Device\\v2", "close"}));
            expect_log({entering, exiting});
        }
    });
}

// A link is a volume GUID name when it contains exactly that string.
TEST_F(GetVolumeInfo, MarksVolumeWhoseLinkHasNoVolumeGuidName) {
    const std::pair<const wchar_t*, bool> names[] = {{L"\\??\\Volume{", true},
                                                     {L"x\\??\\Volume{1}y", true},
                                                     {L"\\??\\Volume", false},
                                                     {L"\\??\\volume{1}", false},
                                                     {L"\\\\?\\Volume{1}", false}};
    once([&] {
        for (const auto& [name, usable] : names) {
            links[L"\\Device\\v2"] = {name};
            v2.state = usable ? 4 : 4 | FARLO_VOLUME_UNUSABLE;
            GuardedBuffer record(volume_size);
            EXPECT_EQ(get_record(record, volume_size), FARLO_SUCCESS);
            EXPECT_EQ(record.difference(expected_record().bytes()), "")
                << testing::PrintToString(std::wstring(name));
        }
    });
}

// group_type::cluster_shared counts as a cluster group by GUID, but not by name.
TEST_F(GetVolumeInfo, FindsClusterSharedGroupByGuidOnly) {
    scenario.replace(scenario.find(R"("guid-1",)"), 9, R"("guid-1", "type": 8,)");
    v2.state = 4 | FARLO_VOLUME_UNUSABLE;
    at_every_threshold([&] {
        GuardedBuffer record(volume_size);
        EXPECT_EQ(get_record(record, volume_size), FARLO_NOT_FOUND);
        EXPECT_TRUE(record.untouched());
        EXPECT_EQ(FARLO(GetVolumeInfo)(handle, nullptr, "guid-1", L"\\Device\\v2",
                                       record.as<VolInfo>(), &size),
                  FARLO_SUCCESS);
        EXPECT_EQ(record.difference(expected_record().bytes()), "");
        expect_log({entering,
                    {0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x28)"},
                    {0, "GetVolumeInfo::GetDgObjId failed, error=(0x1) "},
                    {4, "Entering GetVolumeInfo - (null)"},
                    exiting});
    });
}

TEST_F(GetVolumeInfo, TakesFirstVolumeOfThatName) {
    scenario = R"({"disk_groups": [{"name": "dg", "dgid": "guid-1", "volumes": [
        {"name": "v1", "device": "other", "type": 7},
        {"name": "v2", "device": "TWIN", "type": 1, "state": 2, "size": 3},
        {"name": "v3", "device": "twin", "type": 4, "state": 5, "size": 6}]}]})";
    once([&] {
        GuardedBuffer record(volume_size);
        EXPECT_EQ(get_record(record, volume_size, L"twin"), FARLO_SUCCESS);
        Image wanted(volume_size);
        wanted.volume(0, {L"TWIN", L"", {}, {}, L"", 1, 2 | FARLO_VOLUME_UNUSABLE, 3});
        EXPECT_EQ(record.difference(wanted.bytes()), "");
        // Links are searched by the stored name.
        EXPECT_EQ(mount_requests, (Lines{"open", "query TWIN", "close"}));
    });
}

}  // namespace
