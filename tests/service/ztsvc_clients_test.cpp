// Many clients, and clients that misbehave.
#include "service/loopback.h"
#include "service/service_fixture.h"
#include "wire/frame.h"

namespace {

using namespace support;

using Clients = ServiceTest;

std::size_t lines_with(const std::string& log, const std::string& text) {
    std::size_t count = 0;
    for (std::size_t at = 0; (at = log.find(text, at)) != std::string::npos; at += text.size()) {
        ++count;
    }
    return count;
}

TEST_F(Clients, ServesSixtyFourAtOnce) {
    start(one_group);
    std::vector<std::unique_ptr<ClientProcess>> clients;
    for (int i = 0; i < 4; ++i) {
        clients.push_back(std::make_unique<ClientProcess>(L"work", 16));
    }
    for (const auto& client : clients) {
        client->await_ready();
    }
    // All of them are connected at the same time; another one is served, too.
    EXPECT_TRUE(eventually([&] { return lines_with(service->log(), ": connected") == 64; }))
        << service->log();
    EXPECT_EQ(lines_with(service->log(), ": disconnected"), 0u);
    expect_alive();
    for (const auto& client : clients) {
        client->let_go();
    }
    for (const auto& client : clients) {
        EXPECT_EQ(client->process().wait(hang_ms), 0u);
    }
    EXPECT_TRUE(eventually([&] { return lines_with(service->log(), ": disconnected") == 65; }))
        << service->log();
}

TEST_F(Clients, SurvivesClientKilledDuringCall) {
    start(one_group, fault_plan({{of_method(ZTMETHOD_DGOP_IMPORT), R"("delay": 3000)"}}));
    const opal_handle bystander = connect();
    ClientProcess client(L"import");
    client.await_ready();
    client.let_go();
    Sleep(1500);  // into the call, which takes 3 s
    EXPECT_TRUE(client.process().runs());
    const std::string name = "client 2 (service_client.exe, pid " +
                             std::to_string(GetProcessId(client.process().handle())) + ")";
    client.process().kill();
    expect_alive();
    // The service finishes the call, cannot send the answer and continues.
    EXPECT_TRUE(eventually([&] {
        return lines_with(service->log(), name + ": disconnected") == 1;
    })) << service->log();
    EXPECT_EQ(lines_with(service->log(), name + ": DGOP_IMPORT -> 0x0"), 1u) << service->log();
    EXPECT_EQ(call_group_method(bystander, deport_method), ZTSTATUS_OK);
    EXPECT_EQ(connected_of(bystander), 1);
    release(bystander);
}

TEST_F(Clients, SurvivesClientThatDoesNotClose) {
    start(one_group);
    ClientProcess client(L"leave");
    client.await_ready();
    client.let_go();
    EXPECT_EQ(client.process().wait(hang_ms), 0u);
    EXPECT_TRUE(eventually([&] { return lines_with(service->log(), ": disconnected") == 1; }));
    expect_alive();
}

// Answers that the client does not receive fill the connection. The next alert waits
// for room, but not forever.
TEST_F(Clients, DisconnectsClientThatReceivesNothing) {
    start(R"({"disk_groups": [{"name": "dg#", "dgid": "g#", "count": 20000}]})");
    const opal_handle caller = connect();
    const SOCKET socket = connect_to(service->port());
    ASSERT_NE(socket, INVALID_SOCKET);
    lab::Writer body;
    body.number(static_cast<std::uint32_t>(lab::Operation::get_objects));
    body.text(ZTTYPE_DISK_GROUP);
    const std::vector<std::uint8_t> question = body.take();
    for (std::uint32_t i = 0; i < 60; ++i) {  // 320,000 bytes each
        const lab::FrameHeader header{lab::frame_magic, lab::frame_version, 1, i,
                                      static_cast<std::uint32_t>(question.size())};
        send_bytes(socket, &header, sizeof header);
        send_bytes(socket, question.data(), question.size());
    }
    Sleep(500);
    EXPECT_EQ(call_group_method(caller, import_method), ZTSTATUS_OK);
    EXPECT_TRUE(eventually([&] {
        return lines_with(service->log(), "client 2: disconnected") == 1;
    })) << service->log();
    EXPECT_EQ(connected_of(caller), 1);
    closesocket(socket);
    release(caller);
}

}  // namespace
