#include "array/adapter_client.h"

#ifdef _WIN32
#include <winsock2.h>
#else
#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>
#endif

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace lab {
namespace {

#ifdef _WIN32
using Socket = SOCKET;
using Length = int;  // of a transfer
constexpr Socket no_socket = INVALID_SOCKET;
constexpr int send_flags = 0;
void close_socket(Socket socket) {
    closesocket(socket);
}
void start_sockets() {
    WSADATA data;
    // Counted by Winsock and never undone: cheap, and harmless when it is done already.
    if (WSAStartup(MAKEWORD(2, 2), &data) != 0) {
        throw AdapterGone("Winsock does not start");
    }
}
#else
using Socket = int;
using Length = std::size_t;
constexpr Socket no_socket = -1;
constexpr int send_flags = MSG_NOSIGNAL;
void close_socket(Socket socket) {
    close(socket);
}
void start_sockets() {}
#endif

Socket as_socket(std::uintptr_t socket) {
    return static_cast<Socket>(socket);
}

Socket connect_to_loopback(std::uint16_t port) {
    start_sockets();
    const Socket made = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    if (made == no_socket) {
        throw AdapterGone("no socket can be made");
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(made, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        close_socket(made);
        throw AdapterGone("no host adapter at port " + std::to_string(port));
    }
    const int no_delay = 1;
    setsockopt(made, IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&no_delay),
               sizeof no_delay);
    return made;
}

AdapterRequest request_of(AdapterCommand command, std::uint32_t lun) {
    AdapterRequest request{};
    request.magic = adapter_magic;
    request.command = static_cast<std::uint32_t>(command);
    request.lun = lun;
    return request;
}

// Throws AdapterGone if an adapter's answer has another size.
void expect_size(const std::vector<std::uint8_t>& data, std::size_t size) {
    if (data.size() != size) {
        throw AdapterGone("the host adapter's answer is malformed");
    }
}

template <typename Record> Record record_of(const std::vector<std::uint8_t>& data) {
    expect_size(data, sizeof(Record));
    Record record;
    std::memcpy(&record, data.data(), sizeof record);
    return record;
}

void check(const DiskResult& result) {
    if (!result.good()) {
        throw DiskFailed(result);
    }
}

}  // namespace

std::string DiskResult::text() const {
    if (result != AdapterResult::done) {
        return result == AdapterResult::path_lost ? "the path to the array is lost"
                                                  : "the host adapter refused the request";
    }
    if (scsi_status == scsi_reservation_conflict) {
        return "reservation conflict";
    }
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "SCSI status 0x%02x, sense %x/%02x/%02x", scsi_status,
                  sense_key, sense_code, sense_qualifier);
    return buffer;
}

AdapterClient::AdapterClient(std::uint16_t port)
    : m_socket(static_cast<std::uintptr_t>(connect_to_loopback(port))) {}

AdapterClient::~AdapterClient() {
    close_socket(as_socket(m_socket));
}

DiskResult AdapterClient::list(std::vector<AdapterDisk>& disks) {
    std::vector<std::uint8_t> data;
    const DiskResult result = call(request_of(AdapterCommand::list, 0), nullptr, data);
    disks.resize(data.size() / sizeof(AdapterDisk));
    expect_size(data, disks.size() * sizeof(AdapterDisk));
    std::copy_n(data.data(), data.size(), reinterpret_cast<std::uint8_t*>(disks.data()));
    for (AdapterDisk& disk : disks) {
        disk.serial[sizeof disk.serial - 1] = '\0';
    }
    return result;
}

DiskResult AdapterClient::read(std::uint32_t lun, std::uint64_t first_block, std::uint32_t blocks,
                               void* data) {
    AdapterRequest request = request_of(AdapterCommand::read, lun);
    request.first_block = first_block;
    request.blocks = blocks;
    std::vector<std::uint8_t> answer;
    const DiskResult result = call(request, nullptr, answer);
    if (result.good()) {
        expect_size(answer, std::size_t{blocks} * block_size);
        std::copy(answer.begin(), answer.end(), static_cast<std::uint8_t*>(data));
    }
    return result;
}

DiskResult AdapterClient::write(std::uint32_t lun, std::uint64_t first_block, std::uint32_t blocks,
                                const void* data) {
    AdapterRequest request = request_of(AdapterCommand::write, lun);
    request.first_block = first_block;
    request.blocks = blocks;
    request.length = blocks * block_size;
    std::vector<std::uint8_t> answer;
    return call(request, data, answer);
}

