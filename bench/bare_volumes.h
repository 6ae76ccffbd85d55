/*
 * What is asked of volumes written by hand: what the library is measured against.
 */
#ifndef BARE_VOLUMES_H
#define BARE_VOLUMES_H

#include "ztcmd.h"

#ifdef __cplusplus
extern "C" {
#endif

/* 0 for success. Brings a volume of an imported group online, on a node that
 * runs. */
opal_status bare_online_volume(opal_handle handle, const char* guid, const wchar_t* device);

/* The first volume whose name, device name or drive letter it is. */
opal_status bare_find_volume(opal_handle handle, const wchar_t* name, opal_objid* volume);

/* The folders in which a volume is mounted, on volumes that have a letter, into a
 * string of 261 characters. */
opal_status bare_mount_points(opal_handle handle, const opal_objid* volume, wchar_t* text);

/* A volume's drive letter, into `capacity` characters. */
opal_status bare_drive_letter(opal_handle handle, const opal_objid* volume, wchar_t* letter,
                              uint32_t capacity);

#ifdef __cplusplus
}
#endif

#endif
