// array-adapter: a node's host adapter, or a command that changes the path of a running one.
#include "array/host/adapter_server.h"

#include <CLI/CLI.hpp>

#include <signal.h>

#include <cstdio>
#include <exception>
#include <thread>

namespace {

struct Options {
    std::string portal = "127.0.0.1:3260";
    std::string target = "iqn.2026-11.farlo.lab:array";
    std::string node;
    std::uint16_t port = lab::adapter_default_port;
    std::uint32_t path_limit_ms = 5000;
    std::uint16_t control = 0;
    std::vector<std::string> command;
};

int control(const Options& options) {
    lab::AdapterClient adapter(options.control);
    const std::vector<std::string>& command = options.command;
    if (command == std::vector<std::string>{"cut"}) {
        adapter.set_path(lab::PathAction::cut);
    } else if (command == std::vector<std::string>{"restore"}) {
        adapter.set_path(lab::PathAction::restore);
    } else if (command.size() == 2 && command[0] == "slow") {
        adapter.set_path(lab::PathAction::slow, static_cast<std::uint32_t>(std::stoul(command[1])));
    } else if (!command.empty()) {
        std::fprintf(stderr, "array-adapter: the commands are: cut, slow MILLISECONDS, restore\n");
        return 2;
    }
    const lab::AdapterPath path = adapter.path();
    if (path.cut != 0) {
        std::printf("cut\n");
    } else if (path.slow_ms != 0) {
        std::printf("slow %u\n", path.slow_ms);
    } else {
        std::printf("joined\n");
    }
    return 0;
}

// Logs out and ends the process at SIGTERM and SIGINT.
void log_out_at_signal(const sigset_t& signals, lab::IscsiSession& session) {
    int number = 0;
    sigwait(&signals, &number);
    session.log_out();
    std::_Exit(0);
}

int serve(const Options& options) {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);

    lab::IscsiSession session(
        {options.portal, options.target, "iqn.2026-11.farlo.lab:node-" + options.node});
    lab::PathState path{std::chrono::milliseconds(options.path_limit_ms)};
    lab::AdapterServer server(session, path);
    std::thread(log_out_at_signal, std::cref(signals), std::ref(session)).detach();
    std::printf("array-adapter: listening on 127.0.0.1:%u\n", server.listen(options.port));
    std::fflush(stdout);
    server.run();
}

int run(int argc, char** argv) {
    CLI::App app(
        "A node's host adapter: offers the disks of an iSCSI array on the node's loopback");
    Options options;
    app.add_option("--node", options.node, "the node's name; required without --control");
    app.add_option("--portal", options.portal, "ADDRESS:PORT of the array")->capture_default_str();
    app.add_option("--target", options.target, "the array's name")->capture_default_str();
    app.add_option("--port", options.port, "the port to listen on; 0 selects a free one")
        ->capture_default_str();
    app.add_option("--path-limit", options.path_limit_ms,
                   "milliseconds that a command waits for the array")
        ->capture_default_str();
    app.add_option("--control", options.control,
                   "changes the path of the adapter at this port and prints its state");
    app.add_option("command", options.command, "of --control: cut, slow MILLISECONDS, restore");
    CLI11_PARSE(app, argc, argv);
    if (options.control != 0) {
        return control(options);
    }
    if (options.node.empty()) {
        std::fprintf(stderr, "array-adapter: --node is missing\n");
        return 2;
    }
    return serve(options);
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "array-adapter: %s\n", error.what());
        return 1;
    }
}
