#include "array/host/adapter_server.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <system_error>
#include <thread>

namespace lab {
namespace {

constexpr DiskResult path_lost{AdapterResult::path_lost, 0, 0, 0, 0};
constexpr DiskResult invalid{AdapterResult::invalid, 0, 0, 0, 0};

[[noreturn]] void fail(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

class Connection {
  public:
    explicit Connection(int socket) : m_socket(socket) {}
    ~Connection() { close(m_socket); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    bool receive(void* bytes, std::size_t size) {
        return size == 0 || recv(m_socket, bytes, size, MSG_WAITALL) == static_cast<ssize_t>(size);
    }
    bool send(const void* bytes, std::size_t size) {
        const auto* next = static_cast<const char*>(bytes);
        while (size > 0) {
            const ssize_t sent = ::send(m_socket, next, size, MSG_NOSIGNAL);
            if (sent <= 0) {
                return false;
            }
            next += sent;
            size -= static_cast<std::size_t>(sent);
        }
        return true;
    }

  private:
    int m_socket;
};

bool is_command_to_disk(AdapterCommand command) {
    return command < AdapterCommand::path;
}

template <typename Record> void append(std::vector<std::uint8_t>& data, const Record& record) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(&record);
    data.insert(data.end(), bytes, bytes + sizeof record);
}

}  // namespace

std::uint16_t AdapterServer::listen(std::uint16_t port) {
    m_socket = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int reuse = 1;
    setsockopt(m_socket, SOL_SOCKET, SO_REUSEADDR, &reuse, sizeof reuse);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (bind(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(m_socket, SOMAXCONN) != 0) {
        fail("port " + std::to_string(port));
    }
    socklen_t size = sizeof address;
    getsockname(m_socket, reinterpret_cast<sockaddr*>(&address), &size);
    return ntohs(address.sin_port);
}

void AdapterServer::run() {
    for (;;) {
        const int accepted = accept4(m_socket, nullptr, nullptr, SOCK_CLOEXEC);
        if (accepted < 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            continue;
        }
        const int no_delay = 1;
        setsockopt(accepted, IPPROTO_TCP, TCP_NODELAY, &no_delay, sizeof no_delay);
        std::thread([this, accepted] { serve(accepted); }).detach();
    }
}

void AdapterServer::serve(int accepted) {
    Connection connection(accepted);
    AdapterRequest request;
    std::vector<std::uint8_t> data;
    while (connection.receive(&request, sizeof request) && request.magic == adapter_magic &&
           request.length <= adapter_data_limit) {
        data.resize(request.length);
        if (!connection.receive(data.data(), data.size())) {
            return;
        }
        const AdapterAnswer header = answer(request, data);
        if (!connection.send(&header, sizeof header) ||
            !connection.send(data.data(), data.size()) ||
            header.result == static_cast<std::uint32_t>(AdapterResult::invalid)) {
            return;
        }
    }
}

AdapterAnswer AdapterServer::answer(const AdapterRequest& request,
                                    std::vector<std::uint8_t>& data) {
    const DiskResult result = execute(request, data);
    return {adapter_magic,
            static_cast<std::uint32_t>(result.result),
            result.scsi_status,
            result.sense_key,
            result.sense_code,
            result.sense_qualifier,
            static_cast<std::uint32_t>(data.size())};
}

// Replaces `data`, which came with the request, by the data of the answer.
DiskResult AdapterServer::execute(const AdapterRequest& request, std::vector<std::uint8_t>& data) {
    if (!is_command_to_disk(static_cast<AdapterCommand>(request.command))) {
        data.clear();
        if (static_cast<AdapterCommand>(request.command) == AdapterCommand::path_state) {
            append(data, AdapterPath{m_path.is_cut() ? 1U : 0U,
                                     static_cast<std::uint32_t>(m_path.delay().count())});
            return {};
        }
        return set_path(request) ? DiskResult{} : invalid;
    }
    const Deadline deadline = m_path.deadline();
    DiskResult result = m_path.pass(deadline) ? send_command(deadline, request, data) : path_lost;
    // The answer takes the same path: of a command whose answer is lost nobody knows whether it
    // was executed.
    if (!m_path.wait_until_joined(deadline)) {
        result = path_lost;
    }
    if (!result.good()) {
        data.clear();
    }
    return result;
}

DiskResult AdapterServer::send_command(Deadline deadline, const AdapterRequest& request,
                                       std::vector<std::uint8_t>& data) {
    switch (static_cast<AdapterCommand>(request.command)) {
    case AdapterCommand::list: {
        std::vector<AdapterDisk> disks;
        const DiskResult result = m_session.list(deadline, disks);
        data.clear();
        for (const AdapterDisk& disk : disks) {
            append(data, disk);
        }
        return result;
    }
    case AdapterCommand::read:
        data.clear();
        return request.blocks == 0 || request.blocks > adapter_data_limit / block_size
                   ? invalid
                   : m_session.read(deadline, request.lun, request.first_block, request.blocks,
                                    data);
    case AdapterCommand::write: {
        if (data.empty() || data.size() != std::uint64_t{request.blocks} * block_size) {
            return invalid;
        }
        const DiskResult result = m_session.write(deadline, request.lun, request.first_block, data);
        data.clear();
        return result;
    }
    case AdapterCommand::flush:
        data.clear();
        return m_session.flush(deadline, request.lun);
    case AdapterCommand::reserve_in:
        data.clear();
        return reserve_in(deadline, request, data);
    case AdapterCommand::reserve_out:
        data.clear();
        return m_session.reserve_out(deadline, request);
    default:
        return invalid;
    }
}

DiskResult AdapterServer::reserve_in(Deadline deadline, const AdapterRequest& request,
                                     std::vector<std::uint8_t>& data) {
    switch (static_cast<ReserveIn>(request.action)) {
    case ReserveIn::read_keys:
        return m_session.read_keys(deadline, request.lun, data);
    case ReserveIn::read_reservation: {
        AdapterReservation reservation{};
        const DiskResult result = m_session.read_reservation(deadline, request.lun, reservation);
        append(data, reservation);
        return result;
    }
    default:
        return invalid;
    }
}

bool AdapterServer::set_path(const AdapterRequest& request) {
    if (static_cast<AdapterCommand>(request.command) != AdapterCommand::path) {
        return false;
    }
    switch (static_cast<PathAction>(request.action)) {
    case PathAction::restore:
        m_path.restore();
        return true;
    case PathAction::cut:
        m_path.cut();
        return true;
    case PathAction::slow:
        m_path.slow(std::chrono::milliseconds(request.type));
        return true;
    }
    return false;
}

}  // namespace lab
