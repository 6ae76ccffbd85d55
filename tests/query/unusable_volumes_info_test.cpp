// GetUnusableVolumesInfo.
#include "query/fake_mount_manager.h"
#include "query/record_fixture.h"

namespace {

using namespace records;

class GetUnusableVolumesInfo : public RecordTest {
  protected:
    GetUnusableVolumesInfo() {
        scenario = R"({"disk_groups": [
            {"name": "dg", "dgid": "guid-1", "volumes": [
                {"name": "dco", "device": "\\Device\\dco", "data_change_object": true, "state": 4},
                {"name": "good", "device": "\\Device\\good", "state": 1},
                {"name": "bad", "device": "\\Device\\bad", "type": 5, "state": 260, "size": 7},
                {"name": "bare", "device": "\\Device\\bare", "type": 6, "state": 2147483648,
                 "size": 8}]},
            {"name": "empty", "dgid": "guid-2"},
            {"name": "fine", "dgid": "guid-3", "volumes": [
                {"name": "dco2", "device": "\\Device\\dco2", "data_change_object": true}]},
            {"name": "local", "dgid": "guid-4", "type": 1}]})";
        mounts["bad"] = {L"E", {}, {}};
        links = {{L"\\Device\\good", {L"\\DosDevices\\F:", L"\\??\\Volume{1}"}},
                 {L"\\Device\\bad", {L"\\??\\Volume{2}"}},
                 {L"\\Device\\bare", {L"\\DosDevices\\G:"}}};
    }

    std::uint32_t get_records(GuardedBuffer& records, std::uint32_t capacity,
                              const wchar_t* name = L"dg", const char* guid = nullptr) {
        MountManager manager(dll().module());
        manager.links = links;
        count = capacity;
        const std::uint32_t status =
            FARLO(GetUnusableVolumesInfo)(handle, name, guid, records.as<VolInfo>(), &count);
        EXPECT_EQ(manager.errors, Lines{});
        mount_requests = manager.requests;
        return status;
    }

    Image expected_record() const {
        return Image(2 * volume_size).volume(0, bad).volume(volume_size, bare);
    }

    std::map<std::wstring, std::vector<std::wstring>> links;
    std::uint32_t count = 0;
    Lines mount_requests;
    Volume bad{L"\\Device\\bad", L"E:", {}, {}, L"", 5, 260 | FARLO_VOLUME_UNUSABLE, 7};
    static constexpr std::int64_t bare_state = std::int64_t{-0x80000000LL} | FARLO_VOLUME_UNUSABLE;
    Volume bare{L"\\Device\\bare", L"", {}, {}, L"", 6, bare_state, 8};
};

const Expected entering{4, "Entering GetUnusableVolumesInfo - dg"};
const Expected exiting{4, "Exiting GetUnusableVolumesInfo"};
const std::string all_groups = groups("@dg @empty @fine @local");
const Lines check_volumes = {all_groups,
                             read_type("dg", group_type::cluster),
                             read("dg", "Name", wstr("dg")),
                             children("dg", object_type::volume, "@dco @good @bad @bare"),
                             read("dco", "isdco", boolean(true)),
                             read("good", "isdco", boolean(false)),
                             read("good", "ztvmstate", uint32(1)),
                             read("good", "DEVICE NAME", wstr(R"(\\Device\\good)")),
                             read("bad", "isdco", boolean(false)),
                             read("bad", "ztvmstate", uint32(260)),
                             read("bare", "isdco", boolean(false)),
                             read("bare", "ztvmstate", uint32(0x80000000)),
                             read("bare", "DEVICE NAME", wstr(R"(\\Device\\bare)"))};

// What is read for the record of a volume.
Lines read_record(const std::string& name, std::uint32_t type, std::uint32_t state,
                  const std::string& size) {
    return {read(name, "DEVICE NAME", wstr(R"(\\Device\\)" + name)),
            get_mount_points(name),
            get_drive_letter(name),
            children(name, object_type::file_system, ""),
            read(name, "type", uint32(type)),
            read(name, "ztvmstate", uint32(state)),
            read(name, "size", "UINT64 " + size)};
}

