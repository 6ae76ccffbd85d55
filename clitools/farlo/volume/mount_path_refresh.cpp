#include "volume/mount_path_refresh.h"

#include "api/farlo.h"
#include "core/connection.h"
#include "core/guarded.h"
#include "core/method.h"
#include "core/narrow_name.h"
#include "core/trace_log.h"
#include "volume/find_volume.h"

namespace farlo {
namespace {

std::uint32_t refresh(opal_handle handle, const wchar_t* name) {
    if (handle == nullptr) {
        log(0, L"FFUpdateMountPathW() failed , NULL opal_handle");
        return FARLO_NULL_HANDLE;
    }
    if (!is_connected(handle)) {
        return FARLO_NOT_CONNECTED;
    }
    if (name == nullptr) {
        return FARLO_PROVIDER_FAILED;
    }
    CZtObject volume;
    if (!FindVolIdByDLorDevName(handle, volume, name)) {
        log(0, L"FFUpdateMountPath: FindVolIdByDLorDevName - failed to find volume  %S",
            narrow_for_log(name).c_str());
        return FARLO_PROVIDER_FAILED;
    }
    CZtTempPropertySet input;
    input.AddProperty(CZtProperty("UpdateMountPath", std::uint32_t{1}));
    OutputPropertySet output;
    const std::uint32_t status =
        CsfInvoke(handle->connection, volume.id(), MISCOP_UPDATE_MOUNTPATH, input, output);
    if (output && status != 0) {
        log(0,
            L"FFUpdateMountPath: MISCOP_UPDATE_MOUNTPATH, PrCallDispatch failed with error = "
            L"0x%x.",
            status);
    }
    return status_if_still_connected(handle, status);
}

}  // namespace

std::uint32_t FFUpdateMountPathW(opal_handle handle, const wchar_t* name) {
    log(6, L"Entering FFUpdateMountPath");
    std::uint32_t status = guarded([&] { return refresh(handle, name); });
    log(6, L"Exiting FFUpdateMountPath");
    return status;
}

}  // namespace farlo
