// Serves a node's programs: one thread for each connection.
#pragma once

#include "array/host/iscsi_session.h"
#include "array/host/path_state.h"

#include <cstdint>

namespace lab {

class AdapterServer {
  public:
    AdapterServer(IscsiSession& session, PathState& path) : m_session(session), m_path(path) {}

    // Listens on the loopback interface. Returns the port; 0 selects a free one. Throws
    // std::system_error.
    std::uint16_t listen(std::uint16_t port);
    // Never returns.
    [[noreturn]] void run();

  private:
    void serve(int connection);
    AdapterAnswer answer(const AdapterRequest& request, std::vector<std::uint8_t>& data);
    DiskResult execute(const AdapterRequest& request, std::vector<std::uint8_t>& data);
    DiskResult send_command(Deadline deadline, const AdapterRequest& request,
                            std::vector<std::uint8_t>& data);
    DiskResult reserve_in(Deadline deadline, const AdapterRequest& request,
                          std::vector<std::uint8_t>& data);
    bool set_path(const AdapterRequest& request);

    IscsiSession& m_session;
    PathState& m_path;
    int m_socket = -1;
};

}  // namespace lab
