// OnlineVol when the connection drops during the search for the group.
#include "volume/online_vol_fixture.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace {

using namespace support;

unsigned callbacks = 0;
void count_callback() {
    ++callbacks;
}

class OnlineVolConnection : public OnlineVol {
  protected:
    // The first query of the groups drops the connection.
    const FaultRule first_lookup_drops{.type = object_type::disk_group, .call = 1, .drops = true};

    // Calls of the command library, and the handles that exist.
    struct CommandCounts {
        std::uint32_t initialize, uninitialize, register_alerts, live_handles;
        bool operator==(const CommandCounts&) const = default;
    };
    static CommandCounts command_counts() {
        const lab_cmd_calls calls = command_calls();
        return {calls.initialize, calls.uninitialize, calls.register_alerts, calls.live_handles};
    }
    static opal_handle last_released() { return command_calls().last_released; }
    static opal_handle last_registered() { return command_calls().last_registered; }

    const Expected sleeping{6, "ValidateClusterW: Sleeping for 0.5 secs"};

  private:
    static lab_cmd_calls command_calls() {
        lab_cmd_calls calls;
        LabCmdGetCalls(&calls);
        return calls;
    }
};

// The call makes a connection of its own for the remaining steps and releases it. The agent's
// handle is neither released nor reconnected.
TEST_F(OnlineVolConnection, FinishesOverItsOwnConnection) {
    set_node(R"("role": 1)", deported);
    at_every_threshold([&] {
        FARLO(RegisterForAlerts)(handle, count_callback);
        start_watching();
        const CommandCounts before = command_counts();
        set_faults(fault_plan({online_succeeds, import_succeeds, first_lookup_drops}));
        EXPECT_EQ(online(), FARLO_SUCCESS);
        // The first lookup ends with the query of the groups.
        const std::vector<std::string> made = calls();
        const Lines over_own_connection =
            find_group + Lines{read_imported(false), read("dg1", "Name", wstr("dg1"))} +
            find_group +
            Lines{cluster_service(), import_call(bus_success), find_volume, cluster_service(),
                  online_call(flags_sent, bus_success)};
        ASSERT_GT(made.size(), over_own_connection.size());
        EXPECT_EQ(
            Lines(made.end() - static_cast<std::ptrdiff_t>(over_own_connection.size()), made.end()),
            over_own_connection);
        expect_log({entering, unknown_group, entering_validate, exiting_validate, importing,
                    import_succeeded, exiting_import, succeeded, exiting});
        expect_pauses({});
        EXPECT_EQ(command_counts(), (CommandCounts{before.initialize + 1, before.uninitialize + 1,
                                                   before.register_alerts, before.live_handles}));
        EXPECT_NE(last_released(), handle);
        EXPECT_EQ(handle->connected, 0);
    });
}

TEST_F(OnlineVolConnection, LeavesHandleDroppedUntilAgentValidatesIt) {
    at_every_threshold([&] {
        FARLO(RegisterForAlerts)(handle, count_callback);
        set_faults(fault_plan({online_succeeds, import_succeeds, first_lookup_drops}));
        EXPECT_EQ(online(), FARLO_SUCCESS);
        EXPECT_EQ(online(), FARLO_NOT_CONNECTED);
        wchar_t name[FARLO_NAME_SIZE];
        EXPECT_EQ(FARLO(GetDgNameW)(handle, "guid-1", name), FARLO_NOT_CONNECTED);

        const CommandCounts before = command_counts();
        const opal_handle dropped = handle;
        EXPECT_EQ(FARLO(ValidateClusterW)(&handle), FARLO_SUCCESS);
        EXPECT_EQ(last_released(), dropped);
        EXPECT_EQ(command_counts(),
                  (CommandCounts{before.initialize + 1, before.uninitialize + 1,
                                 before.register_alerts + 1, before.live_handles}));
        callbacks = 0;
        const opal_alert alert{"event.alert.ztvm.ztvm.dg.import.success"};
        EXPECT_EQ(LabCmdDeliver(handle, &alert), ZTSTATUS_OK);
        EXPECT_EQ(callbacks, 1u);
        EXPECT_EQ(online(), FARLO_SUCCESS);
    });
}

