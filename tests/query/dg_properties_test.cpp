// GetDgProperties, and the contents of a volume's record.
#include "query/record_fixture.h"

#include <algorithm>

namespace {

using namespace records;

constexpr std::size_t expected_size = 8 + 2 * disk_size + 2 * volume_size;
constexpr std::size_t volumes_at = 8 + 2 * disk_size;

class GetDgProperties : public RecordTest {
  protected:
    GetDgProperties() {
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

    std::uint32_t get_record(GuardedBuffer& record, std::uint32_t buffer_size) {
        size = buffer_size;
        return FARLO(GetDgPropertiesW)(handle, nullptr, "guid-1", record.as<DgInfo>(), &size);
    }

    Image expected_record() const {
        Image image(expected_size);
        image.counts(2, 2);
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

const Lines find_group = {groups("@dg @empty @gone"), read_type("dg", group_type::local),
                          read("dg", "dgid", str("guid-1"))};
const Expected entering{4, "Entering GetDgPropertiesW - (null)"};
const Expected exiting{4, "Exiting GetDgPropertiesW"};
// Logged for d2, which has no signature.
const Expected signature_formed{
    6, "farlo: GetDgPropertiesW: No signature property on disk..so forming it..Id = 0x1a2b3c4d, "
       "guidToNumString = 439041101l, signature = 439041101"};

TEST_F(GetDgProperties, WritesWholeRecordAndNothingElse) {
    at_every_threshold([&] {
        GuardedBuffer record(expected_size);
        EXPECT_EQ(get_record(record, expected_size), FARLO_SUCCESS);
        EXPECT_EQ(size, expected_size);
        EXPECT_EQ(record.difference(expected_record().bytes()), "");
        expect_calls(
            find_group +
            Lines{read("dg", "Name", wstr("dg")), children("dg", object_type::disk, "@d1 @d2"),
                  children("dg", object_type::volume, "@v1 @v2"),
                  // the first disk
                  read("d1", "Name", wstr("d1")), read("d1", "SIGNATURE", uint32(0x11223344)),
                  read("d1", "PORT", uint32(1)), read("d1", "DISK TARGET ID", uint32(2)),
                  read("d1", "LUN ID", uint32(3)),
                  // the second disk
                  read("d2", "Name", wstr("d2")), read("d2", "SIGNATURE", uint32(0)),
                  read("d2", "DISKID", str("1a2b3c4d-5e6f-7788")), read("d2", "PORT", uint32(4)),
                  read("d2", "DISK TARGET ID", uint32(5)), read("d2", "LUN ID", uint32(6)),
                  // the first volume, which is mounted in a folder of the second one
                  read("v1", "DEVICE NAME", wstr(R"(\\Device\\v1)")), get_mount_points("v1"),
                  get_drive_letter("v2"), get_drive_letter("v1"),
                  children("v1", object_type::file_system, "@v1 file system"),
                  read("v1 file system", "type of file system", wstr("NTFS")),
                  read("v1 file system", "label", wstr("Data")), read("v1", "type", uint32(7)),
                  read("v1", "ztvmstate", uint32(0x80000001)),
                  read("v1", "size", uint64(5000000000)),
                  // the second volume
                  read("v2", "DEVICE NAME", wstr(R"(\\Device\\v2)")), get_mount_points("v2"),
                  get_drive_letter("v2"), children("v2", object_type::file_system, ""),
                  read("v2", "type", uint32(8)), read("v2", "ztvmstate", uint32(5)),
                  read("v2", "size", uint64(6))});
        expect_log({entering, signature_formed, exiting});
    });
}

// The buffer is one byte larger than the record.
TEST_F(GetDgProperties, WritesRecordAtOddAddress) {
    once([&] {
        GuardedBuffer record(expected_size + 1);
        ASSERT_EQ(reinterpret_cast<std::uintptr_t>(record.data()) % 2, 1u);
        EXPECT_EQ(get_record(record, expected_size + 1), FARLO_SUCCESS);
        EXPECT_EQ(size, expected_size + 1);
        std::vector<std::uint8_t> wanted = expected_record().bytes();
        wanted.push_back(GuardedBuffer::canary);
        EXPECT_EQ(record.difference(wanted), "");
    });
}

TEST_F(GetDgProperties, ReportsNeededSize) {
    at_every_threshold([&] {
        for (const std::uint32_t too_small : {0u, 1u, 8u, std::uint32_t{expected_size} - 1}) {
            start_watching();
            GuardedBuffer record(too_small);
            EXPECT_EQ(get_record(record, too_small), FARLO_BUFFER_TOO_SMALL);
            EXPECT_EQ(size, expected_size);
            EXPECT_TRUE(record.untouched());
            expect_calls(find_group + Lines{read("dg", "Name", wstr("dg")),
                                            children("dg", object_type::disk, "@d1 @d2"),
                                            children("dg", object_type::volume, "@v1 @v2")});
            expect_log({entering, exiting});
        }
        size = 0;
        EXPECT_EQ(FARLO(GetDgPropertiesW)(handle, nullptr, "guid-1", nullptr, &size),
                  FARLO_BUFFER_TOO_SMALL);
        EXPECT_EQ(size, expected_size);
    });
}

TEST_F(GetDgProperties, RejectsNullRecordWhenSizeIsSufficient) {
    at_every_threshold([&] {
        size = expected_size;
        EXPECT_EQ(FARLO(GetDgPropertiesW)(handle, nullptr, "guid-1", nullptr, &size),
                  FARLO_MISSING_ARGUMENT);
        EXPECT_EQ(size, expected_size);
        expect_log({entering, {0, "GetDgPropertiesW() failed , pDgInfo == NULL, error=(0x13)"}});
    });
}

TEST_F(GetDgProperties, RejectsNullSize) {
    at_every_threshold([&] {
        GuardedBuffer record(expected_size);
        EXPECT_EQ(FARLO(GetDgPropertiesW)(handle, nullptr, "guid-1", record.as<DgInfo>(), nullptr),
                  FARLO_MISSING_ARGUMENT);
        EXPECT_TRUE(record.untouched());
        expect_log({entering, {0, "GetDgPropertiesW() failed , pInfoSize == NULL, error=(0x13)"}});
    });
}

TEST_F(GetDgProperties, WritesTwoZeroCountsForEmptyGroup) {
    at_every_threshold([&] {
        GuardedBuffer record(8);
        size = 7;
        EXPECT_EQ(FARLO(GetDgPropertiesW)(handle, L"EMPTY", "", record.as<DgInfo>(), &size),
                  FARLO_BUFFER_TOO_SMALL);
        EXPECT_EQ(size, 8u);
        EXPECT_TRUE(record.untouched());
        EXPECT_EQ(FARLO(GetDgPropertiesW)(handle, L"EMPTY", "", record.as<DgInfo>(), &size),
                  FARLO_SUCCESS);
        EXPECT_EQ(record.difference(std::vector<std::uint8_t>(8, 0)), "");
        const Expected by_name{4, "Entering GetDgPropertiesW - EMPTY"};
        expect_log({by_name, exiting, by_name, exiting});
    });
}

TEST_F(GetDgProperties, RequiresConnectedHandle) {
    at_every_threshold([&] {
        GuardedBuffer record(expected_size);
        size = 0;
        EXPECT_EQ(FARLO(GetDgPropertiesW)(nullptr, L"dg", nullptr, record.as<DgInfo>(), &size),
                  FARLO_NULL_HANDLE);
        disconnect();
        EXPECT_EQ(FARLO(GetDgPropertiesW)(handle, L"dg", nullptr, record.as<DgInfo>(), &size),
                  FARLO_NOT_CONNECTED);
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

TEST_F(GetDgProperties, ReturnsStatusOfFailedSearch) {
    at_every_threshold([&] {
        size = 0;
        EXPECT_EQ(FARLO(GetDgPropertiesW)(handle, L"dg", "nowhere", nullptr, &size),
                  FARLO_NOT_FOUND);
        EXPECT_EQ(FARLO(GetDgPropertiesW)(handle, L"gone", nullptr, nullptr, &size),
                  FARLO_NOT_FOUND);
        EXPECT_EQ(FARLO(GetDgPropertiesW)(handle, L"", "", nullptr, &size), FARLO_MISSING_ARGUMENT);
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

TEST_F(GetDgProperties, FailsWhenGroupCannotBeRead) {
    at_every_threshold([&] {
        for (const FaultRule& calls :
             {reading("dg", "Name"), listing(object_type::disk), listing(object_type::volume)}) {
            SCOPED_TRACE(fault_plan({calls}));
            set_faults({failing(calls)});
            start_watching();
            GuardedBuffer record(expected_size);
            EXPECT_EQ(get_record(record, expected_size + 1), FARLO_EXCEPTION);
            EXPECT_EQ(size, expected_size + 1);
            EXPECT_TRUE(record.untouched());
            expect_log(
                {entering, caught, {0, "GetDgPropertiesW() failed, error=(0x12) "}, exiting});
        }
    });
}

// Without the drop, the result would be a record, a size that is too small, or an exception.
TEST_F(GetDgProperties, ReturnsNotConnectedWhenConnectionDrops) {
    const auto with = [this](std::uint32_t buffer_size) {
        return
            [this, buffer_size](GuardedBuffer& record) { return get_record(record, buffer_size); };
    };
    const std::vector<Drop> drops = {
        {reading("v2", "size"), with(expected_size), true, {signature_formed}},
        {listing(object_type::volume), with(0), false, {}},
        {listing(object_type::volume), with(expected_size - 1), false, {}},
        {reading("dg", "Name"), with(expected_size), false, {caught}}};
    expect_drops_reported(drops, expected_record(), size, expected_size, entering,
                          {{0, "GetDgPropertiesW() failed, error=(0x14) "}, exiting});
}

// The connection is checked again only where the call reaches its exit line.
TEST_F(GetDgProperties, ReturnsEarlierFailureWhenConnectionDrops) {
    at_every_threshold([&] {
        set_faults({dropping(listing(object_type::volume))});
        size = expected_size;
        EXPECT_EQ(FARLO(GetDgPropertiesW)(handle, nullptr, "guid-1", nullptr, &size),
                  FARLO_MISSING_ARGUMENT);
        EXPECT_EQ(size, expected_size);
        expect_log({entering, {0, "GetDgPropertiesW() failed , pDgInfo == NULL, error=(0x13)"}});
    });
    at_every_threshold([&] {
        set_faults({dropping(reading("dg", "LDM DG TYPE"))});
        GuardedBuffer record(expected_size);
        EXPECT_EQ(get_record(record, expected_size), FARLO_NOT_FOUND);
        EXPECT_EQ(size, expected_size);
        EXPECT_TRUE(record.untouched());
        expect_log({entering,
                    {0, "GetDgObjIdByGuid() failed , DG_TYPENAME not found in OPAL, error=(0x1)"},
                    {0, "GetDgPropertiesW():GetDgObjId() failed, error=(0x1)"}});
    });
}

TEST_F(GetDgProperties, SurvivesEveryAllocationFailure) {
    mounts.clear();
    v1.letter = v2.letter = L"";
    v1.mounts = L"";
    expect_survives_allocation_failures(expected_record(), [&](GuardedBuffer& record) {
        return get_record(record, expected_size);
    });
    EXPECT_EQ(size, expected_size);
}

TEST_F(GetDgProperties, FindsGroupsOfEveryTypeExcept0And7) {
    for (const std::uint32_t type : {0u, 1u, 2u, 3u, 7u, 8u, 9u}) {
        SCOPED_TRACE(type);
        const bool excluded = type == group_type::excluded_0 || type == group_type::excluded_7;
        const std::uint32_t status = excluded ? FARLO_NOT_FOUND : FARLO_SUCCESS;
        scenario = R"({"disk_groups": [{"name": "dg", "dgid": "guid-1", "type": )" +
                   std::to_string(type) + "}]}";
        once([&] {
            GuardedBuffer record(8);
            EXPECT_EQ(get_record(record, 8), status);
            EXPECT_EQ(FARLO(GetDgPropertiesW)(handle, L"dg", nullptr, record.as<DgInfo>(), &size),
                      status);
        });
    }
}

// The service may return more than the letter.
TEST_F(GetDgProperties, WritesFirstCharacterOfDriveLetter) {
    const std::pair<const wchar_t*, const wchar_t*> letters[] = {
        {L"F:", L"F:"}, {L"0:", L""}, {L"f", L"f:"}, {L"FX", L"F:"}};
    for (const auto& [letter, written] : letters) {
        mounts["v1"].letter = letter;
        v1.letter = written;
        once([&] {
            GuardedBuffer record(expected_size);
            EXPECT_EQ(get_record(record, expected_size), FARLO_SUCCESS);
            EXPECT_EQ(record.difference(expected_record().bytes()), "");
        });
    }
}

TEST_F(GetDgProperties, WritesFirstFileSystemOfVolume) {
    scenario.insert(scenario.size() - 1, R"(, "objects": [
        {"name": "second", "type": "tamo_fs_nt", "parents": ["v1"], "properties": {
            "type of file system": {"type": "WSTR", "value": "FAT"},
            "label": {"type": "WSTR", "value": "Other"}}}])");
    once([&] {
        GuardedBuffer record(expected_size);
        EXPECT_EQ(get_record(record, expected_size), FARLO_SUCCESS);
        EXPECT_EQ(record.difference(expected_record().bytes()), "");
        EXPECT_THAT(calls(), testing::Contains(children("v1", object_type::file_system,
                                                        "@v1 file system @second")));
    });
}

// The property is missing, has another type, or has no value. The next one is read; nothing is
// logged.
TEST_F(GetDgProperties, LeavesFieldUnchangedWhenPropertyCannotBeRead) {
    struct Unreadable {
        const char* object;
        const char* property;
        const char* other_type;
        std::function<void()> clear_field;
        Log log = {signature_formed};
    };
    const Unreadable all[] = {
        {"d1", "Name", "STR", [&] { d1.name.reset(); }},
        {"d1",
         "SIGNATURE",
         "INT32",
         [&] { d1.signature = 0x55; },
         {{6, "farlo: GetDgPropertiesW: No signature property on disk..so forming it..Id = 0x55, "
              "guidToNumString = 85l, signature = 85"},
          signature_formed}},
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
        for (const Unreadable& unreadable : all) {
            const FaultRule calls = reading(unreadable.object, unreadable.property);
            for (const FaultRule& fault :
                 {failing(calls, bus_no_property), with_type(calls, unreadable.other_type),
                  lying(calls, "null")}) {
                SCOPED_TRACE(fault_plan({fault}));
                set_faults({fault});
                unreadable.clear_field();
                start_watching();
                GuardedBuffer record(expected_size);
                EXPECT_EQ(get_record(record, expected_size), FARLO_SUCCESS);
                EXPECT_EQ(record.difference(expected_record().bytes()), "");
                expect_log(Log{entering} + unreadable.log + Log{exiting});
                d1 = complete_d1;
                d2 = complete_d2;
                v1 = complete_v1;
                v2 = complete_v2;
            }
        }
    });
}

TEST_F(GetDgProperties, LeavesFileSystemUnchangedWhenItCannotBeListed) {
    once([&] {
        set_faults({failing(listing(object_type::file_system))});
        v1.file_system.reset();
        v1.label.reset();
        GuardedBuffer record(expected_size);
        EXPECT_EQ(get_record(record, expected_size), FARLO_SUCCESS);
        EXPECT_EQ(record.difference(expected_record().bytes()), "");
    });
}

// One character less than the field has, as many, one more, and many more. Each string is
// truncated so that its terminator fits.
TEST_F(GetDgProperties, TruncatesStringsToTheirFields) {
    struct String {
        const char* object;
        const char* property;
        std::size_t capacity;
        std::optional<std::wstring>* field;
    };
    const String all[] = {{"d1", "Name", 16, &d1.name},
                          {"v1", "DEVICE NAME", 260, &v1.device},
                          {"v1 file system", "type of file system", 32, &v1.file_system},
                          {"v1 file system", "label", 260, &v1.label}};
    const std::string plain = scenario;
    for (const String& string : all) {
        for (const std::size_t length :
             {string.capacity - 1, string.capacity, string.capacity + 1, std::size_t{5000}}) {
            SCOPED_TRACE(std::string(string.property) + " " + std::to_string(length));
            const std::optional<std::wstring> before = *string.field;
            *string.field = std::wstring(std::min(length, string.capacity - 1), L'x');
            // The property is inserted before the name of its object.
            const std::string value = std::string(R"("properties": {")") + string.property +
                                      R"(": {"type": "WSTR", "value": ")" +
                                      std::string(length, 'x') + R"("}}, )";
            scenario = plain;
            const std::string object = string.object;
            const std::string key = object == "v1 file system" ? std::string(R"("type": "NTFS")")
                                                               : R"("name": ")" + object + '"';
            scenario.insert(scenario.find(key), value);
            once([&] {
                GuardedBuffer record(expected_size);
                EXPECT_EQ(get_record(record, expected_size), FARLO_SUCCESS);
                EXPECT_EQ(record.difference(expected_record().bytes()), "");
            });
            *string.field = before;
        }
    }
}

// The string does not depend on what the buffer held before.
TEST_F(GetDgProperties, TruncatesMountPoints) {
    for (const std::size_t length : {257u, 258u, 259u, 5000u}) {
        mounts["v1"].paths = {std::wstring(length, L'p')};
        v1.mounts = (L"E:\\" + std::wstring(length, L'p')).substr(0, 260);
        once([&] {
            GuardedBuffer record(expected_size);
            std::memset(record.data(), 0, expected_size);
            std::memset(record.data() + volumes_at + mounts_offset, 'q', mounts_size);
            EXPECT_EQ(get_record(record, expected_size), FARLO_SUCCESS);
            const auto* const field =
                reinterpret_cast<const wchar_t*>(record.data() + volumes_at + mounts_offset);
            EXPECT_EQ(std::wstring(field, wcsnlen(field, 261)), *v1.mounts);
        });
    }
}

TEST_F(GetDgProperties, WritesEmptyMountPointsWhenMethodFails) {
    at_every_threshold([&] {
        set_faults({failing({.object = "v1", .method = method::get_mount_points})});
        v1.mounts = L"";
        GuardedBuffer record(expected_size);
        EXPECT_EQ(get_record(record, expected_size), FARLO_SUCCESS);
        EXPECT_EQ(record.difference(expected_record().bytes()), "");
        expect_log({entering,
                    signature_formed,
                    {4, "GetMountPoints:MNTOP_GET_ALL_MOUNTPOINTS, CsfInvoke failed with error = "
                        "0xc1000001."},
                    exiting});
    });
}

TEST_F(GetDgProperties, WritesEmptyDriveLetterWhenThereIsNone) {
    for (const std::optional<std::wstring>& none :
         {std::optional<std::wstring>(L"0"), std::optional<std::wstring>(L""),
          std::optional<std::wstring>(L"toolong"), std::optional<std::wstring>()}) {
        mounts["v1"].letter = none;
        v1.letter = L"";
        once([&] {
            GuardedBuffer record(expected_size);
            EXPECT_EQ(get_record(record, expected_size), FARLO_SUCCESS);
            EXPECT_EQ(record.difference(expected_record().bytes()), "");
        });
    }
    mounts["v1"].letter = L"F";
    at_every_threshold([&] {
        set_faults({failing({.object = "v1", .method = method::get_drive_letter})});
        GuardedBuffer record(expected_size);
        EXPECT_EQ(get_record(record, expected_size), FARLO_SUCCESS);
        EXPECT_EQ(record.difference(expected_record().bytes()), "");
        expect_log({entering,
                    signature_formed,
                    {6, "GetDriveLetterFromMntMgr:MNTOP_GET_DRIVE_LETTER, CsfInvoke failed with "
                        "error = 0xc1000001."},
                    exiting});
    });
}

TEST_F(GetDgProperties, FormsSignatureFromDiskId) {
    struct Id {
        const char* disk_id;
        const char* logged;
        std::uint32_t signature;
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
        SCOPED_TRACE(id.disk_id);
        scenario = std::string(R"({"disk_groups": [{"name": "dg", "dgid": "guid-1", "disks": [
                       {"name": "d", "disk_id": ")") +
                   id.disk_id + R"("}]}]})";
        once([&] {
            GuardedBuffer record(8 + disk_size);
            EXPECT_EQ(get_record(record, 8 + disk_size), FARLO_SUCCESS);
            Image wanted(8 + disk_size);
            wanted.counts(1, 0);
            wanted.disk(8, {L"d", id.signature, 0, 0, 0});
            EXPECT_EQ(record.difference(wanted.bytes()), "");
            const std::string number = std::to_string(id.signature);
            expect_log({entering,
                        {6, "farlo: GetDgPropertiesW: No signature property on disk..so forming "
                            "it..Id = " +
                                std::string(id.logged) + ", guidToNumString = " + number +
                                "l, signature = " + number},
                        exiting});
        });
    }
}

