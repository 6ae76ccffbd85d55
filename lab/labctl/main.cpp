// labctl: shows and changes a running ztsvc (docs/lab.md, "Changing a running lab").
#include "command_line/help_formatter.h"
#include "labctl/service_link.h"
#include "labctl/show.h"
#include "program_version.h"
#include "store/json_file.h"
#include "store/string_conversions.h"

#include <windows.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

namespace {

using Json = nlohmann::ordered_json;

constexpr int exit_refused = 1;
constexpr int exit_usage = 2;
constexpr char usual_address[] = "127.0.0.1:4711";

std::string environment_variable(const char* name, const char* otherwise) {
    std::string value(GetEnvironmentVariableA(name, nullptr, 0), '\0');
    value.resize(GetEnvironmentVariableA(name, value.data(), static_cast<DWORD>(value.size())));
    return value.empty() ? otherwise : value;
}

// An argument as UTF-8.
std::string utf8(const std::string& argument) {
    return lab::to_utf8(lab::widen_ansi(argument));
}

// JSON that is an argument, or in the file that "@FILE" names.
std::string json_argument(const std::string& argument) {
    if (argument.empty() || argument.front() != '@') {
        return utf8(argument);
    }
    std::string json;
    lab::use_json_file(lab::widen_ansi(argument.substr(1)).c_str(),
                       [&json](const std::string& text) {
                           lab::parse_json(text);  // reports errors with the file's name
                           json = text;
                       });
    return json;
}

void print(const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
}

void print_json(const Json& json) {
    print(json.dump(2) + "\n");
}

// The command line. Options are read before anything is sent.
class CommandLine {
  public:
    CommandLine() : m_app("Shows and changes a running lab: the service ztsvc.", "labctl") {
        m_app.formatter(std::make_shared<lab::HelpFormatter>());
        m_app.failure_message([](const CLI::App*, const CLI::Error& error) {
            return std::string("labctl: ") + error.what() + '\n';
        });
        m_app.set_version_flag("--version", std::string("labctl ") + program_version);
        m_app.add_option("--service", m_address,
                         "the service, HOST:PORT; default: ZTLAB_SERVICE, else 127.0.0.1:4711");
        m_app.require_subcommand(1);
        add_status();
        add_node();
        for (const char* kind : {"group", "disk", "volume", "plex"}) {
            add_objects(kind);
        }
        add_reservation();
        add_client();
        add_alert();
        add_faults();
        add_record();
        add_driver();
    }

    int run(int argc, char** argv) {
        try {
            m_app.parse(argc, argv);
        } catch (const CLI::RequiredError& error) {
            if (const std::string word = unknown_command(argc, argv); !word.empty()) {
                std::fprintf(stderr, "labctl: there is no command \"%s\"\n", word.c_str());
                return exit_usage;
            }
            return m_app.exit(error) == 0 ? 0 : exit_usage;
        } catch (const CLI::ParseError& error) {
            return m_app.exit(error) == 0 ? 0 : exit_usage;
        }
        const std::string argument = json_of_command();
        lab::ServiceLink link(m_address);
        m_command(link, argument);
        return 0;
    }

  private:
    using Command = std::function<void(lab::ServiceLink& link, const std::string& json)>;

    // The JSON of the command that has some. Its file is read before the service is asked.
    std::string json_of_command() const { return m_has_json ? json_argument(m_json) : ""; }

    // The first word of a command line that is no command, if a command is missing there.
    std::string unknown_command(int argc, char** argv) {
        CLI::App* app = &m_app;
        for (int i = 1; i < argc && !app->get_subcommands({}).empty(); ++i) {
            const std::string word = argv[i];
            if (word == "--service") {
                ++i;
            } else if (word.rfind('-', 0) != 0) {
                const std::vector<CLI::App*> commands = app->get_subcommands({});
                const auto next =
                    std::find_if(commands.begin(), commands.end(),
                                 [&word](const CLI::App* sub) { return sub->get_name() == word; });
                if (next == commands.end()) {
                    return word;
                }
                app = *next;
            }
        }
        return {};
    }