TEST_F(GetUnusableVolumesInfo, WritesAndMarksUnusableVolumes) {
    at_every_threshold([&] {
        GuardedBuffer records(2 * volume_size);
        EXPECT_EQ(get_records(records, 2), FARLO_SUCCESS);
        EXPECT_EQ(count, 2u);
        EXPECT_EQ(records.difference(expected_record().bytes()), "");
        EXPECT_EQ(mount_requests, (Lines{"open", "query \\Device\\good", "close", "open",
                                         "query \\Device\\bare", "close"}));
        expect_calls(check_volumes + read_record("bad", 5, 260, "7") +
                     read_record("bare", 6, 0x80000000, "8"));
        expect_log({entering, {0, "  Vol.Count: 4 \t Unusable Vol.Count: 2 \n"}, exiting});
    });
}

// A volume without a device name has no link: it is unusable, and the mount-point manager is not
// opened.
TEST_F(GetUnusableVolumesInfo, IncludesVolumeWithoutDeviceName) {
    scenario = R"({"disk_groups": [{"name": "dg", "dgid": "guid-1", "volumes": [
        {"name": "nameless", "device": "", "state": 1}]}]})";
    links[L""] = {L"\\??\\Volume{1}"};
    mounts.clear();
    at_every_threshold([&] {
        GuardedBuffer records(volume_size);
        EXPECT_EQ(get_records(records, 1), FARLO_SUCCESS);
        EXPECT_EQ(count, 1u);
        EXPECT_EQ(mount_requests, Lines{});
        expect_log({entering, {0, "  Vol.Count: 1 \t Unusable Vol.Count: 1 \n"}, exiting});
    });
}

// A buffer for more records than needed is filled in part, and the count is updated.
TEST_F(GetUnusableVolumesInfo, CountsRecordsInsteadOfBytes) {
    at_every_threshold([&] {
        GuardedBuffer records(3 * volume_size);
        for (const std::uint32_t too_few : {0u, 1u}) {
            start_watching();
            EXPECT_EQ(get_records(records, too_few), FARLO_BUFFER_TOO_SMALL);
            EXPECT_EQ(count, 2u);
            EXPECT_TRUE(records.untouched());
            expect_calls(check_volumes);
            expect_log({entering, exiting});
        }
        EXPECT_EQ(get_records(records, 3), FARLO_SUCCESS);
        EXPECT_EQ(count, 2u);
        const auto bytes = records.bytes();
        for (std::size_t i = 2 * volume_size; i < bytes.size(); ++i) {
            ASSERT_EQ(bytes[i], GuardedBuffer::canary);
        }
    });
}

TEST_F(GetUnusableVolumesInfo, TreatsExactlyFourBitsOfStateAsUnusable) {
    for (int bit = 0; bit < 32; ++bit) {
        const std::uint32_t state = 1u << bit;
        const bool unusable = state == 0x4 || state == 0x10 || state == 0x20 || state == 0x100;
        scenario = R"({"disk_groups": [{"name": "dg", "dgid": "guid-1", "volumes": [
            {"name": "good", "device": "\\Device\\good", "state": )" +
                   std::to_string(state) + "}]}]}";
        once([&] {
            GuardedBuffer records(volume_size);
            EXPECT_EQ(get_records(records, 0), unusable ? FARLO_BUFFER_TOO_SMALL : FARLO_SUCCESS)
                << state;
            EXPECT_EQ(count, unusable ? 1u : 0u);
            EXPECT_EQ(mount_requests.size(), unusable ? 0u : 3u);
        });
    }
}

TEST_F(GetUnusableVolumesInfo, IncludesVolumesWhoseLinksCannotBeQueried) {
    once([&] {
        for (const bool open_fails : {false, true}) {
            MountManager manager(dll().module());
            manager.open_fails = open_fails;
            manager.query_fails = true;
            GuardedBuffer records(volume_size);
            count = 0;
            EXPECT_EQ(FARLO(GetUnusableVolumesInfo)(handle, L"dg", nullptr, records.as<VolInfo>(),
                                                    &count),
                      FARLO_BUFFER_TOO_SMALL);
            EXPECT_EQ(count, 3u);
        }
    });
}

