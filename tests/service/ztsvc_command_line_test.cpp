// The messages and exit codes of ztsvc.exe for its command lines.
#include "service/service_fixture.h"
#include "store/locks.h"

#include <gmock/gmock.h>

namespace {

using namespace support;
using testing::HasSubstr;

class CommandLine : public testing::Test {
  protected:
    struct Ended {
        DWORD code;
        std::string out;
        std::string err;
    };
    static Ended run(const std::wstring& arguments) {
        const Process process(L"ztsvc.exe " + arguments);
        const std::optional<DWORD> code = process.wait(hang_ms);
        EXPECT_TRUE(code.has_value()) << "it still runs";
        return {code.value_or(~0u), process.output(), process.errors()};
    }
    // Expects exit code 2 and one line of output.
    static void expect_refused(const std::wstring& arguments, const std::string& line) {
        const Ended ended = run(arguments);
        EXPECT_EQ(ended.code, 2u);
        EXPECT_EQ(ended.out, "");
        EXPECT_EQ(ended.err, line + "\r\n");
    }
    // Returns a path as messages show it.
    static std::string shown(const std::wstring& path) { return {path.begin(), path.end()}; }

    std::wstring scenario_option() const {
        return L"--scenario " + in_quotes(m_folder.write(L"good.json", "{}")) + L" ";
    }

