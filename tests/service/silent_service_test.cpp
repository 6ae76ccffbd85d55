// Services that keep connections open but no longer answer.
#include "service/loopback.h"
#include "service/service_fixture.h"
#include "wire/process_identity.h"
#include "wire/stream.h"

namespace {

using namespace support;

class SilentService : public ServiceTest {
  protected:
    void SetUp() override {
        lab::start_winsock();
        m_listener = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        int size = sizeof address;
        ASSERT_EQ(bind(m_listener, reinterpret_cast<const sockaddr*>(&address), size), 0);
        ASSERT_EQ(listen(m_listener, 1), 0);
        ASSERT_EQ(getsockname(m_listener, reinterpret_cast<sockaddr*>(&address), &size), 0);
        m_address = "127.0.0.1:" + std::to_string(ntohs(address.sin_port));
    }
    void TearDown() override {
        closesocket(m_listener);
        ServiceTest::TearDown();
    }
    void connect_here() { SetEnvironmentVariableA("ZTLAB_SERVICE", m_address.c_str()); }

    // Accepts the next client and answers its first request with the identity of a
    // service process. The test closes the connection.
    std::unique_ptr<lab::Stream> accept_client(const lab::ProcessIdentity& identity) {
        auto client = std::make_unique<lab::Stream>(accept(m_listener, nullptr, nullptr));
        lab::Frame request;
        EXPECT_TRUE(client->receive(request));
        lab::Writer answer;
        answer.number(ZTSTATUS_OK);
        answer.flag(true);
        answer.number(identity.number);
        answer.big_number(identity.started);
        EXPECT_TRUE(client->send(lab::FrameKind::answer, request.number, answer.take()));
        return client;
    }

  private:
    SOCKET m_listener = INVALID_SOCKET;
    std::string m_address;
};

struct Connecting {
    opal_handle handle = nullptr;
    opal_status status = ZTSTATUS_OK;
};

DWORD WINAPI connect_in_thread(void* argument) {
    auto* connecting = static_cast<Connecting*>(argument);
    connecting->status = InitializeZtVmW(0, 0, &connecting->handle);
    return 0;
}

TEST_F(SilentService, ConnectFailsWithoutFirstAnswer) {
    connect_here();
    const ULONGLONG begin = GetTickCount64();
    opal_handle handle = nullptr;
    EXPECT_EQ(InitializeZtVmW(0, 0, &handle), ZTERROR_NOT_CONNECTED);
    EXPECT_EQ(handle, nullptr);
    const ULONGLONG waited = GetTickCount64() - begin;
    EXPECT_GE(waited, 4900u);
    EXPECT_LT(waited, 10'000u);
}

TEST_F(SilentService, AgentSaysWhatItWaitsFor) {
    connect_here();
    const Process agent(L"farlo-agent.exe list");
    char address[32];
    GetEnvironmentVariableA("ZTLAB_SERVICE", address, sizeof address);
    EXPECT_TRUE(eventually([&] { return !agent.errors().empty(); }));
    EXPECT_EQ(agent.errors(), "farlo-agent: waiting for a connection to the service at " +
                                  std::string(address) + "\r\n");
}

TEST_F(SilentService, ConnectionEndsWithTheServicesProcess) {
    start(one_group);
    connect_here();
    Connecting connecting;
    const HANDLE thread = CreateThread(nullptr, 0, connect_in_thread, &connecting, 0, nullptr);
    FILETIME started{};
    FILETIME unused;
    GetProcessTimes(service->process(), &started, &unused, &unused, &unused);
    const auto client =
        accept_client({GetProcessId(service->process()),
                       std::uint64_t{started.dwHighDateTime} << 32 | started.dwLowDateTime});
    ASSERT_EQ(WaitForSingleObject(thread, hang_ms), WAIT_OBJECT_0);
    CloseHandle(thread);
    ASSERT_EQ(connecting.status, ZTSTATUS_OK);
    EXPECT_EQ(connected_of(connecting.handle), 1);

    service->kill();
    EXPECT_TRUE(eventually([&] { return connected_of(connecting.handle) == 0; }, 5000));
    release(connecting.handle);
}

TEST_F(SilentService, IgnoresAnotherProcessWithTheSameId) {
    start(one_group);
    connect_here();
    Connecting connecting;
    const HANDLE thread = CreateThread(nullptr, 0, connect_in_thread, &connecting, 0, nullptr);
    auto client = accept_client({GetProcessId(service->process()), 1});
    ASSERT_EQ(WaitForSingleObject(thread, hang_ms), WAIT_OBJECT_0);
    CloseHandle(thread);
    ASSERT_EQ(connecting.status, ZTSTATUS_OK);

    service->kill();
    Sleep(500);
    EXPECT_EQ(connected_of(connecting.handle), 1);
    client.reset();
    EXPECT_TRUE(eventually([&] { return connected_of(connecting.handle) == 0; }, 5000));
    release(connecting.handle);
}

}  // namespace
