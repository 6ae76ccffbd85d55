/*
 * The records of disk groups and volumes written by hand: what the library's are
 * measured against. All answer 0 for success.
 */
#ifndef BARE_RECORDS_H
#define BARE_RECORDS_H

#include "farlo.h"
#include "ztcmd.h"

#ifdef __cplusplus
extern "C" {
#endif

/* `size` in bytes. The group is found by its GUID string. */
opal_status bare_group_record(opal_handle handle, const char* guid, DgInfo* record, uint32_t size);

/* The volumes that cannot be used, by their state or because the mount-point
 * manager knows no volume GUID name; at most `capacity`. */
opal_status bare_unusable_volumes(opal_handle handle, const char* guid, VolInfo* records,
                                  uint32_t capacity, uint32_t* count);

/* The volume is found by its device name. */
opal_status bare_volume_record(opal_handle handle, const wchar_t* device, VolPropInfo* record,
                               uint32_t size);

#ifdef __cplusplus
}
#endif

#endif
