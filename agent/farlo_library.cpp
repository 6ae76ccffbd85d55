#include "farlo_library.h"

#include <stdexcept>
#include <string>

namespace agent {
namespace {

HMODULE load(const std::filesystem::path& path) {
    const HMODULE module = LoadLibraryW(path.c_str());
    if (module == nullptr) {
        throw std::runtime_error("cannot load " + path.string() + " (system error " +
                                 std::to_string(GetLastError()) + ")");
    }
    return module;
}

template <class Function> Function resolve(HMODULE module, const char* name) {
    const FARPROC entry = GetProcAddress(module, name);
    if (entry == nullptr) {
        throw std::runtime_error(std::string("farlo.dll does not export ") + name);
    }
    return reinterpret_cast<Function>(reinterpret_cast<void*>(entry));
}

}  // namespace

#define ENTRY(name) name(resolve<name##_fn>(m_module, #name))

FarloLibrary::FarloLibrary(const std::filesystem::path& path)
    : m_module(load(path)), ENTRY(ValidateClusterW), ENTRY(UnInitializeClusterW),
      ENTRY(RegisterForAlerts), ENTRY(GetDgNameListW), ENTRY(GetNonClusterDgNameListW),
      ENTRY(GetDgGuidW), ENTRY(GetDgNameW), ENTRY(GetDgVolumeGuidW), ENTRY(OnlineDgExW),
      ENTRY(OfflineDgW), ENTRY(ArbitrateDgW), ENTRY(StopDgReservationW),
      ENTRY(GetDgReservationStatusW), ENTRY(GetDgStateW), ENTRY(GetDiskStateW),
      ENTRY(GetDgDiskAvailabilityW), ENTRY(GetDgVolPlexStatesW), ENTRY(StartCVMClusterW),
      ENTRY(GetCVMClusterNodeStateW), ENTRY(OnlineVolW), ENTRY(OfflineVolW),
      ENTRY(FFUpdateMountPathW), ENTRY(GetDgPropertiesW) {}

FarloLibrary::~FarloLibrary() {
    FreeLibrary(m_module);
}

}  // namespace agent
