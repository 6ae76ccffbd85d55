#include "wire/connect.h"

#include "wire/process_identity.h"

#include <cstdlib>

namespace lab {
namespace {

constexpr long connect_limit_s = 5;

}  // namespace

std::string parse_address(const std::string& text, sockaddr_in& address) {
    const std::size_t colon = text.rfind(':');
    if (colon == std::string::npos) {
        return "it has no port";
    }
    const std::string host = text.substr(0, colon);
    const std::string port = text.substr(colon + 1);
    address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = inet_addr(host.c_str());
    if (host.empty() || address.sin_addr.s_addr == INADDR_NONE) {
        return quoted(host) + " is not a numeric address";
    }
    if (port.empty() || port.find_first_not_of("0123456789") != std::string::npos) {
        return quoted(port) + " is not a port";
    }
    const unsigned long number = std::strtoul(port.c_str(), nullptr, 10);
    if (number == 0 || number > 65535) {
        return "port " + port + " is not from 1 to 65535";
    }
    address.sin_port = htons(static_cast<u_short>(number));
    return {};
}

SOCKET connect_socket(const sockaddr_in& address) {
    const SOCKET socket = ::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    if (socket == INVALID_SOCKET) {
        return socket;
    }
    u_long not_blocking = 1;
    ioctlsocket(socket, static_cast<long>(FIONBIO), &not_blocking);
    connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    fd_set writable;
    fd_set failed;
    FD_ZERO(&writable);
    FD_ZERO(&failed);
    FD_SET(socket, &writable);
    FD_SET(socket, &failed);
    timeval limit{connect_limit_s, 0};
    const bool connected =
        select(0, nullptr, &writable, &failed, &limit) > 0 && FD_ISSET(socket, &writable);
    not_blocking = 0;
    ioctlsocket(socket, static_cast<long>(FIONBIO), &not_blocking);
    if (!connected) {
        closesocket(socket);
        return INVALID_SOCKET;
    }
    const BOOL no_delay = TRUE;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&no_delay),
               sizeof no_delay);
    return socket;
}

void write_introduction(Writer& request) {
    request.number(static_cast<std::uint32_t>(Operation::process));
    request.number(GetCurrentProcessId());
    request.text(this_program());
}

}  // namespace lab
