// IsStorageClusterable, IsVolumeClusterable.
#include "volume/clusterability_fixture.h"

namespace {

using namespace support;

// The bytes of {01234567-89ab-cdef-fedc-ba9876543210}.
constexpr std::uint8_t disk_guid[16] = {0x67, 0x45, 0x23, 0x01, 0xab, 0x89, 0xef, 0xcd,
                                        0xfe, 0xdc, 0xba, 0x98, 0x76, 0x54, 0x32, 0x10};

class Storage : public Clusterable {
  protected:
    std::uint8_t ask(std::uint32_t style, std::uint32_t signature, const std::uint8_t* guid) {
        return FARLO(IsStorageClusterable)(handle, style, signature, guid);
    }

    Lines found_mbr() {
        return {query("tamo_ztvm_disk", "SIGNATURE", "4294967295", "0x0 [@mbr]"),
                groups_of("mbr", "@dg1")};
    }
};

Lines group_reads(bool resource, std::uint32_t type) {
    return {read("dg1", "cluster resource", resource ? "BOOLEAN true" : "BOOLEAN false"),
            read("dg1", "LDM DG TYPE", uint32(type))};
}

const Expected entering_storage{2, "Entering IsStorageClusterable"};
const Expected exiting_storage{0, "Exiting IsStorageClusterable"};

TEST_F(Storage, AnMbrDiskByItsSignatureInDecimal) {
    at_every_threshold([&] {
        EXPECT_EQ(ask(0, 0xFFFFFFFF, nullptr), 1u);
        expect_calls(found_mbr() + group_reads(true, 2));
        expect_log({entering_storage, exiting_storage});
    });
}

TEST_F(Storage, AGptDiskByItsGuidInLowerCase) {
    at_every_threshold([&] {
        EXPECT_EQ(ask(1, 0, disk_guid), 1u);
        expect_calls(Lines{query("tamo_ztvm_disk", "DISKGUID",
                                 "{01234567-89ab-cdef-fedc-ba9876543210}", "0x0 [@gpt]"),
                           groups_of("gpt", "@dg1")} +
                     group_reads(true, 2));
        expect_log({entering_storage, exiting_storage});
    });
}

TEST_F(Storage, TheTypeAndTheResourceFlagDecideTogether) {
    const struct {
        const char* group;
        bool resource;
        std::uint32_t type;
        std::uint8_t answer;
    } cases[] = {{R"("type": 2, "cluster_resource": true)", true, 2, 1},
                 {R"("type": 2, "cluster_resource": false)", false, 2, 0},
                 {R"("type": 8, "cluster_resource": true)", true, 8, 0},
                 {R"("type": 1, "cluster_resource": false)", false, 1, 0}};
    for (const auto& each : cases) {
        set_group(each.group);
        once([&] {
            EXPECT_EQ(ask(0, 0xFFFFFFFF, nullptr), each.answer);
            expect_calls(found_mbr() + group_reads(each.resource, each.type));
        });
    }
}

// The empty query is run as it is; what the service hands out for it counts.
TEST_F(Storage, OtherStylesRunAnEmptyQuery) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "DbGetObjectsByQuery", "status": "0xc1000106"}])");
        EXPECT_EQ(ask(2, 0xFFFFFFFF, disk_guid), 0u);
        expect_calls({"DbGetObjectsByQuery \"\" -> 0xc1000106"});
        expect_log({entering_storage,
                    {0, "IsStorageClusterable:DbGetObjectsByQuery failed, for , error = "
                        "0xc1000106"},
                    exiting_storage});
        opal_objid disk;
        ASSERT_EQ(LabFindObject("mbr", &disk), 0);
        const StandIn<decltype(DbGetObjectsByQuery)> answer(
            dll().module(), "DbGetObjectsByQuery",
            [&](opal_connection, opal_context, const wchar_t*, opal_objid** ids,
                uint32_t* count) -> opal_status {
                *ids = static_cast<opal_objid*>(_ZtAlloc(sizeof disk));
                **ids = disk;
                *count = 1;
                return ZTSTATUS_OK;
            });
        EXPECT_EQ(ask(3, 0, nullptr), 1u);
    });
}

TEST_F(Storage, NoSuchDisk) {
    at_every_threshold([&] {
        EXPECT_EQ(ask(0, 5, nullptr), 0u);
        expect_calls({query("tamo_ztvm_disk", "SIGNATURE", "5", "0x0 []")});
        expect_log(
            {entering_storage, {0, "IsStorageClusterable:Disk Object not found"}, exiting_storage});
    });
}

