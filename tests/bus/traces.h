// Fixture for tests of the class layer, which is linked into the test program.
#pragma once

#include "support/fault_rules.h"
#include "support/recorded_calls.h"
#include "ztbus3/lab_bus.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace bus_test {

using Strings = std::vector<std::string>;

// The lines that were traced since the test began, as "LEVEL LINE".
inline Strings traces;

// Collects the traces. Fails a test that leaks property sets, properties or blocks of the bus.
class ClassLayer : public testing::Test {
  protected:
    void SetUp() override {
        traces.clear();
        LabSetTraceSink([](std::uint32_t level, const char* line) {
            traces.push_back(std::to_string(level) + " " + line);
        });
        LabGetLive(&m_before);
    }
    void TearDown() override {
        set_faults({});
        LabSetTraceSink(nullptr);
        lab_live after;
        LabGetLive(&after);
        EXPECT_EQ(after.property_sets, m_before.property_sets);
        EXPECT_EQ(after.properties, m_before.properties);
        EXPECT_EQ(after.blocks, m_before.blocks);
    }

    // Replaces the fault plan; no rules remove it.
    static void set_faults(const std::vector<support::FaultRule>& rules) {
        char error[256];
        ASSERT_EQ(LabSetFaultPlan(support::fault_plan(rules).c_str(), error, sizeof error), 0)
            << error;
    }

  private:
    lab_live m_before{};
};

// Not a character of the lab node's code page, which is 1252.
inline constexpr wchar_t not_in_the_code_page[] = L"\x4e2d";

// The module whose imports are the class layer's calls of the bus: this program.
inline HMODULE class_layer() {
    return GetModuleHandleW(nullptr);
}

// The status that `code` throws, or 0 if it throws nothing.
template <class Code> std::uint32_t thrown_by(Code&& code) {
    try {
        code();
    } catch (std::uint32_t status) {
        return status;
    }
    return 0;
}

// The bus calls that `code` makes, as the recorder writes them.
template <class Code> Strings calls_of(Code&& code, int what = LAB_RECORD_ALL) {
    LabRecorderStart(what);
    code();
    LabRecorderStop();
    return support::recorded_calls();
}

}  // namespace bus_test
