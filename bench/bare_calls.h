/*
 * The bus calls of the library's operations, written by hand in C as the reference of the
 * measurements: with the checks that any caller of the bus makes and copies of the values,
 * and nothing more. All functions return 0 for success.
 */
#ifndef BARE_CALLS_H
#define BARE_CALLS_H

#include "ztcmd.h"

#ifdef __cplusplus
extern "C" {
#endif

/* `guid` is the group's GUID string. */
opal_status bare_online(opal_handle handle, const wchar_t* name, const char* guid);
opal_status bare_offline(opal_handle handle, const char* guid);
/* Copies the group's GUID string, 65 bytes. */
opal_status bare_guid(opal_handle handle, const wchar_t* name, char* guid);
/* Stores the names of the imported cluster groups consecutively; `size` in bytes. */
opal_status bare_name_list(opal_handle handle, wchar_t* buffer, uint32_t size, uint32_t* count);

#ifdef __cplusplus
}
#endif

#endif
