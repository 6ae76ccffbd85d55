// GetDgDiskProperties.
#include "query/record_fixture.h"

namespace {

using namespace records;

constexpr std::uint32_t expected_size = 4 + 2 * disk_size;

class GetDgDiskProperties : public RecordTest {
  protected:
    GetDgDiskProperties() {
        scenario = R"({"disk_groups": [
            {"name": "dg", "dgid": "guid-1", "type": 1, "disks": [
                {"name": "d1", "signature": 17, "port": 1, "target": 2, "lun": 3},
                {"name": "a disk of 17 ch!", "id": "d2", "disk_id": "1f-2", "port": 4, "target": 5,
                 "lun": 6}]},
            {"name": "none", "dgid": "guid-2"}]})";
    }

    std::uint32_t get_record(GuardedBuffer& record, std::uint32_t buffer_size,
                             const char* guid = "guid-1") {
        size = buffer_size;
        return FARLO(GetDgDiskPropertiesW)(handle, nullptr, guid, record.as<DgDiskList>(), &size);
    }

    Image expected_with(const Disk& first) const {
        Image image(expected_size);
        image.number<std::uint32_t>(0, 2).disk(4, first);
        return image.disk(4 + disk_size, {L"a disk of 17 ch", 0, 6, 5, 4});
    }
    Image expected_record() const { return expected_with(d1); }

    std::uint32_t size = 0;
    const Disk d1{L"d1", 17, 3, 2, 1};
};

const Expected entering{6, "Entering GetDgDiskPropertiesW"};
const Expected exiting{6, "Exiting GetDgDiskPropertiesW"};
const Lines find_disks = {groups("@dg @none"), read_type("dg", group_type::local),
                          read("dg", "dgid", str("guid-1")), read("dg", "Name", wstr("dg")),
                          children("dg", object_type::disk, "@d1 @d2")};

// A signature of 0 stays 0. The records follow the count without a gap.
TEST_F(GetDgDiskProperties, WritesDisksWithTheirOwnSignatures) {
    at_every_threshold([&] {
        GuardedBuffer record(expected_size);
        EXPECT_EQ(get_record(record, expected_size), FARLO_SUCCESS);
        EXPECT_EQ(size, expected_size);
        EXPECT_EQ(record.difference(expected_record().bytes()), "");
        expect_calls(
            find_disks +
            Lines{read("d1", "Name", wstr("d1")), read("d1", "SIGNATURE", uint32(17)),
                  read("d1", "PORT", uint32(1)), read("d1", "DISK TARGET ID", uint32(2)),
                  read("d1", "LUN ID", uint32(3)), read("d2", "Name", wstr("a disk of 17 ch!")),
                  read("d2", "SIGNATURE", uint32(0)), read("d2", "PORT", uint32(4)),
                  read("d2", "DISK TARGET ID", uint32(5)), read("d2", "LUN ID", uint32(6))});
        expect_log({entering, exiting});
    });
}

TEST_F(GetDgDiskProperties, LeavesFieldUnchangedWhenPropertyCannotBeRead) {
    const std::pair<const char*, std::function<void(Disk&)>> all[] = {
        {"Name", [](Disk& disk) { disk.name.reset(); }},
        {"SIGNATURE", [](Disk& disk) { disk.signature.reset(); }},
        {"PORT", [](Disk& disk) { disk.port.reset(); }},
        {"DISK TARGET ID", [](Disk& disk) { disk.target.reset(); }},
        {"LUN ID", [](Disk& disk) { disk.lun.reset(); }}};
    once([&] {
        for (const auto& [property, clear_field] : all) {
            const FaultRule calls = reading("d1", property);
            for (const FaultRule& fault :
                 {failing(calls, bus_no_property), with_type(calls, "BINARY")}) {
                SCOPED_TRACE(fault_plan({fault}));
                set_faults({fault});
                start_watching();
                GuardedBuffer record(expected_size);
                EXPECT_EQ(get_record(record, expected_size), FARLO_SUCCESS);
                expect_log({entering, exiting});
                Disk first = d1;
                clear_field(first);
                EXPECT_EQ(record.difference(expected_with(first).bytes()), "");
            }
        }
    });
}

