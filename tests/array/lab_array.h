// An array of the lab and the host adapters of its nodes, for native tests.
#pragma once

#include "array/adapter_client.h"

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

namespace lab_test {

// Runs a program and returns its exit code; its output is added to `output`.
int run_program(const std::vector<std::string>& command, std::string* output = nullptr);

// An array in a folder of its own, on a free port of the loopback interface. Ends with the object,
// and its folder with it. Throws std::runtime_error with the reason if it cannot be started.
class Array {
  public:
    // Without nodes every node may log in.
    explicit Array(int disks = 2, std::initializer_list<const char*> nodes = {});
    ~Array();
    Array(const Array&) = delete;
    Array& operator=(const Array&) = delete;

    void start();
    void stop();
    void allow(const std::string& node);
    [[nodiscard]] std::string portal() const { return "127.0.0.1:" + std::to_string(m_port); }
    [[nodiscard]] const std::filesystem::path& folder() const { return m_folder; }

  private:
    void run(std::vector<std::string> arguments);

    std::filesystem::path m_folder;
    int m_disks;
    std::vector<std::string> m_nodes;
    std::uint16_t m_port;
};

// A node's host adapter; ends with the object.
class Adapter {
  public:
    Adapter(const Array& array, const std::string& node, int path_limit_ms = 30000);
    ~Adapter() { kill(); }
    Adapter(const Adapter&) = delete;
    Adapter& operator=(const Adapter&) = delete;

    void kill();
    // Ends it as an administrator would.
    void terminate();
    [[nodiscard]] std::uint16_t port() const { return m_port; }
    // A connection of its own for each caller.
    [[nodiscard]] std::unique_ptr<lab::AdapterClient> connect() const {
        return std::make_unique<lab::AdapterClient>(m_port);
    }
    // Runs `array-adapter --control` and returns what it prints.
    [[nodiscard]] std::string control(const std::vector<std::string>& command) const;

  private:
    void end(int signal);

    pid_t m_process = -1;
    std::uint16_t m_port = 0;
};

}  // namespace lab_test
