/*
 * farlo.h - public interface of farlo.dll, by which a cluster agent manages the
 * disk groups and volumes of the storage volume manager.
 *
 * Calling. An agent loads farlo.dll at run time and asks GetProcAddress for the
 * names below; for each NAME this header declares the function and, as
 * NAME_fn, the type of a pointer to it. Names are exported plain.
 *
 * Handles. InitializeClusterW makes a handle; every operation takes it first.
 * The service may drop a handle's connection at any time: operations then
 * answer FARLO_NOT_CONNECTED, and ValidateClusterW reconnects the same slot.
 * UnInitializeClusterW gives the handle back.
 *
 * Texts. A wide text is NUL-terminated UTF-16, a narrow one NUL-terminated in
 * the ANSI code page. Functions come in pairs: NAMEW takes names as wide texts;
 * NAMEA takes them narrow, converts them and calls NAMEW. A narrow disk-group
 * name has at most 31 characters, other narrow names and paths at most 259; one
 * that is longer is refused with FARLO_INVALID_ARGUMENT. NULL stays NULL.
 * Disk-group GUID texts are narrow in both forms, at most 64 characters, and
 * are the service's own: the library compares and copies them, no more.
 *
 * Naming a disk group. Where a function takes a name and a GUID text, either
 * may be NULL or empty; the GUID text wins when both are given. Names and GUID
 * texts are compared without regard to case.
 *
 * Results. Every function returns a 32-bit status, 0 for success, unless its
 * description says otherwise. Besides the statuses named here, the service's
 * and the bus's own statuses are passed through unchanged. Out arguments are
 * written on success only, except where said otherwise; when the connection drops
 * during a call that would have succeeded, its result is FARLO_NOT_CONNECTED, and
 * they may have been written.
 *
 * Memory. The caller owns every buffer that it passes. Nothing is handed out
 * that the caller must free, but the handle.
 *
 * Threads. Any thread may call any function at any time, several at once and
 * on one handle too, but for what releases a handle: UnInitializeCluster, and
 * ValidateCluster where the connection was lost. No other call may be using it
 * then. A call may block: lookups retry for up to 25 s, and the
 * search for a disk group that is not there yet rescans disks and waits.
 *
 * Trace log. What the library does is written to "%VMPATH%logs\farlo.log".
 */
#ifndef FARLO_H
#define FARLO_H

#include <stddef.h>
#include <stdint.h>
#include <string.h>
#include <wchar.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ---------------------------------------------------------------- statuses */

#define FARLO_SUCCESS 0u
#define FARLO_NOT_FOUND 1u        /* no such disk group; no driver object */
#define FARLO_ALREADY_IMPORTED 9u /* a group of that name is imported already */
#define FARLO_NO_GUID_MEMORY 17u  /* no memory for a GUID text */
#define FARLO_EXCEPTION                                                                            \
    18u                                    /* a property could not be read or written; no          \
                                              thread or mutex could be made */
#define FARLO_MISSING_ARGUMENT 19u         /* neither name nor GUID; a required argument missing */
#define FARLO_NOT_CONNECTED 20u            /* the handle is not, or no longer, connected */
#define FARLO_UNINITIALIZE_FAILED 21u      /* the command library refused the handle */
#define FARLO_DEVICE_SHARING_VIOLATION 23u /* a kernel control device: sharing violation */
#define FARLO_DEVICE_FAILED 24u            /* a kernel control device: any other failure */
#define FARLO_DEVICE_UNSUCCESSFUL 36u      /* the config device: unsuccessful */
#define FARLO_EXCLUDED_TYPE 40u            /* the group's type excludes it */
#define FARLO_NO_CLUSTER_SERVICE 41u       /* the service has no cluster-service object */
#define FARLO_BUFFER_TOO_SMALL 97u         /* the size that is needed has been stored */
#define FARLO_NO_VOLUME_GUID 98u           /* GetDgVolumeGuidA failed, whatever the reason */
#define FARLO_VOLUME_NOT_FOUND 99u         /* volume not found, or the service call failed */
#define FARLO_NULL_HANDLE 100u             /* the handle is NULL */
#define FARLO_INVALID_ARGUMENT 0x80070057u
#define FARLO_OUT_OF_MEMORY 0x8007000Eu
#define FARLO_PROVIDER_FAILED 0xC1000001u      /* a provider failed, or an object is missing */
#define FARLO_NODE_ALREADY_STARTED 0xE5150047u /* the cluster volume manager runs already */
#define FARLO_ALREADY_ONLINE 0xE515007Au       /* the disk group is online already */

/* ------------------------------------------------------------------ limits */

/* Room for any GUID text, the terminator included, in characters (bytes). */
#define FARLO_GUID_TEXT_SIZE 65
/* Room for any name that the library hands out, the terminator included, in
 * wide characters. A longer name of the service is refused (FARLO_EXCEPTION). */
#define FARLO_NAME_SIZE 260

/* -------------------------------------------------------------- connection */

/* A connection to the storage management service. Opaque. */
typedef struct opal_session* opal_handle;

/*
 * Connects. `slot` is the address of the caller's handle: when it holds NULL, a
 * new connection is made and stored there; when it holds a handle that is still
 * connected, nothing is done (but see below); when it holds one that lost its
 * connection, that one is released and up to three reconnections are tried, with
 * half a second behind each that failed. After a fresh connection, and at the
 * first success in the process whoever made the handle, the callback last given
 * to RegisterForAlerts is registered again.
 *
 * Statuses: FARLO_NOT_CONNECTED when there is no connection (a slot that held a
 * dropped handle then holds NULL), or no slot.
 *
 * InitializeClusterW, ValidateClusterA and ValidateClusterW are one function.
 */
uint32_t InitializeClusterW(opal_handle* slot);
typedef uint32_t (*InitializeClusterW_fn)(opal_handle* slot);
uint32_t ValidateClusterW(opal_handle* slot);
typedef uint32_t (*ValidateClusterW_fn)(opal_handle* slot);
uint32_t ValidateClusterA(opal_handle* slot);
typedef uint32_t (*ValidateClusterA_fn)(opal_handle* slot);

/* The same. `name` is accepted for compatibility and plays no part, nor does
 * `reserved`. */
uint32_t InitializeClusterA(const char* name, uintptr_t reserved, opal_handle* slot);
typedef uint32_t (*InitializeClusterA_fn)(const char* name, uintptr_t reserved, opal_handle* slot);

/* Disconnects and frees a handle. The caller's slot is not cleared: the handle
 * in it must not be used again. Statuses: FARLO_UNINITIALIZE_FAILED. */
uint32_t UnInitializeClusterA(opal_handle handle);
typedef uint32_t (*UnInitializeClusterA_fn)(opal_handle handle);
uint32_t UnInitializeClusterW(opal_handle handle);
typedef uint32_t (*UnInitializeClusterW_fn)(opal_handle handle);

/* ------------------------------------------------------------------ alerts */

/* Called, without arguments, so that the agent can reset a time-out of its own:
 * on a thread of the command library whenever the service reports that an import
 * or a deport of a disk group finished, and by OnlineVolA and OnlineVolW, on the
 * thread that called them, behind each interval of their wait for the cluster
 * volume manager to start. Must not let an exception out: nothing above it on a
 * thread of the command library catches one. */
typedef void (*farlo_reset_timeout)(void);

/*
 * Stores the callback of the process, in place of the one before, and registers
 * for the alerts of a handle. There is one callback: alerts of every handle that
 * was registered before run the new one too. The result is the command library's;
 * the callback stays stored when that is a failure.
 *
 * With a NULL handle nothing is registered and the result is 0; the callback is
 * stored, and the next fresh connection registers it (ValidateClusterW).
 *
 * With a NULL callback the one before is cleared and the result is 0. No handle's
 * registration is withdrawn: each later alert runs nothing and writes an error
 * line (level 0) to the trace log.
 */
uint32_t RegisterForAlerts(opal_handle handle, farlo_reset_timeout callback);
typedef uint32_t (*RegisterForAlerts_fn)(opal_handle handle, farlo_reset_timeout callback);

/* ------------------------------------------------- disk groups: identities */

/*
 * The GUID text of a disk group, by its name. The cluster functions find
 * cluster groups only, the NonCluster functions any group, cluster groups
 * included. No function finds a group whose "LDM DG TYPE" is 0 or 7. A group
 * that the service does not know is looked for again after a rescan of the
 * machine's disks (10 s, one rescan at a time on a machine), and then asked of
 * the cluster service.
 *
 *   name   the group's name; required
 *   guid   receives the text; FARLO_GUID_TEXT_SIZE bytes
 *
 * Statuses: FARLO_NULL_HANDLE, FARLO_NOT_CONNECTED, FARLO_MISSING_ARGUMENT,
 * FARLO_EXCLUDED_TYPE, FARLO_NO_CLUSTER_SERVICE, FARLO_EXCEPTION (the text is
 * longer than the buffer, or cannot be read), the service's.
 */
