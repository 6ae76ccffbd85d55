/*
 * lab_dmcontrol.h - what the lab's dmcontrol.sys offers beside the requests of
 * dmcontrol.h: control codes by which the lab's service tells the driver of disk
 * groups and volumes, hears what programs told the driver, and by which a test
 * has the driver answer what it likes. Nothing that ships uses them.
 *
 * All go to the info device, with their records in the request's own buffers.
 * They answer 0xC0000206 (invalid buffer size) for buffers that hold no whole
 * number of records, and 0xC000000D (invalid parameter) for a record that is
 * none; then nothing was done.
 */
#ifndef LAB_DMCONTROL_H
#define LAB_DMCONTROL_H

#include "dmcontrol.h"

/* The name under which the lab loads the driver. */
#define LAB_DM_DRIVER L"dmcontrol"

/* Input: any number of lab_dm_group. Each is added, or takes the place of the
 * one with the same id. */
#define LAB_DM_SET_GROUPS 0xD903F800u

/* Input: any number of lab_dm_volume, likewise. */
#define LAB_DM_SET_VOLUMES 0xD903F804u

/* No buffers. Forgets all groups and volumes. */
#define LAB_DM_FORGET 0xD903F808u

/* Input: one lab_dm_answer. */
#define LAB_DM_SET_ANSWER 0xD903F80Cu

/* Output: room for at least one lab_dm_event; receives as many as there are and
 * fit. Each is handed out once. */
#define LAB_DM_TAKE_EVENTS 0xD903F810u

/* The event object that is set, until reset by whoever takes the events, when
 * there are some: its name for programs, and for the driver. */
#define LAB_DM_EVENTS_SIGNAL L"Global\\LabDmControlEvents"
#define LAB_DM_EVENTS_SIGNAL_NATIVE L"\\BaseNamedObjects\\LabDmControlEvents"

#ifdef __cplusplus
extern "C" {
#endif

#define LAB_DM_GROUP_IMPORTED 0x1u /* on this node */
#define LAB_DM_GROUP_RESERVED 0x2u /* by this node */
#define LAB_DM_VOLUME_HEALTHY 0x1u
#define LAB_DM_GONE 0x80000000u /* there is no such object any more */

typedef struct lab_dm_group {
    uint8_t id[16];      /* the service's object id */
    uint8_t guid[16];    /* the GUID text in binary; zero when it is no GUID */
    char guid_text[256]; /* NUL-terminated; compared without regard to case */
    uint32_t flags;      /* LAB_DM_GROUP_*, or LAB_DM_GONE */
} lab_dm_group;

typedef struct lab_dm_volume {
    uint8_t id[16];       /* the service's object id */
    uint8_t group_id[16]; /* of the group that it belongs to */
    uint8_t guid[16];     /* zero when it has none */
    char name[65];        /* NUL-terminated; compared without regard to case */
    uint8_t zero[3];
    uint32_t flags; /* LAB_DM_VOLUME_*, or LAB_DM_GONE */
} lab_dm_volume;

/* The native status that the next requests with a code of dmcontrol.h answer,
 * in place of being looked at. */
typedef struct lab_dm_answer {
    uint32_t code;
    uint32_t status;
    uint32_t requests; /* how many; 0 takes an earlier answer back */
} lab_dm_answer;

/* What a program told the driver: that a reservation is released
 * (DM_INFO_RELEASE_RESERVATION), or a volume offline (DM_CONFIG_VOLUME_OFFLINE). */
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