TEST_F(Storage, AFailedQuery) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "DbGetObjectsByQuery", "status": "0xc1000102"}])");
        EXPECT_EQ(ask(0, 5, nullptr), 0u);
        expect_log({entering_storage,
                    {0, "IsStorageClusterable:DbGetObjectsByQuery failed, for SELECT FROM "
                        "tamo_ztvm_disk where \"SIGNATURE\" EQ 5, error = 0xc1000102"},
                    exiting_storage});
    });
}

TEST_F(Storage, AStatusThatIsNoFailure) {
    at_every_threshold([&] {
        set_faults(no_failure);
        EXPECT_EQ(ask(0, 0xFFFFFFFF, nullptr), 1u);
        expect_log({entering_storage, exiting_storage});
    });
}

TEST_F(Storage, TheFirstDiskAndItsFirstGroupDecide) {
    scenario = two_groups;
    once([&] {
        {
            const Several several(dll().module(), {"disk 8", "disk 2"}, {"two", "eight"});
            EXPECT_EQ(ask(0, 1, nullptr), 1u);
            EXPECT_TRUE(several.asked_only_for("disk 8"));
            expect_calls({read("two", "cluster resource", "BOOLEAN true"),
                          read("two", "LDM DG TYPE", "UINT32 2")});
        }
        start_watching();
        const Several several(dll().module(), {"disk 2", "disk 8"}, {"eight", "two"});
        EXPECT_EQ(ask(0, 1, nullptr), 0u);
        EXPECT_TRUE(several.asked_only_for("disk 2"));
        expect_calls({read("eight", "cluster resource", "BOOLEAN false"),
                      read("eight", "LDM DG TYPE", "UINT32 8")});
    });
}

// A missing answer is a no.
TEST_F(Storage, EveryAllocationThatFails) {
    std::vector<unsigned> answers;
    at_every_allocation([&] { answers.push_back(ask(1, 0, disk_guid)); });
    expect_no_but_at_both_ends(answers);
}

TEST_F(Storage, ADiskWithoutAGroup) {
    at_every_threshold([&] {
        EXPECT_EQ(ask(0, 77, nullptr), 0u);
        expect_calls({query("tamo_ztvm_disk", "SIGNATURE", "77", "0x0 [@lone disk]"),
                      groups_of("lone disk", "")});
        expect_log({entering_storage, exiting_storage});
    });
}

TEST_F(Storage, WhatCannotBeReadIsANo) {
    at_every_threshold([&] {
        for (const char* fault : {R"({"function": "ObGetParentObjects", "status": "0xc1000104"})",
                                  R"({"property": "cluster resource", "as": "UINT32"})",
                                  R"({"property": "LDM DG TYPE", "status": "0xc100003a"})"}) {
            SCOPED_TRACE(fault);
            set_faults("[" + std::string(fault) + "]");
            start_watching();
            EXPECT_EQ(ask(0, 0xFFFFFFFF, nullptr), 0u);
            expect_log({entering_storage, exception, exiting_storage});
        }
    });
}

TEST_F(Storage, NoMemory) {
    at_every_threshold([&] {
        for (const int allocation : {1, 2}) {
            set_faults(R"([{"function": "_ZtAlloc", "nothing": true, "call": )" +
                       std::to_string(allocation) + "}]");
            start_watching();
            EXPECT_EQ(ask(0, 0xFFFFFFFF, nullptr), 0u);
            expect_calls({});
            expect_log({entering_storage,
                        {0, "IsStorageClusterable: failed to allocate memory"},
                        exiting_storage});
        }
    });
}

TEST_F(Storage, NullGuidOfAGptDisk) {
    at_every_threshold([&] {
        EXPECT_EQ(ask(1, 0, nullptr), 0u);
        expect_calls({});
        expect_log({entering_storage,
                    {0, "IsStorageClusterable() failed , NULL Disk GUID"},
                    exiting_storage});
    });
}

TEST_F(Storage, NullHandleAndNotConnected) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(IsStorageClusterable)(nullptr, 0, 0, nullptr), 0u);
        expect_log({entering_storage, {0, "IsStorageClusterable , NULL opal_handle"}});
        start_watching();
        disconnect();
        EXPECT_EQ(ask(0, 0xFFFFFFFF, nullptr), 0u);
        expect_calls({});
        expect_log(
            {entering_storage, {0, "IsStorageClusterable failed , opal_handle not connected"}});
    });
}

const Expected entering_volume{2, "Entering IsVolumeClusterable"};
const Expected exiting_volume{0, "Exiting IsVolumeClusterable"};

class Volume : public Clusterable {
  protected:
    std::uint8_t ask() { return FARLO(IsVolumeClusterable)(handle, L"Volume {1}"); }
};

