// Tests of support/interposer.h: replacing imports.
#include "support/farlo_dll.h"
#include "support/interposer.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

using support::Failure;
using support::Interposer;
using support::StandIn;

// The tests replace imports of this program. Each import is called in a function of its own,
// because the compiler may read its address only once for several calls in one function.
const HMODULE self = GetModuleHandleW(nullptr);

[[gnu::noinline]] DWORD process_id() {
    return GetCurrentProcessId();
}
[[gnu::noinline]] DWORD thread_id() {
    return GetCurrentThreadId();
}

DWORD WINAPI seven() {
    return 7;
}

TEST(Interposer, ReplacesAndRestoresImport) {
    const DWORD real = process_id();
    {
        const Interposer replaced(self, "GetCurrentProcessId", &seven);
        EXPECT_EQ(process_id(), 7u);
        EXPECT_EQ(replaced.original<decltype(seven)>()(), real);
    }
    EXPECT_EQ(process_id(), real);
}

TEST(Interposer, ReplacesOnlyImportFromNamedDll) {
    auto* const replacement = reinterpret_cast<void*>(&seven);
    {
        const Interposer replaced(self, "kernel32.DLL", "GetCurrentProcessId", replacement);
        EXPECT_EQ(process_id(), 7u);
    }
    EXPECT_THROW(Interposer(self, "ztbus3.dll", "GetCurrentProcessId", replacement),
                 std::runtime_error);
}

TEST(Interposer, ThrowsForFunctionThatIsNotImported) {
    EXPECT_THROW(Interposer(self, "NoSuchFunction", &seven), std::runtime_error);
    EXPECT_FALSE(support::imports(self, "NoSuchFunction"));
    EXPECT_TRUE(support::imports(self, "GetCurrentProcessId"));
}

TEST(Interposer, MayOutliveDll) {
    support::environment();
    std::unique_ptr<Interposer> replaced;
    {
        const support::FarloDll dll;
        replaced = std::make_unique<Interposer>(dll.module(), "GetCurrentProcessId", &seven);
    }
    ASSERT_EQ(GetModuleHandleW(L"farlo.dll"), nullptr);
    replaced.reset();
}

TEST(StandIn, CapturesAndCallsRealFunction) {
    const DWORD real = process_id();
    DWORD added = 1;
    StandIn<decltype(GetCurrentProcessId)>* self_reference = nullptr;
    StandIn<decltype(GetCurrentProcessId)> process(self, "GetCurrentProcessId",
                                                   [&] { return self_reference->real() + added; });
    self_reference = &process;
    EXPECT_EQ(process_id(), real + 1);
    added = 2;
    EXPECT_EQ(process_id(), real + 2);
    EXPECT_EQ(process.calls(), 2u);
}

TEST(StandIn, KeepsTwoFunctionsOfOneSignatureApart) {
    StandIn<DWORD()> process(self, "GetCurrentProcessId", [] { return 1u; });
    StandIn<DWORD()> thread(self, "GetCurrentThreadId", [] { return 2u; });
    EXPECT_EQ(process_id(), 1u);
    EXPECT_EQ(thread_id(), 2u);
}

TEST(Failure, FailsOnlySelectedCalls) {
    const DWORD real = process_id();
    const Failure<DWORD()> fails(self, "GetCurrentProcessId",
                                 {.call = 2, .times = 2, .last_error = ERROR_BUSY}, 0u);
    SetLastError(ERROR_SUCCESS);
    EXPECT_EQ(process_id(), real);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_SUCCESS));
    EXPECT_EQ(process_id(), 0u);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_BUSY));
    EXPECT_EQ(process_id(), 0u);
    EXPECT_EQ(process_id(), real);
    EXPECT_EQ(fails.calls(), 4u);
}

}  // namespace
