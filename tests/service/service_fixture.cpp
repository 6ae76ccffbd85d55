#include "service/service_fixture.h"

namespace support {

Service::Service(const std::string& scenario, const std::string& faults, std::uint16_t port,
                 const std::wstring& options) {
    const std::wstring port_file = m_folder.file(L"port");
    m_process = std::make_unique<Process>(
        L"ztsvc.exe --scenario " + in_quotes(m_folder.write(L"scenario.json", scenario)) +
        L" --faults " + in_quotes(m_folder.write(L"faults.json", faults)) + L" --port " +
        std::to_wstring(port) + L" --port-file " + in_quotes(port_file) + options);
    EXPECT_TRUE(
        eventually([&] { return !read_text(port_file).empty() || !m_process->runs(); }, hang_ms));
    EXPECT_TRUE(m_process->runs()) << m_process->errors();
    m_port = static_cast<std::uint16_t>(std::strtoul(read_text(port_file).c_str(), nullptr, 10));
    EXPECT_NE(m_port, 0);
}

ClientProcess::ClientProcess(const std::wstring& task, int connections) {
    static int last_number = 0;
    const std::wstring name = L"service-client-" + std::to_wstring(GetCurrentProcessId()) + L"-" +
                              std::to_wstring(++last_number);
    m_ready = CreateSemaphoreW(nullptr, 0, 1, (name + L".ready").c_str());
    m_go = CreateEventW(nullptr, TRUE, FALSE, (name + L".go").c_str());
    m_process = std::make_unique<Process>(beside_this_program(L"service_client.exe") + L" " + task +
                                          L" " + name + L" " + std::to_wstring(connections));
}

ClientProcess::~ClientProcess() {
    CloseHandle(m_ready);
    CloseHandle(m_go);
}

void ClientProcess::await_ready() {
    const HANDLE either[] = {m_ready, m_process->handle()};
    ASSERT_EQ(WaitForMultipleObjects(2, either, FALSE, hang_ms), WAIT_OBJECT_0)
        << "the client ended with " << m_process->wait(0).value_or(0);
}

void ServiceTest::start(const std::string& scenario, const std::string& faults, std::uint16_t port,
                        const std::wstring& options) {
    service = std::make_unique<Service>(scenario, faults, port, options);
    SetEnvironmentVariableA("ZTLAB_SERVICE",
                            ("127.0.0.1:" + std::to_string(service->port())).c_str());
}

opal_handle ServiceTest::connect() {
    opal_handle handle = nullptr;
    EXPECT_EQ(InitializeZtVmW(0, 0, &handle), ZTSTATUS_OK);
    return handle;
}

void ServiceTest::expect_alive() {
    EXPECT_TRUE(service->runs());
    const opal_handle handle = connect();
    ASSERT_NE(handle, nullptr);
    std::vector<opal_objid> services;
    EXPECT_EQ(list(handle, ZTTYPE_CLUSTER_SERVICE, services), ZTSTATUS_OK);
    EXPECT_EQ(services.size(), 1u);
    release(handle);
}

void ServiceTest::TearDown() {
    LabRecorderStop();
    lab_live live;
    LabGetLive(&live);
    EXPECT_EQ(live.connections, 0u);
    EXPECT_EQ(live.blocks, 0u);
    EXPECT_EQ(live.properties, 0u);
    EXPECT_EQ(live.property_sets, 0u);
    lab_cmd_calls calls;
    LabCmdGetCalls(&calls);
    EXPECT_EQ(calls.live_handles, 0u);
}

}  // namespace support
