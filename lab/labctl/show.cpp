#include "labctl/show.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <vector>

namespace lab {
namespace {

using Json = nlohmann::ordered_json;

// Rows of cells, each column as wide as its longest cell.
class Table {
  public:
    explicit Table(std::vector<std::string> header) { add(std::move(header)); }
    void add(std::vector<std::string> row) {
        m_widths.resize(std::max(m_widths.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i) {
            m_widths[i] = std::max(m_widths[i], row[i].size());
        }
        m_rows.push_back(std::move(row));
    }
    std::string lines() const {
        std::string lines;
        for (const std::vector<std::string>& row : m_rows) {
            std::string line;
            for (std::size_t i = 0; i < row.size(); ++i) {
                line += row[i] + std::string(m_widths[i] - row[i].size() + 2, ' ');
            }
            lines += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
        }
        return lines;
    }

  private:
    std::vector<std::vector<std::string>> m_rows;
    std::vector<std::size_t> m_widths;
};

std::string hex(const Json& number) {
    char text[24];
    std::snprintf(text, sizeof text, "0x%llx",
                  static_cast<unsigned long long>(number.get<std::uint64_t>()));
    return text;
}

std::string yes(const Json& flag) {
    return flag.get<bool>() ? "yes" : "no";
}

std::string reservation_of(const Json& group) {
    const auto found = group.find("reservation");
    if (found == group.end()) {
        return "-";
    }
    return found->at("owner").get<std::string>() + " (key " + hex(found->at("key")) +
           (found->at("defended").get<bool>() ? ")" : ", not defended)");
}

// A name, or "-".
std::string named(const Json& name) {
    const auto text = name.get<std::string>();
    return text.empty() ? "-" : text;
}

std::string names_of(const Json& array) {
    std::string names;
    for (const Json& name : array) {
        names += (names.empty() ? "" : ",") + name.get<std::string>();
    }
    return names.empty() ? "-" : names;
}

std::string count(std::size_t number, const char* what) {
    return std::to_string(number) + " " + what + (number == 1 ? "" : "s");
}

}  // namespace

Json objects_of(const Json& status, const std::string& kind) {
    const Json& groups = status.at("groups");
    if (kind == "group") {
        return groups;
    }
    Json objects = Json::array();
    const auto add = [&objects](Json object, const char* key, const Json& parent) {
        object[key] = parent.at("id");
        objects.push_back(std::move(object));
    };
    for (const Json& group : groups) {
        if (kind == "disk") {
            for (const Json& disk : group.at("disks")) {
                add(disk, "group", group);
            }
            continue;
        }
        for (const Json& volume : group.at("volumes")) {
            if (kind == "volume") {
                add(volume, "group", group);
                continue;
            }
            for (Json plex : volume.at("plexes")) {
                plex["group"] = group.at("id");
                add(plex, "volume", volume);
            }
        }
    }
    return objects;
}

std::string show_objects(const Json& status, const std::string& kind) {
    const Json objects = objects_of(status, kind);
    if (kind == "group") {
        Table table({"GROUP", "DGID", "TYPE", "IMPORTED", "HIDDEN", "RESERVED BY"});
        for (const Json& group : objects) {
            table.add({group.at("id"), group.at("dgid"), group.at("type").dump(),
                       yes(group.at("imported")), yes(group.at("hidden")), reservation_of(group)});
        }
        return table.lines();
    }
    if (kind == "disk") {
        Table table({"DISK", "GROUP", "STATE", "LIVE", "DEVICE"});
        for (const Json& disk : objects) {
            table.add({disk.at("id"), disk.at("group"), hex(disk.at("state")), yes(disk.at("live")),
                       named(disk.at("device"))});
        }
        return table.lines();
    }
    if (kind == "volume") {
        Table table({"VOLUME", "GROUP", "STATE", "SIZE", "DRIVE", "DEVICE"});
        for (const Json& volume : objects) {
            table.add({volume.at("id"), volume.at("group"), hex(volume.at("state")),
                       volume.at("size").dump(), named(volume.at("drive_letter")),
                       named(volume.at("device"))});
        }
        return table.lines();
    }
    Table table({"PLEX", "VOLUME", "GROUP", "STATE", "DISKS"});
    for (const Json& plex : objects) {
        table.add({plex.at("id"), plex.at("volume"), plex.at("group"), hex(plex.at("state")),
                   names_of(plex.at("disks"))});
    }
    return table.lines();
}

std::string show_node(const Json& status) {
    std::string lines;
    for (const auto& [key, value] : status.at("node").items()) {
        std::string name = key;
        name.resize(16, ' ');
        lines += name + (value.is_string() ? value.get<std::string>() : value.dump()) + "\n";
    }
    return lines;
}

std::string show_clients(const Json& status) {
    Table table({"CLIENT", "PROGRAM", "PID"});
    for (const Json& client : status.at("clients")) {
        table.add({client.at("client").dump(), client.value("program", "-"),
                   client.contains("pid") ? client.at("pid").dump() : "-"});
    }
    return table.lines();
}

std::string show_status(const Json& status, const std::string& address) {
    const Json& node = status.at("node");
    std::string lines = "service  " + address +
                        (status.at("driver").get<bool>() ? ", with the driver" : ", no driver") +
                        (status.at("recording").get<bool>() ? ", recording" : "") + "\n";
    lines += "node     " + node.value("name", "(no name)") + ", " +
             node.value("state", "no state") + "\n";
    lines += "storage  " + count(status.at("groups").size(), "group") + ", " +
             count(objects_of(status, "disk").size(), "disk") + ", " +
             count(objects_of(status, "volume").size(), "volume") + "\n";
    lines += "faults   " + count(status.at("fault_rules").get<std::size_t>(), "rule") + "\n";
    lines += "clients  " + std::to_string(status.at("clients").size()) + "\n";
    lines += "\n" + show_objects(status, "group");
    return lines;
}

std::string show_faults(const Json& faults) {
    Table table({"RULE", "SELECTED", "DUE", "RULE AS JSON"});
    for (const Json& rule : faults.at("rules")) {
        table.add({rule.at("number").dump(), rule.at("selected").dump(), rule.at("due").dump(),
                   rule.at("rule").dump()});
    }
    return table.lines();
}

}  // namespace lab
