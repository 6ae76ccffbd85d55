// GetDgState.
#include "bus_lines.h"
#include "farlo_test.h"
#include "kernel_journal.h"

namespace {

using namespace support;

const std::string allocate = "VirtualAlloc 308 0x1000 0x4 -> page";
const std::string open = "ZwOpenFile \\Device\\DmControl\\DmInfo 0x40 0x100003 0x3 0x10 -> 0x0 0x0";

std::string control(const std::string& guid, const std::string& result) {
    return "control 0xd903f080 \"" + guid + "\" 0 -> " + result;
}

class GroupState : public FarloTest {
  protected:
    GroupState() {
        scenario = R"({"disk_groups": [
            {"name": "local", "dgid": "guid-1", "type": 1, "imported": true},
            {"name": "dg1", "dgid": "guid-2", "type": 2},
            {"name": "gone", "dgid": "guid-7", "type": 7},
            {"name": "untold", "dgid": "guid-9", "without": ["imported"]}]})";
    }

    std::uint32_t ask(const wchar_t* name, const char* guid) {
        return FARLO(GetDgStateW)(handle, name, guid, state.data());
    }

    // Nothing left, and no fault in a request.
    void expect_journal(const KernelJournal& journal, const Lines& wanted) {
        EXPECT_EQ(journal.lines, wanted);
        EXPECT_EQ(journal.faults(), Lines{});
        EXPECT_EQ(journal.live_pages(), 0u);
    }

    GuardedBuffer state{1};
};

const Lines all_groups = {"DbGetObjects tamo_ztvm_diskgroup -> 0x0 [@local @dg1 @gone @untold]"};
const Lines look_at_local = {read("local", "LDM DG TYPE", "UINT32 1"),
                             read("local", "dgid", "STR \"guid-1\"")};
const Lines look_at_dg1 = {read("dg1", "LDM DG TYPE", "UINT32 2"),
                           read("dg1", "dgid", "STR \"guid-2\"")};

TEST_F(GroupState, IsImportedUnlessBitZeroOfTheReplySaysNot) {
    struct Reply {
        std::uint8_t byte;
        std::uint8_t imported;
    };
    for (const Reply reply : {Reply{0x00, 1}, Reply{0x01, 0}, Reply{0xFE, 1}, Reply{0xFF, 0}}) {
        at_every_threshold([&] {
            KernelJournal journal(dll().module(), clock());
            journal.controls = {{0, 0, reply.byte}};
            EXPECT_EQ(ask(L"dg1", "guid-2"), 0u);
            EXPECT_EQ(*state.data(), reply.imported);
            expect_calls({});
            expect_journal(journal,
                           {allocate, open, control("guid-2", "0x0 0x0"), "VirtualFree page"});
            expect_log({{4, "Entering GetDgStateW - dg1"}, {4, "Exiting GetDgStateW"}});
        });
    }
}

// Any group, not only cluster groups.
TEST_F(GroupState, FindsEveryGroupByName) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        EXPECT_EQ(FARLO(GetDgStateA)(handle, "LOCAL", nullptr, state.data()), 0u);
        EXPECT_EQ(*state.data(), 1);
        expect_calls(all_groups + Lines{read("local", "LDM DG TYPE", "UINT32 1"),
                                        read("local", "Name", "WSTR \"local\""),
                                        read("local", "dgid", "STR \"guid-1\"")});
        expect_journal(journal, {allocate, open, control("guid-1", "0x0 0x0"), "VirtualFree page"});
        expect_log({{4, "Entering GetDgStateW - LOCAL"}, {4, "Exiting GetDgStateW"}});
    });
}

TEST_F(GroupState, WantsAConnectedHandle) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        EXPECT_EQ(FARLO(GetDgStateW)(nullptr, L"dg1", "guid-2", state.data()), 100u);
        disconnect();
        EXPECT_EQ(ask(L"dg1", "guid-2"), 20u);
        EXPECT_TRUE(state.untouched());
        expect_journal(journal, {});
        expect_log({{4, "Entering GetDgStateW - dg1"},
                    {0, "GetDgStateW() failed , opal_handle==NULL, error=(0x64)"},
                    {4, "Entering GetDgStateW - dg1"},
                    {0, "GetDgStateW() failed , opal_handle not connected, error=(0x14)"}});
    });
}

