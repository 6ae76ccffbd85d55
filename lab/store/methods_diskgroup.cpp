// Import, deport and identities of disk groups.
#include "methods.h"
#include "service_status.h"

namespace lab {
namespace {

constexpr char group_type[] = "tamo_ztvm_diskgroup";
constexpr char volume_type[] = "tamo_ztvm_volume";
constexpr char service_type[] = "solvane_cluster_service";

// The group that "dgid" or "Dgguid" names, else the target when it is a group.
Object* group_of(MethodCall& call) {
    const std::string* guid = call.text("dgid");
    if (guid == nullptr) {
        guid = call.text("Dgguid");
    }
    if (guid != nullptr && !guid->empty()) {
        return call.model.find_by_text(group_type, "dgid", *guid);
    }
    return call.target.type == group_type ? &call.target : nullptr;
}

std::string alert_name(const Object* group, const char* operation, bool succeeded) {
    // Cluster groups report through the cluster's events, others through the
    // volume manager's.
    const bool cluster = group != nullptr && group->text("LDM DG TYPE") == "2";
    return std::string("event.alert.ztvm.") + (cluster ? "cluster" : "ztvm") + ".dg." + operation +
           (succeeded ? ".success" : ".failed");
}

opal_status report(MethodCall& call, const Object* group, const char* operation,
                   opal_status status) {
    call.alerts.push_back(alert_name(group, operation, status == ZTSTATUS_OK));
    return status;
}

}  // namespace

opal_status import_group(MethodCall& call) {
    if (call.target.type != service_type && call.target.type != group_type) {
        return status_wrong_target;
    }
    if (call.number("Opflag") == nullptr || call.text("Dgguid") == nullptr) {
        return status_missing_parameter;
    }
    Object* group = group_of(call);
    if (group == nullptr) {
        return report(call, group, "import", status_no_such_group);
    }
    if (group->is_true("imported")) {
        return report(call, group, "import", status_already_online);
    }
    const std::wstring* new_name = call.wide("Newdgname");
    if (new_name != nullptr && !new_name->empty()) {
        const Object* taken = call.model.find_by_text(group_type, "Name", narrow(*new_name));
        if (taken != nullptr && taken != group) {
            return report(call, group, "import", status_name_taken);
        }
        group->set("Name", wide_value(*new_name));
    }
    group->set("imported", boolean_value(true));
    return report(call, group, "import", ZTSTATUS_OK);
}

opal_status deport_group(MethodCall& call) {
    if (call.target.type != group_type) {
        return status_wrong_target;
    }
    if (call.number("Opflag") == nullptr || call.text("Dgguid") == nullptr) {
        return status_missing_parameter;
    }
    Object& group = call.target;
    if (!group.is_true("imported")) {
        return report(call, &group, "deport", status_not_imported);
    }
    group.set("imported", boolean_value(false));
    return report(call, &group, "deport", ZTSTATUS_OK);
}

opal_status get_group_guid(MethodCall& call) {
    const std::wstring* name = call.wide("Dgname");
    if (name == nullptr) {
        return status_missing_parameter;
    }
    const Object* group = call.model.find_by_text(group_type, "Name", narrow(*name));
    if (group == nullptr) {
        return status_no_such_group;
    }
    call.output.push_back({"Dgguid", text_value(group->text("dgid"))});
    return ZTSTATUS_OK;
}

opal_status get_volume_guid(MethodCall& call) {
    const std::string* guid = call.text("Dgguid");
    const std::wstring* device = call.wide("Voldevname");
    if (guid == nullptr || device == nullptr) {
        return status_missing_parameter;
    }
    const Object* group = call.model.find_by_text(group_type, "dgid", *guid);
    if (group == nullptr) {
        return status_no_such_group;
    }
    for (const opal_objid& id : group->children) {
        const Object* volume = call.model.find(id);
        if (volume->type == volume_type &&
            _stricmp(volume->text("DEVICE NAME").c_str(), narrow(*device).c_str()) == 0) {
            call.output.push_back({"Volguid", text_value(volume->text("volguid"))});
            return ZTSTATUS_OK;
        }
    }
    return status_no_such_volume;
}

opal_status rescan_disks(MethodCall& call) {
    if (call.target.type != service_type) {
        return status_wrong_target;
    }
    call.model.reveal();
    return ZTSTATUS_OK;
}

}  // namespace lab
