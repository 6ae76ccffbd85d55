// What the tests stand on, tested: the DLL and its environment.
#include "support/farlo_dll.h"
#include "support/interposer.h"
#include "support/trace_lines.h"

#include <gtest/gtest.h>

#include <winternl.h>

#include <memory>

// winternl.h leaves it out.
extern "C" NTSTATUS NTAPI NtOpenKey(HANDLE* key, ACCESS_MASK access, OBJECT_ATTRIBUTES* attributes);

namespace {

using support::environment;
using support::FarloDll;

class Loading : public testing::Test {
  protected:
    Loading() { forget(); }
    ~Loading() override { forget(); }

    static void forget() {
        environment().clear_trace_level();
        environment().clear_registry(support::volume_manager_key);
        environment().remove_logs();
    }

    static std::vector<std::string> logged() {
        std::string error;
        std::vector<std::string> texts;
        for (const support::LogLine& line : support::read_log(environment().log_file(), error)) {
            texts.push_back(line.text);
        }
        EXPECT_EQ(error, "");
        return texts;
    }

    const std::string banner = "=====Farlo DllMain ,Created farlo.log=====";
    const std::string ngc = "=====Enabled NGC=====";
};

TEST_F(Loading, ReadsTheSettingsOfThisTestEachTime) {
    using Lines = std::vector<std::string>;
    { const FarloDll dll; }
    EXPECT_EQ(logged(), Lines{});

    environment().set_trace_level(6);
    { const FarloDll dll; }
    EXPECT_EQ(logged(), Lines{banner});

    environment().set_trace_level(0);
    environment().set_registry(support::volume_manager_key, L"SupportSCSI3", 2);
    { const FarloDll dll; }
    EXPECT_EQ(logged(), (Lines{banner, ngc}));
}

TEST_F(Loading, SettingsHaveAnyType) {
    const DWORD six = 6;
    environment().set_registry(support::tracing_key, L"TRACELEVEL", L"6");
    { const FarloDll dll; }
    environment().set_registry(support::tracing_key, L"TRACELEVEL", REG_BINARY, &six, sizeof six);
    { const FarloDll dll; }
    EXPECT_EQ(logged(), std::vector<std::string>{});
}

TEST_F(Loading, TheMachinesOwnRegistryIsOutOfReach) {
    environment();
    HKEY key = nullptr;
    EXPECT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft", 0, KEY_READ, &key),
              ERROR_FILE_NOT_FOUND);
}

// The status of opening a key of the machine by its native name, which nothing replaces.
NTSTATUS open_native_key(const wchar_t* path) {
    UNICODE_STRING name;
    RtlInitUnicodeString(&name, path);
    OBJECT_ATTRIBUTES attributes;
    InitializeObjectAttributes(&attributes, &name, OBJ_CASE_INSENSITIVE, nullptr, nullptr);
    HANDLE key = nullptr;
    const NTSTATUS status = NtOpenKey(&key, KEY_READ, &attributes);
    if (status == 0) {
        NtClose(key);
    }
    return status;
}

TEST_F(Loading, SettingsStayOutOfTheMachinesRegistry) {
    constexpr auto not_found = static_cast<NTSTATUS>(0xC0000034);
    environment().set_registry(L"SOFTWARE\\farlo-test-only", L"value", 1);
    EXPECT_EQ(open_native_key(L"\\Registry\\Machine\\SOFTWARE\\farlo-test-only"), not_found);
    EXPECT_EQ(open_native_key(L"\\Registry\\Machine\\SOFTWARE\\Microsoft"), 0);
    environment().clear_registry(L"SOFTWARE\\farlo-test-only");
}

TEST_F(Loading, LeavesNothingLoaded) {
    { const FarloDll dll; }
    EXPECT_EQ(GetModuleHandleW(L"farlo.dll"), nullptr);
}

TEST_F(Loading, RefusesASecondOneAtATime) {
    const FarloDll dll;
    EXPECT_THROW(FarloDll(), std::runtime_error);
}

TEST_F(Loading, KnowsNoEntryThatIsNone) {
    const FarloDll dll;
    EXPECT_NE(CALL(dll, OnlineDgExW), nullptr);
    EXPECT_THROW(dll.entry<OnlineDgExW_fn>("OnlineDgExX"), std::runtime_error);
}

TEST_F(Loading, CallsBeforeAttach) {
    std::unique_ptr<support::Failure<decltype(CreateEventA)>> fails;
    const FarloDll dll([&](HMODULE module) {
        fails = std::make_unique<support::Failure<decltype(CreateEventA)>>(
            module, "CreateEventA", support::FailingCalls{.last_error = ERROR_INVALID_HANDLE},
            nullptr);
    });
    EXPECT_EQ(logged(), std::vector<std::string>{"Farlo CreateEvent failed 6\n"});
    EXPECT_EQ(fails->calls(), 1u);
}

TEST_F(Loading, PassesOnWhatBeforeAttachRaises) {
    EXPECT_THROW(FarloDll([](HMODULE) { throw std::runtime_error("no"); }), std::runtime_error);
    EXPECT_EQ(GetModuleHandleW(L"farlo.dll"), nullptr);
}

}  // namespace
