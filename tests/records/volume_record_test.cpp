// GetVolProperties.
#include "record_test.h"

namespace {

using namespace records;

constexpr std::uint32_t told = 1660 + 3 * disk_size;

class VolumeRecord : public RecordTest {
  protected:
    VolumeRecord() {
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

    std::uint32_t ask(GuardedBuffer& record, std::uint32_t record_size,
                      const wchar_t* device = L"\\Device\\v") {
        size = record_size;
        return FARLO(GetVolPropertiesW)(handle, device, record.as<VolPropInfo>(), &size);
    }

    Image whole() const {
        Image image(told + 4);
        image.number<std::uint32_t>(0, 3).number<std::uint32_t>(4, 1);
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
const Expected formed{6, "farlo: GetVolPropertiesW: No signature property on disk..so forming "
                         "it..Id = 0x1f, guidToNumString = 31l, signature = 31"};
const std::string find_volume =
    R"(DbGetObjectsByQuery "SELECT FROM tamo_ztvm_volume where \"DEVICE NAME\" EQ \\Device\\v" -> 0x0 [@v])";

// The size is four bytes less than the record. A disk is there once a subdisk, a
// subdisk without one is passed over.
TEST_F(VolumeRecord, IsFourBytesLongerThanItsSize) {
    at_every_threshold([&] {
        GuardedBuffer record(told + 4);
        EXPECT_EQ(ask(record, told), 0u);
        EXPECT_EQ(size, told);
        EXPECT_EQ(record.difference(whole().bytes()), "");

        const Lines second_disk = {
            read("d2", "Name", wstr("d2")),          read("d2", "SIGNATURE", uint32(0)),
            read("d2", "DISKID", str("1f-2")),       read("d2", "PORT", uint32(4)),
            read("d2", "DISK TARGET ID", uint32(5)), read("d2", "LUN ID", uint32(6))};
        expect_calls(
            Lines{find_volume, child("v", "tamo_ztvm_plex", "@p1 @p2"),
                  child("p1", "tamo_ztvm_subdisk", "@s1 @s2"),
                  parent("s1", "tamo_ztvm_disk", "@d2"), parent("s2", "tamo_ztvm_disk", "@d2"),
                  child("p2", "tamo_ztvm_subdisk", "@s3 @s4"), parent("s3", "tamo_ztvm_disk", ""),
                  parent("s4", "tamo_ztvm_disk", "@d1")} +
            second_disk + second_disk +
            Lines{read("d1", "Name", wstr("d1")), read("d1", "SIGNATURE", uint32(17)),
                  read("d1", "PORT", uint32(1)), read("d1", "DISK TARGET ID", uint32(2)),
                  read("d1", "LUN ID", uint32(3)), read("v", "DEVICE NAME", wstr(R"(\\Device\\v)")),
                  ask_mounts("v"), ask_letter("v"), child("v", "tamo_fs_nt", ""),
                  read("v", "type", uint32(7)), read("v", "ztvmstate", uint32(1)),
                  read("v", "size", "UINT64 9")});
        expect_log({entering, formed, formed, exiting});
    });
}

TEST_F(VolumeRecord, TellsTheSizeThatIsTooSmall) {
    at_every_threshold([&] {
        for (const std::uint32_t too_small : {0u, 1660u, told - 1}) {
            start_watching();
            GuardedBuffer record(told + 4);
            EXPECT_EQ(ask(record, too_small), 97u);
            EXPECT_EQ(size, told);
            EXPECT_TRUE(record.untouched());
            expect_log({entering, exiting});
        }
    });
}

TEST_F(VolumeRecord, OfAVolumeWithoutPlexes) {
    once([&] {
        GuardedBuffer record(1664);
        EXPECT_EQ(ask(record, 1659, L"\\Device\\plain"), 97u);
        EXPECT_EQ(size, 1660u);
        EXPECT_EQ(ask(record, 1660, L"\\Device\\plain"), 0u);
        Image wanted(1664);
        wanted.number<std::uint32_t>(0, 0).number<std::uint32_t>(4, 1);
        wanted.volume(8, {L"\\Device\\plain", L"", {}, {}, L"", 0, 0, 0});
        EXPECT_EQ(record.difference(wanted.bytes()), "");
    });
}

// The buffer before the size.
TEST_F(VolumeRecord, ChecksItsArgumentsInOrder) {
    at_every_threshold([&] {
        GuardedBuffer record(told + 4);
        auto* const out = record.as<VolPropInfo>();
        size = 0;
        EXPECT_EQ(FARLO(GetVolPropertiesW)(nullptr, nullptr, nullptr, nullptr), 0x80070057u);
        EXPECT_EQ(FARLO(GetVolPropertiesW)(nullptr, L"\\Device\\v", nullptr, &size), 100u);
        EXPECT_EQ(FARLO(GetVolPropertiesW)(handle, L"\\Device\\v", nullptr, &size), 0x13u);
        EXPECT_EQ(FARLO(GetVolPropertiesW)(handle, L"\\Device\\v", out, nullptr), 0x13u);
        disconnect();
        EXPECT_EQ(FARLO(GetVolPropertiesW)(handle, L"\\Device\\v", nullptr, &size), 20u);
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

TEST_F(VolumeRecord, OfAVolumeThatIsNotFound) {
    at_every_threshold([&] {
        GuardedBuffer record(told + 4);
        EXPECT_EQ(ask(record, told - 1, L"nothing"), 0x80070057u);
        EXPECT_EQ(size, told - 1);
        EXPECT_TRUE(record.untouched());
        expect_log({entering,
                    {0, "FindVolObjByDevName:Volume Object not found"},
                    {0, "GetVolPropertiesW - FindVolObjByDevName failed for nothing"},
                    {0, "GetVolPropertiesW() failed, error=(0x80070057) "},
                    exiting});
    });
}

TEST_F(VolumeRecord, OfAVolumeThatCannotBeWalked) {
    at_every_threshold([&] {
        for (const char* keys : {R"("function": "ObGetChildObjects", "type": "tamo_ztvm_plex")",
                                 R"("function": "ObGetChildObjects", "object": "p2")",
                                 R"("function": "ObGetParentObjects", "object": "s4")"}) {
            SCOPED_TRACE(keys);
            set_rules(failing(keys));
            start_watching();
            GuardedBuffer record(told + 4);
            EXPECT_EQ(ask(record, told + 1), 0x12u);
            EXPECT_EQ(size, told + 1);
            EXPECT_TRUE(record.untouched());
            expect_log({entering,
                        {6, "API_TRY_CATCH_FAILED "},
                        {0, "GetVolPropertiesW() failed, error=(0x12) "},
                        exiting});
        }
    });
}

// Whatever the call came to: a record, a size that is too small, an exception, no
// volume.
TEST_F(VolumeRecord, ConnectionThatDropsMeanwhile) {
    const auto with = [this](std::uint32_t room, const wchar_t* device) {
        return [this, room, device](GuardedBuffer& record) { return ask(record, room, device); };
    };
    const std::vector<Drop> drops = {
        {reading("v", "size"), with(told, L"\\Device\\v"), true, {formed, formed}},
        {R"("function": "ObGetParentObjects", "object": "s4")", with(0, L"\\Device\\v"), false, {}},
        {walking_to("tamo_ztvm_plex"), with(told, L"\\Device\\v"), false, {caught}},
        {R"("function": "DbGetObjectsByQuery")",
         with(told, L"none"),
         false,
         {{0, "FindVolObjByDevName:Volume Object not found"},
          {0, "GetVolPropertiesW - FindVolObjByDevName failed for none"}}}};
    expect_drops_told(drops, whole(), size, told, entering,
                      {{0, "GetVolPropertiesW() failed, error=(0x14) "}, exiting});
}

TEST_F(VolumeRecord, EveryAllocationThatFails) {
    mounts.clear();
    volume.letter = L"";
    // The first one is the query's text.
    at_every_threshold([&] {
        heap().fail(1);
        GuardedBuffer record(told + 4);
        EXPECT_EQ(ask(record, told), 0x80070057u);
        EXPECT_EQ(size, told);
        EXPECT_TRUE(record.untouched());
        expect_calls({});
        expect_log({entering,
                    {0, "FindVolObjByDevName: failed to allocate memory"},
                    {0, "GetVolPropertiesW - FindVolObjByDevName failed for \\Device\\v"},
                    {0, "GetVolPropertiesW() failed, error=(0x80070057) "},
                    exiting});
    });
    expect_whole_or_less(whole(), [&](GuardedBuffer& record) { return ask(record, told); },
                         {0x80070057, 0x12});
    EXPECT_EQ(size, told);
}

TEST_F(VolumeRecord, OfAVolumeThatCannotBeAskedFor) {
    at_every_threshold([&] {
        set_rules(failing(R"("function": "DbGetObjectsByQuery")"));
        GuardedBuffer record(told + 4);
        EXPECT_EQ(ask(record, told), 0x80070057u);
        EXPECT_EQ(size, told);
        EXPECT_TRUE(record.untouched());
        expect_log({entering,
                    {0, "FindVolObjByDevName:DbGetObjectsByQuery failed, for \\Device\\v, error = "
                        "0xc1000001"},
                    {0, "GetVolPropertiesW - FindVolObjByDevName failed for \\Device\\v"},
                    {0, "GetVolPropertiesW() failed, error=(0x80070057) "},
                    exiting});
    });
}

// A name for which the question has no room is not cut short.
TEST_F(VolumeRecord, OfANameThatIsTooLong) {
    once([&] {
        GuardedBuffer record(told + 4);
        EXPECT_EQ(ask(record, told, std::wstring(3000, L'n').c_str()), 0x80070057u);
        EXPECT_EQ(size, told);
        EXPECT_TRUE(record.untouched());
        expect_calls({});
    });
}

TEST_F(VolumeRecord, IsTheFirstOfThatName) {
    scenario = R"({"disk_groups": [{"name": "dg", "dgid": "guid-1", "volumes": [
        {"name": "v1", "device": "twin", "type": 1, "state": 2, "size": 3},
        {"name": "v2", "device": "twin", "type": 4, "state": 5, "size": 6}]}]})";
    mounts.clear();
    once([&] {
        GuardedBuffer record(1664);
        EXPECT_EQ(ask(record, 1660, L"twin"), 0u);
        Image wanted(1664);
        wanted.number<std::uint32_t>(0, 0).number<std::uint32_t>(4, 1);
        wanted.volume(8, {L"twin", L"", {}, {}, L"", 1, 2, 3});
        EXPECT_EQ(record.difference(wanted.bytes()), "");
    });
}

TEST_F(VolumeRecord, HasTheFirstDiskOfASubdisk) {
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
        GuardedBuffer record(told + 4);
        EXPECT_EQ(ask(record, told), 0u);
        EXPECT_EQ(size, told);
        EXPECT_EQ(record.difference(whole().bytes()), "");
    });
}