DiskResult AdapterClient::flush(std::uint32_t lun) {
    std::vector<std::uint8_t> answer;
    return call(request_of(AdapterCommand::flush, lun), nullptr, answer);
}

DiskResult AdapterClient::read_keys(std::uint32_t lun, std::vector<std::uint64_t>& keys) {
    AdapterRequest request = request_of(AdapterCommand::reserve_in, lun);
    request.action = static_cast<std::uint32_t>(ReserveIn::read_keys);
    std::vector<std::uint8_t> answer;
    const DiskResult result = call(request, nullptr, answer);
    keys.clear();
    if (result.good()) {
        constexpr std::size_t head = 2 * sizeof(std::uint32_t);
        keys.resize(answer.size() / sizeof(std::uint64_t) - 1);
        expect_size(answer, head + keys.size() * sizeof(std::uint64_t));
        std::memcpy(keys.data(), answer.data() + head, answer.size() - head);
    }
    return result;
}

DiskResult AdapterClient::read_reservation(std::uint32_t lun, AdapterReservation& reservation) {
    AdapterRequest request = request_of(AdapterCommand::reserve_in, lun);
    request.action = static_cast<std::uint32_t>(ReserveIn::read_reservation);
    std::vector<std::uint8_t> answer;
    const DiskResult result = call(request, nullptr, answer);
    reservation = result.good() ? record_of<AdapterReservation>(answer) : AdapterReservation{};
    return result;
}

DiskResult AdapterClient::reserve_out(std::uint32_t lun, ReserveOut action, std::uint32_t type,
                                      std::uint64_t key, std::uint64_t action_key) {
    AdapterRequest request = request_of(AdapterCommand::reserve_out, lun);
    request.action = static_cast<std::uint32_t>(action);
    request.type = type;
    request.key = key;
    request.action_key = action_key;
    std::vector<std::uint8_t> answer;
    return call(request, nullptr, answer);
}

void AdapterClient::set_path(PathAction action, std::uint32_t slow_ms) {
    AdapterRequest request = request_of(AdapterCommand::path, 0);
    request.action = static_cast<std::uint32_t>(action);
    request.type = slow_ms;
    std::vector<std::uint8_t> answer;
    check(call(request, nullptr, answer));
}

AdapterPath AdapterClient::path() {
    std::vector<std::uint8_t> answer;
    check(call(request_of(AdapterCommand::path_state, 0), nullptr, answer));
    return record_of<AdapterPath>(answer);
}

DiskResult AdapterClient::call(AdapterRequest request, const void* data,
                               std::vector<std::uint8_t>& answer) {
    send_bytes(&request, sizeof request);
    send_bytes(data, request.length);
    AdapterAnswer header;
    receive_bytes(&header, sizeof header);
    if (header.magic != adapter_magic || header.length > adapter_data_limit) {
        throw AdapterGone("the host adapter's answer is malformed");
    }
    answer.resize(header.length);
    receive_bytes(answer.data(), answer.size());
    return {static_cast<AdapterResult>(header.result), header.scsi_status, header.sense_key,
            header.sense_code, header.sense_qualifier};
}

void AdapterClient::send_bytes(const void* bytes, std::size_t size) {
    const auto* next = static_cast<const char*>(bytes);
    while (size > 0) {
        const auto part = static_cast<Length>(std::min<std::size_t>(size, 1 << 20));
        const auto sent = ::send(as_socket(m_socket), next, part, send_flags);
        if (sent <= 0) {
            throw AdapterGone("the host adapter is gone");
        }
        next += sent;
        size -= static_cast<std::size_t>(sent);
    }
}

void AdapterClient::receive_bytes(void* bytes, std::size_t size) {
    auto* next = static_cast<char*>(bytes);
    while (size > 0) {
        const auto part = static_cast<Length>(std::min<std::size_t>(size, 1 << 20));
        const auto received = ::recv(as_socket(m_socket), next, part, 0);
        if (received <= 0) {
            throw AdapterGone("the host adapter is gone");
        }
        next += received;
        size -= static_cast<std::size_t>(received);
    }
}

void ArrayDisk::read(std::uint64_t first_block, std::uint32_t blocks, void* data) {
    check(m_adapter.read(m_disk.lun, first_block, blocks, data));
}

void ArrayDisk::write(std::uint64_t first_block, std::uint32_t blocks, const void* data) {
    check(m_adapter.write(m_disk.lun, first_block, blocks, data));
}

void ArrayDisk::flush() {
    check(m_adapter.flush(m_disk.lun));
}

}  // namespace lab
