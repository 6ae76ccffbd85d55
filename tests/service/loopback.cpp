#include "service/loopback.h"

#include "wire/stream.h"

#include <gtest/gtest.h>

namespace support {
namespace {

sockaddr_in loopback_address(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

}  // namespace

SOCKET connect_to(std::uint16_t port) {
    lab::start_winsock();
    const SOCKET result = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    const sockaddr_in address = loopback_address(port);
    if (connect(result, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        closesocket(result);
        return INVALID_SOCKET;
    }
    return result;
}

SocketPair connected_pair() {
    lab::start_winsock();
    const SOCKET listener = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    sockaddr_in address = loopback_address(0);
    int size = sizeof address;
    if (bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        listen(listener, 1) != 0 ||
        getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        ADD_FAILURE() << "no listener, error " << WSAGetLastError();
    }
    const SOCKET one = connect_to(ntohs(address.sin_port));
    const SOCKET other = accept(listener, nullptr, nullptr);
    closesocket(listener);
    EXPECT_NE(one, INVALID_SOCKET);
    EXPECT_NE(other, INVALID_SOCKET);
    return {one, other};
}

void send_bytes(SOCKET socket, const void* bytes, std::size_t size) {
    const auto* first = static_cast<const char*>(bytes);
    for (std::size_t at = 0; at < size;) {
        const int sent = send(socket, first + at, static_cast<int>(size - at), 0);
        if (sent <= 0) {
            return;  // the peer has closed the connection
        }
        at += static_cast<std::size_t>(sent);
    }
}

std::vector<std::uint8_t> receive_to_end(SOCKET socket) {
    const DWORD limit_ms = 10'000;
    setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<const char*>(&limit_ms),
               sizeof limit_ms);
    std::vector<std::uint8_t> all;
    for (;;) {
        char block[4096];
        const int got = recv(socket, block, sizeof block, 0);
        if (got <= 0) {
            EXPECT_FALSE(got < 0 && WSAGetLastError() == WSAETIMEDOUT) << "still open";
            return all;
        }
        all.insert(all.end(), block, block + got);
    }
}

}  // namespace support
