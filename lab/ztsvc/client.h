// One client of the service: a connection and the thread that serves it.
#pragma once

#include "faults.h"
#include "kernel_feed.h"
#include "store.h"
#include "stream.h"

#include <memory>

namespace lab {

class Client {
  public:
    Client(SOCKET socket, Store& store, FaultPlan& faults, KernelFeed& kernel, std::uint32_t number,
           bool quiet)
        : m_stream(socket), m_store(store), m_faults(faults), m_kernel(kernel), m_number(number),
          m_quiet(quiet) {}

    // Answers requests until the client is gone or sends what is no frame.
    void serve();
    // Passes an alert on. A client that does not take it is about to end.
    void alert(const std::string& name);

  private:
    // The answer to a request. Throws Malformed and Dropped.
    std::vector<std::uint8_t> answer(const Frame& request);
    // Does the work of a request as the fault plan has it. Throws Dropped.
    template <class Work>
    opal_status faulty(Operation operation, Work&& work, std::uint32_t minor = 0);
    void say(const std::string& what) const;

    Stream m_stream;
    Store& m_store;
    FaultPlan& m_faults;
    KernelFeed& m_kernel;
    std::uint32_t m_number;
    bool m_quiet;
};

}  // namespace lab
