// InitializeCluster, ValidateCluster and UnInitializeCluster: connections are created, restored
// and released.
#include "support/farlo_test.h"
#include "support/service_names.h"
#include "support/strict_handles.h"

namespace {

using namespace support;

void callback() {}

class Validate : public FarloTest {
  protected:
    Validate() { connects = false; }

    // The calls of the command library since the last reset_calls_made() or calls_made().
    struct CallsMade {
        unsigned initialize, uninitialize, register_alerts;
        bool operator==(const CallsMade&) const = default;
        friend void PrintTo(const CallsMade& made, std::ostream* out) {
            *out << made.initialize << " initialize, " << made.uninitialize << " uninitialize, "
                 << made.register_alerts << " register";
        }
    };
    CallsMade calls_made() {
        const lab_cmd_calls before = m_calls;
        reset_calls_made();
        return {m_calls.initialize - before.initialize, m_calls.uninitialize - before.uninitialize,
                m_calls.register_alerts - before.register_alerts};
    }
    void reset_calls_made() { m_calls = command_library(); }
    static lab_cmd_calls command_library() {
        lab_cmd_calls calls;
        LabCmdGetCalls(&calls);
        return calls;
    }
    void release() {
        EXPECT_EQ(FARLO(UnInitializeClusterW)(handle), FARLO_SUCCESS);
        handle = nullptr;
    }