TEST_F(GetUnusableVolumesInfo, SucceedsWithoutUnusableVolumes) {
    at_every_threshold([&] {
        GuardedBuffer records(volume_size);
        EXPECT_EQ(get_records(records, 1, L"fine"), FARLO_SUCCESS);
        EXPECT_EQ(count, 0u);
        EXPECT_EQ(get_records(records, 1, nullptr, "guid-3"), FARLO_SUCCESS);
        EXPECT_EQ(count, 0u);
        EXPECT_TRUE(records.untouched());
        EXPECT_EQ(mount_requests, Lines{});
        expect_log({{4, "Entering GetUnusableVolumesInfo - fine"},
                    {0, "GetUnusableVolumesInfo::No Unusable Volume present in DG: fine"},
                    exiting,
                    {4, "Entering GetUnusableVolumesInfo - (null)"},
                    {0, "GetUnusableVolumesInfo::No Unusable Volume present in DG: DG-GUID"},
                    exiting});
    });
}

TEST_F(GetUnusableVolumesInfo, ReturnsVolumeNotFoundForGroupWithoutVolumes) {
    at_every_threshold([&] {
        GuardedBuffer records(volume_size);
        EXPECT_EQ(get_records(records, 1, L"empty"), FARLO_VOLUME_NOT_FOUND);
        EXPECT_EQ(get_records(records, 1, nullptr, "guid-2"), FARLO_VOLUME_NOT_FOUND);
        EXPECT_EQ(count, 1u);
        expect_log({{4, "Entering GetUnusableVolumesInfo - empty"},
                    {0, "GetUnusableVolumesInfo::No Volume present in DG: empty, error=(0x63)"},
                    exiting,
                    {4, "Entering GetUnusableVolumesInfo - (null)"},
                    {0, "GetUnusableVolumesInfo::No Volume present in DG: DG-GUID, error=(0x63)"},
                    exiting});
    });
}

TEST_F(GetUnusableVolumesInfo, ReturnsStatusOfFailedSearch) {
    at_every_threshold([&] {
        GuardedBuffer records(volume_size);
        EXPECT_EQ(get_records(records, 1, L"local"), FARLO_NOT_FOUND);
        EXPECT_EQ(get_records(records, 1, nullptr, "nowhere"), FARLO_NOT_FOUND);
        EXPECT_EQ(get_records(records, 1, L"", nullptr), FARLO_MISSING_ARGUMENT);
        EXPECT_EQ(count, 1u);
        expect_log({{4, "Entering GetUnusableVolumesInfo - local"},
                    {0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x28)"},
                    {0, "GetUnusableVolumesInfo::GetDgObjId failed for DG: local,  error=(0x1)"},
                    {4, "Entering GetUnusableVolumesInfo - (null)"},
                    {0, "GetDgObjIdByGuid() failed , DG_TYPENAME not found in OPAL, error=(0x1)"},
                    {0, "GetUnusableVolumesInfo::GetDgObjId failed for DG: DG-GUID,  error=(0x1)"},
                    {4, "Entering GetUnusableVolumesInfo - "},
                    {0, "GetUnusableVolumesInfo::GetDgObjId failed for DG: ,  error=(0x13)"}});
    });
}

TEST_F(GetUnusableVolumesInfo, ChecksArgumentsInOrder) {
    at_every_threshold([&] {
        GuardedBuffer records(volume_size);
        auto* const out = records.as<VolInfo>();
        const auto call = FARLO(GetUnusableVolumesInfo);
        EXPECT_EQ(call(nullptr, nullptr, nullptr, nullptr, nullptr), FARLO_NULL_HANDLE);
        disconnect();
        EXPECT_EQ(call(handle, nullptr, nullptr, nullptr, nullptr), FARLO_MISSING_ARGUMENT);
        EXPECT_EQ(call(handle, L"dg", nullptr, nullptr, nullptr), FARLO_MISSING_ARGUMENT);
        EXPECT_EQ(call(handle, nullptr, "", out, nullptr), FARLO_MISSING_ARGUMENT);
        EXPECT_EQ(call(handle, L"dg", nullptr, out, &count), FARLO_NOT_CONNECTED);
        EXPECT_EQ(count, 0u);
        expect_calls({});
        const Expected by_guid{4, "Entering GetUnusableVolumesInfo - (null)"};
        expect_log(
            {by_guid,
             {0, "GetUnusableVolumesInfo failed , NULL opal_handle, error=(0x64)"},
             by_guid,
             {0, "GetUnusableVolumesInfo failed , pDgGuid == NULL && pwDgName == NULL, "
                 "error=(0x13)"},
             entering,
             {0, "GetUnusableVolumesInfo failed , pbVolumesInfo == NULL, error=(0x13)"},
             by_guid,
             {0, "GetUnusableVolumesInfo failed , unusableVolCount == NULL, error=(0x13)"},
             entering,
             {0, "GetUnusableVolumesInfo failed , opal_handle not connected, error=(0x14)"}});
    });
}

