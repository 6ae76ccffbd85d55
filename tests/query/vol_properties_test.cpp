// GetVolProperties.
#include "query/record_fixture.h"

namespace {

using namespace records;

constexpr std::uint32_t needed_size = 1660 + 3 * disk_size;

class GetVolProperties : public RecordTest {
  protected:
    GetVolProperties() {
        scenario = R"({"disk_groups": [{"name": "dg", "dgid": "guid-1", "type": 1,
            "disks": [{"name": "d1", "signature": 17, "port": 1, "target": 2, "lun": 3},
                      {"name": "d2", "disk_id": "1f-2", "port": 4, "target": 5, "lun": 6}],
            "volumes": [
                {"name": "v", "device": "\\Device\\v", "type": 7, "state": 1, "size": 9,
                 "plexes": [
                     {"name": "p1", "subdisks": [{"name": "s1", "disk": "d2"},
                                                 {"name": "s2", "disk": "d2"}]},
                     {"name": "p2", "subdisks": [{"name": "s3"}, {"name": "s4", "disk": "d1"}]}]},
                {"name": "plain", "device": "\\Device\\plain"}]}]})";
        mounts["v"] = {L"F", {}, {}};
    }

    std::uint32_t get_record(GuardedBuffer& record, std::uint32_t buffer_size,
                             const wchar_t* device = L"\\Device\\v") {
        size = buffer_size;
        return FARLO(GetVolPropertiesW)(handle, device, record.as<VolPropInfo>(), &size);
    }

    Image expected_record() const {
        Image image(needed_size + 4);
        image.counts(3, 1);
        image.disk(8, {L"d2", 0x1f, 6, 5, 4});
        image.disk(8 + disk_size, {L"d2", 0x1f, 6, 5, 4});
        image.disk(8 + 2 * disk_size, {L"d1", 17, 3, 2, 1});
        image.volume(8 + 3 * disk_size, volume);
        return image;
    }

    std::uint32_t size = 0;
    Volume volume{L"\\Device\\v", L"F:", {}, {}, L"", 7, 1, 9};
};

const Expected entering{4, "Entering GetVolPropertiesW"};
const Expected exiting{4, "Exiting GetVolPropertiesW"};
// Logged for d2, which has no signature.
const Expected signature_formed{
    6, "farlo: GetVolPropertiesW: No signature property on disk..so forming it..Id = 0x1f, "
       "guidToNumString = 31l, signature = 31"};
const std::string find_volume = query(object_type::volume, "DEVICE NAME", R"(\\Device\\v)", "@v");

// The size is four bytes less than what is written. A disk is listed once for each of its
// subdisks; a subdisk without a disk is skipped.
TEST_F(GetVolProperties, WritesFourBytesMoreThanItsSize) {
    at_every_threshold([&] {
        GuardedBuffer record(needed_size + 4);
        EXPECT_EQ(get_record(record, needed_size), FARLO_SUCCESS);
        EXPECT_EQ(size, needed_size);
        EXPECT_EQ(record.difference(expected_record().bytes()), "");

        const Lines second_disk = {
            read("d2", "Name", wstr("d2")),          read("d2", "SIGNATURE", uint32(0)),
            read("d2", "DISKID", str("1f-2")),       read("d2", "PORT", uint32(4)),
            read("d2", "DISK TARGET ID", uint32(5)), read("d2", "LUN ID", uint32(6))};
        expect_calls(
            Lines{find_volume, children("v", object_type::plex, "@p1 @p2"),
                  children("p1", object_type::subdisk, "@s1 @s2"),
                  parents("s1", object_type::disk, "@d2"), parents("s2", object_type::disk, "@d2"),
                  children("p2", object_type::subdisk, "@s3 @s4"),
                  parents("s3", object_type::disk, ""), parents("s4", object_type::disk, "@d1")} +
            second_disk + second_disk +
            Lines{read("d1", "Name", wstr("d1")), read("d1", "SIGNATURE", uint32(17)),
                  read("d1", "PORT", uint32(1)), read("d1", "DISK TARGET ID", uint32(2)),
                  read("d1", "LUN ID", uint32(3)), read("v", "DEVICE NAME", wstr(R"(\\Device\\v)")),
                  get_mount_points("v"), get_drive_letter("v"),
                  children("v", object_type::file_system, ""), read("v", "type", uint32(7)),
                  read("v", "ztvmstate", uint32(1)), read("v", "size", uint64(9))});
        expect_log({entering, signature_formed, signature_formed, exiting});
    });
}

