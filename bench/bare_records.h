/*
 * The records of disk groups and volumes, written by hand as the reference of the
 * measurements. All functions return 0 for success.
 */
#ifndef BARE_RECORDS_H
#define BARE_RECORDS_H

#include "farlo.h"
#include "ztcmd.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Finds the group by its GUID string; `size` in bytes. */
opal_status bare_group_record(opal_handle handle, const char* guid, DgInfo* record, uint32_t size);

/* At most `capacity` volumes that cannot be used, because of their state or because the
 * mount-point manager knows no volume GUID name. */
opal_status bare_unusable_volumes(opal_handle handle, const char* guid, VolInfo* records,
                                  uint32_t capacity, uint32_t* count);

/* Finds the volume by its device name; `size` in bytes. */
opal_status bare_volume_record(opal_handle handle, const wchar_t* device, VolPropInfo* record,
                               uint32_t size);

#ifdef __cplusplus
}
#endif

#endif
