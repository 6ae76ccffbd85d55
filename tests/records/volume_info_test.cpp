// GetVolumeInfo.
#include "fake_mount_manager.h"
#include "record_test.h"

namespace {

using namespace records;

class VolumeInfo : public RecordTest {
  protected:
    VolumeInfo() {
        scenario = R"({"disk_groups": [
            {"name": "dg", "dgid": "guid-1", "volumes": [
                {"name": "v1", "device": "\\Device\\v1"},
                {"name": "v2", "device": "\\Device\\v2", "type": 8, "state": 4, "size": 6}]},
            {"name": "empty", "dgid": "guid-2"},
            {"name": "local", "dgid": "guid-3", "type": 1}]})";
        links = {{L"\\Device\\v2", {L"\\DosDevices\\F:", L"\\??\\Volume{1}"}}};
    }

    std::uint32_t ask(GuardedBuffer& record, std::uint32_t record_size,
                      const wchar_t* device = L"\\DEVICE\\V2", const wchar_t* name = L"dg") {
        MountManager manager(dll().module());
        manager.links = links;
        size = record_size;
        const std::uint32_t status =
            FARLO(GetVolumeInfo)(handle, name, nullptr, device, record.as<VolInfo>(), &size);
        EXPECT_EQ(manager.faults, Lines{});
        asked = manager.lines;
        return status;
    }

    Image whole() const { return Image(volume_size).volume(0, v2); }

    std::map<std::wstring, std::vector<std::wstring>> links;
    std::uint32_t size = 0;
    Lines asked;
    Volume v2{L"\\Device\\v2", L"", {}, {}, L"", 8, 4, 6};
};

const Expected entering{4, "Entering GetVolumeInfo - dg"};
const Expected exiting{4, "Exiting GetVolumeInfo"};

// The name is that of the record, not the caller's; state bits do not count.
TEST_F(VolumeInfo, IsUsableWithAVolumeGuidName) {
    at_every_threshold([&] {
        GuardedBuffer record(volume_size);
        EXPECT_EQ(ask(record, volume_size), 0u);
        EXPECT_EQ(size, volume_size);
        EXPECT_EQ(record.difference(whole().bytes()), "");
        EXPECT_EQ(asked, (Lines{"open", "ask \\Device\\v2", "close"}));
        expect_calls({groups("@dg @empty @local"), read("dg", "LDM DG TYPE", uint32(2)),
                      read("dg", "Name", wstr("dg")), child("dg", "tamo_ztvm_volume", "@v1 @v2"),
                      read("v1", "DEVICE NAME", wstr(R"(\\Device\\v1)")),
                      read("v2", "DEVICE NAME", wstr(R"(\\Device\\v2)")),
                      read("v2", "DEVICE NAME", wstr(R"(\\Device\\v2)")), ask_mounts("v2"),
                      ask_letter("v2"), child("v2", "tamo_fs_nt", ""),
                      read("v2", "type", uint32(8)), read("v2", "ztvmstate", uint32(4)),
                      read("v2", "size", "UINT64 6")});
        expect_log({entering, exiting});
    });
}

TEST_F(VolumeInfo, IsMarkedWithoutOne) {
    links.clear();
    v2.state = 4 | 0x20;
    at_every_threshold([&] {
        GuardedBuffer record(volume_size);
        EXPECT_EQ(ask(record, volume_size), 0u);
        EXPECT_EQ(record.difference(whole().bytes()), "");
        expect_log({entering, exiting});
    });
}

// What the buffer held is no name without an end.
TEST_F(VolumeInfo, AsksForWhatTheRecordHolds) {
    once([&] {
        set_rules(failing(R"("property": "DEVICE NAME", "object": "v2", "call": 2)"));
        v2.device.reset();
        v2.state = 4 | 0x20;
        GuardedBuffer record(volume_size);
        EXPECT_EQ(ask(record, volume_size), 0u);
        EXPECT_EQ(record.difference(whole().bytes()), "");
        ASSERT_EQ(asked.size(), 3u);
        EXPECT_EQ(asked[1].size(), std::string("ask ").size() + 259);
    });
}

