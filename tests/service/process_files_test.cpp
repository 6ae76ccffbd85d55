// The fault plan and the record of a process, which its environment names.
#include "service/environment_variable.h"
#include "service/process.h"
#include "service/ztcmd_fixture.h"

#include <gmock/gmock.h>

namespace {

using namespace support;

class ProcessFiles : public ZtCmdTest {
  protected:
    void TearDown() override {
        // A connection without the variables ends their use.
        release(connect());
        ZtCmdTest::TearDown();
    }
    // Returns the status of a new connection.
    static opal_status status_of_connecting() {
        opal_handle handle = nullptr;
        const opal_status status = InitializeZtVmW(0, 0, &handle);
        if (handle != nullptr) {
            release(handle);
        }
        return status;
    }

    TemporaryFolder folder;
};

TEST_F(ProcessFiles, InjectFaults) {
    const std::wstring path =
        folder.write(L"faults.json", R"([{"function": "DbGetObjects", "call": 2, "status": 7}])");
    const EnvironmentVariable faults(L"ZTLAB_FAULTS", path);
    const opal_handle handle = connect();
    EXPECT_EQ(call(handle), ZTSTATUS_OK);
    release(connect());  // the same plan goes on counting
    EXPECT_EQ(call(handle), 7u);
    EXPECT_EQ(call(handle), ZTSTATUS_OK);
    folder.write(L"faults.json", R"([{"function": "DbGetObjects", "status": 9}])");
    EXPECT_EQ(call(handle), ZTSTATUS_OK);
    release(connect());  // reads the file again
    EXPECT_EQ(call(handle), 9u);
    release(handle);
}

TEST_F(ProcessFiles, RefuseConnectionWithWrongPlan) {
    const EnvironmentVariable faults(L"ZTLAB_FAULTS", folder.file(L"faults.json"));
    EXPECT_EQ(status_of_connecting(), ZTERROR_NOT_CONNECTED);  // there is no such file
    for (const char* plan : {"[", R"([{"object": "dg9", "drop": true}])", R"([{"times": 0}])"}) {
        folder.write(L"faults.json", plan);
        EXPECT_EQ(status_of_connecting(), ZTERROR_NOT_CONNECTED) << plan;
    }
    folder.write(L"faults.json", R"([{"object": "dg1", "delay": 1}])");
    EXPECT_EQ(status_of_connecting(), ZTSTATUS_OK);
}

TEST_F(ProcessFiles, RecordCalls) {
    const std::wstring path = folder.write(L"record", "before\n");
    {
        const EnvironmentVariable record(L"ZTLAB_RECORD", path);
        const opal_handle handle = connect();
        EXPECT_EQ(call(handle), ZTSTATUS_OK);
        EXPECT_EQ(read_text(path), "before\nDbGetObjects tamo_ztvm_diskgroup -> 0x0 [@dg1]\n");
        release(handle);
    }
    const opal_handle handle = connect();
    EXPECT_EQ(call(handle), ZTSTATUS_OK);
    release(handle);
    EXPECT_EQ(read_text(path), "before\nDbGetObjects tamo_ztvm_diskgroup -> 0x0 [@dg1]\n");
}

TEST_F(ProcessFiles, RefuseConnectionWithUnwritableRecord) {
    const EnvironmentVariable record(L"ZTLAB_RECORD", folder.file(L"no folder\\record"));
    EXPECT_EQ(status_of_connecting(), ZTERROR_NOT_CONNECTED);
}

}  // namespace
