// GetDgVolumeProperties.
#include "record_test.h"

namespace {

using namespace records;

class GroupVolume : public RecordTest {
  protected:
    GroupVolume() {
        scenario = R"({"disk_groups": [
            {"name": "dg", "dgid": "guid-1", "volumes": [
                {"name": "v1", "device": "\\Device\\v1"},
                {"name": "v2", "device": "\\Device\\v2", "type": 8, "state": 4294967295,
                 "size": 6, "file_system": {"type": "FAT", "label": "Box"}}]},
            {"name": "empty", "dgid": "guid-2"},
            {"name": "local", "dgid": "guid-3", "type": 1}]})";
        mounts["v2"] = {L"E", {}, {}};
    }

    std::uint32_t ask(GuardedBuffer& record, std::uint32_t record_size,
                      const wchar_t* device = L"\\DEVICE\\V2", const char* guid = "guid-1") {
        size = record_size;
        return FARLO(GetDgVolumePropertiesW)(handle, L"dg", guid, device, record.as<VolInfo>(),
                                             &size);
    }

    Image whole() const { return Image(volume_size).volume(0, v2); }

    std::uint32_t size = 0;
    Volume v2{L"\\Device\\v2", L"E:", L"FAT", L"Box", L"", 8, -1, 6};
};

const Expected entering{4, "Entering GetDgVolumePropertiesW - dg"};
const Expected exiting{4, "Exiting GetDgVolumePropertiesW"};
const Lines find_group = {groups("@dg @empty @local"), read("dg", "LDM DG TYPE", uint32(2)),
                          read("dg", "dgid", str("guid-1"))};

TEST_F(GroupVolume, IsTheFirstOfThatNameInAnyCase) {
    at_every_threshold([&] {
        GuardedBuffer record(volume_size);
        EXPECT_EQ(ask(record, volume_size), 0u);
        EXPECT_EQ(size, volume_size);
        EXPECT_EQ(record.difference(whole().bytes()), "");
        expect_calls(
            find_group +
            Lines{child("dg", "tamo_ztvm_volume", "@v1 @v2"),
                  read("v1", "DEVICE NAME", wstr(R"(\\Device\\v1)")),
                  read("v2", "DEVICE NAME", wstr(R"(\\Device\\v2)")),
                  read("v2", "DEVICE NAME", wstr(R"(\\Device\\v2)")), ask_mounts("v2"),
                  ask_letter("v2"), child("v2", "tamo_fs_nt", "@v2 file system"),
                  read("v2 file system", "type of file system", wstr("FAT")),
                  read("v2 file system", "label", wstr("Box")), read("v2", "type", uint32(8)),
                  read("v2", "ztvmstate", uint32(0xFFFFFFFF)), read("v2", "size", "UINT64 6")});
        expect_log({entering, {6, "GetDgVolumePropertiesW(), Total volume objects = 2"}, exiting});
    });
}

// The size before the buffer, and unlike other records with a line.
TEST_F(GroupVolume, TellsTheSizeThatIsNeeded) {
    at_every_threshold([&] {
        for (const std::uint32_t too_small : {0u, std::uint32_t{volume_size} - 1}) {
            start_watching();
            size = too_small;
            EXPECT_EQ(
                FARLO(GetDgVolumePropertiesW)(handle, L"dg", "guid-1", nullptr, nullptr, &size),
                97u);
            EXPECT_EQ(size, volume_size);
            expect_calls(find_group);
            expect_log(
                {entering, {0, "GetDgVolumePropertiesW(): not enough buffer size, error=(0x61) "}});
        }
    });
}