TEST_F(GroupState, WantsRoomForTheState) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(GetDgStateW)(handle, L"dg1", "guid-2", nullptr), 19u);
        expect_log({{4, "Entering GetDgStateW - dg1"},
                    {0, "GetDgStateW() failed , pState == NULL, error=(0x13) "}});
    });
}

TEST_F(GroupState, WantsANameOrAGuid) {
    at_every_threshold([&] {
        EXPECT_EQ(ask(nullptr, ""), 19u);
        expect_calls({});
        expect_log({{4, "Entering GetDgStateW - (null)"},
                    {0, "GetDgStateW():SetDgGuidParam() failed, error=(0x13) "},
                    {0, "GetDgStateW() failed, error=(0x13) "},
                    {4, "Exiting GetDgStateW"}});
    });
}

TEST_F(GroupState, RefusesTextsThatAreTooLong) {
    at_every_threshold([&] {
        EXPECT_EQ(ask(L"dg1", std::string(65, 'g').c_str()), 0x80070057u);
        EXPECT_EQ(FARLO(GetDgStateA)(handle, std::string(32, 'n').c_str(), "guid-2", state.data()),
                  0x80070057u);
        EXPECT_TRUE(state.untouched());
        expect_log({{4, "Entering GetDgStateW - dg1"},
                    {0, "GetDgStateW() failed , guid string of more than 64 characters, "
                        "error=(0x80070057)"},
                    {4, "Exiting GetDgStateW"},
                    {0, "GetDgStateA() failed , name string of more than 31 characters or invalid, "
                        "error=(0x80070057)"}});
    });
}

TEST_F(GroupState, FailsWithoutMemory) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        heap().fail(1);
        EXPECT_EQ(ask(L"dg1", "guid-2"), 17u);
        heap().fail_no_more();
        journal.pages_fail = true;
        EXPECT_EQ(ask(L"dg1", "guid-2"), 17u);
        EXPECT_TRUE(state.untouched());
        expect_journal(journal, {"VirtualAlloc 308 0x1000 0x4 -> none"});
        expect_log({{4, "Entering GetDgStateW - dg1"},
                    {0, "GetDgStateW():SetDgGuidParam() failed, error=(0x11) "},
                    {0, "GetDgStateW() failed, error=(0x11) "},
                    {4, "Exiting GetDgStateW"},
                    {4, "Entering GetDgStateW - dg1"},
                    {0, "GetDgStateW() failed, error=(0x11) "},
                    {4, "Exiting GetDgStateW"}});
    });
}

// Once each: the driver is polled by the agent, not by the library.
TEST_F(GroupState, PassesTheDriversFailureOn) {
    const std::tuple<NTSTATUS, std::uint32_t, std::string> failures[] = {
        {STATUS_SHARING_VIOLATION, 23, "17"}, {STATUS_UNSUCCESSFUL, 24, "18"}};
    for (const auto& [native, wanted, text] : failures) {
        at_every_threshold([&, native = native, wanted = wanted, text = text] {
            KernelJournal journal(dll().module(), clock());
            journal.controls = {{0, native, 0}};
            EXPECT_EQ(ask(L"dg1", "guid-2"), wanted);
            EXPECT_TRUE(state.untouched());
            expect_calls({});
            EXPECT_EQ(journal.lines.size(), 4u);
            expect_pauses({});
            expect_log({{4, "Entering GetDgStateW - dg1"},
                        {0, "iostatus, error=(0x" + text + ") "},
                        {0, "GetDgStateW() failed, error=(0x" + text + ") "},
                        {4, "Exiting GetDgStateW"}});
        });
    }
}

