// Plain TCP on the loopback interface, beside the code under test.
#pragma once

#include <winsock2.h>

#include <cstdint>
#include <vector>

namespace support {

// A connected socket; INVALID_SOCKET when nobody listens.
SOCKET connect_to(std::uint16_t port);

struct SocketPair {
    SOCKET one;
    SOCKET other;
};
SocketPair connected_pair();

void send_bytes(SOCKET socket, const void* bytes, std::size_t size);

// All that comes until the other side closes. Fails the test after ten seconds
// of silence.
std::vector<std::uint8_t> receive_to_end(SOCKET socket);

}  // namespace support