uint32_t GetDgGuidA(opal_handle handle, const char* name, char* guid);
typedef uint32_t (*GetDgGuidA_fn)(opal_handle handle, const char* name, char* guid);
uint32_t GetDgGuidW(opal_handle handle, const wchar_t* name, char* guid);
typedef uint32_t (*GetDgGuidW_fn)(opal_handle handle, const wchar_t* name, char* guid);
uint32_t GetNonClusterDgGuidA(opal_handle handle, const char* name, char* guid);
typedef uint32_t (*GetNonClusterDgGuidA_fn)(opal_handle handle, const char* name, char* guid);
uint32_t GetNonClusterDgGuidW(opal_handle handle, const wchar_t* name, char* guid);
typedef uint32_t (*GetNonClusterDgGuidW_fn)(opal_handle handle, const wchar_t* name, char* guid);

/*
 * The names of the disk groups that are imported on this host: the cluster
 * groups, or (NonCluster) the others. The names lie one behind the other in
 * the buffer, each with its terminator, and nothing behind the last: narrow
 * for the A forms, wide for the W forms.
 *
 *   buffer   address of the pointer to the caller's buffer
 *   size     in: the buffer's size in bytes; out: with FARLO_BUFFER_TOO_SMALL
 *            the size that is needed, else left alone
 *   count    receives the number of names; left alone with
 *            FARLO_BUFFER_TOO_SMALL
 *
 * A call with a size of 0 asks for the size. When no group qualifies the result
 * is 0 and the count 0. The A forms refuse a name of more than 31 characters
 * (FARLO_EXCEPTION); the names before it are in the buffer then.
 *
 * Statuses: FARLO_NULL_HANDLE, FARLO_NOT_CONNECTED, FARLO_BUFFER_TOO_SMALL,
 * FARLO_MISSING_ARGUMENT, FARLO_EXCEPTION.
 */
uint32_t GetDgNameListA(opal_handle handle, char** buffer, uint32_t* size, uint32_t* count);
typedef uint32_t (*GetDgNameListA_fn)(opal_handle handle, char** buffer, uint32_t* size,
                                      uint32_t* count);
uint32_t GetDgNameListW(opal_handle handle, wchar_t** buffer, uint32_t* size, uint32_t* count);
typedef uint32_t (*GetDgNameListW_fn)(opal_handle handle, wchar_t** buffer, uint32_t* size,
                                      uint32_t* count);
uint32_t GetNonClusterDgNameListA(opal_handle handle, char** buffer, uint32_t* size,
                                  uint32_t* count);
typedef uint32_t (*GetNonClusterDgNameListA_fn)(opal_handle handle, char** buffer, uint32_t* size,
                                                uint32_t* count);
uint32_t GetNonClusterDgNameListW(opal_handle handle, wchar_t** buffer, uint32_t* size,
                                  uint32_t* count);
typedef uint32_t (*GetNonClusterDgNameListW_fn)(opal_handle handle, wchar_t** buffer,
                                                uint32_t* size, uint32_t* count);

/*
 * The name of a cluster disk group, by its GUID text.
 *
 *   guid   required
 *   name   receives the name; FARLO_NAME_SIZE wide characters
 *
 * Statuses: FARLO_NULL_HANDLE, FARLO_NOT_CONNECTED, FARLO_MISSING_ARGUMENT,
 * FARLO_NOT_FOUND, FARLO_EXCLUDED_TYPE, FARLO_EXCEPTION.
 */
uint32_t GetDgNameW(opal_handle handle, const char* guid, wchar_t* name);
typedef uint32_t (*GetDgNameW_fn)(opal_handle handle, const char* guid, wchar_t* name);

/*
 * The GUID text of a volume, by its group and its device name. A group given by
 * name must be imported.
 *
 *   device        the volume's device name; required (the A form takes at most
 *                 31 characters of it, too)
 *   volume_guid   receives the text; FARLO_GUID_TEXT_SIZE bytes
 *
 * Statuses of the W form: FARLO_NULL_HANDLE, FARLO_NOT_CONNECTED,
 * FARLO_NO_GUID_MEMORY, FARLO_MISSING_ARGUMENT, FARLO_INVALID_ARGUMENT (the
 * GUID text is longer than 64 characters), FARLO_NOT_FOUND (the group is not
 * there, or not imported), FARLO_VOLUME_NOT_FOUND, FARLO_EXCEPTION. The A form
 * answers FARLO_NO_VOLUME_GUID for all of them, and FARLO_INVALID_ARGUMENT for
 * a name or device name of its own that is too long.
 */
uint32_t GetDgVolumeGuidA(opal_handle handle, const char* name, const char* guid,
                          const char* device, char* volume_guid);
typedef uint32_t (*GetDgVolumeGuidA_fn)(opal_handle handle, const char* name, const char* guid,
                                        const char* device, char* volume_guid);
uint32_t GetDgVolumeGuidW(opal_handle handle, const wchar_t* name, const char* guid,
                          const wchar_t* device, char* volume_guid);
typedef uint32_t (*GetDgVolumeGuidW_fn)(opal_handle handle, const wchar_t* name, const char* guid,
                                        const wchar_t* device, char* volume_guid);

/* ------------------------------------------- disk groups: online and import */

/* Option word of the online functions. Other bits go to the service as they
 * are. */
#define FARLO_ONLINE_NO_NAME_CHECK                                                                 \
    0x1u                                      /* do not look for a group of that name that is      \
                                                 imported already */
#define FARLO_ONLINE_SHARED 0x800u            /* a shared group */
#define FARLO_ONLINE_CLEAR_HOST_ID 0x8000u    /* clear the host id on the group's disks */
#define FARLO_ONLINE_LOG_AS_OFFLINE 0x20000u  /* the log lines say "OfflineDg" */
#define FARLO_ONLINE_CLUSTER_SHARED 0x200000u /* a cluster-shared group: sets all bits but 0x2 */

/*
 * Imports a disk group on this host.
 *
 *   name, guid   name the group; by name, a shared group may be of any type,
 *                others must be cluster groups
 *   new_name     the name that the group is to get; NULL or empty for none
 *   options      FARLO_ONLINE_ bits
 *   reserved     accepted and not used
 *
 * Statuses: FARLO_NULL_HANDLE, FARLO_NOT_CONNECTED, FARLO_ALREADY_IMPORTED,
 * FARLO_NO_GUID_MEMORY, FARLO_EXCEPTION, FARLO_MISSING_ARGUMENT,
 * FARLO_INVALID_ARGUMENT (the GUID text is longer than 64 characters), those of
 * the search for the group (GetDgGuidW), the service's.
 */
uint32_t OnlineDgExA(opal_handle handle, const char* name, const char* guid, const char* new_name,
                     uint32_t options, uint32_t reserved);
typedef uint32_t (*OnlineDgExA_fn)(opal_handle handle, const char* name, const char* guid,
                                   const char* new_name, uint32_t options, uint32_t reserved);
uint32_t OnlineDgExW(opal_handle handle, const wchar_t* name, const char* guid,
                     const wchar_t* new_name, uint32_t options, uint32_t reserved);
typedef uint32_t (*OnlineDgExW_fn)(opal_handle handle, const wchar_t* name, const char* guid,
                                   const wchar_t* new_name, uint32_t options, uint32_t reserved);

/* OnlineDgEx without the last argument. */
uint32_t OnlineDgA(opal_handle handle, const char* name, const char* guid, const char* new_name,
                   uint32_t options);
typedef uint32_t (*OnlineDgA_fn)(opal_handle handle, const char* name, const char* guid,
                                 const char* new_name, uint32_t options);
uint32_t OnlineDgW(opal_handle handle, const wchar_t* name, const char* guid,
                   const wchar_t* new_name, uint32_t options);
typedef uint32_t (*OnlineDgW_fn)(opal_handle handle, const wchar_t* name, const char* guid,
                                 const wchar_t* new_name, uint32_t options);

/* Imports a disk group with all option bits set; of `options` only bit 0x2
 * counts. Does not look for a group of that name that is imported already.
 * Statuses as OnlineDgEx, without FARLO_ALREADY_IMPORTED. */
uint32_t ImportDgA(opal_handle handle, const char* name, const char* guid, const char* new_name,
                   uint32_t options);
typedef uint32_t (*ImportDgA_fn)(opal_handle handle, const char* name, const char* guid,
                                 const char* new_name, uint32_t options);
uint32_t ImportDgW(opal_handle handle, const wchar_t* name, const char* guid,
                   const wchar_t* new_name, uint32_t options);
typedef uint32_t (*ImportDgW_fn)(opal_handle handle, const wchar_t* name, const char* guid,
                                 const wchar_t* new_name, uint32_t options);

/* ------------------------------------------ disk groups: offline and deport */

/* Option word of OfflineDg. Other bits go to the service as they are. */
#define FARLO_OFFLINE_NO_NAME_CHECK 0x1u /* bit 0x40 is not added */
#define FARLO_OFFLINE_SHARED 0x800u      /* a shared group */

/*
 * Deports a disk group from this host, with an option word. A group that is not
 * found by its GUID text is deported all the same: the service answers.
 *
 * Statuses: FARLO_NULL_HANDLE, FARLO_NOT_CONNECTED, FARLO_NO_GUID_MEMORY,
 * FARLO_EXCEPTION, FARLO_MISSING_ARGUMENT, FARLO_INVALID_ARGUMENT (the GUID text
 * is longer than 64 characters), those of the search for the group
 * (GetDgGuidW), the service's.
 */
