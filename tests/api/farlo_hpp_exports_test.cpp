// farlo.hpp reaches every export, with every status that it may return.
#include "api/fake_farlo.h"
#include "farlo.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <set>
#include <string>
#include <vector>

namespace {

using farlo::Connection;
using farlo::Status;
using support::fake_farlo;

enum class Kind {
    query,      // repeated when the connection is lost
    change,     // not repeated
    driver,     // not repeated, and asked without a connection, too
    call,       // of Connection::call: not repeated, and nothing is thrown
    no_handle,  // of Library
    direct,     // of Library::api
};

struct Row {
    const char* name;
    Kind kind;
    std::function<std::uint32_t(Connection&)> run;  // its status
};

// The status that a member of farlo.hpp throws; checks that it names the export.
template <class Function>
std::function<std::uint32_t(Connection&)> thrown_by(const char* name, Function function) {
    return [=](Connection& connection) -> std::uint32_t {
        try {
            function(connection);
            return FARLO_SUCCESS;
        } catch (const farlo::error& error) {
            EXPECT_STREQ(error.function(), name);
            return static_cast<std::uint32_t>(error.status());
        }
    };
}

// A member that is the export's only use.
#define MEMBER(name, kind, ...)                                                                    \
    {                                                                                              \
#name, Kind::kind, thrown_by(#name, []([[maybe_unused]] Connection& c) { __VA_ARGS__; })   \
    }
// An export that has no member.
#define CALL(name, ...)                                                                            \
    {                                                                                              \
#name, Kind::call,                                                                         \
            [](Connection & c) { return c.call(&farlo_api::name __VA_OPT__(, ) __VA_ARGS__); }     \
    }
// One without a handle, that has no member.
#define DIRECT(name, ...)                                                                          \
    {                                                                                              \
#name, Kind::direct, [](Connection & c) { return c.library().api().name(__VA_ARGS__); }    \
    }

constexpr char* no_text = nullptr;
constexpr std::uint32_t* no_word = nullptr;
constexpr std::uint8_t* no_byte = nullptr;

const std::vector<Row>& rows() {
    static const std::vector<Row> all = {
        DIRECT(InitializeClusterA, nullptr, 0, nullptr),
        DIRECT(ValidateClusterA, nullptr),
        DIRECT(ValidateClusterW, nullptr),
        DIRECT(UnInitializeClusterA, nullptr),
        MEMBER(RegisterForAlerts, query, c.on_alert([] {})),

        MEMBER(GetDgGuidW, query, c.group_guid(L"dg")),
        MEMBER(GetNonClusterDgGuidW, query, c.group_guid(L"dg", farlo::Scope::all)),
        MEMBER(GetDgNameW, query, c.group_name("guid")),
        MEMBER(GetDgNameListW, query, c.groups()),
        MEMBER(GetNonClusterDgNameListW, query, c.groups(farlo::Scope::non_cluster)),
        CALL(GetDgGuidA, "dg", no_text),
        CALL(GetNonClusterDgGuidA, "dg", no_text),
        CALL(GetDgNameListA, nullptr, no_word, no_word),
        CALL(GetNonClusterDgNameListA, nullptr, no_word, no_word),

        MEMBER(OnlineDgExW, change, c.online_group(L"dg")),
        MEMBER(ImportDgW, change, c.import_group(L"dg")),
        MEMBER(OfflineDgW, change, c.offline_group(L"dg")),
        MEMBER(DeportDgW, change, c.deport_group(L"dg")),
        CALL(OnlineDgExA, "dg", no_text, no_text, 0u, 0u),
        CALL(OnlineDgA, "dg", no_text, no_text, 0u),
        CALL(OnlineDgW, L"dg", no_text, nullptr, 0u),
        CALL(ImportDgA, "dg", no_text, no_text, 0u),
        CALL(OfflineDgA, "dg", no_text, 0u),
        CALL(DeportDgA, "dg", no_text),

        MEMBER(ArbitrateDgW, change, c.arbitrate(L"dg")),
        MEMBER(StopDgReservationW, change, c.stop_reservation(L"dg")),
        MEMBER(GetDgReservationStatusW, query, c.reservation(L"dg")),
        MEMBER(ReleaseDgW, no_handle, c.library().release_reservation("guid")),
        CALL(ArbitrateDgA, "dg", no_text),
        CALL(StopDgReservationA, "dg", no_text),
        CALL(GetDgReservationStatusA, "dg", no_text, no_word),

        MEMBER(GetDgStateW, query, c.is_imported(L"dg")),
        MEMBER(GetDgStateExW, query, c.is_imported_by_service(L"dg")),
        MEMBER(GetDiskStateW, query, c.disk_state(L"disk")),
        MEMBER(GetDgDiskAvailabilityW, query, c.disk_availability(L"dg")),
        MEMBER(GetDgVolPlexStatesW, query, c.plexes(L"dg", L"device")),
        CALL(GetDgStateA, "dg", no_text, no_byte),
        CALL(GetDiskStateA, "disk", no_word),
        CALL(GetDgDiskAvailabilityA, "dg", no_text, no_word, no_word),
        CALL(GetDgVolPlexStatesA, "dg", no_text, "device", no_word, nullptr),

        MEMBER(SetFastFailoverFlagW, change, c.set_fast_failover_flag(L"dg", 1)),
        MEMBER(ClusterServiceStateW, change, c.report_cluster_service_state(1)),
        CALL(ClusterServiceStateA, 1u),

        MEMBER(StartCVMClusterW, change, c.start_node()),
        MEMBER(StopCVMClusterW, change, c.stop_node()),
        MEMBER(GetCVMClusterNodeStateW, query, c.node_state()),

        MEMBER(OnlineVolW, change, c.online_volume("guid", L"device")),
        MEMBER(OfflineVolW, change, c.offline_volume("guid", L"device")),
        MEMBER(OfflineVolumeW, no_handle,
               c.library().dismount_volume("name", L"path", farlo::Guid{})),
        CALL(OnlineVolA, "guid", "device", 0u, 0u),
        CALL(OfflineVolA, "guid", "device", 0u),
        DIRECT(OfflineVolumeA, "name", "path", nullptr),

        MEMBER(GetDgVolumeGuidW, query, c.volume_guid(L"dg", L"device")),
        MEMBER(GetVolumeNameForSerialNumberW, query, c.volume_name(L"dg", 1)),
        MEMBER(FFUpdateMountPathW, change, c.refresh_mount_path(L"device")),
        CALL(GetDgVolumeGuidA, "dg", no_text, "device", no_text),
        CALL(GetVolumeNameForSerialNumberA, "dg", no_text, 1u, nullptr, no_word),
        CALL(FFUpdateMountPathA, "device"),

        MEMBER(GetDiskTypeAndSignatureW, no_handle, c.library().disk_identity(L"path")),
        MEMBER(GetFirstVolumesDiskIDW, query, c.first_volume_disk(L"dg")),
        DIRECT(GetDiskTypeAndSignatureA, "path", nullptr, nullptr, nullptr),
        CALL(GetFirstVolumesDiskIDA, "dg", no_word, no_word),

        MEMBER(GetClusterSharedDgGuidW, query, c.cluster_shared_group_guid(L"device")),
        CALL(GetClusterSharedDgGuidA, "device", no_text),

        MEMBER(CheckOSVersionAndReg, no_handle, c.library().wants_vmms_folders_deleted()),
        MEMBER(DeleteVMMSFolder, no_handle, c.library().delete_vmms_folders(L"folder\\")),

        MEMBER(GetDgPropertiesW, query, c.group(L"dg")),
        MEMBER(GetDgVolPropertiesW, query, c.light_group(L"dg")),
        MEMBER(GetVolPropertiesW, query, c.volume_with_disks(L"device")),
        MEMBER(GetDgVolumePropertiesW, query, c.volume(L"dg", L"device")),
        MEMBER(GetDgDiskPropertiesW, query, c.disks(L"dg")),
        CALL(GetDgPropertiesA, "dg", no_text, nullptr, no_word),
        CALL(GetDgVolPropertiesA, "dg", no_text, nullptr, no_word),
        CALL(GetVolPropertiesA, "device", nullptr, no_word),
        CALL(GetDgVolumePropertiesA, "dg", no_text, "device", nullptr, no_word),
        CALL(GetDgDiskPropertiesA, "dg", no_text, nullptr, no_word),

        MEMBER(GetDgVolumeStateW, query, c.volume_state(L"dg", L"device")),
        MEMBER(GetDgVolumeStatusW, driver, c.is_volume_healthy("guid", farlo::Guid{})),
        MEMBER(GetUnusableVolumesInfo, query, c.unusable_volumes(L"dg")),
        MEMBER(GetVolumeInfo, query, c.volume_info(L"dg", L"device")),
        CALL(GetDgVolumeStateA, "dg", no_text, "device", no_word),
        CALL(GetDgVolumeStatusA, "guid", no_byte, no_word),
    };
    return all;
}

// These return 1 or 0, and no status.
struct Question {
    const char* name;
    std::function<bool(Connection&)> ask;
};
const std::vector<Question>& questions() {
    static const std::vector<Question> all = {
        {"IsStorageClusterable", [](Connection& c) { return c.is_storage_clusterable({}); }},
        {"IsVolumeOfSpecifiedDgType",
         [](Connection& c) { return c.is_volume_of_type(L"v", farlo::GroupType::cluster); }},
        {"IsVolumeClusterable", [](Connection& c) { return c.is_volume_clusterable(L"v"); }},
    };
    return all;
}

std::vector<std::uint32_t> all_statuses() {
    return {
#define NUMBER(name, words) name,
        FARLO_STATUSES(NUMBER)
#undef NUMBER
        // Others, of which the informational one and the warning of the bus are successes.
        5,
        0x80070005,
        0x41000012,
        0x81000012,
        0xC1000103,
        0xE5150101};
}

// The status that a member throws, 0 for none, when its function returns a status.
std::uint32_t expected(const Row& row, std::uint32_t status) {
    if (row.kind == Kind::call || row.kind == Kind::direct) {
        return status;
    }
    const std::string name = row.name;
    const bool is_success = status == 0x41000012 || status == 0x81000012 ||
                            (name == "StartCVMClusterW" && status == FARLO_NODE_ALREADY_STARTED) ||
                            (name == "GetDgVolumeStatusW" && (status == FARLO_DEVICE_UNSUCCESSFUL ||
                                                              status == FARLO_NOT_CONNECTED)) ||
                            (name == "CheckOSVersionAndReg" && status == FARLO_PROVIDER_FAILED);
    return is_success ? FARLO_SUCCESS : status;
}

farlo::ReconnectPolicy at_once() {
    farlo::ReconnectPolicy policy;
    policy.first_pause = std::chrono::milliseconds(0);
    return policy;
}

class HppExports : public testing::Test {
  protected:
    farlo::Library library{support::make_fake_farlo()};
    Connection connection{library, at_once()};
};

TEST_F(HppExports, AreAllReached) {
    std::multiset<std::string> reached = {"InitializeClusterW", "UnInitializeClusterW"};
    for (const Row& row : rows()) {
        reached.insert(row.name);
    }
    for (const Question& question : questions()) {
        reached.insert(question.name);
    }
    const std::multiset<std::string> exported = {
#define NAME(name) #name,
        FARLO_EXPORTS(NAME)
#undef NAME
    };
    EXPECT_EQ(reached, exported);
}

TEST_F(HppExports, AreCalledWithTheConnectionsHandle) {
    const opal_handle handle = fake_farlo().connected.front();
    for (const Row& row : rows()) {
        fake_farlo().calls.clear();
        EXPECT_EQ(row.run(connection), FARLO_SUCCESS) << row.name;
        ASSERT_EQ(fake_farlo().calls.size(), 1u) << row.name;
        EXPECT_EQ(fake_farlo().calls[0].name, row.name);
        const bool has_handle = row.kind != Kind::no_handle && row.kind != Kind::direct;
        EXPECT_EQ(fake_farlo().calls[0].handle, has_handle ? handle : nullptr) << row.name;
    }
}

TEST_F(HppExports, ThrowEveryStatusThatIsAFailure) {
    for (const Row& row : rows()) {
        for (const std::uint32_t status : all_statuses()) {
            fake_farlo().failing = row.name;
            fake_farlo().status = status;
            EXPECT_EQ(row.run(connection), expected(row, status)) << row.name << ' ' << status;
        }
    }
}

// The handle is checked after a failure: not_found, for example, may mean that the lookup has
// lost the connection.
TEST_F(HppExports, AreRepeatedAfterALossIfTheyAreQueries) {
    for (const Row& row : rows()) {
        if (row.kind != Kind::query) {
            continue;
        }
        for (const std::uint32_t status : {FARLO_NOT_FOUND, FARLO_NOT_CONNECTED}) {
            const std::vector<opal_handle> before = fake_farlo().connected;
            fake_farlo().calls.clear();
            fake_farlo().losing = row.name;
            fake_farlo().failing = row.name;
            fake_farlo().status = status;
            // What is called after the loss: InitializeClusterW, the same function again, and
            // the release of the old handle.
            const std::uint32_t result = row.run(connection);
            EXPECT_EQ(result, status) << row.name << " fails again, now connected";
            EXPECT_EQ(fake_farlo().count(row.name), 2) << row.name;
            EXPECT_EQ(fake_farlo().count("InitializeClusterW"), 1) << row.name;
            ASSERT_FALSE(fake_farlo().released.empty()) << row.name;
            EXPECT_EQ(fake_farlo().released.back(), before.back()) << row.name;
            EXPECT_NE(fake_farlo().connected.back(), before.back()) << row.name;
        }
    }
}

TEST_F(HppExports, AreMadeOnceIfTheyAreChanges) {
    for (const Row& row : rows()) {
        if (row.kind != Kind::change || std::string(row.name) == "OnlineVolW") {
            continue;
        }
        const auto lose_with = [&](std::uint32_t status) {
            fake_farlo().calls.clear();
            fake_farlo().losing = row.name;
            fake_farlo().failing = row.name;
            fake_farlo().status = status;
            const std::uint32_t result = row.run(connection);
            EXPECT_EQ(fake_farlo().count(row.name), 1) << row.name;
            return result;
        };
        EXPECT_EQ(lose_with(FARLO_NOT_CONNECTED), FARLO_NOT_CONNECTED) << row.name;
        // A lookup has lost the connection.
        EXPECT_EQ(lose_with(FARLO_NOT_FOUND), FARLO_NOT_CONNECTED) << row.name;
        // The service has decided, and the connection was lost afterwards.
        EXPECT_EQ(lose_with(0xE5150101), 0xE5150101) << row.name;
        EXPECT_EQ(lose_with(FARLO_ALREADY_IMPORTED), FARLO_ALREADY_IMPORTED) << row.name;
        EXPECT_EQ(lose_with(FARLO_SUCCESS), FARLO_SUCCESS) << row.name;
    }
}

TEST_F(HppExports, ReturnTheirStatusIfTheyHaveNoMember) {
    for (const Row& row : rows()) {
        if (row.kind == Kind::call) {
            fake_farlo().calls.clear();
            fake_farlo().losing = row.name;
            fake_farlo().failing = row.name;
            fake_farlo().status = FARLO_NOT_FOUND;
            EXPECT_EQ(row.run(connection), FARLO_NOT_FOUND) << row.name;
            EXPECT_EQ(fake_farlo().count(row.name), 1) << row.name;
        }
    }
}

// The driver's answer needs no service.
TEST_F(HppExports, VolumeHealthIsReadWithoutAConnection) {
    farlo_api api = support::make_fake_farlo();
    api.GetDgVolumeStatusW = [](opal_handle, const char*, const std::uint8_t*,
                                std::uint32_t* status) {
        *status = FARLO_VOLUME_STATUS_HEALTHY;
        return FARLO_NOT_CONNECTED;
    };
    Connection alone(farlo::Library(api), at_once());
    fake_farlo().calls.clear();
    EXPECT_TRUE(alone.is_volume_healthy("guid", farlo::Guid{}));
    EXPECT_EQ(fake_farlo().count("InitializeClusterW"), 0);
}

// It may have made a connection of its own.
TEST_F(HppExports, OnlineVolKeepsItsStatusAfterALoss) {
    fake_farlo().losing = "OnlineVolW";
    fake_farlo().failing = "OnlineVolW";
    fake_farlo().status = FARLO_INVALID_ARGUMENT;
    try {
        connection.online_volume("guid", L"device");
        FAIL() << "nothing was thrown";
    } catch (const farlo::error& error) {
        EXPECT_EQ(error.status(), Status::invalid_argument);
    }
    EXPECT_EQ(fake_farlo().count("OnlineVolW"), 1);
}

TEST_F(HppExports, RenewALostHandleBeforeTheCall) {
    for (const Row& row : rows()) {
        if (row.kind != Kind::change && row.kind != Kind::call) {
            continue;
        }
        fake_farlo().lose();
        fake_farlo().calls.clear();
        EXPECT_EQ(row.run(connection), FARLO_SUCCESS) << row.name;
        EXPECT_EQ(fake_farlo().count("InitializeClusterW"), 1) << row.name;
        EXPECT_EQ(fake_farlo().count(row.name), 1) << row.name;
        EXPECT_EQ(fake_farlo().calls.back().name, row.name);
        EXPECT_EQ(fake_farlo().calls.back().handle, fake_farlo().connected.back()) << row.name;
    }
}

TEST_F(HppExports, ThatReturnAFlagAreRepeatedAfterALoss) {
    for (const Question& question : questions()) {
        fake_farlo().failing = question.name;
        fake_farlo().status = 1;
        EXPECT_TRUE(question.ask(connection)) << question.name;
        fake_farlo().status = 0;
        EXPECT_FALSE(question.ask(connection)) << question.name;

        fake_farlo().calls.clear();
        fake_farlo().losing = question.name;
        EXPECT_FALSE(question.ask(connection)) << question.name;
        EXPECT_EQ(fake_farlo().count(question.name), 2) << question.name;

        fake_farlo().losing = question.name;
        fake_farlo().refused = 100;
        try {
            question.ask(connection);
            ADD_FAILURE() << question.name << " throws nothing without a connection";
        } catch (const farlo::error& error) {
            EXPECT_EQ(error.status(), Status::not_connected);
            EXPECT_STREQ(error.function(), question.name);
        }
        fake_farlo().refused = 0;
    }
}

TEST_F(HppExports, ReportWhetherTheNodeWasStarted) {
    EXPECT_TRUE(connection.start_node());
    fake_farlo().failing = "StartCVMClusterW";
    fake_farlo().status = FARLO_NODE_ALREADY_STARTED;
    EXPECT_FALSE(connection.start_node());
}

TEST_F(HppExports, ReportWhetherFoldersAreToBeDeleted) {
    EXPECT_TRUE(library.wants_vmms_folders_deleted());
    fake_farlo().failing = "CheckOSVersionAndReg";
    fake_farlo().status = FARLO_PROVIDER_FAILED;
    EXPECT_FALSE(library.wants_vmms_folders_deleted());
    fake_farlo().status = 0x80070002;
    EXPECT_FALSE(library.wants_vmms_folders_deleted());
    fake_farlo().status = 0x80070005;
    EXPECT_THROW(library.wants_vmms_folders_deleted(), farlo::error);
}

TEST_F(HppExports, HaveDefaultsForWhatIsNotReported) {
    EXPECT_EQ(connection.node_state(), farlo::NodeState::unreported);
    EXPECT_EQ(connection.reservation(L"dg"), farlo::Reservation::unknown);
    EXPECT_EQ(connection.first_volume_disk(L"dg"), std::nullopt);
    EXPECT_EQ(connection.disk_state(L"disk"), farlo::DiskState::none);
    EXPECT_FALSE(connection.is_volume_healthy("guid", farlo::Guid{}));
    EXPECT_TRUE(connection.groups(farlo::Scope::all).empty());
}

// ------------------------------------------------------- connect and release

TEST(HppConnection, ThrowsNotConnectedForEveryFailureToConnect) {
    const farlo::Library library(support::make_fake_farlo());
    for (const std::uint32_t status : all_statuses()) {
        if (status == FARLO_SUCCESS) {
            continue;
        }
        fake_farlo().failing = "InitializeClusterW";
        fake_farlo().status = status;
        try {
            const Connection connection(library, at_once());
            ADD_FAILURE() << status;
        } catch (const farlo::error& error) {
            EXPECT_EQ(error.status(), Status::not_connected);
            EXPECT_STREQ(error.function(), "InitializeClusterW");
        }
    }
    EXPECT_TRUE(fake_farlo().released.empty());
}

TEST(HppConnection, ThrowsTheStatusOfTheRelease) {
    const farlo::Library library(support::make_fake_farlo());
    Connection connection(library);
    fake_farlo().failing = "UnInitializeClusterW";
    fake_farlo().status = FARLO_UNINITIALIZE_FAILED;
    try {
        connection.close();
        FAIL() << "nothing was thrown";
    } catch (const farlo::error& error) {
        EXPECT_EQ(error.status(), Status::uninitialize_failed);
        EXPECT_STREQ(error.function(), "UnInitializeClusterW");
    }
    EXPECT_EQ(fake_farlo().released.size(), 1u);
}

TEST(HppConnection, PassesNoHandleAfterItWasClosed) {
    const farlo::Library library(support::make_fake_farlo());
    Connection connection(library);
    connection.close();
    EXPECT_EQ(fake_farlo().released.size(), 1u);
    fake_farlo().calls.clear();
    fake_farlo().others = FARLO_NULL_HANDLE;
    try {
        connection.is_imported(L"dg");
        FAIL() << "nothing was thrown";
    } catch (const farlo::error& error) {
        EXPECT_EQ(error.status(), Status::null_handle);
    }
    ASSERT_EQ(fake_farlo().calls.size(), 1u);
    EXPECT_EQ(fake_farlo().calls[0].handle, nullptr);
    connection.close();
    EXPECT_EQ(fake_farlo().released.size(), 1u) << "released twice";
}

TEST(HppConnection, ReleasesItsHandleOnceWhereverItIsMoved) {
    const farlo::Library library(support::make_fake_farlo());
    {
        Connection first(library);
        Connection second(std::move(first));
        Connection third(library);
        third = std::move(second);
        EXPECT_EQ(fake_farlo().released.size(), 1u) << "the handle that was assigned to";
        EXPECT_NO_THROW(third.is_imported(L"dg"));
    }
    EXPECT_EQ(fake_farlo().released.size(), 2u);
    EXPECT_NE(fake_farlo().released[0], fake_farlo().released[1]);
}

}  // namespace
