// GetUnusableVolumesInfo.
#include "fake_mount_manager.h"
#include "record_test.h"

namespace {

using namespace records;

class UnusableVolumes : public RecordTest {
  protected:
    UnusableVolumes() {
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

    std::uint32_t ask(GuardedBuffer& records, std::uint32_t room, const wchar_t* name = L"dg",
                      const char* guid = nullptr) {
        MountManager manager(dll().module());
        manager.links = links;
        count = room;
        const std::uint32_t status =
            FARLO(GetUnusableVolumesInfo)(handle, name, guid, records.as<VolInfo>(), &count);
        EXPECT_EQ(manager.faults, Lines{});
        asked = manager.lines;
        return status;
    }

    Image whole() const { return Image(2 * volume_size).volume(0, bad).volume(volume_size, bare); }

    std::map<std::wstring, std::vector<std::wstring>> links;
    std::uint32_t count = 0;
    Lines asked;
    Volume bad{L"\\Device\\bad", L"E:", {}, {}, L"", 5, 260 | 0x20, 7};
    Volume bare{L"\\Device\\bare", L"", {}, {}, L"", 6, std::int64_t{-0x80000000LL} | 0x20, 8};
};

const Expected entering{4, "Entering GetUnusableVolumesInfo - dg"};
const Expected exiting{4, "Exiting GetUnusableVolumesInfo"};
const std::string all_groups = groups("@dg @empty @fine @local");
const Lines look = {all_groups,
                    read("dg", "LDM DG TYPE", uint32(2)),
                    read("dg", "Name", wstr("dg")),
                    child("dg", "tamo_ztvm_volume", "@dco @good @bad @bare"),
                    read("dco", "isdco", "BOOLEAN true"),
                    read("good", "isdco", "BOOLEAN false"),
                    read("good", "ztvmstate", uint32(1)),
                    read("good", "DEVICE NAME", wstr(R"(\\Device\\good)")),
                    read("bad", "isdco", "BOOLEAN false"),
                    read("bad", "ztvmstate", uint32(260)),
                    read("bare", "isdco", "BOOLEAN false"),
                    read("bare", "ztvmstate", uint32(0x80000000)),
                    read("bare", "DEVICE NAME", wstr(R"(\\Device\\bare)"))};

Lines fill(const std::string& name, std::uint32_t type, std::uint32_t state,
           const std::string& size) {
    return {read(name, "DEVICE NAME", wstr(R"(\\Device\\)" + name)),
            ask_mounts(name),
            ask_letter(name),
            child(name, "tamo_fs_nt", ""),
            read(name, "type", uint32(type)),
            read(name, "ztvmstate", uint32(state)),
            read(name, "size", "UINT64 " + size)};
}

TEST_F(UnusableVolumes, AreListedAndMarked) {
    at_every_threshold([&] {
        GuardedBuffer records(2 * volume_size);
        EXPECT_EQ(ask(records, 2), 0u);
        EXPECT_EQ(count, 2u);
        EXPECT_EQ(records.difference(whole().bytes()), "");
        EXPECT_EQ(asked, (Lines{"open", "ask \\Device\\good", "close", "open", "ask \\Device\\bare",
                                "close"}));
        expect_calls(look + fill("bad", 5, 260, "7") + fill("bare", 6, 0x80000000, "8"));
        expect_log({entering, {0, "  Vol.Count: 4 \t Unusable Vol.Count: 2 \n"}, exiting});
    });
}

// A volume without a device name has no link: it is unusable, and nothing is asked.
TEST_F(UnusableVolumes, IncludeOneWithoutADeviceName) {
    scenario = R"({"disk_groups": [{"name": "dg", "dgid": "guid-1", "volumes": [
        {"name": "nameless", "device": "", "state": 1}]}]})";
    links[L""] = {L"\\??\\Volume{1}"};
    mounts.clear();
    at_every_threshold([&] {
        GuardedBuffer records(volume_size);
        EXPECT_EQ(ask(records, 1), 0u);
        EXPECT_EQ(count, 1u);
        EXPECT_EQ(asked, Lines{});
        expect_log({entering, {0, "  Vol.Count: 1 \t Unusable Vol.Count: 1 \n"}, exiting});
    });
}

// More room than volumes; the count comes back.
TEST_F(UnusableVolumes, AreCountedInRecords) {
    at_every_threshold([&] {
        GuardedBuffer records(3 * volume_size);
        for (const std::uint32_t too_few : {0u, 1u}) {
            start_watching();
            EXPECT_EQ(ask(records, too_few), 97u);
            EXPECT_EQ(count, 2u);
            EXPECT_TRUE(records.untouched());
            expect_calls(look);
            expect_log({entering, exiting});
        }
        EXPECT_EQ(ask(records, 3), 0u);
        EXPECT_EQ(count, 2u);
        const auto bytes = records.bytes();
        for (std::size_t i = 2 * volume_size; i < bytes.size(); ++i) {
            ASSERT_EQ(bytes[i], GuardedBuffer::canary);
        }
    });
}

