// IsStorageClusterable, IsVolumeClusterable.
#include "volume/clusterability_fixture.h"

namespace {

using namespace support;

// The bytes of {01234567-89ab-cdef-fedc-ba9876543210}.
constexpr std::uint8_t disk_guid[16] = {0x67, 0x45, 0x23, 0x01, 0xab, 0x89, 0xef, 0xcd,
                                        0xfe, 0xdc, 0xba, 0x98, 0x76, 0x54, 0x32, 0x10};

// ------------------------------------------------------ IsStorageClusterable

class IsStorageClusterable : public ClusterabilityTest {
  protected:
    // The disk "mbr" of dg1 has the signature 0xFFFFFFFF.
    std::uint8_t is_mbr_clusterable(std::uint32_t signature = 0xFFFFFFFF) {
        return FARLO(IsStorageClusterable)(handle, FARLO_PARTITION_STYLE_MBR, signature, nullptr);
    }
    std::uint8_t is_gpt_clusterable(const std::uint8_t* guid = disk_guid) {
        return FARLO(IsStorageClusterable)(handle, FARLO_PARTITION_STYLE_GPT, 0, guid);
    }
};

const Lines find_mbr = {query(object_type::disk, "SIGNATURE", "4294967295", "@mbr"),
                        parent_groups("mbr", "@dg1")};
const Expected entering_storage{2, "Entering IsStorageClusterable"};
const Expected exiting_storage{0, "Exiting IsStorageClusterable"};

TEST_F(IsStorageClusterable, FindsMbrDiskBySignatureInDecimal) {
    at_every_threshold([&] {
        EXPECT_EQ(is_mbr_clusterable(0xFFFFFFFF), 1u);
        expect_calls({query(object_type::disk, "SIGNATURE", "4294967295", "@mbr"),
                      parent_groups("mbr", "@dg1"), read("dg1", "cluster resource", boolean(true)),
                      read_type("dg1", group_type::cluster)});
        expect_log({entering_storage, exiting_storage});
    });
}

TEST_F(IsStorageClusterable, FindsGptDiskByGuidInLowerCase) {
    at_every_threshold([&] {
        EXPECT_EQ(is_gpt_clusterable(disk_guid), 1u);
        expect_calls(
            {query(object_type::disk, "DISKGUID", "{01234567-89ab-cdef-fedc-ba9876543210}", "@gpt"),
             parent_groups("gpt", "@dg1"), read("dg1", "cluster resource", boolean(true)),
             read_type("dg1", group_type::cluster)});
        expect_log({entering_storage, exiting_storage});
    });
}

TEST_F(IsStorageClusterable, ReturnsOneOnlyForClusterResourceOfClusterType) {
    const struct {
        const char* group;
        bool resource;
        std::uint32_t type;
        std::uint8_t result;
    } rows[] = {{R"("type": 2, "cluster_resource": true)", true, group_type::cluster, 1},
                {R"("type": 2, "cluster_resource": false)", false, group_type::cluster, 0},
                {R"("type": 8, "cluster_resource": true)", true, group_type::cluster_shared, 0},
                {R"("type": 1, "cluster_resource": false)", false, group_type::local, 0}};
    for (const auto& row : rows) {
        set_group(row.group);
        once([&] {
            EXPECT_EQ(is_mbr_clusterable(), row.result);
            expect_calls(find_mbr + Lines{read("dg1", "cluster resource", boolean(row.resource)),
                                          read_type("dg1", row.type)});
        });
    }
}

// Any disk that the service returns for the empty query counts.
TEST_F(IsStorageClusterable, SendsEmptyQueryForOtherStyles) {
    at_every_threshold([&] {
        set_faults(fault_plan({failing(running_query, bus_bad_query)}));
        EXPECT_EQ(
            FARLO(IsStorageClusterable)(handle, FARLO_PARTITION_STYLE_RAW, 0xFFFFFFFF, disk_guid),
            0u);
        expect_calls({"DbGetObjectsByQuery \"\" -> 0xc1000106"});
        expect_log({entering_storage,
                    {0, "IsStorageClusterable:DbGetObjectsByQuery failed, for , error = "
                        "0xc1000106"},
                    exiting_storage});
        opal_objid disk;
        ASSERT_EQ(LabFindObject("mbr", &disk), 0);
        const StandIn<decltype(DbGetObjectsByQuery)> find_disk(
            dll().module(), "DbGetObjectsByQuery",
            [&](opal_connection, opal_context, const wchar_t*, opal_objid** ids,
                uint32_t* count) -> opal_status {
                *ids = static_cast<opal_objid*>(_ZtAlloc(sizeof disk));
                **ids = disk;
                *count = 1;
                return bus_success;
            });
        EXPECT_EQ(FARLO(IsStorageClusterable)(handle, 3, 0, nullptr), 1u);
    });
}

TEST_F(IsStorageClusterable, ReturnsZeroForUnknownDisk) {
    at_every_threshold([&] {
        EXPECT_EQ(is_mbr_clusterable(5), 0u);
        expect_calls({query(object_type::disk, "SIGNATURE", "5", "")});
        expect_log(
            {entering_storage, {0, "IsStorageClusterable:Disk Object not found"}, exiting_storage});
    });
}

TEST_F(IsStorageClusterable, ReturnsZeroWhenQueryFails) {
    at_every_threshold([&] {
        set_faults(fault_plan({failing(running_query, bus_no_memory)}));
        EXPECT_EQ(is_mbr_clusterable(5), 0u);
        expect_log({entering_storage,
                    {0, "IsStorageClusterable:DbGetObjectsByQuery failed, for SELECT FROM "
                        "tamo_ztvm_disk where \"SIGNATURE\" EQ 5, error = 0xc1000102"},
                    exiting_storage});
    });
}

TEST_F(IsStorageClusterable, TreatsInformationalStatusOfQueryAsSuccess) {
    at_every_threshold([&] {
        set_faults(fault_plan({informational_query}));
        EXPECT_EQ(is_mbr_clusterable(), 1u);
        expect_log({entering_storage, exiting_storage});
    });
}

TEST_F(IsStorageClusterable, ReadsFirstGroupOfFirstDisk) {
    scenario = two_groups;
    once([&] {
        {
            const SeveralObjects objects(dll().module(), {"disk 8", "disk 2"}, {"two", "eight"});
            EXPECT_EQ(is_mbr_clusterable(1), 1u);
            EXPECT_TRUE(objects.queried_only_parents_of("disk 8"));
            expect_calls({read("two", "cluster resource", boolean(true)),
                          read_type("two", group_type::cluster)});
        }
        start_watching();
        const SeveralObjects objects(dll().module(), {"disk 2", "disk 8"}, {"eight", "two"});
        EXPECT_EQ(is_mbr_clusterable(1), 0u);
        EXPECT_TRUE(objects.queried_only_parents_of("disk 2"));
        expect_calls({read("eight", "cluster resource", boolean(false)),
                      read_type("eight", group_type::cluster_shared)});
    });
}

TEST_F(IsStorageClusterable, ReturnsZeroWhenAnyAllocationFails) {
    std::vector<unsigned> results;
    at_every_allocation([&] { results.push_back(is_gpt_clusterable()); });
    expect_zero_at_every_failed_allocation(results);
}

TEST_F(IsStorageClusterable, ReturnsZeroForDiskWithoutGroup) {
    at_every_threshold([&] {
        EXPECT_EQ(is_mbr_clusterable(77), 0u);
        expect_calls({query(object_type::disk, "SIGNATURE", "77", "@lone disk"),
                      parent_groups("lone disk", "")});
        expect_log({entering_storage, exiting_storage});
    });
}

TEST_F(IsStorageClusterable, ReturnsZeroWhenGroupCannotBeRead) {
    at_every_threshold([&] {
        for (const FaultRule& fault : {failing(reading_parents, bus_unknown_object),
                                       with_type(reading("cluster resource"), "UINT32"),
                                       failing(reading("LDM DG TYPE"), bus_no_property)}) {
            SCOPED_TRACE(fault_plan({fault}));
            set_faults(fault_plan({fault}));
            start_watching();
            EXPECT_EQ(is_mbr_clusterable(), 0u);
            expect_log({entering_storage, exception_caught, exiting_storage});
        }
    });
}

// Two blocks are allocated: for the query and for the value in it.
TEST_F(IsStorageClusterable, ReturnsZeroWithoutMemoryForQuery) {
    at_every_threshold([&] {
        for (const int allocation : {1, 2}) {
            set_faults(fault_plan({no_bus_memory(allocation)}));
            start_watching();
            EXPECT_EQ(is_mbr_clusterable(), 0u);
            expect_calls({});
            expect_log({entering_storage,
                        {0, "IsStorageClusterable: failed to allocate memory"},
                        exiting_storage});
        }
    });
}

TEST_F(IsStorageClusterable, ReturnsZeroForNullGuidOfGptDisk) {
    at_every_threshold([&] {
        EXPECT_EQ(is_gpt_clusterable(nullptr), 0u);
        expect_calls({});
        expect_log({entering_storage,
                    {0, "IsStorageClusterable() failed , NULL Disk GUID"},
                    exiting_storage});
    });
}

TEST_F(IsStorageClusterable, ReturnsZeroWithoutConnectedHandle) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(IsStorageClusterable)(nullptr, FARLO_PARTITION_STYLE_MBR, 0, nullptr), 0u);
        expect_log({entering_storage, {0, "IsStorageClusterable , NULL opal_handle"}});
        start_watching();
        disconnect();
        EXPECT_EQ(is_mbr_clusterable(), 0u);
        expect_calls({});
        expect_log(
            {entering_storage, {0, "IsStorageClusterable failed , opal_handle not connected"}});
    });
}

