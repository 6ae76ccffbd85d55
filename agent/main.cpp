// farlo-agent: a small cluster agent, as an example of how to use farlo.hpp.
#include "demo.h"
#include "program_version.h"
#include "wait/wait_notice.h"

#include "farlo.hpp"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <filesystem>
#include <string>

namespace {

using farlo::Connection;

constexpr int exit_failed = 1;
constexpr int exit_usage = 2;

std::filesystem::path own_folder() {
    wchar_t path[MAX_PATH];
    const DWORD length = GetModuleFileNameW(nullptr, path, MAX_PATH);
    return std::filesystem::path(std::wstring(path, length)).parent_path();
}

std::wstring widen(const std::string& text) {
    std::wstring wide(text.size() + 1, L'\0');
    const int length = MultiByteToWideChar(CP_ACP, MB_ERR_INVALID_CHARS, text.c_str(), -1,
                                           wide.data(), static_cast<int>(wide.size()));
    if (length == 0) {
        throw std::runtime_error("\"" + text + "\" is not valid in the code page");
    }
    wide.resize(static_cast<std::size_t>(length) - 1);
    return wide;
}

void print_groups(const char* title, const std::vector<std::wstring>& names) {
    std::printf("%s\n", title);
    for (const std::wstring& name : names) {
        std::printf("  %ls\n", name.c_str());
    }
}

std::string lookup_of(const std::string& group) {
    return "the GUID of " + group + " (the disks are rescanned for a group that is not known)";
}

// What the library connects to.
std::string service_name() {
    char address[64] = "";
    GetEnvironmentVariableA("ZTLAB_SERVICE", address, sizeof address);
    return *address != '\0' ? std::string("the service at ") + address
                            : "the service in this process";
}

Connection connect(const std::filesystem::path& bin) {
    const lab::WaitNotice notice("farlo-agent", "a connection to " + service_name());
    return Connection(farlo::Library::load(bin / L"farlo.dll"));
}

int run(int argc, char** argv) {
    CLI::App app("A small cluster agent: manages disk groups through farlo.dll.", "farlo-agent");
    app.set_version_flag("--version", std::string("farlo-agent ") + program_version);
    app.require_subcommand(1);
    std::string service;
    app.add_option("--service", service,
                   "the lab service to use, HOST:PORT (default: ZTLAB_SERVICE, or else the lab in "
                   "this process)");
    std::filesystem::path bin = own_folder();
    app.add_option("--bin", bin,
                   "the folder of farlo.dll and ztsvc.exe (default: this program's; ztsvc.exe is "
                   "also searched for on the PATH)");

    const auto connected = [&](const std::string& purpose, auto&& work) {
        if (!service.empty()) {
            SetEnvironmentVariableA("ZTLAB_SERVICE", service.c_str());
        }
        Connection connection = connect(bin);
        {
            const lab::WaitNotice notice("farlo-agent", purpose);
            work(connection);
        }
        connection.close();
    };

    app.add_subcommand("list", "list the disk groups imported on this host")->callback([&] {
        connected("the names of the disk groups", [](Connection& connection) {
            print_groups("imported cluster disk groups:", connection.groups());
            print_groups("imported other disk groups:",
                         connection.groups(farlo::Scope::non_cluster));
        });
    });

    std::string name;
    std::string guid;
    std::string device;
    uint32_t options = 0;

    CLI::App* guid_command = app.add_subcommand("guid", "print the GUID of a cluster disk group");
    guid_command->add_option("NAME", name, "the group's name")->required();
    guid_command->callback([&] {
        connected(lookup_of(name), [&](Connection& connection) {
            std::printf("%s\n", connection.group_guid(widen(name)).c_str());
        });
    });

    CLI::App* name_command = app.add_subcommand("name", "print the name of a cluster disk group");
    name_command->add_option("GUID", guid, "the group's GUID")->required();
    name_command->callback([&] {
        connected("the name of " + guid, [&](Connection& connection) {
            std::printf("%ls\n", connection.group_name(guid).c_str());
        });
    });

    CLI::App* volume_command =
        app.add_subcommand("volume-guid", "print the GUID of a volume in an imported disk group");
    volume_command->add_option("NAME", name, "the group's name")->required();
    volume_command->add_option("DEVICE", device, "the volume's device name")->required();
    volume_command->callback([&] {
        connected("the GUID of " + device + " in " + name, [&](Connection& connection) {
            std::printf("%s\n", connection.volume_guid(widen(name), widen(device)).c_str());
        });
    });

    CLI::App* online_command = app.add_subcommand("online", "import a disk group on this host");
    online_command->add_option("NAME", name, "the group's name")->required();
    online_command->add_option("--options", options, "option bits (FARLO_ONLINE_... in farlo.h)");
    online_command->callback([&] {
        connected("the import of " + name, [&](Connection& connection) {
            const std::wstring wide_name = widen(name);
            connection.online_group({wide_name, connection.group_guid(wide_name)},
                                    static_cast<farlo::OnlineOptions>(options));
        });
    });

    CLI::App* offline_command = app.add_subcommand("offline", "deport a disk group from this host");
    offline_command->add_option("NAME", name, "the group's name")->required();
    offline_command->add_option("--options", options, "option bits (FARLO_OFFLINE_... in farlo.h)");
    offline_command->callback([&] {
        connected("the deport of " + name, [&](Connection& connection) {
            const std::wstring wide_name = widen(name);
            connection.offline_group({wide_name, connection.group_guid(wide_name)},
                                     static_cast<farlo::OfflineOptions>(options));
        });
    });

    agent::DemoOptions demo;
    std::string demo_group;
    std::string demo_hidden_group;
    CLI::App* demo_command =
        app.add_subcommand("demo", "run the main job of an agent with a lab service");
    demo_command->add_option("--scenario", demo.scenario, "scenario for the lab service")
        ->required()
        ->check(CLI::ExistingFile);
    demo_command->add_option("--work", demo.work, "a folder for temporary files")
        ->required()
        ->check(CLI::ExistingDirectory);
    demo_command->add_option("--group", demo_group, "the cluster disk group to bring online")
        ->required();
    demo_command->add_option("--hidden-group", demo_hidden_group,
                             "a disk group that appears after a disk rescan");
    demo_command->callback([&] {
        demo.bin = bin;
        demo.group = widen(demo_group);
        demo.hidden_group = widen(demo_hidden_group);
        agent::run_demo(demo);
    });

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : exit_usage;
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "farlo-agent: %s\n", error.what());
        return exit_failed;
    }
}
