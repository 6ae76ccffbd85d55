// farlo.hpp: how a connection is renewed.
#include "api/fake_farlo.h"
#include "farlo.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using farlo::Connection;
using farlo::ReconnectPolicy;
using farlo::Status;
using std::chrono::milliseconds;
using support::fake_farlo;

class HppReconnect : public testing::Test {
  protected:
    HppReconnect() {
        policy.first_pause = milliseconds(1);
        policy.on_attempt = [this](const ReconnectPolicy::Attempt& attempt) {
            attempts.push_back(attempt);
            return true;
        };
    }

    // Connects. What happened until then does not count.
    Connection connect() {
        Connection connection(library, policy);
        attempts.clear();
        fake_farlo().calls.clear();
        return connection;
    }
    // The status that a query throws; Status::success if none.
    static Status query(Connection& connection) {
        try {
            connection.is_imported(L"dg");
            return Status::success;
        } catch (const farlo::error& error) {
            EXPECT_STREQ(error.function(), "GetDgStateW");
            return error.status();
        }
    }
    std::vector<int> pauses() const {
        std::vector<int> all;
        for (const ReconnectPolicy::Attempt& attempt : attempts) {
            all.push_back(static_cast<int>(attempt.pause.count()));
        }
        return all;
    }

    // The service drops the connection; a query's first call notices it.
    void lose_in_query() {
        fake_farlo().losing = "GetDgStateW";
        fake_farlo().failing = "GetDgStateW";
        fake_farlo().status = FARLO_NOT_CONNECTED;
    }

    farlo::Library library{support::make_fake_farlo()};
    ReconnectPolicy policy;
    std::vector<ReconnectPolicy::Attempt> attempts;
};

TEST_F(HppReconnect, StopsAtTheLimit) {
    policy.limit = 3;
    Connection connection = connect();
    lose_in_query();
    fake_farlo().refused = 100;
    EXPECT_EQ(query(connection), Status::not_connected);
    EXPECT_EQ(fake_farlo().count("InitializeClusterW"), 3);
    EXPECT_EQ(fake_farlo().refused, 97u);
    ASSERT_EQ(attempts.size(), 3u);
    for (unsigned i = 0; i < 3; ++i) {
        EXPECT_EQ(attempts[i].number, i + 1);
        EXPECT_EQ(attempts[i].limit, 3u);
    }
}

TEST_F(HppReconnect, NeverHappensWithALimitOf0) {
    policy.limit = 0;
    Connection connection = connect();
    lose_in_query();
    EXPECT_EQ(query(connection), Status::not_connected);
    EXPECT_EQ(fake_farlo().count("InitializeClusterW"), 0);
    EXPECT_TRUE(attempts.empty());
}

TEST_F(HppReconnect, SucceedsWithTheLastAttempt) {
    policy.limit = 3;
    Connection connection = connect();
    fake_farlo().lose();
    fake_farlo().refused = 2;
    connection.start_node();
    EXPECT_EQ(attempts.size(), 3u);
}

TEST_F(HppReconnect, DoublesThePauseUpToTheLongest) {
    policy.limit = 7;
    policy.first_pause = milliseconds(2);
    policy.longest_pause = milliseconds(12);
    Connection connection = connect();
    lose_in_query();
    fake_farlo().refused = 100;
    EXPECT_EQ(query(connection), Status::not_connected);
    EXPECT_EQ(pauses(), (std::vector<int>{0, 2, 4, 8, 12, 12, 12}));
}

TEST_F(HppReconnect, PausesAsLongAsItSays) {
    policy.limit = 3;
    policy.first_pause = milliseconds(60);
    Connection connection = connect();
    lose_in_query();
    fake_farlo().refused = 100;
    const ULONGLONG begin = GetTickCount64();
    EXPECT_EQ(query(connection), Status::not_connected);
    const ULONGLONG elapsed = GetTickCount64() - begin;
    EXPECT_GE(elapsed, 150u) << "60 and 120 ms, less the clock's precision";
    EXPECT_EQ(pauses(), (std::vector<int>{0, 60, 120}));
}

TEST_F(HppReconnect, IsRefusedByTheCallback) {
    policy.limit = 5;
    policy.on_attempt = [this](const ReconnectPolicy::Attempt& attempt) {
        attempts.push_back(attempt);
        return attempt.number < 3;
    };
    Connection connection = connect();
    lose_in_query();
    fake_farlo().refused = 100;
    EXPECT_EQ(query(connection), Status::not_connected);
    EXPECT_EQ(attempts.size(), 3u);
    EXPECT_EQ(fake_farlo().count("InitializeClusterW"), 2);
}

