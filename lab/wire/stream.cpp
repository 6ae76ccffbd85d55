#include "stream.h"

#include <cstring>

namespace lab {

void start_winsock() {
    static const int error = [] {
        WSADATA data;
        return WSAStartup(MAKEWORD(2, 2), &data);
    }();
    if (error != 0) {
        throw std::runtime_error("Winsock cannot be started, error " + std::to_string(error));
    }
}

Stream::~Stream() {
    closesocket(m_socket);
}

bool Stream::send(FrameKind kind, std::uint32_t number, const std::vector<std::uint8_t>& body) {
    const FrameHeader header{frame_magic, frame_version, static_cast<std::uint32_t>(kind), number,
                             static_cast<std::uint32_t>(body.size())};
    std::vector<char> bytes(sizeof header + body.size());
    std::memcpy(bytes.data(), &header, sizeof header);
    if (!body.empty()) {
        std::memcpy(bytes.data() + sizeof header, body.data(), body.size());
    }
    const Exclusive hold(m_send_lock);
    for (std::size_t at = 0; at < bytes.size();) {
        const int sent =
            ::send(m_socket, bytes.data() + at, static_cast<int>(bytes.size() - at), 0);
        if (sent <= 0) {
            return false;
        }
        at += static_cast<std::size_t>(sent);
    }
    return true;
}

bool Stream::receive_bytes(void* target, std::size_t size) {
    auto* bytes = static_cast<char*>(target);
    for (std::size_t at = 0; at < size;) {
        const int got = recv(m_socket, bytes + at, static_cast<int>(size - at), 0);
        if (got <= 0) {
            return false;
        }
        at += static_cast<std::size_t>(got);
    }
    return true;
}

bool Stream::receive(Frame& frame) {
    FrameHeader header;
    if (!receive_bytes(&header, sizeof header)) {
        return false;
    }
    if (header.magic != frame_magic || header.version != frame_version ||
        header.length > frame_limit) {
        throw Malformed("a header that is none");
    }
    frame.kind = static_cast<FrameKind>(header.kind);
    frame.number = header.number;
    frame.body.resize(header.length);
    return receive_bytes(frame.body.data(), frame.body.size());
}

void Stream::shut_down() {
    shutdown(m_socket, SD_BOTH);
}

}  // namespace lab