TEST_F(VolumeInfo, TellsTheSizeThatIsNeeded) {
    at_every_threshold([&] {
        for (const std::uint32_t too_small : {0u, std::uint32_t{volume_size} - 1}) {
            start_watching();
            GuardedBuffer record(volume_size);
            EXPECT_EQ(ask(record, too_small, nullptr), 97u);
            EXPECT_EQ(size, volume_size);
            EXPECT_TRUE(record.untouched());
            expect_log({entering, exiting});
        }
    });
}

TEST_F(VolumeInfo, OfAVolumeThatIsNotThere) {
    at_every_threshold([&] {
        GuardedBuffer record(volume_size);
        EXPECT_EQ(ask(record, volume_size, L"v2"), 0x63u);
        EXPECT_EQ(ask(record, volume_size + 1, L"v2", L"empty"), 0x63u);
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

TEST_F(VolumeInfo, ChecksItsArgumentsInOrder) {
    at_every_threshold([&] {
        GuardedBuffer record(volume_size);
        auto* const out = record.as<VolInfo>();
        size = volume_size;
        const auto call = FARLO(GetVolumeInfo);
        EXPECT_EQ(call(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 100u);
        EXPECT_EQ(call(handle, L"local", nullptr, L"v", out, &size), 1u);
        EXPECT_EQ(call(handle, L"dg", nullptr, nullptr, out, &size), 0x13u);
        disconnect();
        EXPECT_EQ(call(handle, nullptr, nullptr, nullptr, nullptr, nullptr), 0x13u);
        EXPECT_EQ(call(handle, L"dg", nullptr, nullptr, nullptr, nullptr), 0x13u);
        EXPECT_EQ(call(handle, L"dg", nullptr, nullptr, out, nullptr), 0x13u);
        EXPECT_EQ(call(handle, L"dg", nullptr, nullptr, out, &size), 20u);
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

TEST_F(VolumeInfo, OfAGroupThatCannotBeWalked) {
    at_every_threshold([&] {
        GuardedBuffer record(volume_size);
        for (const char* keys : {R"("function": "ObGetChildObjects", "type": "tamo_ztvm_volume")",
                                 R"("property": "DEVICE NAME", "object": "v1")"}) {
            set_rules(failing(keys));
            start_watching();
            EXPECT_EQ(ask(record, volume_size), 0x12u);
            EXPECT_TRUE(record.untouched());
            expect_log({entering,
                        {6, "API_TRY_CATCH_FAILED "},
                        {0, "GetVolumeInfo failed, error=(0x12)"},
                        exiting});
        }
        EXPECT_EQ(size, volume_size);
    });
}

// Whatever the call came to: a record, a size that is too small, no such volume, an
// exception.
TEST_F(VolumeInfo, OfAConnectionThatDropsMeanwhile) {
    const auto with = [this](std::uint32_t room, const wchar_t* device) {
        return [this, room, device](GuardedBuffer& record) { return ask(record, room, device); };
    };
    const std::vector<Drop> drops = {
        {reading("v2", "size"), with(volume_size, L"\\Device\\v2"), true, {}},
        {reading("dg", "Name"), with(volume_size - 1, L"\\Device\\v2"), false, {}},
        {reading("v2", "DEVICE NAME"), with(volume_size, L"\\Device\\v3"), false, {}},
        {walking_to("tamo_ztvm_volume"), with(volume_size, L"\\Device\\v2"), false, {caught}}};
    expect_drops_told(drops, whole(), size, volume_size, entering,
                      {{0, "GetVolumeInfo failed, error=(0x14)"}, exiting});
}

// The connection is looked at again only where the last line is reached.
TEST_F(VolumeInfo, OfAConnectionThatDropsDuringTheSearchForTheGroup) {
    at_every_threshold([&] {
        set_rules(dropping(reading("dg", "LDM DG TYPE")));
        GuardedBuffer record(volume_size);
        EXPECT_EQ(ask(record, 0), 1u);
        EXPECT_EQ(size, 0u);
        EXPECT_TRUE(record.untouched());
        expect_log({entering,
                    {0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x1)"},
                    {0, "GetVolumeInfo::GetDgObjId failed, error=(0x1) "}});
    });
}

TEST_F(VolumeInfo, EveryAllocationThatFails) {
    // So that a question without memory has the same answer.
    links.clear();
    v2.state = 4 | 0x20;
    expect_whole_or_less(whole(), [&](GuardedBuffer& record) { return ask(record, volume_size); });
    EXPECT_EQ(size, volume_size);
}

TEST_F(VolumeInfo, IsMarkedWhenTheLinksCannotBeAsked) {
    v2.state = 4 | 0x20;
    at_every_threshold([&] {
        for (const bool opens : {true, false}) {
            MountManager manager(dll().module());
            manager.links = links;
            manager.refuses_to_open = !opens;
            manager.refuses_to_answer = true;
            start_watching();
            GuardedBuffer record(volume_size);
            size = volume_size;
            EXPECT_EQ(FARLO(GetVolumeInfo)(handle, L"dg", nullptr, L"\\Device\\v2",
                                           record.as<VolInfo>(), &size),
                      0u);
            EXPECT_EQ(record.difference(whole().bytes()), "");
            EXPECT_EQ(manager.lines,
                      opens ? (Lines{"open", "ask \\Device\\v2", "close"}) : Lines{"open"});
            expect_log({entering, exiting});
        }
    });
}

// A link is a volume GUID name when it contains exactly this text.
TEST_F(VolumeInfo, IsMarkedWithoutTheTextOfAVolumeGuidName) {
    const std::pair<const wchar_t*, bool> names[] = {{L"\\??\\Volume{", true},
                                                     {L"x\\??\\Volume{1}y", true},
                                                     {L"\\??\\Volume", false},
                                                     {L"\\??\\volume{1}", false},
                                                     {L"\\\\?\\Volume{1}", false}};
    once([&] {
        for (const auto& [name, usable] : names) {
            links[L"\\Device\\v2"] = {name};
            v2.state = usable ? 4 : 4 | 0x20;
            GuardedBuffer record(volume_size);
            EXPECT_EQ(ask(record, volume_size), 0u);
            EXPECT_EQ(record.difference(whole().bytes()), "")
                << testing::PrintToString(std::wstring(name));
        }
    });
}

// Type 8 is a cluster group by its GUID, not by its name.
TEST_F(VolumeInfo, OfASharedGroup) {
    scenario.replace(scenario.find(R"("guid-1",)"), 9, R"("guid-1", "type": 8,)");
    v2.state = 4 | 0x20;
    at_every_threshold([&] {
        GuardedBuffer record(volume_size);
        EXPECT_EQ(ask(record, volume_size), 1u);
        EXPECT_TRUE(record.untouched());
        EXPECT_EQ(FARLO(GetVolumeInfo)(handle, nullptr, "guid-1", L"\\Device\\v2",
                                       record.as<VolInfo>(), &size),
                  0u);
        EXPECT_EQ(record.difference(whole().bytes()), "");
        expect_log({entering,
                    {0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x28)"},
                    {0, "GetVolumeInfo::GetDgObjId failed, error=(0x1) "},
                    {4, "Entering GetVolumeInfo - (null)"},
                    exiting});
    });
}

TEST_F(VolumeInfo, IsThatOfTheFirstOfSeveralOfThatName) {
    scenario = R"({"disk_groups": [{"name": "dg", "dgid": "guid-1", "volumes": [
        {"name": "v1", "device": "other", "type": 7},
        {"name": "v2", "device": "TWIN", "type": 1, "state": 2, "size": 3},
        {"name": "v3", "device": "twin", "type": 4, "state": 5, "size": 6}]}]})";
    once([&] {
        GuardedBuffer record(volume_size);
        EXPECT_EQ(ask(record, volume_size, L"twin"), 0u);
        Image wanted(volume_size);
        wanted.volume(0, {L"TWIN", L"", {}, {}, L"", 1, 2 | 0x20, 3});
        EXPECT_EQ(record.difference(wanted.bytes()), "");
        // The link is asked of the name as it is stored.
        EXPECT_EQ(asked, (Lines{"open", "ask TWIN", "close"}));
    });
}

}  // namespace
