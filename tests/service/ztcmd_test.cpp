// Connection handles of the command library.
#include "service/ztcmd_fixture.h"
#include "support/strict_handles.h"

namespace {

using namespace support;

using Handles = ZtCmdTest;

constexpr opal_status any_failure = ZTERROR_PROVIDER;

void ignore_alert(const opal_alert*, void*, void*, void*) {}

TEST_F(Handles, AreConnectedAfterInitialize) {
    const opal_handle handle = connect();
    EXPECT_NE(handle->connection, nullptr);
    EXPECT_NE(handle->connection_context, nullptr);
    EXPECT_EQ(connected_of(handle), 1);
    EXPECT_EQ(call(handle), ZTSTATUS_OK);
    EXPECT_EQ(cmd_calls().live_handles, 1u);
    release(handle);
    EXPECT_EQ(cmd_calls().live_handles, 0u);
}

TEST_F(Handles, AreIndependent) {
    const opal_handle one = connect();
    const opal_handle other = connect();
    EXPECT_NE(one, other);
    EXPECT_NE(one->connection, other->connection);
    release(one);
    EXPECT_EQ(connected_of(other), 1);
    EXPECT_EQ(call(other), ZTSTATUS_OK);
    release(other);
}

TEST_F(Handles, LeaveTheSlotNullWhenConnectingFails) {
    LabRefuseConnections(any_failure);
    auto slot = reinterpret_cast<opal_handle>(1);
    EXPECT_EQ(InitializeZtVmW(0, 0, &slot), any_failure);
    EXPECT_EQ(slot, nullptr);
    EXPECT_EQ(cmd_calls().live_handles, 0u);
    LabRefuseConnections(0);
    release(connect());
}

TEST_F(Handles, RejectNullSlot) {
    EXPECT_EQ(InitializeZtVmW(0, 0, nullptr), ZTERROR_INVALID_ARGUMENT);
}

TEST_F(Handles, RejectUnknownHandles) {
    const StrictHandles off(false);
    opal_session stranger{};
    EXPECT_EQ(UnInitializeZtVmW(nullptr), ZTERROR_INVALID_ARGUMENT);
    EXPECT_EQ(UnInitializeZtVmW(&stranger), ZTERROR_INVALID_ARGUMENT);
    EXPECT_EQ(RegisterAlertCallback(nullptr, ignore_alert), ZTERROR_INVALID_ARGUMENT);
    EXPECT_EQ(RegisterAlertCallback(&stranger, ignore_alert), ZTERROR_INVALID_ARGUMENT);
    const opal_handle released = connect();
    release(released);
    EXPECT_EQ(UnInitializeZtVmW(released), ZTERROR_INVALID_ARGUMENT);
    EXPECT_EQ(RegisterAlertCallback(released, ignore_alert), ZTERROR_INVALID_ARGUMENT);
}

TEST_F(Handles, ClearConnectedWhenConnectionIsLost) {
    const opal_handle handle = connect();
    LabDropConnections();
    EXPECT_EQ(connected_of(handle), 0);
    EXPECT_EQ(call(handle), ZTERROR_NOT_CONNECTED);
    EXPECT_EQ(RegisterAlertCallback(handle, ignore_alert), ZTERROR_NOT_CONNECTED);
    release(handle);
    const opal_handle again = connect();
    EXPECT_EQ(call(again), ZTSTATUS_OK);
    release(again);
}

TEST_F(Handles, CanBeDisconnectedOneByOne) {
    const opal_handle one = connect();
    const opal_handle other = connect();
    LabCmdDisconnect(one);
    EXPECT_EQ(connected_of(one), 0);
    EXPECT_EQ(connected_of(other), 1);
    release(one);
    release(other);
}

TEST_F(Handles, FailInitializeAsPlanned) {
    LabCmdFailInitialize(any_failure, 2);
    for (int i = 0; i < 2; ++i) {
        auto slot = reinterpret_cast<opal_handle>(1);
        EXPECT_EQ(InitializeZtVmW(0, 0, &slot), any_failure);
        EXPECT_EQ(slot, nullptr);
    }
    release(connect());
}

TEST_F(Handles, AreReleasedByPlannedFailureOfUnInitialize) {
    const StrictHandles off(false);
    const opal_handle handle = connect();
    LabCmdFailUnInitialize(any_failure);
    EXPECT_EQ(UnInitializeZtVmW(handle), any_failure);
    EXPECT_EQ(cmd_calls().live_handles, 0u);
    EXPECT_EQ(UnInitializeZtVmW(handle), ZTERROR_INVALID_ARGUMENT);
}

TEST_F(Handles, RegisterNothingOnPlannedFailure) {
    const opal_handle handle = connect();
    LabCmdFailRegister(any_failure);
    EXPECT_EQ(RegisterAlertCallback(handle, ignore_alert), any_failure);
    EXPECT_EQ(LabCmdDeliver(handle, nullptr), ZTERROR_NO_EVENT);
    LabCmdFailRegister(0);
    EXPECT_EQ(RegisterAlertCallback(handle, ignore_alert), ZTSTATUS_OK);
    EXPECT_EQ(LabCmdDeliver(handle, nullptr), ZTSTATUS_OK);
    release(handle);
}

TEST_F(Handles, CountCallsAndKeepTheirLastArguments) {
    const lab_cmd_calls before = cmd_calls();
    opal_handle handle = nullptr;
    ASSERT_EQ(InitializeZtVmW(3, 4, &handle), ZTSTATUS_OK);
    EXPECT_EQ(RegisterAlertCallback(handle, ignore_alert), ZTSTATUS_OK);
    lab_cmd_calls after = cmd_calls();
    EXPECT_EQ(after.initialize, before.initialize + 1);
    EXPECT_EQ(after.last_flags, 3u);
    EXPECT_EQ(after.last_reserved, 4u);
    EXPECT_EQ(after.register_alerts, before.register_alerts + 1);
    EXPECT_EQ(after.last_registered, handle);
    EXPECT_EQ(after.last_handler, ignore_alert);
    EXPECT_EQ(after.uninitialize, before.uninitialize);
    release(handle);
    after = cmd_calls();
    EXPECT_EQ(after.uninitialize, before.uninitialize + 1);
    EXPECT_EQ(after.last_released, handle);
    // Failed calls count, too.
    EXPECT_EQ(UnInitializeZtVmW(nullptr), ZTERROR_INVALID_ARGUMENT);
    EXPECT_EQ(cmd_calls().uninitialize, before.uninitialize + 2);
    EXPECT_EQ(cmd_calls().last_released, nullptr);
}

TEST_F(Handles, RejectInvalidAddress) {
    const std::string long_text(400, 'x');
    for (const char* address : {"nowhere", "127.0.0.1", "127.0.0.1:", "127.0.0.1:0",
                                "127.0.0.1:65536", "127.0.0.1:12x", ":4711", long_text.c_str()}) {
        SCOPED_TRACE(address);
        SetEnvironmentVariableA("ZTLAB_SERVICE", address);
        auto slot = reinterpret_cast<opal_handle>(1);
        EXPECT_EQ(InitializeZtVmW(0, 0, &slot), ZTERROR_INVALID_ARGUMENT);
        EXPECT_EQ(slot, nullptr);
    }
}

TEST_F(Handles, FailAtOnceWithoutService) {
    // Nothing listens on port 1 of the loopback interface.
    SetEnvironmentVariableA("ZTLAB_SERVICE", "127.0.0.1:1");
    opal_handle slot = nullptr;
    const ULONGLONG begin = GetTickCount64();
    EXPECT_EQ(InitializeZtVmW(0, 0, &slot), ZTERROR_NOT_CONNECTED);
    EXPECT_LT(GetTickCount64() - begin, 10'000u);
    EXPECT_EQ(slot, nullptr);
}

}  // namespace
