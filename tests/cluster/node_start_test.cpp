// CVMClusterStart, the thread procedure that OnlineVolW runs while the cluster
// volume manager is down. The tests take the procedure from OnlineVolW's call of
// CreateThread and run it on their own thread.
#include "bus_lines.h"
#include "farlo_test.h"
#include "kernel_journal.h"
#include "method_results.h"

#include <atomic>

namespace {

using namespace support;

const char token_name[] = "Global\\cvmstartevent";

const std::string find_misc = "DbGetObjects tamo_ztvm_misc -> 0x0 [@misc]";
const std::string create = "CreateMutexA Global\\cvmclusternodeMutex not owned -> mutex";
const std::string take_mutex = "WaitForSingleObject mutex 4294967295 -> 0";
const std::string take_token = "WaitForSingleObject token 0 -> 0";
const std::string no_token = "WaitForSingleObject token 0 -> 258";

std::string role(unsigned value) {
    return read("misc", "nodeRole", "UINT32 " + std::to_string(value));
}
std::string failure(unsigned value) {
    return read("misc", "nodeStatus", "UINT32 " + std::to_string(value));
}
std::string start(const std::string& status) {
    return invoke("service", volume_manager_methods, 6058, "", status);
}
// The node changes while the library looks on.
std::string node_gets(const std::string& property, unsigned value) {
    return "ObSetProperty @misc \"" + property + "\" UINT32 " + std::to_string(value) + " -> 0x0";
}

const std::vector<Expected> got_mutex = {
    {6, "CVMClusterStart: The Procees request ownership of mutex"},
    {6, "WaitForMutex(): Got the reservation_thread_update lock "},
    {6, "CVMClusterStart: The Process got ownership of the mutex"}};
const std::vector<Expected> started = {{2, "Entering StartCVMClusterW"},
                                       {2, "Exiting StartCVMClusterW"}};
const Expected waiting{0, "CVMClusterStart: Waiting for the CVM cluster start to complete"};
const Expected completed{0, "CVMClusterStart: CVM cluster start completed"};

std::vector<Expected> operator+(std::vector<Expected> left, const std::vector<Expected>& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

class NodeStart : public FarloTest {
  protected:
    // A run's body with the procedure, the token signalled, the start answered
    // with success and not done.
    using Body = std::function<void(LPTHREAD_START_ROUTINE procedure, KernelJournal& journal)>;
    void starting_at_every_threshold(const std::string& node, const Body& body) {
        scenario = "{}";
        at_every_threshold([&] {
            const LPTHREAD_START_ROUTINE procedure = take_procedure();
            load_scenario(node);
            set_faults(R"([{"function": "PrCallDispatch", "status": "0x0"}])");
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
        EXPECT_EQ(FARLO(OnlineVolW)(handle, "guid", L"device", 0, 1000), 18u);
        EXPECT_NE(procedure, nullptr);
        EXPECT_EQ(argument, handle);
        return procedure;
    }

    // Leaves it signalled.
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

TEST_F(NodeStart, StartsTheNodeAndWaitsForItsRole) {
    starting_at_every_threshold(
        "{}", [&](LPTHREAD_START_ROUTINE procedure, KernelJournal& journal) {
            journal.on_pause = [&](int number) {
                if (number == 2) {
                    set_node("nodeRole", 5);
                }
            };
            EXPECT_EQ(procedure(handle), 0u);
            expect_calls({find_misc, role(0), cluster_service(), start("0x0"), role(0), failure(0),
                          role(0), failure(0), node_gets("nodeRole", 5), role(5), failure(0)});
            EXPECT_EQ(journal.lines,
                      (Lines{create, take_mutex, take_token, "ReleaseMutex mutex", "Sleep 1000",
                             "Sleep 1000", "SetEvent token", "CloseHandle mutex"}));
            expect_log(got_mutex + started + std::vector<Expected>{waiting, completed});
        });
}

// The token is back before the mutex: whoever waits for the mutex finds it.
TEST_F(NodeStart, DoesNothingWhenTheNodeRuns) {
    starting_at_every_threshold(
        R"({"node": {"role": 1, "status": 7}})",
        [&](LPTHREAD_START_ROUTINE procedure, KernelJournal& journal) {
            EXPECT_EQ(procedure(handle), 0u);
            expect_calls({find_misc, role(1)});
            EXPECT_EQ(journal.lines, (Lines{create, take_mutex, take_token, "SetEvent token",
                                            "ReleaseMutex mutex", "CloseHandle mutex"}));
            expect_log(got_mutex +
                       std::vector<Expected>{{6, "CVMClusterStart:CVM Cluster already started!"}});
        });
}

TEST_F(NodeStart, WaitsForANodeThatWasStartedAlready) {
    starting_at_every_threshold(
        "{}", [&](LPTHREAD_START_ROUTINE procedure, KernelJournal& journal) {
            set_faults(R"([{"function": "PrCallDispatch", "status": "0xe5150047"}])");
            journal.on_pause = [&](int) { set_node("nodeRole", 1); };
            EXPECT_EQ(procedure(handle), 0u);
            expect_calls({find_misc, role(0), cluster_service(), start("0xe5150047"), role(0),
                          failure(0), node_gets("nodeRole", 1), role(1), failure(0)});
            EXPECT_EQ(journal.lines, (Lines{create, take_mutex, take_token, "ReleaseMutex mutex",
                                            "Sleep 1000", "SetEvent token", "CloseHandle mutex"}));
            expect_log(got_mutex +
                       std::vector<Expected>{
                           {2, "Entering StartCVMClusterW"},
                           {4, "StartCVMClusterW: MISCOP_STARTNODE, CsfInvoke failed with error = "
                               "0xe5150047."},
                           {0, "StartCVMClusterW() failed, error=(0xe5150047) "},
                           {2, "Exiting StartCVMClusterW"},
                           {6, "CVMClusterStart:CVM Cluster already started"},
                           waiting,
                           completed});
        });
}

TEST_F(NodeStart, EndsWhenTheStartIsRefused) {
    starting_at_every_threshold(
        "{}", [&](LPTHREAD_START_ROUTINE procedure, KernelJournal& journal) {
            set_faults(R"([{"function": "PrCallDispatch", "status": "0x2a"}])");
            EXPECT_EQ(procedure(handle), 0x2au);
            expect_calls({find_misc, role(0), cluster_service(), start("0x2a")});
            EXPECT_EQ(journal.lines, (Lines{create, take_mutex, take_token, "SetEvent token",
                                            "ReleaseMutex mutex", "CloseHandle mutex"}));
            expect_log(
                got_mutex +
                std::vector<Expected>{
                    {2, "Entering StartCVMClusterW"},
                    {4, "StartCVMClusterW: MISCOP_STARTNODE, CsfInvoke failed with error = 0x2a."},
                    {0, "StartCVMClusterW() failed, error=(0x2a) "},
                    {2, "Exiting StartCVMClusterW"},
                    {0, "CVMClusterStart:StartCVMCluster failed, error=(0x2a) "}});
        });
}

TEST_F(NodeStart, OnlyWaitsWhileAnotherStarts) {
    starting_at_every_threshold(
        "{}", [&](LPTHREAD_START_ROUTINE procedure, KernelJournal& journal) {
            take_the_token();
            journal.on_pause = [&](int) { set_node("nodeRole", 1); };
            EXPECT_EQ(procedure(handle), 0u);
            expect_calls(
                {find_misc, role(0), failure(0), node_gets("nodeRole", 1), role(1), failure(0)});
            EXPECT_EQ(journal.lines, (Lines{create, take_mutex, no_token, "ReleaseMutex mutex",
                                            "Sleep 1000", "SetEvent token", "CloseHandle mutex"}));
            expect_log(got_mutex + std::vector<Expected>{waiting, completed});
        });
}

// A mutex whose owner died is released at once and counts as not obtained.
TEST_F(NodeStart, OnlyWaitsWhenTheMutexWasAbandoned) {
    starting_at_every_threshold(
        "{}", [&](LPTHREAD_START_ROUTINE procedure, KernelJournal& journal) {
            const HANDLE mutex = abandoned_mutex();
            journal.on_pause = [&](int) { set_node("nodeRole", 1); };
            EXPECT_EQ(procedure(handle), 0u);
            EXPECT_EQ(calls_of("PrCallDispatch"), Lines{});
            EXPECT_EQ(journal.lines, (Lines{create, "WaitForSingleObject mutex 4294967295 -> 128",
                                            "ReleaseMutex mutex", "Sleep 1000", "SetEvent token",
                                            "CloseHandle mutex"}));
            expect_log({{6, "CVMClusterStart: The Procees request ownership of mutex"},
                        {6, "WaitForMutex(): Failed to get the reservation_thread_update lock"},
                        {6, "CVMClusterStart: The Process got ownership of the mutex"},
                        waiting,
                        completed});
            EXPECT_FALSE(ReleaseMutex(mutex)) << "the mutex is still owned";
            CloseHandle(mutex);
        });
}

// While the first one waits for a node that nobody starts, the second one obtains
// the mutex and starts it.
TEST_F(NodeStart, TheNextStartsTheNodeWhenTheMutexWasAbandoned) {
    starting_at_every_threshold(
        "{}", [&](LPTHREAD_START_ROUTINE procedure, KernelJournal& journal) {
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
                    set_node("nodeRole", 1);
                    EXPECT_EQ(WaitForSingleObject(second, 10'000), WAIT_OBJECT_0);
                }
            };
            EXPECT_EQ(procedure(handle), 0u);
            DWORD second_result = STILL_ACTIVE;
            GetExitCodeThread(second, &second_result);
            EXPECT_EQ(second_result, 0u);
            EXPECT_EQ(calls_of("PrCallDispatch"), Lines{start("0x0")});
            CloseHandle(second);
            CloseHandle(mutex);
        });
}

TEST_F(NodeStart, EndsWithoutAMiscObject) {
    starting_at_every_threshold(R"({"node": {"misc": false}})",
                                [&](LPTHREAD_START_ROUTINE procedure, KernelJournal& journal) {
                                    take_the_token();  // and gives back what it never took
                                    EXPECT_EQ(procedure(handle), 0xc1000001u);
                                    expect_calls({"DbGetObjects tamo_ztvm_misc -> 0x0 []"});
                                    EXPECT_EQ(journal.lines, Lines{"SetEvent token"});
                                    expect_log({{0, "CVMClusterStart::misc object not present"}});
                                });
    starting_at_every_threshold(
        "{}", [&](LPTHREAD_START_ROUTINE procedure, KernelJournal& journal) {
            set_faults(R"([{"function": "DbGetObjects", "status": "0xc1000001"}])");
            EXPECT_EQ(procedure(handle), 0xc1000001u);
            EXPECT_EQ(journal.lines, Lines{"SetEvent token"});
            expect_log({{0, "CVMClusterStart::misc object not present"}});
        });
}

TEST_F(NodeStart, EndsWithoutAMutex) {
    starting_at_every_threshold(
        "{}", [&](LPTHREAD_START_ROUTINE procedure, KernelJournal& journal) {
            journal.create_mutex_error = ERROR_ACCESS_DENIED;
            EXPECT_EQ(procedure(handle), 18u);
            expect_calls({find_misc});
            EXPECT_EQ(journal.lines,
                      (Lines{"CreateMutexA Global\\cvmclusternodeMutex not owned -> none",
                             "SetEvent token"}));
            expect_log({{0, "CVMClusterStart: CreateMutexA failed, error=(0x5) "}});
        });
}

TEST_F(NodeStart, EndsWhenTheNodeReportsAFailure) {
    starting_at_every_threshold("{}", [&](LPTHREAD_START_ROUTINE procedure,
                                          KernelJournal& journal) {
        journal.on_pause = [&](int) { set_node("nodeStatus", 3); };
        EXPECT_EQ(procedure(handle), 0xc1000001u);
        expect_calls({find_misc, role(0), cluster_service(), start("0x0"), role(0), failure(0),
                      node_gets("nodeStatus", 3), role(0), failure(3)});
        EXPECT_EQ(journal.lines, (Lines{create, take_mutex, take_token, "ReleaseMutex mutex",
                                        "Sleep 1000", "SetEvent token", "CloseHandle mutex"}));
        expect_log(got_mutex + started +
                   std::vector<Expected>{
                       waiting, {0, "CVMClusterStart:StartCVMCluster failed due to some reason"}});
    });
}

// A role counts before a failure of an earlier try.
TEST_F(NodeStart, IsDoneWithARoleAndAFailure) {
    starting_at_every_threshold("{}", [&](LPTHREAD_START_ROUTINE procedure, KernelJournal&) {
        take_the_token();
        set_node("nodeRole", 2);
        set_node("nodeStatus", 3);
        start_watching();
        EXPECT_EQ(procedure(handle), 0u);
        expect_calls({find_misc, role(2), failure(3)});
        expect_log(got_mutex + std::vector<Expected>{waiting, completed});
    });
}

// Only the caller's own patience ends this; here, the test's.
TEST_F(NodeStart, WaitsWithoutALimit) {
    starting_at_every_threshold("{}",
                                [&](LPTHREAD_START_ROUTINE procedure, KernelJournal& journal) {
                                    journal.on_pause = [&](int number) {
                                        if (number == 5000) {
                                            set_node("nodeRole", 1);
                                        }
                                    };
                                    EXPECT_EQ(procedure(handle), 0u);
                                    expect_pauses(std::vector<Pause>(5000, {"Sleep", 1000}));
                                });
}

// A node that cannot be read cannot be waited for: nothing is left held.
TEST_F(NodeStart, EndsWhenTheNodeCannotBeRead) {
    starting_at_every_threshold(
        R"({"node": {"without": ["nodeRole"]}})",
        [&](LPTHREAD_START_ROUTINE procedure, KernelJournal& journal) {
            EXPECT_EQ(procedure(handle), 18u);
            expect_calls({find_misc, "ObGetProperty @misc \"nodeRole\" -> 0xc100003a"});
            EXPECT_EQ(journal.lines, (Lines{create, take_mutex, take_token, "SetEvent token",
                                            "ReleaseMutex mutex", "CloseHandle mutex"}));
            expect_log(got_mutex + std::vector<Expected>{{6, "API_TRY_CATCH_FAILED "}});
        });
    starting_at_every_threshold(
        R"({"node": {"without": ["nodeStatus"]}})",
        [&](LPTHREAD_START_ROUTINE procedure, KernelJournal& journal) {
            EXPECT_EQ(procedure(handle), 18u);
            EXPECT_EQ(journal.lines, (Lines{create, take_mutex, take_token, "ReleaseMutex mutex",
                                            "SetEvent token", "CloseHandle mutex"}));
            expect_log(got_mutex + started +
                       std::vector<Expected>{waiting, {6, "API_TRY_CATCH_FAILED "}});
        });
}

TEST_F(NodeStart, EndsWithoutMemory) {
    starting_at_every_threshold("{}",
                                [&](LPTHREAD_START_ROUTINE procedure, KernelJournal& journal) {
                                    heap().fail(1);
                                    EXPECT_EQ(procedure(handle), 18u);
                                    heap().fail_no_more();
                                    EXPECT_EQ(journal.lines, Lines{"SetEvent token"});
                                    expect_log({{6, "API_TRY_CATCH_FAILED "}});
                                });
}

// Where the token could not be made when the library was loaded, nobody starts
// the node here; one that somebody else starts is waited for.
TEST_F(NodeStart, OnlyWaitsWithoutAToken) {
    const HANDLE other = CreateMutexA(nullptr, FALSE, token_name);
    ASSERT_NE(other, nullptr);
    at_every_threshold([&] {
        const LPTHREAD_START_ROUTINE procedure = take_procedure();
        KernelJournal journal(dll().module(), clock());
        journal.on_pause = [&](int) { set_node("nodeRole", 1); };
        start_watching();
        EXPECT_EQ(procedure(handle), 0u);
        expect_calls(
            {find_misc, role(0), failure(0), node_gets("nodeRole", 1), role(1), failure(0)});
        EXPECT_EQ(journal.lines, (Lines{create, take_mutex, "ReleaseMutex mutex", "Sleep 1000",
                                        "CloseHandle mutex"}));
        expect_log(got_mutex + std::vector<Expected>{waiting, completed});
    });
    CloseHandle(other);
}

// Twelve starters at once, the node slow: it is started once.
TEST_F(NodeStart, StartsTheNodeOnceWhateverTheNumberOfStarters) {
    for (int round = 0; round < 20; ++round) {
        once([&] {
            const LPTHREAD_START_ROUTINE procedure = take_procedure();
            set_faults(R"([{"function": "PrCallDispatch", "status": "0x0"}])");
            std::atomic<bool> role_set{false};
            clock().on_pause = [&](int number) {
                Sleep(1);
                if (number >= 20 && !role_set.exchange(true)) {
                    set_node("nodeRole", 1);
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
                EXPECT_EQ(code, 0u);
                CloseHandle(thread);
            }
            EXPECT_EQ(calls_of("PrCallDispatch"), Lines{start("0x0")});
            EXPECT_TRUE(token_is_signalled());
            clock().on_pause = nullptr;
        });
    }
}

// The loss comes while the node is asked to start: 20 is the start's status.
TEST_F(NodeStart, EndsWhenTheConnectionDropsDuringTheStart) {
    starting_at_every_threshold("{}", [&](LPTHREAD_START_ROUTINE procedure,
                                          KernelJournal& journal) {
        const MethodResults dropping(dll().module(), [&](opal_propset) { disconnect(); });
        EXPECT_EQ(procedure(handle), 20u);
        EXPECT_EQ(journal.lines, (Lines{create, take_mutex, take_token, "SetEvent token",
                                        "ReleaseMutex mutex", "CloseHandle mutex"}));
        expect_log(got_mutex + std::vector<Expected>{
                                   {2, "Entering StartCVMClusterW"},
                                   {0, "StartCVMClusterW() failed, error=(0x14) "},
                                   {2, "Exiting StartCVMClusterW"},
                                   {0, "CVMClusterStart:StartCVMCluster failed, error=(0x14) "}});
    });
}

// While the node is waited for, nothing can be read any more.
TEST_F(NodeStart, EndsWhenTheConnectionDropsDuringTheWait) {
    starting_at_every_threshold(
        "{}", [&](LPTHREAD_START_ROUTINE procedure, KernelJournal& journal) {
            journal.on_pause = [&](int) {
                disconnect();
                set_faults(R"([{"function": "ObGetProperty", "status": "0xc1000103"}])");
            };
            EXPECT_EQ(procedure(handle), 18u);
            EXPECT_EQ(journal.lines, (Lines{create, take_mutex, take_token, "ReleaseMutex mutex",
                                            "Sleep 1000", "SetEvent token", "CloseHandle mutex"}));
            expect_log(got_mutex + started +
                       std::vector<Expected>{waiting, {6, "API_TRY_CATCH_FAILED "}});
        });
}

TEST_F(NodeStart, EndsWellWhicheverAllocationFails) {
    scenario = "{}";
    std::vector<std::uint32_t> answers;
    LPTHREAD_START_ROUTINE procedure = nullptr;
    at_every_allocation([&] {
        if (procedure == nullptr) {
            procedure = take_procedure();
        }
        set_faults(R"([{"function": "PrCallDispatch", "status": "0x0"}])");
        KernelJournal journal(dll().module(), clock());
        journal.on_pause = [&](int) { set_node("nodeRole", 1); };
        answers.push_back(procedure(handle));
        EXPECT_TRUE(token_is_signalled());
    });
    EXPECT_EQ(answers.front(), 0u);
    EXPECT_EQ(answers.back(), 0u);
    EXPECT_THAT(answers, testing::Contains(testing::Ne(0u)));
}

}  // namespace