    TemporaryFolder m_folder;
};

TEST_F(CommandLine, PrintsHelp) {
    const Ended help = run(L"--help");
    EXPECT_EQ(help.code, 0u);
    EXPECT_EQ(help.err, "");
    for (const char* option : {"--scenario", "--port", "--port-file", "--faults", "--driver",
                               "--log", "--quiet", "--help", "--version"}) {
        EXPECT_THAT(help.out, HasSubstr(option));
    }
}

TEST_F(CommandLine, RejectsInvalidOptions) {
    for (const wchar_t* arguments :
         {L"", L"--port 70000", L"--port -1", L"--port x", L"--nonsense", L"--scenario", L"stray",
          L"--log xml", L"--log", L"--quiet --log json"}) {
        SCOPED_TRACE(shown(arguments));
        const Ended ended = run(arguments[0] == L'\0' || std::wstring(arguments) == L"--scenario"
                                    ? arguments
                                    : scenario_option() + arguments);
        EXPECT_EQ(ended.code, 2u);
        EXPECT_EQ(ended.out, "");
        // One line that is not empty.
        EXPECT_GT(ended.err.find('\n'), 5u);
        EXPECT_EQ(ended.err.find('\n'), ended.err.size() - 1) << ended.err;
    }
}

TEST_F(CommandLine, ReportsMissingScenario) {
    const std::wstring path = m_folder.file(L"nowhere.json");
    expect_refused(L"--scenario " + in_quotes(path), shown(path) + ": No such file or directory");
}

TEST_F(CommandLine, ReportsErrorInScenarioWithLine) {
    const std::wstring path =
        m_folder.write(L"bad.json", "{\n  \"node\": {\"name\": \"n1\"},\n  \"oops\": 1\n}\n");
    expect_refused(L"--scenario " + in_quotes(path), shown(path) + ":3: unknown key \"oops\"");
}

TEST_F(CommandLine, ReportsMalformedScenarioWithLine) {
    const std::wstring path = m_folder.write(L"bad.json", "{\n\n  nonsense\n}\n");
    const Ended ended = run(L"--scenario " + in_quotes(path));
    EXPECT_EQ(ended.code, 2u);
    EXPECT_EQ(ended.err.find(shown(path) + ":3: "), 0u) << ended.err;
    EXPECT_EQ(ended.err.find('\n'), ended.err.size() - 1) << ended.err;
}

TEST_F(CommandLine, ReportsErrorInFaultPlanWithLine) {
    const struct {
        const char* json;
        const char* reason;
    } rows[] = {
        {R"({"drop": true})", "1: expected an array"},
        {"[\n{\"minor\": 1}]", "2: the rule does nothing"},
        {"[{\"drop\": true,\n\"whatever\": 1}]", "2: unknown key \"whatever\""},
        {R"([{"status": "zero"}])", "1: \"zero\" is not a valid status"},
        {R"([{"status": "1", "drop": true}])", "1: \"status\" and \"drop\" exclude each other"},
        {R"([{"function": "PsCreatePropset", "drop": true}])",
         "1: \"PsCreatePropset\" is not a function that reaches the service"},
        {R"([{"function": "DbGetObjects", "minor": 1, "drop": true}])",
         "1: only PrCallDispatch has a \"minor\""},
        {R"([{"call": 0, "drop": true}])", "1: calls are counted from 1"},
        {"[{\"object\": \"service\", \"drop\": true},\n{\"object\": \"dg1\", \"drop\": true}]",
         "2: there is no object \"dg1\""},
        {R"([{"function": "DbGetObjects", "object": "misc", "drop": true}])",
         "1: the rule never applies: calls of DbGetObjects have no \"object\""},
        {R"([{"type": "t", "lie": "null"}])",
         "1: the rule never applies: no call that it could change has \"type\""},
        {R"([{"drop": true}, {"minor": 2003, "drop": true}])",
         "1: the rule never applies: an earlier one applies to all of its calls: {\"drop\":true}"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.json);
        const std::wstring path = m_folder.write(L"faults.json", row.json);
        expect_refused(scenario_option() + L"--faults " + in_quotes(path),
                       shown(path) + ":" + row.reason);
    }
    const std::wstring nowhere = m_folder.file(L"nowhere.json");
    expect_refused(scenario_option() + L"--faults " + in_quotes(nowhere),
                   shown(nowhere) + ": No such file or directory");
}

TEST_F(CommandLine, ReportsPortInUse) {
    const Service first("{}", "[]", 0);
    expect_refused(scenario_option() + L"--port " + std::to_wstring(first.port()),
                   "port " + std::to_string(first.port()) + ": in use by another program");
    EXPECT_TRUE(first.runs());
}

// The lock of those that load drivers is held for as long as the service runs.
TEST_F(CommandLine, SaysWhatItWaitsFor) {
    const lab::MachineLock busy(L"Global\\farlo lab drivers");
    const ULONGLONG begin = GetTickCount64();
    const Process service(L"ztsvc.exe --driver --port 0 " + scenario_option());
    EXPECT_TRUE(eventually([&] { return !service.errors().empty(); }, hang_ms));
    EXPECT_GE(GetTickCount64() - begin, 1900u);
    EXPECT_EQ(service.errors(), "ztsvc: waiting for the driver dmcontrol.sys to load\r\n");
}

TEST_F(CommandLine, EndsPortFileInLineFeed) {
    const std::wstring path = m_folder.file(L"port");
    const Process service(L"ztsvc.exe --port 0 " + scenario_option() + L"--port-file " +
                          in_quotes(path));
    ASSERT_TRUE(eventually([&] { return !read_text(path).empty(); }, hang_ms));
    const std::string port = read_text(path);
    EXPECT_EQ(port, std::to_string(std::stoul(port)) + "\n");
}

TEST_F(CommandLine, ReportsUnwritablePortFile) {
    const std::wstring path = m_folder.file(L"no folder\\port");
    expect_refused(scenario_option() + L"--port 0 --port-file " + in_quotes(path),
                   shown(path) + ": cannot be written");
}

TEST_F(CommandLine, AcceptsFileNameBeyondAscii) {
    const std::wstring path = m_folder.write(L"sz\u00e9nario.json", "{\"oops\": 1}");
    const Ended ended = run(L"--scenario " + in_quotes(path));
    EXPECT_EQ(ended.code, 2u);
    EXPECT_THAT(ended.err, HasSubstr("nario.json:1: unknown key \"oops\""));
}

}  // namespace
