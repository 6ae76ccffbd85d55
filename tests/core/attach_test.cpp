// Process attach and detach.
#include "support/farlo_test.h"

#include <aclapi.h>
#include <algorithm>

namespace {

using namespace support;

constexpr char event_name[] = "Global\\cvmstartevent";
constexpr char banner[] = "=====Farlo DllMain ,Created farlo.log=====";
constexpr char ngc_line[] = "=====Enabled NGC=====";

std::vector<std::string> log_texts() {
    std::string error;
    std::vector<std::string> texts;
    for (const LogLine& line : read_log(environment().log_file(), error)) {
        texts.push_back(line.text);
    }
    EXPECT_EQ(error, "");
    return texts;
}

class Attach : public testing::Test {
  protected:
    void SetUp() override {
        environment().remove_logs();
        environment().clear_registry(volume_manager_key);
        environment().set_trace_level(6);
    }

    // What a load writes at a trace level.
    std::vector<std::string> load_at(DWORD level) {
        environment().remove_logs();
        environment().set_trace_level(level);
        FarloDll dll;
        return log_texts();
    }
};

using Texts = std::vector<std::string>;

TEST_F(Attach, WritesItsBannerAtLevel6) {
    EXPECT_EQ(load_at(6), Texts{banner});
    EXPECT_EQ(load_at(5), Texts{});
}

TEST_F(Attach, WritesNothingAtDetach) {
    { FarloDll dll; }
    EXPECT_EQ(log_texts(), Texts{banner});
}

TEST_F(Attach, Ngc2IsToldAtLevel0BeforeTheBanner) {
    environment().set_registry(volume_manager_key, L"SupportSCSI3", 2);
    EXPECT_EQ(load_at(6), (Texts{ngc_line, banner}));
    EXPECT_EQ(load_at(0), Texts{ngc_line});
}

TEST_F(Attach, OtherNgcValuesAreOff) {
    for (const DWORD value : {0u, 1u, 3u, 0x20002u, 0xFFFFFFFFu}) {
        environment().set_registry(volume_manager_key, L"SupportSCSI3", value);
        EXPECT_EQ(load_at(0), Texts{}) << value;
    }
}

// The type of the value does not matter, its number does.
TEST_F(Attach, NgcValuesOfAnotherType) {
    const DWORD two = 2;
    environment().set_registry(volume_manager_key, L"SupportSCSI3", REG_BINARY, &two, sizeof two);
    EXPECT_EQ(load_at(0), Texts{ngc_line});
    const std::uint64_t long_two = 2;
    environment().set_registry(volume_manager_key, L"SupportSCSI3", REG_QWORD, &long_two,
                               sizeof long_two);
    EXPECT_EQ(load_at(0), Texts{});
    environment().set_registry(volume_manager_key, L"SupportSCSI3", std::wstring(L"2"));
    EXPECT_EQ(load_at(0), Texts{});
}

REGSAM asked_access;
LSTATUS WINAPI refuse_all_access(HKEY, const wchar_t*, DWORD, REGSAM access, HKEY*) {
    asked_access = access;
    return ERROR_ACCESS_DENIED;
}

// A process that may not write to the key reads no setting from it.
TEST_F(Attach, TheKeyIsOpenedWithAllAccess) {
    environment().set_registry(volume_manager_key, L"SupportSCSI3", 2);
    environment().remove_logs();
    std::unique_ptr<Interposer> refusal;
    {
        FarloDll dll([&](HMODULE module) {
            refusal = std::make_unique<Interposer>(module, "RegOpenKeyExW", refuse_all_access);
        });
        EXPECT_EQ(log_texts(), Texts{banner});
        EXPECT_EQ(asked_access, static_cast<REGSAM>(KEY_ALL_ACCESS));
        refusal.reset();
    }
}

TEST_F(Attach, TheStartEventIsAutoResetAndSignalled) {
    HANDLE event = nullptr;
    {
        FarloDll dll;
        event = OpenEventA(SYNCHRONIZE | EVENT_MODIFY_STATE, FALSE, event_name);
        ASSERT_NE(event, nullptr);
        EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_OBJECT_0);
        EXPECT_EQ(WaitForSingleObject(event, 0), static_cast<DWORD>(WAIT_TIMEOUT));
        CloseHandle(event);
    }
    // Detach closed it: nobody holds it now.
    EXPECT_EQ(OpenEventA(SYNCHRONIZE, FALSE, event_name), nullptr);
}

