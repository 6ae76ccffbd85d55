// GetDgProperties, and what a volume's record holds.
#include "record_test.h"

#include <algorithm>

namespace {

using namespace records;

constexpr std::size_t whole_size = 8 + 2 * disk_size + 2 * volume_size;
constexpr std::size_t volumes_at = 8 + 2 * disk_size;

class DgRecord : public RecordTest {
  protected:
    DgRecord() {
        scenario = R"({"disk_groups": [
            {"name": "dg", "dgid": "guid-1", "type": 1,
             "disks": [{"name": "d1", "signature": 287454020, "disk_id": "55-66", "port": 1,
                        "target": 2, "lun": 3},
                       {"name": "d2", "disk_id": "1a2b3c4d-5e6f-7788", "port": 4, "target": 5,
                        "lun": 6}],
             "volumes": [{"name": "v1", "device": "\\Device\\v1", "type": 7, "state": 2147483649,
                          "size": 5000000000, "file_system": {"type": "NTFS", "label": "Data"}},
                         {"name": "v2", "device": "\\Device\\v2", "type": 8, "state": 5,
                          "size": 6}]},
            {"name": "empty", "dgid": "guid-2", "type": 2},
            {"name": "gone", "dgid": "guid-7", "type": 7}]})";
        mounts["v1"] = {L"F", {L"data"}, {"v2"}};
        mounts["v2"] = {L"E", {}, {}};
    }

    std::uint32_t ask(GuardedBuffer& record, std::uint32_t record_size) {
        size = record_size;
        return FARLO(GetDgPropertiesW)(handle, nullptr, "guid-1", record.as<DgInfo>(), &size);
    }

    Image whole() const {
        Image image(whole_size);
        image.number<std::uint32_t>(0, 2).number<std::uint32_t>(4, 2);
        image.disk(8, d1).disk(8 + disk_size, d2);
        image.volume(volumes_at, v1).volume(volumes_at + volume_size, v2);
        return image;
    }

    std::uint32_t size = 0;
    Disk d1{L"d1", 0x11223344, 3, 2, 1};
    Disk d2{L"d2", 0x1a2b3c4d, 6, 5, 4};
    Volume v1{L"\\Device\\v1", L"F:", L"NTFS", L"Data", L"E:\\data", 7, -0x7FFFFFFF, 5000000000};
    Volume v2{L"\\Device\\v2", L"E:", {}, {}, L"", 8, 5, 6};
};

const Lines find_group = {groups("@dg @empty @gone"), read("dg", "LDM DG TYPE", uint32(1)),
                          read("dg", "dgid", str("guid-1"))};
const Expected entering{4, "Entering GetDgPropertiesW - (null)"};
const Expected exiting{4, "Exiting GetDgPropertiesW"};
const Expected formed{6, "farlo: GetDgPropertiesW: No signature property on disk..so forming "
                         "it..Id = 0x1a2b3c4d, guidToNumString = 439041101l, signature = "
                         "439041101"};

TEST_F(DgRecord, IsWrittenWholeAndNoByteMore) {
    at_every_threshold([&] {
        GuardedBuffer record(whole_size);
        EXPECT_EQ(ask(record, whole_size), 0u);
        EXPECT_EQ(size, whole_size);
        EXPECT_EQ(record.difference(whole().bytes()), "");
        expect_calls(
            find_group +
            Lines{read("dg", "Name", wstr("dg")), child("dg", "tamo_ztvm_disk", "@d1 @d2"),
                  child("dg", "tamo_ztvm_volume", "@v1 @v2"),
                  // first disk
                  read("d1", "Name", wstr("d1")), read("d1", "SIGNATURE", uint32(0x11223344)),
                  read("d1", "PORT", uint32(1)), read("d1", "DISK TARGET ID", uint32(2)),
                  read("d1", "LUN ID", uint32(3)),
                  // second disk
                  read("d2", "Name", wstr("d2")), read("d2", "SIGNATURE", uint32(0)),
                  read("d2", "DISKID", str("1a2b3c4d-5e6f-7788")), read("d2", "PORT", uint32(4)),
                  read("d2", "DISK TARGET ID", uint32(5)), read("d2", "LUN ID", uint32(6)),
                  // first volume, which is mounted in a folder of the second
                  read("v1", "DEVICE NAME", wstr(R"(\\Device\\v1)")), ask_mounts("v1"),
                  ask_letter("v2"), ask_letter("v1"), child("v1", "tamo_fs_nt", "@v1 file system"),
                  read("v1 file system", "type of file system", wstr("NTFS")),
                  read("v1 file system", "label", wstr("Data")), read("v1", "type", uint32(7)),
                  read("v1", "ztvmstate", uint32(0x80000001)),
                  read("v1", "size", "UINT64 5000000000"),
                  // second volume
                  read("v2", "DEVICE NAME", wstr(R"(\\Device\\v2)")), ask_mounts("v2"),
                  ask_letter("v2"), child("v2", "tamo_fs_nt", ""), read("v2", "type", uint32(8)),
                  read("v2", "ztvmstate", uint32(5)), read("v2", "size", "UINT64 6")});
        expect_log({entering, formed, exiting});
    });
}