uint32_t OfflineDgA(opal_handle handle, const char* name, const char* guid, uint32_t options);
typedef uint32_t (*OfflineDgA_fn)(opal_handle handle, const char* name, const char* guid,
                                  uint32_t options);
uint32_t OfflineDgW(opal_handle handle, const wchar_t* name, const char* guid, uint32_t options);
typedef uint32_t (*OfflineDgW_fn)(opal_handle handle, const wchar_t* name, const char* guid,
                                  uint32_t options);

/* Deports a disk group that is a cluster group and is found by its GUID text.
 * Statuses as OfflineDg, and FARLO_NOT_FOUND, FARLO_EXCLUDED_TYPE. */
uint32_t DeportDgA(opal_handle handle, const char* name, const char* guid);
typedef uint32_t (*DeportDgA_fn)(opal_handle handle, const char* name, const char* guid);
uint32_t DeportDgW(opal_handle handle, const wchar_t* name, const char* guid);
typedef uint32_t (*DeportDgW_fn)(opal_handle handle, const wchar_t* name, const char* guid);

/* ----------------------------------------------- disk groups: reservations */

/*
 * Arbitrates for a disk group: asks the service to take the reservations of its
 * disks for this node. StopDgReservation asks it to hold them no longer. A group
 * given by name must be a cluster group.
 *
 * Statuses: FARLO_NULL_HANDLE, FARLO_NOT_CONNECTED, FARLO_NO_GUID_MEMORY,
 * FARLO_EXCEPTION, FARLO_MISSING_ARGUMENT, FARLO_INVALID_ARGUMENT (the GUID text
 * is longer than 64 characters), FARLO_NO_CLUSTER_SERVICE, those of the search
 * for the group (GetDgGuidW), the service's.
 */
uint32_t ArbitrateDgA(opal_handle handle, const char* name, const char* guid);
typedef uint32_t (*ArbitrateDgA_fn)(opal_handle handle, const char* name, const char* guid);
uint32_t ArbitrateDgW(opal_handle handle, const wchar_t* name, const char* guid);
typedef uint32_t (*ArbitrateDgW_fn)(opal_handle handle, const wchar_t* name, const char* guid);
uint32_t StopDgReservationA(opal_handle handle, const char* name, const char* guid);
typedef uint32_t (*StopDgReservationA_fn)(opal_handle handle, const char* name, const char* guid);
uint32_t StopDgReservationW(opal_handle handle, const wchar_t* name, const char* guid);
typedef uint32_t (*StopDgReservationW_fn)(opal_handle handle, const wchar_t* name,
                                          const char* guid);

/* Reservation states that GetDgReservationStatus reports of the driver. */
#define FARLO_RESERVATION_NOT_HELD 33u
#define FARLO_RESERVATION_HELD 34u
#define FARLO_RESERVATION_UNKNOWN 35u /* the driver's answer was a failure */
#define FARLO_RESERVATION_BUSY 39u    /* the group's reservation is being updated; not asked */

/*
 * Whether a disk group is reserved by this node. The driver is asked: up to 30
 * times, a second apart, while it fails. On a node that reserves through the
 * service (registry value SupportSCSI3 = 2, read at the first call in the
 * process) the service is asked, and the state is the service's own.
 *
 *   handle        by driver it serves to find a group given by name, and is not
 *                 checked otherwise. Whether it is connected is checked in that
 *                 search only
 *   reservation   receives the state. From the driver also on failure of its
 *                 answer; FARLO_RESERVATION_BUSY, and status 0, where the lock of
 *                 the group's reservation thread was not obtained: held by
 *                 another, abandoned, or not to be had at all. From the service
 *                 also with an informational status, which is not 0. Left alone
 *                 when there was no memory for the question (status 0), or the
 *                 service named no state
 *
 * Statuses: FARLO_NOT_FOUND (no driver, or it does not know the group),
 * FARLO_DEVICE_SHARING_VIOLATION, FARLO_DEVICE_FAILED, FARLO_NULL_HANDLE,
 * FARLO_NO_GUID_MEMORY, FARLO_MISSING_ARGUMENT, FARLO_INVALID_ARGUMENT,
 * FARLO_EXCEPTION, those of the search for the group (GetDgGuidW); by the service
 * also FARLO_NO_CLUSTER_SERVICE and the service's.
 */
uint32_t GetDgReservationStatusA(opal_handle handle, const char* name, const char* guid,
                                 uint32_t* reservation);
typedef uint32_t (*GetDgReservationStatusA_fn)(opal_handle handle, const char* name,
                                               const char* guid, uint32_t* reservation);
uint32_t GetDgReservationStatusW(opal_handle handle, const wchar_t* name, const char* guid,
                                 uint32_t* reservation);
typedef uint32_t (*GetDgReservationStatusW_fn)(opal_handle handle, const wchar_t* name,
                                               const char* guid, uint32_t* reservation);

/*
 * Tells the driver to release a disk group's reservation: up to 6 times, a
 * second apart, while it fails. Every call costs the process a page of memory.
 *
 *   guid   the group's GUID text, at most 255 characters; required
 *
 * Statuses: FARLO_EXCEPTION (NULL), FARLO_INVALID_ARGUMENT (the text is too
 * long), FARLO_NO_GUID_MEMORY, FARLO_NOT_FOUND (no driver, or it does not know
 * the group), FARLO_DEVICE_SHARING_VIOLATION, FARLO_DEVICE_FAILED.
 */
uint32_t ReleaseDgW(const char* guid);
typedef uint32_t (*ReleaseDgW_fn)(const char* guid);

/* ---------------------------------------------------- disk groups: health */

/*
 * Whether a disk group is imported here. GetDgState asks the driver, and the
 * service where the driver is not there or does not know the group; GetDgStateExW
 * asks the service. Cluster groups are found, and others.
 *
 *   imported   receives one byte: 1 imported here, 0 not. It has been written,
 *              too, when the status is FARLO_NOT_CONNECTED for a connection that
 *              dropped during the call
 *
 * Statuses: FARLO_NULL_HANDLE, FARLO_NOT_CONNECTED, FARLO_MISSING_ARGUMENT,
 * FARLO_NOT_FOUND, FARLO_EXCEPTION; of GetDgState also FARLO_NO_GUID_MEMORY,
 * FARLO_INVALID_ARGUMENT (the GUID text is longer than 64 characters),
 * FARLO_DEVICE_SHARING_VIOLATION, FARLO_DEVICE_FAILED, those of the search for
 * the group (GetNonClusterDgGuidW).
 */
uint32_t GetDgStateA(opal_handle handle, const char* name, const char* guid, uint8_t* imported);
typedef uint32_t (*GetDgStateA_fn)(opal_handle handle, const char* name, const char* guid,
                                   uint8_t* imported);
uint32_t GetDgStateW(opal_handle handle, const wchar_t* name, const char* guid, uint8_t* imported);
typedef uint32_t (*GetDgStateW_fn)(opal_handle handle, const wchar_t* name, const char* guid,
                                   uint8_t* imported);
uint32_t GetDgStateExW(opal_handle handle, const wchar_t* name, const char* guid,
                       uint8_t* imported);
typedef uint32_t (*GetDgStateExW_fn)(opal_handle handle, const wchar_t* name, const char* guid,
                                     uint8_t* imported);

/*
 * The state of a disk, in the service's own numbers; 0 when the service names
 * none.
 *
 *   disk    the disk's name in the operating system, or its device name, compared
 *           without regard to case; required (the A form takes at most 31
 *           characters)
 *   state   receives the state. It is delivered, and the status 0, even when the
 *           connection dropped during the call.
 *
 * Statuses: FARLO_NULL_HANDLE, FARLO_NOT_CONNECTED, FARLO_MISSING_ARGUMENT (also:
 * no such disk).
 */
uint32_t GetDiskStateA(opal_handle handle, const char* disk, uint32_t* state);
typedef uint32_t (*GetDiskStateA_fn)(opal_handle handle, const char* disk, uint32_t* state);
uint32_t GetDiskStateW(opal_handle handle, const wchar_t* disk, uint32_t* state);
typedef uint32_t (*GetDiskStateW_fn)(opal_handle handle, const wchar_t* disk, uint32_t* state);

/*
 * How many disks a disk group has, and how many of them are alive. A group given
 * by name must be a cluster group.
 *
 *   total, live   receive the numbers; one that the service does not name is left
 *                 alone. They have been written, too, when the status is
 *                 FARLO_NOT_CONNECTED for a connection that dropped during the call
 *
 * Statuses: FARLO_NULL_HANDLE, FARLO_NOT_CONNECTED, 1 (the service's call failed,
 * for whatever reason), FARLO_NO_GUID_MEMORY, FARLO_EXCEPTION,
 * FARLO_MISSING_ARGUMENT, FARLO_INVALID_ARGUMENT, FARLO_NO_CLUSTER_SERVICE,
 * those of the search for the group (GetDgGuidW).
 */
uint32_t GetDgDiskAvailabilityA(opal_handle handle, const char* name, const char* guid,
                                uint32_t* total, uint32_t* live);
typedef uint32_t (*GetDgDiskAvailabilityA_fn)(opal_handle handle, const char* name,
                                              const char* guid, uint32_t* total, uint32_t* live);
uint32_t GetDgDiskAvailabilityW(opal_handle handle, const wchar_t* name, const char* guid,
                                uint32_t* total, uint32_t* live);
