// GetDgState.
#include "support/bus_lines.h"
#include "support/farlo_test.h"
#include "support/fault_rules.h"
#include "support/journal_lines.h"
#include "support/kernel_journal.h"

namespace {

using namespace support;

// The request to the driver.
std::string query(const std::string& guid, std::int32_t returned = native::success) {
    return control(control_code::query_group_state, guid, 0, returned);
}

class GetDgState : public FarloTest {
  protected:
    GetDgState() {
        scenario = R"({"disk_groups": [
            {"name": "local", "dgid": "guid-1", "type": 1, "imported": true},
            {"name": "dg1", "dgid": "guid-2", "type": 2},
            {"name": "gone", "dgid": "guid-7", "type": 7},
            {"name": "stateless", "dgid": "guid-9", "without": ["imported"]}]})";
    }

    std::uint32_t get_state(const wchar_t* name, const char* guid) {
        return FARLO(GetDgStateW)(handle, name, guid, state.data());
    }

    GuardedBuffer state{1};
};

const Lines all_groups = {groups("@local @dg1 @gone @stateless")};
const Lines read_local = {read_type("local", group_type::local),
                          read("local", "dgid", str("guid-1"))};
const Lines read_dg1 = {read_type("dg1", group_type::cluster), read("dg1", "dgid", str("guid-2"))};

// A native status of the driver, the status that the call returns, and how it is logged.
struct DriverFailure {
    NTSTATUS native;
    std::uint32_t status;
    std::string logged;
};
const DriverFailure driver_failures[] = {
    {native::sharing_violation, FARLO_DEVICE_SHARING_VIOLATION, "0x17"},
    {native::unsuccessful, FARLO_DEVICE_FAILED, "0x18"}};

TEST_F(GetDgState, ReportsImportedUnlessBitZeroOfReplyIsSet) {
    struct Reply {
        std::uint8_t byte;
        std::uint8_t imported;
    };
    for (const Reply reply : {Reply{0x00, 1}, Reply{0x01, 0}, Reply{0xFE, 1}, Reply{0xFF, 0}}) {
        at_every_threshold([&] {
            KernelJournal journal(dll().module(), clock());
            journal.controls = {{.reply = reply.byte}};
            EXPECT_EQ(get_state(L"dg1", "guid-2"), FARLO_SUCCESS);
            EXPECT_EQ(*state.data(), reply.imported);
            expect_calls({});
            expect_journal(journal,
                           {allocate_page, open_info_device(), query("guid-2"), free_page});
            expect_log({{4, "Entering GetDgStateW - dg1"}, {4, "Exiting GetDgStateW"}});
        });
    }
}

// Unlike searches for cluster groups only.
TEST_F(GetDgState, FindsLocalGroupByName) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        EXPECT_EQ(FARLO(GetDgStateA)(handle, "LOCAL", nullptr, state.data()), FARLO_SUCCESS);
        EXPECT_EQ(*state.data(), 1);
        expect_calls(all_groups + Lines{read_type("local", group_type::local),
                                        read("local", "Name", wstr("local")),
                                        read("local", "dgid", str("guid-1"))});
        expect_journal(journal, {allocate_page, open_info_device(), query("guid-1"), free_page});
        expect_log({{4, "Entering GetDgStateW - LOCAL"}, {4, "Exiting GetDgStateW"}});
    });
}

TEST_F(GetDgState, RequiresConnectedHandle) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        EXPECT_EQ(FARLO(GetDgStateW)(nullptr, L"dg1", "guid-2", state.data()), FARLO_NULL_HANDLE);
        disconnect();
        EXPECT_EQ(get_state(L"dg1", "guid-2"), FARLO_NOT_CONNECTED);
        EXPECT_TRUE(state.untouched());
        expect_journal(journal, {});
        expect_log({{4, "Entering GetDgStateW - dg1"},
                    {0, "GetDgStateW() failed , opal_handle==NULL, error=(0x64)"},
                    {4, "Entering GetDgStateW - dg1"},
                    {0, "GetDgStateW() failed , opal_handle not connected, error=(0x14)"}});
    });
}

TEST_F(GetDgState, RejectsNullState) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(GetDgStateW)(handle, L"dg1", "guid-2", nullptr), FARLO_MISSING_ARGUMENT);
        expect_log({{4, "Entering GetDgStateW - dg1"},
                    {0, "GetDgStateW() failed , pState == NULL, error=(0x13) "}});
    });
}