// At an odd address, in a buffer that is larger.
TEST_F(DgRecord, MayStandAnywhere) {
    once([&] {
        GuardedBuffer record(whole_size + 1);
        ASSERT_EQ(reinterpret_cast<std::uintptr_t>(record.data()) % 2, 1u);
        EXPECT_EQ(ask(record, whole_size + 1), 0u);
        EXPECT_EQ(size, whole_size + 1);
        std::vector<std::uint8_t> wanted = whole().bytes();
        wanted.push_back(GuardedBuffer::canary);
        EXPECT_EQ(record.difference(wanted), "");
    });
}

TEST_F(DgRecord, TellsTheSizeThatIsNeeded) {
    at_every_threshold([&] {
        for (const std::uint32_t too_small : {0u, 1u, 8u, std::uint32_t{whole_size} - 1}) {
            start_watching();
            GuardedBuffer record(too_small);
            EXPECT_EQ(ask(record, too_small), 97u);
            EXPECT_EQ(size, whole_size);
            EXPECT_TRUE(record.untouched());
            expect_calls(find_group + Lines{read("dg", "Name", wstr("dg")),
                                            child("dg", "tamo_ztvm_disk", "@d1 @d2"),
                                            child("dg", "tamo_ztvm_volume", "@v1 @v2")});
            expect_log({entering, exiting});
        }
        size = 0;
        EXPECT_EQ(FARLO(GetDgPropertiesW)(handle, nullptr, "guid-1", nullptr, &size), 97u);
        EXPECT_EQ(size, whole_size);
    });
}

TEST_F(DgRecord, WantsABufferOnceTheSizeIsEnough) {
    at_every_threshold([&] {
        size = whole_size;
        EXPECT_EQ(FARLO(GetDgPropertiesW)(handle, nullptr, "guid-1", nullptr, &size), 0x13u);
        EXPECT_EQ(size, whole_size);
        expect_log({entering, {0, "GetDgPropertiesW() failed , pDgInfo == NULL, error=(0x13)"}});
    });
}

TEST_F(DgRecord, WantsASize) {
    at_every_threshold([&] {
        GuardedBuffer record(whole_size);
        EXPECT_EQ(FARLO(GetDgPropertiesW)(handle, nullptr, "guid-1", record.as<DgInfo>(), nullptr),
                  0x13u);
        EXPECT_TRUE(record.untouched());
        expect_log({entering, {0, "GetDgPropertiesW() failed , pInfoSize == NULL, error=(0x13)"}});
    });
}

TEST_F(DgRecord, OfAnEmptyGroupIsTwoZeros) {
    at_every_threshold([&] {
        GuardedBuffer record(8);
        size = 7;
        EXPECT_EQ(FARLO(GetDgPropertiesW)(handle, L"EMPTY", "", record.as<DgInfo>(), &size), 97u);
        EXPECT_EQ(size, 8u);
        EXPECT_TRUE(record.untouched());
        EXPECT_EQ(FARLO(GetDgPropertiesW)(handle, L"EMPTY", "", record.as<DgInfo>(), &size), 0u);
        EXPECT_EQ(record.difference(std::vector<std::uint8_t>(8, 0)), "");
        const Expected by_name{4, "Entering GetDgPropertiesW - EMPTY"};
        expect_log({by_name, exiting, by_name, exiting});
    });
}