TEST_F(HppReconnect, PassesOnWhatTheCallbackThrows) {
    policy.on_attempt = [](const ReconnectPolicy::Attempt&) -> bool {
        if (fake_farlo().count("GetDgStateW") != 0) {
            throw std::runtime_error("stop");
        }
        return true;
    };
    Connection connection = connect();
    lose_in_query();
    EXPECT_THROW(connection.is_imported(L"dg"), std::runtime_error);
    // The connection can still be renewed.
    fake_farlo().calls.clear();
    fake_farlo().failing.clear();
    EXPECT_NO_THROW(connection.start_node());
}

TEST_F(HppReconnect, DoesNotHangWhenTheCallbackUsesTheConnection) {
    Connection* used = nullptr;
    Status inside = Status::success;
    policy.on_attempt = [&](const ReconnectPolicy::Attempt&) {
        if (used != nullptr) {
            try {
                used->start_node();
            } catch (const farlo::error& error) {
                inside = error.status();
            }
        }
        return true;
    };
    Connection connection = connect();
    used = &connection;
    fake_farlo().lose();
    EXPECT_NO_THROW(connection.stop_node());
    EXPECT_EQ(inside, Status::not_connected);
}

TEST_F(HppReconnect, ReleasesTheNewHandleIfTheConnectionWasClosedMeanwhile) {
    Connection* closed = nullptr;
    policy.on_attempt = [&](const ReconnectPolicy::Attempt&) {
        if (closed != nullptr) {
            closed->close();
        }
        return true;
    };
    Connection connection = connect();
    closed = &connection;
    lose_in_query();
    EXPECT_EQ(query(connection), Status::not_connected);
    EXPECT_EQ(fake_farlo().count("InitializeClusterW"), 1);
    EXPECT_EQ(fake_farlo().released.size(), 2u);
}

TEST_F(HppReconnect, EndsWhenItIsCancelled) {
    const HANDLE cancel = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    policy.limit = 10;
    policy.first_pause = std::chrono::minutes(10);
    policy.longest_pause = std::chrono::minutes(10);
    policy.cancel = cancel;
    policy.on_attempt = [&](const ReconnectPolicy::Attempt& attempt) {
        attempts.push_back(attempt);
        if (fake_farlo().refused != 0) {
            SetEvent(cancel);  // during the first attempt: ends the pause that follows
        }
        return true;
    };
    Connection connection = connect();
    lose_in_query();
    fake_farlo().refused = 100;
    EXPECT_EQ(query(connection), Status::not_connected);
    EXPECT_EQ(attempts.size(), 1u);
    // No attempt at all from now on, nor for a new connection.
    EXPECT_THROW(connection.start_node(), farlo::error);
    fake_farlo().refused = 0;
    EXPECT_THROW(Connection(library, policy), farlo::error);
    EXPECT_EQ(attempts.size(), 1u);
    CloseHandle(cancel);
}

// Each time the query is repeated, the service drops the connection again.
TEST_F(HppReconnect, CountsAllAttemptsOfOneCall) {
    policy.limit = 3;
    farlo_api api = library.api();
    api.GetDgStateW = [](opal_handle, const wchar_t*, const char*, std::uint8_t*) {
        fake_farlo().calls.push_back({"GetDgStateW", nullptr});
        fake_farlo().lose();
        return FARLO_NOT_CONNECTED;
    };
    library = farlo::Library(api);
    Connection connection = connect();
    EXPECT_EQ(query(connection), Status::not_connected);
    EXPECT_EQ(fake_farlo().count("GetDgStateW"), 4);
    EXPECT_EQ(fake_farlo().count("InitializeClusterW"), 3);
    EXPECT_EQ(pauses(), (std::vector<int>{0, 1, 2}));
    EXPECT_EQ(fake_farlo().released.size(), 3u) << "each handle that was replaced";
}

// Each time the query loses the connection, a call beside it renews that first.
TEST_F(HppReconnect, CountsWhatOtherCallsHaveRenewed) {
    policy.limit = 3;
    static Connection* used = nullptr;
    farlo_api api = library.api();
    api.GetDgStateW = [](opal_handle, const wchar_t*, const char*, std::uint8_t*) {
        fake_farlo().calls.push_back({"GetDgStateW", nullptr});
        if (fake_farlo().count("GetDgStateW") < 20) {
            fake_farlo().lose();
            used->start_node();
            return FARLO_NOT_CONNECTED;
        }
        return FARLO_SUCCESS;
    };
    library = farlo::Library(api);
    Connection connection = connect();
    used = &connection;
    EXPECT_EQ(query(connection), Status::not_connected);
    EXPECT_EQ(fake_farlo().count("GetDgStateW"), 4);
}

