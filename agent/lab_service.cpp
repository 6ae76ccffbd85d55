#include "lab_service.h"

#include "wait/wait_notice.h"

#include <fstream>
#include <stdexcept>

namespace agent {
namespace {
constexpr DWORD start_limit_ms = 20'000;
constexpr DWORD poll_ms = 50;
}  // namespace

LabService::LabService(std::filesystem::path program, std::filesystem::path scenario,
                       std::filesystem::path port_file)
    : m_program(std::move(program)), m_scenario(std::move(scenario)),
      m_port_file(std::move(port_file)) {
    start();
}

LabService::~LabService() {
    kill();
}

void LabService::start() {
    std::filesystem::remove(m_port_file);
    std::wstring command = L"\"" + m_program.wstring() + L"\" --quiet --driver --scenario \"" +
                           m_scenario.wstring() + L"\" --port-file \"" + m_port_file.wstring() +
                           L"\" --port " + std::wstring(m_port.begin(), m_port.end());
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    if (CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                       &startup, &process) == FALSE) {
        throw std::runtime_error("cannot start " + m_program.string() + " (system error " +
                                 std::to_string(GetLastError()) + ")");
    }
    CloseHandle(process.hThread);
    m_process = process.hProcess;

    const lab::WaitNotice notice("farlo-agent", "the lab service to listen");
    for (DWORD waited = 0; waited < start_limit_ms; waited += poll_ms) {
        std::ifstream file(m_port_file);
        if (std::string port; file >> port) {
            m_port = port;
            return;
        }
        if (WaitForSingleObject(m_process, poll_ms) == WAIT_OBJECT_0) {
            throw std::runtime_error("the lab service did not start; its message is above");
        }
    }
    throw std::runtime_error("the lab service did not listen within 20 s");
}

void LabService::kill() {
    if (m_process != nullptr) {
        TerminateProcess(m_process, 1);
        WaitForSingleObject(m_process, INFINITE);
        CloseHandle(m_process);
        m_process = nullptr;
    }
}

void LabService::restart() {
    start();
}

std::string LabService::address() const {
    return "127.0.0.1:" + m_port;
}

}  // namespace agent
