// What the methods of the service do. A method that is not in the table is
// refused, never answered with a made-up success.
#pragma once

#include "model.h"
#include "text.h"
#include "ztservice.h"

#include <string>
#include <vector>

namespace lab {

// One call of a method, under the store's lock.
struct MethodCall {
    Model& model;
    Object& target;
    const PropertySet& input;
    PropertySet& output;
    std::vector<std::string>& alerts;  // raised when the lock is released
    std::uint64_t now_ms;              // on the store's clock

    // A parameter of a type; nullptr when missing or of another type.
    template <class T> const T* parameter(const std::string& name, std::uint32_t type) const {
        const Property* property = find(input, name);
        if (property == nullptr || property->value.type != type ||
            property->value.elements.empty()) {
            return nullptr;
        }
        return std::get_if<T>(&property->value.elements.front());
    }
    // Whether a parameter that may be left out is absent, or is of that type.
    template <class T> bool fits(const std::string& name, std::uint32_t type) const {
        return find(input, name) == nullptr || parameter<T>(name, type) != nullptr;
    }
    const std::string* text(const std::string& name) const {
        return parameter<std::string>(name, TYPE_STR);
    }
    const std::wstring* wide(const std::string& name) const {
        return parameter<std::wstring>(name, TYPE_WSTR);
    }
    const std::uint32_t* number(const std::string& name) const {
        return parameter<std::uint32_t>(name, TYPE_UINT32);
    }
};

using MethodHandler = opal_status (*)(MethodCall& call);

// The handler of a method of an object of that type; nullptr when such an object
// does not offer it.
MethodHandler find_method(const GUID& interface_id, std::uint32_t major, std::uint32_t minor,
                          const std::string& target_type);

// The visible disk group of that GUID text, or nullptr.
Object* group_by_guid(MethodCall& call, const std::string& guid);

// Handlers, by what they are about.
opal_status import_group(MethodCall& call);
opal_status deport_group(MethodCall& call);
opal_status get_group_guid(MethodCall& call);
opal_status get_volume_guid(MethodCall& call);
opal_status rescan_disks(MethodCall& call);

opal_status online_volume(MethodCall& call);
opal_status offline_volume(MethodCall& call);

opal_status arbitrate(MethodCall& call);
opal_status stop_reservation(MethodCall& call);
opal_status get_reservation(MethodCall& call);

opal_status count_disks(MethodCall& call);

opal_status set_fast_failover(MethodCall& call);
opal_status set_cluster_service_state(MethodCall& call);

opal_status start_node(MethodCall& call);
opal_status stop_node(MethodCall& call);
opal_status get_node_state(MethodCall& call);

opal_status get_mount_points(MethodCall& call);
opal_status get_drive_letter(MethodCall& call);
opal_status refresh_mount_path(MethodCall& call);

}  // namespace lab