TEST_F(UnusableVolumes, AreToldByExactlyTheseBits) {
    for (int bit = 0; bit < 32; ++bit) {
        const std::uint32_t state = 1u << bit;
        const bool unusable = state == 0x4 || state == 0x10 || state == 0x20 || state == 0x100;
        scenario = R"({"disk_groups": [{"name": "dg", "dgid": "guid-1", "volumes": [
            {"name": "good", "device": "\\Device\\good", "state": )" +
                   std::to_string(state) + "}]}]}";
        once([&] {
            GuardedBuffer records(volume_size);
            EXPECT_EQ(ask(records, 0), unusable ? 97u : 0u) << state;
            EXPECT_EQ(count, unusable ? 1u : 0u);
            EXPECT_EQ(asked.size(), unusable ? 0u : 3u);
        });
    }
}

TEST_F(UnusableVolumes, IncludeThoseWhoseLinksCannotBeAsked) {
    once([&] {
        for (const bool opens : {true, false}) {
            MountManager manager(dll().module());
            manager.refuses_to_open = !opens;
            manager.refuses_to_answer = true;
            GuardedBuffer records(volume_size);
            count = 0;
            EXPECT_EQ(FARLO(GetUnusableVolumesInfo)(handle, L"dg", nullptr, records.as<VolInfo>(),
                                                    &count),
                      97u);
            EXPECT_EQ(count, 3u);
        }
    });
}

TEST_F(UnusableVolumes, MayBeNone) {
    at_every_threshold([&] {
        GuardedBuffer records(volume_size);
        EXPECT_EQ(ask(records, 1, L"fine"), 0u);
        EXPECT_EQ(count, 0u);
        EXPECT_EQ(ask(records, 1, nullptr, "guid-3"), 0u);
        EXPECT_EQ(count, 0u);
        EXPECT_TRUE(records.untouched());
        EXPECT_EQ(asked, Lines{});
        expect_log({{4, "Entering GetUnusableVolumesInfo - fine"},
                    {0, "GetUnusableVolumesInfo::No Unusable Volume present in DG: fine"},
                    exiting,
                    {4, "Entering GetUnusableVolumesInfo - (null)"},
                    {0, "GetUnusableVolumesInfo::No Unusable Volume present in DG: DG-GUID"},
                    exiting});
    });
}

TEST_F(UnusableVolumes, OfAGroupWithoutVolumes) {
    at_every_threshold([&] {
        GuardedBuffer records(volume_size);
        EXPECT_EQ(ask(records, 1, L"empty"), 0x63u);
        EXPECT_EQ(ask(records, 1, nullptr, "guid-2"), 0x63u);
        EXPECT_EQ(count, 1u);
        expect_log({{4, "Entering GetUnusableVolumesInfo - empty"},
                    {0, "GetUnusableVolumesInfo::No Volume present in DG: empty, error=(0x63)"},
                    exiting,
                    {4, "Entering GetUnusableVolumesInfo - (null)"},
                    {0, "GetUnusableVolumesInfo::No Volume present in DG: DG-GUID, error=(0x63)"},
                    exiting});
    });
}

