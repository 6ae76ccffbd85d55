// A program that is linked with the import library.
#include "farlo.h"

#include <gtest/gtest.h>

#include <windows.h>

namespace {

// What is not declared with dllimport is called by way of a piece of code in the program.
TEST(Linked, CallsEachFunctionDirectly) {
    const HMODULE module = GetModuleHandleW(L"farlo.dll");
    ASSERT_NE(module, nullptr) << "the program does not import farlo.dll";
    farlo_api loaded;
    ASSERT_EQ(farlo_api_load(&loaded, module), nullptr);
#define EXPORT(name) EXPECT_EQ(&(name), loaded.name) << #name;
#include "api/exports.inc"
#undef EXPORT
}

TEST(Linked, GetsTheStatusesOfTheDll) {
    EXPECT_EQ(ValidateClusterW(nullptr), FARLO_NOT_CONNECTED);
    EXPECT_EQ(StartCVMClusterW(nullptr), FARLO_NULL_HANDLE);
}

}  // namespace
