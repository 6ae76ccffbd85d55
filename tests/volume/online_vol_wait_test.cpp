// OnlineVol while it waits for the thread that starts the cluster volume manager.
#include "volume/online_vol_fixture.h"

namespace {

using namespace support;

unsigned callbacks = 0;
void count_callback() {
    ++callbacks;
}
// Sets an error, as any code of an agent may.
void count_callback_and_set_error() {
    ++callbacks;
    SetLastError(ERROR_DISK_FULL);
}

class OnlineVolWait : public OnlineVol {
  protected:
    OnlineVolWait() { set_node(R"("role": 0)", imported); }

    // An event in place of the thread that starts the node.
    struct StartThread {
        HANDLE handle = nullptr;
        DWORD exit_code = 0;

        void end() const { SetEvent(handle); }
    };

    // Runs the body while CreateThread returns `thread`. Checks that CreateThread is called once,
    // with the handle as the thread's argument.
    void with_start_thread(StartThread& thread, const std::function<void()>& body) {
        const StandIn<decltype(CreateThread)> create_thread(
            dll().module(), "CreateThread",
            [&](SECURITY_ATTRIBUTES* security, SIZE_T stack, LPTHREAD_START_ROUTINE routine,
                void* argument, DWORD creation_flags, DWORD* id) -> HANDLE {
                EXPECT_EQ(security, nullptr);
                EXPECT_EQ(stack, 0u);
                EXPECT_NE(routine, nullptr);
                EXPECT_EQ(argument, handle);
                EXPECT_EQ(creation_flags, 0u);
                EXPECT_EQ(id, nullptr);
                thread.handle = CreateEventW(nullptr, TRUE, FALSE, nullptr);
                return thread.handle;
            });
        const StandIn<decltype(GetExitCodeThread)> get_exit_code(
            dll().module(), "GetExitCodeThread", [&](HANDLE waited_for, DWORD* code) -> BOOL {
                EXPECT_EQ(waited_for, thread.handle);
                *code = thread.exit_code;
                return TRUE;
            });
        callbacks = 0;
        body();
        EXPECT_EQ(create_thread.calls(), 1u);
    }

