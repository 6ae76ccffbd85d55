/* The driver's disk groups and volumes, as sent by the lab's service and changed by
 * programs since. Every function takes the lock itself. */
#ifndef STATE_H
#define STATE_H

#include "dmcontrol/lab_dmcontrol.h"

#include <ntddk.h>

NTSTATUS state_init(void);
void state_free(void);

/* Forgets all groups and volumes. */
void state_forget(void);

/* Add or replace groups and volumes. If one record is invalid, nothing changes. */
NTSTATUS state_set_groups(const lab_dm_group* groups, ULONG count);
NTSTATUS state_set_volumes(const lab_dm_volume* volumes, ULONG count);

/* Moves up to `capacity` events to `events` and returns their number. */
ULONG state_take_events(lab_dm_event* events, ULONG capacity);

/* The requests of dmcontrol.h. Each function returns the native status of its request.
 * Strings are NUL-terminated. */
NTSTATUS state_group_flags(const char* guid_string, ULONG* flags);
NTSTATUS state_release_group(const char* guid_string);
NTSTATUS state_volume_flags(const char* group_guid_string, const uint8_t guid[16],
                            ULONG* group_flags, ULONG* volume_flags);
NTSTATUS state_volume_offline(const uint8_t group_guid[16], const char* name);

#endif