  private:
    lab_cmd_calls m_calls{};
};

TEST_F(Validate, ConnectsWhenHandleIsNull) {
    at_every_threshold([&] {
        reset_calls_made();
        EXPECT_EQ(FARLO(ValidateClusterW)(&handle), FARLO_SUCCESS);
        EXPECT_NE(handle, nullptr);
        EXPECT_EQ(calls_made(),
                  (CallsMade{.initialize = 1, .uninitialize = 0, .register_alerts = 0}));
        EXPECT_EQ(command_library().last_flags, 0u);
        EXPECT_EQ(command_library().last_reserved, 0u);
        // No callback is stored yet.
        expect_log({{0, "RegisterForAlerts() Failed"}});
        start_watching();
        EXPECT_EQ(FARLO(ValidateClusterW)(&handle), FARLO_SUCCESS);
        EXPECT_EQ(calls_made(),
                  (CallsMade{.initialize = 0, .uninitialize = 0, .register_alerts = 0}));
        expect_log({});
        release();
    });
}

TEST_F(Validate, InitializeClusterAIgnoresName) {
    once([&] {
        EXPECT_EQ(FARLO(InitializeClusterA)("a name", 7, &handle), FARLO_SUCCESS);
        release();
        EXPECT_EQ(FARLO(InitializeClusterA)(std::string(1000, 'n').c_str(), 0, &handle),
                  FARLO_SUCCESS);
        release();
        EXPECT_EQ(FARLO(InitializeClusterA)(nullptr, 0, &handle), FARLO_SUCCESS);
        EXPECT_NE(handle, nullptr);
        release();
    });
}

// The handle was created by the agent itself, not by the library.
TEST_F(Validate, FirstValidationRegistersAlertsForAnyHandle) {
    at_every_threshold([&] {
        ASSERT_EQ(InitializeZtVmW(0, 0, &handle), bus_success);
        EXPECT_EQ(FARLO(RegisterForAlerts)(nullptr, callback), FARLO_SUCCESS);
        reset_calls_made();
        start_watching();
        EXPECT_EQ(FARLO(ValidateClusterW)(&handle), FARLO_SUCCESS);
        EXPECT_EQ(calls_made(),
                  (CallsMade{.initialize = 0, .uninitialize = 0, .register_alerts = 1}));
        EXPECT_EQ(command_library().last_registered, handle);
        expect_log({});
        EXPECT_EQ(FARLO(ValidateClusterW)(&handle), FARLO_SUCCESS);
        EXPECT_EQ(calls_made(),
                  (CallsMade{.initialize = 0, .uninitialize = 0, .register_alerts = 0}));
        release();
    });
}

TEST_F(Validate, ReplacesHandleWithoutConnection) {
    at_every_threshold([&] {
        ASSERT_EQ(FARLO(ValidateClusterW)(&handle), FARLO_SUCCESS);
        ASSERT_EQ(FARLO(RegisterForAlerts)(handle, callback), FARLO_SUCCESS);
        const opal_handle before = handle;
        disconnect();
        reset_calls_made();
        start_watching();
        EXPECT_EQ(FARLO(ValidateClusterW)(&handle), FARLO_SUCCESS);
        EXPECT_EQ(calls_made(),
                  (CallsMade{.initialize = 1, .uninitialize = 1, .register_alerts = 1}));
        EXPECT_EQ(command_library().last_released, before);
        EXPECT_EQ(command_library().last_registered, handle);
        expect_pauses({});
        expect_log({});
        release();
    });
}

TEST_F(Validate, IgnoresStatusOfRelease) {
    once([&] {
        ASSERT_EQ(FARLO(ValidateClusterW)(&handle), FARLO_SUCCESS);
        disconnect();
        LabCmdFailUnInitialize(bus_provider_failed);
        EXPECT_EQ(FARLO(ValidateClusterW)(&handle), FARLO_SUCCESS);
        LabCmdFailUnInitialize(bus_success);
        release();
    });
}

TEST_F(Validate, FailsAfterThreeTriesWithPauses) {
    at_every_threshold([&] {
        ASSERT_EQ(FARLO(ValidateClusterW)(&handle), FARLO_SUCCESS);
        disconnect();
        LabCmdFailInitialize(bus_not_connected, 100);
        reset_calls_made();
        start_watching();
        EXPECT_EQ(FARLO(ValidateClusterW)(&handle), FARLO_NOT_CONNECTED);
        EXPECT_EQ(handle, nullptr);
        EXPECT_EQ(calls_made(),
                  (CallsMade{.initialize = 3, .uninitialize = 1, .register_alerts = 0}));
        expect_pauses({{"Sleep", 500}, {"Sleep", 500}, {"Sleep", 500}});
        expect_log({{6, "ValidateClusterW: Sleeping for 0.5 secs"},
                    {6, "ValidateClusterW: Sleeping for 0.5 secs"},
                    {6, "ValidateClusterW: Sleeping for 0.5 secs"},
                    {0, "ValidateClusterW() failed, error=(0xc1000103)"}});
        LabCmdFailInitialize(bus_success, 0);
    });
}

TEST_F(Validate, SucceedsAtThirdTry) {
    at_every_threshold([&] {
        ASSERT_EQ(FARLO(ValidateClusterW)(&handle), FARLO_SUCCESS);
        ASSERT_EQ(FARLO(RegisterForAlerts)(handle, callback), FARLO_SUCCESS);
        disconnect();
        LabCmdFailInitialize(bus_not_connected, 2);
        reset_calls_made();
        start_watching();
        EXPECT_EQ(FARLO(ValidateClusterW)(&handle), FARLO_SUCCESS);
        EXPECT_EQ(calls_made(),
                  (CallsMade{.initialize = 3, .uninitialize = 1, .register_alerts = 1}));
        expect_pauses({{"Sleep", 500}, {"Sleep", 500}});
        expect_log({{6, "ValidateClusterW: Sleeping for 0.5 secs"},
                    {6, "ValidateClusterW: Sleeping for 0.5 secs"}});
        release();
    });
}

TEST_F(Validate, TriesOnceWhenHandleIsNull) {
    at_every_threshold([&] {
        LabCmdFailInitialize(bus_provider_failed, 1);
        reset_calls_made();
        EXPECT_EQ(FARLO(ValidateClusterW)(&handle), FARLO_NOT_CONNECTED);
        EXPECT_EQ(handle, nullptr);
        EXPECT_EQ(calls_made(),
                  (CallsMade{.initialize = 1, .uninitialize = 0, .register_alerts = 0}));
        expect_pauses({});
        expect_log({{0, "ValidateClusterW() failed, error=(0xc1000001)"}});
    });
}

TEST_F(Validate, RegistersAlertsAfterFailedFirstValidation) {
    once([&] {
        LabCmdFailInitialize(bus_provider_failed, 1);
        EXPECT_EQ(FARLO(ValidateClusterW)(&handle), FARLO_NOT_CONNECTED);
        EXPECT_EQ(FARLO(RegisterForAlerts)(nullptr, callback), FARLO_SUCCESS);
        reset_calls_made();
        EXPECT_EQ(FARLO(ValidateClusterW)(&handle), FARLO_SUCCESS);
        EXPECT_EQ(calls_made(),
                  (CallsMade{.initialize = 1, .uninitialize = 0, .register_alerts = 1}));
        release();
    });
}

TEST_F(Validate, SucceedsWhenAlertsCannotBeRegistered) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(RegisterForAlerts)(nullptr, callback), FARLO_SUCCESS);
        LabCmdFailRegister(bus_invalid_argument);
        start_watching();
        EXPECT_EQ(FARLO(ValidateClusterW)(&handle), FARLO_SUCCESS);
        expect_log({{0, "RegisterForAlerts() Failed hr=C1000101"}});
        LabCmdFailRegister(bus_success);
        release();
    });
}