typedef uint32_t (*GetDgDiskAvailabilityW_fn)(opal_handle handle, const wchar_t* name,
                                              const char* guid, uint32_t* total, uint32_t* live);

/* One plex of a volume. 68 bytes; records lie back to back. */
typedef struct farlo_plex_state {
    wchar_t name[32]; /* NUL-terminated */
    uint32_t state;   /* in the service's own numbers */
} farlo_plex_state;

/*
 * The states of a volume's plexes.
 *
 *   name, guid   name the volume's group, a cluster group or another
 *   device       the volume's device name; required. Name and device may be of
 *                any length in the A form, too.
 *   count        receives the number of plexes
 *   plexes       receives one record a plex. NULL asks for the number
 *                (FARLO_BUFFER_TOO_SMALL). The array must have room for as many
 *                records as the volume has plexes: its size cannot be given, and
 *                is not checked. A name of more than 31 characters, and what the
 *                service does not name, leaves its field as it was.
 *
 * Statuses: FARLO_NULL_HANDLE, FARLO_NOT_CONNECTED, 0xC1000001 (no device name),
 * FARLO_MISSING_ARGUMENT, FARLO_NOT_FOUND (the group), FARLO_INVALID_ARGUMENT
 * (no such volume), FARLO_BUFFER_TOO_SMALL, FARLO_EXCEPTION.
 */
uint32_t GetDgVolPlexStatesA(opal_handle handle, const char* name, const char* guid,
                             const char* device, uint32_t* count, farlo_plex_state* plexes);
typedef uint32_t (*GetDgVolPlexStatesA_fn)(opal_handle handle, const char* name, const char* guid,
                                           const char* device, uint32_t* count,
                                           farlo_plex_state* plexes);
uint32_t GetDgVolPlexStatesW(opal_handle handle, const wchar_t* name, const char* guid,
                             const wchar_t* device, uint32_t* count, farlo_plex_state* plexes);
typedef uint32_t (*GetDgVolPlexStatesW_fn)(opal_handle handle, const wchar_t* name,
                                           const char* guid, const wchar_t* device, uint32_t* count,
                                           farlo_plex_state* plexes);

/* ------------------------- fast-failover flag, state of the cluster service */

/*
 * Sets the fast-failover flag of a disk group, a cluster group or another. The
 * values are the service's.
 *
 * Statuses: FARLO_NULL_HANDLE, FARLO_NOT_CONNECTED, FARLO_MISSING_ARGUMENT,
 * FARLO_NOT_FOUND, FARLO_EXCEPTION, the service's.
 */
uint32_t SetFastFailoverFlagW(opal_handle handle, const wchar_t* name, const char* guid,
                              uint32_t flag);
typedef uint32_t (*SetFastFailoverFlagW_fn)(opal_handle handle, const wchar_t* name,
                                            const char* guid, uint32_t flag);

/*
 * Reports the state of the cluster service to the storage service, in the
 * latter's own values. Both names are one function.
 *
 * Statuses: FARLO_NULL_HANDLE, FARLO_NOT_CONNECTED, FARLO_NO_CLUSTER_SERVICE,
 * FARLO_EXCEPTION, the service's.
 */
uint32_t ClusterServiceStateA(opal_handle handle, uint32_t state);
typedef uint32_t (*ClusterServiceStateA_fn)(opal_handle handle, uint32_t state);
uint32_t ClusterServiceStateW(opal_handle handle, uint32_t state);
typedef uint32_t (*ClusterServiceStateW_fn)(opal_handle handle, uint32_t state);

/* ------------------------------------------------------------ cluster node */

/*
 * Starts or stops the cluster volume manager on this node. The service is asked
 * and its answer returned; the node may take longer to get there.
 *
 * Statuses: FARLO_NULL_HANDLE, FARLO_NOT_CONNECTED, FARLO_NO_CLUSTER_SERVICE,
 * FARLO_EXCEPTION, the service's, among them FARLO_NODE_ALREADY_STARTED.
 */
uint32_t StartCVMClusterW(opal_handle handle);
typedef uint32_t (*StartCVMClusterW_fn)(opal_handle handle);
uint32_t StopCVMClusterW(opal_handle handle);
typedef uint32_t (*StopCVMClusterW_fn)(opal_handle handle);

/*
 * The state of the cluster volume manager on this node, in the service's own
 * numbers.
 *
 *   state   receives the state, whatever the status, where the service names one;
 *           left alone otherwise
 *
 * Statuses: FARLO_NULL_HANDLE, FARLO_NOT_CONNECTED, FARLO_NO_CLUSTER_SERVICE,
 * FARLO_MISSING_ARGUMENT, FARLO_EXCEPTION, the service's.
 */
uint32_t GetCVMClusterNodeStateW(opal_handle handle, uint32_t* state);
typedef uint32_t (*GetCVMClusterNodeStateW_fn)(opal_handle handle, uint32_t* state);

/* ------------------------------------------------ volumes: online and offline */

/*
 * Brings one volume of a shared disk group online on this node. First starts the
 * cluster volume manager when it does not run, and imports the volume's disk
 * group when it is not imported.
 *
 *   guid         the disk group's GUID text; required
 *   device       the volume's device name; required
 *   flags        the service's own bits; bit 0x1 is always added
 *   timeout_ms   while the cluster volume manager starts, the callback of
 *                RegisterForAlerts is run on this thread whenever so many
 *                milliseconds have passed, and once more at the end. It limits
 *                nothing: the wait goes on until the node has started or failed.
 *                With 0 the callback is run without pause, with 0xFFFFFFFF at the
 *                end only.
 *
 * A connection that is lost during the call. When the disk group is not found,
 * OnlineVol validates the connection as ValidateClusterW does, but cannot reach
 * the caller's slot. If the connection had dropped, the caller's handle has then
 * been released and, when reconnecting succeeded, a new connection made that
 * carries the rest of this call, the alerts and the provider runtime. No status
 * tells of it; the trace log does (level 6: "OnlineVolW() Entering
 * ValidateCluster"). The caller's handle is void then and must be passed to one
 * function at most: UnInitializeClusterW, where the command library is known to
 * refuse a handle that it released before (FARLO_UNINITIALIZE_FAILED then);
 * farlo.dll itself does not guard against it. So an agent that cannot rule out
 * that its connection was lost (its connection did drop before, or the result is
 * FARLO_NOT_CONNECTED) gives the handle back with UnInitializeClusterW, whatever
 * that answers, or leaves it alone where the command library is not known to
 * refuse it, sets its slot to NULL and connects anew with InitializeClusterW; it
 * must not call ValidateClusterW on the old one. The new connection that
 * OnlineVol made stays open for the life of the process. A released handle may be
 * given out again: where another slot of the agent holds the same value by then,
 * leave it to that slot.
 *
 * Statuses: FARLO_INVALID_ARGUMENT (NULL, a text that is too long, no such
 * volume), FARLO_NULL_HANDLE, FARLO_NOT_CONNECTED, FARLO_PROVIDER_FAILED (no misc
 * object, or the node reports a failed start), FARLO_EXCEPTION (a property cannot
 * be read; no thread or mutex), FARLO_NOT_FOUND, FARLO_EXCLUDED_TYPE,
 * FARLO_NO_CLUSTER_SERVICE, those of StartCVMClusterW and OnlineDgEx, the
 * system's error of a failed wait (FARLO_PROVIDER_FAILED where it names none), the
 * service's. FARLO_ALREADY_ONLINE of the disk
 * group counts as success.
 */
uint32_t OnlineVolA(opal_handle handle, const char* guid, const char* device, uint32_t flags,
                    uint32_t timeout_ms);
typedef uint32_t (*OnlineVolA_fn)(opal_handle handle, const char* guid, const char* device,
                                  uint32_t flags, uint32_t timeout_ms);
uint32_t OnlineVolW(opal_handle handle, const char* guid, const wchar_t* device, uint32_t flags,
                    uint32_t timeout_ms);
typedef uint32_t (*OnlineVolW_fn)(opal_handle handle, const char* guid, const wchar_t* device,
                                  uint32_t flags, uint32_t timeout_ms);

/*
 * Takes one volume of a shared disk group offline on this node. Where the cluster
 * volume manager does not run there is nothing to do: 0. The disk group must be a
 * cluster or a cluster-shared one.
 *
 *   guid     the disk group's GUID text; required
 *   device   the volume's device name; required
 *   flags    the service's own bits; bit 0x1 is always added
 *
 * Statuses: FARLO_INVALID_ARGUMENT (NULL, a text that is too long, no such
 * volume), FARLO_NULL_HANDLE, FARLO_NOT_CONNECTED, FARLO_PROVIDER_FAILED (no misc
 * object), FARLO_EXCEPTION, FARLO_NOT_FOUND, FARLO_EXCLUDED_TYPE,
 * FARLO_NO_CLUSTER_SERVICE, the service's.
 */
uint32_t OfflineVolA(opal_handle handle, const char* guid, const char* device, uint32_t flags);
typedef uint32_t (*OfflineVolA_fn)(opal_handle handle, const char* guid, const char* device,
                                   uint32_t flags);
