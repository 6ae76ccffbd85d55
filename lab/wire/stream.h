// A TCP stream that carries frames.
#pragma once

#include "store/locks.h"
#include "wire/frame.h"

#include <winsock2.h>

#include <string>

namespace lab {

// Initialises Winsock for the life of the process. Throws std::runtime_error.
void start_winsock();

class Stream {
  public:
    explicit Stream(SOCKET socket) : m_socket(socket) {}
    ~Stream();
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    // Sends a frame; several threads may send. Returns false if the peer is gone or
    // does not take the frame. Throws Malformed for a body beyond frame_limit.
    bool send(FrameKind kind, std::uint32_t number, const std::vector<std::uint8_t>& body);
    // Returns false if the peer is gone. Throws Malformed.
    bool receive(Frame& frame);
    // Makes a send or receive in progress on another thread return.
    void shut_down();

  private:
    bool receive_bytes(void* target, std::size_t size);

    SOCKET m_socket;
    SRWLOCK m_send_lock = SRWLOCK_INIT;
};

}  // namespace lab