TEST_F(Validate, RejectsNullPointer) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(ValidateClusterW)(nullptr), FARLO_NOT_CONNECTED);
        expect_log({{0, "ValidateClusterW() failed, error=(0x80070057)"}});
    });
}

TEST_F(Validate, ReturnsUninitializeFailedWhenReleaseFails) {
    const StrictHandles off(false);
    at_every_threshold([&] {
        ASSERT_EQ(FARLO(ValidateClusterW)(&handle), FARLO_SUCCESS);
        start_watching();
        LabCmdFailUnInitialize(bus_provider_failed);
        EXPECT_EQ(FARLO(UnInitializeClusterA)(handle), FARLO_UNINITIALIZE_FAILED);
        LabCmdFailUnInitialize(bus_success);
        expect_log({});
        // The command library no longer knows the handle.
        EXPECT_EQ(FARLO(UnInitializeClusterW)(handle), FARLO_UNINITIALIZE_FAILED);
        EXPECT_EQ(command_library().live_handles, 0u);
        EXPECT_EQ(FARLO(UnInitializeClusterW)(nullptr), FARLO_UNINITIALIZE_FAILED);
        handle = nullptr;
    });
}

// Also for statuses that are not failures elsewhere.
TEST_F(Validate, ReturnsUninitializeFailedForEveryNonzeroStatus) {
    once([&] {
        for (const opal_status status :
             {0x00000001u, bus_same_value, system_informational, 0x81000001u}) {
            ASSERT_EQ(FARLO(ValidateClusterW)(&handle), FARLO_SUCCESS);
            LabCmdFailUnInitialize(status);
            EXPECT_EQ(FARLO(UnInitializeClusterW)(handle), FARLO_UNINITIALIZE_FAILED) << status;
            LabCmdFailUnInitialize(bus_success);
            handle = nullptr;  // released in spite of the status
        }
    });
}

// Alerts are registered, and the library does not try to create a second handle.
TEST_F(Validate, TreatsInformationalStatusOfConnectionAsSuccess) {
    at_every_threshold([&] {
        FARLO(RegisterForAlerts)(nullptr, callback);
        for (const opal_status status : {bus_same_value, system_informational}) {
            SCOPED_TRACE(status);
            StandIn<decltype(InitializeZtVmW)> initialize(
                dll().module(), "InitializeZtVmW",
                [&](uint32_t flags, uint32_t reserved, opal_handle* slot) {
                    EXPECT_EQ(initialize.real(flags, reserved, slot), bus_success);
                    return status;
                });
            reset_calls_made();
            start_watching();
            EXPECT_EQ(FARLO(ValidateClusterW)(&handle), FARLO_SUCCESS);
            EXPECT_EQ(calls_made(),
                      (CallsMade{.initialize = 1, .uninitialize = 0, .register_alerts = 1}));
            EXPECT_EQ(command_library().last_registered, handle);
            LabCmdDisconnect(handle);
            EXPECT_EQ(FARLO(ValidateClusterW)(&handle), FARLO_SUCCESS);
            EXPECT_EQ(calls_made(),
                      (CallsMade{.initialize = 1, .uninitialize = 1, .register_alerts = 1}));
            EXPECT_EQ(command_library().live_handles, 1u);
            expect_pauses({});
            expect_log({});
            release();
        }
    });
}

