/*
 * The health queries written by hand: what the library's are measured against.
 */
#ifndef BARE_HEALTH_H
#define BARE_HEALTH_H

#include "ztcmd.h"

#ifdef __cplusplus
extern "C" {
#endif

/* 0 for success. */
opal_status bare_group_state(opal_handle handle, const char* guid, uint8_t* imported);
/* By its name or device name. */
opal_status bare_disk_state(opal_handle handle, const wchar_t* disk, uint32_t* state);

#ifdef __cplusplus
}
#endif

#endif
