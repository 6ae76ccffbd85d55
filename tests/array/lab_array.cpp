#include "array/lab_array.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <stdexcept>

namespace lab_test {
namespace {

const std::string script = LAB_ARRAY_SCRIPT;
const std::string adapter = LAB_ARRAY_ADAPTER;

struct Process {
    pid_t id;
    FILE* output;
};

// Starts a program that ends with this thread, and reads its output and errors.
Process start_program(const std::vector<std::string>& command, bool with_errors) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipe can be made");
    }
    std::vector<char*> arguments;
    for (const std::string& argument : command) {
        arguments.push_back(const_cast<char*>(argument.c_str()));
    }
    arguments.push_back(nullptr);
    const pid_t id = fork();
    if (id == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        dup2(ends[1], STDOUT_FILENO);
        if (with_errors) {
            dup2(ends[1], STDERR_FILENO);
        }
        execv(arguments[0], arguments.data());
        _exit(127);
    }
    close(ends[1]);
    return {id, fdopen(ends[0], "r")};
}

std::uint16_t free_port() {
    const int made = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    bind(made, reinterpret_cast<const sockaddr*>(&address), size);
    getsockname(made, reinterpret_cast<sockaddr*>(&address), &size);
    close(made);
    return ntohs(address.sin_port);
}

std::filesystem::path new_folder() {
    std::string pattern = std::filesystem::temp_directory_path() / "lab-array-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("no folder can be made: " + pattern);
    }
    return pattern;
}

}  // namespace

int run_program(const std::vector<std::string>& command, std::string* output) {
    const Process process = start_program(command, true);
    char buffer[4096];
    for (std::size_t size; (size = fread(buffer, 1, sizeof buffer, process.output)) > 0;) {
        if (output != nullptr) {
            output->append(buffer, size);
        }
    }
    fclose(process.output);
    int status = 0;
    waitpid(process.id, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

Array::Array(int disks, std::initializer_list<const char*> nodes)
    : m_folder(new_folder()), m_disks(disks), m_nodes(nodes.begin(), nodes.end()),
      m_port(free_port()) {
    try {
        start();
    } catch (...) {
        std::filesystem::remove_all(m_folder);
        throw;
    }
}

Array::~Array() {
    run_program({script, "stop", m_folder});
    std::filesystem::remove_all(m_folder);
}

void Array::start() {
    std::vector<std::string> arguments{"start",     m_folder,  "--portal",
                                       portal(),    "--disks", std::to_string(m_disks),
                                       "--disk-mb", "16"};
    for (const std::string& node : m_nodes) {
        arguments.insert(arguments.end(), {"--node", node});
    }
    run(arguments);
}

void Array::stop() {
    run({"stop", m_folder});
}

void Array::allow(const std::string& node) {
    run({"allow", m_folder, node});
}

void Array::run(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), script);
    std::string output;
    if (run_program(arguments, &output) != 0) {
        throw std::runtime_error("array " + arguments[1] + " failed: " + output);
    }
}

Adapter::Adapter(const Array& array, const std::string& node, int path_limit_ms) {
    const Process process =
        start_program({adapter, "--node", node, "--portal", array.portal(), "--port", "0",
                       "--path-limit", std::to_string(path_limit_ms)},
                      false);
    m_process = process.id;
    unsigned port = 0;
    const int read = fscanf(process.output, "array-adapter: listening on 127.0.0.1:%u", &port);
    fclose(process.output);
    m_port = static_cast<std::uint16_t>(port);
    if (read != 1) {
        kill();
        throw std::runtime_error("the host adapter does not start: " + adapter);
    }
}

void Adapter::kill() {
    end(SIGKILL);
}

void Adapter::terminate() {
    end(SIGTERM);
}

void Adapter::end(int signal) {
    if (m_process > 0) {
        ::kill(m_process, signal);
        waitpid(m_process, nullptr, 0);
        m_process = -1;
    }
}

std::string Adapter::control(const std::vector<std::string>& command) const {
    std::vector<std::string> arguments{adapter, "--control", std::to_string(m_port)};
    arguments.insert(arguments.end(), command.begin(), command.end());
    std::string output;
    run_program(arguments, &output);
    return output;
}

}  // namespace lab_test
