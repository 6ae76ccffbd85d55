// A connection to the embedded service, and helpers for properties and ids. A test
// fails if it leaves property sets, properties, blocks or connections behind.
#pragma once

#include "support/fault_members.h"
#include "support/recorded_calls.h"
#include "ztbus3/lab_bus.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace lab_tests {

using support::fault_plan;
using support::hex;
using support::returns;
using support::returns_after;

inline void load_scenario(const std::string& json) {
    char error[200];
    ASSERT_EQ(LabLoadScenarioText(json.c_str(), error, sizeof error), 0) << error;
}

inline opal_objid object(const char* name) {
    opal_objid id{};
    EXPECT_EQ(LabFindObject(name, &id), 0) << name;
    return id;
}

// Properties as clients build them.
inline opal_property number_property(const char* name, const std::uint32_t& value) {
    return {name, TYPE_UINT32, 1, sizeof value, &value};
}
inline opal_property text_property(const char* name, const char* value) {
    return {name, TYPE_STR, 1, static_cast<std::uint32_t>(std::strlen(value) + 1), value};
}
inline opal_property wide_property(const char* name, const wchar_t* value) {
    return {name, TYPE_WSTR, 1, static_cast<std::uint32_t>((std::wcslen(value) + 1) * 2), value};
}

inline std::uint32_t number_of(const opal_property& property) {
    EXPECT_EQ(property.type, TYPE_UINT32);
    EXPECT_EQ(property.size, sizeof(std::uint32_t));
    return *static_cast<const std::uint32_t*>(property.value);
}
inline std::string text_of(const opal_property& property) {
    EXPECT_EQ(property.type, TYPE_STR);
    return static_cast<const char*>(property.value);
}

// Time since a fixed moment, with a higher resolution than GetTickCount64.
inline std::int64_t microseconds() {
    LARGE_INTEGER now;
    LARGE_INTEGER frequency;
    QueryPerformanceCounter(&now);
    QueryPerformanceFrequency(&frequency);
    return now.QuadPart / (frequency.QuadPart / 1'000'000);
}

class BusTest : public testing::Test {
  protected:
    void SetUp() override {
        LabGetLive(&m_before);
        load_scenario("{}");
        open();
    }
    void TearDown() override {
        LabRecorderStop();
        LabSetFaultPlan(nullptr, nullptr, 0);
        LabSetTraceSink(nullptr);
        LabRefuseConnections(ZTSTATUS_OK);
        EXPECT_EQ(LabCloseConnection(connection), ZTSTATUS_OK);
        lab_live after;
        LabGetLive(&after);
        EXPECT_EQ(after.property_sets, m_before.property_sets);
        EXPECT_EQ(after.properties, m_before.properties);
        EXPECT_EQ(after.blocks, m_before.blocks);
        EXPECT_EQ(after.connections, m_before.connections);
    }

    void open() {
        ASSERT_EQ(LabOpenConnection(nullptr, on_event, this, &connection, &context), ZTSTATUS_OK);
    }

    static void plan(const std::string& rules) {
        char error[200];
        ASSERT_EQ(LabSetFaultPlan(rules.c_str(), error, sizeof error), 0) << error;
    }
    static lab_live live() {
        lab_live counts;
        LabGetLive(&counts);
        return counts;
    }

    static std::vector<std::string> names(opal_objid* ids, std::uint32_t count) {
        std::vector<std::string> result;
        for (std::uint32_t i = 0; i < count; ++i) {
            result.push_back(m_name(ids[i]));
        }
        _ZtFree(ids);
        return result;
    }

    opal_connection connection = nullptr;
    opal_context context = nullptr;
    std::vector<std::pair<int, std::string>> events;

  private:
    // The name in the scenario; the "Name" property may differ.
    static std::string m_name(const opal_objid& id) {
        for (const char* name :
             {"service", "misc", "dg1", "dg2", "late", "d1", "v1", "v2", "p1", "s1", "fs1", "o"}) {
            opal_objid known;
            if (LabFindObject(name, &known) == 0 && ObCompareId(&known, &id) == 0) {
                return name;
            }
        }
        return "?";
    }
    static void on_event(void* user, int event, const char* name) {
        static_cast<BusTest*>(user)->events.emplace_back(event, name != nullptr ? name : "NULL");
    }

    lab_live m_before{};
};

}  // namespace lab_tests
