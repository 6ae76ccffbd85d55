// farlo.dll, loaded at run time as agents do.
#pragma once

#include "farlo.h"

#include <windows.h>

#include <filesystem>

namespace agent {

// The functions that this agent uses, with their own names. The DLL stays loaded
// as long as the object exists.
class FarloLibrary {
  public:
    // Loads the DLL from a path. Throws std::runtime_error if that fails or a
    // function is missing.
    explicit FarloLibrary(const std::filesystem::path& path);
    ~FarloLibrary();
    FarloLibrary(const FarloLibrary&) = delete;
    FarloLibrary& operator=(const FarloLibrary&) = delete;

  private:
    HMODULE m_module;

  public:
    const ValidateClusterW_fn ValidateClusterW;
    const UnInitializeClusterW_fn UnInitializeClusterW;
    const RegisterForAlerts_fn RegisterForAlerts;
    const GetDgNameListW_fn GetDgNameListW;
    const GetNonClusterDgNameListW_fn GetNonClusterDgNameListW;
    const GetDgGuidW_fn GetDgGuidW;
    const GetDgNameW_fn GetDgNameW;
    const GetDgVolumeGuidW_fn GetDgVolumeGuidW;
    const OnlineDgExW_fn OnlineDgExW;
    const OfflineDgW_fn OfflineDgW;
    const ArbitrateDgW_fn ArbitrateDgW;
    const StopDgReservationW_fn StopDgReservationW;
    const GetDgReservationStatusW_fn GetDgReservationStatusW;
    const GetDgStateW_fn GetDgStateW;
    const GetDiskStateW_fn GetDiskStateW;
    const GetDgDiskAvailabilityW_fn GetDgDiskAvailabilityW;
    const GetDgVolPlexStatesW_fn GetDgVolPlexStatesW;
    const StartCVMClusterW_fn StartCVMClusterW;
    const GetCVMClusterNodeStateW_fn GetCVMClusterNodeStateW;
    const OnlineVolW_fn OnlineVolW;
    const OfflineVolW_fn OfflineVolW;
    const FFUpdateMountPathW_fn FFUpdateMountPathW;
    const GetDgPropertiesW_fn GetDgPropertiesW;
};

}  // namespace agent