TEST_F(GetDgState, RequiresNameOrGuid) {
    at_every_threshold([&] {
        EXPECT_EQ(get_state(nullptr, ""), FARLO_MISSING_ARGUMENT);
        expect_calls({});
        expect_log({{4, "Entering GetDgStateW - (null)"},
                    {0, "GetDgStateW():SetDgGuidParam() failed, error=(0x13) "},
                    {0, "GetDgStateW() failed, error=(0x13) "},
                    {4, "Exiting GetDgStateW"}});
    });
}

TEST_F(GetDgState, RejectsNameOrGuidThatIsTooLong) {
    at_every_threshold([&] {
        EXPECT_EQ(get_state(L"dg1", std::string(65, 'g').c_str()), FARLO_INVALID_ARGUMENT);
        EXPECT_EQ(FARLO(GetDgStateA)(handle, std::string(32, 'n').c_str(), "guid-2", state.data()),
                  FARLO_INVALID_ARGUMENT);
        EXPECT_TRUE(state.untouched());
        expect_log({{4, "Entering GetDgStateW - dg1"},
                    {0, "GetDgStateW() failed , guid string of more than 64 characters, "
                        "error=(0x80070057)"},
                    {4, "Exiting GetDgStateW"},
                    {0, "GetDgStateA() failed , name string of more than 31 characters or invalid, "
                        "error=(0x80070057)"}});
    });
}

TEST_F(GetDgState, FailsWithoutMemory) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        heap().fail(1);
        EXPECT_EQ(get_state(L"dg1", "guid-2"), FARLO_NO_GUID_MEMORY);
        heap().fail_no_more();
        journal.pages_fail = true;
        EXPECT_EQ(get_state(L"dg1", "guid-2"), FARLO_NO_GUID_MEMORY);
        EXPECT_TRUE(state.untouched());
        expect_journal(journal, {no_page});
        expect_log({{4, "Entering GetDgStateW - dg1"},
                    {0, "GetDgStateW():SetDgGuidParam() failed, error=(0x11) "},
                    {0, "GetDgStateW() failed, error=(0x11) "},
                    {4, "Exiting GetDgStateW"},
                    {4, "Entering GetDgStateW - dg1"},
                    {0, "GetDgStateW() failed, error=(0x11) "},
                    {4, "Exiting GetDgStateW"}});
    });
}

// There is no retry: an agent calls again when it wants to.
TEST_F(GetDgState, ReturnsFailureOfDriverWithoutRetry) {
    for (const DriverFailure& failure : driver_failures) {
        at_every_threshold([&] {
            KernelJournal journal(dll().module(), clock());
            journal.controls = {{.io_status = failure.native}};
            EXPECT_EQ(get_state(L"dg1", "guid-2"), failure.status);
            EXPECT_TRUE(state.untouched());
            expect_calls({});
            EXPECT_EQ(journal.lines.size(), 4u);
            expect_pauses({});
            expect_log({{4, "Entering GetDgStateW - dg1"},
                        {0, "iostatus, error=(" + failure.logged + ") "},
                        {0, "GetDgStateW() failed, error=(" + failure.logged + ") "},
                        {4, "Exiting GetDgStateW"}});
        });
    }
}

TEST_F(GetDgState, ReadsStateFromServiceWithoutDriver) {
    const std::tuple<NTSTATUS, const char*, Lines, std::uint8_t> groups[] = {
        {native::object_name_not_found, "guid-1",
         read_local + Lines{read("local", "imported", boolean(true))}, 1},
        {native::object_path_not_found, "guid-2",
         read_local + read_dg1 + Lines{read("dg1", "imported", boolean(false))}, 0}};
    for (const auto& [not_found, guid, reads, wanted] : groups) {
        at_every_threshold([&, not_found = not_found, guid = guid, reads = reads, wanted = wanted] {
            KernelJournal journal(dll().module(), clock());
            journal.opens = {{.returned = not_found}};
            EXPECT_EQ(get_state(L"dg1", guid), FARLO_SUCCESS);
            EXPECT_EQ(*state.data(), wanted);
            expect_calls(all_groups + reads);
            expect_pauses(std::vector<Pause>(3, {"Sleep", 1000}));
            EXPECT_EQ(journal.live_pages(), 0u);
            expect_log({{4, "Entering GetDgStateW - dg1"},
                        {0, "iostatus, error=(0x1) "},
                        {4, "Exiting GetDgStateW"}});
        });
    }
}