    CLI::App& group_of_commands(const char* name, const std::string& description) {
        CLI::App* commands = m_app.add_subcommand(name, description);
        commands->require_subcommand(1);
        return *commands;
    }
    CLI::App& command(CLI::App& parent, const char* name, const std::string& description,
                      Command work) {
        CLI::App* sub = parent.add_subcommand(name, description);
        sub->callback([this, work = std::move(work)] { m_command = work; });
        return *sub;
    }
    // A command that prints `show` of the status, or as JSON what `select` takes from it.
    void status_command(CLI::App& parent, const char* name, const std::string& description,
                        std::function<std::string(const Json&)> show,
                        std::function<Json(const Json&)> select) {
        CLI::App& sub = command(parent, name, description,
                                [this, show = std::move(show), select = std::move(select)](
                                    lab::ServiceLink& link, const std::string&) {
                                    const Json status = link.ask({{"command", "status"}});
                                    if (m_as_json) {
                                        print_json(select(status));
                                    } else {
                                        print(show(status));
                                    }
                                });
        sub.add_flag("--json", m_as_json, "print JSON");
    }
    // A command that sends one request and prints nothing.
    CLI::App& request_command(CLI::App& parent, const char* name, const std::string& description,
                              std::function<Json(const std::string& json)> request) {
        return command(
            parent, name, description,
            [request = std::move(request)](lab::ServiceLink& link, const std::string& json) {
                link.ask(request(json));
            });
    }
    void json_option(CLI::App& sub, const char* name, const std::string& description) {
        sub.add_option(name, m_json, description + ", or @FILE")
            ->required()
            ->each([this](const std::string&) { m_has_json = true; });
    }
    void values_option(CLI::App& sub) {
        sub.add_option("KEY=VALUE", m_values, "keys of the scenario, for example state=0x20")
            ->required()
            ->check([](const std::string& value) {
                return value.find('=') == std::string::npos || value.front() == '='
                           ? "\"" + value + "\" is not KEY=VALUE"
                           : std::string();
            });
    }
    Json values() const {
        Json values = Json::object();
        for (const std::string& value : m_values) {
            const std::size_t equals = value.find('=');
            values[utf8(value.substr(0, equals))] = utf8(value.substr(equals + 1));
        }
        return values;
    }

    void add_status() {
        status_command(
            m_app, "status", "show the service, its node, its clients and its storage",
            [this](const Json& status) { return lab::show_status(status, m_address); },
            [](const Json& status) { return status; });
    }

    void add_node() {
        CLI::App& node = group_of_commands("node", "show and change the node: its start, its role");
        status_command(node, "show", "show the node", lab::show_node,
                       [](const Json& status) { return status.at("node"); });
        CLI::App& set = request_command(
            node, "set", "change the node, for example start_fails=true start_seconds=30",
            [this](const std::string&) {
                return Json{{"command", "set"}, {"kind", "node"}, {"values", values()}};
            });
        values_option(set);
    }

    void add_objects(const std::string& kind) {
        const std::string plural = kind == "plex" ? "plexes" : kind + "s";
        const std::string parent = kind == "plex" ? "VOLUME" : "GROUP";
        CLI::App& commands = group_of_commands(kind.c_str(), "show and change " + plural);
        status_command(
            commands, "list", "list the " + plural,
            [kind](const Json& status) { return lab::show_objects(status, kind); },
            [kind](const Json& status) { return lab::objects_of(status, kind); });
        CLI::App& set = request_command(commands, "set", "change values of a " + kind,
                                        [this, kind](const std::string&) {
                                            return Json{{"command", "set"},
                                                        {"kind", kind},
                                                        {"name", utf8(m_name)},
                                                        {"values", values()}};
                                        });
        set.add_option("NAME", m_name, "the " + kind + "'s id in the scenario")->required();
        values_option(set);
        CLI::App& add =
            request_command(commands, "add", "add a " + kind + " as a scenario describes it",
                            [this, kind](const std::string& json) {
                                return Json{{"command", "add"},
                                            {"kind", kind},
                                            {"parent", utf8(m_parent)},
                                            {"object", json}};
                            });
        if (kind != "group") {
            add.add_option(parent, m_parent,
                           "the id of the " + std::string(kind == "plex" ? "volume" : "group"))
                ->required();
        }
        json_option(add, "JSON", "the " + kind + ", for example {\"name\": \"new\"}");
        CLI::App& remove = request_command(
            commands, "remove", "remove a " + kind + " and all in it",
            [this, kind](const std::string&) {
                return Json{{"command", "remove"}, {"kind", kind}, {"name", utf8(m_name)}};
            });
        remove.add_option("NAME", m_name, "the " + kind + "'s id")->required();
        if (kind == "disk") {
            for (const auto& [name, description] :
                 {std::pair{"fail", "make a disk fail: it is not live"},
                  {"repair", "make a disk live that has failed or is missing"}}) {
                CLI::App& sub =
                    request_command(commands, name, description,
                                    [this, action = std::string(name)](const std::string&) {
                                        return Json{{"command", action}, {"name", utf8(m_name)}};
                                    });
                sub.add_option("NAME", m_name, "the disk's id")->required();
            }
        }
    }

    void add_reservation() {
        CLI::App& reservation = group_of_commands("reservation", "reserve groups for any node");
        CLI::App& set = request_command(reservation, "set", "give a group's reservation to a node",
                                        [this](const std::string&) {
                                            return Json{{"command", "reserve"},
                                                        {"group", utf8(m_name)},
                                                        {"owner", utf8(m_owner)},
                                                        {"key", m_key},
                                                        {"defended", !m_undefended}};
                                        });
        set.add_option("GROUP", m_name, "the group's id")->required();
        set.add_option("NODE", m_owner, "the node's name")->required();
        set.add_option("--key", m_key, "the node's reservation key")->capture_default_str();
        set.add_flag("--undefended", m_undefended,
                     "the node does not defend it: arbitration on this node succeeds");
        CLI::App& clear = request_command(
            reservation, "clear", "end a group's reservation", [this](const std::string&) {
                return Json{{"command", "release"}, {"group", utf8(m_name)}};
            });
        clear.add_option("GROUP", m_name, "the group's id")->required();
    }