// The first call of a query writes all that it has, and then ends with a loss; the next one
// succeeds and has nothing to write.
class HppLostResults : public HppReconnect {
  protected:
    HppLostResults() {
        farlo_api api = library.api();
        api.GetDgReservationStatusW = [](opal_handle, const wchar_t*, const char*,
                                         std::uint32_t* reservation) {
            return once([&] { *reservation = FARLO_RESERVATION_HELD; });
        };
        api.GetDgDiskAvailabilityW = [](opal_handle, const wchar_t*, const char*,
                                        std::uint32_t* total, std::uint32_t* live) {
            return once([&] { *total = *live = 2; });
        };
        api.GetCVMClusterNodeStateW = [](opal_handle, std::uint32_t* state) {
            return once([&] { *state = FARLO_NODE_STATE_RUNNING; });
        };
        api.GetFirstVolumesDiskIDW = [](opal_handle, const wchar_t*, std::uint32_t* disk_id,
                                        std::uint32_t* style) {
            return once([&] {
                *disk_id = 1;
                *style = FARLO_PARTITION_STYLE_MBR;
            });
        };
        api.GetDgVolumePropertiesW = [](opal_handle, const wchar_t*, const char*, const wchar_t*,
                                        VolInfo* record,
                                        std::uint32_t*) { return once([&] { record->type = 7; }); };
        api.GetDgDiskPropertiesW = [](opal_handle, const wchar_t*, const char*, DgDiskList* record,
                                      std::uint32_t*) {
            return once([&] { record->disk_count = 1; });
        };
        library = farlo::Library(api);
    }

  private:
    // Writes, and loses the connection, if it is there since the first one.
    static std::uint32_t once(const std::function<void()>& write) {
        if (fake_farlo().count("InitializeClusterW") != 0) {
            return FARLO_SUCCESS;
        }
        write();
        fake_farlo().lose();
        return FARLO_NOT_CONNECTED;
    }
};

TEST_F(HppLostResults, AreForgotten) {
    EXPECT_EQ(connect().reservation(L"dg"), farlo::Reservation::unknown);
    EXPECT_EQ(connect().disk_availability(L"dg").total, 0u);
    EXPECT_EQ(connect().disk_availability(L"dg").live, 0u);
    EXPECT_EQ(connect().node_state(), farlo::NodeState::unreported);
    EXPECT_FALSE(connect().first_volume_disk(L"dg").has_value());
    EXPECT_EQ(connect().volume(L"dg", L"v").type, 0u);
    EXPECT_TRUE(connect().disks(L"dg").empty());
}

TEST_F(HppReconnect, TakesNoTimeForAPauseBelow0) {
    policy.first_pause = milliseconds(-1);
    policy.limit = 2;
    const HANDLE timer = CreateWaitableTimerW(nullptr, TRUE, nullptr);
    const LARGE_INTEGER two_seconds = {.QuadPart = -20'000'000};
    SetWaitableTimer(timer, &two_seconds, 0, nullptr, nullptr, FALSE);
    policy.cancel = timer;
    fake_farlo().refused = 1;
    EXPECT_NO_THROW(Connection(library, policy));
    CloseHandle(timer);
}

TEST_F(HppReconnect, IsTriedAgainByTheNextCall) {
    policy.limit = 1;
    Connection connection = connect();
    fake_farlo().lose();
    fake_farlo().refused = 1;
    EXPECT_THROW(connection.start_node(), farlo::error);
    EXPECT_EQ(fake_farlo().count("StartCVMClusterW"), 0) << "a change over a lost connection";
    EXPECT_TRUE(connection.start_node());
    EXPECT_EQ(fake_farlo().count("StartCVMClusterW"), 1);
}

TEST_F(HppReconnect, TriesTheFirstConnectionAsOftenAsThePolicySays) {
    policy.limit = 3;
    fake_farlo().refused = 2;
    EXPECT_NO_THROW(Connection(library, policy));
    EXPECT_EQ(pauses(), (std::vector<int>{0, 1, 2}));
    attempts.clear();
    policy.limit = 0;
    fake_farlo().refused = 0;
    EXPECT_NO_THROW(Connection(library, policy));
    EXPECT_EQ(pauses(), (std::vector<int>{0}));
    fake_farlo().refused = 1;
    EXPECT_THROW(Connection(library, policy), farlo::error);
}

