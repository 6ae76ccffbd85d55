// GetClusterSharedDgGuid.
#include "volume/clusterability_fixture.h"

#include <cerrno>
#include <cstring>

namespace {

using namespace support;

class GetClusterSharedDgGuid : public ClusterabilityTest {
  protected:
    GetClusterSharedDgGuid() { set_group(R"("type": 8)"); }

    std::uint32_t get_guid(const GuardedBuffer& guid,
                           const wchar_t* device = L"\\Device\\one two") {
        return FARLO(GetClusterSharedDgGuidW)(handle, device, guid.as<char>());
    }
};

const Expected entering{2, "Entering GetClusterSharedDgGuidW"};
Expected failed(std::uint32_t status) {
    return {0, "GetClusterSharedDgGuidW() failed, error=(" + hex(status) + ") "};
}

TEST_F(GetClusterSharedDgGuid, ProvidesGuidOfVolumesGroup) {
    at_every_threshold([&] {
        GuardedBuffer guid(FARLO_GUID_TEXT_SIZE);
        EXPECT_EQ(get_guid(guid), FARLO_SUCCESS);
        std::vector<std::uint8_t> expected(FARLO_GUID_TEXT_SIZE, GuardedBuffer::canary);
        std::memcpy(expected.data(), "guid-1", 7);
        EXPECT_EQ(guid.difference(expected), "");
        expect_calls({query(object_type::volume, "DEVICE NAME", R"(\\Device\\one two)", "@vol1"),
                      parent_groups("vol1", "@dg1"), read_type("dg1", group_type::cluster_shared),
                      read("dg1", "dgid", str("guid-1"))});
        expect_log({entering});
    });
}

TEST_F(GetClusterSharedDgGuid, ProvidesGuidOf64CharactersAndRejects65) {
    const auto set_guid_length = [this](std::size_t length) {
        scenario = R"({"disk_groups": [{"name": "dg1", "type": 8, "dgid": ")" +
                   std::string(length, 'g') +
                   R"(", "volumes": [{"name": "vol1", "device": "\\Device\\one two"}]}]})";
    };
    set_guid_length(64);
    once([&] {
        GuardedBuffer guid(FARLO_GUID_TEXT_SIZE);
        EXPECT_EQ(get_guid(guid), FARLO_SUCCESS);
        EXPECT_EQ(std::string(guid.as<char>()), std::string(64, 'g'));
    });
    set_guid_length(65);
    at_every_threshold([&] {
        GuardedBuffer guid(FARLO_GUID_TEXT_SIZE);
        EXPECT_EQ(get_guid(guid), FARLO_PROVIDER_FAILED);
        EXPECT_TRUE(guid.holds_string(""));
        expect_log({entering,
                    {0, std::string("GetClusterSharedDgGuidW: secure string copy failed for "
                                    "volume  - \\Device\\one two, error = ") +
                            std::strerror(ERANGE)},
                    failed(FARLO_PROVIDER_FAILED)});
    });
}

TEST_F(GetClusterSharedDgGuid, RejectsGroupOfAnotherType) {
    set_group(R"("type": 2)");
    at_every_threshold([&] {
        GuardedBuffer guid(FARLO_GUID_TEXT_SIZE);
        EXPECT_EQ(get_guid(guid), FARLO_INVALID_ARGUMENT);
        EXPECT_TRUE(guid.untouched());
        expect_log({entering,
                    {0, "GetClusterSharedDgGuidW: DgType is not Cluster Shared for volume - "
                        "\\Device\\one two"},
                    failed(FARLO_INVALID_ARGUMENT)});
    });
}

TEST_F(GetClusterSharedDgGuid, FailsForUnknownVolumeAndVolumeWithoutGroup) {
    at_every_threshold([&] {
        GuardedBuffer guid(FARLO_GUID_TEXT_SIZE);
        EXPECT_EQ(get_guid(guid, L"none"), FARLO_PROVIDER_FAILED);
        expect_calls({query(object_type::volume, "DEVICE NAME", "none", "")});
        expect_log({entering,
                    {0, "GetClusterSharedDgGuidW:Volume Object not found for volume  - none"},
                    failed(FARLO_PROVIDER_FAILED)});
        start_watching();
        EXPECT_EQ(get_guid(guid, L"lone"), FARLO_PROVIDER_FAILED);
        expect_log({entering,
                    {0, "GetClusterSharedDgGuidW: Dg object not found for volume  - lone"},
                    failed(FARLO_PROVIDER_FAILED)});
        EXPECT_TRUE(guid.untouched());
    });
}

TEST_F(GetClusterSharedDgGuid, ReturnsStatusOfFailedQuery) {
    at_every_threshold([&] {
        set_faults(fault_plan({failing(running_query, bus_no_memory)}));
        GuardedBuffer guid(FARLO_GUID_TEXT_SIZE);
        EXPECT_EQ(get_guid(guid), bus_no_memory);
        expect_log({entering,
                    {0, "GetClusterSharedDgGuidW:DbGetObjectsByQuery failed for volume  - "
                        "\\Device\\one two, error = 0xc1000102"},
                    failed(bus_no_memory)});
    });
}