TEST_F(GetVolProperties, ReportsNeededSize) {
    at_every_threshold([&] {
        for (const std::uint32_t too_small : {0u, 1660u, needed_size - 1}) {
            start_watching();
            GuardedBuffer record(needed_size + 4);
            EXPECT_EQ(get_record(record, too_small), FARLO_BUFFER_TOO_SMALL);
            EXPECT_EQ(size, needed_size);
            EXPECT_TRUE(record.untouched());
            expect_log({entering, exiting});
        }
    });
}

TEST_F(GetVolProperties, WritesNoDisksForVolumeWithoutPlexes) {
    once([&] {
        GuardedBuffer record(1664);
        EXPECT_EQ(get_record(record, 1659, L"\\Device\\plain"), FARLO_BUFFER_TOO_SMALL);
        EXPECT_EQ(size, 1660u);
        EXPECT_EQ(get_record(record, 1660, L"\\Device\\plain"), FARLO_SUCCESS);
        Image wanted(1664);
        wanted.counts(0, 1);
        wanted.volume(8, {L"\\Device\\plain", L"", {}, {}, L"", 0, 0, 0});
        EXPECT_EQ(record.difference(wanted.bytes()), "");
    });
}

// The record is checked before the size.
TEST_F(GetVolProperties, ChecksArgumentsInOrder) {
    at_every_threshold([&] {
        GuardedBuffer record(needed_size + 4);
        auto* const out = record.as<VolPropInfo>();
        size = 0;
        EXPECT_EQ(FARLO(GetVolPropertiesW)(nullptr, nullptr, nullptr, nullptr),
                  FARLO_INVALID_ARGUMENT);
        EXPECT_EQ(FARLO(GetVolPropertiesW)(nullptr, L"\\Device\\v", nullptr, &size),
                  FARLO_NULL_HANDLE);
        EXPECT_EQ(FARLO(GetVolPropertiesW)(handle, L"\\Device\\v", nullptr, &size),
                  FARLO_MISSING_ARGUMENT);
        EXPECT_EQ(FARLO(GetVolPropertiesW)(handle, L"\\Device\\v", out, nullptr),
                  FARLO_MISSING_ARGUMENT);
        disconnect();
        EXPECT_EQ(FARLO(GetVolPropertiesW)(handle, L"\\Device\\v", nullptr, &size),
                  FARLO_NOT_CONNECTED);
        EXPECT_EQ(size, 0u);
        EXPECT_TRUE(record.untouched());
        expect_calls({});
        expect_log({entering,
                    {0, "GetVolPropertiesW() failed , NULL Volume Device Name"},
                    entering,
                    {0, "GetVolPropertiesW() failed , NULL opal_handle, error=(0x64)"},
                    entering,
                    {0, "GetVolPropertiesW() failed , pVolInfo == NULL, error=(0x13)"},
                    entering,
                    {0, "GetVolPropertiesW() failed , pInfoSize == NULL, error=(0x13)"},
                    entering,
                    {0, "GetVolPropertiesW() failed , opal_handle not connected, error=(0x14)"}});
    });
}

TEST_F(GetVolProperties, ReturnsInvalidArgumentForUnknownVolume) {
    at_every_threshold([&] {
        GuardedBuffer record(needed_size + 4);
        EXPECT_EQ(get_record(record, needed_size - 1, L"nothing"), FARLO_INVALID_ARGUMENT);
        EXPECT_EQ(size, needed_size - 1);
        EXPECT_TRUE(record.untouched());
        expect_log({entering,
                    {0, "FindVolObjByDevName:Volume Object not found"},
                    {0, "GetVolPropertiesW - FindVolObjByDevName failed for nothing"},
                    {0, "GetVolPropertiesW() failed, error=(0x80070057) "},
                    exiting});
    });
}