TEST_F(Validate, UnInitializeKeepsCallersHandle) {
    once([&] {
        ASSERT_EQ(FARLO(ValidateClusterW)(&handle), FARLO_SUCCESS);
        const opal_handle before = handle;
        EXPECT_EQ(FARLO(UnInitializeClusterW)(handle), FARLO_SUCCESS);
        EXPECT_EQ(handle, before);
        handle = nullptr;
    });
}

// The handle is released, and each further try starts with a NULL handle.
TEST_F(Validate, ReconnectsNewHandleThatDropsAtOnce) {
    at_every_threshold([&] {
        reset_calls_made();
        StandIn<decltype(InitializeZtVmW)> initialize(
            dll().module(), "InitializeZtVmW",
            [&](uint32_t flags, uint32_t reserved, opal_handle* slot) {
                EXPECT_EQ(slot, &handle);
                EXPECT_EQ(*slot, nullptr);
                if (initialize.calls() == 2) {
                    return bus_not_connected;
                }
                const opal_status status = initialize.real(flags, reserved, slot);
                if (initialize.calls() == 1) {
                    LabCmdDisconnect(*slot);
                }
                return status;
            });
        EXPECT_EQ(FARLO(ValidateClusterW)(&handle), FARLO_SUCCESS);
        EXPECT_EQ(initialize.calls(), 3u);
        EXPECT_EQ(calls_made(),
                  (CallsMade{.initialize = 2, .uninitialize = 1, .register_alerts = 0}));
        expect_pauses({{"Sleep", 500}});
        expect_log(
            {{6, "ValidateClusterW: Sleeping for 0.5 secs"}, {0, "RegisterForAlerts() Failed"}});
        release();
    });
}

// The flag is clear only while the lock is held.
TEST_F(Validate, ReadsConnectedFlagUnderLock) {
    once([&] {
        ASSERT_EQ(FARLO(ValidateClusterW)(&handle), FARLO_SUCCESS);
        const opal_handle locked = handle;
        interpose<decltype(EnterCriticalSection)>("EnterCriticalSection",
                                                  [&](CRITICAL_SECTION* section) {
                                                      EnterCriticalSection(section);
                                                      if (section == &locked->lock) {
                                                          locked->connected = 0;
                                                      }
                                                  });
        interpose<decltype(LeaveCriticalSection)>("LeaveCriticalSection",
                                                  [&](CRITICAL_SECTION* section) {
                                                      if (section == &locked->lock) {
                                                          locked->connected = 1;
                                                      }
                                                      LeaveCriticalSection(section);
                                                  });
        EXPECT_EQ(FARLO(DeportDgW)(handle, L"dg1", "guid-1"), FARLO_NOT_CONNECTED);
        reset_calls_made();
        EXPECT_EQ(FARLO(ValidateClusterW)(&handle), FARLO_SUCCESS);
        EXPECT_EQ(calls_made(),
                  (CallsMade{.initialize = 1, .uninitialize = 1, .register_alerts = 0}));
        release();
    });
}

TEST_F(Validate, TreatsEveryNonzeroValueAsConnected) {
    once([&] {
        ASSERT_EQ(FARLO(ValidateClusterW)(&handle), FARLO_SUCCESS);
        for (const std::uint8_t value : std::initializer_list<std::uint8_t>{0x02, 0x80, 0xFF}) {
            SCOPED_TRACE(unsigned{value});
            EnterCriticalSection(&handle->lock);
            handle->connected = value;
            LeaveCriticalSection(&handle->lock);
            reset_calls_made();
            EXPECT_EQ(FARLO(ValidateClusterW)(&handle), FARLO_SUCCESS);
            EXPECT_EQ(calls_made(),
                      (CallsMade{.initialize = 0, .uninitialize = 0, .register_alerts = 0}));
            EXPECT_EQ(FARLO(DeportDgW)(handle, L"", ""), FARLO_MISSING_ARGUMENT);
        }
        release();
    });
}

struct Caller {
    const FarloDll& dll;
    opal_handle handle;
    std::uint32_t status;
};

