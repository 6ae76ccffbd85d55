// What is written twice: the index and the version in farlo.h, and the sample in README.md.
#include "api/export_names.h"
#include "api/project_file.h"
#include "farlo.h"
#include "service/process.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <cstdlib>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace support;

// The exports in the index of farlo.h. "NAMEA/W" stands for NAMEA and NAMEW.
std::multiset<std::string> names_of_index(const std::string& index) {
    std::multiset<std::string> names;
    std::istringstream words(index);
    for (std::string word; words >> word;) {
        if (word.back() == ',') {
            word.pop_back();
        }
        if (word.size() > 3 && word.substr(word.size() - 3) == "A/W") {
            names.insert(word.substr(0, word.size() - 2));
            names.insert(word.substr(0, word.size() - 3) + "W");
        } else if (GetProcAddress(GetModuleHandleW(L"farlo.dll"), word.c_str()) != nullptr) {
            names.insert(word);
        }
    }
    return names;
}

TEST(HeaderIndex, NamesEachFunctionOnce) {
    const HMODULE module = LoadLibraryW(L"farlo.dll");
    ASSERT_NE(module, nullptr);
    const std::string header = project_file(L"clitools/farlo/api/farlo.h");
    const std::set<std::string> exported = export_names();
    EXPECT_EQ(names_of_index(between(header, "FUNCTIONS BY TASK", "\n * The functions are")),
              std::multiset<std::string>(exported.begin(), exported.end()));
    FreeLibrary(module);
}

// The comment before each declaration states how long the function may block.
TEST(HeaderComments, StateTheBlockingTimeOfEachFunction) {
    const std::string header = project_file(L"clitools/farlo/api/farlo.h");
    int functions = 0;
    for (std::size_t at = header.find("\nFARLO_API "); at != std::string::npos;
         at = header.find("\nFARLO_API ", at + 1)) {
        ++functions;
        const std::string comment = header.substr(header.rfind("/*", at), at);
        const std::string declaration = header.substr(at + 1, header.find('(', at) - at - 1);
        EXPECT_NE(comment.substr(0, comment.find("*/")).find("\n * Blocks: "), std::string::npos)
            << declaration;
    }
    EXPECT_EQ(functions, 87);
}

TEST(HeaderVersion, MatchesVersionOfDll) {
    const HMODULE module = LoadLibraryW(L"farlo.dll");
    ASSERT_NE(module, nullptr);
    wchar_t path[MAX_PATH];
    ASSERT_NE(GetModuleFileNameW(module, path, MAX_PATH), 0u);
    FreeLibrary(module);
    DWORD unused = 0;
    std::vector<char> data(GetFileVersionInfoSizeW(path, &unused));
    ASSERT_TRUE(GetFileVersionInfoW(path, 0, static_cast<DWORD>(data.size()), data.data()));
    VS_FIXEDFILEINFO* version = nullptr;
    UINT length = 0;
    ASSERT_TRUE(VerQueryValueW(data.data(), L"\\", reinterpret_cast<void**>(&version), &length));
    EXPECT_EQ(version->dwFileVersionMS, MAKELONG(FARLO_VERSION_MINOR, FARLO_VERSION_MAJOR));
    EXPECT_EQ(version->dwFileVersionLS, MAKELONG(0, FARLO_VERSION_PATCH));
}

TEST(ReadmeSample, MatchesProgramThatIsBuilt) {
    EXPECT_EQ(between(project_file(L"README.md"), "```c\n", "```\n"),
              project_file(L"tests/api/readme_sample.c"));
}

TEST(ReadmeSample, ImportsDiskGroup) {
    const TemporaryFolder folder;
    const std::wstring scenario = folder.write(
        L"scenario.json", R"({"disk_groups": [{"name": "dg_data", "dgid": "guid-1"}]})");
    SetEnvironmentVariableW(L"ZTLAB_SCENARIO", scenario.c_str());
    Process sample(beside_this_program(L"readme_sample.exe"));
    EXPECT_EQ(sample.wait(60'000), DWORD{EXIT_SUCCESS});
    EXPECT_EQ(sample.output(), "dg_data: success\r\n");
    SetEnvironmentVariableW(L"ZTLAB_SCENARIO", nullptr);
}

}  // namespace
