// The fixture of every test of an export.
//
// A test loads a scenario, calls the library and says what it expects: the
// status, the bus calls in order, the log lines with their levels in order, the
// pauses. What was left over (property sets, properties, blocks, handles, heap)
// is looked at after each run, without being asked for.
//
// The log carries no levels. at_every_threshold runs a body once for each
// threshold, with the DLL loaded afresh, and expect_log compares those lines
// whose level the threshold lets through: a line at a wrong level is missing,
// or too much, in one of the runs.
#pragma once

#include "farlo_dll.h"
#include "guarded_buffer.h"
#include "heap_watch.h"
#include "interposer.h"
#include "lab_bus.h"
#include "lab_cmd.h"
#include "trace_lines.h"
#include "virtual_clock.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace support {

// Handles that this process holds now.
DWORD kernel_handles();

class FarloTest : public testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

    // Runs the body at thresholds 0 to 6. Before each run: the scenario, a fresh
    // DLL, a connected handle, an empty log, a running recorder. After each:
    // nothing may be left over.
    void at_every_threshold(const std::function<void()>& body);
    // The same, once, at threshold 6.
    void once(const std::function<void()>& body);

    // The storage of the runs; an empty node by default. Set before them.
    std::string scenario = "{}";
    // What SupportSCSI3 is in the runs.
    std::optional<DWORD> support_scsi3;
    // Whether a run begins with a connected handle.
    bool connects = true;
    // Whether time is virtual in the runs.
    bool virtual_time = true;

    // In a body:
    FarloDll& dll() { return *m_dll; }
    VirtualClock& clock() { return *m_clock; }
    HeapWatch& heap() { return *m_heap; }
    opal_handle handle = nullptr;
    // Threshold of this run.
    DWORD threshold() const { return m_threshold; }

    // Loads another scenario, keeping the handle.
    void load_scenario(const std::string& json);
    void set_faults(const std::string& json);
    // Makes the handle one that lost its connection.
    void disconnect() { LabCmdDisconnect(handle); }

    // What is logged, recorded and paused from here on counts.
    void start_watching();
    void expect_log(const std::vector<Expected>& lines);
    // Recorded calls that reached the service.
    std::vector<std::string> calls() const;
    void expect_calls(const std::vector<std::string>& wanted);
    // Only those of one function.
    std::vector<std::string> calls_of(const std::string& function) const;
    void expect_pauses(const std::vector<Pause>& wanted);

  private:
    void run(const std::function<void()>& body);
    void throw_once();
    void expect_nothing_left(DWORD handles_before, const lab_live& before, long blocks_before);

    DWORD m_threshold = 6;
    std::unique_ptr<FarloDll> m_dll;
    std::unique_ptr<VirtualClock> m_clock;
    std::unique_ptr<HeapWatch> m_heap;
};

}  // namespace support

// Calls an export of the DLL under test: FARLO(OnlineDgW)(handle, ...).
#define FARLO(name) CALL(dll(), name)