// The lock that guards connections: made before the first step, and not left behind.
TEST_F(Attach, DetachDeletesTheLibraryLock) {
    using Calls = std::vector<CRITICAL_SECTION*>;
    Calls made;
    Calls entered;
    Calls deleted;
    std::unique_ptr<StandIn<decltype(InitializeCriticalSection)>> make;
    std::unique_ptr<StandIn<decltype(EnterCriticalSection)>> enter;
    std::unique_ptr<StandIn<decltype(DeleteCriticalSection)>> remove;
    {
        FarloDll dll([&](HMODULE module) {
            make = std::make_unique<StandIn<decltype(InitializeCriticalSection)>>(
                module, "InitializeCriticalSection", [&](CRITICAL_SECTION* section) {
                    made.push_back(section);
                    make->real(section);
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
        EXPECT_EQ(CALL(dll, UnInitializeClusterW)(nullptr), 21u);
        ASSERT_FALSE(entered.empty());
        EXPECT_EQ(std::count(made.begin(), made.end(), entered.front()), 1);
        EXPECT_EQ(std::count(deleted.begin(), deleted.end(), entered.front()), 0);
    }
    EXPECT_EQ(std::count(deleted.begin(), deleted.end(), entered.front()), 1);
}

SECURITY_ATTRIBUTES seen_attributes;
BOOL seen_dacl_present;
PACL seen_dacl;
BOOL seen_dacl_defaulted;
BOOL seen_manual_reset;
BOOL seen_initial_state;
std::string seen_name;
HANDLE WINAPI see_event(SECURITY_ATTRIBUTES* attributes, BOOL manual_reset, BOOL initial_state,
                        const char* name) {
    seen_attributes = *attributes;
    GetSecurityDescriptorDacl(attributes->lpSecurityDescriptor, &seen_dacl_present, &seen_dacl,
                              &seen_dacl_defaulted);
    seen_manual_reset = manual_reset;
    seen_initial_state = initial_state;
    seen_name = name;
    SetLastError(ERROR_INVALID_HANDLE);
    return nullptr;
}

TEST_F(Attach, EveryoneMayUseTheStartEventAndItIsInherited) {
    std::unique_ptr<Interposer> event;
    FarloDll dll([&](HMODULE module) {
        event = std::make_unique<Interposer>(module, "CreateEventA", see_event);
    });
    EXPECT_EQ(seen_attributes.nLength, sizeof seen_attributes);
    EXPECT_TRUE(seen_attributes.bInheritHandle);
    EXPECT_TRUE(seen_dacl_present);
    EXPECT_EQ(seen_dacl, nullptr);
    EXPECT_FALSE(seen_dacl_defaulted);
    EXPECT_FALSE(seen_manual_reset);
    EXPECT_TRUE(seen_initial_state);
    EXPECT_EQ(seen_name, event_name);
    // The load goes on without it.
    EXPECT_EQ(log_texts(), (Texts{banner, "Farlo CreateEvent failed 6\n"}));
    opal_handle handle = nullptr;
    EXPECT_EQ(CALL(dll, ValidateClusterW)(&handle), 0u);
    EXPECT_EQ(CALL(dll, UnInitializeClusterW)(handle), 0u);
}

BOOL WINAPI fail_with_5(SECURITY_DESCRIPTOR*, DWORD) {
    SetLastError(5);
    return FALSE;
}
BOOL WINAPI fail_with_87(SECURITY_DESCRIPTOR*, BOOL, ACL*, BOOL) {
    SetLastError(87);
    return FALSE;
}

TEST_F(Attach, StepsThatFailAreLoggedAndEndTheSetUp) {
    for (const DWORD level : {0u, 6u}) {
        const Texts front = level == 6 ? Texts{banner} : Texts{};
        environment().set_trace_level(level);
        {
            environment().remove_logs();
            std::unique_ptr<Interposer> failure;
            FarloDll dll([&](HMODULE module) {
                failure = std::make_unique<Interposer>(module, "InitializeSecurityDescriptor",
                                                       fail_with_5);
            });
            Texts wanted = front;
            wanted.push_back("Farlo InitializeSecurityDescriptor Error 5\n");
            EXPECT_EQ(log_texts(), wanted);
            EXPECT_EQ(OpenEventA(SYNCHRONIZE, FALSE, event_name), nullptr);
        }
        {
            environment().remove_logs();
            std::unique_ptr<Interposer> failure;
            FarloDll dll([&](HMODULE module) {
                failure =
                    std::make_unique<Interposer>(module, "SetSecurityDescriptorDacl", fail_with_87);
            });
            Texts wanted = front;
            wanted.push_back("Farlo SetSecurityDescriptorDacl Error 87\n");
            EXPECT_EQ(log_texts(), wanted);
            EXPECT_EQ(OpenEventA(SYNCHRONIZE, FALSE, event_name), nullptr);
        }
    }
}

// The name is taken by an object of another type.
TEST_F(Attach, AnEventThatCannotBeMadeDoesNotFailTheLoad) {
    const HANDLE mutex = CreateMutexA(nullptr, FALSE, event_name);
    ASSERT_NE(mutex, nullptr);
    EXPECT_EQ(load_at(0), Texts{"Farlo CreateEvent failed 6\n"});
    CloseHandle(mutex);
}

}  // namespace
