// farlo.hpp: alerts and progress.
#include "api/fake_farlo.h"
#include "api/hpp_test.h"

#include <atomic>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace support;
using farlo::Connection;
using farlo::Status;

constexpr char imported[] = "event.alert.ztvm.ztvm.dg.import.success";

class HppAlerts : public HppTest {
  protected:
    HppAlerts() {
        scenario = R"({"node": {"role": 0}, "disk_groups": [
            {"name": "dg", "dgid": "guid-8", "type": 8, "imported": true,
             "volumes": [{"name": "v", "device": "v", "state": 32}]}]})";
    }

    static void raise_alert() {
        LabRaiseAlert(imported);
        LabCmdFlushAlerts();
    }
    static unsigned registrations() {
        lab_cmd_calls calls;
        LabCmdGetCalls(&calls);
        return calls.register_alerts;
    }
};

TEST_F(HppAlerts, RunTheFunctionOnAThreadOfTheCommandLibrary) {
    once([&] {
        Connection connection(farlo::Library::load());
        std::vector<DWORD> threads;
        connection.on_alert([&] { threads.push_back(GetCurrentThreadId()); });
        raise_alert();
        raise_alert();
        ASSERT_EQ(threads.size(), 2u);
        EXPECT_NE(threads[0], GetCurrentThreadId());
    });
}

TEST_F(HppAlerts, RunTheNewFunctionAfterItWasReplaced) {
    once([&] {
        Connection connection(farlo::Library::load());
        int first = 0;
        int second = 0;
        connection.on_alert([&] { ++first; });
        connection.on_alert([&] { ++second; });
        raise_alert();
        EXPECT_EQ(first, 0);
        EXPECT_EQ(second, 1);
        connection.on_alert(nullptr);
        raise_alert();
        EXPECT_EQ(second, 1);
    });
}

TEST_F(HppAlerts, ArriveAgainAfterAReconnection) {
    once([&] {
        Connection connection(farlo::Library::load());
        int alerts = 0;
        connection.on_alert([&] { ++alerts; });
        LabDropConnections();
        EXPECT_NO_THROW(connection.node_state());
        raise_alert();
        EXPECT_EQ(alerts, 1);
    });
}

TEST_F(HppAlerts, AreRegisteredAfterALossThatOnAlertNotices) {
    once([&] {
        Connection connection(farlo::Library::load());
        LabDropConnections();
        int alerts = 0;
        connection.on_alert([&] { ++alerts; });
        raise_alert();
        EXPECT_EQ(alerts, 1);
    });
}

TEST_F(HppAlerts, ThrowWhatTheCommandLibraryReturns) {
    once([&] {
        Connection connection(farlo::Library::load());
        LabCmdFailRegister(0xC1000102);
        const auto function = std::make_shared<int>(0);
        try {
            connection.on_alert([function] { ++*function; });
            ADD_FAILURE() << "nothing was thrown";
        } catch (const farlo::error& error) {
            EXPECT_EQ(static_cast<std::uint32_t>(error.status()), 0xC1000102u);
            EXPECT_STREQ(error.function(), "RegisterForAlerts");
        }
        EXPECT_EQ(function.use_count(), 1) << "the function is kept";
        LabCmdFailRegister(0);
        EXPECT_NO_THROW(connection.on_alert([function] { ++*function; }));
        raise_alert();
        EXPECT_EQ(*function, 1);
    });
}

TEST_F(HppAlerts, BelongToOneConnectionAtATime) {
    once([&] {
        const farlo::Library library = farlo::Library::load();
        Connection other(library);
        {
            Connection connection(library);
            connection.on_alert([] {});
            EXPECT_THROW(other.on_alert([] {}), std::logic_error);
            EXPECT_THROW(other.on_alert(nullptr), std::logic_error);
            connection.on_alert(nullptr);
            EXPECT_NO_THROW(other.on_alert([] {}));
            EXPECT_THROW(connection.on_alert([] {}), std::logic_error);
            other.on_alert(nullptr);
        }
        int alerts = 0;
        EXPECT_NO_THROW(other.on_alert([&] { ++alerts; }));
        raise_alert();
        EXPECT_EQ(alerts, 1);
    });
}

// -------------------------------------------------------------- life times

HANDLE running;
HANDLE finish;

