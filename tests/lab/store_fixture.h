// A store built from a scenario, and helpers to query it.
#pragma once

#include "store/scenario.h"
#include "store/store.h"
#include "support/fault_members.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace lab_tests {

class StoreTest : public testing::Test {
  protected:
    void load(const std::string& json) {
        store = std::make_unique<lab::Store>(lab::build_scenario(json));
        store->set_alert_sink([this](const std::string& name) { alerts.push_back(name); });
    }

    opal_objid id(const std::string& name) {
        opal_objid found{};
        EXPECT_TRUE(store->find_named(name, found)) << name;
        return found;
    }
    std::vector<std::string> names(const std::vector<opal_objid>& ids) {
        std::vector<std::string> result;
        for (const opal_objid& each : ids) {
            result.push_back(store->name_of(each));
        }
        return result;
    }
    std::vector<std::string> of_type(const std::string& type) {
        std::vector<opal_objid> ids;
        EXPECT_EQ(store->get_objects(type, ids), ZTSTATUS_OK);
        return names(ids);
    }
    std::vector<std::string> children(const std::string& name, const std::string& type = "") {
        std::vector<opal_objid> ids;
        EXPECT_EQ(store->get_children(id(name), type, ids), ZTSTATUS_OK);
        return names(ids);
    }
    std::vector<std::string> parents(const std::string& name, const std::string& type = "") {
        std::vector<opal_objid> ids;
        EXPECT_EQ(store->get_parents(id(name), type, ids), ZTSTATUS_OK);
        return names(ids);
    }
    std::vector<std::string> query(const std::wstring& text) {
        std::vector<opal_objid> ids;
        EXPECT_EQ(store->query(text, ids), ZTSTATUS_OK);
        return names(ids);
    }
    // "TYPE value", or "" if the object has no such property.
    std::string property(const std::string& object, const std::string& name) {
        lab::Value value;
        const opal_status status = store->get_property(id(object), name, value);
        if (status == ZTERROR_PROPERTY) {
            return "";
        }
        EXPECT_EQ(status, ZTSTATUS_OK);
        return lab::type_name(value.type) + std::string(" ") +
               lab::to_text(value, name_object, store.get());
    }

    // Invokes a method of an object; its results are in `output`.
    opal_status call(const std::string& target, const GUID& interface_id, std::uint32_t minor,
                     const lab::PropertySet& input) {
        output.clear();
        return store->invoke(id(target), interface_id, ZTMETHOD_MAJOR, minor, input, output);
    }
    // The results of the last call: "{name: TYPE value, ...}".
    std::string results() { return lab::to_text(output, name_object, store.get()); }

    std::unique_ptr<lab::Store> store;
    lab::PropertySet output;
    std::vector<std::string> alerts;

  private:
    static std::string name_object(const opal_objid& object, const void* store) {
        return const_cast<lab::Store*>(static_cast<const lab::Store*>(store))->name_of(object);
    }
};

}  // namespace lab_tests