TEST_F(GetDgDiskProperties, ReportsNeededSize) {
    at_every_threshold([&] {
        for (const std::uint32_t too_small : {0u, 4u, expected_size - 1}) {
            start_watching();
            GuardedBuffer record(expected_size);
            EXPECT_EQ(get_record(record, too_small), FARLO_BUFFER_TOO_SMALL);
            EXPECT_EQ(size, expected_size);
            EXPECT_TRUE(record.untouched());
            expect_calls(find_disks);
            expect_log({entering, exiting});
        }
        GuardedBuffer none(4);
        EXPECT_EQ(get_record(none, 3, "guid-2"), FARLO_BUFFER_TOO_SMALL);
        EXPECT_EQ(size, 4u);
        EXPECT_EQ(get_record(none, 4, "guid-2"), FARLO_SUCCESS);
        EXPECT_EQ(none.difference({0, 0, 0, 0}), "");
    });
}

TEST_F(GetDgDiskProperties, ChecksArguments) {
    at_every_threshold([&] {
        size = expected_size - 1;
        EXPECT_EQ(FARLO(GetDgDiskPropertiesW)(nullptr, nullptr, nullptr, nullptr, &size),
                  FARLO_NULL_HANDLE);
        EXPECT_EQ(FARLO(GetDgDiskPropertiesW)(handle, L"", nullptr, nullptr, &size),
                  FARLO_MISSING_ARGUMENT);
        EXPECT_EQ(FARLO(GetDgDiskPropertiesW)(handle, L"dg", nullptr, nullptr, nullptr),
                  FARLO_MISSING_ARGUMENT);
        EXPECT_EQ(FARLO(GetDgDiskPropertiesW)(handle, L"dg", nullptr, nullptr, &size),
                  FARLO_BUFFER_TOO_SMALL);
        EXPECT_EQ(FARLO(GetDgDiskPropertiesW)(handle, L"dg", nullptr, nullptr, &size),
                  FARLO_MISSING_ARGUMENT);
        disconnect();
        EXPECT_EQ(FARLO(GetDgDiskPropertiesW)(handle, L"dg", nullptr, nullptr, &size),
                  FARLO_NOT_CONNECTED);
        expect_log(
            {entering,
             {0, "GetDgDiskPropertiesW() failed , NULL opal_handle, error=(0x64)"},
             entering,
             {0, "GetDgDiskPropertiesW():GetDgObjId() failed, error=(0x13) "},
             entering,
             {0, "GetDgDiskPropertiesW() failed , pInfoSize == NULL, error=(0x13) "},
             entering,
             exiting,
             entering,
             {0, "GetDgDiskPropertiesW() failed , pDgDiskInfo == NULL, error=(0x13) "},
             entering,
             {0, "GetDgDiskPropertiesW() failed , opal_handle not connected, error=(0x14)"}});
    });
}

TEST_F(GetDgDiskProperties, FailsWhenGroupCannotBeRead) {
    at_every_threshold([&] {
        for (const FaultRule& calls : {reading("dg", "Name"), listing(object_type::disk)}) {
            set_faults({failing(calls)});
            start_watching();
            GuardedBuffer record(expected_size);
            EXPECT_EQ(get_record(record, expected_size + 1), FARLO_EXCEPTION);
            EXPECT_EQ(size, expected_size + 1);
            EXPECT_TRUE(record.untouched());
            expect_log(
                {entering, caught, {0, "GetDgDiskPropertiesW() failed, error=(0x12) "}, exiting});
        }
    });
}

