// The methods of the service. A method that the lab does not model fails with a
// status; it never fakes success.
#pragma once

#include "store/model.h"
#include "store/string_conversions.h"
#include "ztservice.h"

#include <string>
#include <vector>

namespace lab {

// One call of a method, made under the store's lock.
struct MethodCall {
    Model& model;
    Object& target;
    const PropertySet& input;
    PropertySet& output;
    std::vector<std::string>& alerts;  // to raise once the lock is released
    std::uint64_t now_ms;              // on the store's clock

    // Returns a parameter, or nullptr if it is missing or of another type.
    template <class T> const T* parameter(const std::string& name, std::uint32_t type) const {
        const Property* property = find(input, name);
        if (property == nullptr || property->value.type != type ||
            property->value.elements.empty()) {
            return nullptr;
        }
        return std::get_if<T>(&property->value.elements.front());
    }
    // Returns whether an optional parameter is missing or of the right type.
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

// Returns the handler of a method, or nullptr if objects of `target_type` do not
// have that method.
MethodHandler find_method(const GUID& interface_id, std::uint32_t major, std::uint32_t minor,
                          const std::string& target_type);

// Returns a method's name in ztservice.h without its prefix ("MISCOP_STARTNODE"), or
// nullptr if the lab has no such method.
const char* method_name(const GUID& interface_id, std::uint32_t major, std::uint32_t minor);

// Returns the visible disk group with a GUID string, or nullptr.
Object* group_by_guid(MethodCall& call, const std::string& guid);

// Handlers.
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
