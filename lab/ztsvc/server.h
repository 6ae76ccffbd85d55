// Listens on the loopback interface and serves each client on its own thread.
#pragma once

#include "ztsvc/client.h"

#include <list>
#include <memory>

namespace lab {

class Server {
  public:
    // Sets what the parts need of the server.
    explicit Server(ServiceParts& parts);

    // Returns the port; 0 selects a free one. Throws std::runtime_error.
    std::uint16_t listen(std::uint16_t port);
    // Never returns.
    void run();

  private:
    struct Served {
        Server* server;
        std::shared_ptr<Client> client;
    };
    static DWORD WINAPI serve(void* served);
    void alert_all(const std::string& name);
    std::list<std::shared_ptr<Client>> clients();
    std::vector<ClientName> names_of_clients();
    bool drop(std::uint32_t number);

    ServiceParts& m_parts;
    SOCKET m_socket = INVALID_SOCKET;
    std::uint32_t m_last_number = 0;
    SRWLOCK m_lock = SRWLOCK_INIT;
    std::list<std::shared_ptr<Client>> m_clients;
};

}  // namespace lab
