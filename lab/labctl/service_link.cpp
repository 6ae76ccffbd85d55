#include "labctl/service_link.h"

#include "wait/wait_notice.h"
#include "wire/connect.h"

#include <stdexcept>

namespace lab {

ServiceLink::ServiceLink(const std::string& address) : m_address(address) {
    sockaddr_in parsed;
    if (const std::string error = parse_address(address, parsed); !error.empty()) {
        throw std::runtime_error(quoted(address) + ": " + error +
                                 "; expected for example 127.0.0.1:4711");
    }
    const WaitNotice notice("labctl", "the service at " + address);
    start_winsock();
    const SOCKET socket = connect_socket(parsed);
    if (socket == INVALID_SOCKET) {
        throw std::runtime_error("no service listens at " + address);
    }
    m_stream = std::make_unique<Stream>(socket);
    Writer introduction;
    write_introduction(introduction);
    exchange(FrameKind::request, introduction);
}

std::vector<std::uint8_t> ServiceLink::exchange(FrameKind kind, Writer& body) {
    const std::uint32_t number = ++m_last_number;
    if (m_stream->send(kind, number, body.take())) {
        for (Frame frame; m_stream->receive(frame);) {
            if (frame.kind == FrameKind::answer && frame.number == number) {
                return std::move(frame.body);
            }
        }
    }
    throw std::runtime_error("the service at " + m_address + " has closed the connection");
}

nlohmann::ordered_json ServiceLink::ask(const nlohmann::ordered_json& request) {
    const WaitNotice notice("labctl", "the service at " + m_address);
    Writer body;
    body.text(request.dump());
    const std::vector<std::uint8_t> bytes = exchange(FrameKind::control, body);
    Reader answer(bytes);
    const bool done = answer.flag();
    const std::string result = answer.text();
    answer.finish();
    if (!done) {
        throw std::runtime_error(result);
    }
    return nlohmann::ordered_json::parse(result);
}

}  // namespace lab