uint32_t OfflineVolW(opal_handle handle, const char* guid, const wchar_t* device, uint32_t flags);
typedef uint32_t (*OfflineVolW_fn)(opal_handle handle, const char* guid, const wchar_t* device,
                                   uint32_t flags);

/*
 * Flushes and dismounts the file system of a volume, then tells the driver that
 * the volume goes offline. Neither handle nor service is needed. What failed is
 * the end: a volume that cannot be opened or flushed is not dismounted, and the
 * driver is told of a dismounted volume only.
 *
 *   name         the volume's name, narrow in both forms, at most 64 characters;
 *                required
 *   path         a path that opens the volume, with or without a backslash at
 *                its end, at most 259 characters; required
 *   group_guid   the disk group's GUID, 16 bytes, which go to the driver as they
 *                are; required
 *
 * Statuses: FARLO_INVALID_ARGUMENT (NULL, or a text that is too long); the
 * system's error of opening, flushing or dismounting; of the driver
 * FARLO_DEVICE_SHARING_VIOLATION, FARLO_DEVICE_UNSUCCESSFUL, FARLO_NOT_FOUND (it
 * has no such device), FARLO_MISSING_ARGUMENT (a request that it does not take),
 * FARLO_DEVICE_FAILED (there is no driver, or any other failure).
 */
uint32_t OfflineVolumeA(const char* name, const char* path, const void* group_guid);
typedef uint32_t (*OfflineVolumeA_fn)(const char* name, const char* path, const void* group_guid);
uint32_t OfflineVolumeW(const char* name, const wchar_t* path, const void* group_guid);
typedef uint32_t (*OfflineVolumeW_fn)(const char* name, const wchar_t* path,
                                      const void* group_guid);

/* ----------------------------------- volumes: mount points and volume names */

/*
 * Asks the service to refresh the mount path of a volume.
 *
 *   name   the volume's name, device name or drive letter, compared without
 *          regard to case; the first volume that has it in any of the three is
 *          taken
 *
 * Statuses: FARLO_NULL_HANDLE, FARLO_NOT_CONNECTED, FARLO_PROVIDER_FAILED (NULL, or
 * no such volume), FARLO_INVALID_ARGUMENT (a narrow name that is too long),
 * FARLO_EXCEPTION, the service's.
 */
uint32_t FFUpdateMountPathA(opal_handle handle, const char* name);
typedef uint32_t (*FFUpdateMountPathA_fn)(opal_handle handle, const char* name);
uint32_t FFUpdateMountPathW(opal_handle handle, const wchar_t* name);
typedef uint32_t (*FFUpdateMountPathW_fn)(opal_handle handle, const wchar_t* name);

/* The buffer of GetVolumeNameForSerialNumber, in bytes. */
#define FARLO_VOLUME_NAME_BUFFER_SIZE 1656u

/*
 * The name of the volume of a cluster disk group whose file system has a serial
 * number.
 *
 *   name, guid      name the group; the GUID is its text, as everywhere, not 16
 *                   bytes
 *   serial_number   the volume serial number of the file system
 *   volume_name     receives the volume's name with a backslash behind it, wide
 *                   in both forms
 *   size            in: the buffer's size in bytes; out: with
 *                   FARLO_BUFFER_TOO_SMALL the size that is needed, which is
 *                   FARLO_VOLUME_NAME_BUFFER_SIZE always, else left alone.
 *                   Tested before the buffer is
 *
 * Statuses: FARLO_NULL_HANDLE, FARLO_NOT_CONNECTED, FARLO_MISSING_ARGUMENT (neither
 * name nor GUID; no buffer or size), FARLO_INVALID_ARGUMENT (a narrow name that is
 * too long), FARLO_NOT_FOUND (no such group), FARLO_BUFFER_TOO_SMALL,
 * FARLO_VOLUME_NOT_FOUND, FARLO_EXCEPTION (a volume's name cannot be read, or is
 * longer than the buffer).
 */
uint32_t GetVolumeNameForSerialNumberA(opal_handle handle, const char* name, const char* guid,
                                       uint32_t serial_number, wchar_t* volume_name,
                                       uint32_t* size);
typedef uint32_t (*GetVolumeNameForSerialNumberA_fn)(opal_handle handle, const char* name,
                                                     const char* guid, uint32_t serial_number,
                                                     wchar_t* volume_name, uint32_t* size);
uint32_t GetVolumeNameForSerialNumberW(opal_handle handle, const wchar_t* name, const char* guid,
                                       uint32_t serial_number, wchar_t* volume_name,
                                       uint32_t* size);
typedef uint32_t (*GetVolumeNameForSerialNumberW_fn)(opal_handle handle, const wchar_t* name,
                                                     const char* guid, uint32_t serial_number,
                                                     wchar_t* volume_name, uint32_t* size);

/* ------------------------------------------------------------- disk layout */

/* Partition styles. */
#define FARLO_PARTITION_STYLE_MBR 0u
#define FARLO_PARTITION_STYLE_GPT 1u
#define FARLO_PARTITION_STYLE_RAW 2u

/* A GUID in binary form, in bytes, laid out as Windows' GUID. */
#define FARLO_GUID_SIZE 16

/*
 * The partition style and the identity of the disk behind a device. No handle is
 * needed. A disk of more than 129 partition entries is not read.
 *
 *   path        a disk's or a volume's device path, which must open; required
 *   signature   receives an MBR disk's signature; else left alone; required
 *   disk_guid   receives a GPT disk's GUID, FARLO_GUID_SIZE bytes; else left alone.
 *               NULL is refused for a GPT disk only, after its layout was read
 *   style       receives the partition style; required
 *
 * Statuses: FARLO_INVALID_ARGUMENT (NULL, or a narrow path that is too long),
 * FARLO_OUT_OF_MEMORY, the system's error of opening the device or of reading its
 * layout.
 */
uint32_t GetDiskTypeAndSignatureA(const char* path, uint32_t* signature, uint8_t* disk_guid,
                                  uint32_t* style);
typedef uint32_t (*GetDiskTypeAndSignatureA_fn)(const char* path, uint32_t* signature,
                                                uint8_t* disk_guid, uint32_t* style);
uint32_t GetDiskTypeAndSignatureW(const wchar_t* path, uint32_t* signature, uint8_t* disk_guid,
                                  uint32_t* style);
typedef uint32_t (*GetDiskTypeAndSignatureW_fn)(const wchar_t* path, uint32_t* signature,
                                                uint8_t* disk_guid, uint32_t* style);

/*
 * The disk identity of a cluster disk group: that of its first volume. A group
 * without volumes has none: 0, and nothing is written.
 *
 *   name      the group's name (the A form takes up to 259 characters); required
 *   disk_id   receives the signature of an MBR disk; else left alone; required
 *   style     receives the partition style; required
 *
 * Statuses: FARLO_NOT_FOUND (no such group; a NULL name, disk_id or style),
 * FARLO_NULL_HANDLE, FARLO_NOT_CONNECTED, FARLO_EXCLUDED_TYPE, FARLO_EXCEPTION,
 * those of GetDiskTypeAndSignature.
 */
uint32_t GetFirstVolumesDiskIDA(opal_handle handle, const char* name, uint32_t* disk_id,
                                uint32_t* style);
typedef uint32_t (*GetFirstVolumesDiskIDA_fn)(opal_handle handle, const char* name,
                                              uint32_t* disk_id, uint32_t* style);
uint32_t GetFirstVolumesDiskIDW(opal_handle handle, const wchar_t* name, uint32_t* disk_id,
                                uint32_t* style);
typedef uint32_t (*GetFirstVolumesDiskIDW_fn)(opal_handle handle, const wchar_t* name,
                                              uint32_t* disk_id, uint32_t* style);

/* ---------------------------------------------------------- clusterability */

/*
 * Whether a disk may be put under cluster control: its disk group is a cluster
 * group (type 2) and a cluster resource. 1 or 0; every failure is 0.
 *
 *   style       FARLO_PARTITION_STYLE_MBR or FARLO_PARTITION_STYLE_GPT. Any other
 *               asks the service for no disk in particular: the answer is about
 *               whichever disk it names, and can be 1
 *   signature   identifies an MBR disk
 *   disk_guid   identifies a GPT disk; FARLO_GUID_SIZE bytes
 */
uint8_t IsStorageClusterable(opal_handle handle, uint32_t style, uint32_t signature,
                             const uint8_t* disk_guid);
typedef uint8_t (*IsStorageClusterable_fn)(opal_handle handle, uint32_t style, uint32_t signature,
                                           const uint8_t* disk_guid);

/* Whether the disk group of a volume is of a type, in the service's own numbers.
 * `volume_name` is the service's "volumename" of the volume, not its device name;
 * one that is too long for a query (some 2000 characters) is a failure. 1 or 0;
 * every failure is 0. */
uint8_t IsVolumeOfSpecifiedDgType(opal_handle handle, const wchar_t* volume_name, uint32_t type);
typedef uint8_t (*IsVolumeOfSpecifiedDgType_fn)(opal_handle handle, const wchar_t* volume_name,
                                                uint32_t type);

/* Whether the disk group of a volume is a cluster-shared one (type 8) that is
 * shared. `volume_name` as of IsVolumeOfSpecifiedDgType. 1 or 0; every failure is
 * 0. */
