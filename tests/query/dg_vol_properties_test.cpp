// GetDgVolProperties, and the contents of the light form of a volume's record.
#include "query/fake_mount_manager.h"
#include "query/record_fixture.h"

#include <algorithm>

namespace {

using namespace records;

constexpr std::uint32_t expected_size = 8 + 2 * volume_size;

class GetDgVolProperties : public RecordTest {
  protected:
    GetDgVolProperties() {
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

    std::uint32_t get_record(const char* guid, GuardedBuffer& record, std::uint32_t buffer_size) {
        size = buffer_size;
        return FARLO(GetDgVolPropertiesW)(handle, nullptr, guid, record.as<DgVolInfo>(), &size);
    }
    // With a mount-point manager that knows the links of all volumes.
    std::uint32_t get_record_with_links(const char* guid, GuardedBuffer& record,
                                        std::uint32_t buffer_size) {
        MountManager manager(dll().module());
        manager.links = all_links;
        const std::uint32_t status = get_record(guid, record, buffer_size);
        EXPECT_EQ(manager.errors, Lines{});
        mount_requests = manager.requests;
        return status;
    }

    Image expected_record() const {
        Image image(expected_size);
        image.counts(2, 4660);
        return image.volume(8, v1).volume(8 + volume_size, v2);
    }

    std::uint32_t size = 0;
    Volume v1{L"\\Device\\v1", L"F:", {}, {}, {}, 7, {}, 5000000000};
    Volume v2{L"\\Device\\v2", L"", {}, {}, {}, 8, {}, 6};
    Lines mount_requests;
    std::map<std::wstring, std::vector<std::wstring>> all_links = {
        {L"\\Device\\v1", {L"\\??\\Volume{1}", L"\\DosDevices\\F:"}},
        {L"\\Device\\v2", {L"\\??\\Volume{2}"}},
        {L"\\Device\\v3", {L"\\DosDevices\\G:", L"\\DosDevices\\H:"}}};
};

const Expected entering{4, "Entering GetDgVolPropertiesW - (null)"};
const Expected exiting{4, "Exiting GetDgVolPropertiesW"};

TEST_F(GetDgVolProperties, WritesSignatureAndVolumes) {
    at_every_threshold([&] {
        GuardedBuffer record(expected_size);
        EXPECT_EQ(get_record_with_links("guid-1", record, expected_size), FARLO_SUCCESS);
        EXPECT_EQ(size, expected_size);
        EXPECT_EQ(record.difference(expected_record().bytes()), "");
        EXPECT_EQ(mount_requests, (Lines{"open", "query \\Device\\v1", "close", "open",
                                         "query \\Device\\v2", "close"}));
        expect_calls(
            {groups("@dg @diskless @empty @local"), read_type("dg", group_type::cluster),
             read("dg", "dgid", str("guid-1")), children("dg", object_type::disk, "@d1 @d2"),
             children("dg", object_type::volume, "@v1 @v2"), read("d1", "SIGNATURE", uint32(4660)),
             read("v1", "DEVICE NAME", wstr(R"(\\Device\\v1)")), read("v1", "type", uint32(7)),
             read("v1", "size", uint64(5000000000)),
             read("v2", "DEVICE NAME", wstr(R"(\\Device\\v2)")), read("v2", "type", uint32(8)),
             read("v2", "size", uint64(6))});
        expect_log({entering, exiting});
    });
}

// Without a disk the record has no signature; the needed size is the same.
TEST_F(GetDgVolProperties, WritesVolumesAtOffsetFourWithoutDisk) {
    at_every_threshold([&] {
        GuardedBuffer record(expected_size);
        EXPECT_EQ(get_record_with_links("guid-2", record, expected_size - 1),
                  FARLO_BUFFER_TOO_SMALL);
        EXPECT_EQ(size, expected_size);
        EXPECT_TRUE(record.untouched());
        EXPECT_EQ(mount_requests, Lines{});
        EXPECT_EQ(get_record_with_links("guid-2", record, expected_size), FARLO_SUCCESS);
        Image wanted(expected_size);
        wanted.number<std::uint32_t>(0, 2);
        wanted.volume(4, {L"\\Device\\v3", L"G:", {}, {}, {}, 9, {}, 1});
        wanted.volume(4 + volume_size, {L"\\Device\\v4", L"", {}, {}, {}, 10, {}, 2});
        EXPECT_EQ(record.difference(wanted.bytes()), "");
        expect_log({entering, exiting, entering, exiting});
    });
}

TEST_F(GetDgVolProperties, WritesZeroCountForEmptyGroup) {
    at_every_threshold([&] {
        GuardedBuffer record(8);
        EXPECT_EQ(get_record("guid-3", record, 7), FARLO_BUFFER_TOO_SMALL);
        EXPECT_EQ(size, 8u);
        EXPECT_EQ(get_record("guid-3", record, 8), FARLO_SUCCESS);
        EXPECT_EQ(record.difference(Image(8).number<std::uint32_t>(0, 0).bytes()), "");
    });
}

TEST_F(GetDgVolProperties, ReportsNeededSize) {
    at_every_threshold([&] {
        for (const std::uint32_t too_small : {0u, 8u, expected_size - 1}) {
            start_watching();
            GuardedBuffer record(expected_size);
            EXPECT_EQ(get_record("guid-1", record, too_small), FARLO_BUFFER_TOO_SMALL);
            EXPECT_EQ(size, expected_size);
            EXPECT_TRUE(record.untouched());
            expect_log({entering, exiting});
        }
        size = 0;
        EXPECT_EQ(FARLO(GetDgVolPropertiesW)(handle, nullptr, "guid-1", nullptr, &size),
                  FARLO_BUFFER_TOO_SMALL);
        EXPECT_EQ(size, expected_size);
    });
}

TEST_F(GetDgVolProperties, ChecksArguments) {
    at_every_threshold([&] {
        size = expected_size;
        EXPECT_EQ(FARLO(GetDgVolPropertiesW)(nullptr, nullptr, nullptr, nullptr, &size),
                  FARLO_NULL_HANDLE);
        EXPECT_EQ(FARLO(GetDgVolPropertiesW)(handle, nullptr, nullptr, nullptr, &size),
                  FARLO_MISSING_ARGUMENT);
        EXPECT_EQ(FARLO(GetDgVolPropertiesW)(handle, nullptr, "guid-1", nullptr, nullptr),
                  FARLO_MISSING_ARGUMENT);
        EXPECT_EQ(FARLO(GetDgVolPropertiesW)(handle, nullptr, "guid-1", nullptr, &size),
                  FARLO_MISSING_ARGUMENT);
        EXPECT_EQ(FARLO(GetDgVolPropertiesW)(handle, nullptr, "guid-4", nullptr, &size),
                  FARLO_NOT_FOUND);
        disconnect();
        EXPECT_EQ(FARLO(GetDgVolPropertiesW)(handle, nullptr, nullptr, nullptr, &size),
                  FARLO_NOT_CONNECTED);
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

TEST_F(GetDgVolProperties, FailsWhenGroupCannotBeRead) {
    at_every_threshold([&] {
        for (const char* type : {object_type::disk, object_type::volume}) {
            set_faults({failing(listing(type))});
            start_watching();
            GuardedBuffer record(expected_size);
            EXPECT_EQ(get_record("guid-1", record, expected_size + 1), FARLO_EXCEPTION);
            EXPECT_EQ(size, expected_size + 1);
            EXPECT_TRUE(record.untouched());
            expect_log(
                {entering, caught, {0, "GetDgVolPropertiesW() failed, error=(0x12) "}, exiting});
        }
    });
}

// Without the drop, the result would be a record, a size that is too small, or an exception.
TEST_F(GetDgVolProperties, ReturnsNotConnectedWhenConnectionDrops) {
    const auto with = [this](std::uint32_t buffer_size) {
        return [this, buffer_size](GuardedBuffer& record) {
            return get_record_with_links("guid-1", record, buffer_size);
        };
    };
    const std::vector<Drop> drops = {
        {reading("v2", "size"), with(expected_size), true, {}},
        {listing(object_type::volume), with(0), false, {}},
        {listing(object_type::disk), with(expected_size), false, {caught}}};
    expect_drops_reported(drops, expected_record(), size, expected_size, entering,
                          {{0, "GetDgVolPropertiesW() failed, error=(0x14) "}, exiting});
}

// The connection is checked again only where the call reaches its exit line.
TEST_F(GetDgVolProperties, ReturnsEarlierFailureWhenConnectionDrops) {
    at_every_threshold([&] {
        set_faults({dropping(listing(object_type::volume))});
        size = expected_size;
        EXPECT_EQ(FARLO(GetDgVolPropertiesW)(handle, nullptr, "guid-1", nullptr, &size),
                  FARLO_MISSING_ARGUMENT);
        EXPECT_EQ(size, expected_size);
        expect_log({entering, {0, "GetDgVolPropertiesW() failed , pDgInfo == NULL, error=(0x13)"}});
    });
    at_every_threshold([&] {
        set_faults({dropping(reading("dg", "LDM DG TYPE"))});
        GuardedBuffer record(expected_size);
        EXPECT_EQ(get_record("guid-1", record, expected_size), FARLO_NOT_FOUND);
        EXPECT_TRUE(record.untouched());
        expect_log({entering,
                    {0, "GetDgObjIdByGuid() failed , DG_TYPENAME not found in OPAL, error=(0x1)"},
                    {0, "GetDgVolPropertiesW():GetDgObjId() failed, error=(0x1)"}});
    });
}

TEST_F(GetDgVolProperties, SurvivesEveryAllocationFailure) {
    // The query for a drive letter needs memory, too: without it the letter is empty.
    all_links.clear();
    v1.letter = L"";
    expect_survives_allocation_failures(expected_record(), [&](GuardedBuffer& record) {
        return get_record_with_links("guid-1", record, expected_size);
    });
    EXPECT_EQ(size, expected_size);
}

// group_type::cluster_shared counts as a cluster group by GUID, but not by name.
TEST_F(GetDgVolProperties, FindsClusterSharedGroupByGuidOnly) {
    scenario = R"({"disk_groups": [{"name": "dg", "dgid": "guid-8", "type": 8}]})";
    at_every_threshold([&] {
        GuardedBuffer record(8);
        EXPECT_EQ(get_record("guid-8", record, 8), FARLO_SUCCESS);
        EXPECT_EQ(record.difference(Image(8).number<std::uint32_t>(0, 0).bytes()), "");
        EXPECT_EQ(FARLO(GetDgVolPropertiesW)(handle, L"dg", nullptr, record.as<DgVolInfo>(), &size),
                  FARLO_NOT_FOUND);
        expect_log({entering,
                    exiting,
                    {4, "Entering GetDgVolPropertiesW - dg"},
                    {0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x28)"},
                    {0, "GetDgVolPropertiesW():GetDgObjId() failed, error=(0x1)"}});
    });
}

// Unlike in the full records, a signature of 0 is kept.
TEST_F(GetDgVolProperties, KeepsZeroSignature) {
    scenario = R"({"disk_groups": [{"name": "dg", "dgid": "guid-1", "disks": [
        {"name": "d1", "disk_id": "1a2b3c4d-5e6f"}, {"name": "d2", "signature": 17}]}]})";
    at_every_threshold([&] {
        GuardedBuffer record(8);
        EXPECT_EQ(get_record("guid-1", record, 8), FARLO_SUCCESS);
        EXPECT_EQ(record.difference(Image(8).counts(0, 0).bytes()), "");
        expect_calls({groups("@dg"), read_type("dg", group_type::cluster),
                      read("dg", "dgid", str("guid-1")),
                      children("dg", object_type::disk, "@d1 @d2"),
                      children("dg", object_type::volume, ""), read("d1", "SIGNATURE", uint32(0))});
        expect_log({entering, exiting});
    });
}