TEST_F(DgRecord, WantsAConnectedHandle) {
    at_every_threshold([&] {
        GuardedBuffer record(whole_size);
        size = 0;
        EXPECT_EQ(FARLO(GetDgPropertiesW)(nullptr, L"dg", nullptr, record.as<DgInfo>(), &size),
                  100u);
        disconnect();
        EXPECT_EQ(FARLO(GetDgPropertiesW)(handle, L"dg", nullptr, record.as<DgInfo>(), &size), 20u);
        EXPECT_EQ(size, 0u);
        EXPECT_TRUE(record.untouched());
        expect_calls({});
        const Expected by_name{4, "Entering GetDgPropertiesW - dg"};
        expect_log({by_name,
                    {0, "GetDgPropertiesW() failed , NULL opal_handle, error=(0x64)"},
                    by_name,
                    {0, "GetDgPropertiesW() failed , opal_handle not connected, error=(0x14)"}});
    });
}

TEST_F(DgRecord, OfAGroupThatIsNotFound) {
    at_every_threshold([&] {
        size = 0;
        EXPECT_EQ(FARLO(GetDgPropertiesW)(handle, L"dg", "nowhere", nullptr, &size), 1u);
        EXPECT_EQ(FARLO(GetDgPropertiesW)(handle, L"gone", nullptr, nullptr, &size), 1u);
        EXPECT_EQ(FARLO(GetDgPropertiesW)(handle, L"", "", nullptr, &size), 0x13u);
        EXPECT_EQ(size, 0u);
        expect_log({{4, "Entering GetDgPropertiesW - dg"},
                    {0, "GetDgObjIdByGuid() failed , DG_TYPENAME not found in OPAL, error=(0x1)"},
                    {0, "GetDgPropertiesW():GetDgObjId() failed, error=(0x1)"},
                    {4, "Entering GetDgPropertiesW - gone"},
                    {0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x28)"},
                    {0, "GetDgPropertiesW():GetDgObjId() failed, error=(0x1)"},
                    {4, "Entering GetDgPropertiesW - "},
                    {0, "GetDgPropertiesW():GetDgObjId() failed, error=(0x13)"}});
    });
}

TEST_F(DgRecord, OfAGroupThatCannotBeWalked) {
    at_every_threshold([&] {
        for (const char* keys :
             {R"("function": "ObGetProperty", "object": "dg", "property": "Name")",
              R"("function": "ObGetChildObjects", "type": "tamo_ztvm_disk")",
              R"("function": "ObGetChildObjects", "type": "tamo_ztvm_volume")"}) {
            SCOPED_TRACE(keys);
            set_rules(failing(keys));
            start_watching();
            GuardedBuffer record(whole_size);
            EXPECT_EQ(ask(record, whole_size + 1), 0x12u);
            EXPECT_EQ(size, whole_size + 1);
            EXPECT_TRUE(record.untouched());
            expect_log({entering,
                        {6, "API_TRY_CATCH_FAILED "},
                        {0, "GetDgPropertiesW() failed, error=(0x12) "},
                        exiting});
        }
    });
}

// Whatever the call came to: a record, a size that is too small, an exception.
TEST_F(DgRecord, ConnectionThatDropsMeanwhile) {
    const auto with = [this](std::uint32_t room) {
        return [this, room](GuardedBuffer& record) { return ask(record, room); };
    };
    const std::vector<Drop> drops = {
        {reading("v2", "size"), with(whole_size), true, {formed}},
        {walking_to("tamo_ztvm_volume"), with(0), false, {}},
        {walking_to("tamo_ztvm_volume"), with(whole_size - 1), false, {}},
        {reading("dg", "Name"), with(whole_size), false, {caught}}};
    expect_drops_told(drops, whole(), size, whole_size, entering,
                      {{0, "GetDgPropertiesW() failed, error=(0x14) "}, exiting});
}

