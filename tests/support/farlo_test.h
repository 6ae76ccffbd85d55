// The fixture of every test of an export.
//
// A test loads a scenario, calls the library and states what it expects: the status, the bus calls
// in order, the log lines with their levels in order, and the pauses. After each run the fixture
// checks for leaks of property sets, properties, blocks, connections, handles and heap blocks.
//
// The log does not contain levels. at_every_threshold runs a body once for each threshold, with the
// DLL newly loaded, and expect_log compares the lines whose level the threshold lets through: a
// line at a wrong level is missing, or unexpected, in one of the runs.
#pragma once

#include "support/farlo_dll.h"
#include "support/guarded_buffer.h"
#include "support/heap_watch.h"
#include "support/interposer.h"
#include "support/kernel_handles.h"
#include "support/own_handle.h"
#include "support/runtime_locks.h"
#include "support/trace_lines.h"
#include "support/virtual_clock.h"
#include "ztbus3/lab_bus.h"
#include "ztcmd/lab_cmd.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace support {

class FarloTest : public testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

    // Runs the body at thresholds 0 to 6. A run starts with the scenario, a newly loaded DLL, a
    // connected handle, an empty log and a running recorder. After the run the handle is released,
    // the DLL is unloaded, and leaks fail the test. Stops after the first run that fails.
    void at_every_threshold(const std::function<void()>& body);
    // One such run at threshold 6.
    void once(const std::function<void()>& body);
    // One such run at this threshold.
    void at_threshold(DWORD threshold, const std::function<void()>& body);
    // Runs the body in one load of the DLL: first without a failure, then with its first allocation
    // failing, then with its second, and so on until no allocation fails. Leaks of the bus fail the
    // test after each of them, leaks of heap blocks at the end.
    void at_every_allocation(const std::function<void()>& body);
    // The same with a call that must return 0 when no allocation fails, that is, first and last.
    // Returns the statuses of the calls between.
    std::vector<std::uint32_t>
    statuses_at_every_allocation(const std::function<std::uint32_t()>& call);

    // Settings of the runs, to be set before them.
    //
    // The storage, in JSON; an empty node by default.
    std::string scenario = "{}";
    // The value of SupportSCSI3 in the registry; none by default.
    std::optional<DWORD> support_scsi3;
    // Whether a run starts with a connected handle.
    bool connects = true;
    // Whether sleeps and waits end at once (virtual_clock.h).
    bool virtual_time = true;
    // Which calls are recorded: LAB_RECORD_SERVICE or LAB_RECORD_ALL.
    int recorded = LAB_RECORD_SERVICE;
    // The number of kernel handles that the library keeps until the process ends.
    std::size_t kept_handles = 0;
    // Called before process attach, as in FarloDll.
    std::function<void(HMODULE module)> before_attach;

    // For use in a body.
    //
    FarloDll& dll() { return *m_dll; }
    VirtualClock& clock() { return *m_clock; }
    HeapWatch& heap() { return *m_heap; }
    // Released after the run unless the body sets it to NULL.
    opal_handle handle = nullptr;
    // The threshold of this run.
    DWORD threshold() const { return m_threshold; }

    // Replaces a function that the DLL imports, or makes calls of it fail, until the run ends
    // (interposer.h):
    //   interpose<decltype(CreateThread)>("CreateThread", [&](auto...) -> HANDLE {...});
    //   fail_calls<decltype(CreateMutexA)>("CreateMutexA", {.last_error = ERROR_ACCESS_DENIED},
    //   nullptr);
    template <class Function>
    StandIn<Function>& interpose(const char* name, std::function<Function> body) {
        auto stand_in = std::make_shared<StandIn<Function>>(dll().module(), name, std::move(body));
        m_interposed.push_back(stand_in);
        return *stand_in;
    }
    template <class Function, class Result>
    Failure<Function>& fail_calls(const char* name, FailingCalls failing, Result result) {
        auto failure = std::make_shared<Failure<Function>>(dll().module(), name, failing, result);
        m_interposed.push_back(failure);
        return *failure;
    }

    // Loads another scenario and keeps the handle.
    void load_scenario(const std::string& json);
    void load_scenario_file(const std::filesystem::path& path);
    // Replaces the fault plan (fault_rules.h).
    void set_faults(const std::string& json);
    // Disconnects the handle.
    void disconnect() { LabCmdDisconnect(handle); }

    // Discards the log lines, calls and pauses so far.
    void start_watching();
    void expect_log(const std::vector<Expected>& lines);
    // All recorded calls.
    std::vector<std::string> calls() const;
    void expect_calls(const std::vector<std::string>& wanted);
    // The recorded calls of one function, or of several, in order.
    std::vector<std::string> calls_of(const std::string& function) const;
    std::vector<std::string> calls_of(const std::vector<std::string>& functions) const;
    void expect_calls_of(const std::vector<std::string>& functions,
                         const std::vector<std::string>& wanted);
    void expect_pauses(const std::vector<Pause>& wanted);

  private:
    void run(const std::function<void()>& body);
    bool begin_run();
    void end_run();
    void expect_no_leak_of_the_bus() const;

    DWORD m_threshold = 6;
    std::vector<unsigned long long> m_handles_before;
    lab_live m_live_before{};
    lab_cmd_calls m_commands_before{};
    lab_live m_live_connected{};
    std::unique_ptr<RuntimeLocks> m_locks;
    std::unique_ptr<FarloDll> m_dll;
    std::unique_ptr<HeapWatch> m_heap;
    std::unique_ptr<VirtualClock> m_clock;
    std::vector<std::shared_ptr<void>> m_interposed;
};

}  // namespace support

// Calls an export of the DLL under test: FARLO(OnlineDgW)(handle, ...).
#define FARLO(name) CALL(dll(), name)
