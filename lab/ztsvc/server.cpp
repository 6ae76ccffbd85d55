#include "ztsvc/server.h"

#include <cstdio>
#include <stdexcept>

namespace lab {
namespace {

// A client that receives nothing for this long is disconnected, because alerts
// for the other clients wait for it.
constexpr DWORD send_limit_ms = 5000;

void set_up(SOCKET accepted) {
    const BOOL no_delay = TRUE;
    setsockopt(accepted, IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&no_delay),
               sizeof no_delay);
    setsockopt(accepted, SOL_SOCKET, SO_SNDTIMEO, reinterpret_cast<const char*>(&send_limit_ms),
               sizeof send_limit_ms);
}

}  // namespace

Server::Server(ServiceParts& parts) : m_parts(parts) {
    m_parts.store.set_alert_sink([this](const std::string& name) { alert_all(name); });
    m_parts.clients = [this] { return names_of_clients(); };
    m_parts.drop_client = [this](std::uint32_t number) { return drop(number); };
}

std::uint16_t Server::listen(std::uint16_t port) {
    start_winsock();
    m_socket = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    // Prevents other processes from listening on the same port.
    const BOOL exclusive = TRUE;
    setsockopt(m_socket, SOL_SOCKET, SO_EXCLUSIVEADDRUSE, reinterpret_cast<const char*>(&exclusive),
               sizeof exclusive);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (bind(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(m_socket, SOMAXCONN) != 0) {
        const int error = WSAGetLastError();
        throw std::runtime_error("port " + std::to_string(port) +
                                 (error == WSAEADDRINUSE || error == WSAEACCES
                                      ? ": in use by another program"
                                      : ": Winsock error " + std::to_string(error)));
    }
    int size = sizeof address;
    getsockname(m_socket, reinterpret_cast<sockaddr*>(&address), &size);
    return ntohs(address.sin_port);
}

void Server::run() {
    for (;;) {
        const SOCKET accepted = accept(m_socket, nullptr, nullptr);
        if (accepted == INVALID_SOCKET) {
            Sleep(10);
            continue;
        }
        set_up(accepted);
        auto served = std::make_unique<Served>(
            Served{this, std::make_shared<Client>(accepted, m_parts, ++m_last_number)});
        {
            const Exclusive hold(m_lock);
            m_clients.push_back(served->client);
        }
        const HANDLE thread = CreateThread(nullptr, 256 * 1024, serve, served.get(),
                                           STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr);
        if (thread == nullptr) {
            const Exclusive hold(m_lock);
            m_clients.remove(served->client);
            continue;
        }
        served.release();
        CloseHandle(thread);
    }
}

DWORD WINAPI Server::serve(void* argument) {
    const std::unique_ptr<Served> served(static_cast<Served*>(argument));
    try {
        served->client->serve();
    } catch (const std::exception& error) {
        // For example out of memory. Only this client is lost.
        std::fprintf(stderr, "ztsvc: a client was dropped: %s\n", error.what());
    }
    const Exclusive hold(served->server->m_lock);
    served->server->m_clients.remove(served->client);
    return 0;
}

std::list<std::shared_ptr<Client>> Server::clients() {
    const Exclusive hold(m_lock);
    return m_clients;
}

void Server::alert_all(const std::string& name) {
    for (const std::shared_ptr<Client>& client : clients()) {
        client->alert(name);
    }
}

std::vector<ClientName> Server::names_of_clients() {
    std::vector<ClientName> names;
    for (const std::shared_ptr<Client>& client : clients()) {
        names.push_back(client->name());
    }
    return names;
}

bool Server::drop(std::uint32_t number) {
    for (const std::shared_ptr<Client>& client : clients()) {
        if (client->name().number == number) {
            client->drop();
            return true;
        }
    }
    return false;
}

}  // namespace lab
