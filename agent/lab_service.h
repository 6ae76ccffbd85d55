// The lab's storage service as a child process of the demo, with the volume
// manager's driver.
#pragma once

#include <windows.h>

#include <filesystem>
#include <string>

namespace agent {

class LabService {
  public:
    // Starts `program` on a free port and waits until it listens. Throws
    // std::runtime_error if it does not listen within 20 s.
    LabService(std::filesystem::path program, std::filesystem::path scenario,
               std::filesystem::path port_file);
    ~LabService();
    LabService(const LabService&) = delete;
    LabService& operator=(const LabService&) = delete;

    // Kills the process, like a crash.
    void kill();
    // Starts it again on the same port.
    void restart();

    // "127.0.0.1:PORT"
    std::string address() const;

  private:
    void start();

    std::filesystem::path m_program;
    std::filesystem::path m_scenario;
    std::filesystem::path m_port_file;
    std::string m_port = "0";
    HANDLE m_process = nullptr;
};

}  // namespace agent
