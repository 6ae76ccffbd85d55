// Reservations of disk groups, and the arbitration for them.
#include "store/group_reservation.h"
#include "store/methods.h"
#include "store/service_status.h"

namespace lab {
namespace {

// Values of "Dgstate". Agents get the same numbers when they ask the driver.
constexpr std::uint32_t state_not_held = 33;
constexpr std::uint32_t state_held = 34;

std::wstring this_node(const MethodCall& call) {
    return call.target.text("node");
}

std::uint64_t this_key(const MethodCall& call) {
    const Value* key = call.target.get(reservation_key);
    const auto* number =
        key != nullptr ? std::get_if<std::uint64_t>(&key->elements.front()) : nullptr;
    return number != nullptr ? *number : 0;
}

// Finds the disk group that the call names.
opal_status find_group(MethodCall& call, Object*& group) {
    const std::string* guid = call.text("Dgguid");
    if (guid == nullptr) {
        return status_missing_parameter;
    }
    group = group_by_guid(call, *guid);
    return group != nullptr ? ZTSTATUS_OK : status_no_such_group;
}

}  // namespace

void reserve(Model& model, Object& group, const std::wstring& node, std::uint64_t key,
             bool defended) {
    model.set(group, reservation_owner, wide_value(node));
    model.set(group, reservation_key, uint64_value(key));
    model.set(group, reservation_defended, boolean_value(defended));
}

void release_reservation(Model& model, Object& group) {
    model.unset(group, reservation_owner);
    model.unset(group, reservation_key);
    model.unset(group, reservation_defended);
}

// Challenges another node's reservation. A node that defends its reservation
// registers its key again in time and keeps it; any other node loses it.
opal_status arbitrate(MethodCall& call) {
    Object* group = nullptr;
    const opal_status status = find_group(call, group);
    if (status != ZTSTATUS_OK) {
        return status;
    }
    const bool is_ours = is_reserved_by(*group, this_node(call));
    if (is_reserved(*group) && !is_ours && group->is_true(reservation_defended)) {
        return status_reservation_conflict;
    }
    reserve(call.model, *group, this_node(call), this_key(call), true);
    return ZTSTATUS_OK;
}

opal_status stop_reservation(MethodCall& call) {
    Object* group = nullptr;
    const opal_status status = find_group(call, group);
    if (status != ZTSTATUS_OK) {
        return status;
    }
    if (call.number("Opflag") == nullptr) {
        return status_missing_parameter;
    }
    if (!is_reserved_by(*group, this_node(call))) {
        return status_not_reserved;
    }
    release_reservation(call.model, *group);
    return ZTSTATUS_OK;
}

opal_status get_reservation(MethodCall& call) {
    Object* group = nullptr;
    const opal_status status = find_group(call, group);
    if (status != ZTSTATUS_OK) {
        return status;
    }
    if (call.number("Opflag") == nullptr || !call.fits<bool>("otl trace", TYPE_BOOLEAN)) {
        return status_missing_parameter;
    }
    const bool is_held = is_reserved_by(*group, this_node(call));
    call.output.push_back({"Dgstate", uint32_value(is_held ? state_held : state_not_held)});
    return ZTSTATUS_OK;
}

}  // namespace lab