// Only the exception is logged.
TEST_F(GetUnusableVolumesInfo, FailsWhenGroupCannotBeRead) {
    at_every_threshold([&] {
        GuardedBuffer records(2 * volume_size);
        for (const FaultRule& calls :
             {listing(object_type::volume), reading("bare", "isdco"),
              FaultRule{.object = "good", .property = "ztvmstate", .call = 1, .times = 1},
              reading("bare", "DEVICE NAME")}) {
            SCOPED_TRACE(fault_plan({calls}));
            set_faults({failing(calls)});
            start_watching();
            EXPECT_EQ(get_records(records, 2), FARLO_EXCEPTION);
            EXPECT_EQ(count, 2u);
            EXPECT_TRUE(records.untouched());
            expect_log({entering, caught, exiting});
        }
    });
}

// That status is not logged.
TEST_F(GetUnusableVolumesInfo, ReturnsNotConnectedWhenConnectionDrops) {
    struct Drop {
        FaultRule during;
        const wchar_t* name;
        std::uint32_t capacity;
        std::uint32_t stored;  // as the count
        bool written;
        Log log;
    };
    const Drop drops[] = {
        {reading("bare", "size"),
         L"dg",
         3,
         2,
         true,
         {{0, "  Vol.Count: 4 \t Unusable Vol.Count: 2 \n"}}},
        {reading("bare", "DEVICE NAME"), L"dg", 1, 2, false, {}},
        {reading("dco2", "isdco"),
         L"fine",
         3,
         0,
         false,
         {{0, "GetUnusableVolumesInfo::No Unusable Volume present in DG: fine"}}},
        {listing(object_type::volume),
         L"empty",
         3,
         3,
         false,
         {{0, "GetUnusableVolumesInfo::No Volume present in DG: empty, error=(0x63)"}}},
        {listing(object_type::volume), L"dg", 3, 3, false, {caught}}};
    for (const Drop& drop : drops) {
        SCOPED_TRACE(fault_plan({drop.during}));
        at_every_threshold([&] {
            set_faults({dropping(drop.during)});
            GuardedBuffer records(2 * volume_size);
            EXPECT_EQ(get_records(records, drop.capacity, drop.name), FARLO_NOT_CONNECTED);
            EXPECT_EQ(count, drop.stored);
            EXPECT_EQ(records.difference(
                          (drop.written ? expected_record() : Image(2 * volume_size)).bytes()),
                      "");
            const std::wstring name = drop.name;
            expect_log(Log{{4, "Entering GetUnusableVolumesInfo - " +
                                   std::string(name.begin(), name.end())}} +
                       drop.log + Log{exiting});
        });
    }
}

// The connection is checked again only where the call reaches its exit line.
TEST_F(GetUnusableVolumesInfo, ReturnsNotFoundWhenConnectionDropsDuringSearch) {
    at_every_threshold([&] {
        set_faults({dropping(reading("dg", "LDM DG TYPE"))});
        GuardedBuffer records(2 * volume_size);
        EXPECT_EQ(get_records(records, 2), FARLO_NOT_FOUND);
        EXPECT_EQ(count, 2u);
        EXPECT_TRUE(records.untouched());
        expect_log({entering,
                    {0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x1)"},
                    {0, "GetUnusableVolumesInfo::GetDgObjId failed for DG: dg,  error=(0x1)"}});
    });
}

