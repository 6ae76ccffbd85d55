// Tests of support/farlo_dll.h: loading the DLL, and its environment.
#include "support/farlo_dll.h"
#include "support/interposer.h"
#include "support/log_messages.h"
#include "support/service_names.h"
#include "support/trace_lines.h"

#include <gtest/gtest.h>

#include <winternl.h>

#include <memory>

// Not declared in winternl.h.
extern "C" NTSTATUS NTAPI NtOpenKey(HANDLE* key, ACCESS_MASK access, OBJECT_ATTRIBUTES* attributes);

namespace {

using support::environment;
using support::FarloDll;

class LoadedDll : public testing::Test {
  protected:
    LoadedDll() { reset(); }
    ~LoadedDll() override { reset(); }

    static void reset() {
        environment().clear_trace_level();
        environment().clear_registry(support::volume_manager_key);
        environment().remove_logs();
    }

    using Lines = std::vector<std::string>;

    const std::string banner = "=====Farlo DllMain ,Created farlo.log=====";
    const std::string ngc = "=====Enabled NGC=====";
};

TEST_F(LoadedDll, ReadsCurrentSettingsAtEachLoad) {
    { const FarloDll dll; }
    EXPECT_EQ(support::log_messages(), Lines{});

    environment().set_trace_level(6);
    { const FarloDll dll; }
    EXPECT_EQ(support::log_messages(), Lines{banner});

    environment().set_trace_level(0);
    environment().set_registry(support::volume_manager_key, L"SupportSCSI3", 2);
    { const FarloDll dll; }
    EXPECT_EQ(support::log_messages(), (Lines{banner, ngc}));
}

TEST_F(LoadedDll, IgnoresTraceLevelOfWrongType) {
    const DWORD six = 6;
    environment().set_registry(support::tracing_key, L"TRACELEVEL", L"6");
    { const FarloDll dll; }
    environment().set_registry(support::tracing_key, L"TRACELEVEL", REG_BINARY, &six, sizeof six);
    { const FarloDll dll; }
    EXPECT_EQ(support::log_messages(), Lines{});
}

TEST_F(LoadedDll, CannotReachRegistryOfMachine) {
    environment();
    HKEY key = nullptr;
    EXPECT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft", 0, KEY_READ, &key),
              ERROR_FILE_NOT_FOUND);
}

// Opens a key of the machine by its native name, which is not redirected. Returns the status.
NTSTATUS open_native_key(const wchar_t* path) {
    UNICODE_STRING name;
    RtlInitUnicodeString(&name, path);
    OBJECT_ATTRIBUTES attributes;
    InitializeObjectAttributes(&attributes, &name, OBJ_CASE_INSENSITIVE, nullptr, nullptr);
    HANDLE key = nullptr;
    const NTSTATUS status = NtOpenKey(&key, KEY_READ, &attributes);
    if (status == support::native::success) {
        NtClose(key);
    }
    return status;
}

TEST_F(LoadedDll, KeepsSettingsOutOfRegistryOfMachine) {
    environment().set_registry(L"SOFTWARE\\farlo-test-only", L"value", 1);
    EXPECT_EQ(open_native_key(L"\\Registry\\Machine\\SOFTWARE\\farlo-test-only"),
              support::native::object_name_not_found);
    EXPECT_EQ(open_native_key(L"\\Registry\\Machine\\SOFTWARE\\Microsoft"),
              support::native::success);
    environment().clear_registry(L"SOFTWARE\\farlo-test-only");
}

TEST_F(LoadedDll, IsUnloadedWithObject) {
    { const FarloDll dll; }
    EXPECT_EQ(GetModuleHandleW(L"farlo.dll"), nullptr);
}

TEST_F(LoadedDll, CannotBeLoadedTwice) {
    const FarloDll dll;
    EXPECT_THROW(FarloDll(), std::runtime_error);
}

TEST_F(LoadedDll, ThrowsForUnknownExport) {
    const FarloDll dll;
    EXPECT_NE(CALL(dll, OnlineDgExW), nullptr);
    EXPECT_THROW(dll.entry<OnlineDgExW_fn>("OnlineDgExX"), std::runtime_error);
}

TEST_F(LoadedDll, CallsFunctionBeforeAttach) {
    std::unique_ptr<support::Failure<decltype(CreateEventA)>> failing;
    const FarloDll dll([&](HMODULE module) {
        failing = std::make_unique<support::Failure<decltype(CreateEventA)>>(
            module, "CreateEventA", support::FailingCalls{.last_error = ERROR_INVALID_HANDLE},
            nullptr);
    });
    EXPECT_EQ(support::log_messages(), Lines{"Farlo CreateEvent failed 6\n"});
    EXPECT_EQ(failing->calls(), 1u);
}

TEST_F(LoadedDll, RethrowsExceptionOfFunctionBeforeAttach) {
    EXPECT_THROW(FarloDll([](HMODULE) { throw std::runtime_error("no"); }), std::runtime_error);
    EXPECT_EQ(GetModuleHandleW(L"farlo.dll"), nullptr);
}

}  // namespace
