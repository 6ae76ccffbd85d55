// farlo.hpp: errors, GUIDs, states.
#include "farlo.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using farlo::Guid;
using farlo::Status;

// ------------------------------------------------------------------- errors

struct Named {
    Status status;
    std::uint32_t number;
    const char* message;
};

const std::vector<Named>& named_statuses() {
    static const std::vector<Named> all = {
        {Status::success, 0, "success (FARLO_SUCCESS)"},
        {Status::not_found, 1, "no such disk group, or no driver (FARLO_NOT_FOUND)"},
        {Status::already_imported, 9,
         "a disk group of that name is imported already (FARLO_ALREADY_IMPORTED)"},
        {Status::no_guid_memory, 17,
         "no memory for a GUID string or a request (FARLO_NO_GUID_MEMORY)"},
        {Status::exception, 18,
         "a property could not be read or written, or resources ran out (FARLO_EXCEPTION)"},
        {Status::missing_argument, 19, "a required argument is missing (FARLO_MISSING_ARGUMENT)"},
        {Status::not_connected, 20, "not connected to the storage service (FARLO_NOT_CONNECTED)"},
        {Status::uninitialize_failed, 21,
         "the handle could not be released (FARLO_UNINITIALIZE_FAILED)"},
        {Status::device_sharing_violation, 23,
         "the driver's device is in use (FARLO_DEVICE_SHARING_VIOLATION)"},
        {Status::device_failed, 24, "the driver's device failed (FARLO_DEVICE_FAILED)"},
        {Status::device_unsuccessful, 36,
         "the driver reports no success (FARLO_DEVICE_UNSUCCESSFUL)"},
        {Status::excluded_type, 40,
         "the disk group has a type that is not accepted (FARLO_EXCLUDED_TYPE)"},
        {Status::no_cluster_service, 41,
         "the service has no cluster-service object (FARLO_NO_CLUSTER_SERVICE)"},
        {Status::buffer_too_small, 97, "the buffer is too small (FARLO_BUFFER_TOO_SMALL)"},
        {Status::no_volume_guid, 98,
         "the GUID string of the volume could not be read (FARLO_NO_VOLUME_GUID)"},
        {Status::volume_not_found, 99, "no such volume (FARLO_VOLUME_NOT_FOUND)"},
        {Status::null_handle, 100, "the handle is NULL (FARLO_NULL_HANDLE)"},
        {Status::invalid_argument, 0x80070057, "an argument is invalid (FARLO_INVALID_ARGUMENT)"},
        {Status::out_of_memory, 0x8007000E, "out of memory (FARLO_OUT_OF_MEMORY)"},
        {Status::provider_failed, 0xC1000001,
         "a provider failed, or an object of the service is missing (FARLO_PROVIDER_FAILED)"},
        {Status::node_already_started, 0xE5150047,
         "the cluster volume manager runs already (FARLO_NODE_ALREADY_STARTED)"},
        {Status::already_online, 0xE515007A,
         "the disk group is online already (FARLO_ALREADY_ONLINE)"},
    };
    return all;
}

TEST(HppStatus, HasEachStatusOfTheCHeader) {
    std::vector<std::uint32_t> numbers;
    for (const Named& named : named_statuses()) {
        numbers.push_back(named.number);
        EXPECT_EQ(static_cast<std::uint32_t>(named.status), named.number) << named.message;
    }
    const std::vector<std::uint32_t> listed = {
#define NUMBER(name, words) name,
        FARLO_STATUSES(NUMBER)
#undef NUMBER
    };
    EXPECT_EQ(numbers, listed);
}

TEST(HppCategory, DescribesEachStatusWithItsName) {
    EXPECT_STREQ(farlo::category().name(), "farlo");
    for (const Named& named : named_statuses()) {
        EXPECT_EQ(make_error_code(named.status).message(), named.message);
    }
}

TEST(HppCategory, DescribesAnyOtherStatusWithItsNumber) {
    const auto message = [](std::uint32_t status) {
        return make_error_code(static_cast<Status>(status)).message();
    };
    EXPECT_EQ(message(0xE5150101), "a status of the storage service (0xe5150101)");
    EXPECT_EQ(message(0xC1000103), "a status of the object bus (0xc1000103)");
    EXPECT_EQ(message(0x80070005), "an error of the system (0x80070005)");
    EXPECT_EQ(message(5), "an unknown status (0x5)");
}

