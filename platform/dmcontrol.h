/*
 * dmcontrol.h - contract of the volume manager's kernel control devices.
 *
 * Both devices are opened by their native names and accept device-control
 * requests. The same 16-byte block, dm_control_block, is the input and the
 * output buffer of a request. It holds the address of a request record in the
 * caller's memory; the driver reads the record and writes its reply into it.
 *
 * Native statuses that the devices return:
 *   0            done
 *   0xC0000001   unsuccessful (config device: the volume is healthy)
 *   0xC000000D   invalid parameter: malformed request record
 *   0xC000000E   no such device
 *   0xC0000034   object name not found: no such disk group or volume
 *   0xC0000043   sharing violation
 * Without a driver, opening a device fails with 0xC0000034, or with 0xC000003A
 * (object path not found) if no driver has created the folder of the devices.
 */
#ifndef DMCONTROL_H
#define DMCONTROL_H

#include <stddef.h>
#include <stdint.h>

/* Device names, for native open calls. */
#define DM_INFO_DEVICE L"\\Device\\DmControl\\DmInfo"
#define DM_CONFIG_DEVICE L"\\Device\\DmControl\\DmConfig"

/* Info device: requests that take a dm_reservation_request. */
#define DM_INFO_GET_RESERVATION 0xD903F02Cu     /* reply bit 0: reservation held */
#define DM_INFO_RELEASE_RESERVATION 0xD903F034u /* no reply */
#define DM_INFO_GET_IMPORTED 0xD903F080u        /* reply bit 0: not imported here */

/* Config device: requests that take a dm_volume_request. */
#define DM_CONFIG_GET_VOLUME_STATUS 0xD903F0C8u /* the status is the volume's health */
#define DM_CONFIG_VOLUME_OFFLINE 0xD903F0CCu    /* reports that a volume was dismounted */

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

/* Request record of the info device, 308 bytes. */
typedef struct dm_reservation_request {
    char group_guid[256]; /* the disk group's GUID as a NUL-terminated string */
    uint8_t reply;        /* reply flags; the driver writes them */
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
 * Request record of the config device, 84 bytes.
 *
 *                                name                          guid
 *   DM_CONFIG_GET_VOLUME_STATUS  disk group's GUID as a string  volume's GUID
 *   DM_CONFIG_VOLUME_OFFLINE     volume's name                  disk group's GUID
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
