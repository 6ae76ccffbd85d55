/*
 * The operations on volumes, written by hand as the reference of the measurements. All
 * functions return 0 for success.
 */
#ifndef BARE_VOLUMES_H
#define BARE_VOLUMES_H

#include "ztcmd.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Brings a volume of an imported group online, on a running node. */
opal_status bare_online_volume(opal_handle handle, const char* guid, const wchar_t* device);

/* Finds the first volume with that name, device name or drive letter. */
opal_status bare_find_volume(opal_handle handle, const wchar_t* name, opal_objid* volume);

/* Writes the folders in which a volume is mounted, on volumes that have a letter, to a
 * string of 261 characters. */
opal_status bare_mount_points(opal_handle handle, const opal_objid* volume, wchar_t* mounts);

/* Copies a volume's drive letter to a string of `capacity` characters. */
opal_status bare_drive_letter(opal_handle handle, const opal_objid* volume, wchar_t* letter,
                              uint32_t capacity);

#ifdef __cplusplus
}
#endif

#endif