TEST(HppCategory, MapsStatusesToConditionsOfTheStandardLibrary) {
    const auto is = [](Status status, std::errc condition) {
        return make_error_code(status) == condition;
    };
    EXPECT_TRUE(is(Status::not_connected, std::errc::not_connected));
    EXPECT_TRUE(is(Status::no_guid_memory, std::errc::not_enough_memory));
    EXPECT_TRUE(is(Status::out_of_memory, std::errc::not_enough_memory));
    EXPECT_TRUE(is(Status::missing_argument, std::errc::invalid_argument));
    EXPECT_TRUE(is(Status::null_handle, std::errc::invalid_argument));
    EXPECT_TRUE(is(Status::invalid_argument, std::errc::invalid_argument));
    EXPECT_TRUE(is(Status::device_sharing_violation, std::errc::device_or_resource_busy));
    // 1 and 20 are errors of the standard library, too, but other ones.
    EXPECT_FALSE(is(Status::not_found, std::errc::operation_not_permitted));
    EXPECT_FALSE(is(Status::not_connected, std::errc::not_a_directory));
}

TEST(HppError, KnowsItsStatusAndFunction) {
    const farlo::error error(Status::not_found, "OnlineDgExW");
    EXPECT_EQ(error.status(), Status::not_found);
    EXPECT_STREQ(error.function(), "OnlineDgExW");
    EXPECT_STREQ(error.what(), "OnlineDgExW: no such disk group, or no driver (FARLO_NOT_FOUND)");
    EXPECT_TRUE(error.code() == Status::not_found);
    EXPECT_FALSE(error.code() == Status::not_connected);
}

TEST(HppError, KeepsAStatusThatHasNoName) {
    const farlo::error error(static_cast<Status>(0xE5150101), "OnlineDgExW");
    EXPECT_EQ(static_cast<std::uint32_t>(error.status()), 0xE5150101u);
    EXPECT_STREQ(error.what(), "OnlineDgExW: a status of the storage service (0xe5150101)");
}

// -------------------------------------------------------------------- GUIDs

constexpr Guid guid = {0x33, 0x22, 0x11, 0x00, 0x55, 0x44, 0x77, 0x66,
                       0x88, 0x99, 0xaa, 0xbb, 0xcc, 0xdd, 0xee, 0xff};
constexpr char string[] = "00112233-4455-6677-8899-aabbccddeeff";

TEST(HppGuid, IsLaidOutAsWindowsGuid) {
    const GUID windows = {
        0x00112233, 0x4455, 0x6677, {0x88, 0x99, 0xaa, 0xbb, 0xcc, 0xdd, 0xee, 0xff}};
    static_assert(sizeof(Guid) == sizeof windows);
    EXPECT_EQ(std::memcmp(guid.data(), &windows, sizeof windows), 0);
}

TEST(HppGuid, IsReadFromItsString) {
    EXPECT_EQ(farlo::parse_guid(string), guid);
    EXPECT_EQ(farlo::parse_guid("{00112233-4455-6677-8899-aabbccddeeff}"), guid);
    EXPECT_EQ(farlo::parse_guid("00112233-4455-6677-8899-AABBCCDDEEFF"), guid);
}

TEST(HppGuid, IsWrittenInLowerCaseWithoutBraces) {
    EXPECT_EQ(farlo::format_guid(guid), string);
    EXPECT_EQ(farlo::format_guid(Guid{}), "00000000-0000-0000-0000-000000000000");
}

TEST(HppGuid, SurvivesBothWays) {
    for (std::size_t i = 0; i < std::tuple_size<Guid>::value; ++i) {
        Guid one{};
        one[i] = static_cast<std::uint8_t>(0xA1 + i);
        EXPECT_EQ(farlo::parse_guid(farlo::format_guid(one)), one) << i;
    }
}

TEST(HppGuid, IsNothingForAnyOtherString) {
    EXPECT_FALSE(farlo::parse_guid(""));
    EXPECT_FALSE(farlo::parse_guid("guid-1"));
    EXPECT_FALSE(farlo::parse_guid("{}"));
    EXPECT_FALSE(farlo::parse_guid("{00112233-4455-6677-8899-aabbccddeeff"));
    EXPECT_FALSE(farlo::parse_guid("00112233-4455-6677-8899-aabbccddeeff}"));
    EXPECT_FALSE(farlo::parse_guid("(00112233-4455-6677-8899-aabbccddeeff)"));
    EXPECT_FALSE(farlo::parse_guid("00112233-4455-6677-8899-aabbccddeef"));
    EXPECT_FALSE(farlo::parse_guid("00112233-4455-6677-8899-aabbccddeeff0"));
    const std::string valid = string;
    for (std::size_t i = 0; i < valid.size(); ++i) {
        for (const char wrong : {'g', '-', ' ', '/', ':', '@', 'G', '`', '\0', '\xff'}) {
            if (wrong != valid[i]) {
                std::string changed = valid;
                changed[i] = wrong;
                EXPECT_FALSE(farlo::parse_guid(changed)) << i << ' ' << wrong;
            }
        }
    }
}

