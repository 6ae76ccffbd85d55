// The client's side of a new connection to the service.
#pragma once

#include "wire/frame.h"

#include <winsock2.h>

#include <string>

namespace lab {

// Parses "host:port" with a numeric address. Returns what is wrong with it; empty for nothing.
std::string parse_address(const std::string& text, sockaddr_in& address);

// Connects within 5 s. Returns INVALID_SOCKET if nothing listens.
SOCKET connect_socket(const sockaddr_in& address);

// Writes the request that introduces this process. It is the first on a connection.
void write_introduction(Writer& request);

}  // namespace lab
