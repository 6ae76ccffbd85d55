// GetDgVolProperties, and what the light form of a volume's record holds.
#include "fake_mount_manager.h"
#include "record_test.h"

#include <algorithm>

namespace {

using namespace records;

constexpr std::uint32_t whole_size = 8 + 2 * volume_size;

class LightRecord : public RecordTest {
  protected:
    LightRecord() {
        scenario = R"({"disk_groups": [
            {"name": "dg", "dgid": "guid-1",
             "disks": [{"name": "d1", "signature": 4660}, {"name": "d2", "signature": 17}],
             "volumes": [{"name": "v1", "device": "\\Device\\v1", "type": 7, "state": 4,
                          "size": 5000000000, "file_system": {"type": "NTFS", "label": "Data"}},
                         {"name": "v2", "device": "\\Device\\v2", "type": 8, "size": 6}]},
            {"name": "diskless", "dgid": "guid-2",
             "volumes": [{"name": "v3", "device": "\\Device\\v3", "type": 9, "size": 1},
                         {"name": "v4", "device": "\\Device\\v4", "type": 10, "size": 2}]},
            {"name": "empty", "dgid": "guid-3"},
            {"name": "local", "dgid": "guid-4", "type": 1}]})";
    }

    std::uint32_t ask(const char* guid, GuardedBuffer& record, std::uint32_t record_size) {
        size = record_size;
        return FARLO(GetDgVolPropertiesW)(handle, nullptr, guid, record.as<DgVolInfo>(), &size);
    }
    // With the links of all volumes.
    std::uint32_t ask_with_links(const char* guid, GuardedBuffer& record,
                                 std::uint32_t record_size) {
        MountManager manager(dll().module());
        manager.links = all_links;
        const std::uint32_t status = ask(guid, record, record_size);
        EXPECT_EQ(manager.faults, Lines{});
        asked = manager.lines;
        return status;
    }

    Image whole() const {
        Image image(whole_size);
        image.number<std::uint32_t>(0, 2).number<std::uint32_t>(4, 4660);
        return image.volume(8, v1).volume(8 + volume_size, v2);
    }

    std::uint32_t size = 0;
    Volume v1{L"\\Device\\v1", L"F:", {}, {}, {}, 7, {}, 5000000000};
    Volume v2{L"\\Device\\v2", L"", {}, {}, {}, 8, {}, 6};
    Lines asked;
    std::map<std::wstring, std::vector<std::wstring>> all_links = {
        {L"\\Device\\v1", {L"\\??\\Volume{1}", L"\\DosDevices\\F:"}},
        {L"\\Device\\v2", {L"\\??\\Volume{2}"}},
        {L"\\Device\\v3", {L"\\DosDevices\\G:", L"\\DosDevices\\H:"}}};
};

const Expected entering{4, "Entering GetDgVolPropertiesW - (null)"};
const Expected exiting{4, "Exiting GetDgVolPropertiesW"};

TEST_F(LightRecord, HoldsTheSignatureAndTheVolumes) {
    at_every_threshold([&] {
        GuardedBuffer record(whole_size);
        EXPECT_EQ(ask_with_links("guid-1", record, whole_size), 0u);
        EXPECT_EQ(size, whole_size);
        EXPECT_EQ(record.difference(whole().bytes()), "");
        EXPECT_EQ(asked, (Lines{"open", "ask \\Device\\v1", "close", "open", "ask \\Device\\v2",
                                "close"}));
        expect_calls({groups("@dg @diskless @empty @local"), read("dg", "LDM DG TYPE", uint32(2)),
                      read("dg", "dgid", str("guid-1")), child("dg", "tamo_ztvm_disk", "@d1 @d2"),
                      child("dg", "tamo_ztvm_volume", "@v1 @v2"),
                      read("d1", "SIGNATURE", uint32(4660)),
                      read("v1", "DEVICE NAME", wstr(R"(\\Device\\v1)")),
                      read("v1", "type", uint32(7)), read("v1", "size", "UINT64 5000000000"),
                      read("v2", "DEVICE NAME", wstr(R"(\\Device\\v2)")),
                      read("v2", "type", uint32(8)), read("v2", "size", "UINT64 6")});
        expect_log({entering, exiting});
    });
}

