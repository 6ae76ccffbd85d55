// GetDgDiskProperties.
#include "record_test.h"

namespace {

using namespace records;

constexpr std::uint32_t whole_size = 4 + 2 * disk_size;

class GroupDisks : public RecordTest {
  protected:
    GroupDisks() {
        scenario = R"({"disk_groups": [
            {"name": "dg", "dgid": "guid-1", "type": 1, "disks": [
                {"name": "d1", "signature": 17, "port": 1, "target": 2, "lun": 3},
                {"name": "a disk of 17 ch!", "id": "d2", "disk_id": "1f-2", "port": 4, "target": 5,
                 "lun": 6}]},
            {"name": "none", "dgid": "guid-2"}]})";
    }

    std::uint32_t ask(GuardedBuffer& record, std::uint32_t record_size,
                      const char* guid = "guid-1") {
        size = record_size;
        return FARLO(GetDgDiskPropertiesW)(handle, nullptr, guid, record.as<DgDiskList>(), &size);
    }

    Image whole_with(const Disk& first) const {
        Image image(whole_size);
        image.number<std::uint32_t>(0, 2).disk(4, first);
        return image.disk(4 + disk_size, {L"a disk of 17 ch", 0, 6, 5, 4});
    }
    Image whole() const { return whole_with(d1); }

    std::uint32_t size = 0;
    const Disk d1{L"d1", 17, 3, 2, 1};
};

const Expected entering{6, "Entering GetDgDiskPropertiesW"};
const Expected exiting{6, "Exiting GetDgDiskPropertiesW"};
const Lines find_disks = {groups("@dg @none"), read("dg", "LDM DG TYPE", uint32(1)),
                          read("dg", "dgid", str("guid-1")), read("dg", "Name", wstr("dg")),
                          child("dg", "tamo_ztvm_disk", "@d1 @d2")};

