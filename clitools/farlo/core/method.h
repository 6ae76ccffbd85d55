// Every method of the service that the library invokes, and the one way in
// which it invokes them.
#pragma once

#include "property_set.h"
#include "ztbus3.h"
#include "ztcmd.h"

#include <cstdint>

namespace farlo {

inline constexpr GUID volume_manager_operations = {
    0x61678C9A, 0x1DD2, 0x11B2, {0x96, 0x23, 0x08, 0x00, 0x20, 0x9E, 0xAD, 0x9C}};
inline constexpr GUID cluster_service = {
    0x375EC58D, 0x475E, 0x4658, {0x3B, 0xCD, 0x61, 0xC7, 0x48, 0x3A, 0x4F, 0xC6}};
inline constexpr GUID mount_manager = {
    0x2F0EAFCD, 0x7B86, 0x4F9B, {0xBD, 0x98, 0xD6, 0x1C, 0xE4, 0x21, 0x1F, 0x8F}};

struct Method {
    const GUID* interface_id;
    std::uint32_t minor;
};
inline constexpr std::uint32_t method_major = 0;

inline constexpr Method DGOP_DEPORT{&volume_manager_operations, 2001};
inline constexpr Method DGOP_IMPORT{&volume_manager_operations, 2003};
inline constexpr Method DGOP_SETFASTFAILOVERFLAG{&volume_manager_operations, 2027};
inline constexpr Method DGOP_CLUSTERSERVICESTATE{&volume_manager_operations, 2028};
// Apart from the other MISCOP numbers, and rightly so.
inline constexpr Method MISCOP_UPDATE_MOUNTPATH{&volume_manager_operations, 3041};
inline constexpr Method MISCOP_PNP_RESCAN{&volume_manager_operations, 6054};
inline constexpr Method MISCOP_STARTNODE{&volume_manager_operations, 6058};
inline constexpr Method MISCOP_STOPNODE{&volume_manager_operations, 6059};
inline constexpr Method MISCOP_GETNODESTATE{&volume_manager_operations, 6060};
inline constexpr Method MISCOP_VOLUMEONLINE{&volume_manager_operations, 6063};
inline constexpr Method MISCOP_VOLUMEOFFLINE{&volume_manager_operations, 6064};
inline constexpr Method CLUSTER_MTHD_CLUSSVCOP_GETDGGUID{&cluster_service, 1};
inline constexpr Method CLUSTER_MTHD_CLUSSVCOP_ARBITRATEDG{&cluster_service, 2};
inline constexpr Method CLUSTER_MTHD_CLUSSVCOP_OFFLINEDG{&cluster_service, 4};
inline constexpr Method CLUSTER_MTHD_CLUSSVCOP_GETDGSTATUS{&cluster_service, 5};
inline constexpr Method CLUSTER_MTHD_CLUSSVCOP_GETVOLUMEGUID{&cluster_service, 11};
inline constexpr Method CLUSTER_MTHD_CLUSSVCOP_DISKAVAIB{&cluster_service, 13};
inline constexpr Method MNTOP_GET_ALL_MOUNTPOINTS{&mount_manager, 8006};
inline constexpr Method MNTOP_GET_DRIVE_LETTER{&mount_manager, 8007};

// The set that receives a method's results. When the bus cannot make it the
// method is invoked all the same and nothing is read.
class OutputPropertySet : public CZtPropertySet {
  public:
    OutputPropertySet();
    ~OutputPropertySet() override;

    explicit operator bool() const { return handle() != nullptr; }
};

// Invokes a method of an object on the handle's own connection and returns the
// bus status.
std::uint32_t CsfInvoke(opal_connection connection, const opal_objid& target, const Method& method,
                        const CZtPropertySet& input, const OutputPropertySet& output);

}  // namespace farlo