// Without a disk there is no signature, but the size is the same.
TEST_F(LightRecord, BeginsItsVolumesAtOffsetFourWithoutADisk) {
    at_every_threshold([&] {
        GuardedBuffer record(whole_size);
        EXPECT_EQ(ask_with_links("guid-2", record, whole_size - 1), 97u);
        EXPECT_EQ(size, whole_size);
        EXPECT_TRUE(record.untouched());
        EXPECT_EQ(asked, Lines{});
        EXPECT_EQ(ask_with_links("guid-2", record, whole_size), 0u);
        Image wanted(whole_size);
        wanted.number<std::uint32_t>(0, 2);
        wanted.volume(4, {L"\\Device\\v3", L"G:", {}, {}, {}, 9, {}, 1});
        wanted.volume(4 + volume_size, {L"\\Device\\v4", L"", {}, {}, {}, 10, {}, 2});
        EXPECT_EQ(record.difference(wanted.bytes()), "");
        expect_log({entering, exiting, entering, exiting});
    });
}

TEST_F(LightRecord, OfAnEmptyGroupIsACount) {
    at_every_threshold([&] {
        GuardedBuffer record(8);
        EXPECT_EQ(ask("guid-3", record, 7), 97u);
        EXPECT_EQ(size, 8u);
        EXPECT_EQ(ask("guid-3", record, 8), 0u);
        EXPECT_EQ(record.difference(Image(8).number<std::uint32_t>(0, 0).bytes()), "");
    });
}

TEST_F(LightRecord, TellsTheSizeThatIsNeeded) {
    at_every_threshold([&] {
        for (const std::uint32_t too_small : {0u, 8u, whole_size - 1}) {
            start_watching();
            GuardedBuffer record(whole_size);
            EXPECT_EQ(ask("guid-1", record, too_small), 97u);
            EXPECT_EQ(size, whole_size);
            EXPECT_TRUE(record.untouched());
            expect_log({entering, exiting});
        }
        size = 0;
        EXPECT_EQ(FARLO(GetDgVolPropertiesW)(handle, nullptr, "guid-1", nullptr, &size), 97u);
        EXPECT_EQ(size, whole_size);
    });
}

TEST_F(LightRecord, ChecksItsArguments) {
    at_every_threshold([&] {
        size = whole_size;
        EXPECT_EQ(FARLO(GetDgVolPropertiesW)(nullptr, nullptr, nullptr, nullptr, &size), 100u);
        EXPECT_EQ(FARLO(GetDgVolPropertiesW)(handle, nullptr, nullptr, nullptr, &size), 0x13u);
        EXPECT_EQ(FARLO(GetDgVolPropertiesW)(handle, nullptr, "guid-1", nullptr, nullptr), 0x13u);
        EXPECT_EQ(FARLO(GetDgVolPropertiesW)(handle, nullptr, "guid-1", nullptr, &size), 0x13u);
        EXPECT_EQ(FARLO(GetDgVolPropertiesW)(handle, nullptr, "guid-4", nullptr, &size), 1u);
        disconnect();
        EXPECT_EQ(FARLO(GetDgVolPropertiesW)(handle, nullptr, nullptr, nullptr, &size), 20u);
        expect_log({entering,
                    {0, "GetDgVolPropertiesW() failed , NULL opal_handle, error=(0x64)"},
                    entering,
                    {0, "GetDgVolPropertiesW():GetDgObjId() failed, error=(0x13)"},
                    entering,
                    {0, "GetDgVolPropertiesW() failed , pInfoSize == NULL, error=(0x13)"},
                    entering,
                    {0, "GetDgVolPropertiesW() failed , pDgInfo == NULL, error=(0x13)"},
                    entering,
                    {0, "GetDgObjIdByGuid() failed , DG_TYPENAME not found in OPAL, error=(0x28)"},
                    {0, "GetDgVolPropertiesW():GetDgObjId() failed, error=(0x1)"},
                    entering,
                    {0, "GetDgVolPropertiesW() failed , opal_handle not connected, error=(0x14)"}});
    });
}

