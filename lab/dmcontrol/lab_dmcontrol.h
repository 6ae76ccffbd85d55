/*
 * lab_dmcontrol.h - requests that the lab's dmcontrol.sys accepts in addition to
 * those of dmcontrol.h. With them the lab's service sends the driver its disk groups
 * and volumes and collects the changes that programs requested, and tests make the
 * driver return any status. For the lab and tests only.
 *
 * All requests go to the info device and have their records in their own buffers.
 * They fail, without doing anything, with 0xC0000206 (invalid buffer size) if a
 * buffer does not hold a whole number of records, and with 0xC000000D (invalid
 * parameter) if a record is invalid.
 */
#ifndef LAB_DMCONTROL_H
#define LAB_DMCONTROL_H

#include "dmcontrol.h"

/* The name under which the driver is loaded. */
#define LAB_DM_DRIVER L"dmcontrol"

/* Input: one or more lab_dm_group. Adds each group or replaces the one with the
 * same id. */
#define LAB_DM_SET_GROUPS 0xD903F800u

/* Input: one or more lab_dm_volume, likewise. */
#define LAB_DM_SET_VOLUMES 0xD903F804u

/* No buffers. Forgets all groups and volumes. */
#define LAB_DM_FORGET 0xD903F808u

/* Input: one lab_dm_answer. */
#define LAB_DM_SET_ANSWER 0xD903F80Cu

/* Output: room for at least one lab_dm_event. Receives as many events as fit; each
 * event is returned once. */
#define LAB_DM_TAKE_EVENTS 0xD903F810u

/* Name of the event object that the driver sets when there are events to take; the
 * taker resets it. For programs, and as a native name. */
#define LAB_DM_EVENTS_SIGNAL L"Global\\LabDmControlEvents"
#define LAB_DM_EVENTS_SIGNAL_NATIVE L"\\BaseNamedObjects\\LabDmControlEvents"

#ifdef __cplusplus
extern "C" {
#endif

#define LAB_DM_GROUP_IMPORTED 0x1u /* on this node */
#define LAB_DM_GROUP_RESERVED 0x2u /* by this node */
#define LAB_DM_VOLUME_HEALTHY 0x1u
#define LAB_DM_GONE 0x80000000u /* the object no longer exists */

typedef struct lab_dm_group {
    uint8_t id[16];        /* the service's object id */
    uint8_t guid[16];      /* `guid_string` in binary; zero if that is not a GUID */
    char guid_string[256]; /* NUL-terminated; compared ignoring case */
    uint32_t flags;        /* LAB_DM_GROUP_*, or LAB_DM_GONE */
} lab_dm_group;

typedef struct lab_dm_volume {
    uint8_t id[16];       /* the service's object id */
    uint8_t group_id[16]; /* the id of its group */
    uint8_t guid[16];     /* zero if it has none */
    char name[65];        /* NUL-terminated; compared ignoring case */
    uint8_t zero[3];
    uint32_t flags; /* LAB_DM_VOLUME_*, or LAB_DM_GONE */
} lab_dm_volume;

/* Makes the next requests with a code of dmcontrol.h return a native status, without
 * any check or effect. */
typedef struct lab_dm_answer {
    uint32_t code;
    uint32_t status;
    uint32_t requests; /* number of requests; 0 cancels an earlier record */
} lab_dm_answer;

/* A change that a program requested: a reservation was released
 * (DM_INFO_RELEASE_RESERVATION) or a volume went offline (DM_CONFIG_VOLUME_OFFLINE). */
typedef struct lab_dm_event {
    uint8_t id[16]; /* of the group or volume */
    uint32_t code;
} lab_dm_event;

DM_STATIC_ASSERT(sizeof(lab_dm_group) == 292, "group");
DM_STATIC_ASSERT(sizeof(lab_dm_volume) == 120, "volume");
DM_STATIC_ASSERT(sizeof(lab_dm_answer) == 12, "answer");
DM_STATIC_ASSERT(sizeof(lab_dm_event) == 20, "event");

#ifdef __cplusplus
}
#endif

#endif
