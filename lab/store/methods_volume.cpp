// Online and offline of volumes.
#include "store/methods.h"
#include "store/service_status.h"
#include "store/volume_state_bits.h"

namespace lab {
namespace {

// Returns whether the cluster volume manager runs on this node.
bool node_runs(MethodCall& call) {
    const std::vector<opal_objid>& misc = call.model.of_type(ZTTYPE_MISC);
    return !misc.empty() && call.model.find(misc.front())->number("nodeRole") != 0;
}

// Returns the volume that the call names, or nullptr.
Object* volume_of(MethodCall& call) {
    const opal_objid* id = call.parameter<opal_objid>("volume", TYPE_ZTOBJID);
    Object* volume = id != nullptr ? call.model.find(*id) : nullptr;
    return volume != nullptr && !volume->hidden && volume->type == ZTTYPE_VOLUME ? volume : nullptr;
}

bool is_imported(MethodCall& call, const Object& volume) {
    for (const opal_objid& id : volume.parents) {
        const Object& parent = *call.model.find(id);
        if (parent.type == ZTTYPE_DISK_GROUP && parent.is_true("imported")) {
            return true;
        }
    }
    return false;
}

// The checks that online and offline share: there is such a volume, the node
// runs and the volume's group is imported.
opal_status check(MethodCall& call, const char* flags, Object*& volume) {
    if (call.parameter<opal_objid>("volume", TYPE_ZTOBJID) == nullptr ||
        call.number(flags) == nullptr) {
        return status_missing_parameter;
    }
    volume = volume_of(call);
    if (volume == nullptr) {
        return status_no_such_volume;
    }
    if (!node_runs(call)) {
        return status_node_not_running;
    }
    return is_imported(call, *volume) ? ZTSTATUS_OK : status_not_imported;
}

}  // namespace

opal_status online_volume(MethodCall& call) {
    Object* volume = nullptr;
    const opal_status status = check(call, "OnlineFlag", volume);
    if (status != ZTSTATUS_OK) {
        return status;
    }
    const std::uint32_t state = volume->number("ztvmstate");
    if ((state & volume_broken) != 0) {
        return status_volume_broken;
    }
    call.model.set(*volume, "ztvmstate", uint32_value(state & ~volume_offline));
    return ZTSTATUS_OK;
}

opal_status offline_volume(MethodCall& call) {
    Object* volume = nullptr;
    const opal_status status = check(call, "OfflineFlag", volume);
    if (status == ZTSTATUS_OK) {
        call.model.set(*volume, "ztvmstate",
                       uint32_value(volume->number("ztvmstate") | volume_offline));
    }
    return status;
}

}  // namespace lab
