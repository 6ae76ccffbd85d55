#include "ztsvc/log.h"

#include "store/methods.h"
#include "store/string_conversions.h"

#include <nlohmann/json.hpp>

#include <cstdio>

namespace lab {
namespace {

using Json = nlohmann::ordered_json;

// "2026-11-22T08:15:30.123Z"
std::string now() {
    SYSTEMTIME time;
    GetSystemTime(&time);
    char text[32];
    std::snprintf(text, sizeof text, "%04u-%02u-%02uT%02u:%02u:%02u.%03uZ", time.wYear, time.wMonth,
                  time.wDay, time.wHour, time.wMinute, time.wSecond, time.wMilliseconds);
    return text;
}

Json event_of(const char* name) {
    return {{"time", now()}, {"event", name}};
}

Json event_of(const char* name, const ClientName& client) {
    Json event = event_of(name);
    event["client"] = client.number;
    if (!client.program.empty()) {
        event["program"] = client.program;
        event["pid"] = client.process;
    }
    return event;
}

// Strings of clients need not be UTF-8.
std::string line_of(const Json& event) {
    return event.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace

std::string ClientName::text() const {
    std::string text = "client " + std::to_string(number);
    if (!program.empty()) {
        text += " (" + printable(program) + ", pid " + std::to_string(process) + ")";
    }
    return text;
}

void Log::write(const std::string& line) const {
    if (m_format != Format::none) {
        std::printf("%s\n", line.c_str());
        std::fflush(stdout);
    }
}

void Log::event(const ClientName& client, const char* name, const std::string& text,
                const char* detail_key, const std::string& detail) const {
    if (m_format == Format::text) {
        write(client.text() + ": " + text);
    } else if (m_format == Format::json) {
        Json event = event_of(name, client);
        if (detail_key != nullptr) {
            event[detail_key] = detail;
        }
        write(line_of(event));
    }
}

void Log::listening(std::uint16_t port, bool has_driver) const {
    const std::string address = "127.0.0.1:" + std::to_string(port);
    if (m_format == Format::json) {
        Json event = event_of("listening");
        event["address"] = address;
        event["driver"] = has_driver;
        write(line_of(event));
        return;
    }
    write("listening on " + address);
    if (!has_driver) {
        write("dmcontrol.sys is not loaded: the kernel devices are missing");
    }
}

void Log::connected(const ClientName& client) const {
    event(client, "connected", "connected");
}

void Log::disconnected(const ClientName& client) const {
    event(client, "disconnected", "disconnected");
}

void Log::dropped(const ClientName& client, const std::string& by) const {
    event(client, "dropped", "dropped by " + by, "by", by);
}

void Log::rejected(const ClientName& client, const std::string& reason) const {
    event(client, "rejected", "rejected: " + reason, "reason", reason);
}

void Log::called(const ClientName& client, const GUID& interface_id, std::uint32_t major,
                 std::uint32_t minor, opal_status status) const {
    const char* known = method_name(interface_id, major, minor);
    const std::string method = known != nullptr ? known : "method " + std::to_string(minor);
    char result[16];
    std::snprintf(result, sizeof result, "0x%x", static_cast<unsigned>(status));
    if (m_format == Format::text) {
        write(client.text() + ": " + method + " -> " + result);
    } else if (m_format == Format::json) {
        Json event = event_of("call", client);
        event["method"] = method;
        event["minor"] = minor;
        event["status"] = result;
        write(line_of(event));
    }
}

}  // namespace lab