TEST_F(GroupVolume, ChecksItsArguments) {
    at_every_threshold([&] {
        GuardedBuffer record(volume_size);
        auto* const out = record.as<VolInfo>();
        size = volume_size;
        const auto call = [&](opal_handle used, VolInfo* to, std::uint32_t* asked,
                              const wchar_t* device) {
            return FARLO(GetDgVolumePropertiesW)(used, L"dg", nullptr, device, to, asked);
        };
        EXPECT_EQ(call(nullptr, nullptr, nullptr, nullptr), 100u);
        EXPECT_EQ(call(handle, out, nullptr, L"v"), 0x13u);
        EXPECT_EQ(call(handle, nullptr, &size, nullptr), 0x13u);
        EXPECT_EQ(call(handle, out, &size, nullptr), 0x13u);
        EXPECT_EQ(ask(record, 0, L"v", "guid-3"), 1u);
        disconnect();
        EXPECT_EQ(call(handle, nullptr, nullptr, nullptr), 20u);
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

TEST_F(GroupVolume, ThatIsNotThere) {
    at_every_threshold([&] {
        GuardedBuffer record(volume_size);
        EXPECT_EQ(ask(record, volume_size, L"\\Device\\v"), 0x63u);
        EXPECT_EQ(ask(record, volume_size + 1, L"\\Device\\v1", "guid-2"), 0x63u);
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

TEST_F(GroupVolume, OfAGroupThatCannotBeWalked) {
    at_every_threshold([&] {
        GuardedBuffer record(volume_size);
        set_rules(failing(R"("function": "ObGetChildObjects")"));
        EXPECT_EQ(ask(record, volume_size), 0x12u);
        expect_log({entering,
                    {6, "API_TRY_CATCH_FAILED "},
                    {0, "GetDgVolumePropertiesW() failed, error=(0x12)"},
                    exiting});
        set_rules(failing(R"("function": "ObGetProperty", "object": "v1")"));
        start_watching();
        EXPECT_EQ(ask(record, volume_size), 0x12u);
        EXPECT_TRUE(record.untouched());
        expect_log({entering,
                    {6, "GetDgVolumePropertiesW(), Total volume objects = 2"},
                    {6, "API_TRY_CATCH_FAILED "},
                    {0, "GetDgVolumePropertiesW() failed, error=(0x12)"},
                    exiting});
        EXPECT_EQ(size, volume_size);
    });
}

// Whatever the call came to: a record, no such volume, an exception.
TEST_F(GroupVolume, ConnectionThatDropsMeanwhile) {
    const Expected total{6, "GetDgVolumePropertiesW(), Total volume objects = 2"};
    const auto of = [this](const wchar_t* device) {
        return [this, device](GuardedBuffer& record) { return ask(record, volume_size, device); };
    };
    const std::vector<Drop> drops = {
        {reading("v2", "size"), of(L"\\Device\\v2"), true, {total}},
        {reading("v2", "DEVICE NAME"), of(L"\\Device\\v3"), false, {total}},
        {walking_to("tamo_ztvm_volume"), of(L"\\Device\\v2"), false, {total, caught}}};
    expect_drops_told(drops, whole(), size, volume_size, entering,
                      {{0, "GetDgVolumePropertiesW() failed, error=(0x14)"}, exiting});
}

// The connection is looked at again only where the last line is reached: not where
// the size is too small, unlike the other records.
TEST_F(GroupVolume, ConnectionThatDropsBeforeAnEarlyEnd) {
    at_every_threshold([&] {
        set_rules(dropping(reading("dg", "dgid")));
        GuardedBuffer record(volume_size);
        EXPECT_EQ(ask(record, volume_size - 1), 97u);
        EXPECT_EQ(size, volume_size);
        EXPECT_TRUE(record.untouched());
        expect_log(
            {entering, {0, "GetDgVolumePropertiesW(): not enough buffer size, error=(0x61) "}});
    });
    at_every_threshold([&] {
        set_rules(dropping(reading("dg", "dgid")));
        size = volume_size;
        EXPECT_EQ(FARLO(GetDgVolumePropertiesW)(handle, L"dg", "guid-1", L"v", nullptr, &size),
                  0x13u);
        EXPECT_EQ(size, volume_size);
        expect_log(
            {entering, {0, "GetDgVolumePropertiesW() failed, pDgInfo==NULL, error=(0x13) "}});
    });
    at_every_threshold([&] {
        set_rules(dropping(reading("dg", "LDM DG TYPE")));
        GuardedBuffer record(volume_size);
        EXPECT_EQ(ask(record, 0), 1u);
        EXPECT_EQ(size, 0u);
        EXPECT_TRUE(record.untouched());
        expect_log({entering,
                    {0, "GetDgObjIdByGuid() failed , DG_TYPENAME not found in OPAL, error=(0x1)"},
                    {0, "GetDgVolumePropertiesW():GetDgObjId() failed, error=(0x1) "}});
    });
}

TEST_F(GroupVolume, EveryAllocationThatFails) {
    mounts.clear();
    v2.letter = L"";
    expect_whole_or_less(whole(), [&](GuardedBuffer& record) { return ask(record, volume_size); });
    EXPECT_EQ(size, volume_size);
}

// Type 8 is a cluster group by its GUID, not by its name.
TEST_F(GroupVolume, OfASharedGroup) {
    scenario.replace(scenario.find(R"("guid-1",)"), 9, R"("guid-1", "type": 8,)");
    at_every_threshold([&] {
        GuardedBuffer record(volume_size);
        EXPECT_EQ(ask(record, volume_size), 0u);
        EXPECT_EQ(record.difference(whole().bytes()), "");
        GuardedBuffer by_name(volume_size);
        EXPECT_EQ(ask(by_name, volume_size, L"\\Device\\v2", nullptr), 1u);
        EXPECT_TRUE(by_name.untouched());
        expect_log({entering,
                    {6, "GetDgVolumePropertiesW(), Total volume objects = 2"},
                    exiting,
                    entering,
                    {0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x28)"},
                    {0, "GetDgVolumePropertiesW():GetDgObjId() failed, error=(0x1) "}});
    });
}

TEST_F(GroupVolume, IsTheFirstOfSeveralOfThatName) {
    scenario = R"({"disk_groups": [{"name": "dg", "dgid": "guid-1", "volumes": [
        {"name": "v1", "device": "other", "type": 7},
        {"name": "v2", "device": "TWIN", "type": 1, "state": 2, "size": 3},
        {"name": "v3", "device": "twin", "type": 4, "state": 5, "size": 6}]}]})";
    mounts.clear();
    once([&] {
        GuardedBuffer record(volume_size);
        EXPECT_EQ(ask(record, volume_size, L"twin"), 0u);
        Image wanted(volume_size);
        wanted.volume(0, {L"TWIN", L"", {}, {}, L"", 1, 2, 3});
        EXPECT_EQ(record.difference(wanted.bytes()), "");
        // The search ends with it.
        EXPECT_THAT(calls(),
                    testing::Not(testing::Contains(testing::StartsWith("ObGetProperty @v3"))));
    });
}

TEST_F(GroupVolume, NarrowForm) {
    once([&] {
        GuardedBuffer record(volume_size);
        size = volume_size;
        const auto call = [&](const char* name, const char* device) {
            return FARLO(GetDgVolumePropertiesA)(handle, name, nullptr, device,
                                                 record.as<VolInfo>(), &size);
        };
        EXPECT_EQ(call("dg", "\\Device\\v2"), 0u);
        EXPECT_EQ(call("dg", std::string(31, 'n').c_str()), 0x63u);
        start_watching();
        EXPECT_EQ(call("dg", std::string(32, 'n').c_str()), 0x80070057u);
        EXPECT_EQ(call(std::string(32, 'n').c_str(), "\\Device\\v2"), 0x80070057u);
        expect_log({{0, "GetDgVolumePropertiesA() failed , device string of more than 31 "
                        "characters or invalid, error=(0x80070057)"},
                    {0, "GetDgVolumePropertiesA() failed , name string of more than 31 "
                        "characters or invalid, error=(0x80070057)"}});
    });
}

}  // namespace
