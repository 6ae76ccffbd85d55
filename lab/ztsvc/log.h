// What the service prints on stdout: one line for each event, for people or as JSON.
#pragma once

#include "ztbus3.h"

#include <windows.h>

#include <cstdint>
#include <string>

namespace lab {

// A client as the log names it.
struct ClientName {
    std::uint32_t number = 0;
    std::string program;        // empty until the client has introduced itself
    std::uint32_t process = 0;  // its id

    // "client 8 (failover.exe, pid 556)", or "client 8".
    std::string text() const;
};

// May be used by several threads. Every line is written at once.
class Log {
  public:
    enum class Format { none, text, json };
    explicit Log(Format format) : m_format(format) {}

    void listening(std::uint16_t port, bool has_driver) const;
    void connected(const ClientName& client) const;
    void disconnected(const ClientName& client) const;
    // `by` is who has dropped the client: "the fault plan".
    void dropped(const ClientName& client, const std::string& by) const;
    // The client has sent something invalid.
    void rejected(const ClientName& client, const std::string& reason) const;
    void called(const ClientName& client, const GUID& interface_id, std::uint32_t major,
                std::uint32_t minor, opal_status status) const;

  private:
    void event(const ClientName& client, const char* name, const std::string& text,
               const char* detail_key = nullptr, const std::string& detail = {}) const;
    void write(const std::string& line) const;

    Format m_format;
};

}  // namespace lab
