// What the class layer traced.
#pragma once

#include "lab_bus.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace bus_test {

inline std::vector<std::string> traces;

// Collects traces, "LEVEL text", and leaves nothing of the bus behind.
class ClassLayer : public testing::Test {
  protected:
    void SetUp() override {
        traces.clear();
        LabSetTraceSink([](std::uint32_t level, const char* text) {
            traces.push_back(std::to_string(level) + " " + text);
        });
        LabGetLive(&m_before);
    }
    void TearDown() override {
        faults(nullptr);
        LabSetTraceSink(nullptr);
        lab_live after;
        LabGetLive(&after);
        EXPECT_EQ(after.property_sets, m_before.property_sets);
        EXPECT_EQ(after.properties, m_before.properties);
        EXPECT_EQ(after.blocks, m_before.blocks);
    }

    static void faults(const char* json) {
        char error[256];
        ASSERT_EQ(LabSetFaultPlan(json, error, sizeof error), 0) << error;
    }

  private:
    lab_live m_before{};
};

using Texts = std::vector<std::string>;

// The status that a piece of code throws; 0 when it throws none.
template <class Code> std::uint32_t thrown_by(Code&& code) {
    try {
        code();
    } catch (std::uint32_t status) {
        return status;
    }
    return 0;
}

}  // namespace bus_test