// The connection is looked at again only where the last line is reached.
TEST_F(DgRecord, ConnectionThatDropsBeforeAnEarlyEnd) {
    at_every_threshold([&] {
        set_rules(dropping(walking_to("tamo_ztvm_volume")));
        size = whole_size;
        EXPECT_EQ(FARLO(GetDgPropertiesW)(handle, nullptr, "guid-1", nullptr, &size), 0x13u);
        EXPECT_EQ(size, whole_size);
        expect_log({entering, {0, "GetDgPropertiesW() failed , pDgInfo == NULL, error=(0x13)"}});
    });
    at_every_threshold([&] {
        set_rules(dropping(reading("dg", "LDM DG TYPE")));
        GuardedBuffer record(whole_size);
        EXPECT_EQ(ask(record, whole_size), 1u);
        EXPECT_EQ(size, whole_size);
        EXPECT_TRUE(record.untouched());
        expect_log({entering,
                    {0, "GetDgObjIdByGuid() failed , DG_TYPENAME not found in OPAL, error=(0x1)"},
                    {0, "GetDgPropertiesW():GetDgObjId() failed, error=(0x1)"}});
    });
}

TEST_F(DgRecord, EveryAllocationThatFails) {
    mounts.clear();
    v1.letter = v2.letter = L"";
    v1.mounts = L"";
    expect_whole_or_less(whole(), [&](GuardedBuffer& record) { return ask(record, whole_size); });
    EXPECT_EQ(size, whole_size);
}

// A group may be of any type but 0 and 7, by its name and by its GUID.
TEST_F(DgRecord, OfGroupsOfEveryType) {
    for (const int type : {0, 1, 2, 3, 7, 8, 9}) {
        SCOPED_TRACE(type);
        const std::uint32_t status = type == 0 || type == 7 ? 1 : 0;
        scenario = R"({"disk_groups": [{"name": "dg", "dgid": "guid-1", "type": )" +
                   std::to_string(type) + "}]}";
        once([&] {
            GuardedBuffer record(8);
            EXPECT_EQ(ask(record, 8), status);
            EXPECT_EQ(FARLO(GetDgPropertiesW)(handle, L"dg", nullptr, record.as<DgInfo>(), &size),
                      status);
        });
    }
}

// A letter may come with its colon.
TEST_F(DgRecord, TakesTheFirstCharacterOfADriveLetter) {
    const std::pair<const wchar_t*, const wchar_t*> letters[] = {
        {L"F:", L"F:"}, {L"0:", L""}, {L"f", L"f:"}, {L"FX", L"F:"}};
    for (const auto& [letter, written] : letters) {
        mounts["v1"].letter = letter;
        v1.letter = written;
        once([&] {
            GuardedBuffer record(whole_size);
            EXPECT_EQ(ask(record, whole_size), 0u);
            EXPECT_EQ(record.difference(whole().bytes()), "");
        });
    }
}

TEST_F(DgRecord, TakesTheFirstFileSystemOfAVolume) {
    scenario.insert(scenario.size() - 1, R"(, "objects": [
        {"name": "second", "type": "tamo_fs_nt", "parents": ["v1"], "properties": {
            "type of file system": {"type": "WSTR", "value": "FAT"},
            "label": {"type": "WSTR", "value": "Other"}}}])");
    once([&] {
        GuardedBuffer record(whole_size);
        EXPECT_EQ(ask(record, whole_size), 0u);
        EXPECT_EQ(record.difference(whole().bytes()), "");
        EXPECT_THAT(calls(),
                    testing::Contains(child("v1", "tamo_fs_nt", "@v1 file system @second")));
    });
}