// ------------------------------------------------------- IsVolumeClusterable

class IsVolumeClusterable : public ClusterabilityTest {
  protected:
    IsVolumeClusterable() { set_group(R"("type": 8)"); }

    std::uint8_t is_clusterable(const wchar_t* name = L"Volume {1}") {
        return FARLO(IsVolumeClusterable)(handle, name);
    }
};

const Expected entering_volume{2, "Entering IsVolumeClusterable"};
const Expected exiting_volume{0, "Exiting IsVolumeClusterable"};

TEST_F(IsVolumeClusterable, ReturnsOneForGroupThatIsShared) {
    at_every_threshold([&] {
        EXPECT_EQ(is_clusterable(), 1u);
        expect_calls({query_volume_1, parent_groups("vol1", "@dg1"),
                      read_type("dg1", group_type::cluster_shared),
                      read("dg1", "cluster shared", boolean(true))});
        expect_log({entering_volume,
                    entering_type_check,
                    types_compared(8, 8),
                    exiting_type_check,
                    {6, "IsVolumeClusterable: volume Volume {1} is clusterable"},
                    exiting_volume});
    });
}

TEST_F(IsVolumeClusterable, ReturnsZeroForClusterSharedTypeThatIsNotShared) {
    set_group(R"("type": 8, "cluster_shared": false)");
    at_every_threshold([&] {
        EXPECT_EQ(is_clusterable(), 0u);
        expect_calls({query_volume_1, parent_groups("vol1", "@dg1"),
                      read_type("dg1", group_type::cluster_shared),
                      read("dg1", "cluster shared", boolean(false))});
        expect_log({entering_volume,
                    entering_type_check,
                    types_compared(8, 8),
                    exiting_type_check,
                    {6, "IsVolumeClusterable: volume Volume {1} is NOT clusterable"},
                    exiting_volume});
    });
}

