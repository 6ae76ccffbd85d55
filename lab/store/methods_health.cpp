// The number of a disk group's disks that work.
#include "store/disk_state_bits.h"
#include "store/methods.h"
#include "store/service_status.h"

namespace lab {

opal_status count_disks(MethodCall& call) {
    const std::string* guid = call.text("Dgguid");
    if (guid == nullptr || !call.fits<std::wstring>("Dgname", TYPE_WSTR)) {
        return status_missing_parameter;
    }
    const Object* group = group_by_guid(call, *guid);
    if (group == nullptr) {
        return status_no_such_group;
    }
    std::uint32_t total = 0;
    std::uint32_t live = 0;
    for (const opal_objid& id : group->children) {
        const Object& disk = *call.model.find(id);
        if (disk.type == ZTTYPE_DISK && !disk.hidden) {
            ++total;
            live += (disk.number("ztvmstate") & disk_dead) == 0 ? 1 : 0;
        }
    }
    call.output.push_back({"total_disks", uint32_value(total)});
    call.output.push_back({"live_disks", uint32_value(live)});
    return ZTSTATUS_OK;
}

}  // namespace lab