// The volume "good" is left out: without memory to query its links it counts as unusable, as the
// next test shows.
TEST_F(GetUnusableVolumesInfo, SurvivesEveryAllocationFailure) {
    mounts.clear();
    bad.letter = L"";
    links.clear();
    scenario.erase(
        scenario.find(R"({"name": "good")"),
        std::string(R"({"name": "good", "device": "\\Device\\good", "state": 1},)").size());
    expect_survives_allocation_failures(
        expected_record(), [&](GuardedBuffer& records) { return get_records(records, 2); });
    EXPECT_EQ(count, 2u);
}
TEST_F(GetUnusableVolumesInfo, IncludesVolumesWhenThereIsNoMemoryToQueryLinks) {
    std::vector<std::uint32_t> results;
    at_every_allocation([&] {
        GuardedBuffer records(2 * volume_size);
        results.push_back(get_records(records, 2));
        EXPECT_EQ(count, results.back() == FARLO_BUFFER_TOO_SMALL ? 3u : 2u);
        EXPECT_EQ(records.untouched(), results.back() != FARLO_SUCCESS);
    });
    EXPECT_THAT(results, testing::Each(testing::AnyOf(FARLO_SUCCESS, FARLO_EXCEPTION,
                                                      FARLO_BUFFER_TOO_SMALL)));
    EXPECT_THAT(results, testing::Contains(FARLO_BUFFER_TOO_SMALL).Times(2));
}

// group_type::cluster_shared counts as a cluster group by GUID, but not by name.
TEST_F(GetUnusableVolumesInfo, FindsClusterSharedGroupByGuidOnly) {
    scenario.replace(scenario.find(R"("guid-1",)"), 9, R"("guid-1", "type": 8,)");
    at_every_threshold([&] {
        GuardedBuffer records(2 * volume_size);
        EXPECT_EQ(get_records(records, 2), FARLO_NOT_FOUND);
        EXPECT_TRUE(records.untouched());
        EXPECT_EQ(get_records(records, 2, nullptr, "guid-1"), FARLO_SUCCESS);
        EXPECT_EQ(records.difference(expected_record().bytes()), "");
        expect_log({entering,
                    {0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x28)"},
                    {0, "GetUnusableVolumesInfo::GetDgObjId failed for DG: dg,  error=(0x1)"},
                    {4, "Entering GetUnusableVolumesInfo - (null)"},
                    {0, "  Vol.Count: 4 \t Unusable Vol.Count: 2 \n"},
                    exiting});
    });
}

// A link is a volume GUID name when it contains exactly that string.
TEST_F(GetUnusableVolumesInfo, IncludesVolumesWhoseLinkHasNoVolumeGuidName) {
    const std::pair<const wchar_t*, bool> names[] = {
        {L"\\??\\Volume{", true},     {L"x\\??\\Volume{1}y", true},
        {L"\\??\\Volume", false},     {L"\\??\\volume{1}", false},
        {L"\\\\?\\Volume{1}", false}, {L"\\??\\VolumeX{1}", false},
        {L"??\\Volume{1}", false},    {L"\\DosDevices\\Volume{1}", false},
        {L"\\DosDevices\\F:", false}};
    once([&] {
        for (const auto& [name, usable] : names) {
            links[L"\\Device\\good"] = {name};
            GuardedBuffer records(volume_size);
            EXPECT_EQ(get_records(records, 0), FARLO_BUFFER_TOO_SMALL);
            EXPECT_EQ(count, usable ? 2u : 3u) << testing::PrintToString(std::wstring(name));
        }
    });
}

// When the state cannot be read for the record, its field keeps what the buffer held, with the
// mark.
TEST_F(GetUnusableVolumesInfo, MarksStateThatCannotBeRead) {
    once([&] {
        set_faults({failing({.object = "bad", .property = "ztvmstate", .call = 2})});
        GuardedBuffer records(2 * volume_size);
        EXPECT_EQ(get_records(records, 2), FARLO_SUCCESS);
        std::uint64_t state = 0;
        std::memcpy(&state, records.data() + state_offset, sizeof state);
        EXPECT_EQ(state, 0xC5C5C5C5C5C5C5C5u | FARLO_VOLUME_UNUSABLE);
    });
}

}  // namespace