TEST_F(GroupState, AsksTheServiceWithoutADriver) {
    const std::tuple<NTSTATUS, const char*, Lines, std::uint8_t> groups[] = {
        {STATUS_OBJECT_NAME_NOT_FOUND, "guid-1",
         look_at_local + Lines{read("local", "imported", "BOOLEAN true")}, 1},
        {STATUS_OBJECT_PATH_NOT_FOUND, "guid-2",
         look_at_local + look_at_dg1 + Lines{read("dg1", "imported", "BOOLEAN false")}, 0}};
    for (const auto& [native, guid, reads, wanted] : groups) {
        at_every_threshold([&, native = native, guid = guid, reads = reads, wanted = wanted] {
            KernelJournal journal(dll().module(), clock());
            journal.opens = {{native}};
            EXPECT_EQ(ask(L"dg1", guid), 0u);
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

TEST_F(GroupState, AsksTheServiceAboutAGroupThatTheDriverDoesNotKnow) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        journal.controls = {{STATUS_OBJECT_NAME_NOT_FOUND, 0, 0x01}};
        EXPECT_EQ(ask(nullptr, "guid-1"), 0u);
        EXPECT_EQ(*state.data(), 1);
        expect_calls(all_groups + look_at_local + Lines{read("local", "imported", "BOOLEAN true")});
        expect_pauses({});
        expect_journal(journal,
                       {allocate, open, control("guid-1", "0xc0000034 0x0"), "VirtualFree page"});
    });
}

TEST_F(GroupState, FailsWhenNobodyKnowsTheGroup) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        journal.controls = {{0, STATUS_OBJECT_NAME_NOT_FOUND, 0}};
        EXPECT_EQ(ask(nullptr, "nowhere"), 1u);
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

// An excluded type is one failure among others: 1, not 40.
TEST_F(GroupState, FailsForAnExcludedGroupOfTheService) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        journal.controls = {{0, STATUS_OBJECT_NAME_NOT_FOUND, 0}};
        EXPECT_EQ(ask(nullptr, "guid-7"), 1u);
        expect_log({{4, "Entering GetDgStateW - (null)"},
                    {0, "iostatus, error=(0x1) "},
                    {0, "GetDgObjIdByGuid() failed , DG_TYPENAME not found in OPAL, error=(0x28)"},
                    {0, "GetDgStateW():GetDgObjId() failed, error=(0x1) "},
                    {0, "GetDgStateW() failed, error=(0x1) "},
                    {4, "Exiting GetDgStateW"}});
    });
}

TEST_F(GroupState, FailsWhenTheServiceTellsNoState) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        journal.controls = {{0, STATUS_OBJECT_NAME_NOT_FOUND, 0}};
        EXPECT_EQ(ask(nullptr, "guid-9"), 18u);
        EXPECT_TRUE(state.untouched());
        expect_log({{4, "Entering GetDgStateW - (null)"},
                    {0, "iostatus, error=(0x1) "},
                    {6, "API_TRY_CATCH_FAILED "},
                    {0, "GetDgStateW() failed, error=(0x12) "},
                    {4, "Exiting GetDgStateW"}});
    });
}

TEST_F(GroupState, IsNotConnectedWhenTheConnectionDrops) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        journal.controls = {{0, STATUS_OBJECT_NAME_NOT_FOUND, 0}};
        set_faults(R"([{"function": "ObGetProperty", "property": "imported", "drop": true}])");
        EXPECT_EQ(ask(nullptr, "guid-1"), 20u);
        EXPECT_EQ(*state.data(), 1);
        expect_log({{4, "Entering GetDgStateW - (null)"},
                    {0, "iostatus, error=(0x1) "},
                    {0, "GetDgStateW() failed, error=(0x14) "},
                    {4, "Exiting GetDgStateW"}});
    });
}

// The search in the service goes by what the caller gave, not by the GUID found.
TEST_F(GroupState, AsksTheServiceByNameForOneWithoutAGuid) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        journal.controls = {{0, STATUS_OBJECT_NAME_NOT_FOUND, 0}};
        EXPECT_EQ(ask(L"local", ""), 0u);
        EXPECT_EQ(*state.data(), 1);
        const Lines by_name = all_groups + Lines{read("local", "LDM DG TYPE", "UINT32 1"),
                                                 read("local", "Name", "WSTR \"local\"")};
        expect_calls(by_name + Lines{read("local", "dgid", "STR \"guid-1\"")} + by_name +
                     Lines{read("local", "imported", "BOOLEAN true")});
        expect_log({{4, "Entering GetDgStateW - local"},
                    {0, "iostatus, error=(0x1) "},
                    {4, "Exiting GetDgStateW"}});
    });
}

