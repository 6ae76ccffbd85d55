// labdriver: loads and unloads the lab's drivers.
#include "command_line/help_formatter.h"
#include "drivers/driver_service.h"
#include "program_version.h"
#include "wait/wait_notice.h"

#include <windows.h>

#include <CLI/CLI.hpp>

#include <cstdio>
#include <filesystem>
#include <optional>
#include <set>

namespace {

constexpr int exit_failed = 1;
constexpr int exit_usage = 2;

std::filesystem::path own_folder() {
    wchar_t program[MAX_PATH];
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    return std::filesystem::path(program).parent_path();
}

// Returns the names of the drivers in this program's folder.
std::set<std::string> known_drivers() {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(own_folder())) {
        if (entry.path().extension() == L".sys") {
            names.insert(entry.path().stem().string());
        }
    }
    return names;
}

// Returns the file of a driver that is in this program's folder.
std::filesystem::path file_of(const std::string& name) {
    const std::set<std::string> known = known_drivers();
    std::filesystem::path file = own_folder() / (name + ".sys");
    if (known.count(name) == 0) {
        std::string reason = file.string() + ": no such driver";
        for (const std::string& other : known) {
            reason += (other == *known.begin() ? "; there are: " : ", ") + other;
        }
        throw std::runtime_error(reason);
    }
    return file;
}

void list_drivers() {
    for (const std::string& name : known_drivers()) {
        const std::optional<std::filesystem::path> loaded =
            lab::loaded_driver(std::wstring(name.begin(), name.end()));
        std::string state = loaded ? "loaded" : "not loaded";
        if (loaded && _wcsicmp(loaded->c_str(), file_of(name).c_str()) != 0) {
            state += " from " + loaded->string();
        }
        std::printf("%-12s %s\n", name.c_str(), state.c_str());
    }
}

void stop(const std::string& name) {
    const std::wstring service(name.begin(), name.end());
    if (!lab::loaded_driver(service)) {
        file_of(name);  // refuses a name that is no driver's
    }
    lab::stop_driver(service);
}

int run(int argc, char** argv) {
    CLI::App app("Loads and unloads the lab's drivers.", "labdriver");
    app.failure_message(
        [](const CLI::App*, const CLI::Error& error) { return std::string(error.what()) + '\n'; });
    app.formatter(std::make_shared<lab::HelpFormatter>());
    app.set_version_flag("--version", std::string("labdriver ") + program_version);
    app.require_subcommand(1);
    std::string name;
    CLI::App* const start =
        app.add_subcommand("start", "load a driver unless it is already loaded");
    CLI::App* const unload = app.add_subcommand("stop", "unload a driver");
    CLI::App* const list =
        app.add_subcommand("list", "list the drivers, and which of them are loaded");
    for (CLI::App* command : {start, unload}) {
        command->add_option("driver", name, "the driver's name, for example labdisk")->required();
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : exit_usage;
    }
    const lab::WaitNotice notice("labdriver", "the system's service manager");
    if (list->parsed()) {
        list_drivers();
    } else if (start->parsed()) {
        lab::start_driver(std::wstring(name.begin(), name.end()), file_of(name));
    } else {
        stop(name);
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
