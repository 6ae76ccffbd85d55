// Delivery of alerts by the command library.
#include "service/ztcmd_fixture.h"
#include "store/locks.h"

#include <vector>

namespace {

using namespace support;

constexpr DWORD hang_ms = 20'000;

struct Received {
    std::string name;
    void* connection;
    void* reserved1;
    void* reserved2;
    DWORD thread;
};

SRWLOCK received_lock = SRWLOCK_INIT;
std::vector<Received> received;

void note(const opal_alert* alert, void* connection, void* reserved1, void* reserved2) {
    const lab::Exclusive hold(received_lock);
    received.push_back({alert != nullptr ? alert->name : "(none)", connection, reserved1, reserved2,
                        GetCurrentThreadId()});
}

std::vector<Received> take_received() {
    const lab::Exclusive hold(received_lock);
    return std::exchange(received, {});
}

// A handler that reports its entry and then blocks until it is released.
HANDLE entered;
HANDLE let_go;
volatile LONG handler_left;
void stay(const opal_alert*, void*, void*, void*) {
    SetEvent(entered);
    WaitForSingleObject(let_go, hang_ms);
    InterlockedExchange(&handler_left, 1);
}

opal_handle own_handle;
volatile LONG own_release;
void release_itself(const opal_alert* alert, void* connection, void* reserved1, void* reserved2) {
    note(alert, connection, reserved1, reserved2);
    InterlockedExchange(&own_release, static_cast<LONG>(UnInitializeZtVmW(own_handle)));
}

DWORD WINAPI release_in_thread(void* handle) {
    return UnInitializeZtVmW(static_cast<opal_handle>(handle));
}

class Alerts : public ZtCmdTest {
  protected:
    void SetUp() override {
        ZtCmdTest::SetUp();
        take_received();
        entered = CreateEventW(nullptr, FALSE, FALSE, nullptr);
        let_go = CreateEventW(nullptr, TRUE, FALSE, nullptr);
        handler_left = 0;
        own_release = -1;
    }
    void TearDown() override {
        SetEvent(let_go);
        LabCmdFlushAlerts();
        CloseHandle(entered);
        CloseHandle(let_go);
        ZtCmdTest::TearDown();
    }