// No alerts are registered on the call's own connection: the next validation of any connected
// handle registers them on that handle.
TEST_F(OnlineVolConnection, RegistersAlertsAtNextValidationOfAnyHandle) {
    at_every_threshold([&] {
        opal_handle other = nullptr;
        ASSERT_EQ(FARLO(InitializeClusterW)(&other), FARLO_SUCCESS);
        FARLO(RegisterForAlerts)(handle, count_callback);
        set_faults(fault_plan(
            {online_succeeds, {.property = "dgid", .call = 1, .returns = bus_no_property}}));
        interpose<decltype(ObGetProperty)>(
            "ObGetProperty", [&](opal_connection connection, opal_context context,
                                 const opal_objid* object, const char* name, auto... rest) {
                if (connection == handle->connection && std::strcmp(name, "dgid") == 0) {
                    disconnect();  // this handle only
                }
                return ObGetProperty(connection, context, object, name, rest...);
            });
        EXPECT_EQ(online(), FARLO_SUCCESS);
        EXPECT_EQ(handle->connected, 0);

        const CommandCounts before = command_counts();
        EXPECT_EQ(FARLO(ValidateClusterW)(&other), FARLO_SUCCESS);
        EXPECT_EQ(command_counts(),
                  (CommandCounts{before.initialize, before.uninitialize, before.register_alerts + 1,
                                 before.live_handles}));
        EXPECT_EQ(last_registered(), other);
        EXPECT_EQ(FARLO(UnInitializeClusterW)(other), FARLO_SUCCESS);
    });
}

TEST_F(OnlineVolConnection, SucceedsAtSecondOrThirdTryToConnect) {
    at_every_threshold([&] {
        for (const std::uint32_t failures : {1u, 2u}) {
            FARLO(ValidateClusterW)(&handle);
            start_watching();
            const CommandCounts before = command_counts();
            set_faults(fault_plan({online_succeeds, import_succeeds, first_lookup_drops}));
            LabCmdFailInitialize(bus_not_connected, failures);
            EXPECT_EQ(online(), FARLO_SUCCESS);
            expect_log(ExpectedLog{entering, unknown_group, entering_validate} +
                       ExpectedLog(failures, sleeping) +
                       ExpectedLog{exiting_validate, succeeded, exiting});
            expect_pauses(std::vector<Pause>(failures, {"Sleep", 500}));
            EXPECT_EQ(command_counts(),
                      (CommandCounts{before.initialize + failures + 1, before.uninitialize + 1,
                                     before.register_alerts, before.live_handles}));
        }
    });
}

TEST_F(OnlineVolConnection, ReturnsNotConnectedAfterThreeFailedTries) {
    at_every_threshold([&] {
        const CommandCounts before = command_counts();
        set_faults(fault_plan({online_succeeds, import_succeeds, first_lookup_drops}));
        LabCmdFailInitialize(bus_not_connected, 3);
        EXPECT_EQ(online(), FARLO_NOT_CONNECTED);
        EXPECT_EQ(calls_of("PrCallDispatch"), Lines{});
        expect_log({entering,
                    unknown_group,
                    entering_validate,
                    sleeping,
                    sleeping,
                    sleeping,
                    {0, "ValidateClusterW() failed, error=(0xc1000103)"},
                    exiting_validate,
                    {0, "OnlineVolW() ValidateCluster failed, error=(0x14) "},
                    failed(FARLO_NOT_CONNECTED),
                    exiting});
        expect_pauses({{"Sleep", 500}, {"Sleep", 500}, {"Sleep", 500}});
        EXPECT_EQ(command_counts(), (CommandCounts{before.initialize + 3, before.uninitialize,
                                                   before.register_alerts, before.live_handles}));
        EXPECT_EQ(handle->connected, 0);
    });
}

