// Import, deport and identifiers of disk groups, and the disk rescan.
#include "store/methods.h"
#include "store/service_status.h"

namespace lab {
namespace {

// Raises the alert that ends an operation and returns the operation's status.
// Alerts of cluster groups are named after the cluster, those of other groups
// after the volume manager.
opal_status report(MethodCall& call, const Object* group, const char* operation,
                   opal_status status) {
    const bool cluster = group != nullptr && group->number("LDM DG TYPE") == ZTDGTYPE_CLUSTER;
    call.alerts.push_back(std::string("event.alert.ztvm.") + (cluster ? "cluster" : "ztvm") +
                          ".dg." + operation + (status == ZTSTATUS_OK ? ".success" : ".failed"));
    return status;
}

// Returns an identifier as it is stored, even if it has an unexpected type.
opal_status return_identity(MethodCall& call, const Object& object, const char* property,
                            const char* name) {
    const Value* identity = object.get(property);
    if (identity == nullptr) {
        return status_no_identifier;
    }
    call.output.push_back({name, *identity});
    return ZTSTATUS_OK;
}

}  // namespace

Object* group_by_guid(MethodCall& call, const std::string& guid) {
    return call.model.find_by_text(ZTTYPE_DISK_GROUP, "dgid", widen_ansi(guid));
}

opal_status import_group(MethodCall& call) {
    const std::string* guid = call.text("dgid");
    if (guid == nullptr || call.number("Opflag") == nullptr ||
        !call.fits<std::wstring>("Newdgname", TYPE_WSTR)) {
        return status_missing_parameter;
    }
    Object* group =
        call.target.type == ZTTYPE_DISK_GROUP ? &call.target : group_by_guid(call, *guid);
    if (group == nullptr) {
        return report(call, group, "import", status_no_such_group);
    }
    if (group->is_true("imported")) {
        return report(call, group, "import", ZTERROR_GROUP_ALREADY_ONLINE);
    }
    const std::wstring* new_name = call.wide("Newdgname");
    if (new_name != nullptr && !new_name->empty()) {
        const Object* taken = call.model.find_by_text(ZTTYPE_DISK_GROUP, "Name", *new_name);
        if (taken != nullptr && taken != group) {
            return report(call, group, "import", status_name_taken);
        }
        call.model.set(*group, "Name", wide_value(*new_name));
    }
    call.model.set(*group, "imported", boolean_value(true));
    return report(call, group, "import", ZTSTATUS_OK);
}

opal_status deport_group(MethodCall& call) {
    if (call.text("dgid") == nullptr || call.number("Opflag") == nullptr) {
        return status_missing_parameter;
    }
    Object& group = call.target;
    if (!group.is_true("imported")) {
        return report(call, &group, "deport", status_not_imported);
    }
    call.model.set(group, "imported", boolean_value(false));
    return report(call, &group, "deport", ZTSTATUS_OK);
}

opal_status get_group_guid(MethodCall& call) {
    const std::wstring* name = call.wide("Dgname");
    if (name == nullptr) {
        return status_missing_parameter;
    }
    const Object* group = call.model.find_by_text(ZTTYPE_DISK_GROUP, "Name", *name);
    return group != nullptr ? return_identity(call, *group, "dgid", "Dgguid")
                            : status_no_such_group;
}

opal_status get_volume_guid(MethodCall& call) {
    const std::string* guid = call.text("Dgguid");
    const std::wstring* device = call.wide("Voldevname");
    if (guid == nullptr || device == nullptr) {
        return status_missing_parameter;
    }
    const Object* group = group_by_guid(call, *guid);
    if (group == nullptr) {
        return status_no_such_group;
    }
    for (const opal_objid& id : call.model.matching(ZTTYPE_VOLUME, "DEVICE NAME", *device)) {
        const Object& volume = *call.model.find(id);
        for (const opal_objid& parent : volume.parents) {
            if (IdEqual()(parent, group->id)) {
                return return_identity(call, volume, "volguid", "Volguid");
            }
        }
    }
    return status_no_such_volume;
}

opal_status rescan_disks(MethodCall& call) {
    if (!call.fits<bool>("pnp rescan only", TYPE_BOOLEAN)) {
        return status_missing_parameter;
    }
    call.model.reveal();
    return ZTSTATUS_OK;
}

}  // namespace lab
