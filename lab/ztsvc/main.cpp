// ztsvc: the lab's storage service, on a loopback port.
#include "command_line/help_formatter.h"
#include "drivers/driver_service.h"
#include "program_version.h"
#include "store/json_file.h"
#include "store/scenario.h"
#include "store/string_conversions.h"
#include "wait/wait_notice.h"
#include "ztsvc/kernel_feed.h"
#include "ztsvc/server.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <filesystem>
#include <fstream>

namespace {

constexpr int exit_usage = 2;

// Loads the driver from this program's folder.
void load_driver() {
    wchar_t program[MAX_PATH];
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    const lab::WaitNotice notice("ztsvc", "the driver dmcontrol.sys to load");
    lab::start_driver(LAB_DM_DRIVER,
                      std::filesystem::path(program).replace_filename(LAB_DM_DRIVER L".sys"));
}

lab::Model load_storage(const std::string& scenario) {
    const lab::WaitNotice notice("ztsvc", "the storage of " + scenario);
    return lab::load_scenario(lab::widen_ansi(scenario).c_str());
}

// Renames a finished file, so that a reader never sees part of the number.
void write_port_file(const std::filesystem::path& path, std::uint16_t port) {
    std::filesystem::path unfinished = path;
    unfinished += L".new";
    {
        // Binary: scripts of the host read it, and would keep a carriage return.
        std::ofstream file(unfinished, std::ios::binary);
        file << port << '\n';
        if (!file.flush()) {
            throw std::runtime_error(path.string() + ": cannot be written");
        }
    }
    std::filesystem::rename(unfinished, path);
}

int run(int argc, char** argv) {
    CLI::App app("The lab's storage service: serves a scenario to object-bus clients.", "ztsvc");
    app.formatter(std::make_shared<lab::HelpFormatter>());
    app.set_version_flag("--version", std::string("ztsvc ") + program_version);
    // One line with the error, without the usage.
    app.failure_message(
        [](const CLI::App*, const CLI::Error& error) { return std::string(error.what()) + '\n'; });
    std::string scenario;
    std::string port_file;
    std::string faults_file;
    std::uint16_t port = 4711;
    std::string log_format = "text";
    bool quiet = false;
    bool driver = false;
    app.add_option("--scenario", scenario, "JSON file with the storage to serve")->required();
    app.add_option("--port", port, "loopback port to listen on; 0 selects a free one")
        ->capture_default_str();
    app.add_option("--port-file", port_file, "file to write the port to once clients can connect");
    app.add_option("--faults", faults_file, "JSON file with faults to inject into requests");
    app.add_flag("--driver", driver,
                 "load the driver dmcontrol.sys; a loaded driver is always kept up to date");
    CLI::Option* const log_option =
        app.add_option("--log", log_format, "how to print clients and methods: text or json")
            ->check(CLI::IsMember({"text", "json"}).description(""))
            ->capture_default_str();
    app.add_flag("--quiet", quiet, "do not print a line for each client and method")
        ->excludes(log_option);

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : exit_usage;
    }
    lab::Store store(load_storage(scenario));
    lab::FaultPlan faults;
    if (!faults_file.empty()) {
        lab::use_json_file(lab::widen_ansi(faults_file).c_str(), [&](const std::string& json) {
            faults.replace(json, lab::service_scope(store));
        });
    }
    if (driver) {
        load_driver();
    }
    lab::KernelFeed kernel(store);
    const lab::Log log(quiet                  ? lab::Log::Format::none
                       : log_format == "json" ? lab::Log::Format::json
                                              : lab::Log::Format::text);
    lab::CallRecorder recorder;
    lab::ServiceParts parts{store, faults, kernel, log, recorder};
    lab::Server server(parts);
    port = server.listen(port);
    if (!port_file.empty()) {
        write_port_file(lab::widen_ansi(port_file), port);
    }
    log.listening(port, kernel.has_driver());
    server.run();
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return exit_usage;
    }
}