TEST_F(UnusableVolumes, OfAGroupThatIsNotFound) {
    at_every_threshold([&] {
        GuardedBuffer records(volume_size);
        EXPECT_EQ(ask(records, 1, L"local"), 1u);
        EXPECT_EQ(ask(records, 1, nullptr, "nowhere"), 1u);
        EXPECT_EQ(ask(records, 1, L"", nullptr), 0x13u);
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

TEST_F(UnusableVolumes, ChecksItsArgumentsInOrder) {
    at_every_threshold([&] {
        GuardedBuffer records(volume_size);
        auto* const out = records.as<VolInfo>();
        const auto call = FARLO(GetUnusableVolumesInfo);
        EXPECT_EQ(call(nullptr, nullptr, nullptr, nullptr, nullptr), 100u);
        disconnect();
        EXPECT_EQ(call(handle, nullptr, nullptr, nullptr, nullptr), 0x13u);
        EXPECT_EQ(call(handle, L"dg", nullptr, nullptr, nullptr), 0x13u);
        EXPECT_EQ(call(handle, nullptr, "", out, nullptr), 0x13u);
        EXPECT_EQ(call(handle, L"dg", nullptr, out, &count), 0x14u);
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

// No line tells of the failure but the exception's.
TEST_F(UnusableVolumes, OfAGroupThatCannotBeWalked) {
    at_every_threshold([&] {
        GuardedBuffer records(2 * volume_size);
        for (const char* keys :
             {R"("function": "ObGetChildObjects", "type": "tamo_ztvm_volume")",
              R"("property": "isdco", "object": "bare")",
              R"("property": "ztvmstate", "object": "good", "times": 1, "call": 1)",
              R"("property": "DEVICE NAME", "object": "bare")"}) {
            SCOPED_TRACE(keys);
            set_rules(failing(keys));
            start_watching();
            EXPECT_EQ(ask(records, 2), 0x12u);
            EXPECT_EQ(count, 2u);
            EXPECT_TRUE(records.untouched());
            expect_log({entering, {6, "API_TRY_CATCH_FAILED "}, exiting});
        }
    });
}

// Whatever the call came to; no line tells of that either.
TEST_F(UnusableVolumes, OfAConnectionThatDropsMeanwhile) {
    struct Drop {
        std::string when;
        const wchar_t* name;
        std::uint32_t room;
        std::uint32_t stored;
        bool written;
        Log lines;
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
        {walking_to("tamo_ztvm_volume"),
         L"empty",
         3,
         3,
         false,
         {{0, "GetUnusableVolumesInfo::No Volume present in DG: empty, error=(0x63)"}}},
        {walking_to("tamo_ztvm_volume"), L"dg", 3, 3, false, {caught}}};
    for (const Drop& drop : drops) {
        SCOPED_TRACE(drop.when);
        at_every_threshold([&] {
            set_rules(dropping(drop.when));
            GuardedBuffer records(2 * volume_size);
            EXPECT_EQ(ask(records, drop.room, drop.name), 0x14u);
            EXPECT_EQ(count, drop.stored);
            EXPECT_EQ(records.difference((drop.written ? whole() : Image(2 * volume_size)).bytes()),
                      "");
            const std::wstring name = drop.name;
            expect_log(Log{{4, "Entering GetUnusableVolumesInfo - " +
                                   std::string(name.begin(), name.end())}} +
                       drop.lines + Log{exiting});
        });
    }
}

// The connection is looked at again only where the last line is reached.
TEST_F(UnusableVolumes, OfAConnectionThatDropsDuringTheSearchForTheGroup) {
    at_every_threshold([&] {
        set_rules(dropping(reading("dg", "LDM DG TYPE")));
        GuardedBuffer records(2 * volume_size);
        EXPECT_EQ(ask(records, 2), 1u);
        EXPECT_EQ(count, 2u);
        EXPECT_TRUE(records.untouched());
        expect_log({entering,
                    {0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x1)"},
                    {0, "GetUnusableVolumesInfo::GetDgObjId failed for DG: dg,  error=(0x1)"}});
    });
}

// Without memory for the question a volume counts as one without a link.
TEST_F(UnusableVolumes, EveryAllocationThatFails) {
    mounts.clear();
    bad.letter = L"";
    links.clear();
    scenario.erase(
        scenario.find(R"({"name": "good")"),
        std::string(R"({"name": "good", "device": "\\Device\\good", "state": 1},)").size());
    expect_whole_or_less(whole(), [&](GuardedBuffer& records) { return ask(records, 2); });
    EXPECT_EQ(count, 2u);
}
TEST_F(UnusableVolumes, IncludeThoseWhoseLinksHadNoMemory) {
    std::vector<std::uint32_t> results;
    at_every_allocation([&] {
        GuardedBuffer records(2 * volume_size);
        results.push_back(ask(records, 2));
        EXPECT_EQ(count, results.back() == 97 ? 3u : 2u);
        EXPECT_EQ(records.untouched(), results.back() != 0);
    });
    EXPECT_THAT(results, testing::Each(testing::AnyOf(0u, 0x12u, 97u)));
    EXPECT_THAT(results, testing::Contains(97u).Times(2));
}

// Type 8 is a cluster group by its GUID, not by its name.
TEST_F(UnusableVolumes, OfASharedGroup) {
    scenario.replace(scenario.find(R"("guid-1",)"), 9, R"("guid-1", "type": 8,)");
    at_every_threshold([&] {
        GuardedBuffer records(2 * volume_size);
        EXPECT_EQ(ask(records, 2), 1u);
        EXPECT_TRUE(records.untouched());
        EXPECT_EQ(ask(records, 2, nullptr, "guid-1"), 0u);
        EXPECT_EQ(records.difference(whole().bytes()), "");
        expect_log({entering,
                    {0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x28)"},
                    {0, "GetUnusableVolumesInfo::GetDgObjId failed for DG: dg,  error=(0x1)"},
                    {4, "Entering GetUnusableVolumesInfo - (null)"},
                    {0, "  Vol.Count: 4 \t Unusable Vol.Count: 2 \n"},
                    exiting});
    });
}

// A link is a volume GUID name when it contains exactly this text.
TEST_F(UnusableVolumes, HaveNoLinkWithTheTextOfAVolumeGuidName) {
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
            EXPECT_EQ(ask(records, 0), 97u);
            EXPECT_EQ(count, usable ? 2u : 3u) << testing::PrintToString(std::wstring(name));
        }
    });
}

// The mark is set in what the buffer held, when the state cannot be read again.
TEST_F(UnusableVolumes, AreMarkedInWhateverTheStateHolds) {
    once([&] {
        set_rules(failing(R"("property": "ztvmstate", "object": "bad", "call": 2)"));
        GuardedBuffer records(2 * volume_size);
        EXPECT_EQ(ask(records, 2), 0u);
        std::uint64_t state = 0;
        std::memcpy(&state, records.data() + 1640, sizeof state);
        EXPECT_EQ(state, 0xC5C5C5C5C5C5C5C5u | 0x20);
    });
}

}  // namespace
