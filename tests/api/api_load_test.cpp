// FARLO_EXPORTS and farlo_api_load.
#include "farlo.h"
#include "support/interposer.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

namespace {

using namespace support;

std::vector<std::string> exported_names() {
    return {
#define EXPORT(name) #name,
#include "api/exports.inc"
#undef EXPORT
    };
}

std::vector<std::string> listed_names() {
    return {
#define NAME(name) #name,
        FARLO_EXPORTS(NAME)
#undef NAME
    };
}

// The pointers of an api by the names of its members.
struct Entry {
    std::string name;
    void* address;
};
std::vector<Entry> entries(const farlo_api& api) {
    return {
#define EXPORT(name) {#name, reinterpret_cast<void*>(api.name)},
#include "api/exports.inc"
#undef EXPORT
    };
}

class ApiLoad : public testing::Test {
  protected:
    void SetUp() override {
        std::memset(&api, 0xFF, sizeof api);
        module = LoadLibraryW(L"farlo.dll");
        ASSERT_NE(module, nullptr);
    }
    void TearDown() override { FreeLibrary(module); }

    farlo_api api;
    HMODULE module = nullptr;
};

TEST(FarloExports, ListsEachExportOnce) {
    std::vector<std::string> listed = listed_names();
    std::sort(listed.begin(), listed.end());
    EXPECT_EQ(listed, exported_names());
    EXPECT_EQ(listed.size(), 87u);
}

TEST_F(ApiLoad, StoresTheAddressOfEachExport) {
    EXPECT_EQ(farlo_api_load(&api, module), nullptr);
    EXPECT_EQ(sizeof api, 87 * sizeof(void*));
    for (const Entry& entry : entries(api)) {
        EXPECT_EQ(entry.address,
                  reinterpret_cast<void*>(GetProcAddress(module, entry.name.c_str())))
            << entry.name;
    }
}

TEST_F(ApiLoad, ReturnsTheOneNameThatTheModuleLacks) {
    for (const std::string& missing : exported_names()) {
        StandIn<FARPROC(HMODULE, const char*)> lookup(
            GetModuleHandleW(nullptr), "GetProcAddress", [&](HMODULE asked, const char* name) {
                EXPECT_EQ(asked, module);
                return name == missing ? nullptr : lookup.real(asked, name);
            });
        std::memset(&api, 0xFF, sizeof api);
        const char* const returned = farlo_api_load(&api, module);
        EXPECT_EQ(lookup.calls(), 87u);
        ASSERT_NE(returned, nullptr) << missing;
        EXPECT_EQ(returned, missing);
        for (const Entry& entry : entries(api)) {
            EXPECT_EQ(entry.address == nullptr, entry.name == missing) << entry.name;
        }
    }
}

TEST_F(ApiLoad, ReturnsTheFirstNameOfAnotherDll) {
    EXPECT_STREQ(farlo_api_load(&api, GetModuleHandleW(L"kernel32.dll")), "InitializeClusterW");
    for (const Entry& entry : entries(api)) {
        EXPECT_EQ(entry.address, nullptr) << entry.name;
    }
}

// GetProcAddress takes NULL for the program itself.
TEST_F(ApiLoad, FindsNothingInAModuleThatIsNotLoaded) {
    EXPECT_STREQ(farlo_api_load(&api, nullptr), "InitializeClusterW");
    for (const Entry& entry : entries(api)) {
        EXPECT_EQ(entry.address, nullptr) << entry.name;
    }
}

}  // namespace
