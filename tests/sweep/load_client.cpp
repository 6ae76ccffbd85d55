// A process of agents, each on a thread and a connection of its own, that call every export and
// reconnect whenever the connection is lost:
//
//   load_client NAME NUMBER AGENTS CALLS SEED
//
// NAME is the prefix of four kernel objects: the process releases the semaphore NAME.ready after
// it has called each export once, and NAME.done when its agents have made their calls. It waits
// for the events NAME.go before the agents start, and NAME.calm, after which nothing fails any
// more, before they make a last call. The trace log is that of the process's VMPATH.
//
// Prints "calls N, failed N, reconnections N, left handles N, blocks N, of the bus N", and every
// failure to the error output. Exits with 0 when there is no failure.
#include "support/exclusive.h"
#include "support/farlo_dll.h"
#include "support/heap_watch.h"
#include "support/kernel_handles.h"
#include "sweep/prepared_call.h"
#include "sweep/situations.h"
#include "ztbus3.h"
#include "ztbus3/lab_bus.h"
#include "ztcmd.h"
#include "ztcmd/lab_cmd.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <random>

namespace {

using namespace sweep;

constexpr DWORD hang_ms = 300'000;
constexpr DWORD retry_ms = 20;
// The library's own pauses are seconds.
constexpr DWORD longest_pause_ms = 20;

std::atomic<unsigned> faults;
std::atomic<unsigned> calls_made;
std::atomic<unsigned> calls_failed;
std::atomic<unsigned> reconnections;

void fault(const Situation& situation, const char* what, std::uint32_t status) {
    ++faults;
    std::fprintf(stderr, "%s (%s): %s, status 0x%x\n", situation.export_name, situation.name, what,
                 static_cast<unsigned>(status));
}

void WINAPI pause(DWORD time_ms) {
    Sleep(std::min(time_ms, longest_pause_ms));
}

// Connections that calls of this thread made and released.
thread_local std::vector<opal_handle> made;
thread_local std::vector<opal_handle> released;

bool erase_handle(std::vector<opal_handle>& handles, opal_handle handle) {
    return std::erase(handles, handle) != 0;
}

opal_status connect(std::uint32_t flags, std::uint32_t reserved, opal_handle* slot) {
    const opal_status status = InitializeZtVmW(flags, reserved, slot);
    if (status == ZTSTATUS_OK) {
        erase_handle(released, *slot);
        made.push_back(*slot);
    }
    return status;
}

opal_status disconnect(opal_handle handle) {
    if (!erase_handle(made, handle)) {
        released.push_back(handle);
    }
    return UnInitializeZtVmW(handle);
}

// The library while it is loaded, with its pauses shortened and its connections followed.
struct Library {
    support::FarloDll dll;
    support::Interposer sleep{dll.module(), "Sleep", &pause};
    support::Interposer connects{dll.module(), "InitializeZtVmW", &connect};
    support::Interposer disconnects{dll.module(), "UnInitializeZtVmW", &disconnect};
};

class Agent {
  public:
    Agent(const support::FarloDll& dll, std::uint32_t seed) : m_dll(dll), m_engine(seed) {}

    // Makes that number of calls, in every situation equally often.
    void work(unsigned calls) {
        reconnect();
        std::vector<const Situation*> order;
        for (unsigned number = 0; number < calls; ++number) {
            if (order.empty()) {
                for (const Situation& situation : situations()) {
                    order.push_back(&situation);
                }
                std::shuffle(order.begin(), order.end(), m_engine);
            }
            call(*order.back());
            order.pop_back();
            if (m_handle == nullptr || m_handle->connected == 0) {
                reconnect();
                ++reconnections;
            }
        }
    }
    // When nothing fails any more, a connection can be made and works.
    void end() {
        reconnect();
        wchar_t name[260] = L"";
        const std::uint32_t status = CALL(m_dll, GetDgNameW)(m_handle, "guid-c", name);
        if (status != FARLO_SUCCESS || std::wstring(name) != L"dgc") {
            ++faults;
            std::fprintf(stderr, "the last call: 0x%x\n", static_cast<unsigned>(status));
        }
        CALL(m_dll, UnInitializeClusterW)(m_handle);
    }