// An alert whose function runs until it may finish.
class SlowAlert {
  public:
    explicit SlowAlert(Connection& connection) {
        running = CreateEventW(nullptr, FALSE, FALSE, nullptr);
        finish = CreateEventW(nullptr, FALSE, FALSE, nullptr);
        connection.on_alert([this, life = m_life] {
            SetEvent(running);
            WaitForSingleObject(finish, 10'000);
            m_finished = true;
        });
        LabRaiseAlert(imported);
        WaitForSingleObject(running, INFINITE);
        m_thread = CreateThread(nullptr, 0, let_finish, nullptr, 0, nullptr);
    }
    ~SlowAlert() {
        WaitForSingleObject(m_thread, INFINITE);
        for (const HANDLE handle : {m_thread, running, finish}) {
            CloseHandle(handle);
        }
    }
    SlowAlert(const SlowAlert&) = delete;
    SlowAlert& operator=(const SlowAlert&) = delete;

    bool finished() const { return m_finished; }
    bool function_exists() const { return m_life.use_count() > 1; }

  private:
    static DWORD WINAPI let_finish(void*) {
        Sleep(200);
        SetEvent(finish);
        return 0;
    }
    std::shared_ptr<int> m_life = std::make_shared<int>();
    std::atomic<bool> m_finished{false};
    HANDLE m_thread = nullptr;
};

TEST_F(HppAlerts, AreWaitedForWhenTheFunctionIsCleared) {
    once([&] {
        Connection connection(farlo::Library::load());
        SlowAlert alert(connection);
        connection.on_alert(nullptr);
        EXPECT_TRUE(alert.finished());
        EXPECT_FALSE(alert.function_exists());
    });
}

TEST_F(HppAlerts, AreWaitedForWhenTheConnectionEnds) {
    once([&] {
        auto connection = std::make_unique<Connection>(farlo::Library::load());
        SlowAlert alert(*connection);
        connection.reset();
        EXPECT_TRUE(alert.finished());
        EXPECT_FALSE(alert.function_exists());
    });
}

TEST_F(HppAlerts, AreClearedInTheDllByTheLastConnection) {
    once([&] {
        const farlo::Library library = farlo::Library::load();
        const farlo_api& api = library.api();
        opal_handle own = nullptr;
        ASSERT_EQ(api.InitializeClusterW(&own), FARLO_SUCCESS);
        {
            Connection first(library);
            first.on_alert([] {});
            Connection second(library);
            second.online_volume("guid-8", L"v", [] {});  // registers, too
            first.close();
            // The second one's: a new connection registers what is stored.
            const unsigned before = registrations();
            const Connection third(library);
            EXPECT_EQ(registrations(), before + 1);
        }
        const unsigned before = registrations();
        const Connection fourth(library);
        EXPECT_EQ(registrations(), before) << "a callback is still stored";
        api.UnInitializeClusterW(own);
    });
}

// An alert that finds no callback writes an error to the trace log.
TEST_F(HppAlerts, AreClearedInTheDllAfterTheHandleWasReleased) {
    Connection connection{farlo::Library(make_fake_farlo())};
    connection.on_alert([] {});
    fake_farlo().calls.clear();
    connection.close();
    ASSERT_EQ(fake_farlo().calls.size(), 2u);
    EXPECT_EQ(fake_farlo().calls[0].name, "UnInitializeClusterW");
    EXPECT_EQ(fake_farlo().calls[1].name, "RegisterForAlerts");
    EXPECT_EQ(fake_farlo().calls[1].handle, nullptr);
}

// --------------------------------------------------------- in the callback

TEST_F(HppAlerts, EndWhatTheFunctionThrows) {
    once([&] {
        Connection connection(farlo::Library::load());
        int alerts = 0;
        connection.on_alert([&] {
            ++alerts;
            throw std::runtime_error("of the agent");
        });
        raise_alert();
        raise_alert();
        EXPECT_EQ(alerts, 2);
    });
}

TEST_F(HppAlerts, MayMakeQueries) {
    once([&] {
        Connection connection(farlo::Library::load());
        farlo::NodeState state = farlo::NodeState::unreported;
        connection.on_alert([&] { state = connection.node_state(); });
        raise_alert();
        EXPECT_EQ(state, farlo::NodeState::stopped);
    });
}

TEST_F(HppAlerts, MustNotConnectOrRelease) {
    once([&] {
        const farlo::Library library = farlo::Library::load();
        Connection connection(library);
        int refused = 0;
        const auto refuse = [&](auto&& function) {
            try {
                function();
            } catch (const std::logic_error&) {
                ++refused;
            }
        };
        connection.on_alert([&] {
            refuse([&] { const Connection another(library); });
            refuse([&] { connection.close(); });
            refuse([&] { connection.on_alert(nullptr); });
            refuse([&] { connection.online_volume("guid-8", L"v"); });
        });
        raise_alert();
        EXPECT_EQ(refused, 4);
    });
}

TEST_F(HppAlerts, DoNotRenewAConnection) {
    const farlo::Library library(make_fake_farlo());
    static farlo_reset_timeout callback;
    farlo_api api = library.api();
    api.RegisterForAlerts = [](opal_handle, farlo_reset_timeout given) {
        callback = given;
        return FARLO_SUCCESS;
    };
    Connection connection{farlo::Library(api)};
    Status inside = Status::success;
    connection.on_alert([&] {
        fake_farlo().lose();
        fake_farlo().others = FARLO_NOT_CONNECTED;
        try {
            connection.is_imported(L"dg");
        } catch (const farlo::error& error) {
            inside = error.status();
        }
    });
    fake_farlo().calls.clear();
    callback();
    EXPECT_EQ(inside, Status::not_connected);
    EXPECT_EQ(fake_farlo().count("InitializeClusterW"), 0);
    EXPECT_TRUE(fake_farlo().released.empty());
    fake_farlo().others = FARLO_SUCCESS;
    connection.close();
    EXPECT_EQ(callback, nullptr);
}

// A call in the callback is the last that uses a handle which another thread has replaced: the
// next call outside of it releases the handle.
TEST_F(HppAlerts, LeaveTheReleaseOfAHandleToAnotherCall) {
    const farlo::Library library(make_fake_farlo());
    static farlo_reset_timeout callback;
    static Connection* used = nullptr;
    farlo_api api = library.api();
    api.RegisterForAlerts = [](opal_handle, farlo_reset_timeout given) {
        callback = given;
        return FARLO_SUCCESS;
    };
    // While this runs in the callback, another thread renews the connection.
    api.GetCVMClusterNodeStateW = [](opal_handle, std::uint32_t*) {
        fake_farlo().lose();
        const HANDLE thread = CreateThread(
            nullptr, 0,
            [](void*) -> DWORD {
                used->start_node();
                return 0;
            },
            nullptr, 0, nullptr);
        WaitForSingleObject(thread, INFINITE);
        CloseHandle(thread);
        return FARLO_SUCCESS;
    };
    Connection connection{farlo::Library(api)};
    used = &connection;
    connection.on_alert([&] { connection.node_state(); });
    callback();
    EXPECT_EQ(fake_farlo().count("InitializeClusterW"), 2);
    EXPECT_TRUE(fake_farlo().released.empty()) << "released in the callback";
    connection.stop_node();
    EXPECT_EQ(fake_farlo().released.size(), 1u);
}

// ----------------------------------------------------------------- progress

class HppProgress : public HppAlerts {
  protected:
    HppProgress() {
        virtual_time = false;
        scenario.replace(scenario.find("\"role\": 0"), 9, "\"role\": 0, \"start_seconds\": 1");
    }
    static constexpr std::chrono::milliseconds interval{100};
};

TEST_F(HppProgress, IsReportedOnTheCallersThreadWhileTheNodeStarts) {
    once([&] {
        Connection connection(farlo::Library::load());
        std::vector<DWORD> threads;
        int alerts = 0;
        connection.on_alert([&] { ++alerts; });
        connection.online_volume(
            "guid-8", L"v", [&] { threads.push_back(GetCurrentThreadId()); }, interval);
        EXPECT_GE(threads.size(), 3u);
        EXPECT_EQ(std::count(threads.begin(), threads.end(), GetCurrentThreadId()),
                  static_cast<std::ptrdiff_t>(threads.size()));
        EXPECT_EQ(alerts, 0) << "progress is no alert";
        EXPECT_EQ(connection.node_state(), farlo::NodeState::running);
        EXPECT_EQ(connection.volume_state(farlo::GroupRef::by_guid("guid-8"), L"v"),
                  farlo::VolumeState::none);
        raise_alert();
        EXPECT_EQ(alerts, 1);
    });
}

TEST_F(HppProgress, NeedsNoFunctionForAlerts) {
    once([&] {
        Connection connection(farlo::Library::load());
        int calls = 0;
        connection.online_volume(
            "guid-8", L"v", [&] { ++calls; }, interval);
        EXPECT_GE(calls, 3);
        const int before = calls;
        raise_alert();
        EXPECT_EQ(calls, before);
    });
}

TEST_F(HppProgress, ThrowsAfterTheCallHasEnded) {
    once([&] {
        Connection connection(farlo::Library::load());
        int calls = 0;
        EXPECT_THROW(connection.online_volume(
                         "guid-8", L"v",
                         [&] {
                             ++calls;
                             throw std::runtime_error("of the agent");
                         },
                         interval),
                     std::runtime_error);
        EXPECT_EQ(calls, 1) << "called again after it has thrown";
        EXPECT_EQ(connection.volume_state(farlo::GroupRef::by_guid("guid-8"), L"v"),
                  farlo::VolumeState::none);
    });
}

TEST_F(HppProgress, ThrowsWhatTheFunctionHasThrownWhenTheCallFails) {
    const farlo::Library library(make_fake_farlo());
    static farlo_reset_timeout callback;
    farlo_api api = library.api();
    api.RegisterForAlerts = [](opal_handle, farlo_reset_timeout given) {
        callback = given;
        return FARLO_SUCCESS;
    };
    api.OnlineVolW = [](opal_handle, const char*, const wchar_t*, std::uint32_t, std::uint32_t) {
        callback();
        return FARLO_PROVIDER_FAILED;
    };
    Connection connection{farlo::Library(api)};
    // A farlo::error is a runtime_error, too.
    EXPECT_THROW(
        connection.online_volume("guid-8", L"v", [] { throw std::logic_error("of the agent"); }),
        std::logic_error);
    EXPECT_EQ(thrown_by([&] { connection.online_volume("guid-8", L"v", [] {}); }),
              Status::provider_failed);
}

TEST_F(HppProgress, MustNotBringAnotherVolumeOnline) {
    once([&] {
        Connection connection(farlo::Library::load());
        int refused = 0;
        connection.online_volume(
            "guid-8", L"v",
            [&] {
                try {
                    connection.online_volume("guid-8", L"v");
                } catch (const std::logic_error&) {
                    ++refused;
                }
            },
            interval);
        EXPECT_GE(refused, 1);
    });
}

}  // namespace