// A property that is not there, of another type or none at all is skipped, and the
// next one read; no line tells of it.
TEST_F(DgRecord, SkipsWhatCannotBeRead) {
    struct Skipped {
        const char* object;
        const char* property;
        const char* other_type;
        std::function<void()> forget;
        Log lines = {formed};
    };
    const Skipped all[] = {
        {"d1", "Name", "STR", [&] { d1.name.reset(); }},
        {"d1",
         "SIGNATURE",
         "INT32",
         [&] { d1.signature = 0x55; },
         {{6, "farlo: GetDgPropertiesW: No signature property on disk..so forming it..Id = 0x55, "
              "guidToNumString = 85l, signature = 85"},
          formed}},
        {"d1", "PORT", "INT32", [&] { d1.port.reset(); }},
        {"d1", "DISK TARGET ID", "UINT64", [&] { d1.target.reset(); }},
        {"d1", "LUN ID", "BOOLEAN", [&] { d1.lun.reset(); }},
        {"d2", "DISKID", "WSTR", [&] { d2.signature.reset(); }, {}},
        {"v1", "DEVICE NAME", "STR", [&] { v1.device.reset(); }},
        {"v1 file system", "type of file system", "STR", [&] { v1.file_system.reset(); }},
        {"v1 file system", "label", "STR", [&] { v1.label.reset(); }},
        {"v1", "type", "INT32", [&] { v1.type.reset(); }},
        {"v1", "ztvmstate", "INT32", [&] { v1.state.reset(); }},
        {"v2", "size", "INT64", [&] { v2.size.reset(); }},
    };
    const auto complete_d1 = d1;
    const auto complete_d2 = d2;
    const auto complete_v1 = v1;
    const auto complete_v2 = v2;
    once([&] {
        for (const Skipped& skipped : all) {
            for (const std::string& fault : {std::string(R"("status": "0xc100003a")"),
                                             std::string(R"("as": ")") + skipped.other_type + '"',
                                             std::string(R"("lie": "null")")}) {
                SCOPED_TRACE(std::string(skipped.property) + " " + fault);
                set_rules(std::string(R"({"function": "ObGetProperty", "object": ")") +
                          skipped.object + R"(", "property": ")" + skipped.property + "\", " +
                          fault + "},");
                skipped.forget();
                start_watching();
                GuardedBuffer record(whole_size);
                EXPECT_EQ(ask(record, whole_size), 0u);
                EXPECT_EQ(record.difference(whole().bytes()), "");
                expect_log(Log{entering} + skipped.lines + Log{exiting});
                d1 = complete_d1;
                d2 = complete_d2;
                v1 = complete_v1;
                v2 = complete_v2;
            }
        }
    });
}

TEST_F(DgRecord, LeavesTheFileSystemOutWhenItCannotBeAsked) {
    once([&] {
        set_rules(failing(R"("function": "ObGetChildObjects", "type": "tamo_fs_nt")"));
        v1.file_system.reset();
        v1.label.reset();
        GuardedBuffer record(whole_size);
        EXPECT_EQ(ask(record, whole_size), 0u);
        EXPECT_EQ(record.difference(whole().bytes()), "");
    });
}

// One character less than the field, as many, and one more; cut in all cases to
// what leaves room for the terminator.
TEST_F(DgRecord, CutsTextsToTheirFields) {
    struct Text {
        const char* object;
        const char* property;
        std::size_t capacity;
        std::optional<std::wstring>* field;
    };
    const Text all[] = {{"d1", "Name", 16, &d1.name},
                        {"v1", "DEVICE NAME", 260, &v1.device},
                        {"v1 file system", "type of file system", 32, &v1.file_system},
                        {"v1 file system", "label", 260, &v1.label}};
    const std::string plain = scenario;
    for (const Text& text : all) {
        for (const std::size_t length :
             {text.capacity - 1, text.capacity, text.capacity + 1, std::size_t{5000}}) {
            SCOPED_TRACE(std::string(text.property) + " " + std::to_string(length));
            const std::optional<std::wstring> before = *text.field;
            *text.field = std::wstring(std::min(length, text.capacity - 1), L'x');
            // The object's properties, in the place where it says its name.
            const std::string value = std::string(R"("properties": {")") + text.property +
                                      R"(": {"type": "WSTR", "value": ")" +
                                      std::string(length, 'x') + R"("}}, )";
            scenario = plain;
            const std::string object = text.object;
            const std::string key = object == "v1 file system" ? std::string(R"("type": "NTFS")")
                                                               : R"("name": ")" + object + '"';
            scenario.insert(scenario.find(key), value);
            once([&] {
                GuardedBuffer record(whole_size);
                EXPECT_EQ(ask(record, whole_size), 0u);
                EXPECT_EQ(record.difference(whole().bytes()), "");
            });
            *text.field = before;
        }
    }
}