  private:
    void call(const Situation& situation) {
        made.clear();
        released.clear();
        std::uint32_t status = 0;
        {
            PreparedCall prepared(situation.arguments, m_handle);
            status = prepared.run(m_dll.entry<FARPROC>(situation.export_name));
            check(situation, prepared, status);
        }
        for (const opal_handle handle : std::exchange(made, {})) {
            CALL(m_dll, UnInitializeClusterW)(handle);
        }
    }

    void check(const Situation& situation, const PreparedCall& call, std::uint32_t status) {
        ++calls_made;
        const bool failed = situation.contract.returns_flag ? (status & 0xFF) == 0 : status != 0;
        calls_failed += failed ? 1 : 0;
        const bool described = status == situation.clean_status ||
                               situation.contract.returns_flag ||
                               among(situation.contract.when_disconnected, status) ||
                               is_described(situation.contract, status);
        if (!described) {
            fault(situation, "returned a status that is not documented", status);
        }
        for (const auto& argument : call.arguments()) {
            if (const std::string overrun = argument->overrun(); !overrun.empty()) {
                fault(situation, overrun.c_str(), status);
            }
            for (const opal_handle handle : {argument->slot_handle(), argument->own_handle()}) {
                const bool still_there = handle != nullptr && !erase_handle(released, handle) &&
                                         std::find(made.begin(), made.end(), handle) == made.end();
                if (still_there) {
                    made.push_back(handle);
                }
            }
        }
        // Only the holder of a slot releases a handle.
        if (erase_handle(released, m_handle)) {
            fault(situation, "released the handle", status);
            m_handle = nullptr;
        }
        for (const opal_handle left : made) {
            if (left != nullptr && !is_of_a_slot(call, left)) {
                fault(situation, "left a connection over", status);
            }
        }
    }

    // Whether an argument of the call holds that handle.
    static bool is_of_a_slot(const PreparedCall& call, opal_handle handle) {
        return std::any_of(
            call.arguments().begin(), call.arguments().end(), [handle](const auto& argument) {
                return argument->slot_handle() == handle || argument->own_handle() == handle;
            });
    }

    void reconnect() {
        const ULONGLONG begin = GetTickCount64();
        while (CALL(m_dll, ValidateClusterW)(&m_handle) != FARLO_SUCCESS) {
            if (GetTickCount64() - begin > hang_ms) {
                std::fputs("does not reconnect\n", stderr);
                std::exit(1);
            }
            Sleep(retry_ms);
        }
    }