TEST_F(GetDgState, ReadsStateFromServiceWhenDriverDoesNotKnowGroup) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        journal.controls = {{.returned = native::object_name_not_found, .reply = 0x01}};
        EXPECT_EQ(get_state(nullptr, "guid-1"), FARLO_SUCCESS);
        EXPECT_EQ(*state.data(), 1);
        expect_calls(all_groups + read_local + Lines{read("local", "imported", boolean(true))});
        expect_pauses({});
        expect_journal(journal, {allocate_page, open_info_device(),
                                 query("guid-1", native::object_name_not_found), free_page});
    });
}

TEST_F(GetDgState, ReturnsNotFoundWhenNeitherDriverNorServiceKnowsGroup) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        journal.controls = {{.io_status = native::object_name_not_found}};
        EXPECT_EQ(get_state(nullptr, "nowhere"), FARLO_NOT_FOUND);
        EXPECT_TRUE(state.untouched());
        EXPECT_EQ(journal.live_pages(), 0u);
        expect_log({{4, "Entering GetDgStateW - (null)"},
                    {0, "iostatus, error=(0x1) "},
                    {0, "GetDgObjIdByGuid() failed , DG_TYPENAME not found in OPAL, error=(0x1)"},
                    {0, "GetDgStateW():GetDgObjId() failed, error=(0x1) "},
                    {0, "GetDgStateW() failed, error=(0x1) "},
                    {4, "Exiting GetDgStateW"}});
    });
}

// Every failed search is FARLO_NOT_FOUND, also one that ends at an excluded type.
TEST_F(GetDgState, ReturnsNotFoundForGroupOfExcludedType) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        journal.controls = {{.io_status = native::object_name_not_found}};
        EXPECT_EQ(get_state(nullptr, "guid-7"), FARLO_NOT_FOUND);
        expect_log({{4, "Entering GetDgStateW - (null)"},
                    {0, "iostatus, error=(0x1) "},
                    {0, "GetDgObjIdByGuid() failed , DG_TYPENAME not found in OPAL, error=(0x28)"},
                    {0, "GetDgStateW():GetDgObjId() failed, error=(0x1) "},
                    {0, "GetDgStateW() failed, error=(0x1) "},
                    {4, "Exiting GetDgStateW"}});
    });
}

TEST_F(GetDgState, FailsWhenServiceReportsNoState) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        journal.controls = {{.io_status = native::object_name_not_found}};
        EXPECT_EQ(get_state(nullptr, "guid-9"), FARLO_EXCEPTION);
        EXPECT_TRUE(state.untouched());
        expect_log({{4, "Entering GetDgStateW - (null)"},
                    {0, "iostatus, error=(0x1) "},
                    {6, "API_TRY_CATCH_FAILED "},
                    {0, "GetDgStateW() failed, error=(0x12) "},
                    {4, "Exiting GetDgStateW"}});
    });
}

TEST_F(GetDgState, ReturnsNotConnectedWhenConnectionDrops) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        journal.controls = {{.io_status = native::object_name_not_found}};
        set_faults(fault_plan({dropping(reading("imported"))}));
        EXPECT_EQ(get_state(nullptr, "guid-1"), FARLO_NOT_CONNECTED);
        EXPECT_EQ(*state.data(), 1);
        expect_log({{4, "Entering GetDgStateW - (null)"},
                    {0, "iostatus, error=(0x1) "},
                    {0, "GetDgStateW() failed, error=(0x14) "},
                    {4, "Exiting GetDgStateW"}});
    });
}

// The service is searched by the caller's name again, not by the GUID that was found.
TEST_F(GetDgState, SearchesServiceByNameWhenGivenNoGuid) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        journal.controls = {{.io_status = native::object_name_not_found}};
        EXPECT_EQ(get_state(L"local", ""), FARLO_SUCCESS);
        EXPECT_EQ(*state.data(), 1);
        const Lines by_name = all_groups + Lines{read_type("local", group_type::local),
                                                 read("local", "Name", wstr("local"))};
        expect_calls(by_name + Lines{read("local", "dgid", str("guid-1"))} + by_name +
                     Lines{read("local", "imported", boolean(true))});
        expect_log({{4, "Entering GetDgStateW - local"},
                    {0, "iostatus, error=(0x1) "},
                    {4, "Exiting GetDgStateW"}});
    });
}

