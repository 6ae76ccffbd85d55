/*
 * dmcontrol.h - contract of the volume manager's kernel control devices.
 *
 * Both devices are opened by their native name and driven with device-control
 * requests. The input and the output buffer of a request are one 16-byte
 * block, dm_control_block, which holds the address of a request record in the
 * caller's memory; the driver reads the record and writes its reply there.
 *
 * Native statuses that the devices answer:
 *   0            done
 *   0xC0000001   unsuccessful (config device: the volume is healthy, see below)
 *   0xC000000D   invalid parameter: a record that is no record
 *   0xC000000E   no such device
 *   0xC0000034   object name not found: no such disk group or volume
 *   0xC0000043   sharing violation
 * Without a driver, opening a device answers 0xC0000034, or 0xC000003A (object
 * path not found) where no driver has made their folder.
 */
#ifndef DMCONTROL_H
#define DMCONTROL_H

#include <stddef.h>
#include <stdint.h>

/* Device names, for native open calls. */
#define DM_INFO_DEVICE L"\\Device\\DmControl\\DmInfo"
#define DM_CONFIG_DEVICE L"\\Device\\DmControl\\DmConfig"

/* Info device: requests with a dm_reservation_request. */
#define DM_INFO_GET_RESERVATION 0xD903F02Cu     /* reply bit 0: reservation held */
#define DM_INFO_RELEASE_RESERVATION 0xD903F034u /* no reply */
#define DM_INFO_GET_IMPORTED 0xD903F080u        /* reply bit 0: not imported here */

/* Config device: requests with a dm_volume_request. */
#define DM_CONFIG_GET_VOLUME_STATUS 0xD903F0C8u /* answers with the volume's health */
#define DM_CONFIG_VOLUME_OFFLINE 0xD903F0CCu    /* the volume was dismounted */

#ifdef __cplusplus
extern "C" {
#define DM_STATIC_ASSERT static_assert
#else
#define DM_STATIC_ASSERT _Static_assert
#endif

/* Input and output buffer of every request, 16 bytes. */
typedef struct dm_control_block {
    uint64_t record; /* address of the request record */
    uint64_t zero;   /* always 0 */
} dm_control_block;

DM_STATIC_ASSERT(sizeof(dm_control_block) == 16, "control block");
DM_STATIC_ASSERT(offsetof(dm_control_block, record) == 0, "control block: record");
DM_STATIC_ASSERT(offsetof(dm_control_block, zero) == 8, "control block: zero");

/* Record of the info device's requests, 308 bytes. */
typedef struct dm_reservation_request {
    char group_guid[256]; /* disk-group GUID text, NUL-terminated */
    uint8_t reply;        /* reply flags, written by the driver */
    uint8_t zero1[11];
    uint32_t reservation; /* 1 in reservation requests, 0 in DM_INFO_GET_IMPORTED */
    uint8_t zero2[36];
} dm_reservation_request;

DM_STATIC_ASSERT(sizeof(dm_reservation_request) == 308, "reservation request");
DM_STATIC_ASSERT(offsetof(dm_reservation_request, group_guid) == 0, "reservation request: GUID");
DM_STATIC_ASSERT(offsetof(dm_reservation_request, reply) == 256, "reservation request: reply");
DM_STATIC_ASSERT(offsetof(dm_reservation_request, zero1) == 257, "reservation request: zero");
DM_STATIC_ASSERT(offsetof(dm_reservation_request, reservation) == 268,
                 "reservation request: reservation");
DM_STATIC_ASSERT(offsetof(dm_reservation_request, zero2) == 272, "reservation request: zero");

/*
 * Record of the config device's requests, 84 bytes.
 *
 *                                name                      guid
 *   DM_CONFIG_GET_VOLUME_STATUS  the disk group's GUID text  the volume's GUID
 *   DM_CONFIG_VOLUME_OFFLINE     the volume's name           the disk group's GUID
 */
typedef struct dm_volume_request {
    char name[65]; /* NUL-terminated */
    uint8_t zero[3];
    uint8_t guid[16];
} dm_volume_request;

DM_STATIC_ASSERT(sizeof(dm_volume_request) == 84, "volume request");
DM_STATIC_ASSERT(offsetof(dm_volume_request, name) == 0, "volume request: name");
DM_STATIC_ASSERT(offsetof(dm_volume_request, zero) == 65, "volume request: zero");
DM_STATIC_ASSERT(offsetof(dm_volume_request, guid) == 68, "volume request: GUID");

#ifdef __cplusplus
}
#endif

#endif
