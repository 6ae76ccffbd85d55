// labdriver: loads and unloads the lab's drivers.
#include "drivers/driver_service.h"
#include "program_version.h"

#include <windows.h>

#include <CLI/CLI.hpp>

#include <cstdio>

namespace {

constexpr int exit_failed = 1;
constexpr int exit_usage = 2;

// Returns the driver's file in this program's folder.
std::filesystem::path file_of(const std::string& name) {
    wchar_t program[MAX_PATH];
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    std::filesystem::path file = std::filesystem::path(program).replace_filename(name + ".sys");
    if (!std::filesystem::exists(file)) {
        throw std::runtime_error(file.string() + ": no such driver");
    }
    return file;
}

int run(int argc, char** argv) {
    CLI::App app("Loads and unloads the lab's drivers.", "labdriver");
    app.failure_message(
        [](const CLI::App*, const CLI::Error& error) { return std::string(error.what()) + '\n'; });
    app.set_version_flag("--version", std::string("labdriver ") + program_version);
    app.require_subcommand(1);
    std::string name;
    CLI::App* const start =
        app.add_subcommand("start", "load a driver unless it is already loaded");
    CLI::App* const stop = app.add_subcommand("stop", "unload a driver");
    for (CLI::App* command : {start, stop}) {
        command->add_option("driver", name, "the driver's name, for example labdisk")->required();
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : exit_usage;
    }
    const std::wstring service(name.begin(), name.end());
    if (start->parsed()) {
        lab::start_driver(service, file_of(name));
    } else {
        lab::stop_driver(service);
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return exit_failed;
    }
}