TEST_F(LightRecord, OfAGroupThatCannotBeWalked) {
    at_every_threshold([&] {
        for (const char* type : {"tamo_ztvm_disk", "tamo_ztvm_volume"}) {
            set_rules(
                failing(R"("function": "ObGetChildObjects", "type": ")" + std::string(type) + '"'));
            start_watching();
            GuardedBuffer record(whole_size);
            EXPECT_EQ(ask("guid-1", record, whole_size + 1), 0x12u);
            EXPECT_EQ(size, whole_size + 1);
            EXPECT_TRUE(record.untouched());
            expect_log({entering,
                        {6, "API_TRY_CATCH_FAILED "},
                        {0, "GetDgVolPropertiesW() failed, error=(0x12) "},
                        exiting});
        }
    });
}

// Whatever the call came to: a record, a size that is too small, an exception.
TEST_F(LightRecord, ConnectionThatDropsMeanwhile) {
    const auto with = [this](std::uint32_t room) {
        return
            [this, room](GuardedBuffer& record) { return ask_with_links("guid-1", record, room); };
    };
    const std::vector<Drop> drops = {
        {reading("v2", "size"), with(whole_size), true, {}},
        {walking_to("tamo_ztvm_volume"), with(0), false, {}},
        {walking_to("tamo_ztvm_disk"), with(whole_size), false, {caught}}};
    expect_drops_told(drops, whole(), size, whole_size, entering,
                      {{0, "GetDgVolPropertiesW() failed, error=(0x14) "}, exiting});
}

// The connection is looked at again only where the last line is reached.
TEST_F(LightRecord, ConnectionThatDropsBeforeAnEarlyEnd) {
    at_every_threshold([&] {
        set_rules(dropping(walking_to("tamo_ztvm_volume")));
        size = whole_size;
        EXPECT_EQ(FARLO(GetDgVolPropertiesW)(handle, nullptr, "guid-1", nullptr, &size), 0x13u);
        EXPECT_EQ(size, whole_size);
        expect_log({entering, {0, "GetDgVolPropertiesW() failed , pDgInfo == NULL, error=(0x13)"}});
    });
    at_every_threshold([&] {
        set_rules(dropping(reading("dg", "LDM DG TYPE")));
        GuardedBuffer record(whole_size);
        EXPECT_EQ(ask("guid-1", record, whole_size), 1u);
        EXPECT_TRUE(record.untouched());
        expect_log({entering,
                    {0, "GetDgObjIdByGuid() failed , DG_TYPENAME not found in OPAL, error=(0x1)"},
                    {0, "GetDgVolPropertiesW():GetDgObjId() failed, error=(0x1)"}});
    });
}

TEST_F(LightRecord, EveryAllocationThatFails) {
    // Also of the question for a drive letter, which stays empty then.
    all_links.clear();
    v1.letter = L"";
    expect_whole_or_less(whole(), [&](GuardedBuffer& record) {
        return ask_with_links("guid-1", record, whole_size);
    });
    EXPECT_EQ(size, whole_size);
}

// Type 8 is a cluster group by its GUID, not by its name.
TEST_F(LightRecord, OfASharedGroup) {
    scenario = R"({"disk_groups": [{"name": "dg", "dgid": "guid-8", "type": 8}]})";
    at_every_threshold([&] {
        GuardedBuffer record(8);
        EXPECT_EQ(ask("guid-8", record, 8), 0u);
        EXPECT_EQ(record.difference(Image(8).number<std::uint32_t>(0, 0).bytes()), "");
        EXPECT_EQ(FARLO(GetDgVolPropertiesW)(handle, L"dg", nullptr, record.as<DgVolInfo>(), &size),
                  1u);
        expect_log({entering,
                    exiting,
                    {4, "Entering GetDgVolPropertiesW - dg"},
                    {0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x28)"},
                    {0, "GetDgVolPropertiesW():GetDgObjId() failed, error=(0x1)"}});
    });
}

// Unlike the full records: a signature of 0 is the disk's own.
TEST_F(LightRecord, FormsNoSignature) {
    scenario = R"({"disk_groups": [{"name": "dg", "dgid": "guid-1", "disks": [
        {"name": "d1", "disk_id": "1a2b3c4d-5e6f"}, {"name": "d2", "signature": 17}]}]})";
    at_every_threshold([&] {
        GuardedBuffer record(8);
        EXPECT_EQ(ask("guid-1", record, 8), 0u);
        EXPECT_EQ(record.difference(
                      Image(8).number<std::uint32_t>(0, 0).number<std::uint32_t>(4, 0).bytes()),
                  "");
        expect_calls({groups("@dg"), read("dg", "LDM DG TYPE", uint32(2)),
                      read("dg", "dgid", str("guid-1")), child("dg", "tamo_ztvm_disk", "@d1 @d2"),
                      child("dg", "tamo_ztvm_volume", ""), read("d1", "SIGNATURE", uint32(0))});
        expect_log({entering, exiting});
    });
}

