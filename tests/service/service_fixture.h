// Fixture of tests with a real service process and real connections.
#pragma once

#include "service/process.h"
#include "service/session_calls.h"
#include "support/fault_members.h"
#include "ztbus3/lab_bus.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace support {

constexpr DWORD hang_ms = 60'000;

// A running ztsvc.exe. The constructor waits until it listens.
class Service {
  public:
    // Port 0 selects a free one.
    Service(const std::string& scenario, const std::string& faults, std::uint16_t port,
            const std::wstring& options = L"");

    std::uint16_t port() const { return m_port; }
    std::string log() const { return m_process->output(); }
    bool runs() const { return m_process->runs(); }
    void kill() { m_process->kill(); }
    HANDLE process() const { return m_process->handle(); }

  private:
    TemporaryFolder m_folder;
    std::unique_ptr<Process> m_process;
    std::uint16_t m_port = 0;
};

// A running service_client.exe.
class ClientProcess {
  public:
    explicit ClientProcess(const std::wstring& task, int connections = 1);
    ~ClientProcess();
    ClientProcess(const ClientProcess&) = delete;
    ClientProcess& operator=(const ClientProcess&) = delete;

    // Waits until it is connected.
    void await_ready();
    void let_go() { SetEvent(m_go); }
    Process& process() { return *m_process; }

  private:
    HANDLE m_ready;
    HANDLE m_go;
    std::unique_ptr<Process> m_process;
};

class ServiceTest : public testing::Test {
  protected:
    void TearDown() override;

    // Starts the service. This process and clients started later connect to it.
    void start(const std::string& scenario, const std::string& faults = "[]",
               std::uint16_t port = 0, const std::wstring& options = L"");
    opal_handle connect();
    static void release(opal_handle handle) { EXPECT_EQ(UnInitializeZtVmW(handle), ZTSTATUS_OK); }
    // Checks that the service serves a new connection.
    void expect_alive();

    static constexpr char one_group[] = R"({"disk_groups": [{"name": "dg1", "dgid": "g1"}]})";
    std::unique_ptr<Service> service;
};

}  // namespace support
