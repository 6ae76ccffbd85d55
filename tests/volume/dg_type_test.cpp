// IsVolumeOfSpecifiedDgType.
#include "volume/clusterability_fixture.h"

namespace {

using namespace support;

class IsVolumeOfSpecifiedDgType : public ClusterabilityTest {
  protected:
    std::uint8_t is_of_type(std::uint32_t type, const wchar_t* name = L"Volume {1}") {
        return FARLO(IsVolumeOfSpecifiedDgType)(handle, name, type);
    }
};

TEST_F(IsVolumeOfSpecifiedDgType, ComparesTypeOfVolumesGroup) {
    at_every_threshold([&] {
        const Lines read_group_type = {query_volume_1, parent_groups("vol1", "@dg1"),
                                       read_type("dg1", group_type::cluster)};
        EXPECT_EQ(is_of_type(group_type::cluster), 1u);
        expect_calls(read_group_type);
        expect_log({entering_type_check, types_compared(2, 2), exiting_type_check});
        start_watching();
        EXPECT_EQ(is_of_type(group_type::cluster_shared), 0u);
        expect_calls(read_group_type);
        expect_log({entering_type_check, types_compared(8, 2), exiting_type_check});
    });
}

TEST_F(IsVolumeOfSpecifiedDgType, AcceptsTypeWithoutMeaning) {
    set_group(R"("type": 12345)");
    once([&] {
        EXPECT_EQ(is_of_type(12345), 1u);
        EXPECT_EQ(is_of_type(0), 0u);
    });
}

TEST_F(IsVolumeOfSpecifiedDgType, LogsLargeTypesAsNegativeNumbers) {
    set_group(R"("type": 2147483648)");
    at_every_threshold([&] {
        EXPECT_EQ(is_of_type(0x80000000), 1u);
        expect_log({entering_type_check,
                    {6, "IsVolumeOfSpecifiedDgType: input type = -2147483648, actual type = "
                        "-2147483648"},
                    exiting_type_check});
        start_watching();
        EXPECT_EQ(is_of_type(0xFFFFFFFF), 0u);
        expect_log({entering_type_check,
                    {6, "IsVolumeOfSpecifiedDgType: input type = -1, actual type = -2147483648"},
                    exiting_type_check});
    });
}

TEST_F(IsVolumeOfSpecifiedDgType, TreatsInformationalStatusOfQueryAsSuccess) {
    at_every_threshold([&] {
        set_faults(fault_plan({informational_query}));
        EXPECT_EQ(is_of_type(group_type::cluster), 1u);
        expect_log({entering_type_check, types_compared(2, 2), exiting_type_check});
    });
}

TEST_F(IsVolumeOfSpecifiedDgType, ReadsFirstGroupOfFirstVolume) {
    scenario = two_groups;
    once([&] {
        const SeveralObjects objects(dll().module(), {"vol 2", "vol 8"}, {"eight", "two"});
        EXPECT_EQ(is_of_type(group_type::cluster_shared), 1u);
        EXPECT_TRUE(objects.queried_only_parents_of("vol 2"));
        expect_calls({read_type("eight", group_type::cluster_shared)});
        expect_log({entering_type_check, types_compared(8, 8), exiting_type_check});
    });
}

TEST_F(IsVolumeOfSpecifiedDgType, ReturnsZeroWhenAnyAllocationFails) {
    std::vector<unsigned> results;
    at_every_allocation([&] { results.push_back(is_of_type(group_type::cluster)); });
    expect_zero_at_every_failed_allocation(results);
}

TEST_F(IsVolumeOfSpecifiedDgType, ReturnsZeroForUnknownVolumeAndVolumeWithoutGroup) {
    at_every_threshold([&] {
        EXPECT_EQ(is_of_type(group_type::cluster, L"none"), 0u);
        expect_calls({query(object_type::volume, "volumename", "none", "")});
        expect_log({entering_type_check, exiting_type_check});
        start_watching();
        EXPECT_EQ(is_of_type(group_type::cluster, L"lone"), 0u);
        expect_calls({query(object_type::volume, "volumename", "lone", "@lone volume"),
                      parent_groups("lone volume", "")});
        expect_log({entering_type_check, exiting_type_check});
    });
}

TEST_F(IsVolumeOfSpecifiedDgType, ReturnsZeroWhenQueryFails) {
    at_every_threshold([&] {
        set_faults(fault_plan({failing(running_query, bus_no_memory)}));
        EXPECT_EQ(is_of_type(group_type::cluster), 0u);
        expect_log({entering_type_check,
                    {0, "IsVolumeOfSpecifiedDgType: DbGetObjectsByQuery failed for volume - Volume "
                        "{1}, error = 0xc1000102"},
                    exiting_type_check});
    });
}

TEST_F(IsVolumeOfSpecifiedDgType, ReturnsZeroWhenGroupCannotBeRead) {
    at_every_threshold([&] {
        for (const FaultRule& fault : {failing(reading_parents, bus_unknown_object),
                                       with_type(reading("LDM DG TYPE"), "INT32")}) {
            SCOPED_TRACE(fault_plan({fault}));
            set_faults(fault_plan({fault}));
            start_watching();
            EXPECT_EQ(is_of_type(group_type::cluster), 0u);
            expect_log({entering_type_check, exception_caught, exiting_type_check});
        }
    });
}

TEST_F(IsVolumeOfSpecifiedDgType, ChecksHandleThenConnectionThenName) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(IsVolumeOfSpecifiedDgType)(nullptr, nullptr, group_type::cluster), 0u);
        expect_log({entering_type_check, {0, "IsVolumeOfSpecifiedDgType , NULL opal_handle"}});
        start_watching();
        EXPECT_EQ(is_of_type(group_type::cluster, nullptr), 0u);
        expect_log(
            {entering_type_check, {0, "IsVolumeOfSpecifiedDgType() failed , NULL Volume Name"}});
        start_watching();
        set_faults(fault_plan({no_bus_memory()}));
        EXPECT_EQ(is_of_type(group_type::cluster), 0u);
        expect_log(
            {entering_type_check, {0, "IsVolumeOfSpecifiedDgType: failed to allocate memory"}});
        start_watching();
        disconnect();
        EXPECT_EQ(is_of_type(group_type::cluster, nullptr), 0u);
        expect_log({entering_type_check,
                    {0, "IsVolumeOfSpecifiedDgType failed , opal_handle not connected"}});
        expect_calls({});
    });
}

TEST_F(IsVolumeOfSpecifiedDgType, RejectsNameThatDoesNotFitIntoQuery) {
    at_every_threshold([&] {
        EXPECT_EQ(is_of_type(group_type::cluster, std::wstring(2000, L'v').c_str()), 0u);
        expect_calls({});
        expect_log({entering_type_check,
                    {0, "IsVolumeOfSpecifiedDgType() failed , volume_name string of more than "
                        "1996 characters, error=(0x80070057)"}});
    });
}

}  // namespace