TEST_F(GetDgProperties, AcceptsNarrowNameOfUpTo31Characters) {
    at_every_threshold([&] {
        GuardedBuffer record(8);
        size = 8;
        EXPECT_EQ(FARLO(GetDgPropertiesA)(handle, "empty", nullptr, record.as<DgInfo>(), &size),
                  FARLO_SUCCESS);
        EXPECT_EQ(record.difference(std::vector<std::uint8_t>(8, 0)), "");
        EXPECT_EQ(FARLO(GetDgPropertiesA)(handle, nullptr, "guid-2", record.as<DgInfo>(), &size),
                  FARLO_SUCCESS);
        EXPECT_EQ(FARLO(GetDgPropertiesA)(handle, std::string(31, 'n').c_str(), nullptr,
                                          record.as<DgInfo>(), &size),
                  FARLO_NOT_FOUND);
        EXPECT_EQ(FARLO(GetDgPropertiesA)(handle, std::string(32, 'n').c_str(), "guid-2",
                                          record.as<DgInfo>(), &size),
                  FARLO_INVALID_ARGUMENT);
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

TEST_F(GetDgProperties, WritesLargeGroup) {
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
        EXPECT_EQ(get_record(record, needed), FARLO_SUCCESS);
        Image wanted(needed);
        wanted.counts(500, 2000);
        for (std::uint32_t i = 0; i < 500; ++i) {
            wanted.disk(8 + i * disk_size, {L"d" + std::to_wstring(i), i + 1, 0, 0, 0});
        }
        for (std::uint32_t i = 0; i < 2000; ++i) {
            wanted.volume(8 + 500 * disk_size + i * volume_size, {L"x", L"", {}, {}, L"", 0, 0, i});
        }
        EXPECT_EQ(record.difference(wanted.bytes()), "");
        // 3 calls for the search, 3 for the name and the lists, 5 for each disk, 7 for each volume.
        EXPECT_EQ(calls().size(), 3u + 3u + 500u * 5u + 2000u * 7u);
    });
}

// The size of that many volumes wraps around in 32 bits.
TEST_F(GetDgProperties, FailsWhenSizeExceeds32Bits) {
    constexpr std::uint32_t count = 2'593'580;
    constexpr std::uint32_t wrapped = 1192;
    static_assert(static_cast<std::uint32_t>(8 + std::uint64_t{volume_size} * count) == wrapped);
    scenario = R"({"disk_groups": [{"name": "dg", "dgid": "guid-1"}]})";
    once([&] {
        const ManyVolumes volumes(dll().module(), count);
        GuardedBuffer record(wrapped);
        EXPECT_EQ(get_record(record, wrapped - 1), FARLO_BUFFER_TOO_SMALL);
        EXPECT_EQ(size, wrapped);
        EXPECT_TRUE(record.untouched());
        start_watching();
        EXPECT_EQ(get_record(record, wrapped), FARLO_EXCEPTION);
        EXPECT_EQ(size, wrapped);
        EXPECT_TRUE(record.untouched());
        expect_log({entering, caught, {0, "GetDgPropertiesW() failed, error=(0x12) "}, exiting});
    });
}

}  // namespace