uint8_t IsVolumeClusterable(opal_handle handle, const wchar_t* volume_name);
typedef uint8_t (*IsVolumeClusterable_fn)(opal_handle handle, const wchar_t* volume_name);

/*
 * The GUID text of the cluster-shared disk group (type 8) that a volume belongs
 * to.
 *
 *   device   the volume's device name; required
 *   guid     receives the text; FARLO_GUID_TEXT_SIZE bytes; required. An empty text
 *            where the group's is longer
 *
 * Statuses: FARLO_NULL_HANDLE, FARLO_NOT_CONNECTED (also in place of any other when
 * the connection drops during the call; the text may have been written then),
 * FARLO_INVALID_ARGUMENT (NULL, too long, or a group of another type),
 * FARLO_OUT_OF_MEMORY, FARLO_PROVIDER_FAILED (no such volume, no group, a text
 * longer than the buffer), FARLO_EXCEPTION, the service's.
 */
uint32_t GetClusterSharedDgGuidA(opal_handle handle, const char* device, char* guid);
typedef uint32_t (*GetClusterSharedDgGuidA_fn)(opal_handle handle, const char* device, char* guid);
uint32_t GetClusterSharedDgGuidW(opal_handle handle, const wchar_t* device, char* guid);
typedef uint32_t (*GetClusterSharedDgGuidW_fn)(opal_handle handle, const wchar_t* device,
                                               char* guid);

/* ----------------------------------------- clean-up of virtual-machine folders */

/*
 * Whether DeleteVMMSFolder is wanted on this machine: 0 when the system's version
 * is 6.3 and the registry value VMMSFolderDelete is 1; FARLO_PROVIDER_FAILED when
 * not; when a value cannot be read the system's error as 0x8007xxxx, one below 1
 * (as a signed number) unchanged.
 */
uint32_t CheckOSVersionAndReg(void);
typedef uint32_t (*CheckOSVersionAndReg_fn)(void);

/*
 * Removes the empty subfolders of a folder, and theirs. The folder itself stays,
 * and so does every folder whose name begins with a dot, with all that is in it.
 * Files are never deleted: the first folder that cannot be removed ends the call,
 * and what was removed before stays removed. Paths of more than 259 characters
 * are not walked.
 *
 *   folder   must end in a backslash, as the names of subfolders are put right
 *            behind it; required
 *
 * Statuses: FARLO_INVALID_ARGUMENT (NULL or empty; a path that is too long, below
 * the folder too), the system's error as 0x8007xxxx, one below 1 (as a signed
 * number) unchanged.
 */
uint32_t DeleteVMMSFolder(const wchar_t* folder);
typedef uint32_t (*DeleteVMMSFolder_fn)(const wchar_t* folder);

/* ----------------------------------------------------------------- records */

/*
 * What disk groups, disks and volumes are, as records in a buffer of the
 * caller's. They are packed and may stand at any address.
 *
 * Texts are wide and NUL-terminated; one that is too long for its field is cut
 * short. A call writes what the service names, and nothing else: a field that
 * could not be read, a reserved one and the bytes behind a text's terminator keep
 * what the buffer held. Zero a buffer before it is filled.
 *
 * Sizes. A call with a buffer that is too small writes nothing there, stores the
 * size that is needed and answers FARLO_BUFFER_TOO_SMALL. The group may change
 * between two calls: ask again then. With so many objects that a 32-bit size
 * cannot tell them, no buffer is enough: FARLO_BUFFER_TOO_SMALL or
 * FARLO_EXCEPTION. The functions farlo_... below compute sizes and find the parts
 * of a record within the bytes that the buffer really has; they answer NULL, or
 * 0, for what is not there.
 */
#pragma pack(push, 1)

/* One disk. 56 bytes. */
typedef struct DgDiskInfo {
    wchar_t name[16];    /* at most 15 characters of the disk's "Name" */
    uint32_t signature;  /* "SIGNATURE", or formed from "DISKID" (see each call) */
    uint32_t lun;        /* "LUN ID" */
    uint32_t target;     /* "DISK TARGET ID" */
    uint32_t port;       /* "PORT" */
    uint8_t reserved[8]; /* never written */
} DgDiskInfo;

/* One volume. 1,656 bytes. In the light form only the device name, the drive
 * letter, the type and the size are written. */
typedef struct VolInfo {
    wchar_t device_name[260]; /* "DEVICE NAME" */
    /* A letter and a colon ("F:"), or empty: always written. It is what the
     * service says, in the light form what the system's mount-point manager says:
     * the two may disagree. */
    wchar_t drive_letter[3];
    /* "type of file system" and "label" of the volume's file system; not written
     * for a volume that has none. */
    wchar_t file_system[32];
    wchar_t label[260];
    /* The folders in which the volume is mounted, separated by "; ", or empty:
     * always written, but in the light form. Next to a folder of a volume that has
     * no letter of its own there may be two separators, or none. What does not fit
     * is cut off. A volume that is mounted inside itself, through whichever others,
     * is followed once: the text then holds what was gathered up to there. */
    wchar_t mount_points[261];
    uint32_t type;       /* "type", in the service's own numbers */
    uint8_t reserved[4]; /* never written */
    /* "ztvmstate", the service's own 32 bits, sign-extended. In lists of unusable
     * volumes with the bit FARLO_VOLUME_UNUSABLE; there that bit is set in what
     * the buffer held, too, when the state could not be read. */
    int64_t state;
    uint64_t size; /* "size": bytes */
} VolInfo;

/* Begin of a disk group's record: that many DgDiskInfo follow, and behind them
 * that many VolInfo. */
typedef struct DgInfo {
    uint32_t disk_count;
    uint32_t volume_count;
} DgInfo;

/* Begin of a volume's record: that many DgDiskInfo follow, and behind them one
 * VolInfo. */
typedef struct VolPropInfo {
    uint32_t disk_count;   /* a disk counts once for each subdisk that lies on it */
    uint32_t volume_count; /* always 1 */
} VolPropInfo;

/* Begin of a disk group's light record. What follows depends on the group: with
 * a disk, the signature of the first one (32 bits) and then that many light
 * VolInfo; without a disk, the VolInfo at once. Take it apart with
 * farlo_dg_vol_info_signature and farlo_dg_vol_info_volume. */
typedef struct DgVolInfo {
    uint32_t volume_count;
} DgVolInfo;

/* Begin of a disk group's list of disks: that many DgDiskInfo follow. */
typedef struct DgDiskList {
    uint32_t disk_count;
} DgDiskList;

#pragma pack(pop)

