// labctl's connection to the service.
#pragma once

#include "wire/stream.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <memory>
#include <string>

namespace lab {

class ServiceLink {
  public:
    // Throws std::runtime_error if the service at the address cannot be reached.
    explicit ServiceLink(const std::string& address);

    // Sends a control request (ztsvc/control.h) and returns its result. Throws
    // std::runtime_error with one line if the service refuses it or is gone.
    nlohmann::ordered_json ask(const nlohmann::ordered_json& request);

  private:
    std::vector<std::uint8_t> exchange(FrameKind kind, Writer& body);

    std::string m_address;
    std::unique_ptr<Stream> m_stream;
    std::uint32_t m_last_number = 0;
};

}  // namespace lab