TEST_F(GetVolProperties, FailsWhenVolumeCannotBeRead) {
    at_every_threshold([&] {
        for (const FaultRule& calls :
             {listing(object_type::plex),
              FaultRule{.function = "ObGetChildObjects", .object = "p2"},
              FaultRule{.function = "ObGetParentObjects", .object = "s4"}}) {
            SCOPED_TRACE(fault_plan({calls}));
            set_faults({failing(calls)});
            start_watching();
            GuardedBuffer record(needed_size + 4);
            EXPECT_EQ(get_record(record, needed_size + 1), FARLO_EXCEPTION);
            EXPECT_EQ(size, needed_size + 1);
            EXPECT_TRUE(record.untouched());
            expect_log(
                {entering, caught, {0, "GetVolPropertiesW() failed, error=(0x12) "}, exiting});
        }
    });
}

// Without the drop, the result would be a record, a size that is too small, an exception, or an
// unknown volume.
TEST_F(GetVolProperties, ReturnsNotConnectedWhenConnectionDrops) {
    const auto with = [this](std::uint32_t buffer_size, const wchar_t* device) {
        return [this, buffer_size, device](GuardedBuffer& record) {
            return get_record(record, buffer_size, device);
        };
    };
    const std::vector<Drop> drops = {
        {reading("v", "size"),
         with(needed_size, L"\\Device\\v"),
         true,
         {signature_formed, signature_formed}},
        {{.function = "ObGetParentObjects", .object = "s4"}, with(0, L"\\Device\\v"), false, {}},
        {listing(object_type::plex), with(needed_size, L"\\Device\\v"), false, {caught}},
        {{.function = "DbGetObjectsByQuery"},
         with(needed_size, L"none"),
         false,
         {{0, "FindVolObjByDevName:Volume Object not found"},
          {0, "GetVolPropertiesW - FindVolObjByDevName failed for none"}}}};
    expect_drops_reported(drops, expected_record(), size, needed_size, entering,
                          {{0, "GetVolPropertiesW() failed, error=(0x14) "}, exiting});
}

TEST_F(GetVolProperties, SurvivesEveryAllocationFailure) {
    mounts.clear();
    volume.letter = L"";
    // The first allocation is for the query string.
    at_every_threshold([&] {
        heap().fail(1);
        GuardedBuffer record(needed_size + 4);
        EXPECT_EQ(get_record(record, needed_size), FARLO_INVALID_ARGUMENT);
        EXPECT_EQ(size, needed_size);
        EXPECT_TRUE(record.untouched());
        expect_calls({});
        expect_log({entering,
                    {0, "FindVolObjByDevName: failed to allocate memory"},
                    {0, "GetVolPropertiesW - FindVolObjByDevName failed for \\Device\\v"},
                    {0, "GetVolPropertiesW() failed, error=(0x80070057) "},
                    exiting});
    });
    expect_survives_allocation_failures(
        expected_record(), [&](GuardedBuffer& record) { return get_record(record, needed_size); },
        {FARLO_INVALID_ARGUMENT, FARLO_EXCEPTION});
    EXPECT_EQ(size, needed_size);
}

TEST_F(GetVolProperties, ReturnsInvalidArgumentWhenQueryFails) {
    at_every_threshold([&] {
        set_faults({failing({.function = "DbGetObjectsByQuery"})});
        GuardedBuffer record(needed_size + 4);
        EXPECT_EQ(get_record(record, needed_size), FARLO_INVALID_ARGUMENT);
        EXPECT_EQ(size, needed_size);
        EXPECT_TRUE(record.untouched());
        expect_log({entering,
                    {0, "FindVolObjByDevName:DbGetObjectsByQuery failed, for \\Device\\v, error = "
                        "0xc1000001"},
                    {0, "GetVolPropertiesW - FindVolObjByDevName failed for \\Device\\v"},
                    {0, "GetVolPropertiesW() failed, error=(0x80070057) "},
                    exiting});
    });
}