TEST_F(GetClusterSharedDgGuid, TreatsInformationalStatusOfQueryAsSuccess) {
    at_every_threshold([&] {
        set_faults(fault_plan({informational_query}));
        GuardedBuffer guid(FARLO_GUID_TEXT_SIZE);
        EXPECT_EQ(get_guid(guid), FARLO_SUCCESS);
        EXPECT_TRUE(guid.holds_string("guid-1"));
        expect_log({entering});
    });
}

TEST_F(GetClusterSharedDgGuid, ReadsFirstGroupOfFirstVolume) {
    scenario = two_groups;
    once([&] {
        const SeveralObjects objects(dll().module(), {"vol 2", "vol 8"}, {"eight", "two"});
        GuardedBuffer guid(FARLO_GUID_TEXT_SIZE);
        EXPECT_EQ(get_guid(guid), FARLO_SUCCESS);
        EXPECT_TRUE(guid.holds_string("guid-8"));
        EXPECT_TRUE(objects.queried_only_parents_of("vol 2"));
        expect_calls(
            {read_type("eight", group_type::cluster_shared), read("eight", "dgid", str("guid-8"))});
    });
}

TEST_F(GetClusterSharedDgGuid, FailsCleanlyWhenAnyAllocationFails) {
    const auto run = [&](auto call) {
        auto results = statuses_at_every_allocation([&] {
            GuardedBuffer guid(FARLO_GUID_TEXT_SIZE);
            const std::uint32_t status = call(guid.as<char>());
            EXPECT_TRUE(status == FARLO_SUCCESS ? guid.holds_string("guid-1")
                                                : testing::AssertionResult(guid.untouched()));
            return status;
        });
        ASSERT_GT(results.size(), 1u);
        // The first allocation is the query string.
        EXPECT_EQ(results.front(), FARLO_OUT_OF_MEMORY);
        results.erase(results.begin());
        EXPECT_THAT(results, testing::Each(FARLO_EXCEPTION));
    };
    run([&](char* guid) {
        return FARLO(GetClusterSharedDgGuidW)(handle, L"\\Device\\one two", guid);
    });
    run([&](char* guid) {
        return FARLO(GetClusterSharedDgGuidA)(handle, "\\Device\\one two", guid);
    });
}

TEST_F(GetClusterSharedDgGuid, FailsWhenGroupCannotBeRead) {
    at_every_threshold([&] {
        for (const FaultRule& fault :
             {failing(reading_parents, bus_unknown_object),
              failing(reading("LDM DG TYPE"), bus_no_property), with_type(reading("dgid"), "WSTR"),
              lying(reading("dgid"), "null")}) {
            SCOPED_TRACE(fault_plan({fault}));
            set_faults(fault_plan({fault}));
            start_watching();
            GuardedBuffer guid(FARLO_GUID_TEXT_SIZE);
            EXPECT_EQ(get_guid(guid), FARLO_EXCEPTION);
            EXPECT_TRUE(guid.untouched());
            expect_log({entering, exception_caught, failed(FARLO_EXCEPTION)});
        }
    });
}

TEST_F(GetClusterSharedDgGuid, RejectsNullArguments) {
    at_every_threshold([&] {
        GuardedBuffer guid(FARLO_GUID_TEXT_SIZE);
        EXPECT_EQ(get_guid(guid, nullptr), FARLO_INVALID_ARGUMENT);
        expect_log({entering,
                    {0, "GetClusterSharedDgGuidW() failed , NULL Volume Device Name"},
                    failed(FARLO_INVALID_ARGUMENT)});
        start_watching();
        EXPECT_EQ(FARLO(GetClusterSharedDgGuidW)(handle, L"d", nullptr), FARLO_INVALID_ARGUMENT);
        expect_log({entering,
                    {0, "GetClusterSharedDgGuidW() failed , NULL DG GUID"},
                    failed(FARLO_INVALID_ARGUMENT)});
        expect_calls({});
        start_watching();
        EXPECT_EQ(FARLO(GetClusterSharedDgGuidW)(nullptr, L"d", nullptr), FARLO_NULL_HANDLE);
        expect_log({entering, {0, "GetClusterSharedDgGuidW() failed , NULL opal_handle"}});
    });
}

TEST_F(GetClusterSharedDgGuid, ChecksConnectionBeforeDeviceName) {
    at_every_threshold([&] {
        disconnect();
        GuardedBuffer guid(FARLO_GUID_TEXT_SIZE);
        const Expected not_connected{
            0, "GetClusterSharedDgGuidW() failed , opal_handle not connected"};
        EXPECT_EQ(get_guid(guid), FARLO_NOT_CONNECTED);
        expect_calls({});
        expect_log({entering, not_connected});
        start_watching();
        EXPECT_EQ(get_guid(guid, nullptr), FARLO_NOT_CONNECTED);
        expect_log({entering, not_connected});
        EXPECT_TRUE(guid.untouched());
    });
}