// So many volumes that 32 bits of the size hide most of it.
TEST_F(LightRecord, IsNotWrittenBeyondABufferThatOnlyTheWrappedSizeFits) {
    constexpr std::uint32_t count = 2'593'580;
    constexpr std::uint32_t wrapped = 1192;
    static_assert(static_cast<std::uint32_t>(8 + std::uint64_t{volume_size} * count) == wrapped);
    once([&] {
        const ManyVolumes volumes(dll().module(), count);
        GuardedBuffer record(wrapped);
        EXPECT_EQ(ask("guid-1", record, wrapped - 1), 97u);
        EXPECT_EQ(size, wrapped);
        EXPECT_TRUE(record.untouched());
        start_watching();
        EXPECT_EQ(ask("guid-1", record, wrapped), 0x12u);
        EXPECT_EQ(size, wrapped);
        EXPECT_TRUE(record.untouched());
        expect_log({entering, caught, {0, "GetDgVolPropertiesW() failed, error=(0x12) "}, exiting});
    });
}

// A signature that cannot be read keeps its place.
TEST_F(LightRecord, SkipsWhatCannotBeRead) {
    struct Skipped {
        const char* object;
        const char* property;
        std::function<void(Image&)> put;
    };
    const auto signature = [](Image& image) { image.number<std::uint32_t>(4, 4660); };
    const Skipped all[] = {
        {"d1", "SIGNATURE",
         [](Image& image) {
             image.volume(8, {L"\\Device\\v1", L"F:", {}, {}, {}, 7, {}, 5000000000});
         }},
        // Without its name the volume's links cannot be asked.
        {"v1", "DEVICE NAME",
         [&](Image& image) {
             signature(image);
             image.volume(8, {{}, L"", {}, {}, {}, 7, {}, 5000000000});
         }},
        {"v1", "type",
         [&](Image& image) {
             signature(image);
             image.volume(8, {L"\\Device\\v1", L"F:", {}, {}, {}, {}, {}, 5000000000});
         }},
        {"v1", "size", [&](Image& image) {
             signature(image);
             image.volume(8, {L"\\Device\\v1", L"F:", {}, {}, {}, 7, {}, {}});
         }}};
    once([&] {
        for (const Skipped& skipped : all) {
            for (const char* fault : {R"("status": "0xc100003a")", R"("as": "BINARY")"}) {
                SCOPED_TRACE(std::string(skipped.property) + fault);
                set_rules(std::string(R"({"function": "ObGetProperty", "object": ")") +
                          skipped.object + R"(", "property": ")" + skipped.property + "\", " +
                          fault + "},");
                GuardedBuffer record(whole_size);
                start_watching();
                EXPECT_EQ(ask_with_links("guid-1", record, whole_size), 0u);
                expect_log({entering, exiting});
                Image wanted(whole_size);
                wanted.number<std::uint32_t>(0, 2);
                skipped.put(wanted);
                wanted.volume(8 + volume_size, {L"\\Device\\v2", L"", {}, {}, {}, 8, {}, 6});
                EXPECT_EQ(record.difference(wanted.bytes()), "");
            }
        }
    });
}

