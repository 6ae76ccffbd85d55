// The methods of the service that the library invokes (numbers: ztservice.h), and the one
// function that invokes them.
#pragma once

#include "bus/property_set.h"
#include "ztbus3.h"
#include "ztcmd.h"
#include "ztservice.h"

#include <cstdint>

namespace farlo {

struct Method {
    const GUID* interface_id;
    std::uint32_t minor;
};

inline constexpr Method DGOP_DEPORT{&zt_volume_manager_interface, ZTMETHOD_DGOP_DEPORT};
inline constexpr Method DGOP_IMPORT{&zt_volume_manager_interface, ZTMETHOD_DGOP_IMPORT};
inline constexpr Method DGOP_SETFASTFAILOVERFLAG{&zt_volume_manager_interface,
                                                 ZTMETHOD_DGOP_SETFASTFAILOVERFLAG};
inline constexpr Method DGOP_CLUSTERSERVICESTATE{&zt_volume_manager_interface,
                                                 ZTMETHOD_DGOP_CLUSTERSERVICESTATE};
inline constexpr Method MISCOP_UPDATE_MOUNTPATH{&zt_volume_manager_interface,
                                                ZTMETHOD_MISCOP_UPDATE_MOUNTPATH};
inline constexpr Method MISCOP_PNP_RESCAN{&zt_volume_manager_interface, ZTMETHOD_MISCOP_PNP_RESCAN};
inline constexpr Method MISCOP_STARTNODE{&zt_volume_manager_interface, ZTMETHOD_MISCOP_STARTNODE};
inline constexpr Method MISCOP_STOPNODE{&zt_volume_manager_interface, ZTMETHOD_MISCOP_STOPNODE};
inline constexpr Method MISCOP_GETNODESTATE{&zt_volume_manager_interface,
                                            ZTMETHOD_MISCOP_GETNODESTATE};
inline constexpr Method MISCOP_VOLUMEONLINE{&zt_volume_manager_interface,
                                            ZTMETHOD_MISCOP_VOLUMEONLINE};
inline constexpr Method MISCOP_VOLUMEOFFLINE{&zt_volume_manager_interface,
                                             ZTMETHOD_MISCOP_VOLUMEOFFLINE};
inline constexpr Method CLUSTER_MTHD_CLUSSVCOP_GETDGGUID{&zt_cluster_service_interface,
                                                         ZTMETHOD_CLUSSVCOP_GETDGGUID};
inline constexpr Method CLUSTER_MTHD_CLUSSVCOP_ARBITRATEDG{&zt_cluster_service_interface,
                                                           ZTMETHOD_CLUSSVCOP_ARBITRATEDG};
inline constexpr Method CLUSTER_MTHD_CLUSSVCOP_OFFLINEDG{&zt_cluster_service_interface,
                                                         ZTMETHOD_CLUSSVCOP_OFFLINEDG};
inline constexpr Method CLUSTER_MTHD_CLUSSVCOP_GETDGSTATUS{&zt_cluster_service_interface,
                                                           ZTMETHOD_CLUSSVCOP_GETDGSTATUS};
inline constexpr Method CLUSTER_MTHD_CLUSSVCOP_GETVOLUMEGUID{&zt_cluster_service_interface,
                                                             ZTMETHOD_CLUSSVCOP_GETVOLUMEGUID};
inline constexpr Method CLUSTER_MTHD_CLUSSVCOP_DISKAVAIB{&zt_cluster_service_interface,
                                                         ZTMETHOD_CLUSSVCOP_DISKAVAIB};
inline constexpr Method MNTOP_GET_ALL_MOUNTPOINTS{&zt_mount_manager_interface,
                                                  ZTMETHOD_MNTOP_GET_ALL_MOUNTPOINTS};
inline constexpr Method MNTOP_GET_DRIVE_LETTER{&zt_mount_manager_interface,
                                               ZTMETHOD_MNTOP_GET_DRIVE_LETTER};

// The property set that receives a method's results. If the bus cannot create it, the method
// is invoked anyway and nothing is read.
class OutputPropertySet : public CZtPropertySet {
  public:
    OutputPropertySet();
    ~OutputPropertySet() override;

    explicit operator bool() const { return handle() != nullptr; }
};

// Invokes a method of an object over the handle's own connection and returns the bus
// status.
[[nodiscard]] std::uint32_t CsfInvoke(opal_connection connection, const opal_objid& target,
                                      const Method& method, const CZtPropertySet& input,
                                      const OutputPropertySet& output);

}  // namespace farlo