    static opal_handle connect_with(opal_alert_handler handler) {
        const opal_handle handle = connect();
        EXPECT_EQ(RegisterAlertCallback(handle, handler), ZTSTATUS_OK);
        return handle;
    }
    static std::vector<std::string> names() {
        std::vector<std::string> result;
        for (const Received& one : take_received()) {
            result.push_back(one.name);
        }
        return result;
    }
};

using Names = std::vector<std::string>;

TEST_F(Alerts, ArriveOnAThreadOfTheLibrary) {
    const opal_handle handle = connect_with(note);
    LabRaiseAlert("event.one");
    LabCmdFlushAlerts();
    const std::vector<Received> all = take_received();
    ASSERT_EQ(all.size(), 1u);
    EXPECT_EQ(all[0].name, "event.one");
    EXPECT_EQ(all[0].connection, handle->connection);
    EXPECT_EQ(all[0].reserved1, nullptr);
    EXPECT_EQ(all[0].reserved2, nullptr);
    EXPECT_NE(all[0].thread, GetCurrentThreadId());
    release(handle);
}

TEST_F(Alerts, ArriveInOrder) {
    const opal_handle handle = connect_with(note);
    Names wanted;
    for (int i = 0; i < 200; ++i) {
        wanted.push_back("event." + std::to_string(i));
        LabRaiseAlert(wanted.back().c_str());
    }
    LabCmdFlushAlerts();
    EXPECT_EQ(names(), wanted);
    release(handle);
}

TEST_F(Alerts, ReachEveryHandleWithAHandler) {
    const opal_handle one = connect_with(note);
    const opal_handle other = connect_with(note);
    const opal_handle silent = connect();
    LabRaiseAlert("event.all");
    LabCmdFlushAlerts();
    const std::vector<Received> all = take_received();
    ASSERT_EQ(all.size(), 2u);
    EXPECT_NE(all[0].connection, all[1].connection);
    for (const Received& alert : all) {
        EXPECT_TRUE(alert.connection == one->connection || alert.connection == other->connection);
    }
    release(one);
    release(other);
    release(silent);
}

TEST_F(Alerts, GoToTheLastHandlerRegistered) {
    const opal_handle handle = connect_with(stay);
    EXPECT_EQ(RegisterAlertCallback(handle, note), ZTSTATUS_OK);
    EXPECT_EQ(RegisterAlertCallback(handle, nullptr), ZTERROR_INVALID_ARGUMENT);
    LabRaiseAlert("event.last");
    LabCmdFlushAlerts();
    EXPECT_EQ(names(), Names{"event.last"});
    release(handle);
}

TEST_F(Alerts, ArriveForMethodCalls) {
    const opal_handle handle = connect_with(note);
    opal_objid group;
    ASSERT_EQ(LabFindObject("dg1", &group), 0);
    EXPECT_EQ(call_group_method(handle, group, import_method), ZTSTATUS_OK);
    LabCmdFlushAlerts();
    EXPECT_EQ(names(), Names{"event.alert.ztvm.cluster.dg.import.success"});
    release(handle);
}

TEST_F(Alerts, DoNotArriveWhileDisconnected) {
    const opal_handle handle = connect_with(note);
    LabDropConnections();
    LabRaiseAlert("event.lost");
    LabCmdFlushAlerts();
    EXPECT_EQ(names(), Names{});
    release(handle);
}

TEST_F(Alerts, MakeReleaseWaitForARunningHandler) {
    const opal_handle handle = connect_with(stay);
    LabRaiseAlert("event.first");
    LabRaiseAlert("event.never");
    ASSERT_EQ(WaitForSingleObject(entered, hang_ms), WAIT_OBJECT_0);
    const HANDLE releaser = CreateThread(nullptr, 0, release_in_thread, handle, 0, nullptr);
    ASSERT_NE(releaser, nullptr);
    EXPECT_EQ(WaitForSingleObject(releaser, 300), static_cast<DWORD>(WAIT_TIMEOUT));
    EXPECT_EQ(handler_left, 0);
    SetEvent(let_go);
    EXPECT_EQ(WaitForSingleObject(releaser, hang_ms), WAIT_OBJECT_0);
    EXPECT_EQ(handler_left, 1);
    DWORD status = 1;
    GetExitCodeThread(releaser, &status);
    EXPECT_EQ(status, ZTSTATUS_OK);
    CloseHandle(releaser);
    LabCmdFlushAlerts();
    EXPECT_EQ(WaitForSingleObject(entered, 0),
              static_cast<DWORD>(WAIT_TIMEOUT));  // not called again
}

TEST_F(Alerts, LetAHandlerReleaseItsOwnHandle) {
    own_handle = connect_with(release_itself);
    LabRaiseAlert("event.first");
    LabRaiseAlert("event.never");
    LabCmdFlushAlerts();
    EXPECT_EQ(own_release, static_cast<LONG>(ZTSTATUS_OK));
    EXPECT_EQ(names(), Names{"event.first"});
    EXPECT_EQ(cmd_calls().live_handles, 0u);
}

// A new handle may get the memory of a released one.
TEST_F(Alerts, DoNotReachANewHandleWithTheSameMemory) {
    const opal_handle blocker = connect_with(stay);
    const opal_handle released = connect_with(note);
    LabRaiseAlert("event.old");
    ASSERT_EQ(WaitForSingleObject(entered, hang_ms), WAIT_OBJECT_0);
    LabRaiseAlert("event.older");  // queued after the blocker, for both handles
    release(released);
    take_received();
    std::vector<opal_handle> later;
    for (int i = 0; i < 20; ++i) {
        later.push_back(connect_with(note));
    }
    SetEvent(let_go);
    LabCmdFlushAlerts();
    EXPECT_EQ(names(), Names{});
    LabRaiseAlert("event.new");
    LabCmdFlushAlerts();
    EXPECT_EQ(names(), Names(20, "event.new"));
    for (const opal_handle handle : later) {
        release(handle);
    }
    release(blocker);
}

TEST_F(Alerts, CanBeDeliveredOnTheCallersThread) {
    const opal_handle handle = connect();
    const opal_alert alert{"event.mine"};
    EXPECT_EQ(LabCmdDeliver(handle, &alert), ZTERROR_NO_EVENT);
    EXPECT_EQ(RegisterAlertCallback(handle, note), ZTSTATUS_OK);
    EXPECT_EQ(LabCmdDeliver(handle, &alert), ZTSTATUS_OK);
    EXPECT_EQ(LabCmdDeliver(handle, nullptr), ZTSTATUS_OK);
    const std::vector<Received> all = take_received();
    ASSERT_EQ(all.size(), 2u);
    EXPECT_EQ(all[0].name, "event.mine");
    EXPECT_EQ(all[0].thread, GetCurrentThreadId());
    EXPECT_EQ(all[1].name, "(none)");
    release(handle);
    EXPECT_EQ(LabCmdDeliver(handle, &alert), ZTERROR_NO_EVENT);
}

}  // namespace