// Without the drop, the result would be a list, a size that is too small, or an exception.
TEST_F(GetDgDiskProperties, ReturnsNotConnectedWhenConnectionDrops) {
    const auto with = [this](std::uint32_t buffer_size) {
        return
            [this, buffer_size](GuardedBuffer& record) { return get_record(record, buffer_size); };
    };
    const std::vector<Drop> drops = {{reading("d2", "LUN ID"), with(expected_size), true, {}},
                                     {listing(object_type::disk), with(0), false, {}},
                                     {reading("dg", "Name"), with(expected_size), false, {caught}}};
    expect_drops_reported(drops, expected_record(), size, expected_size, entering,
                          {{0, "GetDgDiskPropertiesW() failed, error=(0x14) "}, exiting});
}

// The connection is checked again only where the call reaches its exit line.
TEST_F(GetDgDiskProperties, ReturnsEarlierFailureWhenConnectionDrops) {
    at_every_threshold([&] {
        set_faults({dropping(listing(object_type::disk))});
        size = expected_size;
        EXPECT_EQ(FARLO(GetDgDiskPropertiesW)(handle, L"dg", nullptr, nullptr, &size),
                  FARLO_MISSING_ARGUMENT);
        EXPECT_EQ(size, expected_size);
        expect_log(
            {entering, {0, "GetDgDiskPropertiesW() failed , pDgDiskInfo == NULL, error=(0x13) "}});
    });
    at_every_threshold([&] {
        set_faults({dropping(reading("dg", "LDM DG TYPE"))});
        GuardedBuffer record(expected_size);
        EXPECT_EQ(get_record(record, expected_size), FARLO_NOT_FOUND);
        EXPECT_TRUE(record.untouched());
        expect_log({entering,
                    {0, "GetDgObjIdByGuid() failed , DG_TYPENAME not found in OPAL, error=(0x1)"},
                    {0, "GetDgDiskPropertiesW():GetDgObjId() failed, error=(0x1) "}});
    });
}

TEST_F(GetDgDiskProperties, SurvivesEveryAllocationFailure) {
    expect_survives_allocation_failures(expected_record(), [&](GuardedBuffer& record) {
        return get_record(record, expected_size);
    });
    EXPECT_EQ(size, expected_size);
}

TEST_F(GetDgDiskProperties, FindsGroupsOfEveryTypeExcept0And7) {
    for (const std::uint32_t type : {0u, 1u, 2u, 3u, 7u, 8u, 9u}) {
        SCOPED_TRACE(type);
        const bool excluded = type == group_type::excluded_0 || type == group_type::excluded_7;
        const std::uint32_t status = excluded ? FARLO_NOT_FOUND : FARLO_SUCCESS;
        scenario = R"({"disk_groups": [{"name": "dg", "dgid": "guid-1", "type": )" +
                   std::to_string(type) + "}]}";
        once([&] {
            GuardedBuffer record(4);
            EXPECT_EQ(get_record(record, 4), status);
            EXPECT_EQ(
                FARLO(GetDgDiskPropertiesW)(handle, L"dg", nullptr, record.as<DgDiskList>(), &size),
                status);
        });
    }
}

TEST_F(GetDgDiskProperties, RejectsNarrowNameOf32Characters) {
    once([&] {
        GuardedBuffer record(4);
        size = 4;
        EXPECT_EQ(
            FARLO(GetDgDiskPropertiesA)(handle, "none", nullptr, record.as<DgDiskList>(), &size),
            FARLO_SUCCESS);
        EXPECT_EQ(FARLO(GetDgDiskPropertiesA)(handle, std::string(32, 'n').c_str(), "guid-2",
                                              record.as<DgDiskList>(), &size),
                  FARLO_INVALID_ARGUMENT);
        expect_log({entering,
                    exiting,
                    {0, "GetDgDiskPropertiesA() failed , name string of more than 31 characters or "
                        "invalid, error=(0x80070057)"}});
    });
}

}  // namespace
