// Loss and restart of the service.
#include "service/service_fixture.h"
#include "store/locks.h"

#include <algorithm>
#include <utility>

namespace {

using namespace support;

using ServiceLoss = ServiceTest;

DWORD WINAPI import_in_thread(void* handle) {
    return call_group_method(static_cast<opal_handle>(handle), import_method);
}

TEST_F(ServiceLoss, ClearsConnectedWhenServiceIsKilled) {
    start(one_group);
    const opal_handle one = connect();
    const opal_handle other = connect();
    EXPECT_EQ(connected_of(one), 1);
    service->kill();
    EXPECT_TRUE(
        eventually([&] { return connected_of(one) == 0 && connected_of(other) == 0; }, 5000));
    std::vector<opal_objid> groups;
    EXPECT_EQ(list(one, ZTTYPE_DISK_GROUP, groups), ZTERROR_NOT_CONNECTED);
    release(one);
    release(other);
}

TEST_F(ServiceLoss, FailsCallInProgress) {
    start(one_group, fault_plan({{of_method(ZTMETHOD_DGOP_IMPORT), R"("delay": 60000)"}}));
    const opal_handle handle = connect();
    const HANDLE caller = CreateThread(nullptr, 0, import_in_thread, handle, 0, nullptr);
    EXPECT_EQ(WaitForSingleObject(caller, 500), static_cast<DWORD>(WAIT_TIMEOUT));
    service->kill();
    EXPECT_EQ(WaitForSingleObject(caller, 5000), WAIT_OBJECT_0);
    DWORD status = 0;
    GetExitCodeThread(caller, &status);
    EXPECT_EQ(status, ZTERROR_NOT_CONNECTED);
    CloseHandle(caller);
    release(handle);
}

TEST_F(ServiceLoss, ConnectsToRestartedService) {
    start(one_group);
    const opal_handle lost = connect();
    service->kill();
    EXPECT_TRUE(eventually([&] { return connected_of(lost) == 0; }));
    opal_handle slot = nullptr;
    EXPECT_EQ(InitializeZtVmW(0, 0, &slot), ZTERROR_NOT_CONNECTED);
    EXPECT_EQ(slot, nullptr);

    start(one_group, "[]", service->port());
    EXPECT_EQ(connected_of(lost), 0);  // an old handle stays disconnected
    release(lost);
    const opal_handle again = connect();
    std::vector<opal_objid> groups;
    EXPECT_EQ(list(again, ZTTYPE_DISK_GROUP, groups), ZTSTATUS_OK);
    EXPECT_EQ(groups.size(), 1u);
    release(again);
}

// ------------------------------------------------------------------- alerts

SRWLOCK names_lock = SRWLOCK_INIT;
std::vector<std::string> names;
void note(const opal_alert* alert, void*, void*, void*) {
    const lab::Exclusive hold(names_lock);
    names.push_back(alert->name);
}

std::vector<std::string> take_names() {
    const lab::Exclusive hold(names_lock);
    return std::exchange(names, {});
}

constexpr char imported[] = "event.alert.ztvm.cluster.dg.import.success";
constexpr char deported[] = "event.alert.ztvm.cluster.dg.deport.success";

using ServiceAlerts = ServiceTest;

TEST_F(ServiceAlerts, ReachEveryClient) {
    start(one_group);
    ClientProcess watcher(L"watch");
    const opal_handle caller = connect();
    const opal_handle other = connect();
    EXPECT_EQ(RegisterAlertCallback(caller, note), ZTSTATUS_OK);
    EXPECT_EQ(RegisterAlertCallback(other, note), ZTSTATUS_OK);
    watcher.await_ready();

    EXPECT_EQ(call_group_method(caller, import_method), ZTSTATUS_OK);
    EXPECT_EQ(call_group_method(caller, deport_method), ZTSTATUS_OK);
    std::vector<std::string> all;
    EXPECT_TRUE(eventually([&] {
        for (std::string& name : take_names()) {
            all.push_back(std::move(name));
        }
        return all.size() >= 4;
    }));
    EXPECT_EQ(std::count(all.begin(), all.end(), imported), 2);
    EXPECT_EQ(std::count(all.begin(), all.end(), deported), 2);
    const std::string printed = std::string(imported) + "\r\n" + deported + "\r\n";
    EXPECT_TRUE(eventually([&] { return watcher.process().output() == printed; }))
        << watcher.process().output();
    watcher.let_go();
    EXPECT_EQ(watcher.process().wait(hang_ms), 0u);
    release(caller);
    release(other);
}

TEST_F(ServiceAlerts, AreQueuedBeforeTheirCallReturns) {
    start(one_group);
    const opal_handle handle = connect();
    EXPECT_EQ(RegisterAlertCallback(handle, note), ZTSTATUS_OK);
    take_names();
    EXPECT_EQ(call_group_method(handle, import_method), ZTSTATUS_OK);
    LabCmdFlushAlerts();
    EXPECT_EQ(take_names(), std::vector<std::string>{imported});
    EXPECT_EQ(call_group_method(handle, import_method), ZTERROR_GROUP_ALREADY_ONLINE);
    LabCmdFlushAlerts();
    EXPECT_EQ(take_names(), std::vector<std::string>{"event.alert.ztvm.cluster.dg.import.failed"});
    release(handle);
}

}  // namespace
