// What the class layer traced.
#pragma once

#include "ztbus3/lab_bus.h"

#include <gtest/gtest.h>

#include <sstream>
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

// Above the code page of the lab node, which is 1252.
inline constexpr wchar_t not_in_the_code_page[] = L"\x4e2d";

// The class layer is linked into this program: its calls of the bus are imports
// of the program.
inline HMODULE class_layer() {
    return GetModuleHandleW(nullptr);
}

// The status that a piece of code throws; 0 when it throws none.
template <class Code> std::uint32_t thrown_by(Code&& code) {
    try {
        code();
    } catch (std::uint32_t status) {
        return status;
    }
    return 0;
}

// What a piece of code calls of the bus, as the recorder writes it down.
template <class Code> Texts calls_of(Code&& code, int what = LAB_RECORD_ALL) {
    LabRecorderStart(what);
    code();
    LabRecorderStop();
    std::string text(LabRecorderText(nullptr, 0), '\0');
    LabRecorderText(text.data(), text.size());
    text.pop_back();
    Texts lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

}  // namespace bus_test