// The text is this volume's alone, whatever the buffer held.
TEST_F(DgRecord, CutsTheMountPoints) {
    for (const std::size_t length : {257u, 258u, 259u, 5000u}) {
        mounts["v1"].paths = {std::wstring(length, L'p')};
        v1.mounts = (L"E:\\" + std::wstring(length, L'p')).substr(0, 260);
        once([&] {
            GuardedBuffer record(whole_size);
            std::memset(record.data(), 0, whole_size);
            std::memset(record.data() + volumes_at + 1110, 'q', 522);
            EXPECT_EQ(ask(record, whole_size), 0u);
            const auto* const field =
                reinterpret_cast<const wchar_t*>(record.data() + volumes_at + 1110);
            EXPECT_EQ(std::wstring(field, wcsnlen(field, 261)), *v1.mounts);
        });
    }
}

TEST_F(DgRecord, HasEmptyMountPointsWhenTheyCannotBeAsked) {
    at_every_threshold([&] {
        set_rules(failing(R"("minor": 8006, "object": "v1")"));
        v1.mounts = L"";
        GuardedBuffer record(whole_size);
        EXPECT_EQ(ask(record, whole_size), 0u);
        EXPECT_EQ(record.difference(whole().bytes()), "");
        expect_log({entering,
                    formed,
                    {4, "GetMountPoints:MNTOP_GET_ALL_MOUNTPOINTS, CsfInvoke failed with error = "
                        "0xc1000001."},
                    exiting});
    });
}

TEST_F(DgRecord, HasAnEmptyDriveLetterWhenThereIsNone) {
    for (const std::optional<std::wstring>& none :
         {std::optional<std::wstring>(L"0"), std::optional<std::wstring>(L""),
          std::optional<std::wstring>(L"toolong"), std::optional<std::wstring>()}) {
        mounts["v1"].letter = none;
        v1.letter = L"";
        once([&] {
            GuardedBuffer record(whole_size);
            EXPECT_EQ(ask(record, whole_size), 0u);
            EXPECT_EQ(record.difference(whole().bytes()), "");
        });
    }
    mounts["v1"].letter = L"F";
    at_every_threshold([&] {
        set_rules(failing(R"("minor": 8007, "object": "v1")"));
        GuardedBuffer record(whole_size);
        EXPECT_EQ(ask(record, whole_size), 0u);
        EXPECT_EQ(record.difference(whole().bytes()), "");
        expect_log({entering,
                    formed,
                    {6, "GetDriveLetterFromMntMgr:MNTOP_GET_DRIVE_LETTER, CsfInvoke failed with "
                        "error = 0xc1000001."},
                    exiting});
    });
}

TEST_F(DgRecord, FormsASignatureFromTheDisksId) {
    struct Id {
        const char* text;
        const char* shown;
        std::uint32_t number;
    };
    const Id ids[] = {{"1A2B3C4D-x", "0x1A2B3C4D", 0x1A2B3C4D},
                      {"ff", "0xff", 0xFF},
                      {"-12", "0x", 0},
                      {"", "0x", 0},
                      {"ffffffff-1", "0xffffffff", 0xFFFFFFFF},
                      {"100000000-1", "0x100000000", 0xFFFFFFFF},
                      {"{1a2b-}", "0x{1a2b", 0},
                      {"12 34-5", "0x12 34", 0x12}};
    for (const Id& id : ids) {
        SCOPED_TRACE(id.text);
        scenario = std::string(R"({"disk_groups": [{"name": "dg", "dgid": "guid-1", "disks": [
                       {"name": "d", "disk_id": ")") +
                   id.text + R"("}]}]})";
        once([&] {
            GuardedBuffer record(8 + disk_size);
            EXPECT_EQ(ask(record, 8 + disk_size), 0u);
            Image wanted(8 + disk_size);
            wanted.number<std::uint32_t>(0, 1).number<std::uint32_t>(4, 0);
            wanted.disk(8, {L"d", id.number, 0, 0, 0});
            EXPECT_EQ(record.difference(wanted.bytes()), "");
            const std::string number = std::to_string(id.number);
            expect_log({entering,
                        {6, "farlo: GetDgPropertiesW: No signature property on disk..so forming "
                            "it..Id = " +
                                std::string(id.shown) + ", guidToNumString = " + number +
                                "l, signature = " + number},
                        exiting});
        });
    }
}