    const support::FarloDll& m_dll;
    std::mt19937 m_engine;
    opal_handle m_handle = nullptr;
};

// What a process of agents has open.
struct LiveObjects {
    std::vector<unsigned long long> handles = support::kernel_handles();
    lab_live bus = [] {
        lab_live live;
        LabGetLive(&live);
        return live;
    }();
};

struct Objects {
    HANDLE ready;
    HANDLE go;
    HANDLE done;
    HANDLE calm;
};

struct Thread {
    const support::FarloDll* dll;
    const Objects* objects;
    std::uint32_t seed;
    unsigned calls;
    std::atomic<unsigned>* working;
};

DWORD WINAPI run_agent(void* argument) {
    const auto& thread = *static_cast<const Thread*>(argument);
    Agent agent(*thread.dll, thread.seed);
    WaitForSingleObject(thread.objects->go, hang_ms);
    agent.work(thread.calls);
    if (--*thread.working == 0) {
        ReleaseSemaphore(thread.objects->done, 1, nullptr);
    }
    WaitForSingleObject(thread.objects->calm, hang_ms);
    agent.end();
    return 0;
}

void run_agents(const support::FarloDll& dll, const Objects& objects, unsigned agents,
                unsigned calls, std::uint32_t seed) {
    std::atomic<unsigned> working = agents;
    std::vector<Thread> threads;
    for (unsigned number = 0; number < agents; ++number) {
        threads.push_back({&dll, &objects, seed + number, calls, &working});
    }
    std::vector<HANDLE> handles;
    for (Thread& thread : threads) {
        handles.push_back(CreateThread(nullptr, 0, &run_agent, &thread, 0, nullptr));
    }
    for (const HANDLE handle : handles) {
        WaitForSingleObject(handle, INFINITE);
        CloseHandle(handle);
    }
}

// Threads of lost connections end on their own.
std::vector<unsigned long long> handles_left(const LiveObjects& before) {
    std::vector<unsigned long long> left;
    for (int tries = 0; tries < 100; ++tries) {
        left = support::new_kernel_handles(before.handles);
        if (left.empty()) {
            break;
        }
        Sleep(retry_ms);
    }
    return left;
}

bool run(const Objects& objects, DWORD number, unsigned agents, unsigned calls,
         std::uint32_t seed) {
    support::environment().set_trace_level(6);
    support::environment().set_registry(L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion",
                                        L"CurrentVersion", L"6.3");
    support::environment().set_registry(support::volume_manager_key, L"VMMSFolderDelete", 1);
    // Every other process asks the service for reservations, not the driver.
    if (number % 2 != 0) {
        support::environment().set_registry(support::volume_manager_key, L"SupportSCSI3", 2);
    }
    std::optional<Library> library(std::in_place);
    // The first calls in a process do more than the others.
    Agent first(library->dll, seed);
    first.work(static_cast<unsigned>(situations().size()));
    first.end();
    const support::HeapWatch heap(library->dll.module());
    const LiveObjects before;
    ReleaseSemaphore(objects.ready, 1, nullptr);

    run_agents(library->dll, objects, agents, calls, seed);

    const std::vector<unsigned long long> handles = handles_left(before);
    const LiveObjects after;
    library.reset();
    const long blocks = heap.live_blocks();
    const long of_bus =
        static_cast<long>(after.bus.property_sets + after.bus.properties + after.bus.blocks) -
        static_cast<long>(before.bus.property_sets + before.bus.properties + before.bus.blocks);
    std::printf(
        "calls %u, failed %u, reconnections %u, left handles %u, blocks %ld, of the bus %ld\n",
        calls_made.load(), calls_failed.load(), reconnections.load(),
        static_cast<unsigned>(handles.size()), blocks, of_bus);
    for (const unsigned long long handle : handles) {
        std::fprintf(stderr, "left: %s\n", support::describe_handle(handle).c_str());
    }
    if (blocks != 0) {
        std::fprintf(stderr, "%s\n", heap.describe_live_blocks().c_str());
    }
    return faults == 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 6) {
        std::fputs("usage: load_client NAME NUMBER AGENTS CALLS SEED\n", stderr);
        return 1;
    }
    const std::string name = argv[1];
    const Objects objects = {
        OpenSemaphoreA(SEMAPHORE_MODIFY_STATE, FALSE, (name + ".ready").c_str()),
        OpenEventA(SYNCHRONIZE, FALSE, (name + ".go").c_str()),
        OpenSemaphoreA(SEMAPHORE_MODIFY_STATE, FALSE, (name + ".done").c_str()),
        OpenEventA(SYNCHRONIZE, FALSE, (name + ".calm").c_str())};
    wchar_t log_folder[MAX_PATH] = L"";
    GetEnvironmentVariableW(L"VMPATH", log_folder, MAX_PATH);
    // Its registry is this process's own; the log is everybody's.
    support::environment();
    SetEnvironmentVariableW(L"VMPATH", log_folder);
    const auto word = [argv](int i) {
        return static_cast<std::uint32_t>(std::strtoul(argv[i], nullptr, 0));
    };
    return run(objects, word(2), word(3), word(4), word(5)) ? 0 : 1;
}