// ------------------------------------------------------------------ threads

// A thread that runs a function.
class Thread {
  public:
    explicit Thread(std::function<void()> function) : m_function(std::move(function)) {
        m_thread = CreateThread(nullptr, 0, run, this, 0, nullptr);
    }
    ~Thread() {
        WaitForSingleObject(m_thread, INFINITE);
        CloseHandle(m_thread);
    }
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

  private:
    static DWORD WINAPI run(void* self) {
        static_cast<Thread*>(self)->m_function();
        return 0;
    }
    std::function<void()> m_function;
    HANDLE m_thread;
};

HANDLE begun;
HANDLE go_on;

class HppThreads : public HppReconnect {
  protected:
    HppThreads() {
        begun = CreateEventW(nullptr, FALSE, FALSE, nullptr);
        go_on = CreateEventW(nullptr, FALSE, FALSE, nullptr);
        farlo_api api = library.api();
        // A call that takes long.
        api.GetCVMClusterNodeStateW = [](opal_handle, std::uint32_t*) {
            SetEvent(begun);
            WaitForSingleObject(go_on, INFINITE);
            return FARLO_SUCCESS;
        };
        library = farlo::Library(api);
    }
    ~HppThreads() override {
        CloseHandle(begun);
        CloseHandle(go_on);
    }
};

TEST_F(HppThreads, ReleaseALostHandleWhenItsLastCallHasEnded) {
    Connection connection = connect();
    const opal_handle lost = fake_farlo().connected.front();
    {
        const Thread busy([&] { connection.node_state(); });
        WaitForSingleObject(begun, INFINITE);
        fake_farlo().lose();
        connection.start_node();
        EXPECT_EQ(fake_farlo().count("InitializeClusterW"), 1);
        EXPECT_EQ(fake_farlo().calls.back().handle, fake_farlo().connected.front());
        EXPECT_TRUE(fake_farlo().released.empty()) << "a handle that a call uses";
        SetEvent(go_on);
    }
    EXPECT_EQ(fake_farlo().released, std::vector<opal_handle>{lost});
}

TEST_F(HppThreads, ReleaseAHandleThatWasInUseWhenTheConnectionWasClosed) {
    Connection connection = connect();
    const opal_handle handle = fake_farlo().connected.front();
    {
        const Thread busy([&] { connection.node_state(); });
        WaitForSingleObject(begun, INFINITE);
        connection.close();
        EXPECT_TRUE(fake_farlo().released.empty()) << "a handle that a call uses";
        SetEvent(go_on);
    }
    EXPECT_EQ(fake_farlo().released, std::vector<opal_handle>{handle});
}

// Both find the same handle lost: one connects, and the other uses the new handle.
TEST_F(HppThreads, ConnectOnceForALossThatTwoOfThemNotice) {
    farlo_api api = library.api();
    api.GetCVMClusterNodeStateW = [](opal_handle handle, std::uint32_t*) {
        // Without a connection until the other thread has renewed it.
        const bool lost = fake_farlo().connected.front() != handle;
        SetEvent(begun);
        if (lost) {
            WaitForSingleObject(go_on, INFINITE);
        }
        return lost ? FARLO_NOT_CONNECTED : FARLO_SUCCESS;
    };
    library = farlo::Library(api);
    Connection connection = connect();
    fake_farlo().connected = {opal_handle{}};  // the handle's connection is lost
    {
        const Thread late([&] { EXPECT_NO_THROW(connection.node_state()); });
        WaitForSingleObject(begun, INFINITE);
        fake_farlo().connected.clear();
        connection.start_node();
        SetEvent(go_on);
    }
    EXPECT_EQ(fake_farlo().count("InitializeClusterW"), 1);
}

// One waits while the other one connects.
TEST_F(HppThreads, DoNotConnectAtTheSameTime) {
    std::atomic<int> connecting{0};
    std::atomic<int> most{0};
    policy.on_attempt = [&](const ReconnectPolicy::Attempt&) {
        most = (std::max)(most.load(), ++connecting);
        Sleep(100);
        --connecting;
        return true;
    };
    Connection connection = connect();
    fake_farlo().lose();
    {
        const Thread first([&] { EXPECT_NO_THROW(connection.start_node()); });
        const Thread second([&] { EXPECT_NO_THROW(connection.stop_node()); });
    }
    EXPECT_EQ(most, 1);
    EXPECT_EQ(fake_farlo().count("InitializeClusterW"), 1);
    EXPECT_EQ(fake_farlo().released.size(), 1u);
}

}  // namespace