TEST_F(DgRecord, NarrowForm) {
    at_every_threshold([&] {
        GuardedBuffer record(8);
        size = 8;
        EXPECT_EQ(FARLO(GetDgPropertiesA)(handle, "empty", nullptr, record.as<DgInfo>(), &size),
                  0u);
        EXPECT_EQ(record.difference(std::vector<std::uint8_t>(8, 0)), "");
        EXPECT_EQ(FARLO(GetDgPropertiesA)(handle, nullptr, "guid-2", record.as<DgInfo>(), &size),
                  0u);
        EXPECT_EQ(FARLO(GetDgPropertiesA)(handle, std::string(31, 'n').c_str(), nullptr,
                                          record.as<DgInfo>(), &size),
                  1u);
        EXPECT_EQ(FARLO(GetDgPropertiesA)(handle, std::string(32, 'n').c_str(), "guid-2",
                                          record.as<DgInfo>(), &size),
                  0x80070057u);
        expect_log(
            {{4, "Entering GetDgPropertiesW - empty"},
             exiting,
             entering,
             exiting,
             {4, "Entering GetDgPropertiesW - " + std::string(31, 'n')},
             {0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x1)"},
             {0, "GetDgPropertiesW():GetDgObjId() failed, error=(0x1)"},
             {0, "GetDgPropertiesA() failed , name string of more than 31 characters or invalid, "
                 "error=(0x80070057)"}});
    });
}

TEST_F(DgRecord, OfALargeGroup) {
    scenario = R"({"disk_groups": [{"name": "dg", "dgid": "guid-1", "disks": [)";
    for (int i = 0; i < 500; ++i) {
        scenario += (i != 0 ? R"(,{"name": "d)" : R"({"name": "d)") + std::to_string(i) +
                    R"(", "signature": )" + std::to_string(i + 1) + "}";
    }
    scenario += R"(], "volumes": [)";
    for (int i = 0; i < 2000; ++i) {
        scenario += (i != 0 ? R"(,{"name": "v)" : R"({"name": "v)") + std::to_string(i) +
                    R"(", "device": "x", "size": )" + std::to_string(i) + "}";
    }
    scenario += "]}]}";
    mounts.clear();
    once([&] {
        const std::uint32_t needed = 8 + 500 * 56 + 2000 * 1656;
        GuardedBuffer record(needed);
        EXPECT_EQ(ask(record, needed), 0u);
        Image wanted(needed);
        wanted.number<std::uint32_t>(0, 500).number<std::uint32_t>(4, 2000);
        for (std::uint32_t i = 0; i < 500; ++i) {
            wanted.disk(8 + i * disk_size, {L"d" + std::to_wstring(i), i + 1, 0, 0, 0});
        }
        for (std::uint32_t i = 0; i < 2000; ++i) {
            wanted.volume(8 + 500 * disk_size + i * volume_size, {L"x", L"", {}, {}, L"", 0, 0, i});
        }
        EXPECT_EQ(record.difference(wanted.bytes()), "");
        // The search (3), the name and the lists; 5 a disk, 7 a volume.
        EXPECT_EQ(calls().size(), 3u + 3u + 500u * 5u + 2000u * 7u);
    });
}

// So many volumes that 32 bits of the size hide most of it.
TEST_F(DgRecord, IsNotWrittenBeyondABufferThatOnlyTheWrappedSizeFits) {
    constexpr std::uint32_t count = 2'593'580;
    constexpr std::uint32_t wrapped = 1192;
    static_assert(static_cast<std::uint32_t>(8 + std::uint64_t{volume_size} * count) == wrapped);
    scenario = R"({"disk_groups": [{"name": "dg", "dgid": "guid-1"}]})";
    once([&] {
        const ManyVolumes volumes(dll().module(), count);
        GuardedBuffer record(wrapped);
        EXPECT_EQ(ask(record, wrapped - 1), 97u);
        EXPECT_EQ(size, wrapped);
        EXPECT_TRUE(record.untouched());
        start_watching();
        EXPECT_EQ(ask(record, wrapped), 0x12u);
        EXPECT_EQ(size, wrapped);
        EXPECT_TRUE(record.untouched());
        expect_log({entering,
                    {6, "API_TRY_CATCH_FAILED "},
                    {0, "GetDgPropertiesW() failed, error=(0x12) "},
                    exiting});
    });
}

}  // namespace
