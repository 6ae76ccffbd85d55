// The fixture of every test of an export.
//
// A test loads a scenario, calls the library and says what it expects: the
// status, the bus calls in order, the log lines with their levels in order, the
// pauses. What was left over (property sets, properties, blocks, connections,
// handles, heap) is looked at after each run, without being asked for.
//
// The log carries no levels. at_every_threshold runs a body once for each
// threshold, with the DLL loaded afresh, and expect_log compares those lines
// whose level the threshold lets through: a line at a wrong level is missing,
// or too much, in one of the runs.
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

    // Runs the body at thresholds 0 to 6. Before each run: the scenario, a fresh
    // DLL, a connected handle, an empty log, a running recorder. After each: the
    // handle is given back, the DLL unloaded, and nothing may be left over. Ends
    // with the first run that fails.
    void at_every_threshold(const std::function<void()>& body);
    // The same, once, at threshold 6.
    void once(const std::function<void()>& body);
    // The same, at that threshold.
    void at_threshold(DWORD threshold, const std::function<void()>& body);
    // Runs the body in one load of the DLL, first as it is, then with the first
    // allocation failing, then the second, and so on until none fails any more.
    // After each: nothing of the bus may be left over, nor any heap block.
    void at_every_allocation(const std::function<void()>& body);
    // The same with a call that must answer 0 where no allocation fails, at the
    // begin and at the end. What it answered between is handed back.
    std::vector<std::uint32_t>
    answers_at_every_allocation(const std::function<std::uint32_t()>& call);

    // Of the runs, set before them:
    // The storage; an empty node by default.
    std::string scenario = "{}";
    // What SupportSCSI3 is.
    std::optional<DWORD> support_scsi3;
    // Whether a run begins with a connected handle.
    bool connects = true;
    // Whether time is virtual.
    bool virtual_time = true;
    // Which calls are recorded: LAB_RECORD_SERVICE or LAB_RECORD_ALL.
    int recorded = LAB_RECORD_SERVICE;
    // Kernel handles that the library keeps until the process ends.
    std::size_t kept_handles = 0;
    // Called before process attach, as in FarloDll.
    std::function<void(HMODULE module)> before_attach;

    // In a body:
    FarloDll& dll() { return *m_dll; }
    VirtualClock& clock() { return *m_clock; }
    HeapWatch& heap() { return *m_heap; }
    // Given back after the run unless the body sets it to NULL.
    opal_handle handle = nullptr;
    // Threshold of this run.
    DWORD threshold() const { return m_threshold; }

    // Replaces a function that the DLL imports until the run ends, or makes
    // calls of it fail (interposer.h):
    //   interpose<decltype(CreateThread)>("CreateThread", [&](auto...) -> HANDLE {...});
    //   fail_calls<decltype(CreateMutexA)>("CreateMutexA", {.last_error = 5}, nullptr);
    template <class Function>
    StandIn<Function>& interpose(const char* name, std::function<Function> body) {
        auto made = std::make_shared<StandIn<Function>>(dll().module(), name, std::move(body));
        m_interposed.push_back(made);
        return *made;
    }
    template <class Function, class Result>
    Failure<Function>& fail_calls(const char* name, FailingCalls failing, Result result) {
        auto made = std::make_shared<Failure<Function>>(dll().module(), name, failing, result);
        m_interposed.push_back(made);
        return *made;
    }

    // Loads another scenario, keeping the handle.
    void load_scenario(const std::string& json);
    void load_scenario_file(const std::filesystem::path& path);
    void set_faults(const std::string& json);
    // Makes the handle one that lost its connection.
    void disconnect() { LabCmdDisconnect(handle); }

    // What is logged, recorded and paused from here on counts.
    void start_watching();
    void expect_log(const std::vector<Expected>& lines);
    // Recorded calls.
    std::vector<std::string> calls() const;
    void expect_calls(const std::vector<std::string>& wanted);
    // Only those of one function, or of several, in order.
    std::vector<std::string> calls_of(const std::string& function) const;
    std::vector<std::string> calls_of(const std::vector<std::string>& functions) const;
    void expect_calls_of(const std::vector<std::string>& functions,
                         const std::vector<std::string>& wanted);
    void expect_pauses(const std::vector<Pause>& wanted);

  private:
    void run(const std::function<void()>& body);
    bool begin_run();
    void end_run();
    void expect_nothing_of_the_bus_left() const;

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
