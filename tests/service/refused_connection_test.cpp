// Connections that the bus refuses because of its environment: what the caller of the library
// gets, and the line on stderr.
#include "farlo.h"
#include "service/environment_variable.h"
#include "service/process.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace {

using namespace support;

constexpr DWORD hang_ms = 60'000;

class RefusedConnection : public testing::Test {
  protected:
    using Value = std::optional<std::wstring>;

    // A client that connected twice, with these values of the environment.
    struct Client {
        Client(const Value& service, const Value& scenario) {
            const EnvironmentVariable service_variable(L"ZTLAB_SERVICE", service);
            const EnvironmentVariable scenario_variable(L"ZTLAB_SCENARIO", scenario);
            const Process process(beside_this_program(L"connecting_client.exe"));
            EXPECT_EQ(process.wait(hang_ms), std::optional<DWORD>(0));
            output = process.output();
            errors = process.errors();
        }
        std::string output;
        std::string errors;
    };
    // Expects both to fail with one line on stderr.
    static void expect_refused(const Value& service, const Value& scenario,
                               const std::string& reason) {
        const Client client(service, scenario);
        const std::string status = std::to_string(FARLO_NOT_CONNECTED) + "\r\n";
        EXPECT_EQ(client.output, status + status);
        EXPECT_EQ(client.errors, "ztbus3: connection refused: " + reason + "\r\n");
    }
    static void expect_accepted(const Value& scenario) {
        const Client client(std::nullopt, scenario);
        EXPECT_EQ(client.output, "0\r\n0\r\n");
        EXPECT_EQ(client.errors, "");
    }
    // Returns a path as messages show it.
    static std::string shown(const std::wstring& path) { return {path.begin(), path.end()}; }

    TemporaryFolder folder;
};

TEST_F(RefusedConnection, NamesTheVariablesWhenNoneIsSet) {
    expect_refused(std::nullopt, std::nullopt, "neither ZTLAB_SERVICE nor ZTLAB_SCENARIO is set");
    expect_refused(L"", L"", "neither ZTLAB_SERVICE nor ZTLAB_SCENARIO is set");
}

TEST_F(RefusedConnection, ReportsMissingScenario) {
    const std::wstring path = folder.file(L"nowhere.json");
    expect_refused(std::nullopt, path, shown(path) + ": No such file or directory");
}

TEST_F(RefusedConnection, ReportsUnreadableScenario) {
    const std::wstring path = folder.write(L"locked.json", "{}");
    const HANDLE only_reader = CreateFileW(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING,
                                           FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(only_reader, INVALID_HANDLE_VALUE);
    expect_refused(std::nullopt, path, shown(path) + ": Permission denied");
    CloseHandle(only_reader);
    expect_accepted(path);
}

TEST_F(RefusedConnection, ReportsLineAndColumnOfMalformedScenario) {
    const std::wstring path = folder.write(L"malformed.json", "{\n  \"node\": }\n}\n");
    expect_refused(std::nullopt, path,
                   shown(path) + ":2: syntax error while parsing value - unexpected '}'; expected "
                                 "'[', '{', or a literal (column 11)");
}

TEST_F(RefusedConnection, ReportsLineOfUnknownKey) {
    const std::wstring path = folder.write(L"unknown.json", "{\n\"nodes\": {}\n}\n");
    expect_refused(std::nullopt, path, shown(path) + ":2: unknown key \"nodes\"");
}

TEST_F(RefusedConnection, ReportsMalformedService) {
    const struct {
        const wchar_t* service;
        const char* reason;
    } rows[] = {
        {L"127.0.0.1", R"("127.0.0.1": it has no port)"},
        {L"4711", R"("4711": it has no port)"},
        {L"127.0.0.1:", R"("127.0.0.1:": "" is not a port)"},
        {L"127.0.0.1:4711\r", R"("127.0.0.1:4711\x0d": "4711\x0d" is not a port)"},
        {L"127.0.0.1: 4711", R"("127.0.0.1: 4711": " 4711" is not a port)"},
        {L"127.0.0.1:-1", R"("127.0.0.1:-1": "-1" is not a port)"},
        {L"127.0.0.1:0", R"("127.0.0.1:0": port 0 is not from 1 to 65535)"},
        {L"127.0.0.1:65536", R"("127.0.0.1:65536": port 65536 is not from 1 to 65535)"},
        {L"127.0.0.1:99999999999999999999",
         R"("127.0.0.1:99999999999999999999": port 99999999999999999999 is not from 1 to 65535)"},
        {L"localhost:4711", R"("localhost:4711": "localhost" is not a numeric address)"},
        {L":4711", R"(":4711": "" is not a numeric address)"},
    };
    const std::wstring scenario = folder.write(L"scenario.json", "{}");
    for (const auto& row : rows) {
        expect_refused(row.service, scenario,
                       std::string("ZTLAB_SERVICE is ") + row.reason +
                           "; expected for example 127.0.0.1:4711");
    }
}

TEST_F(RefusedConnection, ReportsNothingWhenServiceDoesNotRun) {
    const Client client(L"127.0.0.1:1", std::nullopt);
    EXPECT_EQ(client.output, "20\r\n20\r\n");
    EXPECT_EQ(client.errors, "");
}

TEST_F(RefusedConnection, AcceptsScenarioWithLongPath) {
    std::wstring name = L"s";
    name.resize(240, L's');
    expect_accepted(folder.write(name + L".json", "{}"));
}

}  // namespace
