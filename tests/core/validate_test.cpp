// Making, remaking and giving back connections.
#include "support/farlo_test.h"
#include "support/strict_handles.h"

namespace {

using namespace support;

void reset_timeout() {}

class Validate : public FarloTest {
  protected:
    Validate() { connects = false; }

    // What the command library was called for since the last question.
    struct Made {
        unsigned initialize, uninitialize, register_alerts;
        bool operator==(const Made&) const = default;
        friend void PrintTo(const Made& made, std::ostream* out) {
            *out << made.initialize << " initialize, " << made.uninitialize << " uninitialize, "
                 << made.register_alerts << " register";
        }
    };
    Made made() {
        const lab_cmd_calls before = m_calls;
        LabCmdGetCalls(&m_calls);
        return {m_calls.initialize - before.initialize, m_calls.uninitialize - before.uninitialize,
                m_calls.register_alerts - before.register_alerts};
    }
    const lab_cmd_calls& last() const { return m_calls; }
    // Ends a run: the fixture looks at what is left.
    void release() {
        EXPECT_EQ(FARLO(UnInitializeClusterW)(handle), 0u);
        handle = nullptr;
    }

  private:
    lab_cmd_calls m_calls{};
};

TEST_F(Validate, ConnectsAnEmptySlot) {
    at_every_threshold([&] {
        made();
        EXPECT_EQ(FARLO(ValidateClusterW)(&handle), 0u);
        EXPECT_NE(handle, nullptr);
        EXPECT_EQ(made(), (Made{1, 0, 0}));
        EXPECT_EQ(last().last_flags, 0u);
        EXPECT_EQ(last().last_reserved, 0u);
        // Nothing is registered yet: the first registration finds no callback.
        expect_log({{0, "RegisterForAlerts() Failed"}});
        start_watching();
        EXPECT_EQ(FARLO(ValidateClusterW)(&handle), 0u);
        EXPECT_EQ(made(), (Made{0, 0, 0}));
        expect_log({});
        release();
    });
}

TEST_F(Validate, TheNameOfInitializeClusterAHasNoEffect) {
    once([&] {
        EXPECT_EQ(FARLO(InitializeClusterA)("a name", 7, &handle), 0u);
        release();
        EXPECT_EQ(FARLO(InitializeClusterA)(std::string(1000, 'n').c_str(), 0, &handle), 0u);
        release();
        EXPECT_EQ(FARLO(InitializeClusterA)(nullptr, 0, &handle), 0u);
        EXPECT_NE(handle, nullptr);
        release();
    });
}

// Made by somebody else: the first validation starts the provider and registers
// alerts all the same.
TEST_F(Validate, TheFirstValidationStartsTheProviderForAnyHandle) {
    at_every_threshold([&] {
        ASSERT_EQ(InitializeZtVmW(0, 0, &handle), 0u);
        EXPECT_EQ(FARLO(RegisterForAlerts)(nullptr, reset_timeout), 0u);
        made();
        start_watching();
        EXPECT_EQ(FARLO(ValidateClusterW)(&handle), 0u);
        EXPECT_EQ(made(), (Made{0, 0, 1}));
        EXPECT_EQ(last().last_registered, handle);
        expect_log({});
        EXPECT_EQ(FARLO(ValidateClusterW)(&handle), 0u);
        EXPECT_EQ(made(), (Made{0, 0, 0}));
        release();
    });
}

TEST_F(Validate, ReconnectsADroppedHandleInItsSlot) {
    at_every_threshold([&] {
        ASSERT_EQ(FARLO(ValidateClusterW)(&handle), 0u);
        ASSERT_EQ(FARLO(RegisterForAlerts)(handle, reset_timeout), 0u);
        const opal_handle before = handle;
        disconnect();
        made();
        start_watching();
        EXPECT_EQ(FARLO(ValidateClusterW)(&handle), 0u);
        EXPECT_EQ(made(), (Made{1, 1, 1}));
        EXPECT_EQ(last().last_released, before);
        EXPECT_EQ(last().last_registered, handle);
        expect_pauses({});
        expect_log({});
        release();
    });
}

TEST_F(Validate, TheResultOfTheReleaseIsIgnored) {
    once([&] {
        ASSERT_EQ(FARLO(ValidateClusterW)(&handle), 0u);
        disconnect();
        LabCmdFailUnInitialize(0xc1000001);
        EXPECT_EQ(FARLO(ValidateClusterW)(&handle), 0u);
        LabCmdFailUnInitialize(0);
        release();
    });
}

TEST_F(Validate, ThreeTriesHalfASecondApart) {
    at_every_threshold([&] {
        ASSERT_EQ(FARLO(ValidateClusterW)(&handle), 0u);
        disconnect();
        LabCmdFailInitialize(0xc1000103, 100);
        made();
        start_watching();
        EXPECT_EQ(FARLO(ValidateClusterW)(&handle), 20u);
        EXPECT_EQ(handle, nullptr);
        EXPECT_EQ(made(), (Made{3, 1, 0}));
        expect_pauses({{"Sleep", 500}, {"Sleep", 500}, {"Sleep", 500}});
        expect_log({{6, "ValidateClusterW: Sleeping for 0.5 secs"},
                    {6, "ValidateClusterW: Sleeping for 0.5 secs"},
                    {6, "ValidateClusterW: Sleeping for 0.5 secs"},
                    {0, "ValidateClusterW() failed, error=(0xc1000103)"}});
        LabCmdFailInitialize(0, 0);
    });
}

TEST_F(Validate, TheThirdTryMaySucceed) {
    at_every_threshold([&] {
        ASSERT_EQ(FARLO(ValidateClusterW)(&handle), 0u);
        ASSERT_EQ(FARLO(RegisterForAlerts)(handle, reset_timeout), 0u);
        disconnect();
        LabCmdFailInitialize(0xc1000103, 2);
        made();
        start_watching();
        EXPECT_EQ(FARLO(ValidateClusterW)(&handle), 0u);
        EXPECT_EQ(made(), (Made{3, 1, 1}));
        expect_pauses({{"Sleep", 500}, {"Sleep", 500}});
        expect_log({{6, "ValidateClusterW: Sleeping for 0.5 secs"},
                    {6, "ValidateClusterW: Sleeping for 0.5 secs"}});
        release();
    });
}

// An empty slot is tried once, without a pause.
TEST_F(Validate, AnEmptySlotIsTriedOnce) {
    at_every_threshold([&] {
        LabCmdFailInitialize(0xc1000001, 1);
        made();
        EXPECT_EQ(FARLO(ValidateClusterW)(&handle), 20u);
        EXPECT_EQ(handle, nullptr);
        EXPECT_EQ(made(), (Made{1, 0, 0}));
        expect_pauses({});
        expect_log({{0, "ValidateClusterW() failed, error=(0xc1000001)"}});
    });
}

// The provider and the alerts are still due after a validation that failed.
TEST_F(Validate, AFailureLeavesTheFirstStartDue) {
    once([&] {
        LabCmdFailInitialize(0xc1000001, 1);
        EXPECT_EQ(FARLO(ValidateClusterW)(&handle), 20u);
        EXPECT_EQ(FARLO(RegisterForAlerts)(nullptr, reset_timeout), 0u);
        made();
        EXPECT_EQ(FARLO(ValidateClusterW)(&handle), 0u);
        EXPECT_EQ(made(), (Made{1, 0, 1}));
        release();
    });
}

TEST_F(Validate, AFailedRegistrationDoesNotFailTheValidation) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(RegisterForAlerts)(nullptr, reset_timeout), 0u);
        LabCmdFailRegister(0xc1000101);
        start_watching();
        EXPECT_EQ(FARLO(ValidateClusterW)(&handle), 0u);
        expect_log({{0, "RegisterForAlerts() Failed hr=C1000101"}});
        LabCmdFailRegister(0);
        release();
    });
}

