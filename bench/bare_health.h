/*
 * The health queries, written by hand as the reference of the measurements. All functions
 * return 0 for success.
 */
#ifndef BARE_HEALTH_H
#define BARE_HEALTH_H

#include "ztcmd.h"

#ifdef __cplusplus
extern "C" {
#endif

opal_status bare_group_state(opal_handle handle, const char* guid, uint8_t* imported);
/* Finds the disk by its name or device name. */
opal_status bare_disk_state(opal_handle handle, const wchar_t* disk, uint32_t* state);

#ifdef __cplusplus
}
#endif

#endif
