// Operations use the connection of their handle, not the one that was created last.
#include "support/farlo_test.h"
#include "support/service_names.h"

#include <map>
#include <set>

namespace {

using namespace support;

class OwnConnection : public FarloTest {
  protected:
    OwnConnection() {
        scenario = R"({"disk_groups": [
            {"name": "up", "dgid": "guid-1", "type": 2, "imported": true,
             "volumes": [{"name": "v1", "device": "dev1", "guid": "volume-1"}]},
            {"name": "down", "dgid": "guid-2", "type": 2}]})";
    }

    using Functions = std::set<std::string>;

    // The functions of the bus that a call of the library used, and whether all of them got the
    // connection of `handle`.
    struct BusCalls {
        Functions functions;
        bool use_own_connection = true;
    };
    BusCalls bus_calls;

    template <class Function> void watch(const char* name, Function* function) {
        interpose<Function>(name, [this, name, function](opal_connection connection,
                                                         opal_context context, auto... rest) {
            record(name, connection == handle->connection && context == handle->connection_context);
            return function(connection, context, rest...);
        });
    }
    void watch_methods() {
        interpose<decltype(PrCallDispatch)>(
            "PrCallDispatch", [this](opal_connection connection, auto... rest) {
                record("PrCallDispatch", connection == handle->connection);
                return PrCallDispatch(connection, rest...);
            });
    }

    struct Call {
        Functions functions;
        std::function<std::uint32_t()> call;
        std::uint32_t status = FARLO_SUCCESS;
    };

    // The functions of the library, with what each uses.
    std::map<std::string, Call> calls() {
        const Functions read{"DbGetObjects", "ObGetProperty"};
        const Functions send{"DbGetObjects", "PrCallDispatch"};
        const Functions read_and_send{"DbGetObjects", "ObGetProperty", "PrCallDispatch"};
        return {
            {"OnlineDgExW",
             {read_and_send,
              [&] { return FARLO(OnlineDgExW)(handle, L"down", nullptr, nullptr, 0, 0); }}},
            {"OnlineDgExW, shared",
             {read_and_send,
              [&] {
                  return FARLO(OnlineDgExW)(handle, L"down", nullptr, nullptr,
                                            FARLO_ONLINE_SHARED | FARLO_ONLINE_NO_NAME_CHECK, 0);
              }}},
            {"ImportDgW",
             {read_and_send,
              [&] { return FARLO(ImportDgW)(handle, L"down", nullptr, nullptr, 0); }}},
            {"OfflineDgW",
             {read_and_send, [&] { return FARLO(OfflineDgW)(handle, L"up", nullptr, 0); }}},
            {"DeportDgW",
             {read_and_send, [&] { return FARLO(DeportDgW)(handle, L"up", nullptr); }}},
            {"GetDgGuidW", {read, [&] { return FARLO(GetDgGuidW)(handle, L"up", guid); }}},
            {"GetDgGuidW, after a rescan, from the cluster service",
             {read_and_send, [&] { return FARLO(GetDgGuidW)(handle, L"nowhere", guid); },
              service_no_such_group}},
            {"GetDgNameListW",
             {read, [&] { return FARLO(GetDgNameListW)(handle, &names, &size, &number); }}},
            {"GetDgNameW", {read, [&] { return FARLO(GetDgNameW)(handle, "guid-1", group_name); }}},
            {"GetDgVolumeGuidW",
             {read_and_send,
              [&] { return FARLO(GetDgVolumeGuidW)(handle, L"up", nullptr, L"dev1", guid); }}},
            {"ArbitrateDgW", {send, [&] { return FARLO(ArbitrateDgW)(handle, L"up", "guid-1"); }}},
            {"StopDgReservationW, of a group that is not reserved",
             {send, [&] { return FARLO(StopDgReservationW)(handle, L"up", "guid-1"); },
              service_not_reserved}},
            {"GetDgStateExW",
             {read, [&] { return FARLO(GetDgStateExW)(handle, L"up", nullptr, &state); }}},
            {"GetDgDiskAvailabilityW",
             {send,
              [&] {
                  return FARLO(GetDgDiskAvailabilityW)(handle, L"up", "guid-1", &number,
                                                       &other_number);
              }}},
            {"SetFastFailoverFlagW",
             {read_and_send,
              [&] { return FARLO(SetFastFailoverFlagW)(handle, L"up", nullptr, 1); }}},
            {"ClusterServiceStateW",
             {send, [&] { return FARLO(ClusterServiceStateW)(handle, 1); }}},
        };
    }

  private:
    void record(const char* function, bool is_own) {
        bus_calls.functions.insert(function);
        bus_calls.use_own_connection = bus_calls.use_own_connection && is_own;
    }

    std::uint32_t number = 0;
    std::uint32_t other_number = 0;
    std::uint8_t state = 0;
    char guid[FARLO_GUID_TEXT_SIZE] = {};
    wchar_t group_name[FARLO_NAME_SIZE] = {};
    wchar_t* names = group_name;
    std::uint32_t size = sizeof group_name;
};

TEST_F(OwnConnection, IsUsedWhenAnotherConnectionIsCreatedLater) {
    once([&] {
        opal_handle last = nullptr;
        ASSERT_EQ(FARLO(ValidateClusterW)(&last), FARLO_SUCCESS);
        ASSERT_NE(last->connection, handle->connection);
        ASSERT_NE(last->connection_context, handle->connection_context);
        watch("DbGetObjects", DbGetObjects);
        watch("ObGetProperty", ObGetProperty);
        watch_methods();
        for (const auto& [entry, expected] : calls()) {
            SCOPED_TRACE(entry);
            load_scenario(scenario);
            bus_calls = {};
            EXPECT_EQ(expected.call(), expected.status);
            EXPECT_EQ(bus_calls.functions, expected.functions);
            EXPECT_TRUE(bus_calls.use_own_connection);
        }
        EXPECT_EQ(FARLO(UnInitializeClusterW)(last), FARLO_SUCCESS);
    });
}

}  // namespace