DWORD WINAPI validate_in_thread(void* argument) {
    auto* caller = static_cast<Caller*>(argument);
    caller->status = CALL(caller->dll, ValidateClusterW)(&caller->handle);
    return 0;
}

DWORD WINAPI release_in_thread(void* argument) {
    auto* caller = static_cast<Caller*>(argument);
    caller->status = CALL(caller->dll, UnInitializeClusterW)(caller->handle);
    return 0;
}

// Also for different handles.
TEST_F(Validate, ConnectsAndReleasesInOneThreadAtATime) {
    virtual_time = false;
    once([&] {
        ASSERT_EQ(FARLO(ValidateClusterW)(&handle), FARLO_SUCCESS);
        const HANDLE entered = CreateEventW(nullptr, FALSE, FALSE, nullptr);
        const HANDLE go_on = CreateEventW(nullptr, FALSE, FALSE, nullptr);
        StandIn<decltype(InitializeZtVmW)> initialize(
            dll().module(), "InitializeZtVmW",
            [&](uint32_t flags, uint32_t reserved, opal_handle* slot) {
                SetEvent(entered);
                WaitForSingleObject(go_on, INFINITE);
                return initialize.real(flags, reserved, slot);
            });
        Caller first{dll(), nullptr, 1};
        Caller second{dll(), nullptr, 1};
        Caller third{dll(), handle, 1};
        reset_calls_made();
        HANDLE threads[3];
        threads[0] = CreateThread(nullptr, 0, validate_in_thread, &first, 0, nullptr);
        EXPECT_EQ(WaitForSingleObject(entered, 10'000), WAIT_OBJECT_0);
        threads[1] = CreateThread(nullptr, 0, validate_in_thread, &second, 0, nullptr);
        threads[2] = CreateThread(nullptr, 0, release_in_thread, &third, 0, nullptr);
        EXPECT_EQ(WaitForSingleObject(entered, 300), static_cast<DWORD>(WAIT_TIMEOUT));
        EXPECT_EQ(calls_made(),
                  (CallsMade{.initialize = 0, .uninitialize = 0, .register_alerts = 0}));
        SetEvent(go_on);
        EXPECT_EQ(WaitForSingleObject(entered, 10'000), WAIT_OBJECT_0);
        SetEvent(go_on);
        EXPECT_EQ(WaitForMultipleObjects(3, threads, TRUE, 10'000), WAIT_OBJECT_0);
        for (const Caller& caller : {first, second, third}) {
            EXPECT_EQ(caller.status, FARLO_SUCCESS);
        }
        EXPECT_EQ(FARLO(UnInitializeClusterW)(first.handle), FARLO_SUCCESS);
        EXPECT_EQ(FARLO(UnInitializeClusterW)(second.handle), FARLO_SUCCESS);
        handle = nullptr;
        for (const HANDLE closed : {threads[0], threads[1], threads[2], entered, go_on}) {
            CloseHandle(closed);
        }
    });
}

// Registering the alerts is a part of the validation.
TEST_F(Validate, ReleasesNoHandleWhileAlertsAreRegistered) {
    virtual_time = false;
    once([&] {
        EXPECT_EQ(FARLO(RegisterForAlerts)(nullptr, callback), FARLO_SUCCESS);
        ASSERT_EQ(InitializeZtVmW(0, 0, &handle), bus_success);
        const HANDLE entered = CreateEventW(nullptr, FALSE, FALSE, nullptr);
        const HANDLE go_on = CreateEventW(nullptr, FALSE, FALSE, nullptr);
        StandIn<decltype(RegisterAlertCallback)> register_alerts(
            dll().module(), "RegisterAlertCallback", [&](auto... arguments) {
                SetEvent(entered);
                WaitForSingleObject(go_on, INFINITE);
                return register_alerts.real(arguments...);
            });
        Caller first{dll(), nullptr, 1};
        Caller second{dll(), handle, 1};
        reset_calls_made();
        const HANDLE validating = CreateThread(nullptr, 0, validate_in_thread, &first, 0, nullptr);
        EXPECT_EQ(WaitForSingleObject(entered, 10'000), WAIT_OBJECT_0);
        EXPECT_EQ(calls_made(),
                  (CallsMade{.initialize = 1, .uninitialize = 0, .register_alerts = 0}));
        const HANDLE releasing = CreateThread(nullptr, 0, release_in_thread, &second, 0, nullptr);
        EXPECT_EQ(WaitForSingleObject(releasing, 300), static_cast<DWORD>(WAIT_TIMEOUT));
        EXPECT_EQ(calls_made(),
                  (CallsMade{.initialize = 0, .uninitialize = 0, .register_alerts = 0}));
        SetEvent(go_on);
        EXPECT_EQ(WaitForSingleObject(validating, 10'000), WAIT_OBJECT_0);
        EXPECT_EQ(WaitForSingleObject(releasing, 10'000), WAIT_OBJECT_0);
        EXPECT_EQ(first.status, FARLO_SUCCESS);
        EXPECT_EQ(second.status, FARLO_SUCCESS);
        EXPECT_EQ(FARLO(UnInitializeClusterW)(first.handle), FARLO_SUCCESS);
        handle = nullptr;
        for (const HANDLE closed : {validating, releasing, entered, go_on}) {
            CloseHandle(closed);
        }
    });
}

TEST_F(Validate, TreatsSuccessWithoutHandleAsFailure) {
    once([&] {
        interpose<decltype(InitializeZtVmW)>("InitializeZtVmW",
                                             [](auto...) { return bus_success; });
        EXPECT_EQ(FARLO(ValidateClusterW)(&handle), FARLO_NOT_CONNECTED);
        expect_log({{0, "ValidateClusterW() failed, error=(0xc1000001)"}});
    });
}

// ------------------------------------------------------- the provider runtime

std::vector<std::string> traces;
void record_trace(std::uint32_t level, const char* trace) {
    traces.push_back(std::to_string(level) + " " + trace);
}

TEST_F(Validate, ShutsDownProviderInOrderAtUnload) {
    traces.clear();
    once([&] {
        ASSERT_EQ(FARLO(ValidateClusterW)(&handle), FARLO_SUCCESS);
        release();
        LabSetTraceSink(record_trace);
    });
    LabSetTraceSink(nullptr);
    EXPECT_EQ(traces,
              (std::vector<std::string>{
                  "6 clusapiprov::__ZtApiShutdown(), CZtThreadContainer shutdown completed.",
                  "6 clusapiprov::__ZtApiShutdown(), CZtCustomObjectContainer shutdown completed.",
                  "6 clusapiprov::__ZtApiShutdown(), CZtControlManager shutdown completed.",
                  "6 clusapiprov::__ZtApiShutdown(), CZtEventManager shutdown completed."}));
}

TEST_F(Validate, TracesAndIgnoresProviderThatCannotStart) {
    once([&] {
        traces.clear();
        LabSetTraceSink(record_trace);
        heap().fail(1);
        EXPECT_EQ(FARLO(ValidateClusterW)(&handle), FARLO_SUCCESS);
        heap().fail_no_more();
        LabSetTraceSink(nullptr);
        EXPECT_EQ(traces, (std::vector<std::string>{
                              "6 clusapiprov: ERROR: An exception was thrown in [clusapiprov] "
                              "CZtProvider::Initialize()"}));
        release();
    });
}

TEST_F(Validate, StartsProviderBeforeRegisteringAlerts) {
    once([&] {
        EXPECT_EQ(FARLO(RegisterForAlerts)(nullptr, callback), FARLO_SUCCESS);
        reset_calls_made();
        unsigned traces_at_registration = 99;
        LabSetTraceSink([](std::uint32_t, const char*) { traces.emplace_back("trace"); });
        traces.clear();
        StandIn<decltype(RegisterAlertCallback)> register_alerts(
            dll().module(), "RegisterAlertCallback", [&](auto... arguments) {
                traces_at_registration = static_cast<unsigned>(traces.size());
                return register_alerts.real(arguments...);
            });
        heap().fail(1);  // fails the start of the provider, which traces it
        EXPECT_EQ(FARLO(ValidateClusterW)(&handle), FARLO_SUCCESS);
        heap().fail_no_more();
        LabSetTraceSink(nullptr);
        EXPECT_EQ(traces_at_registration, 1u);
        release();
    });
}

}  // namespace
