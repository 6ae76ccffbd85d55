// A TCP stream that carries frames.
#pragma once

#include "frame.h"
#include "locks.h"

#include <winsock2.h>

#include <string>

namespace lab {

// Winsock for as long as the process runs. Throws std::runtime_error.
void start_winsock();

class Stream {
  public:
    explicit Stream(SOCKET socket) : m_socket(socket) {}
    ~Stream();
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    // False when the other side is gone, or does not take the frame. Frames of
    // several threads do not mix. Throws Malformed for a body beyond frame_limit.
    bool send(FrameKind kind, std::uint32_t number, const std::vector<std::uint8_t>& body);
    // False when the other side is gone. Throws Malformed.
    bool receive(Frame& frame);
    // Ends a send or a receive that is under way in another thread.
    void shut_down();

  private:
    bool receive_bytes(void* target, std::size_t size);

    SOCKET m_socket;
    SRWLOCK m_send_lock = SRWLOCK_INIT;
};

}  // namespace lab
