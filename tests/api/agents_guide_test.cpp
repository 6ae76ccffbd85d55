// The guides for authors of agents: what they name exists, and nothing is missing.
#include "api/export_names.h"
#include "api/project_file.h"

#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <string>

namespace {

using namespace support;

// All matches of the pattern's first group.
std::set<std::string> matches(const std::string& text, const char* pattern) {
    const std::regex regex(pattern);
    std::set<std::string> found;
    for (std::sregex_iterator match(text.begin(), text.end(), regex), end; match != end; ++match) {
        found.insert((*match)[1]);
    }
    return found;
}

// The name of a function, for its narrow and its wide form.
std::string without_form(std::string name) {
    if (name.back() == 'A' || name.back() == 'W') {
        name.pop_back();
    }
    return name;
}

std::set<std::string> functions() {
    std::set<std::string> names;
    for (const std::string& name : export_names()) {
        names.insert(without_form(name));
    }
    return names;
}

class AgentsGuide : public testing::Test {
  protected:
    const std::string m_guide = project_file(L"docs/agents.md");
};

TEST_F(AgentsGuide, NamesEveryFunction) {
    std::set<std::string> named;
    for (const std::string& word : matches(m_guide, "`([A-Z][A-Za-z]+)[(`]")) {
        named.insert(without_form(word));
    }
    for (const std::string& function : functions()) {
        EXPECT_TRUE(named.contains(function)) << function;
    }
}

TEST_F(AgentsGuide, NamesNoOtherFunctions) {
    const std::set<std::string> of_windows = {"DllMain", "FreeLibrary", "LoadLibrary",
                                              "LoadLibraryEx"};
    const std::set<std::string> known = functions();
    for (const std::string& word : matches(m_guide, "`([A-Z][a-z]+[A-Z][A-Za-z]+)[(`]")) {
        if (!of_windows.contains(word)) {
            EXPECT_TRUE(known.contains(without_form(word))) << word;
        }
    }
}

TEST_F(AgentsGuide, NamesConstantsOfTheHeader) {
    const std::string header = project_file(L"clitools/farlo/api/farlo.h");
    const std::set<std::string> defined = matches(header, "#define (FARLO_[A-Z0-9_]+)\\b");
    const std::set<std::string> of_lab = {"FARLO_NODE"};
    const std::set<std::string> named = matches(m_guide, "\\b(FARLO_[A-Z0-9_]+)\\b");
    EXPECT_GT(named.size(), 20u);
    for (const std::string& name : named) {
        EXPECT_TRUE(defined.contains(name) || of_lab.contains(name)) << name;
    }
}

// A reader looks a status up in one table.
TEST_F(AgentsGuide, SaysWhatEachStatusAsksFor) {
    const std::string header = project_file(L"clitools/farlo/api/farlo.h");
    const std::string statuses = between(header, "#define FARLO_STATUSES(X)", "\n\n");
    const std::string table = between(m_guide, "### What a status asks for\n", "\n## ");
    for (const std::string& name : matches(statuses, "X\\((FARLO_[A-Z_]+),")) {
        if (name != "FARLO_SUCCESS") {
            EXPECT_NE(table.find('`' + name + '`'), std::string::npos) << name;
        }
    }
}

// Authors need the numbers for fault plans.
TEST(LabGuide, NamesTheNumberOfEachMethod) {
    std::set<std::string> defined =
        matches(project_file(L"platform/ztservice.h"), "#define ZTMETHOD_[A-Z_]+ ([0-9]+)u");
    EXPECT_EQ(defined.erase("0"), 1u);  // ZTMETHOD_MAJOR
    const std::string methods = between(project_file(L"docs/lab.md"),
                                        "| number | name | called by |\n|---|---|---|\n", "\n\n");
    EXPECT_EQ(matches('\n' + methods, "\n[| ]*([0-9]+) "), defined);
}

}  // namespace
