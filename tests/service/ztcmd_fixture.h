// Fixture of the command library's tests, with the embedded service.
#pragma once

#include "service/session_calls.h"
#include "support/service_names.h"
#include "ztbus3/lab_bus.h"

#include <gtest/gtest.h>

#include <string>

namespace support {

inline lab_cmd_calls cmd_calls() {
    lab_cmd_calls calls;
    LabCmdGetCalls(&calls);
    return calls;
}

// Checks that a test leaves no handle and no connection, and clears planned failures.
class ZtCmdTest : public testing::Test {
  protected:
    void SetUp() override {
        char error[256];
        ASSERT_EQ(LabLoadScenarioText(R"({"disk_groups": [{"name": "dg1", "dgid": "g1"}]})", error,
                                      sizeof error),
                  0)
            << error;
    }
    void TearDown() override {
        LabCmdFailInitialize(0, 0);
        LabCmdFailUnInitialize(0);
        LabCmdFailRegister(0);
        LabRefuseConnections(0);
        SetEnvironmentVariableA("ZTLAB_SERVICE", nullptr);
        lab_live live;
        LabGetLive(&live);
        EXPECT_EQ(live.connections, 0u);
        EXPECT_EQ(cmd_calls().live_handles, 0u);
    }

    static opal_handle connect() {
        opal_handle handle = nullptr;
        EXPECT_EQ(InitializeZtVmW(0, 0, &handle), ZTSTATUS_OK);
        EXPECT_NE(handle, nullptr);
        return handle;
    }
    static void release(opal_handle handle) { EXPECT_EQ(UnInitializeZtVmW(handle), ZTSTATUS_OK); }
    // Returns the status of a call to the service.
    static opal_status call(opal_handle handle) {
        std::vector<opal_objid> groups;
        const opal_status status = list(handle, object_type::disk_group, groups);
        EXPECT_EQ(groups.size(), status == ZTSTATUS_OK ? 1u : 0u);
        return status;
    }
};

}  // namespace support