TEST_F(GetClusterSharedDgGuid, FailsForLongDeviceNameAndWithoutMemoryForQuery) {
    at_every_threshold([&] {
        GuardedBuffer guid(FARLO_GUID_TEXT_SIZE);
        EXPECT_EQ(get_guid(guid, std::wstring(2000, L'd').c_str()), FARLO_INVALID_ARGUMENT);
        expect_log({entering,
                    {0, "GetClusterSharedDgGuidW() failed , device string of more than 1995 "
                        "characters, error=(0x80070057)"}});
        start_watching();
        set_faults(fault_plan({no_bus_memory()}));
        EXPECT_EQ(get_guid(guid), FARLO_OUT_OF_MEMORY);
        expect_log({entering,
                    {0, "GetClusterSharedDgGuidW: failed to allocate memory"},
                    failed(FARLO_OUT_OF_MEMORY)});
        expect_calls({});
    });
}

// The GUID has been written already.
TEST_F(GetClusterSharedDgGuid, ReturnsNotConnectedWhenConnectionDropsAfterSuccess) {
    at_every_threshold([&] {
        set_faults(fault_plan({dropping(reading("dgid"))}));
        GuardedBuffer guid(FARLO_GUID_TEXT_SIZE);
        EXPECT_EQ(get_guid(guid), FARLO_NOT_CONNECTED);
        EXPECT_TRUE(guid.holds_string("guid-1"));
        expect_log({entering, failed(FARLO_NOT_CONNECTED)});
    });
}

TEST_F(GetClusterSharedDgGuid, ReturnsNotConnectedWhenConnectionDropsBeforeFailure) {
    set_group(R"("type": 2)");
    at_every_threshold([&] {
        set_faults(fault_plan({dropping(reading("LDM DG TYPE"))}));
        GuardedBuffer guid(FARLO_GUID_TEXT_SIZE);
        EXPECT_EQ(get_guid(guid), FARLO_NOT_CONNECTED);
        EXPECT_TRUE(guid.untouched());
        expect_log({entering,
                    {0, "GetClusterSharedDgGuidW: DgType is not Cluster Shared for volume - "
                        "\\Device\\one two"},
                    failed(FARLO_NOT_CONNECTED)});
    });
}

TEST_F(GetClusterSharedDgGuid, ReturnsNotConnectedWhenConnectionDropsBeforeException) {
    at_every_threshold([&] {
        set_faults(fault_plan({dropping(reading_parents)}));
        GuardedBuffer guid(FARLO_GUID_TEXT_SIZE);
        EXPECT_EQ(get_guid(guid), FARLO_NOT_CONNECTED);
        EXPECT_TRUE(guid.untouched());
        expect_log({entering, exception_caught, failed(FARLO_NOT_CONNECTED)});
    });
}

TEST_F(GetClusterSharedDgGuid, AcceptsLongestNarrowDeviceName) {
    scenario = R"({"disk_groups": [{"name": "dg1", "type": 8, "dgid": "guid-1", "volumes": [
        {"name": "vol1", "device": ")" +
               std::string(259, 'd') + R"("}]}]})";
    at_every_threshold([&] {
        GuardedBuffer guid(FARLO_GUID_TEXT_SIZE);
        EXPECT_EQ(
            FARLO(GetClusterSharedDgGuidA)(handle, std::string(259, 'd').c_str(), guid.as<char>()),
            FARLO_SUCCESS);
        EXPECT_TRUE(guid.holds_string("guid-1"));
        expect_log({entering});
    });
}

TEST_F(GetClusterSharedDgGuid, NarrowFormRejectsNullAndLongDeviceName) {
    at_every_threshold([&] {
        GuardedBuffer guid(FARLO_GUID_TEXT_SIZE);
        EXPECT_EQ(FARLO(GetClusterSharedDgGuidA)(handle, "\\Device\\one two", guid.as<char>()),
                  FARLO_SUCCESS);
        EXPECT_EQ(std::string(guid.as<char>()), "guid-1");
        expect_log({entering});
        start_watching();
        EXPECT_EQ(FARLO(GetClusterSharedDgGuidA)(handle, nullptr, guid.as<char>()),
                  FARLO_INVALID_ARGUMENT);
        expect_log({entering,
                    {0, "GetClusterSharedDgGuidW() failed , NULL Volume Device Name"},
                    failed(FARLO_INVALID_ARGUMENT)});
        start_watching();
        EXPECT_EQ(
            FARLO(GetClusterSharedDgGuidA)(handle, std::string(260, 'd').c_str(), guid.as<char>()),
            FARLO_INVALID_ARGUMENT);
        expect_log(
            {{0, "GetClusterSharedDgGuidA() failed , device string of more than 259 characters or "
                 "invalid, error=(0x80070057)"}});
    });
}

}  // namespace
