// A cluster agent that brings a volume online repeatedly, which starts the node:
//
//   node_starter NAME NUMBER GROUP DEVICE STEP
//
// Each set of the event NAME.go.NUMBER makes it bring the volume online once. It
// releases the semaphore NAME.done once it is connected, and after each OnlineVolW. If
// OnlineVolW fails, it exits with its status.
//
// At STEP it releases the semaphore NAME.reached and stops forever:
//   before    before the node's mutex is created
//   holding   while it holds the mutex
//   token     while it holds the mutex and the start token
//   started   the same, after the start has returned
//   waiting   while it waits for the node and holds the token only
// At "at-mutex" it releases the semaphore and continues with the wait for the mutex. With "-" it
// does not stop.
#include "end_to_end/agent_program.h"
#include "farlo.h"
#include "support/interposer.h"
#include "support/private_registry.h"
#include "ztservice.h"

#include <cstdio>
#include <memory>

namespace {

using namespace end_to_end;
using support::StandIn;

constexpr DWORD poll_pause_ms = 1000;
constexpr char node_mutex[] = "Global\\cvmclusternodeMutex";

std::wstring step;
HANDLE reached;

void report_reached() {
    ReleaseSemaphore(reached, 1, nullptr);
}

[[noreturn]] void stop_here() {
    report_reached();
    for (;;) {
        Sleep(INFINITE);
    }
}

// Replaces functions that the library calls, so that the process can stop at a step.
class Steps {
  public:
    explicit Steps(HMODULE farlo)
        : m_create_mutex(farlo, "CreateMutexA",
                         [this](SECURITY_ATTRIBUTES* security, BOOL owned, const char* name) {
                             if (std::string(name) != node_mutex) {
                                 return m_create_mutex.real(security, owned, name);
                             }
                             if (step == L"before") {
                                 stop_here();
                             }
                             m_mutex = m_create_mutex.real(security, owned, name);
                             return m_mutex.load();
                         }),
          m_wait(farlo, "WaitForSingleObject",
                 [this](HANDLE object, DWORD limit_ms) {
                     const bool is_mutex = object == m_mutex.load();
                     if (is_mutex && step == L"at-mutex") {
                         report_reached();
                     }
                     const DWORD result = m_wait.real(object, limit_ms);
                     if (is_mutex && step == L"holding") {
                         stop_here();
                     }
                     return result;
                 }),
          m_dispatch(farlo, "PrCallDispatch",
                     [this](auto connection, auto target, auto interface_id, auto major,
                            std::uint32_t minor, auto... rest) {
                         if (minor == ZTMETHOD_MISCOP_STARTNODE && step == L"token") {
                             stop_here();
                         }
                         const opal_status status = m_dispatch.real(
                             connection, target, interface_id, major, minor, rest...);
                         if (minor == ZTMETHOD_MISCOP_STARTNODE && step == L"started") {
                             stop_here();
                         }
                         return status;
                     }),
          m_sleep(farlo, "Sleep", [this](DWORD time_ms) {
              if (time_ms == poll_pause_ms && step == L"waiting") {
                  stop_here();
              }
              m_sleep.real(time_ms);
          }) {}

  private:
    std::atomic<HANDLE> m_mutex{nullptr};
    StandIn<decltype(CreateMutexA)> m_create_mutex;
    StandIn<decltype(WaitForSingleObject)> m_wait;
    StandIn<decltype(PrCallDispatch)> m_dispatch;
    StandIn<decltype(Sleep)> m_sleep;
};

}  // namespace

int wmain(int argc, wchar_t** argv) {
    if (argc != 6) {
        std::fputs("usage: node_starter NAME NUMBER GROUP DEVICE STEP\n", stderr);
        return could_not_start;
    }
    const support::PrivateRegistry registry;
    const std::wstring name = argv[1];
    const std::string guid = narrow_guid(argv[3]);
    step = argv[5];
    const HANDLE go = OpenEventW(SYNCHRONIZE, FALSE, (name + L".go." + argv[2]).c_str());
    const HANDLE done = OpenSemaphoreW(SEMAPHORE_MODIFY_STATE, FALSE, (name + L".done").c_str());
    reached = OpenSemaphoreW(SEMAPHORE_MODIFY_STATE, FALSE, (name + L".reached").c_str());
    const HMODULE farlo = LoadLibraryW(L"farlo.dll");
    if (farlo == nullptr || go == nullptr || done == nullptr || reached == nullptr) {
        std::fprintf(stderr, "farlo.dll cannot be loaded or NAME is unknown, error %lu\n",
                     GetLastError());
        return could_not_start;
    }
    const Steps steps(farlo);
    opal_handle handle = nullptr;
    const std::uint32_t connected =
        find_export<InitializeClusterW_fn>(farlo, "InitializeClusterW")(&handle);
    if (connected != FARLO_SUCCESS) {
        std::fprintf(stderr, "not connected: 0x%x\n", connected);
        return could_not_start;
    }
    const auto online = find_export<OnlineVolW_fn>(farlo, "OnlineVolW");
    std::uint32_t status = FARLO_SUCCESS;
    ReleaseSemaphore(done, 1, nullptr);
    while (status == FARLO_SUCCESS && WaitForSingleObject(go, hang_ms) == WAIT_OBJECT_0) {
        status = online(handle, guid.c_str(), argv[4], 0, INFINITE);
        ReleaseSemaphore(done, 1, nullptr);
    }
    return static_cast<int>(status);
}
