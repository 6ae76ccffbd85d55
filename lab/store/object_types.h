// Names of the types of objects.
#pragma once

namespace lab {

inline constexpr char group_type[] = "tamo_ztvm_diskgroup";
inline constexpr char volume_type[] = "tamo_ztvm_volume";
inline constexpr char disk_type[] = "tamo_ztvm_disk";
inline constexpr char plex_type[] = "tamo_ztvm_plex";
inline constexpr char subdisk_type[] = "tamo_ztvm_subdisk";
inline constexpr char file_system_type[] = "tamo_fs_nt";
inline constexpr char misc_type[] = "tamo_ztvm_misc";
inline constexpr char service_type[] = "solvane_cluster_service";

}  // namespace lab