TEST_F(Validate, ANullSlot) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(ValidateClusterW)(nullptr), 20u);
        expect_log({{0, "ValidateClusterW() failed, error=(0x80070057)"}});
    });
}

TEST_F(Validate, GivingBackAHandleThatIsRefused) {
    const StrictHandles off(false);
    at_every_threshold([&] {
        ASSERT_EQ(FARLO(ValidateClusterW)(&handle), 0u);
        start_watching();
        LabCmdFailUnInitialize(0xc1000001);
        EXPECT_EQ(FARLO(UnInitializeClusterA)(handle), 21u);
        LabCmdFailUnInitialize(0);
        expect_log({});
        // Released a second time: the command library does not know it any more.
        EXPECT_EQ(FARLO(UnInitializeClusterW)(handle), 21u);
        made();
        EXPECT_EQ(last().live_handles, 0u);
        EXPECT_EQ(FARLO(UnInitializeClusterW)(nullptr), 21u);
        handle = nullptr;
    });
}

// Those too that are no failure elsewhere.
TEST_F(Validate, AnyStatusButZeroIsARefusal) {
    once([&] {
        for (const opal_status status : {0x00000001u, 0x41000012u, 0x00070005u, 0x81000001u}) {
            ASSERT_EQ(FARLO(ValidateClusterW)(&handle), 0u);
            LabCmdFailUnInitialize(status);
            EXPECT_EQ(FARLO(UnInitializeClusterW)(handle), 21u) << status;
            LabCmdFailUnInitialize(0);
            handle = nullptr;  // given back all the same
        }
    });
}

