// The lines that ztsvc.exe prints about its clients.
#include "service/loopback.h"
#include "service/service_fixture.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <sstream>

namespace {

using namespace support;
using testing::ElementsAre;
using testing::MatchesRegex;

using Lines = std::vector<std::string>;

class ServiceLog : public ServiceTest {
  protected:
    // The lines once there are that many, without those about the node.
    Lines lines(std::size_t count) const {
        EXPECT_TRUE(eventually([&] { return client_lines().size() >= count; })) << service->log();
        return client_lines();
    }
    static std::string this_client(int number) {
        return "client " + std::to_string(number) + " (ztsvc_test.exe, pid " +
               std::to_string(GetCurrentProcessId()) + ")";
    }

  private:
    Lines client_lines() const {
        Lines found;
        std::istringstream log(service->log());
        for (std::string line; std::getline(log, line);) {
            line.erase(line.find_last_not_of('\r') + 1);
            if (line.find("client") != std::string::npos) {
                found.push_back(line);
            }
        }
        return found;
    }
};

TEST_F(ServiceLog, NamesClientsAndMethods) {
    start(one_group);
    const opal_handle handle = connect();
    EXPECT_EQ(call_group_method(handle, import_method), ZTSTATUS_OK);
    EXPECT_EQ(call_group_method(handle, import_method), ZTERROR_GROUP_ALREADY_ONLINE);
    EXPECT_EQ(call_service_method(handle, ZTMETHOD_MISCOP_STARTNODE), ZTSTATUS_OK);
    EXPECT_EQ(call_service_method(handle, 4711), ZTERROR_UNKNOWN_METHOD);
    release(handle);
    const std::string client = this_client(1);
    EXPECT_THAT(lines(6), ElementsAre(client + ": connected", client + ": DGOP_IMPORT -> 0x0",
                                      client + ": DGOP_IMPORT -> 0xe515007a",
                                      client + ": MISCOP_STARTNODE -> 0x0",
                                      client + ": method 4711 -> " + hex(ZTERROR_UNKNOWN_METHOD),
                                      client + ": disconnected"));
}

// A client that sends nothing, or something invalid, has only its number.
TEST_F(ServiceLog, NumbersClientsWithoutName) {
    start(one_group);
    closesocket(connect_to(service->port()));
    EXPECT_THAT(lines(2), ElementsAre("client 1: connected", "client 1: disconnected"));
    const SOCKET socket = connect_to(service->port());
    send_bytes(socket, "twenty bytes of rubbish", 20);
    EXPECT_THAT(lines(4),
                ElementsAre("client 1: connected", "client 1: disconnected", "client 2: connected",
                            "client 2: rejected: an invalid header"));
    closesocket(socket);
}

TEST_F(ServiceLog, WritesJson) {
    start(one_group, "[]", 0, L" --log json");
    const opal_handle handle = connect();
    EXPECT_EQ(call_group_method(handle, import_method), ZTSTATUS_OK);
    release(handle);
    const std::string time = R"(\{"time":"....-..-..T..:..:......Z","event":)";
    const std::string client =
        R"("client":1,"program":"ztsvc_test.exe","pid":)" + std::to_string(GetCurrentProcessId());
    EXPECT_THAT(
        lines(3),
        ElementsAre(MatchesRegex(time + "\"connected\"," + client + "\\}"),
                    MatchesRegex(time + "\"call\"," + client +
                                 R"(,"method":"DGOP_IMPORT","minor":2003,"status":"0x0"\})"),
                    MatchesRegex(time + "\"disconnected\"," + client + "\\}")));
    const std::string log = service->log();
    const std::string port = std::to_string(service->port());
    EXPECT_THAT(
        log.substr(0, log.find('\r')),
        MatchesRegex(time + R"("listening","address":"127.0.0.1:)" + port + R"(","driver":.*\})"));
}

TEST_F(ServiceLog, IsEmptyWithQuiet) {
    start(one_group, "[]", 0, L" --quiet");
    const opal_handle handle = connect();
    EXPECT_EQ(call_group_method(handle, import_method), ZTSTATUS_OK);
    release(handle);
    EXPECT_EQ(service->log(), "");
}

}  // namespace
