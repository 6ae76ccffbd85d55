// CVMClusterStart, the thread procedure that OnlineVolW runs when the cluster volume manager is
// not started. The tests get the procedure from OnlineVolW's call of CreateThread and run it on
// their own thread.
#include "support/farlo_test.h"
#include "support/fault_rules.h"
#include "support/kernel_journal.h"
#include "support/method_results.h"
#include "volume/volume_lines.h"

#include <atomic>

namespace {

using namespace support;

// The start token: an event that is signalled unless a process is starting the node.
const char token_name[] = "Global\\cvmstartevent";

// Lines of the kernel journal.
const std::string create_mutex = "CreateMutexA Global\\cvmclusternodeMutex not owned -> mutex";
const std::string take_mutex = "WaitForSingleObject mutex 4294967295 -> 0";
const std::string take_abandoned_mutex = "WaitForSingleObject mutex 4294967295 -> 128";
const std::string release_mutex = "ReleaseMutex mutex";
const std::string close_mutex = "CloseHandle mutex";
const std::string take_token = "WaitForSingleObject token 0 -> 0";
const std::string token_is_taken = "WaitForSingleObject token 0 -> 258";
const std::string return_token = "SetEvent token";
const std::string pause = "Sleep 1000";

// Lines of the recorder: the node's status is read, the node is started.
std::string read_status(std::uint32_t value) {
    return read("misc", "nodeStatus", uint32(value));
}
std::string start(std::uint32_t status) {
    return invoke("service", method::start_node, "", status);
}
// The test itself changes the node while the library waits.
std::string node_changes(const std::string& property, std::uint32_t value) {
    return "ObSetProperty @misc \"" + property + "\" " + uint32(value) + " -> 0x0";
}

// Values of the node's "nodeStatus".
constexpr std::uint32_t no_error = 0;
constexpr std::uint32_t start_failed = 3;

const ExpectedLog got_mutex = {{6, "CVMClusterStart: The Procees request ownership of mutex"},
                               {6, "WaitForMutex(): Got the reservation_thread_update lock "},
                               {6, "CVMClusterStart: The Process got ownership of the mutex"}};
const ExpectedLog started = {{2, "Entering StartCVMClusterW"}, {2, "Exiting StartCVMClusterW"}};
const Expected waiting{0, "CVMClusterStart: Waiting for the CVM cluster start to complete"};
const Expected completed{0, "CVMClusterStart: CVM cluster start completed"};

class CVMClusterStart : public FarloTest {
  protected:
    // Runs the body with the procedure and a journal. The token is signalled before, and must be
    // after. The service returns success for a start, but leaves the node as it is.
    using Body = std::function<void(LPTHREAD_START_ROUTINE procedure, KernelJournal& journal)>;
    void starting_at_every_threshold(const std::string& node, const Body& body) {
        scenario = "{}";
        at_every_threshold([&] {
            const LPTHREAD_START_ROUTINE procedure = take_procedure();
            load_scenario(node);
            set_faults(fault_plan({methods_return(bus_success)}));
            KernelJournal journal(dll().module(), clock());
            journal.watch_event(token_name, "token");
            start_watching();
            body(procedure, journal);
            EXPECT_TRUE(token_is_signalled());
        });
    }

    LPTHREAD_START_ROUTINE take_procedure() {
        LPTHREAD_START_ROUTINE procedure = nullptr;
        void* argument = nullptr;
        const StandIn<decltype(CreateThread)> create_thread(
            dll().module(), "CreateThread",
            [&](SECURITY_ATTRIBUTES*, SIZE_T, LPTHREAD_START_ROUTINE routine, void* parameter,
                DWORD, DWORD*) -> HANDLE {
                procedure = routine;
                argument = parameter;
                return nullptr;
            });
        EXPECT_EQ(FARLO(OnlineVolW)(handle, "guid", L"device", 0, 1000), FARLO_EXCEPTION);
        EXPECT_NE(procedure, nullptr);
        EXPECT_EQ(argument, handle);
        return procedure;
    }

    // Signals the token as well.
    static bool token_is_signalled() {
        const HANDLE token = OpenEventA(EVENT_ALL_ACCESS, FALSE, token_name);
        const bool signalled = WaitForSingleObject(token, 0) == WAIT_OBJECT_0;
        SetEvent(token);
        CloseHandle(token);
        return signalled;
    }
    static void take_the_token() {
        const HANDLE token = OpenEventA(EVENT_ALL_ACCESS, FALSE, token_name);
        EXPECT_EQ(WaitForSingleObject(token, 0), WAIT_OBJECT_0);
        CloseHandle(token);
    }