// The size of that many volumes wraps around in 32 bits.
TEST_F(GetDgVolProperties, FailsWhenSizeExceeds32Bits) {
    constexpr std::uint32_t count = 2'593'580;
    constexpr std::uint32_t wrapped = 1192;
    static_assert(static_cast<std::uint32_t>(8 + std::uint64_t{volume_size} * count) == wrapped);
    once([&] {
        const ManyVolumes volumes(dll().module(), count);
        GuardedBuffer record(wrapped);
        EXPECT_EQ(get_record("guid-1", record, wrapped - 1), FARLO_BUFFER_TOO_SMALL);
        EXPECT_EQ(size, wrapped);
        EXPECT_TRUE(record.untouched());
        start_watching();
        EXPECT_EQ(get_record("guid-1", record, wrapped), FARLO_EXCEPTION);
        EXPECT_EQ(size, wrapped);
        EXPECT_TRUE(record.untouched());
        expect_log({entering, caught, {0, "GetDgVolPropertiesW() failed, error=(0x12) "}, exiting});
    });
}

// The field of a signature that cannot be read keeps its place.
TEST_F(GetDgVolProperties, LeavesFieldUnchangedWhenPropertyCannotBeRead) {
    struct Unreadable {
        const char* object;
        const char* property;
        std::function<void(Image&)> put_rest;
    };
    const auto signature = [](Image& image) { image.number<std::uint32_t>(4, 4660); };
    const Unreadable all[] = {
        {"d1", "SIGNATURE",
         [](Image& image) {
             image.volume(8, {L"\\Device\\v1", L"F:", {}, {}, {}, 7, {}, 5000000000});
         }},
        // Without its name the volume's links cannot be found.
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
        for (const Unreadable& unreadable : all) {
            const FaultRule calls = reading(unreadable.object, unreadable.property);
            for (const FaultRule& fault :
                 {failing(calls, bus_no_property), with_type(calls, "BINARY")}) {
                SCOPED_TRACE(fault_plan({fault}));
                set_faults({fault});
                GuardedBuffer record(expected_size);
                start_watching();
                EXPECT_EQ(get_record_with_links("guid-1", record, expected_size), FARLO_SUCCESS);
                expect_log({entering, exiting});
                Image wanted(expected_size);
                wanted.number<std::uint32_t>(0, 2);
                unreadable.put_rest(wanted);
                wanted.volume(8 + volume_size, {L"\\Device\\v2", L"", {}, {}, {}, 8, {}, 6});
                EXPECT_EQ(record.difference(wanted.bytes()), "");
            }
        }
    });
}