#ifdef __cplusplus
#define FARLO_STATIC_ASSERT static_assert
#else
#define FARLO_STATIC_ASSERT _Static_assert
#endif
#define FARLO_FIELD_AT(record, field, offset)                                                      \
    FARLO_STATIC_ASSERT(offsetof(record, field) == (offset), #record ": " #field)

FARLO_STATIC_ASSERT(sizeof(wchar_t) == 2, "wide characters are UTF-16");
FARLO_STATIC_ASSERT(sizeof(DgDiskInfo) == 56, "DgDiskInfo");
FARLO_FIELD_AT(DgDiskInfo, name, 0);
FARLO_FIELD_AT(DgDiskInfo, signature, 32);
FARLO_FIELD_AT(DgDiskInfo, lun, 36);
FARLO_FIELD_AT(DgDiskInfo, target, 40);
FARLO_FIELD_AT(DgDiskInfo, port, 44);
FARLO_FIELD_AT(DgDiskInfo, reserved, 48);
FARLO_STATIC_ASSERT(sizeof(VolInfo) == 1656, "VolInfo");
FARLO_FIELD_AT(VolInfo, device_name, 0);
FARLO_FIELD_AT(VolInfo, drive_letter, 520);
FARLO_FIELD_AT(VolInfo, file_system, 526);
FARLO_FIELD_AT(VolInfo, label, 590);
FARLO_FIELD_AT(VolInfo, mount_points, 1110);
FARLO_FIELD_AT(VolInfo, type, 1632);
FARLO_FIELD_AT(VolInfo, reserved, 1636);
FARLO_FIELD_AT(VolInfo, state, 1640);
FARLO_FIELD_AT(VolInfo, size, 1648);
FARLO_STATIC_ASSERT(sizeof(DgInfo) == 8, "DgInfo");
FARLO_FIELD_AT(DgInfo, disk_count, 0);
FARLO_FIELD_AT(DgInfo, volume_count, 4);
FARLO_STATIC_ASSERT(sizeof(VolPropInfo) == 8, "VolPropInfo");
FARLO_FIELD_AT(VolPropInfo, disk_count, 0);
FARLO_FIELD_AT(VolPropInfo, volume_count, 4);
FARLO_STATIC_ASSERT(sizeof(DgVolInfo) == 4, "DgVolInfo");
FARLO_FIELD_AT(DgVolInfo, volume_count, 0);
FARLO_STATIC_ASSERT(sizeof(DgDiskList) == 4, "DgDiskList");
FARLO_FIELD_AT(DgDiskList, disk_count, 0);

/* For the functions below: 32 bits of a record, 0 outside of it. */
static inline uint32_t farlo_record_word(const void* record, size_t size, size_t offset) {
    uint32_t word = 0;
    if (record != NULL && size >= sizeof word && size - sizeof word >= offset) {
        memcpy(&word, (const uint8_t*)record + offset, sizeof word);
    }
    return word;
}

/* For the functions below: one of `count` entries that begin at an offset, NULL
 * outside of the record. */
static inline const void* farlo_record_entry(const void* record, size_t size, uint64_t offset,
                                             uint32_t count, uint32_t index, size_t entry_size) {
    if (record == NULL || index >= count || offset > size ||
        (size - offset) / entry_size <= index) {
        return NULL;
    }
    return (const uint8_t*)record + offset + (size_t)index * entry_size;
}

/* Bytes of so many VolInfo back to back (GetUnusableVolumesInfo). */
static inline uint64_t farlo_vol_info_list_size(uint32_t volumes) {
    return (uint64_t)sizeof(VolInfo) * volumes;
}

/*
 * The record of a disk group: its disks and its volumes.
 *
 *   name, guid   name the group, a cluster group or another
 *   record       receives the record; NULL asks for the size
 *   size         in: the buffer's size in bytes; out: with
 *                FARLO_BUFFER_TOO_SMALL the size that is needed, else left alone
 *
 * The signature of a disk that has none, or 0, is the hexadecimal number in front
 * of the first "-" of its "DISKID", or all of a "DISKID" that has no "-";
 * 0xFFFFFFFF when it has more than 32 bits.
 *
 * Statuses: FARLO_NULL_HANDLE, FARLO_NOT_CONNECTED, FARLO_MISSING_ARGUMENT (also:
 * the size is enough and there is no buffer), FARLO_NOT_FOUND (every failed search
 * for the group), FARLO_BUFFER_TOO_SMALL, FARLO_EXCEPTION.
 */
uint32_t GetDgPropertiesA(opal_handle handle, const char* name, const char* guid, DgInfo* record,
                          uint32_t* size);
typedef uint32_t (*GetDgPropertiesA_fn)(opal_handle handle, const char* name, const char* guid,
                                        DgInfo* record, uint32_t* size);
uint32_t GetDgPropertiesW(opal_handle handle, const wchar_t* name, const char* guid, DgInfo* record,
                          uint32_t* size);
typedef uint32_t (*GetDgPropertiesW_fn)(opal_handle handle, const wchar_t* name, const char* guid,
                                        DgInfo* record, uint32_t* size);

/* Bytes of a record of so many disks and volumes. */
static inline uint64_t farlo_dg_info_size(uint32_t disks, uint32_t volumes) {
    return sizeof(DgInfo) + (uint64_t)sizeof(DgDiskInfo) * disks +
           (uint64_t)sizeof(VolInfo) * volumes;
}
/* A disk, a volume of a record in a buffer of `size` bytes. */
static inline const DgDiskInfo* farlo_dg_info_disk(const DgInfo* record, size_t size,
                                                   uint32_t index) {
    return (const DgDiskInfo*)farlo_record_entry(record, size, sizeof(DgInfo),
                                                 farlo_record_word(record, size, 0), index,
                                                 sizeof(DgDiskInfo));
}
static inline const VolInfo* farlo_dg_info_volume(const DgInfo* record, size_t size,
                                                  uint32_t index) {
    const uint32_t disks = farlo_record_word(record, size, 0);
    return (const VolInfo*)farlo_record_entry(record, size, farlo_dg_info_size(disks, 0),
                                              farlo_record_word(record, size, 4), index,
                                              sizeof(VolInfo));
}

/*
 * The record of a volume: the disks that its subdisks lie on, and itself.
 *
 *   device   the volume's device name; required
 *   record   receives the record; required also where only the size is asked
 *   size     as for GetDgProperties, but: FOUR BYTES MORE than this size are
 *            written. Get the size to pass from farlo_vol_prop_info_prepare and
 *            the bytes to allocate from farlo_vol_prop_info_allocation.
 *
 * Signatures are formed as by GetDgProperties.
 *
 *   uint32_t size = 0;
 *   VolPropInfo none;
 *   if (GetVolPropertiesW(handle, device, &none, &size) == FARLO_BUFFER_TOO_SMALL) {
 *       size_t allocated = (size_t)farlo_vol_prop_info_allocation(size);
 *       VolPropInfo* record = malloc(allocated);
 *       size = farlo_vol_prop_info_prepare(record, allocated);
 *       GetVolPropertiesW(handle, device, record, &size) ...
 *
 * Statuses: FARLO_INVALID_ARGUMENT (no device name; no such volume; in the A form
 * any NULL but the handle), FARLO_NULL_HANDLE, FARLO_NOT_CONNECTED,
 * FARLO_MISSING_ARGUMENT, FARLO_BUFFER_TOO_SMALL, FARLO_EXCEPTION.
 */
uint32_t GetVolPropertiesA(opal_handle handle, const char* device, VolPropInfo* record,
                           uint32_t* size);
typedef uint32_t (*GetVolPropertiesA_fn)(opal_handle handle, const char* device,
                                         VolPropInfo* record, uint32_t* size);
uint32_t GetVolPropertiesW(opal_handle handle, const wchar_t* device, VolPropInfo* record,
                           uint32_t* size);
typedef uint32_t (*GetVolPropertiesW_fn)(opal_handle handle, const wchar_t* device,
                                         VolPropInfo* record, uint32_t* size);

/* Bytes that are written beyond the size that is asked for and passed. */
#define FARLO_VOL_PROP_INFO_BEYOND 4u
/* Bytes to allocate when that size was asked for. */
static inline uint64_t farlo_vol_prop_info_allocation(uint32_t asked) {
    return (uint64_t)asked + FARLO_VOL_PROP_INFO_BEYOND;
}
/* Zeroes a buffer of so many bytes and returns the size to pass for it. */
static inline uint32_t farlo_vol_prop_info_prepare(void* buffer, size_t allocated) {
    size_t size = 0;
    if (buffer != NULL && allocated > FARLO_VOL_PROP_INFO_BEYOND) {
        memset(buffer, 0, allocated);
        size = allocated - FARLO_VOL_PROP_INFO_BEYOND;
    }
    return size > UINT32_MAX ? UINT32_MAX : (uint32_t)size;
}
/* A disk, the volume of a record in a buffer of `allocated` bytes. */
static inline const DgDiskInfo* farlo_vol_prop_info_disk(const VolPropInfo* record,
                                                         size_t allocated, uint32_t index) {
    return (const DgDiskInfo*)farlo_record_entry(record, allocated, sizeof(VolPropInfo),
                                                 farlo_record_word(record, allocated, 0), index,
                                                 sizeof(DgDiskInfo));
}
static inline const VolInfo* farlo_vol_prop_info_volume(const VolPropInfo* record,
                                                        size_t allocated) {
    const uint32_t disks = farlo_record_word(record, allocated, 0);
    return (const VolInfo*)farlo_record_entry(record, allocated, farlo_dg_info_size(disks, 0),
                                              farlo_record_word(record, allocated, 4), 0,
                                              sizeof(VolInfo));
}

/*
 * The light record of a cluster disk group: the signature of its first disk, and
 * its volumes in the light form.
 *
 *   record   receives the record; NULL asks for the size. Make it ready with
 *            farlo_dg_vol_info_prepare before each call.
 *   size     as for GetDgProperties. It is the same whether or not the group has
 *            a disk.
 *
 * Statuses as GetDgProperties.
 */
uint32_t GetDgVolPropertiesA(opal_handle handle, const char* name, const char* guid,
                             DgVolInfo* record, uint32_t* size);
typedef uint32_t (*GetDgVolPropertiesA_fn)(opal_handle handle, const char* name, const char* guid,
                                           DgVolInfo* record, uint32_t* size);
uint32_t GetDgVolPropertiesW(opal_handle handle, const wchar_t* name, const char* guid,
                             DgVolInfo* record, uint32_t* size);
typedef uint32_t (*GetDgVolPropertiesW_fn)(opal_handle handle, const wchar_t* name,
                                           const char* guid, DgVolInfo* record, uint32_t* size);

/* Where the drive letter of the first volume stands when there is no signature;
 * with a signature its first character is the third of these. */
#define FARLO_DG_VOL_INFO_MARK (sizeof(DgVolInfo) + offsetof(VolInfo, drive_letter))
#define FARLO_DG_VOL_INFO_MARK_SIZE (3 * sizeof(wchar_t))
/*
 * Makes a buffer of so many bytes ready for GetDgVolProperties and returns the
 * size to pass for it. The buffer is zeroed, but for a mark by which the functions
 * below tell whether a signature was written: the record itself does not say. They
 * hold for a buffer that was made ready and then filled.
 */
static inline uint32_t farlo_dg_vol_info_prepare(void* buffer, size_t size) {
    if (buffer == NULL) {
        return 0;
    }
    memset(buffer, 0, size);
    if (size >= FARLO_DG_VOL_INFO_MARK + FARLO_DG_VOL_INFO_MARK_SIZE) {
        memset((uint8_t*)buffer + FARLO_DG_VOL_INFO_MARK, 0xFF, FARLO_DG_VOL_INFO_MARK_SIZE);
    }
    return size > UINT32_MAX ? UINT32_MAX : (uint32_t)size;
}
/* Whether there is a signature in front of the volumes. A drive letter is always
 * written: an empty one is one character, any other a letter, a colon and the
 * terminator. A device name that reaches into the mark ends before the colon. */
static inline int farlo_dg_vol_info_has_signature(const DgVolInfo* record, size_t size) {
    uint16_t mark[3];
    if (farlo_record_word(record, size, 0) == 0) {
        return size >= sizeof(DgVolInfo) + sizeof(uint32_t);
    }
    if (size < FARLO_DG_VOL_INFO_MARK + sizeof mark) {
        return 0;
    }
    memcpy(mark, (const uint8_t*)record + FARLO_DG_VOL_INFO_MARK, sizeof mark);
    return mark[2] != 0xFFFF && mark[1] != L':';
}
/* The signature; 0 when the group has no disk, or its first disk none. */
static inline uint32_t farlo_dg_vol_info_signature(const DgVolInfo* record, size_t size) {
    return farlo_dg_vol_info_has_signature(record, size)
               ? farlo_record_word(record, size, sizeof(DgVolInfo))
               : 0;
}
/* A volume of a record in a buffer of `size` bytes. */
static inline const VolInfo* farlo_dg_vol_info_volume(const DgVolInfo* record, size_t size,
                                                      uint32_t index) {
    const size_t signature = farlo_dg_vol_info_has_signature(record, size) ? sizeof(uint32_t) : 0;
    return (const VolInfo*)farlo_record_entry(record, size, sizeof(DgVolInfo) + signature,
                                              farlo_record_word(record, size, 0), index,
                                              sizeof(VolInfo));
}

/*
 * The record of one volume of a cluster disk group.
 *
 *   device   the volume's device name, compared without regard to case; required
 *            (the A form takes at most 31 characters)
 *   record   receives the record; NULL asks for the size
 *   size     as for GetDgProperties; sizeof(VolInfo) is needed
 *
 * Statuses as GetDgProperties, and FARLO_VOLUME_NOT_FOUND.
 */
uint32_t GetDgVolumePropertiesA(opal_handle handle, const char* name, const char* guid,
                                const char* device, VolInfo* record, uint32_t* size);
typedef uint32_t (*GetDgVolumePropertiesA_fn)(opal_handle handle, const char* name,
                                              const char* guid, const char* device, VolInfo* record,
                                              uint32_t* size);
uint32_t GetDgVolumePropertiesW(opal_handle handle, const wchar_t* name, const char* guid,
                                const wchar_t* device, VolInfo* record, uint32_t* size);
typedef uint32_t (*GetDgVolumePropertiesW_fn)(opal_handle handle, const wchar_t* name,
                                              const char* guid, const wchar_t* device,
                                              VolInfo* record, uint32_t* size);

/*
 * The disks of a disk group, a cluster group or another. Signatures are those of
 * the disks: none is formed.
 *
 *   record   receives the list; NULL asks for the size
 *   size     as for GetDgProperties
 *
 * Statuses as GetDgProperties.
 */
uint32_t GetDgDiskPropertiesA(opal_handle handle, const char* name, const char* guid,
                              DgDiskList* record, uint32_t* size);
typedef uint32_t (*GetDgDiskPropertiesA_fn)(opal_handle handle, const char* name, const char* guid,
                                            DgDiskList* record, uint32_t* size);
uint32_t GetDgDiskPropertiesW(opal_handle handle, const wchar_t* name, const char* guid,
                              DgDiskList* record, uint32_t* size);
typedef uint32_t (*GetDgDiskPropertiesW_fn)(opal_handle handle, const wchar_t* name,
                                            const char* guid, DgDiskList* record, uint32_t* size);

/* A disk of a list in a buffer of `size` bytes. */
static inline const DgDiskInfo* farlo_dg_disk_list_disk(const DgDiskList* record, size_t size,
                                                        uint32_t index) {
    return (const DgDiskInfo*)farlo_record_entry(record, size, sizeof(DgDiskList),
                                                 farlo_record_word(record, size, 0), index,
                                                 sizeof(DgDiskInfo));
}

/*
 * The state of one volume of a cluster disk group, in the service's own bits.
 *
 *   device   as for GetDgVolumeProperties
 *   state    receives the state; 0 when the service names none
 *
 * Statuses: FARLO_NULL_HANDLE, FARLO_NOT_CONNECTED, FARLO_MISSING_ARGUMENT,
 * FARLO_NOT_FOUND (every failed search for the group), FARLO_VOLUME_NOT_FOUND,
 * FARLO_EXCEPTION.
 */
uint32_t GetDgVolumeStateA(opal_handle handle, const char* name, const char* guid,
                           const char* device, uint32_t* state);
typedef uint32_t (*GetDgVolumeStateA_fn)(opal_handle handle, const char* name, const char* guid,
                                         const char* device, uint32_t* state);
uint32_t GetDgVolumeStateW(opal_handle handle, const wchar_t* name, const char* guid,
                           const wchar_t* device, uint32_t* state);
typedef uint32_t (*GetDgVolumeStateW_fn)(opal_handle handle, const wchar_t* name, const char* guid,
                                         const wchar_t* device, uint32_t* state);

/* What GetDgVolumeStatus stores. */
#define FARLO_VOLUME_STATUS_HEALTHY 36u
#define FARLO_VOLUME_STATUS_OTHER 35u

/*
 * The status of one volume as the volume manager's driver sees it. Both names are
 * one function.
 *
 *   handle        looked at when the driver has answered: without a connected one
 *                 the status is stored all the same and the result is
 *                 FARLO_NOT_CONNECTED
 *   guid          the disk group's GUID text; required
 *   volume_guid   the volume's GUID, FARLO_GUID_SIZE bytes; required
 *   status        receives FARLO_VOLUME_STATUS_HEALTHY when the volume is healthy,
 *                 else FARLO_VOLUME_STATUS_OTHER. Test this, not the result.
 *
 * The result is the driver's answer, NOT 0 for a healthy volume but
 * FARLO_DEVICE_UNSUCCESSFUL (36). Others: 0, FARLO_DEVICE_SHARING_VIOLATION,
 * FARLO_NOT_FOUND (no driver), FARLO_MISSING_ARGUMENT (also: a request that the
 * driver does not take), FARLO_DEVICE_FAILED, FARLO_INVALID_ARGUMENT (no volume
 * GUID; the GUID text is longer than 64 characters), FARLO_NOT_CONNECTED (also:
 * NULL).
 */
uint32_t GetDgVolumeStatusA(opal_handle handle, const char* guid, const uint8_t* volume_guid,
                            uint32_t* status);
typedef uint32_t (*GetDgVolumeStatusA_fn)(opal_handle handle, const char* guid,
                                          const uint8_t* volume_guid, uint32_t* status);
uint32_t GetDgVolumeStatusW(opal_handle handle, const char* guid, const uint8_t* volume_guid,
                            uint32_t* status);
typedef uint32_t (*GetDgVolumeStatusW_fn)(opal_handle handle, const char* guid,
                                          const uint8_t* volume_guid, uint32_t* status);

/* ------------------------------------------------ volume information lists */

/* Set in the state of a record of a volume that cannot be used: one in whose state
 * one of the bits 0x4, 0x10, 0x20, 0x100 is set, or to which the operating system
 * has given no volume GUID name. GetVolumeInfo looks at the latter only. */
#define FARLO_VOLUME_UNUSABLE 0x20

/*
 * The volumes of a cluster disk group that cannot be used, one VolInfo behind the
 * other. Volumes of data change objects are passed over.
 *
 *   records   room for `count` records (farlo_vol_info_list_size); required also
 *             where only their number is asked
 *   count     in: how many RECORDS, not bytes, the buffer holds; out: the number
 *             of unusable volumes, also with FARLO_BUFFER_TOO_SMALL
 *
 * Statuses: FARLO_NULL_HANDLE, FARLO_MISSING_ARGUMENT, FARLO_NOT_CONNECTED,
 * FARLO_NOT_FOUND (every failed search for the group), FARLO_VOLUME_NOT_FOUND (the
 * group has no volume at all), FARLO_BUFFER_TOO_SMALL, FARLO_EXCEPTION.
 */
uint32_t GetUnusableVolumesInfo(opal_handle handle, const wchar_t* name, const char* guid,
                                VolInfo* records, uint32_t* count);
typedef uint32_t (*GetUnusableVolumesInfo_fn)(opal_handle handle, const wchar_t* name,
                                              const char* guid, VolInfo* records, uint32_t* count);

/*
 * The record of one volume of a cluster disk group, with FARLO_VOLUME_UNUSABLE in
 * its state when the operating system has given it no volume GUID name.
 *
 *   device   the volume's device name, compared without regard to case; required
 *   record   receives the record; required also where only the size is asked
 *   size     in: the buffer's size in BYTES; out: with FARLO_BUFFER_TOO_SMALL the
 *            size that is needed, sizeof(VolInfo), else left alone
 *
 * Statuses as GetUnusableVolumesInfo; FARLO_VOLUME_NOT_FOUND: the group has no such
 * volume.
 */
uint32_t GetVolumeInfo(opal_handle handle, const wchar_t* name, const char* guid,
                       const wchar_t* device, VolInfo* record, uint32_t* size);
typedef uint32_t (*GetVolumeInfo_fn)(opal_handle handle, const wchar_t* name, const char* guid,
                                     const wchar_t* device, VolInfo* record, uint32_t* size);

#ifdef __cplusplus
}
#endif

#endif
