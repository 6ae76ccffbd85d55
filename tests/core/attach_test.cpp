// Process attach and detach.
#include "support/farlo_test.h"
#include "support/log_messages.h"

#include <aclapi.h>
#include <algorithm>

namespace {

using namespace support;

constexpr char event_name[] = "Global\\cvmstartevent";
constexpr char banner[] = "=====Farlo DllMain ,Created farlo.log=====";
constexpr char ngc_message[] = "=====Enabled NGC=====";

using Messages = std::vector<std::string>;

class Attach : public testing::Test {
  protected:
    void SetUp() override {
        environment().remove_logs();
        environment().clear_registry(volume_manager_key);
        environment().set_trace_level(6);
    }

    // Loads the library at a trace level and unloads it. Returns what it logged.
    static Messages logged_at(DWORD level) {
        environment().remove_logs();
        environment().set_trace_level(level);
        FarloDll dll;
        return log_messages();
    }
};

TEST_F(Attach, LogsBannerAtLevel6) {
    EXPECT_EQ(logged_at(6), Messages{banner});
    EXPECT_EQ(logged_at(5), Messages{});
}

TEST_F(Attach, LogsNothingAtDetach) {
    { FarloDll dll; }
    EXPECT_EQ(log_messages(), Messages{banner});
}

TEST_F(Attach, LogsEnabledNgcAtLevel0BeforeBanner) {
    environment().set_registry(volume_manager_key, L"SupportSCSI3", 2);
    EXPECT_EQ(logged_at(6), (Messages{ngc_message, banner}));
    EXPECT_EQ(logged_at(0), Messages{ngc_message});
}

TEST_F(Attach, LogsNoNgcForOtherValues) {
    for (const DWORD value : {0u, 1u, 3u, 0x20002u, 0xFFFFFFFFu}) {
        environment().set_registry(volume_manager_key, L"SupportSCSI3", value);
        EXPECT_EQ(logged_at(0), Messages{}) << value;
    }
}

// The string L"2" has four bytes as well, but they are not the number 2.
TEST_F(Attach, ReadsNgcValueOfAnyTypeWithFourBytes) {
    const DWORD two = 2;
    environment().set_registry(volume_manager_key, L"SupportSCSI3", REG_BINARY, &two, sizeof two);
    EXPECT_EQ(logged_at(0), Messages{ngc_message});
    const std::uint64_t long_two = 2;
    environment().set_registry(volume_manager_key, L"SupportSCSI3", REG_QWORD, &long_two,
                               sizeof long_two);
    EXPECT_EQ(logged_at(0), Messages{});
    environment().set_registry(volume_manager_key, L"SupportSCSI3", std::wstring(L"2"));
    EXPECT_EQ(logged_at(0), Messages{});
}

// A process that may not write to the key does not read the setting either.
TEST_F(Attach, IgnoresNgcValueWithoutAllAccessToKey) {
    environment().set_registry(volume_manager_key, L"SupportSCSI3", 2);
    environment().remove_logs();
    std::vector<REGSAM> requested;
    std::unique_ptr<StandIn<decltype(RegOpenKeyExW)>> open;
    FarloDll dll([&](HMODULE module) {
        open = std::make_unique<StandIn<decltype(RegOpenKeyExW)>>(
            module, "RegOpenKeyExW",
            [&](HKEY, const wchar_t*, DWORD, REGSAM access, HKEY*) -> LSTATUS {
                requested.push_back(access);
                return ERROR_ACCESS_DENIED;
            });
    });
    EXPECT_EQ(log_messages(), Messages{banner});
    EXPECT_EQ(requested, std::vector<REGSAM>{KEY_ALL_ACCESS});
}

TEST_F(Attach, CreatesSignalledAutoResetEventAndClosesItAtDetach) {
    HANDLE event = nullptr;
    {
        FarloDll dll;
        event = OpenEventA(SYNCHRONIZE | EVENT_MODIFY_STATE, FALSE, event_name);
        ASSERT_NE(event, nullptr);
        EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_OBJECT_0);
        EXPECT_EQ(WaitForSingleObject(event, 0), static_cast<DWORD>(WAIT_TIMEOUT));
        CloseHandle(event);
    }
    // Detach has closed the last handle.
    EXPECT_EQ(OpenEventA(SYNCHRONIZE, FALSE, event_name), nullptr);
}