TEST_F(IsVolumeClusterable, ReturnsZeroForGroupOfAnotherType) {
    set_group(R"("type": 2, "cluster_shared": true)");
    at_every_threshold([&] {
        EXPECT_EQ(is_clusterable(), 0u);
        expect_calls(
            {query_volume_1, parent_groups("vol1", "@dg1"), read_type("dg1", group_type::cluster)});
        expect_log(
            {entering_volume, entering_type_check, types_compared(8, 2), exiting_type_check});
    });
}

TEST_F(IsVolumeClusterable, ReadsFirstGroupOfFirstVolume) {
    scenario = two_groups;
    once([&] {
        const SeveralObjects objects(dll().module(), {"vol 2", "vol 8"}, {"eight", "two"});
        EXPECT_EQ(is_clusterable(), 1u);
        EXPECT_TRUE(objects.queried_only_parents_of("vol 2"));
        expect_calls({read_type("eight", group_type::cluster_shared),
                      read("eight", "cluster shared", boolean(true))});
    });
}

TEST_F(IsVolumeClusterable, EndsWithoutExitLineWhenTypeCannotBeRead) {
    at_every_threshold([&] {
        EXPECT_EQ(is_clusterable(L"none"), 0u);
        expect_calls({query(object_type::volume, "volumename", "none", "")});
        expect_log({entering_volume, entering_type_check, exiting_type_check});
        start_watching();
        EXPECT_EQ(is_clusterable(L"lone"), 0u);
        expect_log({entering_volume, entering_type_check, exiting_type_check});
        start_watching();
        set_faults(fault_plan({failing(running_query, bus_no_memory)}));
        EXPECT_EQ(is_clusterable(), 0u);
        expect_log({entering_volume,
                    entering_type_check,
                    {0, "IsVolumeOfSpecifiedDgType: DbGetObjectsByQuery failed for volume - Volume "
                        "{1}, error = 0xc1000102"},
                    exiting_type_check});
        set_faults("[]");
        start_watching();
        disconnect();
        EXPECT_EQ(is_clusterable(), 0u);
        expect_calls({});
        expect_log({entering_volume,
                    entering_type_check,
                    {0, "IsVolumeOfSpecifiedDgType failed , opal_handle not connected"}});
    });
}