// The agent's handle is not released.
TEST_F(OnlineVolConnection, ReleasesItsOwnConnectionOnEveryFailure) {
    const struct {
        FaultRule fault;
        std::uint32_t status;
    } rows[] = {
        {{.type = object_type::disk_group, .call = 2, .drops = true}, FARLO_NOT_CONNECTED},
        {{.property = "dgid", .call = 1, .returns = bus_no_property}, FARLO_NOT_FOUND},
        {{.property = "imported", .call = 1, .returns = bus_no_property}, FARLO_EXCEPTION},
        {{.function = "DbGetObjectsByQuery", .call = 1, .returns = bus_provider_failed},
         FARLO_INVALID_ARGUMENT},
        {{.type = object_type::cluster_service, .call = 1, .returns = bus_provider_failed},
         FARLO_NO_CLUSTER_SERVICE},
        {{.function = "PsAddProperty", .call = 1, .returns = bus_provider_failed}, FARLO_EXCEPTION},
    };
    at_every_threshold([&] {
        for (const auto& [fault, status] : rows) {
            SCOPED_TRACE(fault_plan({fault}));
            FARLO(ValidateClusterW)(&handle);
            const CommandCounts before = command_counts();
            set_faults(fault_plan({online_succeeds, import_succeeds, first_lookup_drops, fault}));
            EXPECT_EQ(online(), status);
            EXPECT_EQ(command_counts(),
                      (CommandCounts{before.initialize + 1, before.uninitialize + 1,
                                     before.register_alerts, before.live_handles}));
            EXPECT_NE(last_released(), handle);
        }
    });
}

TEST_F(OnlineVolConnection, ReturnsNotConnectedWhenItsOwnConnectionDropsToo) {
    at_every_threshold([&] {
        set_faults(
            fault_plan({first_lookup_drops, {.method = method::online_volume, .drops = true}}));
        EXPECT_EQ(online(), FARLO_NOT_CONNECTED);
        expect_log({entering, unknown_group, entering_validate, exiting_validate,
                    failed(FARLO_NOT_CONNECTED), exiting});
    });
}

// No thread releases the handle that the others use.
TEST_F(OnlineVolConnection, SharesOneHandleBetweenThreads) {
    once([&] {
        const CommandCounts before = command_counts();
        set_faults(fault_plan({online_succeeds, import_succeeds, first_lookup_drops}));
        std::array<std::uint32_t, 8> statuses{};
        std::array<std::function<void()>, 8> bodies;
        std::array<HANDLE, 8> threads{};
        for (std::size_t i = 0; i < threads.size(); ++i) {
            bodies[i] = [this, &status = statuses[i]] { status = online(); };
            threads[i] = CreateThread(
                nullptr, 0,
                [](void* body) -> DWORD {
                    (*static_cast<std::function<void()>*>(body))();
                    return 0;
                },
                &bodies[i], 0, nullptr);
            ASSERT_NE(threads[i], nullptr);
        }
        EXPECT_EQ(WaitForMultipleObjects(threads.size(), threads.data(), TRUE, 60'000),
                  WAIT_OBJECT_0);
        std::for_each(threads.begin(), threads.end(), CloseHandle);
        // A call that starts after the drop returns FARLO_NOT_CONNECTED.
        EXPECT_THAT(statuses, testing::Each(testing::AnyOf(FARLO_SUCCESS, FARLO_NOT_CONNECTED)));
        EXPECT_THAT(statuses, testing::Contains(FARLO_SUCCESS));
        EXPECT_EQ(command_counts().live_handles, before.live_handles);
        EXPECT_EQ(handle->connected, 0);
        EXPECT_EQ(FARLO(ValidateClusterW)(&handle), FARLO_SUCCESS);
        EXPECT_EQ(online(), FARLO_SUCCESS);
    });
}

}  // namespace