// Whatever the driver answered, a handle that lost its connection answers 20.
TEST_F(GroupState, IsNotConnectedWhateverTheDriverAnswered) {
    const std::tuple<NTSTATUS, const char*> answers[] = {
        {0, ""}, {STATUS_SHARING_VIOLATION, "17"}, {STATUS_UNSUCCESSFUL, "18"}};
    for (const auto& [native, text] : answers) {
        at_every_threshold([&, native = native, text = text] {
            KernelJournal journal(dll().module(), clock());
            journal.controls = {{0, native, 0x01}};
            GuardedBuffer one{1};
            const StandIn<decltype(VirtualAlloc)> dropping(
                dll().module(), "VirtualAlloc",
                [&](void* address, SIZE_T size, DWORD type, DWORD protection) {
                    disconnect();
                    return dropping.real(address, size, type, protection);
                });
            EXPECT_EQ(FARLO(GetDgStateW)(handle, L"dg1", "guid-2", one.data()), 20u);
            std::vector<Expected> wanted = {{4, "Entering GetDgStateW - dg1"}};
            if (native == 0) {
                EXPECT_EQ(*one.data(), 0);
            } else {
                EXPECT_TRUE(one.untouched());
                wanted.push_back({0, std::string("iostatus, error=(0x") + text + ") "});
            }
            wanted.push_back({0, "GetDgStateW() failed, error=(0x14) "});
            wanted.push_back({4, "Exiting GetDgStateW"});
            expect_log(wanted);
        });
    }
}

TEST_F(GroupState, IsNotConnectedWhenASearchFailsMeanwhile) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        journal.controls = {{0, STATUS_OBJECT_NAME_NOT_FOUND, 0}};
        set_faults(R"([{"function": "ObGetProperty", "property": "dgid", "drop": true}])");
        EXPECT_EQ(ask(nullptr, "nowhere"), 20u);
        EXPECT_TRUE(state.untouched());
    });
}

TEST_F(GroupState, PassesOnThatTheDeviceCannotBeOpened) {
    const std::tuple<NTSTATUS, std::uint32_t, std::string> failures[] = {
        {STATUS_SHARING_VIOLATION, 23, "17"}, {STATUS_UNSUCCESSFUL, 24, "18"}};
    for (const auto& [native, wanted, text] : failures) {
        at_every_threshold([&, native = native, wanted = wanted, text = text] {
            KernelJournal journal(dll().module(), clock());
            journal.opens = {{native}};
            EXPECT_EQ(ask(L"dg1", "guid-2"), wanted);
            EXPECT_TRUE(state.untouched());
            expect_calls({});
            expect_pauses(std::vector<Pause>(3, {"Sleep", 1000}));
            EXPECT_EQ(journal.live_pages(), 0u);
            expect_log({{4, "Entering GetDgStateW - dg1"},
                        {0, "iostatus, error=(0x" + text + ") "},
                        {0, "GetDgStateW() failed, error=(0x" + text + ") "},
                        {4, "Exiting GetDgStateW"}});
        });
    }
}

TEST_F(GroupState, FailsWhenTheServicesWordIsOfAnotherType) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        journal.controls = {{0, STATUS_OBJECT_NAME_NOT_FOUND, 0}};
        set_faults(R"([{"function": "ObGetProperty", "property": "imported", "as": "UINT32"}])");
        EXPECT_EQ(ask(nullptr, "guid-1"), 18u);
        EXPECT_TRUE(state.untouched());
        expect_log({{4, "Entering GetDgStateW - (null)"},
                    {0, "iostatus, error=(0x1) "},
                    {6, "API_TRY_CATCH_FAILED "},
                    {0, "GetDgStateW() failed, error=(0x12) "},
                    {4, "Exiting GetDgStateW"}});
    });
}

TEST_F(GroupState, EndsWellWhicheverAllocationFails) {
    const auto answers = answers_at_every_allocation([&] {
        KernelJournal journal(dll().module(), clock());
        journal.controls = {{0, STATUS_OBJECT_NAME_NOT_FOUND, 0}};
        GuardedBuffer one{1};
        const std::uint32_t status = FARLO(GetDgStateA)(handle, "local", nullptr, one.data());
        if (status == 0) {
            EXPECT_EQ(*one.data(), 1);
        } else {
            EXPECT_TRUE(one.untouched());
        }
        EXPECT_EQ(journal.live_pages(), 0u);
        return status;
    });
    EXPECT_GT(answers.size(), 2u);
    EXPECT_THAT(answers, testing::Each(testing::Ne(0u)));
}

}  // namespace
