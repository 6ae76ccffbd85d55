#include "wire/stream.h"

#include <algorithm>
#include <cstring>

namespace lab {
namespace {

// Limits the memory that is allocated because of a header alone.
constexpr std::size_t receive_step = 64 * 1024;

bool is_header(const FrameHeader& header) {
    return header.magic == frame_magic && header.version == frame_version &&
           header.kind >= static_cast<std::uint32_t>(FrameKind::request) &&
           header.kind <= static_cast<std::uint32_t>(FrameKind::control) &&
           header.length <= frame_limit;
}

}  // namespace

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
    if (body.size() > frame_limit) {
        throw Malformed("a body beyond the limit");
    }
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
    if (!is_header(header)) {
        throw Malformed("an invalid header");
    }
    frame.kind = static_cast<FrameKind>(header.kind);
    frame.number = header.number;
    frame.body.clear();
    while (frame.body.size() < header.length) {
        const std::size_t at = frame.body.size();
        const std::size_t step = std::min(receive_step, header.length - at);
        frame.body.resize(at + step);
        if (!receive_bytes(frame.body.data() + at, step)) {
            return false;
        }
    }
    return true;
}

void Stream::shut_down() {
    shutdown(m_socket, SD_BOTH);
    // A receive in progress continues until the peer closes its side, too.
    CancelIoEx(reinterpret_cast<HANDLE>(m_socket), nullptr);
}

}  // namespace lab