    const Expected waiting{6, "OnlineVolW() - Waiting for CVM Cluster to start"};
    const Expected calling_back{6, "OnlineVolW : Reset time"};
    const Expected wait_failed{0, "OnlineVolW(): WaitForSingleObject failed! error=(0x6) "};
};

TEST_F(OnlineVolWait, WaitsAgainUntilThreadEnds) {
    at_every_threshold([&] {
        set_faults(fault_plan({online_succeeds}));
        StartThread thread;
        with_start_thread(thread, [&] {
            clock().on_pause = [&](int number) {
                if (number == 40) {
                    thread.end();
                }
            };
            EXPECT_EQ(online(5), FARLO_SUCCESS);
        });
        expect_calls(Lines{find_misc, read_role(no_role)} + find_group +
                     Lines{read_imported(true), find_volume, cluster_service(),
                           online_call(flags_sent, bus_success)});
        expect_pauses(std::vector<Pause>(40, Pause{"Wait", 5}));
        expect_log(ExpectedLog{entering} + ExpectedLog(40, waiting) +
                   ExpectedLog{succeeded, exiting});
        EXPECT_EQ(callbacks, 0u);
        clock().on_pause = nullptr;
    });
}

// Also after the last interval, during which the thread ends.
TEST_F(OnlineVolWait, CallsBackAfterEachInterval) {
    at_every_threshold([&] {
        set_faults(fault_plan({online_succeeds}));
        FARLO(RegisterForAlerts)(handle, count_callback);
        start_watching();
        StartThread thread;
        with_start_thread(thread, [&] {
            clock().on_pause = [&](int number) {
                EXPECT_EQ(callbacks, static_cast<unsigned>(number) - 1);
                if (number == 3) {
                    thread.end();
                }
            };
            EXPECT_EQ(online(250), FARLO_SUCCESS);
        });
        EXPECT_EQ(callbacks, 3u);
        expect_log({entering, waiting, calling_back, waiting, calling_back, waiting, calling_back,
                    succeeded, exiting});
        clock().on_pause = nullptr;
    });
}

TEST_F(OnlineVolWait, WaitsOnceForThreadThatHasEnded) {
    at_every_threshold([&] {
        set_faults(fault_plan({online_succeeds}));
        FARLO(RegisterForAlerts)(handle, count_callback);
        start_watching();
        StartThread thread;
        with_start_thread(thread, [&] {
            const StandIn<decltype(WaitForSingleObject)> wait(
                dll().module(), "WaitForSingleObject", [&](HANDLE object, DWORD milliseconds) {
                    EXPECT_EQ(object, thread.handle);
                    EXPECT_EQ(milliseconds, 77u);
                    return DWORD{WAIT_OBJECT_0};
                });
            EXPECT_EQ(online(77), FARLO_SUCCESS);
            EXPECT_EQ(wait.calls(), 1u);
        });
        EXPECT_EQ(callbacks, 1u);
        expect_log({entering, waiting, calling_back, succeeded, exiting});
    });
}

TEST_F(OnlineVolWait, ReturnsErrorOfFailedWait) {
    at_every_threshold([&] {
        FARLO(RegisterForAlerts)(handle, count_callback);
        start_watching();
        StartThread thread;
        with_start_thread(thread, [&] {
            const Failure<decltype(WaitForSingleObject)> wait(dll().module(), "WaitForSingleObject",
                                                              {.last_error = ERROR_INVALID_HANDLE},
                                                              WAIT_FAILED);
            EXPECT_EQ(online(), DWORD{ERROR_INVALID_HANDLE});
        });
        EXPECT_EQ(callbacks, 1u);
        expect_calls({find_misc, read_role(no_role)});
        expect_log(
            {entering, waiting, calling_back, wait_failed, failed(ERROR_INVALID_HANDLE), exiting});
    });
}

// The wait gets the time-out unchanged: 0 polls, INFINITE waits without a limit.
TEST_F(OnlineVolWait, PassesSmallestAndLargestTimeoutToWait) {
    const struct {
        DWORD timeout_ms;
        unsigned waits;
    } rows[] = {{0, 3}, {INFINITE, 1}};
    at_every_threshold([&] {
        set_faults(fault_plan({online_succeeds}));
        FARLO(RegisterForAlerts)(handle, count_callback);
        for (const auto& row : rows) {
            SCOPED_TRACE(row.timeout_ms);
            start_watching();
            StartThread thread;
            with_start_thread(thread, [&] {
                std::vector<DWORD> intervals;
                const StandIn<decltype(WaitForSingleObject)> wait(
                    dll().module(), "WaitForSingleObject", [&](HANDLE object, DWORD milliseconds) {
                        EXPECT_EQ(object, thread.handle);
                        intervals.push_back(milliseconds);
                        return intervals.size() < row.waits ? DWORD{WAIT_TIMEOUT}
                                                            : DWORD{WAIT_OBJECT_0};
                    });
                EXPECT_EQ(online(row.timeout_ms), FARLO_SUCCESS);
                EXPECT_EQ(intervals, std::vector<DWORD>(row.waits, row.timeout_ms));
            });
            EXPECT_EQ(callbacks, row.waits);
            ExpectedLog log{entering};
            for (unsigned i = 0; i < row.waits; ++i) {
                log.push_back(waiting);
                log.push_back(calling_back);
            }
            expect_log(log + ExpectedLog{succeeded, exiting});
        }
    });
}

TEST_F(OnlineVolWait, ReturnsErrorOfWaitWhenCallbackSetsAnother) {
    at_every_threshold([&] {
        FARLO(RegisterForAlerts)(handle, count_callback_and_set_error);
        start_watching();
        StartThread thread;
        with_start_thread(thread, [&] {
            const Failure<decltype(WaitForSingleObject)> wait(dll().module(), "WaitForSingleObject",
                                                              {.last_error = ERROR_INVALID_HANDLE},
                                                              WAIT_FAILED);
            EXPECT_EQ(online(), DWORD{ERROR_INVALID_HANDLE});
        });
        EXPECT_EQ(callbacks, 1u);
        expect_log(
            {entering, waiting, calling_back, wait_failed, failed(ERROR_INVALID_HANDLE), exiting});
    });
}

// Every result except success and time-out ends the call with a failure, even when the system
// reports no error.
TEST_F(OnlineVolWait, FailsForOtherResultsOfWait) {
    const struct {
        DWORD error;
        std::uint32_t status;
    } rows[] = {{ERROR_SUCCESS, FARLO_PROVIDER_FAILED},
                {ERROR_TOO_MANY_POSTS, ERROR_TOO_MANY_POSTS}};
    at_every_threshold([&] {
        for (const DWORD result : {DWORD{WAIT_ABANDONED}, DWORD{WAIT_IO_COMPLETION}, WAIT_FAILED}) {
            for (const auto& row : rows) {
                SCOPED_TRACE(result);
                SCOPED_TRACE(hex(row.status));
                start_watching();
                StartThread thread;
                with_start_thread(thread, [&] {
                    const StandIn<decltype(WaitForSingleObject)> wait(
                        dll().module(), "WaitForSingleObject", [&](HANDLE, DWORD) {
                            SetLastError(row.error);
                            return result;
                        });
                    EXPECT_EQ(online(), row.status);
                    EXPECT_EQ(wait.calls(), 1u);
                });
                expect_calls({find_misc, read_role(no_role)});
                expect_log({entering,
                            waiting,
                            {0, "OnlineVolW(): WaitForSingleObject failed! error=(" +
                                    hex(row.status) + ") "},
                            failed(row.status),
                            exiting});
            }
        }
    });
}

// The error that an earlier call left is not reported.
TEST_F(OnlineVolWait, ReturnsProviderFailedWhenAbandonedWaitSetsNoError) {
    at_every_threshold([&] {
        start_watching();
        StartThread thread;
        with_start_thread(thread, [&] {
            const StandIn<decltype(WaitForSingleObject)> wait(
                dll().module(), "WaitForSingleObject",
                [](HANDLE, DWORD) { return WAIT_ABANDONED; });
            EXPECT_EQ(online(), FARLO_PROVIDER_FAILED);
        });
        expect_log({entering,
                    waiting,
                    {0, "OnlineVolW(): WaitForSingleObject failed! error=(0xc1000001) "},
                    failed(FARLO_PROVIDER_FAILED),
                    exiting});
    });
}

TEST_F(OnlineVolWait, ReturnsProviderFailedWhenExitCodeFailsWithoutError) {
    at_every_threshold([&] {
        StartThread thread;
        with_start_thread(thread, [&] {
            clock().on_pause = [&](int) { thread.end(); };
            const StandIn<decltype(GetExitCodeThread)> get_exit_code(
                dll().module(), "GetExitCodeThread", [](HANDLE, DWORD*) -> BOOL {
                    SetLastError(ERROR_SUCCESS);
                    return FALSE;
                });
            EXPECT_EQ(online(), FARLO_PROVIDER_FAILED);
        });
        expect_calls({find_misc, read_role(no_role)});
        expect_log({entering,
                    waiting,
                    {0, "OnlineVolW(): GetExitCodeThread failed! error=(0xc1000001) "},
                    failed(FARLO_PROVIDER_FAILED),
                    exiting});
        clock().on_pause = nullptr;
    });
}

TEST_F(OnlineVolWait, ReturnsErrorWhenExitCodeCannotBeRead) {
    at_every_threshold([&] {
        StartThread thread;
        with_start_thread(thread, [&] {
            SetLastError(ERROR_SUCCESS);
            clock().on_pause = [&](int) { thread.end(); };
            const Failure<decltype(GetExitCodeThread)> get_exit_code(
                dll().module(), "GetExitCodeThread", {.last_error = ERROR_ACCESS_DENIED}, FALSE);
            EXPECT_EQ(online(), DWORD{ERROR_ACCESS_DENIED});
        });
        expect_calls({find_misc, read_role(no_role)});
        expect_log({entering,
                    waiting,
                    {0, "OnlineVolW(): GetExitCodeThread failed! error=(0x5) "},
                    failed(ERROR_ACCESS_DENIED),
                    exiting});
        clock().on_pause = nullptr;
    });
}

TEST_F(OnlineVolWait, ReturnsExitCodeOfThread) {
    at_every_threshold([&] {
        StartThread thread;
        thread.exit_code = unknown_service_failure;
        with_start_thread(thread, [&] {
            clock().on_pause = [&](int) { thread.end(); };
            EXPECT_EQ(online(), unknown_service_failure);
        });
        expect_calls({find_misc, read_role(no_role)});
        expect_log({entering,
                    waiting,
                    {0, "OnlineVolW():Could not start CVM Cluster"},
                    failed(unknown_service_failure),
                    exiting});
        clock().on_pause = nullptr;
    });
}

TEST_F(OnlineVolWait, FailsWhenThreadCannotBeCreated) {
    at_every_threshold([&] {
        const Failure<decltype(CreateThread)> create_thread(
            dll().module(), "CreateThread", {.last_error = ERROR_NOT_ENOUGH_MEMORY}, nullptr);
        EXPECT_EQ(online(), FARLO_EXCEPTION);
        expect_calls({find_misc, read_role(no_role)});
        expect_log({entering,
                    {0, "OnlineVolW():CreateThread failed error=(0x8) "},
                    failed(FARLO_EXCEPTION),
                    exiting});
    });
}

// The thread's procedure runs on the test's thread, while CreateThread is called.
TEST_F(OnlineVolWait, StartsNodeOnThread) {
    at_every_threshold([&] {
        set_faults(fault_plan(
            {online_succeeds, {.method = method::start_node, .returns = unknown_service_failure}}));
        DWORD exit_code = 0;
        const StandIn<decltype(CreateThread)> create_thread(
            dll().module(), "CreateThread",
            [&](SECURITY_ATTRIBUTES*, SIZE_T, LPTHREAD_START_ROUTINE routine, void* argument, DWORD,
                DWORD*) -> HANDLE {
                exit_code = routine(argument);
                return CreateEventW(nullptr, TRUE, TRUE, nullptr);
            });
        const StandIn<decltype(GetExitCodeThread)> get_exit_code(
            dll().module(), "GetExitCodeThread", [&](HANDLE, DWORD* code) -> BOOL {
                *code = exit_code;
                return TRUE;
            });
        EXPECT_EQ(online(), unknown_service_failure);
        EXPECT_EQ(calls_of("PrCallDispatch"),
                  (Lines{invoke("service", method::start_node, "", unknown_service_failure)}));
    });
}

}  // namespace
