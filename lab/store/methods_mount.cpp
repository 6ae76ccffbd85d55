// Drive letters of volumes, and the folders in which they are mounted.
#include "store/methods.h"
#include "store/service_status.h"

namespace lab {

opal_status get_mount_points(MethodCall& call) {
    Value paths{TYPE_WSTRZ, {}};
    Value holders{TYPE_ZTOBJIDZ, {}};
    for (const Mount& mount : call.target.mounts) {
        if (!mount.hidden) {
            paths.elements.emplace_back(mount.path);
            holders.elements.emplace_back(mount.holder);
        }
    }
    const auto count = static_cast<std::uint32_t>(paths.elements.size());
    call.output.push_back({"ALL MOUNT POINTS ARRAY", std::move(paths)});
    call.output.push_back({"NUMBER OF MOUNT POINTS", uint32_value(count)});
    call.output.push_back({"MEMBERIDZ", std::move(holders)});
    return ZTSTATUS_OK;
}

opal_status get_drive_letter(MethodCall& call) {
    if (call.number("FromMM") == nullptr) {
        return status_missing_parameter;
    }
    const Value* letter = call.target.get("DRIVE LETTER");
    if (letter == nullptr || call.target.text("DRIVE LETTER").empty()) {
        return status_no_drive_letter;
    }
    call.output.push_back({"DRIVE LETTER", *letter});
    return ZTSTATUS_OK;
}

opal_status refresh_mount_path(MethodCall& call) {
    if (call.number("UpdateMountPath") == nullptr) {
        return status_missing_parameter;
    }
    for (Mount& mount : call.target.mounts) {
        mount.hidden = false;
    }
    return ZTSTATUS_OK;
}

}  // namespace lab
