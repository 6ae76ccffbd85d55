// Plain TCP on the loopback interface, without the code under test.
#pragma once

#include <winsock2.h>

#include <cstdint>
#include <vector>

namespace support {

// Returns a connected socket; INVALID_SOCKET if nothing listens.
SOCKET connect_to(std::uint16_t port);

struct SocketPair {
    SOCKET one;
    SOCKET other;
};
SocketPair connected_pair();

void send_bytes(SOCKET socket, const void* bytes, std::size_t size);

// Receives until the peer closes the connection. Fails the test after ten seconds
// without data.
std::vector<std::uint8_t> receive_to_end(SOCKET socket);

}  // namespace support