// ------------------------------------------------------------------- states

TEST(HppStates, HaveTheNumbersOfTheCHeader) {
    const auto number = [](auto state) { return static_cast<std::uint32_t>(state); };
    EXPECT_EQ(number(farlo::NodeState::stopped), 0u);
    EXPECT_EQ(number(farlo::NodeState::starting), 1u);
    EXPECT_EQ(number(farlo::NodeState::running), 2u);
    EXPECT_EQ(number(farlo::NodeState::stopping), 3u);
    EXPECT_EQ(number(farlo::NodeState::failed), 4u);
    EXPECT_EQ(number(farlo::Reservation::not_held), 33u);
    EXPECT_EQ(number(farlo::Reservation::held), 34u);
    EXPECT_EQ(number(farlo::Reservation::unknown), 35u);
    EXPECT_EQ(number(farlo::Reservation::busy), 39u);
    EXPECT_EQ(number(farlo::DiskState::missing), 0x1u);
    EXPECT_EQ(number(farlo::DiskState::failed), 0x2u);
    EXPECT_EQ(number(farlo::VolumeState::offline), 0x20u);
    EXPECT_EQ(number(farlo::VolumeState::unusable), 0x134u);
    EXPECT_EQ(number(farlo::PlexState::none), 0u);
    EXPECT_EQ(number(farlo::GroupType::cluster), 2u);
    EXPECT_EQ(number(farlo::GroupType::cluster_shared), 8u);
    EXPECT_EQ(number(farlo::PartitionStyle::mbr), 0u);
    EXPECT_EQ(number(farlo::PartitionStyle::gpt), 1u);
    EXPECT_EQ(number(farlo::PartitionStyle::raw), 2u);
    EXPECT_EQ(number(farlo::OnlineOptions::no_name_check), 0x1u);
    EXPECT_EQ(number(farlo::OnlineOptions::shared), 0x800u);
    EXPECT_EQ(number(farlo::OnlineOptions::clear_host_id), 0x8000u);
    EXPECT_EQ(number(farlo::OnlineOptions::log_as_offline), 0x20000u);
    EXPECT_EQ(number(farlo::OnlineOptions::cluster_shared), 0x200000u);
    EXPECT_EQ(number(farlo::OfflineOptions::no_name_check), 0x1u);
    EXPECT_EQ(number(farlo::OfflineOptions::shared), 0x800u);
}

TEST(HppStates, CombineBits) {
    constexpr farlo::OnlineOptions both =
        farlo::OnlineOptions::shared | farlo::OnlineOptions::cluster_shared;
    EXPECT_EQ(static_cast<std::uint32_t>(both), 0x200800u);
    EXPECT_TRUE(has_any(both, farlo::OnlineOptions::shared));
    EXPECT_FALSE(has_any(both, farlo::OnlineOptions::clear_host_id));
    EXPECT_TRUE(has_any(farlo::VolumeState::offline, farlo::VolumeState::unusable));
    EXPECT_FALSE(has_any(static_cast<farlo::VolumeState>(0x8), farlo::VolumeState::unusable));
    EXPECT_FALSE(
        has_any(farlo::DiskState::none, farlo::DiskState::missing | farlo::DiskState::failed));
}

TEST(HppGroupRef, NamesAGroupByNameGuidOrBoth) {
    const farlo::GroupRef by_name = L"dg";
    EXPECT_STREQ(by_name.name(), L"dg");
    EXPECT_STREQ(by_name.guid(), "");
    const farlo::GroupRef by_guid = farlo::GroupRef::by_guid("guid-1");
    EXPECT_STREQ(by_guid.name(), L"");
    EXPECT_STREQ(by_guid.guid(), "guid-1");
    const farlo::GroupRef by_both(L"dg", "guid-1");
    EXPECT_STREQ(by_both.name(), L"dg");
    EXPECT_STREQ(by_both.guid(), "guid-1");
}

}  // namespace