// A signature of 0 stays 0; the records follow the count at once.
TEST_F(GroupDisks, AreWrittenWithTheirOwnSignatures) {
    at_every_threshold([&] {
        GuardedBuffer record(whole_size);
        EXPECT_EQ(ask(record, whole_size), 0u);
        EXPECT_EQ(size, whole_size);
        EXPECT_EQ(record.difference(whole().bytes()), "");
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

TEST_F(GroupDisks, SkipWhatCannotBeRead) {
    const std::pair<const char*, std::function<void(Disk&)>> all[] = {
        {"Name", [](Disk& disk) { disk.name.reset(); }},
        {"SIGNATURE", [](Disk& disk) { disk.signature.reset(); }},
        {"PORT", [](Disk& disk) { disk.port.reset(); }},
        {"DISK TARGET ID", [](Disk& disk) { disk.target.reset(); }},
        {"LUN ID", [](Disk& disk) { disk.lun.reset(); }}};
    once([&] {
        for (const auto& [property, forget] : all) {
            for (const char* fault : {R"("status": "0xc100003a")", R"("as": "BINARY")"}) {
                SCOPED_TRACE(std::string(property) + fault);
                set_rules(std::string(R"({"function": "ObGetProperty", "object": "d1", )") +
                          R"("property": ")" + property + "\", " + fault + "},");
                start_watching();
                GuardedBuffer record(whole_size);
                EXPECT_EQ(ask(record, whole_size), 0u);
                expect_log({entering, exiting});
                Disk first = d1;
                forget(first);
                EXPECT_EQ(record.difference(whole_with(first).bytes()), "");
            }
        }
    });
}

TEST_F(GroupDisks, TellTheSizeThatIsNeeded) {
    at_every_threshold([&] {
        for (const std::uint32_t too_small : {0u, 4u, whole_size - 1}) {
            start_watching();
            GuardedBuffer record(whole_size);
            EXPECT_EQ(ask(record, too_small), 97u);
            EXPECT_EQ(size, whole_size);
            EXPECT_TRUE(record.untouched());
            expect_calls(find_disks);
            expect_log({entering, exiting});
        }
        GuardedBuffer none(4);
        EXPECT_EQ(ask(none, 3, "guid-2"), 97u);
        EXPECT_EQ(size, 4u);
        EXPECT_EQ(ask(none, 4, "guid-2"), 0u);
        EXPECT_EQ(none.difference({0, 0, 0, 0}), "");
    });
}

TEST_F(GroupDisks, CheckTheirArguments) {
    at_every_threshold([&] {
        size = whole_size - 1;
        EXPECT_EQ(FARLO(GetDgDiskPropertiesW)(nullptr, nullptr, nullptr, nullptr, &size), 100u);
        EXPECT_EQ(FARLO(GetDgDiskPropertiesW)(handle, L"", nullptr, nullptr, &size), 0x13u);
        EXPECT_EQ(FARLO(GetDgDiskPropertiesW)(handle, L"dg", nullptr, nullptr, nullptr), 0x13u);
        EXPECT_EQ(FARLO(GetDgDiskPropertiesW)(handle, L"dg", nullptr, nullptr, &size), 97u);
        EXPECT_EQ(FARLO(GetDgDiskPropertiesW)(handle, L"dg", nullptr, nullptr, &size), 0x13u);
        disconnect();
        EXPECT_EQ(FARLO(GetDgDiskPropertiesW)(handle, L"dg", nullptr, nullptr, &size), 20u);
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

TEST_F(GroupDisks, OfAGroupThatCannotBeWalked) {
    at_every_threshold([&] {
        for (const char* keys :
             {R"("function": "ObGetProperty", "object": "dg", "property": "Name")",
              R"("function": "ObGetChildObjects", "type": "tamo_ztvm_disk")"}) {
            set_rules(failing(keys));
            start_watching();
            GuardedBuffer record(whole_size);
            EXPECT_EQ(ask(record, whole_size + 1), 0x12u);
            EXPECT_EQ(size, whole_size + 1);
            EXPECT_TRUE(record.untouched());
            expect_log({entering,
                        {6, "API_TRY_CATCH_FAILED "},
                        {0, "GetDgDiskPropertiesW() failed, error=(0x12) "},
                        exiting});
        }
    });
}

// Whatever the call came to: a list, a size that is too small, an exception.
TEST_F(GroupDisks, ConnectionThatDropsMeanwhile) {
    const auto with = [this](std::uint32_t room) {
        return [this, room](GuardedBuffer& record) { return ask(record, room); };
    };
    const std::vector<Drop> drops = {{reading("d2", "LUN ID"), with(whole_size), true, {}},
                                     {walking_to("tamo_ztvm_disk"), with(0), false, {}},
                                     {reading("dg", "Name"), with(whole_size), false, {caught}}};
    expect_drops_told(drops, whole(), size, whole_size, entering,
                      {{0, "GetDgDiskPropertiesW() failed, error=(0x14) "}, exiting});
}

// The connection is looked at again only where the last line is reached.
TEST_F(GroupDisks, ConnectionThatDropsBeforeAnEarlyEnd) {
    at_every_threshold([&] {
        set_rules(dropping(walking_to("tamo_ztvm_disk")));
        size = whole_size;
        EXPECT_EQ(FARLO(GetDgDiskPropertiesW)(handle, L"dg", nullptr, nullptr, &size), 0x13u);
        EXPECT_EQ(size, whole_size);
        expect_log(
            {entering, {0, "GetDgDiskPropertiesW() failed , pDgDiskInfo == NULL, error=(0x13) "}});
    });
    at_every_threshold([&] {
        set_rules(dropping(reading("dg", "LDM DG TYPE")));
        GuardedBuffer record(whole_size);
        EXPECT_EQ(ask(record, whole_size), 1u);
        EXPECT_TRUE(record.untouched());
        expect_log({entering,
                    {0, "GetDgObjIdByGuid() failed , DG_TYPENAME not found in OPAL, error=(0x1)"},
                    {0, "GetDgDiskPropertiesW():GetDgObjId() failed, error=(0x1) "}});
    });
}

TEST_F(GroupDisks, EveryAllocationThatFails) {
    expect_whole_or_less(whole(), [&](GuardedBuffer& record) { return ask(record, whole_size); });
    EXPECT_EQ(size, whole_size);
}

// A group may be of any type but 0 and 7, by its name and by its GUID.
TEST_F(GroupDisks, OfGroupsOfEveryType) {
    for (const int type : {0, 1, 2, 3, 7, 8, 9}) {
        SCOPED_TRACE(type);
        const std::uint32_t status = type == 0 || type == 7 ? 1 : 0;
        scenario = R"({"disk_groups": [{"name": "dg", "dgid": "guid-1", "type": )" +
                   std::to_string(type) + "}]}";
        once([&] {
            GuardedBuffer record(4);
            EXPECT_EQ(ask(record, 4), status);
            EXPECT_EQ(
                FARLO(GetDgDiskPropertiesW)(handle, L"dg", nullptr, record.as<DgDiskList>(), &size),
                status);
        });
    }
}

TEST_F(GroupDisks, NarrowForm) {
    once([&] {
        GuardedBuffer record(4);
        size = 4;
        EXPECT_EQ(
            FARLO(GetDgDiskPropertiesA)(handle, "none", nullptr, record.as<DgDiskList>(), &size),
            0u);
        EXPECT_EQ(FARLO(GetDgDiskPropertiesA)(handle, std::string(32, 'n').c_str(), "guid-2",
                                              record.as<DgDiskList>(), &size),
                  0x80070057u);
        expect_log({entering,
                    exiting,
                    {0, "GetDgDiskPropertiesA() failed , name string of more than 31 characters or "
                        "invalid, error=(0x80070057)"}});
    });
}

}  // namespace