// A status that tells of a success is one: the handle is there, its alerts are registered,
// and no further try makes a second handle.
TEST_F(Validate, AConnectionThatIsMadeWithSomethingToSayIsMade) {
    at_every_threshold([&] {
        FARLO(RegisterForAlerts)(nullptr, reset_timeout);
        for (const opal_status status : {0x41000012u, 0x00070005u}) {
            SCOPED_TRACE(status);
            StandIn<decltype(InitializeZtVmW)> initialize(
                dll().module(), "InitializeZtVmW",
                [&](uint32_t flags, uint32_t reserved, opal_handle* slot) {
                    EXPECT_EQ(initialize.real(flags, reserved, slot), 0u);
                    return status;
                });
            made();
            start_watching();
            EXPECT_EQ(FARLO(ValidateClusterW)(&handle), 0u);
            EXPECT_EQ(made(), (Made{1, 0, 1}));
            EXPECT_EQ(last().last_registered, handle);
            LabCmdDisconnect(handle);
            EXPECT_EQ(FARLO(ValidateClusterW)(&handle), 0u);
            EXPECT_EQ(made(), (Made{1, 1, 1}));
            EXPECT_EQ(last().live_handles, 1u);
            expect_pauses({});
            expect_log({});
            release();
        }
    });
}

TEST_F(Validate, TheSlotIsNotCleared) {
    once([&] {
        ASSERT_EQ(FARLO(ValidateClusterW)(&handle), 0u);
        const opal_handle before = handle;
        EXPECT_EQ(FARLO(UnInitializeClusterW)(handle), 0u);
        EXPECT_EQ(handle, before);
        handle = nullptr;
    });
}

// A handle that the service drops as it is made is released, and the slot is empty
// at each further try.
TEST_F(Validate, ANewHandleThatIsDroppedAtOnceIsReconnected) {
    at_every_threshold([&] {
        made();
        StandIn<decltype(InitializeZtVmW)> initialize(
            dll().module(), "InitializeZtVmW",
            [&](uint32_t flags, uint32_t reserved, opal_handle* slot) {
                EXPECT_EQ(slot, &handle);
                EXPECT_EQ(*slot, nullptr);
                if (initialize.calls() == 2) {
                    return ZTERROR_NOT_CONNECTED;
                }
                const opal_status status = initialize.real(flags, reserved, slot);
                if (initialize.calls() == 1) {
                    LabCmdDisconnect(*slot);
                }
                return status;
            });
        EXPECT_EQ(FARLO(ValidateClusterW)(&handle), 0u);
        EXPECT_EQ(initialize.calls(), 3u);
        EXPECT_EQ(made(), (Made{2, 1, 0}));
        expect_pauses({{"Sleep", 500}});
        expect_log(
            {{6, "ValidateClusterW: Sleeping for 0.5 secs"}, {0, "RegisterForAlerts() Failed"}});
        release();
    });
}

