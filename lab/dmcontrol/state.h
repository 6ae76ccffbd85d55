/* What the driver knows of disk groups and volumes: what the lab's service feeds
 * it, and what programs told it since. Every function locks for itself. */
#ifndef STATE_H
#define STATE_H

#include "lab_dmcontrol.h"

#include <ntddk.h>

NTSTATUS state_init(void);
void state_free(void);

/* Forgets all groups and volumes. */
void state_forget(void);

/* The records of a feed. All of them are good, or none is taken. */
NTSTATUS state_set_groups(const lab_dm_group* groups, ULONG count);
NTSTATUS state_set_volumes(const lab_dm_volume* volumes, ULONG count);

/* Moves up to `capacity` events to `events`; returns how many. */
ULONG state_take_events(lab_dm_event* events, ULONG capacity);

/* What the requests of dmcontrol.h do; each answers their native status. Texts
 * are NUL-terminated. */
NTSTATUS state_group_flags(const char* guid_text, ULONG* flags);
NTSTATUS state_release_group(const char* guid_text);
NTSTATUS state_volume_flags(const char* group_guid_text, const uint8_t guid[16], ULONG* group_flags,
                            ULONG* volume_flags);
NTSTATUS state_volume_offline(const uint8_t group_guid[16], const char* name);

#endif
