// Listens on the loopback interface and serves each client on its own thread.
#pragma once

#include "ztsvc/client.h"

#include <list>
#include <memory>

namespace lab {

class Server {
  public:
    Server(Store& store, FaultPlan& faults, KernelFeed& kernel, const Log& log);

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

    Store& m_store;
    FaultPlan& m_faults;
    KernelFeed& m_kernel;
    const Log& m_log;
    SOCKET m_socket = INVALID_SOCKET;
    std::uint32_t m_last_number = 0;
    SRWLOCK m_lock = SRWLOCK_INIT;
    std::list<std::shared_ptr<Client>> m_clients;
};

}  // namespace lab