TEST_F(GetDgState, ReturnsNotConnectedForEveryResultOfDriverWhenConnectionDrops) {
    const DriverFailure no_failure{native::success, FARLO_SUCCESS, ""};
    for (const DriverFailure& result : {no_failure, driver_failures[0], driver_failures[1]}) {
        at_every_threshold([&] {
            KernelJournal journal(dll().module(), clock());
            journal.controls = {{.io_status = result.native, .reply = 0x01}};
            GuardedBuffer received{1};
            const StandIn<decltype(VirtualAlloc)> dropping(
                dll().module(), "VirtualAlloc",
                [&](void* address, SIZE_T size, DWORD type, DWORD protection) {
                    disconnect();
                    return dropping.real(address, size, type, protection);
                });
            EXPECT_EQ(FARLO(GetDgStateW)(handle, L"dg1", "guid-2", received.data()),
                      FARLO_NOT_CONNECTED);
            std::vector<Expected> wanted = {{4, "Entering GetDgStateW - dg1"}};
            if (result.status == FARLO_SUCCESS) {
                EXPECT_EQ(*received.data(), 0);
            } else {
                EXPECT_TRUE(received.untouched());
                wanted.push_back({0, "iostatus, error=(" + result.logged + ") "});
            }
            wanted.push_back({0, "GetDgStateW() failed, error=(0x14) "});
            wanted.push_back({4, "Exiting GetDgStateW"});
            expect_log(wanted);
        });
    }
}

TEST_F(GetDgState, ReturnsNotConnectedWhenConnectionDropsDuringFailedSearch) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        journal.controls = {{.io_status = native::object_name_not_found}};
        set_faults(fault_plan({dropping(reading("dgid"))}));
        EXPECT_EQ(get_state(nullptr, "nowhere"), FARLO_NOT_CONNECTED);
        EXPECT_TRUE(state.untouched());
    });
}

TEST_F(GetDgState, ReturnsWhyDeviceCannotBeOpened) {
    for (const DriverFailure& failure : driver_failures) {
        at_every_threshold([&] {
            KernelJournal journal(dll().module(), clock());
            journal.opens = {{.returned = failure.native}};
            EXPECT_EQ(get_state(L"dg1", "guid-2"), failure.status);
            EXPECT_TRUE(state.untouched());
            expect_calls({});
            expect_pauses(std::vector<Pause>(3, {"Sleep", 1000}));
            EXPECT_EQ(journal.live_pages(), 0u);
            expect_log({{4, "Entering GetDgStateW - dg1"},
                        {0, "iostatus, error=(" + failure.logged + ") "},
                        {0, "GetDgStateW() failed, error=(" + failure.logged + ") "},
                        {4, "Exiting GetDgStateW"}});
        });
    }
}

TEST_F(GetDgState, FailsWhenPropertyOfServiceHasAnotherType) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        journal.controls = {{.io_status = native::object_name_not_found}};
        set_faults(fault_plan({with_type(reading("imported"), "UINT32")}));
        EXPECT_EQ(get_state(nullptr, "guid-1"), FARLO_EXCEPTION);
        EXPECT_TRUE(state.untouched());
        expect_log({{4, "Entering GetDgStateW - (null)"},
                    {0, "iostatus, error=(0x1) "},
                    {6, "API_TRY_CATCH_FAILED "},
                    {0, "GetDgStateW() failed, error=(0x12) "},
                    {4, "Exiting GetDgStateW"}});
    });
}

TEST_F(GetDgState, FailsCleanlyWhenAnyAllocationFails) {
    const auto results = statuses_at_every_allocation([&] {
        KernelJournal journal(dll().module(), clock());
        journal.controls = {{.io_status = native::object_name_not_found}};
        GuardedBuffer received{1};
        const std::uint32_t status = FARLO(GetDgStateA)(handle, "local", nullptr, received.data());
        if (status == FARLO_SUCCESS) {
            EXPECT_EQ(*received.data(), 1);
        } else {
            EXPECT_TRUE(received.untouched());
        }
        EXPECT_EQ(journal.live_pages(), 0u);
        return status;
    });
    EXPECT_GT(results.size(), 2u);
    EXPECT_THAT(results, testing::Each(testing::Ne(FARLO_SUCCESS)));
}

}  // namespace