// Whoever drops a connection holds the lock meanwhile.
TEST_F(Validate, ConnectedIsReadUnderItsLock) {
    once([&] {
        ASSERT_EQ(FARLO(ValidateClusterW)(&handle), 0u);
        const opal_handle dropped = handle;
        interpose<decltype(EnterCriticalSection)>("EnterCriticalSection",
                                                  [&](CRITICAL_SECTION* section) {
                                                      EnterCriticalSection(section);
                                                      if (section == &dropped->lock) {
                                                          dropped->connected = 0;
                                                      }
                                                  });
        interpose<decltype(LeaveCriticalSection)>("LeaveCriticalSection",
                                                  [&](CRITICAL_SECTION* section) {
                                                      if (section == &dropped->lock) {
                                                          dropped->connected = 1;
                                                      }
                                                      LeaveCriticalSection(section);
                                                  });
        EXPECT_EQ(FARLO(DeportDgW)(handle, L"dg1", "guid-1"), 20u);
        made();
        EXPECT_EQ(FARLO(ValidateClusterW)(&handle), 0u);
        EXPECT_EQ(made(), (Made{1, 1, 0}));
        release();
    });
}

TEST_F(Validate, AnyValueButZeroIsConnected) {
    once([&] {
        ASSERT_EQ(FARLO(ValidateClusterW)(&handle), 0u);
        for (const std::uint8_t value : std::initializer_list<std::uint8_t>{0x02, 0x80, 0xFF}) {
            SCOPED_TRACE(unsigned{value});
            EnterCriticalSection(&handle->lock);
            handle->connected = value;
            LeaveCriticalSection(&handle->lock);
            made();
            EXPECT_EQ(FARLO(ValidateClusterW)(&handle), 0u);
            EXPECT_EQ(made(), (Made{0, 0, 0}));
            EXPECT_EQ(FARLO(DeportDgW)(handle, L"", ""), 0x13u);
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

// Connecting and releasing never overlap, whichever handles they are for.
TEST_F(Validate, OneThreadAtATime) {
    virtual_time = false;
    once([&] {
        ASSERT_EQ(FARLO(ValidateClusterW)(&handle), 0u);
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
        made();
        HANDLE threads[3];
        threads[0] = CreateThread(nullptr, 0, validate_in_thread, &first, 0, nullptr);
        EXPECT_EQ(WaitForSingleObject(entered, 10'000), WAIT_OBJECT_0);
        threads[1] = CreateThread(nullptr, 0, validate_in_thread, &second, 0, nullptr);
        threads[2] = CreateThread(nullptr, 0, release_in_thread, &third, 0, nullptr);
        EXPECT_EQ(WaitForSingleObject(entered, 300), static_cast<DWORD>(WAIT_TIMEOUT));
        EXPECT_EQ(made(), (Made{0, 0, 0}));
        SetEvent(go_on);
        EXPECT_EQ(WaitForSingleObject(entered, 10'000), WAIT_OBJECT_0);
        SetEvent(go_on);
        EXPECT_EQ(WaitForMultipleObjects(3, threads, TRUE, 10'000), WAIT_OBJECT_0);
        for (const Caller& caller : {first, second, third}) {
            EXPECT_EQ(caller.status, 0u);
        }
        EXPECT_EQ(FARLO(UnInitializeClusterW)(first.handle), 0u);
        EXPECT_EQ(FARLO(UnInitializeClusterW)(second.handle), 0u);
        handle = nullptr;
        for (const HANDLE closed : {threads[0], threads[1], threads[2], entered, go_on}) {
            CloseHandle(closed);
        }
    });
}

// The start of the provider and of the alerts belongs to the validation.
TEST_F(Validate, NoHandleIsGivenBackWhileAlertsAreRegistered) {
    virtual_time = false;
    once([&] {
        EXPECT_EQ(FARLO(RegisterForAlerts)(nullptr, reset_timeout), 0u);
        ASSERT_EQ(InitializeZtVmW(0, 0, &handle), 0u);
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
        made();
        const HANDLE validating = CreateThread(nullptr, 0, validate_in_thread, &first, 0, nullptr);
        EXPECT_EQ(WaitForSingleObject(entered, 10'000), WAIT_OBJECT_0);
        EXPECT_EQ(made(), (Made{1, 0, 0}));
        const HANDLE releasing = CreateThread(nullptr, 0, release_in_thread, &second, 0, nullptr);
        EXPECT_EQ(WaitForSingleObject(releasing, 300), static_cast<DWORD>(WAIT_TIMEOUT));
        EXPECT_EQ(made(), (Made{0, 0, 0}));
        SetEvent(go_on);
        EXPECT_EQ(WaitForSingleObject(validating, 10'000), WAIT_OBJECT_0);
        EXPECT_EQ(WaitForSingleObject(releasing, 10'000), WAIT_OBJECT_0);
        EXPECT_EQ(first.status, 0u);
        EXPECT_EQ(second.status, 0u);
        EXPECT_EQ(FARLO(UnInitializeClusterW)(first.handle), 0u);
        handle = nullptr;
        for (const HANDLE closed : {validating, releasing, entered, go_on}) {
            CloseHandle(closed);
        }
    });
}

opal_status WINAPI succeed_without_a_handle(uint32_t, uint32_t, opal_handle*) {
    return 0;
}

TEST_F(Validate, ASuccessWithoutAHandleIsNone) {
    once([&] {
        const Interposer interposer(dll().module(), "InitializeZtVmW", succeed_without_a_handle);
        EXPECT_EQ(FARLO(ValidateClusterW)(&handle), 20u);
        expect_log({{0, "ValidateClusterW() failed, error=(0xc1000001)"}});
    });
}

// ------------------------------------------------------- the provider runtime

std::vector<std::string> traces;
void take_trace(std::uint32_t level, const char* text) {
    traces.push_back(std::to_string(level) + " " + text);
}

TEST_F(Validate, TheProviderIsShutDownInItsOrderWhenTheLibraryIsUnloaded) {
    traces.clear();
    once([&] {
        ASSERT_EQ(FARLO(ValidateClusterW)(&handle), 0u);
        release();
        LabSetTraceSink(take_trace);
    });
    LabSetTraceSink(nullptr);
    EXPECT_EQ(traces,
              (std::vector<std::string>{
                  "6 clusapiprov::__ZtApiShutdown(), CZtThreadContainer shutdown completed.",
                  "6 clusapiprov::__ZtApiShutdown(), CZtCustomObjectContainer shutdown completed.",
                  "6 clusapiprov::__ZtApiShutdown(), CZtControlManager shutdown completed.",
                  "6 clusapiprov::__ZtApiShutdown(), CZtEventManager shutdown completed."}));
}

TEST_F(Validate, AProviderThatCannotStartIsTracedAndIgnored) {
    once([&] {
        traces.clear();
        LabSetTraceSink(take_trace);
        heap().fail(1);
        EXPECT_EQ(FARLO(ValidateClusterW)(&handle), 0u);
        heap().fail_no_more();
        LabSetTraceSink(nullptr);
        EXPECT_EQ(traces, (std::vector<std::string>{
                              "6 clusapiprov: ERROR: An exception was thrown in [clusapiprov] "
                              "CZtProvider::Initialize()"}));
        release();
    });
}

// First the provider, then the alerts.
TEST_F(Validate, TheProviderStartsBeforeTheAlertsAreRegistered) {
    once([&] {
        EXPECT_EQ(FARLO(RegisterForAlerts)(nullptr, reset_timeout), 0u);
        made();
        unsigned registered = 99;
        LabSetTraceSink([](std::uint32_t, const char*) { traces.emplace_back("trace"); });
        traces.clear();
        StandIn<decltype(RegisterAlertCallback)> register_alerts(
            dll().module(), "RegisterAlertCallback", [&](auto... arguments) {
                registered = static_cast<unsigned>(traces.size());
                return register_alerts.real(arguments...);
            });
        heap().fail(1);  // the provider's start, which traces that
        EXPECT_EQ(FARLO(ValidateClusterW)(&handle), 0u);
        heap().fail_no_more();
        LabSetTraceSink(nullptr);
        EXPECT_EQ(registered, 1u);
        release();
    });
}

}  // namespace