TEST_F(VolumeRecord, NarrowForm) {
    at_every_threshold([&] {
        GuardedBuffer record(1664);
        size = 1660;
        EXPECT_EQ(
            FARLO(GetVolPropertiesA)(handle, "\\Device\\plain", record.as<VolPropInfo>(), &size),
            0u);
        expect_log({entering, exiting});
        for (const int missing : {0, 1, 2}) {
            start_watching();
            EXPECT_EQ(FARLO(GetVolPropertiesA)(nullptr, missing == 0 ? nullptr : "v",
                                               missing == 1 ? nullptr : record.as<VolPropInfo>(),
                                               missing == 2 ? nullptr : &size),
                      0x80070057u);
            expect_log({{0, "GetVolPropertiesA() failed, pcVolName == NULL, or pInfo == NULL, or "
                            "pInfoSize == NULL"}});
        }
        start_watching();
        EXPECT_EQ(FARLO(GetVolPropertiesA)(nullptr, std::string(259, 'n').c_str(),
                                           record.as<VolPropInfo>(), &size),
                  100u);
        EXPECT_EQ(FARLO(GetVolPropertiesA)(nullptr, std::string(260, 'n').c_str(),
                                           record.as<VolPropInfo>(), &size),
                  0x80070057u);
        expect_log({entering,
                    {0, "GetVolPropertiesW() failed , NULL opal_handle, error=(0x64)"},
                    {0, "GetVolPropertiesA() failed , device string of more than 259 characters or "
                        "invalid, error=(0x80070057)"}});
    });
}

}  // namespace