    void add_client() {
        CLI::App& client = group_of_commands("client", "show and drop clients");
        status_command(client, "list", "list the clients", lab::show_clients,
                       [](const Json& status) { return status.at("clients"); });
        CLI::App& drop = request_command(client, "drop", "drop a client's connection",
                                         [this](const std::string&) {
                                             return Json{{"command", "drop"}, {"client", m_number}};
                                         });
        drop.add_option("NUMBER", m_number, "the client's number")->required();
    }

    void add_alert() {
        CLI::App& alert = request_command(
            m_app, "alert", "raise an alert on all clients", [this](const std::string&) {
                return Json{{"command", "alert"}, {"name", utf8(m_name)}};
            });
        alert
            .add_option("NAME", m_name,
                        "the alert, for example event.alert.ztvm.cluster.dg.import.success")
            ->required();
    }

    void add_faults() {
        CLI::App& faults = group_of_commands("faults", "add, list and clear faults");
        CLI::App& add =
            command(faults, "add", "add rules of a fault plan; prints their numbers",
                    [](lab::ServiceLink& link, const std::string& json) {
                        const Json added = link.ask({{"command", "add_faults"}, {"rules", json}});
                        for (const Json& number : added.at("numbers")) {
                            print(number.dump() + "\n");
                        }
                    });
        json_option(add, "JSON", "a rule, or an array of rules");
        CLI::App& list = command(faults, "list", "list the rules and how often they applied",
                                 [this](lab::ServiceLink& link, const std::string&) {
                                     const Json rules = link.ask({{"command", "faults"}});
                                     if (m_as_json) {
                                         print_json(rules.at("rules"));
                                     } else {
                                         print(lab::show_faults(rules));
                                     }
                                 });
        list.add_flag("--json", m_as_json, "print JSON");
        CLI::App& clear =
            request_command(faults, "clear", "remove a rule, or all", [this](const std::string&) {
                Json request{{"command", "clear_faults"}};
                if (m_number != 0) {
                    request["rule"] = m_number;
                }
                return request;
            });
        clear.add_option("NUMBER", m_number, "the rule's number; default: all rules")
            ->check(CLI::PositiveNumber.description(""));
    }

    void add_record() {
        CLI::App& record = group_of_commands("record", "record the calls of all clients");
        request_command(record, "start", "start; discards what was recorded before",
                        [](const std::string&) {
                            return Json{{"command", "start_record"}};
                        });
        request_command(record, "stop", "stop; what was recorded can still be shown",
                        [](const std::string&) {
                            return Json{{"command", "stop_record"}};
                        });
        command(record, "show", "print the recorded calls, one on each line",
                [](lab::ServiceLink& link, const std::string&) { show_record(link); });
    }

    static void show_record(lab::ServiceLink& link) {
        std::uint64_t next = 0;
        for (;;) {
            const Json part = link.ask({{"command", "record"}, {"from", next}});
            const auto discarded = part.at("discarded").get<std::uint64_t>();
            if (discarded > next) {
                std::fprintf(stderr, "labctl: %llu lines were discarded\n",
                             static_cast<unsigned long long>(discarded - next));
            }
            if (part.at("lines").empty()) {
                return;
            }
            for (const Json& line : part.at("lines")) {
                print(line.get<std::string>() + "\n");
            }
            next = part.at("next").get<std::uint64_t>();
        }
    }

    void add_driver() {
        CLI::App& driver = group_of_commands("driver", "change what the driver replies");
        CLI::App& reply = request_command(driver, "reply",
                                          "make the driver return a status without doing anything",
                                          [this](const std::string&) {
                                              return Json{{"command", "driver_reply"},
                                                          {"request", m_name},
                                                          {"status", m_status},
                                                          {"requests", m_times}};
                                          });
        reply
            .add_option("REQUEST", m_name,
                        "get-reservation, release-reservation, get-imported, volume-status, "
                        "volume-offline")
            ->required();
        reply.add_option("STATUS", m_status, "the native status, for example 0xC0000043")
            ->required();
        reply
            .add_option("--times", m_times,
                        "the number of requests; 0 ends what an earlier command began")
            ->capture_default_str();
    }

    CLI::App m_app;
    Command m_command;
    std::string m_address = environment_variable("ZTLAB_SERVICE", usual_address);
    bool m_as_json = false;
    bool m_has_json = false;
    std::string m_json;
    std::string m_name;
    std::string m_parent;
    std::string m_owner;
    std::string m_status;
    std::uint64_t m_key = 0;
    bool m_undefended = false;
    std::uint32_t m_number = 0;
    std::uint32_t m_times = 1;
    std::vector<std::string> m_values;
};

}  // namespace

int main(int argc, char** argv) {
    try {
        return CommandLine().run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "labctl: %s\n", error.what());
        return exit_refused;
    }
}