TEST_F(IsVolumeClusterable, TreatsInformationalStatusOfQueryAsSuccess) {
    once([&] {
        set_faults(fault_plan({informational_query}));
        EXPECT_EQ(is_clusterable(), 1u);
    });
}

TEST_F(IsVolumeClusterable, ReturnsZeroWhenAnyAllocationFails) {
    std::vector<unsigned> results;
    at_every_allocation([&] { results.push_back(is_clusterable()); });
    expect_zero_at_every_failed_allocation(results);
}

TEST_F(IsVolumeClusterable, ReturnsZeroWhenSharedFlagCannotBeRead) {
    at_every_threshold([&] {
        set_faults(fault_plan({failing(reading("cluster shared"), bus_no_property)}));
        EXPECT_EQ(is_clusterable(), 0u);
        expect_log({entering_volume, entering_type_check, types_compared(8, 8), exiting_type_check,
                    exception_caught, exiting_volume});
    });
}

TEST_F(IsVolumeClusterable, ReturnsZeroForNullHandleOrNullName) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(IsVolumeClusterable)(nullptr, L"v"), 0u);
        expect_log({entering_volume,
                    entering_type_check,
                    {0, "IsVolumeOfSpecifiedDgType , NULL opal_handle"}});
        start_watching();
        EXPECT_EQ(FARLO(IsVolumeClusterable)(handle, nullptr), 0u);
        expect_log({entering_volume,
                    entering_type_check,
                    {0, "IsVolumeOfSpecifiedDgType() failed , NULL Volume Name"}});
    });
}

}  // namespace