TEST_F(Volume, OfASharedGroup) {
    set_group(R"("type": 8)");
    at_every_threshold([&] {
        EXPECT_EQ(ask(), 1u);
        expect_calls(type_read(8) + Lines{read("dg1", "cluster shared", "BOOLEAN true")});
        expect_log({entering_volume,
                    entering_type,
                    types(8, 8),
                    exiting_type,
                    {6, "IsVolumeClusterable: volume Volume {1} is clusterable"},
                    exiting_volume});
    });
}

TEST_F(Volume, OfAGroupOfThatTypeThatIsNotShared) {
    set_group(R"("type": 8, "cluster_shared": false)");
    at_every_threshold([&] {
        EXPECT_EQ(ask(), 0u);
        expect_calls(type_read(8) + Lines{read("dg1", "cluster shared", "BOOLEAN false")});
        expect_log({entering_volume,
                    entering_type,
                    types(8, 8),
                    exiting_type,
                    {6, "IsVolumeClusterable: volume Volume {1} is NOT clusterable"},
                    exiting_volume});
    });
}

TEST_F(Volume, OfAGroupOfAnotherType) {
    set_group(R"("type": 2, "cluster_shared": true)");
    at_every_threshold([&] {
        EXPECT_EQ(ask(), 0u);
        expect_calls(type_read(2));
        expect_log({entering_volume, entering_type, types(8, 2), exiting_type});
    });
}

TEST_F(Volume, TheFirstVolumeAndItsFirstGroupDecide) {
    scenario = two_groups;
    once([&] {
        const Several several(dll().module(), {"vol 2", "vol 8"}, {"eight", "two"});
        EXPECT_EQ(ask(), 1u);
        EXPECT_TRUE(several.asked_only_for("vol 2"));
        expect_calls({read("eight", "LDM DG TYPE", "UINT32 8"),
                      read("eight", "cluster shared", "BOOLEAN true")});
    });
}

// Ends the call without a line of its own.
TEST_F(Volume, WhoseTypeCannotBeRead) {
    set_group(R"("type": 8)");
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(IsVolumeClusterable)(handle, L"none"), 0u);
        expect_calls({query("tamo_ztvm_volume", "volumename", "none", "0x0 []")});
        expect_log({entering_volume, entering_type, exiting_type});
        start_watching();
        EXPECT_EQ(FARLO(IsVolumeClusterable)(handle, L"lone"), 0u);
        expect_log({entering_volume, entering_type, exiting_type});
        start_watching();
        set_faults(R"([{"function": "DbGetObjectsByQuery", "status": "0xc1000102"}])");
        EXPECT_EQ(ask(), 0u);
        expect_log({entering_volume,
                    entering_type,
                    {0, "IsVolumeOfSpecifiedDgType: DbGetObjectsByQuery failed for volume - Volume "
                        "{1}, error = 0xc1000102"},
                    exiting_type});
        set_faults("[]");
        start_watching();
        disconnect();
        EXPECT_EQ(ask(), 0u);
        expect_calls({});
        expect_log({entering_volume,
                    entering_type,
                    {0, "IsVolumeOfSpecifiedDgType failed , opal_handle not connected"}});
    });
}

TEST_F(Volume, AStatusThatIsNoFailure) {
    set_group(R"("type": 8)");
    once([&] {
        set_faults(no_failure);
        EXPECT_EQ(ask(), 1u);
    });
}

TEST_F(Volume, EveryAllocationThatFails) {
    set_group(R"("type": 8)");
    std::vector<unsigned> answers;
    at_every_allocation([&] { answers.push_back(ask()); });
    expect_no_but_at_both_ends(answers);
}

TEST_F(Volume, AFlagThatCannotBeReadIsANo) {
    set_group(R"("type": 8)");
    at_every_threshold([&] {
        set_faults(R"([{"property": "cluster shared", "status": "0xc100003a"}])");
        EXPECT_EQ(ask(), 0u);
        expect_log(
            {entering_volume, entering_type, types(8, 8), exiting_type, exception, exiting_volume});
    });
}

TEST_F(Volume, NullArguments) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(IsVolumeClusterable)(nullptr, L"v"), 0u);
        expect_log(
            {entering_volume, entering_type, {0, "IsVolumeOfSpecifiedDgType , NULL opal_handle"}});
        start_watching();
        EXPECT_EQ(FARLO(IsVolumeClusterable)(handle, nullptr), 0u);
        expect_log({entering_volume,
                    entering_type,
                    {0, "IsVolumeOfSpecifiedDgType() failed , NULL Volume Name"}});
    });
}

}  // namespace