TEST_F(GetDgVolProperties, RejectsNarrowNameOf32Characters) {
    once([&] {
        GuardedBuffer record(8);
        size = 8;
        EXPECT_EQ(
            FARLO(GetDgVolPropertiesA)(handle, "empty", nullptr, record.as<DgVolInfo>(), &size),
            FARLO_SUCCESS);
        EXPECT_EQ(FARLO(GetDgVolPropertiesA)(handle, std::string(32, 'n').c_str(), "guid-3",
                                             record.as<DgVolInfo>(), &size),
                  FARLO_INVALID_ARGUMENT);
        expect_log({{4, "Entering GetDgVolPropertiesW - empty"},
                    exiting,
                    {0, "GetDgVolPropertiesA() failed , name string of more than 31 characters or "
                        "invalid, error=(0x80070057)"}});
    });
}

// With and without a signature, for device names of every length around that of the field.
TEST_F(GetDgVolProperties, WritesRecordThatHelpersOfHeaderCanRead) {
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
                    GuardedBuffer record(expected_size);
                    const std::uint32_t prepared_size =
                        farlo_dg_vol_info_prepare(record.data(), record.size());
                    ASSERT_EQ(prepared_size, expected_size);
                    EXPECT_EQ(get_record_with_links("guid-1", record, prepared_size),
                              FARLO_SUCCESS);
                    const auto* const info = record.as<DgVolInfo>();
                    EXPECT_EQ(farlo_dg_vol_info_signature(info, prepared_size),
                              has_disk ? 4660u : 0u);
                    const VolInfo* const first = farlo_dg_vol_info_volume(info, prepared_size, 0);
                    const VolInfo* const second = farlo_dg_vol_info_volume(info, prepared_size, 1);
                    ASSERT_TRUE(first != nullptr && second != nullptr);
                    EXPECT_EQ(std::wstring(first->device_name),
                              std::wstring(std::min<std::size_t>(length, 259), L':'));
                    EXPECT_EQ(std::wstring(first->drive_letter), has_letter ? L"F:" : L"");
                    EXPECT_EQ(std::uint64_t{first->size}, 3u);
                    EXPECT_EQ(std::wstring(second->device_name), L"x");
                    EXPECT_EQ(std::uint64_t{second->size}, 4u);
                    EXPECT_EQ(farlo_dg_vol_info_volume(info, prepared_size, 2), nullptr);
                });
            }
        }
    }
}

}  // namespace