    // The node's mutex, whose owner died. The caller closes it.
    static HANDLE abandoned_mutex() {
        const HANDLE mutex = CreateMutexA(nullptr, FALSE, "Global\\cvmclusternodeMutex");
        const HANDLE dead = CreateThread(
            nullptr, 0,
            [](void* argument) -> DWORD { return WaitForSingleObject(argument, INFINITE); }, mutex,
            0, nullptr);
        WaitForSingleObject(dead, INFINITE);
        CloseHandle(dead);
        return mutex;
    }

    void set_node(const char* name, std::uint32_t value) {
        opal_objid misc{};
        LabFindObject("misc", &misc);
        const opal_property property{name, TYPE_UINT32, 1, sizeof value, &value};
        ObSetProperty(handle->connection, handle->connection_context, &misc, &property);
    }
};

TEST_F(CVMClusterStart, StartsNodeAndWaitsForItsRole) {
    starting_at_every_threshold("{}", [&](auto procedure, auto& journal) {
        journal.on_pause = [&](int number) {
            if (number == 2) {
                set_node("nodeRole", 5);
            }
        };
        EXPECT_EQ(procedure(handle), FARLO_SUCCESS);
        expect_calls({find_misc, read_role(no_role), cluster_service(), start(bus_success),
                      read_role(no_role), read_status(no_error), read_role(no_role),
                      read_status(no_error), node_changes("nodeRole", 5), read_role(5),
                      read_status(no_error)});
        EXPECT_EQ(journal.lines, (Lines{create_mutex, take_mutex, take_token, release_mutex, pause,
                                        pause, return_token, close_mutex}));
        expect_log(got_mutex + started + ExpectedLog{waiting, completed});
    });
}

// The token is returned before the mutex is released, so that the next owner finds it.
TEST_F(CVMClusterStart, SucceedsWithoutStartWhenNodeRuns) {
    starting_at_every_threshold(R"({"node": {"role": 1, "status": 7}})", [&](auto procedure,
                                                                             auto& journal) {
        EXPECT_EQ(procedure(handle), FARLO_SUCCESS);
        expect_calls({find_misc, read_role(some_role)});
        EXPECT_EQ(journal.lines, (Lines{create_mutex, take_mutex, take_token, return_token,
                                        release_mutex, close_mutex}));
        expect_log(got_mutex + ExpectedLog{{6, "CVMClusterStart:CVM Cluster already started!"}});
    });
}

TEST_F(CVMClusterStart, WaitsForNodeThatIsAlreadyStarting) {
    starting_at_every_threshold("{}", [&](auto procedure, auto& journal) {
        set_faults(fault_plan({methods_return(service_already_started)}));
        journal.on_pause = [&](int) { set_node("nodeRole", some_role); };
        EXPECT_EQ(procedure(handle), FARLO_SUCCESS);
        expect_calls({find_misc, read_role(no_role), cluster_service(),
                      start(service_already_started), read_role(no_role), read_status(no_error),
                      node_changes("nodeRole", some_role), read_role(some_role),
                      read_status(no_error)});
        EXPECT_EQ(journal.lines, (Lines{create_mutex, take_mutex, take_token, release_mutex, pause,
                                        return_token, close_mutex}));
        expect_log(
            got_mutex +
            ExpectedLog{{2, "Entering StartCVMClusterW"},
                        {4, "StartCVMClusterW: MISCOP_STARTNODE, CsfInvoke failed with error = "
                            "0xe5150047."},
                        {0, "StartCVMClusterW() failed, error=(0xe5150047) "},
                        {2, "Exiting StartCVMClusterW"},
                        {6, "CVMClusterStart:CVM Cluster already started"},
                        waiting,
                        completed});
    });
}

TEST_F(CVMClusterStart, FailsWhenServiceRefusesStart) {
    starting_at_every_threshold("{}", [&](auto procedure, auto& journal) {
        set_faults(fault_plan({methods_return(unknown_failure)}));
        EXPECT_EQ(procedure(handle), unknown_failure);
        expect_calls({find_misc, read_role(no_role), cluster_service(), start(unknown_failure)});
        EXPECT_EQ(journal.lines, (Lines{create_mutex, take_mutex, take_token, return_token,
                                        release_mutex, close_mutex}));
        expect_log(
            got_mutex +
            ExpectedLog{
                {2, "Entering StartCVMClusterW"},
                {4, "StartCVMClusterW: MISCOP_STARTNODE, CsfInvoke failed with error = 0x2a."},
                {0, "StartCVMClusterW() failed, error=(0x2a) "},
                {2, "Exiting StartCVMClusterW"},
                {0, "CVMClusterStart:StartCVMCluster failed, error=(0x2a) "}});
    });
}

TEST_F(CVMClusterStart, WaitsWithoutStartWhileTokenIsTaken) {
    starting_at_every_threshold("{}", [&](auto procedure, auto& journal) {
        take_the_token();
        journal.on_pause = [&](int) { set_node("nodeRole", some_role); };
        EXPECT_EQ(procedure(handle), FARLO_SUCCESS);
        expect_calls({find_misc, read_role(no_role), read_status(no_error),
                      node_changes("nodeRole", some_role), read_role(some_role),
                      read_status(no_error)});
        EXPECT_EQ(journal.lines, (Lines{create_mutex, take_mutex, token_is_taken, release_mutex,
                                        pause, return_token, close_mutex}));
        expect_log(got_mutex + ExpectedLog{waiting, completed});
    });
}

// A mutex whose owner died is released at once and counts as not obtained.
TEST_F(CVMClusterStart, WaitsWithoutStartWhenMutexWasAbandoned) {
    starting_at_every_threshold("{}", [&](auto procedure, auto& journal) {
        const HANDLE mutex = abandoned_mutex();
        journal.on_pause = [&](int) { set_node("nodeRole", some_role); };
        EXPECT_EQ(procedure(handle), FARLO_SUCCESS);
        EXPECT_EQ(calls_of("PrCallDispatch"), Lines{});
        EXPECT_EQ(journal.lines, (Lines{create_mutex, take_abandoned_mutex, release_mutex, pause,
                                        return_token, close_mutex}));
        expect_log({{6, "CVMClusterStart: The Procees request ownership of mutex"},
                    {6, "WaitForMutex(): Failed to get the reservation_thread_update lock"},
                    {6, "CVMClusterStart: The Process got ownership of the mutex"},
                    waiting,
                    completed});
        EXPECT_FALSE(ReleaseMutex(mutex)) << "the mutex is still owned";
        CloseHandle(mutex);
    });
}

// While the first call waits for a node that nobody starts, the second one obtains the mutex and
// starts it.
TEST_F(CVMClusterStart, StartsNodeAtNextCallWhenMutexWasAbandoned) {
    starting_at_every_threshold("{}", [&](auto procedure, auto& journal) {
        const HANDLE mutex = abandoned_mutex();
        HANDLE second = nullptr;
        struct Call {
            LPTHREAD_START_ROUTINE procedure;
            opal_handle handle;
        } call{procedure, handle};
        journal.on_pause = [&](int number) {
            if (number == 1) {
                EXPECT_FALSE(ReleaseMutex(mutex)) << "the mutex is still owned";
                second = CreateThread(
                    nullptr, 0,
                    [](void* argument) -> DWORD {
                        const auto* one = static_cast<const Call*>(argument);
                        return one->procedure(one->handle);
                    },
                    &call, 0, nullptr);
                while (calls_of("PrCallDispatch").empty() &&
                       WaitForSingleObject(second, 1) == WAIT_TIMEOUT) {
                }
                set_node("nodeRole", some_role);
                EXPECT_EQ(WaitForSingleObject(second, 10'000), WAIT_OBJECT_0);
            }
        };
        EXPECT_EQ(procedure(handle), FARLO_SUCCESS);
        DWORD second_result = STILL_ACTIVE;
        GetExitCodeThread(second, &second_result);
        EXPECT_EQ(second_result, FARLO_SUCCESS);
        EXPECT_EQ(calls_of("PrCallDispatch"), Lines{start(bus_success)});
        CloseHandle(second);
        CloseHandle(mutex);
    });
}

TEST_F(CVMClusterStart, FailsWithoutMiscObject) {
    starting_at_every_threshold(R"({"node": {"misc": false}})", [&](auto procedure, auto& journal) {
        take_the_token();  // the procedure returns it anyway
        EXPECT_EQ(procedure(handle), FARLO_PROVIDER_FAILED);
        expect_calls({objects(object_type::misc, "")});
        EXPECT_EQ(journal.lines, Lines{return_token});
        expect_log({{0, "CVMClusterStart::misc object not present"}});
    });
    starting_at_every_threshold("{}", [&](auto procedure, auto& journal) {
        set_faults(fault_plan({{.function = "DbGetObjects", .returns = bus_provider_failed}}));
        EXPECT_EQ(procedure(handle), FARLO_PROVIDER_FAILED);
        EXPECT_EQ(journal.lines, Lines{return_token});
        expect_log({{0, "CVMClusterStart::misc object not present"}});
    });
}

TEST_F(CVMClusterStart, FailsWhenMutexCannotBeCreated) {
    starting_at_every_threshold("{}", [&](auto procedure, auto& journal) {
        journal.create_mutex_error = ERROR_ACCESS_DENIED;
        EXPECT_EQ(procedure(handle), FARLO_EXCEPTION);
        expect_calls({find_misc});
        EXPECT_EQ(
            journal.lines,
            (Lines{"CreateMutexA Global\\cvmclusternodeMutex not owned -> none", return_token}));
        expect_log({{0, "CVMClusterStart: CreateMutexA failed, error=(0x5) "}});
    });
}

TEST_F(CVMClusterStart, FailsWhenNodeReportsFailedStart) {
    starting_at_every_threshold("{}", [&](auto procedure, auto& journal) {
        journal.on_pause = [&](int) { set_node("nodeStatus", start_failed); };
        EXPECT_EQ(procedure(handle), FARLO_PROVIDER_FAILED);
        expect_calls({find_misc, read_role(no_role), cluster_service(), start(bus_success),
                      read_role(no_role), read_status(no_error),
                      node_changes("nodeStatus", start_failed), read_role(no_role),
                      read_status(start_failed)});
        EXPECT_EQ(journal.lines, (Lines{create_mutex, take_mutex, take_token, release_mutex, pause,
                                        return_token, close_mutex}));
        expect_log(
            got_mutex + started +
            ExpectedLog{waiting, {0, "CVMClusterStart:StartCVMCluster failed due to some reason"}});
    });
}

// The status may be that of an earlier start.
TEST_F(CVMClusterStart, SucceedsWhenNodeHasRoleAndFailedStatus) {
    starting_at_every_threshold("{}", [&](auto procedure, auto&) {
        take_the_token();
        set_node("nodeRole", 2);
        set_node("nodeStatus", start_failed);
        start_watching();
        EXPECT_EQ(procedure(handle), FARLO_SUCCESS);
        expect_calls({find_misc, read_role(2), read_status(start_failed)});
        expect_log(got_mutex + ExpectedLog{waiting, completed});
    });
}

TEST_F(CVMClusterStart, WaitsWithoutTimeLimit) {
    starting_at_every_threshold("{}", [&](auto procedure, auto& journal) {
        journal.on_pause = [&](int number) {
            if (number == 5000) {
                set_node("nodeRole", some_role);
            }
        };
        EXPECT_EQ(procedure(handle), FARLO_SUCCESS);
        expect_pauses(std::vector<Pause>(5000, {"Sleep", 1000}));
    });
}

// Token and mutex are returned.
TEST_F(CVMClusterStart, FailsWhenNodeCannotBeRead) {
    starting_at_every_threshold(
        R"({"node": {"without": ["nodeRole"]}})", [&](auto procedure, auto& journal) {
            EXPECT_EQ(procedure(handle), FARLO_EXCEPTION);
            expect_calls({find_misc, read_failed("misc", "nodeRole", bus_no_property)});
            EXPECT_EQ(journal.lines, (Lines{create_mutex, take_mutex, take_token, return_token,
                                            release_mutex, close_mutex}));
            expect_log(got_mutex + ExpectedLog{{6, "API_TRY_CATCH_FAILED "}});
        });
    starting_at_every_threshold(
        R"({"node": {"without": ["nodeStatus"]}})", [&](auto procedure, auto& journal) {
            EXPECT_EQ(procedure(handle), FARLO_EXCEPTION);
            EXPECT_EQ(journal.lines, (Lines{create_mutex, take_mutex, take_token, release_mutex,
                                            return_token, close_mutex}));
            expect_log(got_mutex + started + ExpectedLog{waiting, {6, "API_TRY_CATCH_FAILED "}});
        });
}

TEST_F(CVMClusterStart, FailsWithoutMemory) {
    starting_at_every_threshold("{}", [&](auto procedure, auto& journal) {
        heap().fail(1);
        EXPECT_EQ(procedure(handle), FARLO_EXCEPTION);
        heap().fail_no_more();
        EXPECT_EQ(journal.lines, Lines{return_token});
        expect_log({{6, "API_TRY_CATCH_FAILED "}});
    });
}

// When the library could not create the token while it was loaded, it does not start the node,
// but waits for a start by another process.
TEST_F(CVMClusterStart, WaitsWithoutStartWhenTokenDoesNotExist) {
    const HANDLE other = CreateMutexA(nullptr, FALSE, token_name);
    ASSERT_NE(other, nullptr);
    at_every_threshold([&] {
        const LPTHREAD_START_ROUTINE procedure = take_procedure();
        KernelJournal journal(dll().module(), clock());
        journal.on_pause = [&](int) { set_node("nodeRole", some_role); };
        start_watching();
        EXPECT_EQ(procedure(handle), FARLO_SUCCESS);
        expect_calls({find_misc, read_role(no_role), read_status(no_error),
                      node_changes("nodeRole", some_role), read_role(some_role),
                      read_status(no_error)});
        EXPECT_EQ(journal.lines,
                  (Lines{create_mutex, take_mutex, release_mutex, pause, close_mutex}));
        expect_log(got_mutex + ExpectedLog{waiting, completed});
    });
    CloseHandle(other);
}

// Twelve threads start a slow node at the same time.
TEST_F(CVMClusterStart, StartsNodeOnceForManyCallers) {
    for (int round = 0; round < 20; ++round) {
        once([&] {
            const LPTHREAD_START_ROUTINE procedure = take_procedure();
            set_faults(fault_plan({methods_return(bus_success)}));
            std::atomic<bool> role_set{false};
            clock().on_pause = [&](int number) {
                Sleep(1);
                if (number >= 20 && !role_set.exchange(true)) {
                    set_node("nodeRole", some_role);
                }
            };
            start_watching();
            HANDLE threads[12];
            for (HANDLE& thread : threads) {
                thread = CreateThread(nullptr, 0, procedure, handle, 0, nullptr);
            }
            for (const HANDLE thread : threads) {
                EXPECT_EQ(WaitForSingleObject(thread, 60'000), WAIT_OBJECT_0);
                DWORD code = 1;
                GetExitCodeThread(thread, &code);
                EXPECT_EQ(code, FARLO_SUCCESS);
                CloseHandle(thread);
            }
            EXPECT_EQ(calls_of("PrCallDispatch"), Lines{start(bus_success)});
            EXPECT_TRUE(token_is_signalled());
            clock().on_pause = nullptr;
        });
    }
}

TEST_F(CVMClusterStart, ReturnsNotConnectedWhenConnectionDropsDuringStart) {
    starting_at_every_threshold("{}", [&](auto procedure, auto& journal) {
        const MethodResults dropping(dll().module(), [&](opal_propset) { disconnect(); });
        EXPECT_EQ(procedure(handle), FARLO_NOT_CONNECTED);
        EXPECT_EQ(journal.lines, (Lines{create_mutex, take_mutex, take_token, return_token,
                                        release_mutex, close_mutex}));
        expect_log(got_mutex +
                   ExpectedLog{{2, "Entering StartCVMClusterW"},
                               {0, "StartCVMClusterW() failed, error=(0x14) "},
                               {2, "Exiting StartCVMClusterW"},
                               {0, "CVMClusterStart:StartCVMCluster failed, error=(0x14) "}});
    });
}

// From the first pause on no property can be read.
TEST_F(CVMClusterStart, FailsWhenConnectionDropsDuringWait) {
    starting_at_every_threshold("{}", [&](auto procedure, auto& journal) {
        journal.on_pause = [&](int) {
            disconnect();
            set_faults(fault_plan({{.function = "ObGetProperty", .returns = bus_not_connected}}));
        };
        EXPECT_EQ(procedure(handle), FARLO_EXCEPTION);
        EXPECT_EQ(journal.lines, (Lines{create_mutex, take_mutex, take_token, release_mutex, pause,
                                        return_token, close_mutex}));
        expect_log(got_mutex + started + ExpectedLog{waiting, {6, "API_TRY_CATCH_FAILED "}});
    });
}

TEST_F(CVMClusterStart, SurvivesEveryAllocationFailure) {
    scenario = "{}";
    std::vector<std::uint32_t> results;
    LPTHREAD_START_ROUTINE procedure = nullptr;
    at_every_allocation([&] {
        if (procedure == nullptr) {
            procedure = take_procedure();
        }
        set_faults(fault_plan({methods_return(bus_success)}));
        KernelJournal journal(dll().module(), clock());
        journal.on_pause = [&](int) { set_node("nodeRole", some_role); };
        results.push_back(procedure(handle));
        EXPECT_TRUE(token_is_signalled());
    });
    EXPECT_EQ(results.front(), FARLO_SUCCESS);
    EXPECT_EQ(results.back(), FARLO_SUCCESS);
    EXPECT_THAT(results, testing::Contains(testing::Ne(FARLO_SUCCESS)));
}

}  // namespace