TEST_F(LightRecord, NarrowForm) {
    once([&] {
        GuardedBuffer record(8);
        size = 8;
        EXPECT_EQ(
            FARLO(GetDgVolPropertiesA)(handle, "empty", nullptr, record.as<DgVolInfo>(), &size),
            0u);
        EXPECT_EQ(FARLO(GetDgVolPropertiesA)(handle, std::string(32, 'n').c_str(), "guid-3",
                                             record.as<DgVolInfo>(), &size),
                  0x80070057u);
        expect_log({{4, "Entering GetDgVolPropertiesW - empty"},
                    exiting,
                    {0, "GetDgVolPropertiesA() failed , name string of more than 31 characters or "
                        "invalid, error=(0x80070057)"}});
    });
}

// The functions of farlo.h take both shapes apart, whatever the volumes are called.
TEST_F(LightRecord, IsTakenApartByTheHeadersFunctions) {
    for (const bool has_disk : {false, true}) {
        for (const bool has_letter : {false, true}) {
            for (const std::size_t length : {1u, 257u, 258u, 259u, 260u, 300u}) {
                SCOPED_TRACE(std::to_string(has_disk) + std::to_string(has_letter) +
                             std::to_string(length));
                const std::string device(length, ':');
                scenario = R"({"disk_groups": [{"name": "dg", "dgid": "guid-1", "disks": [)" +
                           std::string(has_disk ? R"({"name": "d", "signature": 4660})" : "") +
                           R"(], "volumes": [{"name": "v", "device": ")" + device +
                           R"(", "size": 3}, {"name": "w", "device": "x", "size": 4}]}]})";
                all_links.clear();
                if (has_letter) {
                    all_links[std::wstring(length, L':')] = {L"\\DosDevices\\F:"};
                }
                once([&] {
                    GuardedBuffer record(whole_size);
                    const std::uint32_t passed =
                        farlo_dg_vol_info_prepare(record.data(), record.size());
                    ASSERT_EQ(passed, whole_size);
                    EXPECT_EQ(ask_with_links("guid-1", record, passed), 0u);
                    const auto* const info = record.as<DgVolInfo>();
                    EXPECT_EQ(farlo_dg_vol_info_signature(info, passed), has_disk ? 4660u : 0u);
                    const VolInfo* const first = farlo_dg_vol_info_volume(info, passed, 0);
                    const VolInfo* const second = farlo_dg_vol_info_volume(info, passed, 1);
                    ASSERT_TRUE(first != nullptr && second != nullptr);
                    EXPECT_EQ(std::wstring(first->device_name),
                              std::wstring(std::min<std::size_t>(length, 259), L':'));
                    EXPECT_EQ(std::wstring(first->drive_letter), has_letter ? L"F:" : L"");
                    EXPECT_EQ(std::uint64_t{first->size}, 3u);
                    EXPECT_EQ(std::wstring(second->device_name), L"x");
                    EXPECT_EQ(std::uint64_t{second->size}, 4u);
                    EXPECT_EQ(farlo_dg_vol_info_volume(info, passed, 2), nullptr);
                });
            }
        }
    }
}

}  // namespace