// UnInitializeCluster takes the lock that guards connections.
TEST_F(Attach, DeletesConnectionLockAtDetach) {
    using Calls = std::vector<CRITICAL_SECTION*>;
    Calls initialized;
    Calls entered;
    Calls deleted;
    std::unique_ptr<StandIn<decltype(InitializeCriticalSection)>> initialize;
    std::unique_ptr<StandIn<decltype(EnterCriticalSection)>> enter;
    std::unique_ptr<StandIn<decltype(DeleteCriticalSection)>> remove;
    {
        FarloDll dll([&](HMODULE module) {
            initialize = std::make_unique<StandIn<decltype(InitializeCriticalSection)>>(
                module, "InitializeCriticalSection", [&](CRITICAL_SECTION* section) {
                    initialized.push_back(section);
                    initialize->real(section);
                });
            enter = std::make_unique<StandIn<decltype(EnterCriticalSection)>>(
                module, "EnterCriticalSection", [&](CRITICAL_SECTION* section) {
                    entered.push_back(section);
                    enter->real(section);
                });
            remove = std::make_unique<StandIn<decltype(DeleteCriticalSection)>>(
                module, "DeleteCriticalSection", [&](CRITICAL_SECTION* section) {
                    deleted.push_back(section);
                    remove->real(section);
                });
        });
        entered.clear();
        EXPECT_EQ(CALL(dll, UnInitializeClusterW)(nullptr), FARLO_UNINITIALIZE_FAILED);
        ASSERT_FALSE(entered.empty());
        EXPECT_EQ(std::count(initialized.begin(), initialized.end(), entered.front()), 1);
        EXPECT_EQ(std::count(deleted.begin(), deleted.end(), entered.front()), 0);
    }
    EXPECT_EQ(std::count(deleted.begin(), deleted.end(), entered.front()), 1);
}

TEST_F(Attach, CreatesInheritableEventForEveryoneAndLoadsWithoutIt) {
    struct {
        SECURITY_ATTRIBUTES attributes;
        BOOL dacl_present;
        PACL dacl;
        BOOL dacl_defaulted;
        BOOL manual_reset;
        BOOL initial_state;
        std::string name;
    } event{};
    std::unique_ptr<StandIn<decltype(CreateEventA)>> create;
    FarloDll dll([&](HMODULE module) {
        create = std::make_unique<StandIn<decltype(CreateEventA)>>(
            module, "CreateEventA",
            [&](SECURITY_ATTRIBUTES* attributes, BOOL manual_reset, BOOL initial_state,
                const char* name) -> HANDLE {
                event.attributes = *attributes;
                GetSecurityDescriptorDacl(attributes->lpSecurityDescriptor, &event.dacl_present,
                                          &event.dacl, &event.dacl_defaulted);
                event.manual_reset = manual_reset;
                event.initial_state = initial_state;
                event.name = name;
                SetLastError(ERROR_INVALID_HANDLE);
                return nullptr;
            });
    });
    EXPECT_EQ(event.attributes.nLength, sizeof event.attributes);
    EXPECT_TRUE(event.attributes.bInheritHandle);
    EXPECT_TRUE(event.dacl_present);
    EXPECT_EQ(event.dacl, nullptr);
    EXPECT_FALSE(event.dacl_defaulted);
    EXPECT_FALSE(event.manual_reset);
    EXPECT_TRUE(event.initial_state);
    EXPECT_EQ(event.name, event_name);
    // The library works without the event.
    EXPECT_EQ(log_messages(), (Messages{banner, "Farlo CreateEvent failed 6\n"}));
    char error[200];
    ASSERT_EQ(LabLoadScenarioText("{}", error, sizeof error), 0) << error;
    opal_handle handle = nullptr;
    EXPECT_EQ(CALL(dll, ValidateClusterW)(&handle), FARLO_SUCCESS);
    EXPECT_EQ(CALL(dll, UnInitializeClusterW)(handle), FARLO_SUCCESS);
}

TEST_F(Attach, LogsFailedStepAndCreatesNoEvent) {
    for (const DWORD level : {0u, 6u}) {
        const Messages before = level == 6 ? Messages{banner} : Messages{};
        environment().set_trace_level(level);
        {
            environment().remove_logs();
            std::unique_ptr<Failure<decltype(InitializeSecurityDescriptor)>> failure;
            FarloDll dll([&](HMODULE module) {
                failure = std::make_unique<Failure<decltype(InitializeSecurityDescriptor)>>(
                    module, "InitializeSecurityDescriptor",
                    FailingCalls{.last_error = ERROR_ACCESS_DENIED}, FALSE);
            });
            Messages expected = before;
            expected.push_back("Farlo InitializeSecurityDescriptor Error 5\n");
            EXPECT_EQ(log_messages(), expected);
            EXPECT_EQ(OpenEventA(SYNCHRONIZE, FALSE, event_name), nullptr);
        }
        {
            environment().remove_logs();
            std::unique_ptr<Failure<decltype(SetSecurityDescriptorDacl)>> failure;
            FarloDll dll([&](HMODULE module) {
                failure = std::make_unique<Failure<decltype(SetSecurityDescriptorDacl)>>(
                    module, "SetSecurityDescriptorDacl",
                    FailingCalls{.last_error = ERROR_INVALID_PARAMETER}, FALSE);
            });
            Messages expected = before;
            expected.push_back("Farlo SetSecurityDescriptorDacl Error 87\n");
            EXPECT_EQ(log_messages(), expected);
            EXPECT_EQ(OpenEventA(SYNCHRONIZE, FALSE, event_name), nullptr);
        }
    }
}

// The name is taken by an object of another type.
TEST_F(Attach, LoadsWhenEventNameIsTaken) {
    const HANDLE mutex = CreateMutexA(nullptr, FALSE, event_name);
    ASSERT_NE(mutex, nullptr);
    EXPECT_EQ(logged_at(0), Messages{"Farlo CreateEvent failed 6\n"});
    CloseHandle(mutex);
}

}  // namespace