// A name that does not fit into the query string is rejected, not truncated.
TEST_F(GetVolProperties, RejectsNameThatIsTooLong) {
    once([&] {
        GuardedBuffer record(needed_size + 4);
        EXPECT_EQ(get_record(record, needed_size, std::wstring(3000, L'n').c_str()),
                  FARLO_INVALID_ARGUMENT);
        EXPECT_EQ(size, needed_size);
        EXPECT_TRUE(record.untouched());
        expect_calls({});
    });
}

TEST_F(GetVolProperties, TakesFirstVolumeOfThatName) {
    scenario = R"({"disk_groups": [{"name": "dg", "dgid": "guid-1", "volumes": [
        {"name": "v1", "device": "twin", "type": 1, "state": 2, "size": 3},
        {"name": "v2", "device": "twin", "type": 4, "state": 5, "size": 6}]}]})";
    mounts.clear();
    once([&] {
        GuardedBuffer record(1664);
        EXPECT_EQ(get_record(record, 1660, L"twin"), FARLO_SUCCESS);
        Image wanted(1664);
        wanted.counts(0, 1);
        wanted.volume(8, {L"twin", L"", {}, {}, L"", 1, 2, 3});
        EXPECT_EQ(record.difference(wanted.bytes()), "");
    });
}

TEST_F(GetVolProperties, WritesFirstDiskOfSubdisk) {
    const StandIn<decltype(ObGetParentObjects)>* parents = nullptr;
    once([&] {
        const StandIn<decltype(ObGetParentObjects)> both(
            dll().module(), "ObGetParentObjects",
            [&](opal_connection connection, opal_context context, const opal_objid* object,
                const char* type, opal_objid** ids, std::uint32_t* found) {
                const opal_status status =
                    parents->real(connection, context, object, type, ids, found);
                if (status == 0 && *found != 0) {
                    auto* const two = static_cast<opal_objid*>(_ZtAlloc(2 * sizeof(opal_objid)));
                    two[0] = **ids;
                    EXPECT_EQ(LabFindObject("d1", &two[1]), 0);
                    _ZtFree(*ids);
                    *ids = two;
                    *found = 2;
                }
                return status;
            });
        parents = &both;
        GuardedBuffer record(needed_size + 4);
        EXPECT_EQ(get_record(record, needed_size), FARLO_SUCCESS);
        EXPECT_EQ(size, needed_size);
        EXPECT_EQ(record.difference(expected_record().bytes()), "");
    });
}

TEST_F(GetVolProperties, ChecksArgumentsOfNarrowForm) {
    at_every_threshold([&] {
        GuardedBuffer record(1664);
        size = 1660;
        EXPECT_EQ(
            FARLO(GetVolPropertiesA)(handle, "\\Device\\plain", record.as<VolPropInfo>(), &size),
            FARLO_SUCCESS);
        expect_log({entering, exiting});
        const struct {
            const char* device;
            VolPropInfo* record;
            std::uint32_t* size;
        } missing[] = {{nullptr, record.as<VolPropInfo>(), &size},
                       {"v", nullptr, &size},
                       {"v", record.as<VolPropInfo>(), nullptr}};
        for (const auto& row : missing) {
            start_watching();
            EXPECT_EQ(FARLO(GetVolPropertiesA)(nullptr, row.device, row.record, row.size),
                      FARLO_INVALID_ARGUMENT);
            expect_log({{0, "GetVolPropertiesA() failed, pcVolName == NULL, or pInfo == NULL, or "
                            "pInfoSize == NULL"}});
        }
        start_watching();
        EXPECT_EQ(FARLO(GetVolPropertiesA)(nullptr, std::string(259, 'n').c_str(),
                                           record.as<VolPropInfo>(), &size),
                  FARLO_NULL_HANDLE);
        EXPECT_EQ(FARLO(GetVolPropertiesA)(nullptr, std::string(260, 'n').c_str(),
                                           record.as<VolPropInfo>(), &size),
                  FARLO_INVALID_ARGUMENT);
        expect_log({entering,
                    {0, "GetVolPropertiesW() failed , NULL opal_handle, error=(0x64)"},
                    {0, "GetVolPropertiesA() failed , device string of more than 259 characters or "
                        "invalid, error=(0x80070057)"}});
    });
}

}  // namespace
