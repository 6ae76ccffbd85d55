/*
 * farlo.h - public interface of farlo.dll
 *
 * A cluster agent uses farlo.dll to manage the disk groups and volumes of the
 * storage volume manager.
 *
 * FUNCTIONS BY TASK ("A/W": a narrow and a wide form)
 *
 *   Connect                  InitializeClusterA/W, ValidateClusterA/W,
 *                            UnInitializeClusterA/W
 *   Receive alerts           RegisterForAlerts
 *   Identify disk groups     GetDgGuidA/W, GetNonClusterDgGuidA/W, GetDgNameW,
 *                            GetDgNameListA/W, GetNonClusterDgNameListA/W
 *   Import a disk group      OnlineDgExA/W, OnlineDgA/W, ImportDgA/W
 *   Deport a disk group      OfflineDgA/W, DeportDgA/W
 *   Reserve a disk group     ArbitrateDgA/W, StopDgReservationA/W,
 *                            GetDgReservationStatusA/W, ReleaseDgW
 *   Monitor groups, disks    GetDgStateA/W, GetDgStateExW, GetDiskStateA/W,
 *                            GetDgDiskAvailabilityA/W, GetDgVolPlexStatesA/W
 *   Inform the service       SetFastFailoverFlagW, ClusterServiceStateA/W
 *   Run the cluster node     StartCVMClusterW, StopCVMClusterW,
 *                            GetCVMClusterNodeStateW
 *   Switch volumes           OnlineVolA/W, OfflineVolA/W, OfflineVolumeA/W
 *   Identify volumes         GetDgVolumeGuidA/W, GetVolumeNameForSerialNumberA/W
 *   Refresh mount paths      FFUpdateMountPathA/W
 *   Identify disks           GetDiskTypeAndSignatureA/W, GetFirstVolumesDiskIDA/W
 *   Check clusterability     IsStorageClusterable, IsVolumeOfSpecifiedDgType,
 *                            IsVolumeClusterable, GetClusterSharedDgGuidA/W
 *   Clean up folders         CheckOSVersionAndReg, DeleteVMMSFolder
 *   Read records             GetDgPropertiesA/W, GetDgVolPropertiesA/W,
 *                            GetVolPropertiesA/W, GetDgVolumePropertiesA/W,
 *                            GetDgDiskPropertiesA/W
 *   Monitor volumes          GetDgVolumeStateA/W, GetDgVolumeStatusA/W,
 *                            GetUnusableVolumesInfo, GetVolumeInfo
 *
 * The functions are declared below in this order. The helpers that read a record, the
 * pointer types for GetProcAddress and farlo_api_load follow at the end.
 *
 * LOADING. An agent loads farlo.dll at run time, with LoadLibrary, and gets all its
 * functions with farlo_api_load, or single ones with GetProcAddress. For each NAME this
 * header declares the function and NAME_fn, the type of a pointer to it. Exported names
 * are not decorated. A program that is linked with the DLL's import library defines
 * FARLO_LINKED before it includes this header, and calls the functions by their names.
 *
 * HANDLES. InitializeClusterW makes a handle; most functions take it as their first
 * argument. The service may drop a handle's connection at any time. Functions then
 * return FARLO_NOT_CONNECTED, and ValidateClusterW reconnects the handle in its slot.
 * UnInitializeClusterW releases the handle.
 *
 * STRINGS. A wide string is NUL-terminated UTF-16. Most functions come in pairs:
 * NAMEW takes names as wide strings; NAMEA takes narrow strings, widens them and
 * calls NAMEW. NULL stays NULL. Unless a function states another limit, a narrow
 * disk-group name has at most 31 characters, another narrow name or path at most 259. A
 * longer one, or one that cannot be widened, is refused with FARLO_INVALID_ARGUMENT.
 * GUID strings of disk groups and volumes are narrow in both forms and have at most 64
 * characters. They are the service's own: the library only compares and copies them. A
 * longer one is refused where it is copied; where it is only compared, no group has it.
 *
 * Narrow strings are widened, and letter case is ignored, by the LC_CTYPE locale of
 * the C runtime that the library uses, msvcrt.dll. That is "C" unless the agent sets
 * another one in the same runtime. In "C" each of the bytes 0x80 to 0xFF becomes the
 * character U+0080 to U+00FF, whatever the ANSI code page, and only A to Z equal a to
 * z. Use the W form for a group whose name has other characters.
 *
 * NAMING A DISK GROUP. Where a function takes `name` and `guid`, either may be NULL or
 * empty. The GUID string is used when both are given. Both are compared without
 * regard to case.
 *
 * Disk groups have a type, the service's "LDM DG TYPE". Groups of type 0 or 7 are never
 * found by name or GUID string. A CLUSTER DISK GROUP is one of type 2; by its GUID
 * string, one of type 8 (a cluster-shared group) counts as well. Where a function passes
 * a GUID string to the service without looking the group up, its type does not matter.
 *
 * RESULTS. Every function returns a 32-bit status, 0 for success, unless its
 * description says otherwise. Statuses of the service and the bus that are not listed
 * here are passed through unchanged. Some of the service's are not 0 although it has done
 * its work: farlo_failed decides. farlo_status_name and farlo_status_text describe a
 * status.
 *
 * A function that runs out of memory returns FARLO_EXCEPTION, or another status that it
 * lists for that. But OnlineVol, OfflineVol, GetDgVolPlexStates and GetVolProperties
 * return FARLO_INVALID_ARGUMENT, and GetDiskState FARLO_MISSING_ARGUMENT, if there is no
 * memory to look the volume or the disk up; the three Is... functions return 0; and what
 * there is no memory to read is left out of a record (GetVolumeInfo and
 * GetUnusableVolumesInfo may mark the volume as unusable for that reason).
 *
 * LOST CONNECTIONS. When the connection drops during a call, the status is
 * FARLO_NOT_CONNECTED, even if the service has done its work, with these exceptions:
 *
 *   GetDgGuid, GetNonClusterDgGuid   0 once the group's GUID string was read;
 *                                    FARLO_NO_CLUSTER_SERVICE if neither that nor the
 *                                    cluster service could be read
 *   GetDgVolumeGuid                  FARLO_EXCEPTION if the group was found by its name
 *                                    and could not be read any more
 *   OnlineDgEx, OnlineDg             FARLO_ALREADY_IMPORTED is returned as it is
 *   GetDgReservationStatus           its result, or the status that the service or
 *                                    the search for the group or for the cluster
 *                                    service ended with
 *   GetDiskState                     0 with the state; FARLO_MISSING_ARGUMENT if the
 *                                    disk could not be found any more
 *   GetDgVolPlexStates               its result
 *   ClusterServiceState              the service's or the bus's status, or
 *                                    FARLO_NO_CLUSTER_SERVICE
 *   RegisterForAlerts                the command library's status
 *   OnlineVol                        see there
 *   FFUpdateMountPath                FARLO_PROVIDER_FAILED if the volume could not be
 *                                    found any more
 *   GetFirstVolumesDiskID            its result
 *   GetDgVolumeProperties            FARLO_BUFFER_TOO_SMALL is returned as it is
 *   the three Is... functions        their result, or 0
 *   all functions                    may return the status of an argument that they
 *                                    refuse instead
 *
 * A lookup that fails because the connection was lost returns FARLO_NOT_FOUND, after up
 * to 25 s, from GetDgNameW, GetDgVolumeGuid (by name), GetDgStateExW,
 * GetDgVolPlexStates, SetFastFailoverFlag, GetVolumeNameForSerialNumber,
 * GetFirstVolumesDiskID, GetDgProperties, GetDgVolProperties, GetDgVolumeProperties,
 * GetDgDiskProperties, GetDgVolumeState, GetUnusableVolumesInfo and GetVolumeInfo.
 *
 * OUT ARGUMENTS are written on success only, except where a description says
 * otherwise. When a dropped connection makes the status FARLO_NOT_CONNECTED, they may
 * have been written already. When the bus has no memory for the results of a method,
 * the method is called anyway, its status is returned and its results are not written.
 *
 * SIZES. Where a buffer's size or count is an in/out argument, it is also written when
 * FARLO_BUFFER_TOO_SMALL was then replaced by FARLO_NOT_CONNECTED. SET IT AGAIN before
 * another try; otherwise the next call may write past the end of the buffer.
 *
 * MEMORY. The caller owns every buffer that it passes. The library returns nothing that
 * the caller must free, except the handle.
 *
 * THREADS. Any thread may call any function at any time, and several threads may use
 * one handle, with one exception: while a handle is released, no other call may use
 * it. UnInitializeCluster releases its handle; ValidateCluster releases the one in its
 * slot if that has lost its connection.
 *
 * BLOCKING. "Blocks" is the longest time that the library itself pauses in a call. The
 * time that the service, a driver or a file takes to answer comes on top of it and is
 * not limited; docs/reliability.md lists every call that may wait without a limit. The
 * pauses are made of:
 *
 *   a lookup             25 s   the service reports no disk group, or no cluster
 *                               service, at all: five tries, 5 s apart
 *   a search by name    435 s   a lookup (25 s); another process's rescan of the disks
 *                               (300 s); a lookup (25 s); a rescan (25 s and 10 s); a
 *                               lookup (25 s); a lookup of the cluster service (25 s).
 *                               A name that the service knows does not block; one that
 *                               it does not know usually blocks for 10 s.
 *   opening a device      3 s   three tries, a second apart
 *
 * CALLBACKS. The agent's callback (RegisterForAlerts) must not throw. It must not call
 * InitializeCluster, ValidateCluster, UnInitializeCluster or OnlineVol: they wait for a
 * lock that another thread may hold while it waits for the callback to return, and both
 * threads then hang.
 *
 * THE PROCESS. Each line that is written to the trace log sets LC_TIME of msvcrt.dll to
 * "C", and it stays so: an agent that uses that runtime must not rely on another
 * LC_TIME. docs/configuration.md lists everything that the library reads and changes.
 *
 * TRACE LOG. The library writes what it does to "%VMPATH%logs\farlo.log"
 * (docs/trace-log.md).
 */
#ifndef FARLO_H
#define FARLO_H

#include <stddef.h>
#include <stdint.h>
#include <string.h>
#include <wchar.h>

/* The version of this interface, and of the farlo.dll that it came with. */
#define FARLO_VERSION_MAJOR 1
#define FARLO_VERSION_MINOR 0
#define FARLO_VERSION_PATCH 0

/* Precedes the declaration of each function. */
#if defined(FARLO_LINKED) && defined(_WIN32)
#define FARLO_API __declspec(dllimport)
#else
#define FARLO_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---------------------------------------------------------------- statuses */

#define FARLO_SUCCESS 0u
#define FARLO_NOT_FOUND 1u        /* no such disk group; no driver */
#define FARLO_ALREADY_IMPORTED 9u /* a group of that name is imported already */
#define FARLO_NO_GUID_MEMORY 17u  /* no memory for a GUID string or a request */
#define FARLO_EXCEPTION                                                                            \
    18u                                    /* a property could not be read or written; no          \
                                              memory; no thread or mutex could be created */
#define FARLO_MISSING_ARGUMENT 19u         /* neither name nor GUID; a required argument missing */
#define FARLO_NOT_CONNECTED 20u            /* the handle is not, or no longer, connected */
#define FARLO_UNINITIALIZE_FAILED 21u      /* the command library refused the handle */
#define FARLO_DEVICE_SHARING_VIOLATION 23u /* a kernel control device: sharing violation */
#define FARLO_DEVICE_FAILED 24u            /* a kernel control device: any other failure */
#define FARLO_DEVICE_UNSUCCESSFUL 36u      /* the config device: unsuccessful */
#define FARLO_EXCLUDED_TYPE 40u            /* the group has a type that is not accepted */
#define FARLO_NO_CLUSTER_SERVICE 41u       /* the service has no cluster-service object */
#define FARLO_BUFFER_TOO_SMALL 97u         /* the size that is needed has been stored */
#define FARLO_NO_VOLUME_GUID 98u           /* GetDgVolumeGuidA failed, for any reason */
#define FARLO_VOLUME_NOT_FOUND 99u         /* volume not found, or the service call failed */
#define FARLO_NULL_HANDLE 100u             /* the handle is NULL */
#define FARLO_INVALID_ARGUMENT 0x80070057u
#define FARLO_OUT_OF_MEMORY 0x8007000Eu
#define FARLO_PROVIDER_FAILED 0xC1000001u      /* a provider failed, or an object is missing */
#define FARLO_NODE_ALREADY_STARTED 0xE5150047u /* the cluster volume manager runs already */
#define FARLO_ALREADY_ONLINE 0xE515007Au       /* the disk group is online already */

/* Each of these statuses, as X(NAME, its description in a few words). */
#define FARLO_STATUSES(X)                                                                          \
    X(FARLO_SUCCESS, "success")                                                                    \
    X(FARLO_NOT_FOUND, "no such disk group, or no driver")                                         \
    X(FARLO_ALREADY_IMPORTED, "a disk group of that name is imported already")                     \
    X(FARLO_NO_GUID_MEMORY, "no memory for a GUID string or a request")                            \
    X(FARLO_EXCEPTION, "a property could not be read or written, or resources ran out")            \
    X(FARLO_MISSING_ARGUMENT, "a required argument is missing")                                    \
    X(FARLO_NOT_CONNECTED, "not connected to the storage service")                                 \
    X(FARLO_UNINITIALIZE_FAILED, "the handle could not be released")                               \
    X(FARLO_DEVICE_SHARING_VIOLATION, "the driver's device is in use")                             \
    X(FARLO_DEVICE_FAILED, "the driver's device failed")                                           \
    X(FARLO_DEVICE_UNSUCCESSFUL, "the driver reports no success")                                  \
    X(FARLO_EXCLUDED_TYPE, "the disk group has a type that is not accepted")                       \
    X(FARLO_NO_CLUSTER_SERVICE, "the service has no cluster-service object")                       \
    X(FARLO_BUFFER_TOO_SMALL, "the buffer is too small")                                           \
    X(FARLO_NO_VOLUME_GUID, "the GUID string of the volume could not be read")                     \
    X(FARLO_VOLUME_NOT_FOUND, "no such volume")                                                    \
    X(FARLO_NULL_HANDLE, "the handle is NULL")                                                     \
    X(FARLO_INVALID_ARGUMENT, "an argument is invalid")                                            \
    X(FARLO_OUT_OF_MEMORY, "out of memory")                                                        \
    X(FARLO_PROVIDER_FAILED, "a provider failed, or an object of the service is missing")          \
    X(FARLO_NODE_ALREADY_STARTED, "the cluster volume manager runs already")                       \
    X(FARLO_ALREADY_ONLINE, "the disk group is online already")

/* The name of a status of the list above ("FARLO_NOT_FOUND"); "" for any other. */
static inline const char* farlo_status_name(uint32_t status) {
    switch (status) {
#define FARLO_STATUS_NAME(name, description)                                                       \
    case name:                                                                                     \
        return #name;
        FARLO_STATUSES(FARLO_STATUS_NAME)
#undef FARLO_STATUS_NAME
    default:
        return "";
    }
}

/* A status in a few words, for messages; never NULL. Of a status that is not in the list
 * above: who it comes from, as far as its facility (bits 16 to 27) shows it. */
static inline const char* farlo_status_text(uint32_t status) {
    switch (status) {
#define FARLO_STATUS_TEXT(name, description)                                                       \
    case name:                                                                                     \
        return description;
        FARLO_STATUSES(FARLO_STATUS_TEXT)
#undef FARLO_STATUS_TEXT
    default:
        break;
    }
    switch ((status >> 16) & 0xFFFu) {
    case 0x007u:
        return "an error of the system";
    case 0x100u:
        return "a status of the object bus";
    case 0x515u:
        return "a status of the storage service";
    default:
        return "an unknown status";
    }
}

/* Whether a status is a failure: 1 or 0. Besides 0, the service's informational statuses
 * and warnings are successes. Does not hold for GetDgVolumeStatus, nor for the Is...
 * functions, which return no status. */
static inline int farlo_failed(uint32_t status) {
    const uint32_t facility = (status >> 16) & 0xFFFu;
    if (facility == 0) {
        return status != 0;
    }
    if (facility == 0x100u) {
        return (status >> 30) == 3u;
    }
    return (status >> 31) != 0;
}

/* ------------------------------------------------------------------ limits */

/* Room for any GUID string with its terminator, in characters (bytes). */
#define FARLO_GUID_TEXT_SIZE 65
/* Room for any name that the library returns, with its terminator, in wide
 * characters. A longer name of the service is refused (FARLO_EXCEPTION). */
#define FARLO_NAME_SIZE 260

/* A GUID in binary form, in bytes, laid out as Windows' GUID. */
#define FARLO_GUID_SIZE 16

/* The value of a hexadecimal digit; 16 if it is none. */
static inline unsigned farlo_hex_digit(char character) {
    if (character >= '0' && character <= '9') {
        return (unsigned)(character - '0');
    }
    if (character >= 'a' && character <= 'f') {
        return (unsigned)(character - 'a') + 10u;
    }
    if (character >= 'A' && character <= 'F') {
        return (unsigned)(character - 'A') + 10u;
    }
    return 16;
}

/*
 * Converts a GUID string, with or without braces, to the binary form, which
 * GetDgVolumeStatus takes: the string of a volume comes from GetDgVolumeGuid.
 *
 *   string   required. The GUID strings of groups and volumes are the service's own and
 *            need not have this form
 *   guid     receives FARLO_GUID_SIZE bytes; unchanged when the result is 0
 *
 * Returns 1, or 0 for a string that is not a GUID.
 */
static inline int farlo_parse_guid(const char* string, uint8_t* guid) {
    /* The place of each digit's byte, itself as a hexadecimal digit. */
    static const char places[] = "33221100-5544-7766-8899-aabbccddeeff";
    uint8_t parsed[FARLO_GUID_SIZE] = {0};
    const int braces = string[0] == '{';
    int i;
    string += braces;
    for (i = 0; places[i] != '\0'; ++i) {
        const unsigned digit = farlo_hex_digit(string[i]);
        const unsigned place = farlo_hex_digit(places[i]);
        if (place > 15 ? string[i] != '-' : digit > 15) {
            return 0;
        }
        if (place <= 15) {
            parsed[place] = (uint8_t)((unsigned)parsed[place] << 4 | digit);
        }
    }
    if ((braces && string[i++] != '}') || string[i] != '\0') {
        return 0;
    }
    for (i = 0; i < FARLO_GUID_SIZE; ++i) {
        guid[i] = parsed[i];
    }
    return 1;
}

/* Types of disk groups, the service's "LDM DG TYPE". It has more of them. */
#define FARLO_DG_TYPE_CLUSTER 2u
#define FARLO_DG_TYPE_CLUSTER_SHARED 8u

/* ----------------------------------------------------------------- connect */

/* A connection to the storage management service. Opaque. */
typedef struct opal_session* opal_handle;

/*
 * Connects, or reconnects. `slot` is the address of the caller's handle:
 *
 *   it holds NULL              one try to connect; the new handle is stored there
 *   a connected handle         nothing is done, except as said below
 *   a handle that lost its     the handle is released; up to three tries to connect,
 *   connection                 with a pause of half a second after each one that failed
 *
 * The callback last given to RegisterForAlerts is registered again after each new
 * connection (after one that OnlineVol made for itself: by the next success of this
 * function), and by the first success in the process, also if the handle in the slot
 * was made elsewhere.
 *
 * Statuses: FARLO_NOT_CONNECTED: no connection could be made, and the slot holds NULL;
 * or `slot` is NULL.
 *
 * Blocks: 1.5 s. Before that it waits, without a limit, for other calls that make or
 * release a connection (these, UnInitializeCluster, and OnlineVol when its group is
 * missing).
 *
 * InitializeClusterW, ValidateClusterA and ValidateClusterW are one function.
 */
FARLO_API uint32_t InitializeClusterW(opal_handle* slot);
FARLO_API uint32_t ValidateClusterW(opal_handle* slot);
FARLO_API uint32_t ValidateClusterA(opal_handle* slot);

/*
 * The same. `name` and `reserved` are accepted for compatibility and have no effect.
 *
 * Blocks: 1.5 s, as InitializeClusterW.
 */
FARLO_API uint32_t InitializeClusterA(const char* name, uintptr_t reserved, opal_handle* slot);

/*
 * Disconnects and frees a handle. The caller's slot is not cleared: the handle in it
 * must not be used again.
 *
 * Statuses: FARLO_UNINITIALIZE_FAILED.
 *
 * Blocks: no pauses, but waits as InitializeClusterW does; the command library may also
 * wait for a callback that is running.
 */
FARLO_API uint32_t UnInitializeClusterA(opal_handle handle);
FARLO_API uint32_t UnInitializeClusterW(opal_handle handle);

/* ---------------------------------------------------------- receive alerts */

/*
 * Lets the agent reset a time-out of its own. Called without arguments
 *   - on a thread of the command library, whenever the service reports that an import
 *     or a deport of a disk group has finished;
 *   - by OnlineVol, on its caller's thread, after each interval of its wait for the
 *     cluster volume manager to start.
 * What it must not do is said under CALLBACKS above.
 */
typedef void (*farlo_reset_timeout)(void);

/*
 * Stores the callback of the process, in place of the previous one, and registers a
 * handle for alerts. There is only one callback: alerts of handles that were registered
 * before run the new one.
 *
 *   handle     NULL: nothing is registered and 0 is returned; the callback is stored,
 *              and the next new connection registers it
 *   callback   NULL: the stored callback is cleared and 0 is returned. Registrations
 *              are not withdrawn: each later alert only writes an error line (level 0)
 *              to the trace log. The old callback may still be running on another
 *              thread, or about to run.
 *
 * Returns the command library's status. The callback stays stored when that is a
 * failure.
 *
 * Blocks: no pauses.
 */
FARLO_API uint32_t RegisterForAlerts(opal_handle handle, farlo_reset_timeout callback);

/* ---------------------------------------------------- identify disk groups */

/*
 * The GUID string of a disk group, by its name. GetDgGuid finds cluster disk groups (by
 * name: of type 2); GetNonClusterDgGuid finds any group, cluster groups included. A
 * group that the service does not know is looked for again after a rescan of the
 * machine's disks (10 s; one rescan at a time on a machine). Then the cluster service
 * is asked for it.
 *
 *   name   the group's name; required
 *   guid   receives the string; FARLO_GUID_TEXT_SIZE bytes
 *
 * Statuses: FARLO_NULL_HANDLE, FARLO_NOT_CONNECTED, FARLO_MISSING_ARGUMENT,
 * FARLO_EXCLUDED_TYPE, FARLO_NO_CLUSTER_SERVICE, FARLO_EXCEPTION (the string cannot be
 * read or does not fit), the service's.
 *
 * Blocks: 435 s (a search by name).
 */
FARLO_API uint32_t GetDgGuidA(opal_handle handle, const char* name, char* guid);
FARLO_API uint32_t GetDgGuidW(opal_handle handle, const wchar_t* name, char* guid);
FARLO_API uint32_t GetNonClusterDgGuidA(opal_handle handle, const char* name, char* guid);
FARLO_API uint32_t GetNonClusterDgGuidW(opal_handle handle, const wchar_t* name, char* guid);

/*
 * The name of a cluster disk group, by its GUID string.
 *
 *   guid   required
 *   name   receives the name; FARLO_NAME_SIZE wide characters
 *
 * Statuses: FARLO_NULL_HANDLE, FARLO_NOT_CONNECTED, FARLO_MISSING_ARGUMENT,
 * FARLO_NOT_FOUND, FARLO_EXCLUDED_TYPE, FARLO_EXCEPTION.
 *
 * Blocks: 25 s.
 */
FARLO_API uint32_t GetDgNameW(opal_handle handle, const char* guid, wchar_t* name);

/*
 * The names of the disk groups that are imported on this host: those of type 2
 * (GetDgNameList) or the others (GetNonClusterDgNameList). The names are stored
 * consecutively, each NUL-terminated, with no extra terminator at the end: narrow in
 * the A forms, wide in the W forms.
 *
 *   buffer   address of the pointer to the caller's buffer
 *   size     in: the buffer's size in bytes; out: with FARLO_BUFFER_TOO_SMALL the size
 *            that is needed (see SIZES above), otherwise unchanged
 *   count    receives the number of names, before the names are written; unchanged
 *            with FARLO_BUFFER_TOO_SMALL
 *
 * Pass a size of 0 to get the size. When no group qualifies, the status is 0, the
 * count 0, and the size unchanged.
 *
 * One group fails the whole call with FARLO_EXCEPTION: one whose name cannot be read,
 * and in the A forms, when the names are written, one whose name has more than 31
 * characters or no narrow form (see STRINGS above). If the names before it have been
 * written, they are in the buffer, and the count is the number of all. A group whose type
 * cannot be read is left out.
 *
 * Statuses: FARLO_NULL_HANDLE, FARLO_NOT_CONNECTED, FARLO_BUFFER_TOO_SMALL,
 * FARLO_MISSING_ARGUMENT, FARLO_EXCEPTION.
 *
 * Blocks: 25 s.
 */
FARLO_API uint32_t GetDgNameListA(opal_handle handle, char** buffer, uint32_t* size,
                                  uint32_t* count);
FARLO_API uint32_t GetDgNameListW(opal_handle handle, wchar_t** buffer, uint32_t* size,
                                  uint32_t* count);
FARLO_API uint32_t GetNonClusterDgNameListA(opal_handle handle, char** buffer, uint32_t* size,
                                            uint32_t* count);
FARLO_API uint32_t GetNonClusterDgNameListW(opal_handle handle, wchar_t** buffer, uint32_t* size,
                                            uint32_t* count);

/* ----------------------------------------------------- import a disk group */

/* Options of the online functions. Other bits are passed to the service unchanged. */
#define FARLO_ONLINE_NO_NAME_CHECK                                                                 \
    0x1u                                     /* do not check whether a group of that name is       \
                                                imported already */
#define FARLO_ONLINE_SHARED 0x800u           /* a shared group */
#define FARLO_ONLINE_CLEAR_HOST_ID 0x8000u   /* clear the host id on the group's disks */
#define FARLO_ONLINE_LOG_AS_OFFLINE 0x20000u /* the log lines say "OfflineDg" */
#define FARLO_ONLINE_CLUSTER_SHARED                                                                \
    0x200000u /* a cluster-shared group, with SHARED: sets all bits but 0x2 */

/*
 * Imports a disk group on this host.
 *
 *   name, guid   name the group. Without FARLO_ONLINE_SHARED: a cluster disk group by
 *                name, any group by GUID string. With it: a group of any type, which
 *                must be found.
 *   new_name     the name that the group is to get; NULL or empty for none
 *   options      FARLO_ONLINE_ bits
 *   reserved     accepted and not used
 *
 * OnlineDg is OnlineDgEx without the last argument.
 *
 * Statuses: FARLO_NULL_HANDLE, FARLO_NOT_CONNECTED, FARLO_ALREADY_IMPORTED,
 * FARLO_NOT_FOUND (a shared group), FARLO_NO_GUID_MEMORY, FARLO_EXCEPTION,
 * FARLO_MISSING_ARGUMENT, FARLO_INVALID_ARGUMENT (the GUID string is too long),
 * FARLO_EXCLUDED_TYPE, FARLO_NO_CLUSTER_SERVICE, the service's, among them
 * FARLO_ALREADY_ONLINE. When the name check runs out of memory, the status is 0
 * although nothing was imported.
 *
 * Blocks: 455 s by name (a search and a lookup), 25 s by GUID string; 20 s more for a
 * shared group.
 */
FARLO_API uint32_t OnlineDgExA(opal_handle handle, const char* name, const char* guid,
                               const char* new_name, uint32_t options, uint32_t reserved);
FARLO_API uint32_t OnlineDgExW(opal_handle handle, const wchar_t* name, const char* guid,
                               const wchar_t* new_name, uint32_t options, uint32_t reserved);
FARLO_API uint32_t OnlineDgA(opal_handle handle, const char* name, const char* guid,
                             const char* new_name, uint32_t options);
FARLO_API uint32_t OnlineDgW(opal_handle handle, const wchar_t* name, const char* guid,
                             const wchar_t* new_name, uint32_t options);

/*
 * Imports a disk group with all option bits set; of `options` only bit 0x2 counts. Does
 * not check whether a group of that name is imported already.
 *
 *   name, guid   name the group: a cluster disk group by name, any group by GUID
 *                string
 *   new_name     the name that the group is to get; NULL or empty for none
 *
 * Statuses: as OnlineDgEx, without FARLO_ALREADY_IMPORTED and FARLO_NOT_FOUND; 0 always
 * means that the service has imported the group.
 *
 * Blocks: 455 s by name (a search and a lookup), 25 s by GUID string.
 */
FARLO_API uint32_t ImportDgA(opal_handle handle, const char* name, const char* guid,
                             const char* new_name, uint32_t options);
FARLO_API uint32_t ImportDgW(opal_handle handle, const wchar_t* name, const char* guid,
                             const wchar_t* new_name, uint32_t options);

/* ----------------------------------------------------- deport a disk group */

/* Options of OfflineDg. Other bits are passed to the service unchanged. */
#define FARLO_OFFLINE_NO_NAME_CHECK 0x1u /* bit 0x40 is not added */
#define FARLO_OFFLINE_SHARED 0x800u      /* a shared group */

/*
 * Deports a disk group from this host.
 *
 *   name, guid   name the group: by name a cluster disk group, with
 *                FARLO_OFFLINE_SHARED a group of any type. A group that is not found
 *                by its GUID string is deported anyway: the service decides.
 *   options      FARLO_OFFLINE_ bits
 *
 * Statuses: FARLO_NULL_HANDLE, FARLO_NOT_CONNECTED, FARLO_NO_GUID_MEMORY,
 * FARLO_EXCEPTION, FARLO_MISSING_ARGUMENT, FARLO_INVALID_ARGUMENT (the GUID string is
 * too long), FARLO_EXCLUDED_TYPE, FARLO_NO_CLUSTER_SERVICE, the service's.
 *
 * Blocks: 475 s by name (a search and two lookups), 45 s by GUID string.
 */
FARLO_API uint32_t OfflineDgA(opal_handle handle, const char* name, const char* guid,
                              uint32_t options);
FARLO_API uint32_t OfflineDgW(opal_handle handle, const wchar_t* name, const char* guid,
                              uint32_t options);

/*
 * Deports a cluster disk group, which must be found.
 *
 * Statuses: as OfflineDg, and FARLO_NOT_FOUND.
 *
 * Blocks: 475 s by name (a search and two lookups), 45 s by GUID string.
 */
FARLO_API uint32_t DeportDgA(opal_handle handle, const char* name, const char* guid);
FARLO_API uint32_t DeportDgW(opal_handle handle, const wchar_t* name, const char* guid);

/* ---------------------------------------------------- reserve a disk group */

/*
 * ArbitrateDg asks the service to take the reservations of a disk group's disks for
 * this node; StopDgReservation asks it to stop holding them. A group that is given by
 * name must be a cluster disk group; one that is given by GUID string may be any.
 *
 * Statuses: FARLO_NULL_HANDLE, FARLO_NOT_CONNECTED, FARLO_NO_GUID_MEMORY,
 * FARLO_EXCEPTION, FARLO_MISSING_ARGUMENT, FARLO_INVALID_ARGUMENT (the GUID string is
 * too long), FARLO_EXCLUDED_TYPE, FARLO_NO_CLUSTER_SERVICE, the service's.
 *
 * Blocks: 455 s by name (a search and a lookup), 25 s by GUID string.
 */
FARLO_API uint32_t ArbitrateDgA(opal_handle handle, const char* name, const char* guid);
FARLO_API uint32_t ArbitrateDgW(opal_handle handle, const wchar_t* name, const char* guid);
FARLO_API uint32_t StopDgReservationA(opal_handle handle, const char* name, const char* guid);
FARLO_API uint32_t StopDgReservationW(opal_handle handle, const wchar_t* name, const char* guid);

/* What GetDgReservationStatus stores when it asks the driver. */
#define FARLO_RESERVATION_NOT_HELD 33u
#define FARLO_RESERVATION_HELD 34u
#define FARLO_RESERVATION_UNKNOWN 35u /* the driver could not be asked, or failed */
#define FARLO_RESERVATION_BUSY 39u    /* the group's reservation is being updated; not asked */

/*
 * Whether this node holds the reservation of a disk group. A group that is given by
 * name must be a cluster disk group.
 *
 * The driver is asked, and asked again while it fails: up to 30 times, a second apart.
 * On a node that reserves through the service (registry value SupportSCSI3 = 2, read by
 * the first call in the process) the service is asked, and the state is the service's
 * own.
 *
 *   handle        needed to ask the service or to find a group by its name; otherwise
 *                 not checked. Whether it is connected is only checked by a search by
 *                 name.
 *   reservation   receives the state:
 *                 - from the driver, also with a failure (FARLO_RESERVATION_UNKNOWN);
 *                 - FARLO_RESERVATION_BUSY with status 0 when the lock of the group's
 *                   reservation thread cannot be taken: another thread holds it, its
 *                   holder died, or it cannot be created;
 *                 - from the service, also with an informational status, which is not
 *                   0.
 *                 It is unchanged, with status 0, when there is no memory for the
 *                 question, or when the service reports no state.
 *
 * Statuses: FARLO_NOT_FOUND (there is no driver, or it does not know the group),
 * FARLO_DEVICE_SHARING_VIOLATION, FARLO_DEVICE_FAILED, FARLO_NO_GUID_MEMORY,
 * FARLO_MISSING_ARGUMENT, FARLO_INVALID_ARGUMENT (the GUID string is too long), those
 * of GetDgGuidW by name; when the service is asked also FARLO_NULL_HANDLE,
 * FARLO_NO_CLUSTER_SERVICE and the service's.
 *
 * Blocks: 120 s when the driver is asked (30 openings of its device and as many
 * seconds), 3 s when there is no driver; 25 s when the service is asked. By name 430 s
 * more (a search).
 */
FARLO_API uint32_t GetDgReservationStatusA(opal_handle handle, const char* name, const char* guid,
                                           uint32_t* reservation);
FARLO_API uint32_t GetDgReservationStatusW(opal_handle handle, const wchar_t* name,
                                           const char* guid, uint32_t* reservation);

/*
 * Asks the driver to release the reservation of a disk group, and again while it fails:
 * up to 6 times, a second apart. Each call that asks costs the process a page of memory.
 *
 *   guid   the group's GUID string, at most 255 characters; required
 *
 * Statuses: FARLO_EXCEPTION (`guid` is NULL), FARLO_INVALID_ARGUMENT (`guid` is too
 * long), FARLO_NO_GUID_MEMORY, FARLO_NOT_FOUND (there is no driver, or it does not know
 * the group), FARLO_DEVICE_SHARING_VIOLATION, FARLO_DEVICE_FAILED.
 *
 * Blocks: 24 s (6 openings of the device and as many seconds), 3 s when there is no
 * driver.
 */
FARLO_API uint32_t ReleaseDgW(const char* guid);

/* ------------------------------------------------ monitor groups and disks */

/*
 * Whether a disk group, of any type, is imported on this host. GetDgState asks the
 * driver; it asks the service when there is no driver, or when the driver does not know
 * the group. GetDgStateExW asks the service.
 *
 *   imported   receives one byte: 1 imported, 0 not
 *
 * Statuses: FARLO_NULL_HANDLE, FARLO_NOT_CONNECTED, FARLO_MISSING_ARGUMENT,
 * FARLO_NOT_FOUND (the service does not know the group, or its type is 0 or 7),
 * FARLO_EXCEPTION; of GetDgState also FARLO_NO_GUID_MEMORY, FARLO_INVALID_ARGUMENT (the
 * GUID string is too long), FARLO_DEVICE_SHARING_VIOLATION, FARLO_DEVICE_FAILED, and
 * those of GetNonClusterDgGuidW by name.
 *
 * Blocks: GetDgState 458 s by name (a search, the device, a lookup), 28 s by GUID
 * string; GetDgStateExW 25 s.
 */
FARLO_API uint32_t GetDgStateA(opal_handle handle, const char* name, const char* guid,
                               uint8_t* imported);
FARLO_API uint32_t GetDgStateW(opal_handle handle, const wchar_t* name, const char* guid,
                               uint8_t* imported);
FARLO_API uint32_t GetDgStateExW(opal_handle handle, const wchar_t* name, const char* guid,
                                 uint8_t* imported);

/* Bits of a disk's state. They are the service's own, the library passes them through, and
 * there may be others: these are the ones that the lab's service knows. In the lab a disk
 * with either of them is not alive. */
#define FARLO_DISK_STATE_MISSING 0x1u
#define FARLO_DISK_STATE_FAILED 0x2u

/*
 * The state of a disk, in the service's own bits (FARLO_DISK_STATE_); 0 when the service
 * reports none.
 *
 *   disk    the disk's name in the operating system or its device name, compared
 *           without regard to case; required (at most 31 characters in the A form)
 *   state   receives the state, with status 0, even if the connection dropped during
 *           the call
 *
 * Statuses: FARLO_NULL_HANDLE, FARLO_NOT_CONNECTED, FARLO_MISSING_ARGUMENT (also: no
 * such disk).
 *
 * Blocks: no pauses.
 */
FARLO_API uint32_t GetDiskStateA(opal_handle handle, const char* disk, uint32_t* state);
FARLO_API uint32_t GetDiskStateW(opal_handle handle, const wchar_t* disk, uint32_t* state);

/*
 * How many disks a disk group has, and how many of them are alive. A group that is given
 * by name must be a cluster disk group.
 *
 *   total, live   receive the numbers; one that the service does not report is
 *                 unchanged
 *
 * Statuses: FARLO_NULL_HANDLE, FARLO_NOT_CONNECTED, 1 (the service's call failed, for
 * any reason), FARLO_NO_GUID_MEMORY, FARLO_EXCEPTION, FARLO_MISSING_ARGUMENT,
 * FARLO_INVALID_ARGUMENT (the GUID string is too long), FARLO_EXCLUDED_TYPE,
 * FARLO_NO_CLUSTER_SERVICE, those of GetDgGuidW by name.
 *
 * Blocks: 455 s by name (a search and a lookup), 25 s by GUID string.
 */
FARLO_API uint32_t GetDgDiskAvailabilityA(opal_handle handle, const char* name, const char* guid,
                                          uint32_t* total, uint32_t* live);
FARLO_API uint32_t GetDgDiskAvailabilityW(opal_handle handle, const wchar_t* name, const char* guid,
                                          uint32_t* total, uint32_t* live);

/* The state of a plex is the service's own, and the library passes it through. Only this one
 * is known: what the lab's service reports for a plex to which nothing has happened. */
#define FARLO_PLEX_STATE_NONE 0u

/* One plex of a volume. 68 bytes; records are stored consecutively. */
typedef struct farlo_plex_state {
    wchar_t name[32]; /* NUL-terminated */
    uint32_t state;   /* in the service's own numbers (FARLO_PLEX_STATE_) */
} farlo_plex_state;

/*
 * The states of a volume's plexes.
 *
 *   name, guid   name the volume's group, which may be of any type
 *   device       the volume's device name; required. In the A form, too, `name` may be
 *                of any length, and `device` of up to some 2000 characters.
 *   count        receives the number of plexes
 *   plexes       receives one record for each plex; NULL asks for the number
 *                (FARLO_BUFFER_TOO_SMALL). The array must have room for all plexes of
 *                the volume: its size is not passed and cannot be checked. A name of
 *                more than 31 characters, and what the service does not report, leaves
 *                its field unchanged.
 *
 * Statuses: FARLO_NULL_HANDLE, FARLO_NOT_CONNECTED (only if the handle was not connected
 * when the call began), FARLO_PROVIDER_FAILED (no device name), FARLO_MISSING_ARGUMENT,
 * FARLO_NOT_FOUND (every failed search for the group), FARLO_INVALID_ARGUMENT (no such
 * volume; a device name that is too long), FARLO_BUFFER_TOO_SMALL, FARLO_EXCEPTION.
 *
 * Blocks: 25 s.
 */
FARLO_API uint32_t GetDgVolPlexStatesA(opal_handle handle, const char* name, const char* guid,
                                       const char* device, uint32_t* count,
                                       farlo_plex_state* plexes);
FARLO_API uint32_t GetDgVolPlexStatesW(opal_handle handle, const wchar_t* name, const char* guid,
                                       const wchar_t* device, uint32_t* count,
                                       farlo_plex_state* plexes);

/* ------------------------------------------------------ inform the service */

/*
 * Sets the fast-failover flag of a disk group of any type. The values are the service's.
 *
 * Statuses: FARLO_NULL_HANDLE, FARLO_NOT_CONNECTED, FARLO_MISSING_ARGUMENT,
 * FARLO_NOT_FOUND (every failed search for the group), FARLO_EXCEPTION, the service's.
 *
 * Blocks: 25 s.
 */
FARLO_API uint32_t SetFastFailoverFlagW(opal_handle handle, const wchar_t* name, const char* guid,
                                        uint32_t flag);

/*
 * Reports the state of the cluster service to the storage service. The values are the
 * storage service's. Both names are one function.
 *
 * Statuses: FARLO_NULL_HANDLE, FARLO_NOT_CONNECTED (only if the handle was not connected
 * when the call began), FARLO_NO_CLUSTER_SERVICE, FARLO_EXCEPTION, the service's.
 *
 * Blocks: 25 s.
 */
FARLO_API uint32_t ClusterServiceStateA(opal_handle handle, uint32_t state);
FARLO_API uint32_t ClusterServiceStateW(opal_handle handle, uint32_t state);

/* ---------------------------------------------------- run the cluster node */

/*
 * Asks the service to start or stop the cluster volume manager on this node, and returns
 * the service's status. The node may take longer to get there.
 *
 * Statuses: FARLO_NULL_HANDLE, FARLO_NOT_CONNECTED, FARLO_NO_CLUSTER_SERVICE,
 * FARLO_EXCEPTION, the service's, among them FARLO_NODE_ALREADY_STARTED.
 *
 * Blocks: 25 s.
 */
FARLO_API uint32_t StartCVMClusterW(opal_handle handle);
FARLO_API uint32_t StopCVMClusterW(opal_handle handle);

/* States of the node. The numbers are the service's own, the library passes them through, and
 * there may be others: these are the ones that the lab's service reports. */
#define FARLO_NODE_STATE_STOPPED 0u
#define FARLO_NODE_STATE_STARTING 1u
#define FARLO_NODE_STATE_RUNNING 2u
#define FARLO_NODE_STATE_STOPPING 3u
#define FARLO_NODE_STATE_FAILED 4u /* stopped, and the last start failed */

/*
 * The state of the cluster volume manager on this node, in the service's own numbers
 * (FARLO_NODE_STATE_).
 *
 *   state   receives the state if the service reports one, whatever the status;
 *           otherwise unchanged
 *
 * Statuses: FARLO_NULL_HANDLE, FARLO_NOT_CONNECTED, FARLO_NO_CLUSTER_SERVICE,
 * FARLO_MISSING_ARGUMENT, FARLO_EXCEPTION, the service's.
 *
 * Blocks: 25 s.
 */
FARLO_API uint32_t GetCVMClusterNodeStateW(opal_handle handle, uint32_t* state);

/* ---------------------------------------------------------- switch volumes */

/*
 * Brings one volume online on this node. First starts the cluster volume manager if it
 * does not run, and imports the volume's disk group, as a cluster-shared one, if it is
 * not imported: import a group that is not shared before.
 *
 *   guid         the disk group's GUID string; required. The group may be of any type
 *                that is found.
 *   device       the volume's device name; required
 *   flags        the service's own bits; bit 0x1 is always added
 *   timeout_ms   how often the callback of RegisterForAlerts runs, on this thread, while
 *                the cluster volume manager starts: after each interval of this length,
 *                and once more at the end. It does not limit the wait. With 0 the
 *                callback runs without a pause; with 0xFFFFFFFF only at the end.
 *
 * The handle is never released or renewed. When the group is not found and the handle's
 * connection has dropped, the call makes a connection of its own for the rest of its
 * work and releases it at the end; the status is then that of this work. The handle
 * stays dropped: the next call with it returns FARLO_NOT_CONNECTED, and ValidateClusterW
 * reconnects it and registers the alerts again. Until then no alerts arrive: the
 * connection that the call makes is not registered for them. Several threads may bring
 * volumes online with one handle.
 *
 * When waiting for the node's start fails with an error of the system, the start goes on
 * and uses the handle: do not release it then until the node has started.
 *
 * `guid` is checked after the node has started, the length of `device` also after the
 * import.
 *
 * Statuses: FARLO_INVALID_ARGUMENT (NULL, a device name that is too long, no such volume),
 * FARLO_NULL_HANDLE, FARLO_NOT_CONNECTED, FARLO_PROVIDER_FAILED (no misc object, or the
 * node reports a failed start), FARLO_EXCEPTION (a property cannot be read; no thread or
 * mutex), FARLO_NOT_FOUND, FARLO_EXCLUDED_TYPE, FARLO_NO_CLUSTER_SERVICE, those of
 * StartCVMClusterW and OnlineDgEx, the system's error when a wait fails
 * (FARLO_PROVIDER_FAILED when it reports none), the service's. FARLO_ALREADY_ONLINE of
 * the disk group counts as success.
 *
 * Blocks: without a limit while the cluster volume manager starts, here or by another
 * process. Apart from that 111 s: two lookups of the group with a reconnection between
 * them, the import (by GUID string), and a lookup of the cluster service.
 */
FARLO_API uint32_t OnlineVolA(opal_handle handle, const char* guid, const char* device,
                              uint32_t flags, uint32_t timeout_ms);
FARLO_API uint32_t OnlineVolW(opal_handle handle, const char* guid, const wchar_t* device,
                              uint32_t flags, uint32_t timeout_ms);

/*
 * Takes one volume offline on this node. If the cluster volume
 * manager does not run, there is nothing to do: the status is 0.
 *
 *   guid     the GUID string of the disk group, a cluster disk group; required
 *   device   the volume's device name; required
 *   flags    the service's own bits; bit 0x1 is always added
 *
 * Statuses: FARLO_INVALID_ARGUMENT (NULL, a device name that is too long, no such volume),
 * FARLO_NULL_HANDLE, FARLO_NOT_CONNECTED, FARLO_PROVIDER_FAILED (no misc object),
 * FARLO_EXCEPTION, FARLO_NOT_FOUND, FARLO_EXCLUDED_TYPE, FARLO_NO_CLUSTER_SERVICE, the
 * service's.
 *
 * Blocks: 45 s (two lookups).
 */
FARLO_API uint32_t OfflineVolA(opal_handle handle, const char* guid, const char* device,
                               uint32_t flags);
FARLO_API uint32_t OfflineVolW(opal_handle handle, const char* guid, const wchar_t* device,
                               uint32_t flags);

/*
 * Flushes and dismounts the file system of a volume, then informs the driver that the
 * volume goes offline. Needs neither a handle nor the service. The first step that fails
 * ends the call: a volume that cannot be opened or flushed is not dismounted, and the
 * driver is only informed of a dismounted volume.
 *
 *   name         the volume's name, narrow in both forms, at most 64 characters;
 *                required
 *   path         a path that opens the volume, with or without a final backslash, at
 *                most 259 characters; required
 *   group_guid   the disk group's GUID, FARLO_GUID_SIZE bytes, passed to the driver
 *                unchanged; required
 *
 * Statuses: FARLO_INVALID_ARGUMENT (NULL, or a string that is too long); the system's
 * error of opening, flushing or dismounting (FARLO_PROVIDER_FAILED when it reports none);
 * of the driver
 * FARLO_DEVICE_SHARING_VIOLATION, FARLO_DEVICE_UNSUCCESSFUL, FARLO_NOT_FOUND (it has no
 * such device), FARLO_MISSING_ARGUMENT (it refuses the request), FARLO_DEVICE_FAILED
 * (there is no driver, or any other failure).
 *
 * Blocks: 3 s (opening the device).
 */
FARLO_API uint32_t OfflineVolumeA(const char* name, const char* path, const void* group_guid);
FARLO_API uint32_t OfflineVolumeW(const char* name, const wchar_t* path, const void* group_guid);

/* -------------------------------------------------------- identify volumes */

/*
 * The GUID string of a volume, by its disk group and its device name.
 *
 *   name, guid    name the group. By name it is looked up, may be of any type, and must
 *                 be imported; a GUID string is passed to the service.
 *   device        the volume's device name; required (at most 31 characters in the A
 *                 form)
 *   volume_guid   receives the string; FARLO_GUID_TEXT_SIZE bytes
 *
 * Statuses of the W form: FARLO_NULL_HANDLE, FARLO_NOT_CONNECTED, FARLO_NO_GUID_MEMORY,
 * FARLO_MISSING_ARGUMENT, FARLO_INVALID_ARGUMENT (the GUID string is too long),
 * FARLO_NOT_FOUND (the group is not found, or not imported), FARLO_EXCLUDED_TYPE,
 * FARLO_NO_CLUSTER_SERVICE, FARLO_VOLUME_NOT_FOUND (the service's call failed, for any
 * reason), FARLO_EXCEPTION. The A form returns FARLO_NO_VOLUME_GUID for all of them, and
 * FARLO_INVALID_ARGUMENT for a name or device name that is too long.
 *
 * Blocks: 45 s by name (two lookups), 25 s by GUID string.
 */
FARLO_API uint32_t GetDgVolumeGuidA(opal_handle handle, const char* name, const char* guid,
                                    const char* device, char* volume_guid);
FARLO_API uint32_t GetDgVolumeGuidW(opal_handle handle, const wchar_t* name, const char* guid,
                                    const wchar_t* device, char* volume_guid);

/* The buffer of GetVolumeNameForSerialNumber, in bytes. */
#define FARLO_VOLUME_NAME_BUFFER_SIZE 1656u

/*
 * The name of the volume whose file system has a serial number, among the volumes of a
 * cluster disk group.
 *
 *   name, guid      name the group; `guid` is its GUID string, not 16 bytes
 *   serial_number   the volume serial number of the file system
 *   volume_name     receives the volume's name followed by a backslash, wide in both
 *                   forms
 *   size            in: the buffer's size in bytes; out: with FARLO_BUFFER_TOO_SMALL
 *                   the size that is needed, always FARLO_VOLUME_NAME_BUFFER_SIZE (see
 *                   SIZES above), otherwise unchanged. Checked before the buffer is.
 *
 * Statuses: FARLO_NULL_HANDLE, FARLO_NOT_CONNECTED, FARLO_MISSING_ARGUMENT (neither name
 * nor GUID; no buffer or size), FARLO_NOT_FOUND (every failed search for the group),
 * FARLO_BUFFER_TOO_SMALL, FARLO_VOLUME_NOT_FOUND, FARLO_EXCEPTION (a volume's name cannot
 * be read, or is longer than the buffer).
 *
 * Blocks: 25 s.
 */
FARLO_API uint32_t GetVolumeNameForSerialNumberA(opal_handle handle, const char* name,
                                                 const char* guid, uint32_t serial_number,
                                                 wchar_t* volume_name, uint32_t* size);
FARLO_API uint32_t GetVolumeNameForSerialNumberW(opal_handle handle, const wchar_t* name,
                                                 const char* guid, uint32_t serial_number,
                                                 wchar_t* volume_name, uint32_t* size);

/* ----------------------------------------------------- refresh mount paths */

/*
 * Asks the service to refresh the mount path of a volume.
 *
 *   name   the volume's name, device name or drive letter, compared without regard to
 *          case. The first volume for which one of the three is equal is taken. So ""
 *          takes the first volume that has an empty one, such as no drive letter.
 *
 * Statuses: FARLO_NULL_HANDLE, FARLO_NOT_CONNECTED, FARLO_PROVIDER_FAILED (NULL, or no
 * such volume), FARLO_EXCEPTION, the service's.
 *
 * Blocks: no pauses.
 */
FARLO_API uint32_t FFUpdateMountPathA(opal_handle handle, const char* name);
FARLO_API uint32_t FFUpdateMountPathW(opal_handle handle, const wchar_t* name);

/* ---------------------------------------------------------- identify disks */

/* Partition styles. */
#define FARLO_PARTITION_STYLE_MBR 0u
#define FARLO_PARTITION_STYLE_GPT 1u
#define FARLO_PARTITION_STYLE_RAW 2u

/*
 * The partition style and the identity of the disk of a device. Needs no handle. A disk
 * with more than 129 partition entries is not read.
 *
 *   path        device path of a disk or a volume that can be opened; required
 *   signature   receives the signature of an MBR disk, otherwise unchanged; required
 *   disk_guid   receives the GUID of a GPT disk, FARLO_GUID_SIZE bytes, otherwise
 *               unchanged. NULL is only refused for a GPT disk, after its layout was
 *               read.
 *   style       receives the partition style; required
 *
 * Statuses: FARLO_INVALID_ARGUMENT (NULL), FARLO_OUT_OF_MEMORY, the system's error of
 * opening the device or of reading its layout (FARLO_PROVIDER_FAILED when it reports
 * none).
 *
 * Blocks: no pauses.
 */
FARLO_API uint32_t GetDiskTypeAndSignatureA(const char* path, uint32_t* signature,
                                            uint8_t* disk_guid, uint32_t* style);
FARLO_API uint32_t GetDiskTypeAndSignatureW(const wchar_t* path, uint32_t* signature,
                                            uint8_t* disk_guid, uint32_t* style);

/*
 * The identity of the disk of a group's first volume. The group is named by its name and
 * must be a cluster disk group. For a group without volumes the status is 0 and nothing
 * is written.
 *
 *   name      the group's name (at most 259 characters in the A form); required
 *   disk_id   receives the signature of an MBR disk, otherwise unchanged; required
 *   style     receives the partition style; required
 *
 * Statuses: FARLO_NOT_FOUND (no such group; or `name`, `disk_id` or `style` is NULL),
 * FARLO_NULL_HANDLE, FARLO_NOT_CONNECTED (only if the handle was not connected when the
 * call began), FARLO_EXCLUDED_TYPE, FARLO_EXCEPTION, those of GetDiskTypeAndSignature.
 *
 * Blocks: 25 s.
 */
FARLO_API uint32_t GetFirstVolumesDiskIDA(opal_handle handle, const char* name, uint32_t* disk_id,
                                          uint32_t* style);
FARLO_API uint32_t GetFirstVolumesDiskIDW(opal_handle handle, const wchar_t* name,
                                          uint32_t* disk_id, uint32_t* style);

/* ---------------------------------------------------- check clusterability */

/*
 * Whether a disk may be put under cluster control: its disk group is of type 2 and is a
 * cluster resource. Returns 1 or 0; 0 for every failure.
 *
 *   style       FARLO_PARTITION_STYLE_MBR or FARLO_PARTITION_STYLE_GPT. With any other
 *               value the service is sent an empty query; the result is about any disk
 *               that it returns, and can be 1.
 *   signature   identifies an MBR disk
 *   disk_guid   identifies a GPT disk; FARLO_GUID_SIZE bytes
 *
 * Blocks: no pauses.
 */
FARLO_API uint8_t IsStorageClusterable(opal_handle handle, uint32_t style, uint32_t signature,
                                       const uint8_t* disk_guid);

/*
 * Whether the disk group of a volume has a type, in the service's own numbers
 * (FARLO_DG_TYPE_). `volume_name` is the service's "volumename" of the volume, not its
 * device name; one that is too long for a query (some 2000 characters) is a failure.
 * Returns 1 or 0; 0 for every failure.
 *
 * Blocks: no pauses.
 */
FARLO_API uint8_t IsVolumeOfSpecifiedDgType(opal_handle handle, const wchar_t* volume_name,
                                            uint32_t type);

/*
 * Whether the disk group of a volume is a cluster-shared one (type 8) that is shared.
 * `volume_name` is as for IsVolumeOfSpecifiedDgType. Returns 1 or 0; 0 for every failure.
 *
 * Blocks: no pauses.
 */
FARLO_API uint8_t IsVolumeClusterable(opal_handle handle, const wchar_t* volume_name);

/*
 * The GUID string of the cluster-shared disk group (type 8) that a volume belongs to.
 *
 *   device   the volume's device name; required
 *   guid     receives the string; FARLO_GUID_TEXT_SIZE bytes; required. Receives an
 *            empty string when the group's is longer.
 *
 * Statuses: FARLO_NULL_HANDLE, FARLO_NOT_CONNECTED, FARLO_INVALID_ARGUMENT (NULL, too
 * long, or a group of another type), FARLO_OUT_OF_MEMORY, FARLO_PROVIDER_FAILED (no such
 * volume, no group, or a string longer than the buffer), FARLO_EXCEPTION, the service's.
 *
 * Blocks: no pauses.
 */
FARLO_API uint32_t GetClusterSharedDgGuidA(opal_handle handle, const char* device, char* guid);
FARLO_API uint32_t GetClusterSharedDgGuidW(opal_handle handle, const wchar_t* device, char* guid);

/* -------------------------------------------------------- clean up folders */

/*
 * Whether DeleteVMMSFolder is wanted on this machine. Returns 0 when the system's
 * version is 6.3 and the registry value VMMSFolderDelete is 1; FARLO_PROVIDER_FAILED
 * when not; when a value cannot be read, the system's error as 0x8007xxxx, or unchanged
 * if it is below 1 as a signed number.
 *
 * Blocks: no pauses.
 */
FARLO_API uint32_t CheckOSVersionAndReg(void);

/*
 * Removes the empty subfolders of a folder, and theirs. These are left alone: the folder
 * itself; folders whose name begins with a dot, with everything in them; and reparse
 * points (junctions, mounted volumes, links). Files are never deleted. The first subfolder
 * that cannot be removed, because a file or something that is left alone is in it, ends
 * the call; the folders that were removed before it stay removed.
 *
 *   folder   must end in a backslash, as the names of subfolders are appended to it as
 *            it is; required. Its path, and the path of every subfolder, has at most 258
 *            characters, the final backslash included.
 *
 * Statuses: FARLO_INVALID_ARGUMENT (NULL or empty; a path that is too long, also of a
 * subfolder), the system's error as of CheckOSVersionAndReg.
 *
 * Blocks: no pauses.
 */
FARLO_API uint32_t DeleteVMMSFolder(const wchar_t* folder);

/* ----------------------------------------------------------------- records */

/*
 * Disk groups, disks and volumes are described by records in a buffer of the caller's.
 * They are packed and may be at any address. The helpers at the end of this header find
 * the parts of a record within the bytes that the buffer really has.
 *
 * Strings are wide and NUL-terminated; one that is too long for its field is cut short. A
 * call only writes what the service reports: a field that could not be read, a reserved
 * field and the bytes after a string's terminator keep the buffer's contents. Zero a
 * buffer before it is filled.
 *
 * A call with a buffer that is too small writes nothing to it, stores the size that is
 * needed and returns FARLO_BUFFER_TOO_SMALL. The group may change between two calls: ask
 * again then. When the objects are so many that their size does not fit in 32 bits, no
 * buffer is large enough: FARLO_BUFFER_TOO_SMALL or FARLO_EXCEPTION is returned.
 */
#pragma pack(push, 1)

/* One disk. 56 bytes. */
typedef struct DgDiskInfo {
    wchar_t name[16];    /* at most 15 characters of the disk's "Name" */
    uint32_t signature;  /* "SIGNATURE", or formed from "DISKID" (see each function) */
    uint32_t lun;        /* "LUN ID" */
    uint32_t target;     /* "DISK TARGET ID" */
    uint32_t port;       /* "PORT" */
    uint8_t reserved[8]; /* never written */
} DgDiskInfo;

/* One volume. 1,656 bytes. The light form has only the device name, the drive letter,
 * the type and the size. */
typedef struct VolInfo {
    wchar_t device_name[260]; /* "DEVICE NAME" */
    /* A letter and a colon ("F:"), or empty: always written. Reported by the service, in
     * the light form by the system's mount-point manager; the two may disagree. */
    wchar_t drive_letter[3];
    /* "type of file system" and "label" of the volume's file system; not written for a
     * volume that has none. */
    wchar_t file_system[32];
    wchar_t label[260];
    /* The folders in which the volume is mounted, separated by "; ", or empty: always
     * written, except in the light form. Next to a folder of a volume that has no drive
     * letter there may be two separators, or none. What does not fit is cut off. A
     * volume that is mounted inside itself, directly or through others, is followed
     * once: its own folders are not collected again, those after it still are. */
    wchar_t mount_points[261];
    uint32_t type;       /* "type", in the service's own numbers */
    uint8_t reserved[4]; /* never written */
    /* "ztvmstate", the service's own 32 bits (FARLO_VOLUME_STATE_), sign-extended. In lists
     * of unusable volumes with the bit FARLO_VOLUME_UNUSABLE; when the state could not be read,
     * that bit is set in the buffer's contents. */
    int64_t state;
    uint64_t size; /* "size": bytes */
} VolInfo;

/* Header of a disk group's record; `disk_count` DgDiskInfo and `volume_count` VolInfo
 * follow. */
typedef struct DgInfo {
    uint32_t disk_count;
    uint32_t volume_count;
} DgInfo;

/* Header of a volume's record; `disk_count` DgDiskInfo and one VolInfo follow. */
typedef struct VolPropInfo {
    uint32_t disk_count;   /* a disk counts once for each subdisk on it */
    uint32_t volume_count; /* always 1 */
} VolPropInfo;

/* Header of a disk group's light record. If the group has a disk, the signature of the
 * first one (32 bits) follows, and then `volume_count` light VolInfo; otherwise the
 * VolInfo follow at once. Read it with farlo_dg_vol_info_signature and
 * farlo_dg_vol_info_volume. */
typedef struct DgVolInfo {
    uint32_t volume_count;
} DgVolInfo;

/* Header of a disk group's list of disks; `disk_count` DgDiskInfo follow. */
typedef struct DgDiskList {
    uint32_t disk_count;
} DgDiskList;

#pragma pack(pop)

/* The layouts are checked where the language can: C11, C++11 and later. */
#if defined(__cplusplus) && (__cplusplus >= 201103L || defined(_MSVC_LANG))
#define FARLO_STATIC_ASSERT static_assert
#elif !defined(__cplusplus) && defined(__STDC_VERSION__) && __STDC_VERSION__ >= 201112L
#define FARLO_STATIC_ASSERT _Static_assert
#endif
#ifdef FARLO_STATIC_ASSERT
#define FARLO_FIELD_AT(record, field, offset)                                                      \
    FARLO_STATIC_ASSERT(offsetof(record, field) == (offset), #record ": " #field)

FARLO_STATIC_ASSERT(sizeof(wchar_t) == 2, "wide characters are UTF-16");
FARLO_STATIC_ASSERT(sizeof(farlo_plex_state) == 68, "farlo_plex_state");
FARLO_FIELD_AT(farlo_plex_state, name, 0);
FARLO_FIELD_AT(farlo_plex_state, state, 64);
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

#undef FARLO_FIELD_AT
#undef FARLO_STATIC_ASSERT
#endif

/* ------------------------------------------------------------ read records */

/*
 * The record of a disk group of any type: its disks and its volumes.
 *
 *   record   receives the record; NULL asks for the size
 *   size     in: the buffer's size in bytes; out: with FARLO_BUFFER_TOO_SMALL the size
 *            that is needed (see SIZES above), otherwise unchanged
 *
 * A disk whose signature is missing or 0 gets one that is formed from its "DISKID": the
 * hexadecimal number before the first "-", or all of a "DISKID" without "-"; 0xFFFFFFFF
 * when that has more than 32 bits.
 *
 * Statuses: FARLO_NULL_HANDLE, FARLO_NOT_CONNECTED, FARLO_MISSING_ARGUMENT (also: the
 * size is enough and there is no buffer), FARLO_NOT_FOUND (every failed search for the
 * group), FARLO_BUFFER_TOO_SMALL, FARLO_EXCEPTION.
 *
 * Blocks: 25 s.
 */
FARLO_API uint32_t GetDgPropertiesA(opal_handle handle, const char* name, const char* guid,
                                    DgInfo* record, uint32_t* size);
FARLO_API uint32_t GetDgPropertiesW(opal_handle handle, const wchar_t* name, const char* guid,
                                    DgInfo* record, uint32_t* size);

/*
 * The light record of a cluster disk group: the signature of its first disk, and its
 * volumes in the light form. A signature that is missing or 0 is not formed.
 *
 *   record   receives the record; NULL asks for the size. Prepare it with
 *            farlo_dg_vol_info_prepare before each call.
 *   size     as for GetDgProperties; the same whether or not the group has a disk
 *
 * Statuses: as GetDgProperties.
 *
 * Blocks: 25 s.
 */
FARLO_API uint32_t GetDgVolPropertiesA(opal_handle handle, const char* name, const char* guid,
                                       DgVolInfo* record, uint32_t* size);
FARLO_API uint32_t GetDgVolPropertiesW(opal_handle handle, const wchar_t* name, const char* guid,
                                       DgVolInfo* record, uint32_t* size);

/*
 * The record of a volume: the disks that its subdisks are on, and the volume itself.
 * Signatures are formed as by GetDgProperties.
 *
 *   device   the volume's device name; required
 *   record   receives the record; required also when only the size is asked for
 *   size     as for GetDgProperties, but: FOUR BYTES MORE than this size are written.
 *            farlo_vol_prop_info_allocation returns the bytes to allocate,
 *            farlo_vol_prop_info_prepare the size to pass.
 *
 *   uint32_t size = 0;
 *   VolPropInfo none;
 *   if (GetVolPropertiesW(handle, device, &none, &size) == FARLO_BUFFER_TOO_SMALL) {
 *       size_t allocated = (size_t)farlo_vol_prop_info_allocation(size);
 *       VolPropInfo* record = malloc(allocated);
 *       size = farlo_vol_prop_info_prepare(record, allocated);
 *       GetVolPropertiesW(handle, device, record, &size) ...
 *
 * Statuses: FARLO_INVALID_ARGUMENT (no device name, or one that is too long; no such
 * volume; in the A form any argument that is NULL except the handle), FARLO_NULL_HANDLE,
 * FARLO_NOT_CONNECTED, FARLO_MISSING_ARGUMENT, FARLO_BUFFER_TOO_SMALL, FARLO_EXCEPTION.
 *
 * Blocks: no pauses.
 */
FARLO_API uint32_t GetVolPropertiesA(opal_handle handle, const char* device, VolPropInfo* record,
                                     uint32_t* size);
FARLO_API uint32_t GetVolPropertiesW(opal_handle handle, const wchar_t* device, VolPropInfo* record,
                                     uint32_t* size);

/*
 * The record of one volume of a cluster disk group.
 *
 *   device   the volume's device name, compared without regard to case; required (at
 *            most 31 characters in the A form)
 *   record   receives the record; NULL asks for the size
 *   size     as for GetDgProperties; sizeof(VolInfo) is needed
 *
 * Statuses: as GetDgProperties, and FARLO_VOLUME_NOT_FOUND. A volume listed before the
 * wanted one whose device name cannot be read results in FARLO_EXCEPTION.
 *
 * Blocks: 25 s.
 */
FARLO_API uint32_t GetDgVolumePropertiesA(opal_handle handle, const char* name, const char* guid,
                                          const char* device, VolInfo* record, uint32_t* size);
FARLO_API uint32_t GetDgVolumePropertiesW(opal_handle handle, const wchar_t* name, const char* guid,
                                          const wchar_t* device, VolInfo* record, uint32_t* size);

/*
 * The disks of a disk group of any type. Signatures are the disks' own: none is formed.
 *
 *   record   receives the list; NULL asks for the size
 *   size     as for GetDgProperties
 *
 * Statuses: as GetDgProperties.
 *
 * Blocks: 25 s.
 */
FARLO_API uint32_t GetDgDiskPropertiesA(opal_handle handle, const char* name, const char* guid,
                                        DgDiskList* record, uint32_t* size);
FARLO_API uint32_t GetDgDiskPropertiesW(opal_handle handle, const wchar_t* name, const char* guid,
                                        DgDiskList* record, uint32_t* size);

/* --------------------------------------------------------- monitor volumes */

/* Bits of a volume's state. They are the service's own, the library passes them through, and
 * there may be others. OFFLINE is known from the lab's service: bringing a volume online
 * clears it, taking it offline sets it. The library itself tests only whether one of the
 * bits of UNUSABLE is set (GetUnusableVolumesInfo). */
#define FARLO_VOLUME_STATE_OFFLINE 0x20u
#define FARLO_VOLUME_STATE_UNUSABLE 0x134u /* 0x4, 0x10, 0x20 and 0x100 */

/*
 * The state of one volume of a cluster disk group, in the service's own bits
 * (FARLO_VOLUME_STATE_).
 *
 *   device   as for GetDgVolumeProperties
 *   state    receives the state; 0 when the service reports none
 *
 * Statuses: FARLO_NULL_HANDLE, FARLO_NOT_CONNECTED, FARLO_MISSING_ARGUMENT,
 * FARLO_NOT_FOUND (every failed search for the group), FARLO_VOLUME_NOT_FOUND,
 * FARLO_EXCEPTION.
 *
 * Blocks: 25 s.
 */
FARLO_API uint32_t GetDgVolumeStateA(opal_handle handle, const char* name, const char* guid,
                                     const char* device, uint32_t* state);
FARLO_API uint32_t GetDgVolumeStateW(opal_handle handle, const wchar_t* name, const char* guid,
                                     const wchar_t* device, uint32_t* state);

/* What GetDgVolumeStatus stores. */
#define FARLO_VOLUME_STATUS_HEALTHY 36u
#define FARLO_VOLUME_STATUS_OTHER 35u

/*
 * The status of one volume as the volume manager's driver sees it. Both names are one
 * function.
 *
 *   handle        only checked after the driver was asked: without a connected one the
 *                 status is stored as usual and FARLO_NOT_CONNECTED is returned
 *   guid          the disk group's GUID string; required
 *   volume_guid   the volume's GUID, FARLO_GUID_SIZE bytes; required. farlo_parse_guid makes
 *                 them of the string that GetDgVolumeGuid stores
 *   status        receives FARLO_VOLUME_STATUS_HEALTHY when the driver reports a healthy
 *                 volume, otherwise FARLO_VOLUME_STATUS_OTHER, also when the driver
 *                 cannot be asked. Unchanged when an argument is refused. TEST THIS, not
 *                 the result.
 *
 * The result is the driver's status, which is NOT 0 for a healthy volume but
 * FARLO_DEVICE_UNSUCCESSFUL (36). Others: 0, FARLO_DEVICE_SHARING_VIOLATION,
 * FARLO_NOT_FOUND (it has no such device), FARLO_MISSING_ARGUMENT (no GUID string or
 * `status`; it refuses the request), FARLO_DEVICE_FAILED (there is no driver, or any
 * other failure), FARLO_INVALID_ARGUMENT (no volume GUID; the GUID string is too long),
 * FARLO_NOT_CONNECTED (also: the handle is NULL).
 *
 * Blocks: 3 s (opening the device).
 */
FARLO_API uint32_t GetDgVolumeStatusA(opal_handle handle, const char* guid,
                                      const uint8_t* volume_guid, uint32_t* status);
FARLO_API uint32_t GetDgVolumeStatusW(opal_handle handle, const char* guid,
                                      const uint8_t* volume_guid, uint32_t* status);

/* Set in the state of a record of a volume that cannot be used. */
#define FARLO_VOLUME_UNUSABLE 0x20

/*
 * The volumes of a cluster disk group that cannot be used, as consecutive VolInfo. A
 * volume is unusable when one of the bits of FARLO_VOLUME_STATE_UNUSABLE is set in its
 * state, or when the system's mount-point manager does not report a volume GUID name for it. So
 * every volume is unusable when the mount-point manager cannot be asked. Volumes of data
 * change objects are skipped. One volume that cannot be read fails the call
 * (FARLO_EXCEPTION).
 *
 *   records   room for `count` records (farlo_vol_info_list_size); required also when
 *             only the number is asked for
 *   count     in: the number of RECORDS, not bytes, in the buffer; out: the number of
 *             unusable volumes, also with FARLO_BUFFER_TOO_SMALL (see SIZES above)
 *
 * Statuses: FARLO_NULL_HANDLE, FARLO_MISSING_ARGUMENT, FARLO_NOT_CONNECTED,
 * FARLO_NOT_FOUND (every failed search for the group), FARLO_VOLUME_NOT_FOUND (the group
 * has no volume at all), FARLO_BUFFER_TOO_SMALL, FARLO_EXCEPTION.
 *
 * Blocks: 25 s.
 */
FARLO_API uint32_t GetUnusableVolumesInfo(opal_handle handle, const wchar_t* name, const char* guid,
                                          VolInfo* records, uint32_t* count);

/*
 * The record of one volume of a cluster disk group, with FARLO_VOLUME_UNUSABLE in its
 * state when the system's mount-point manager does not report a volume GUID name for it
 * or cannot be asked. The other bits that make a volume unusable are left as they are.
 *
 *   device   the volume's device name, compared without regard to case; required
 *   record   receives the record; required also when only the size is asked for
 *   size     in: the buffer's size in BYTES; out: with FARLO_BUFFER_TOO_SMALL the size
 *            that is needed, sizeof(VolInfo) (see SIZES above), otherwise unchanged
 *
 * Statuses: as GetUnusableVolumesInfo; FARLO_VOLUME_NOT_FOUND: the group has no such
 * volume. A volume listed before the wanted one whose device name cannot be read results
 * in FARLO_EXCEPTION.
 *
 * Blocks: 25 s.
 */
FARLO_API uint32_t GetVolumeInfo(opal_handle handle, const wchar_t* name, const char* guid,
                                 const wchar_t* device, VolInfo* record, uint32_t* size);

/* --------------------------------------------------------- record helpers */

/*
 * Compute sizes and find the parts of a record. `size` is the number of bytes that the
 * buffer really has; `allocated` is the same, where the size that was passed to the
 * function is another one. They return NULL, or 0, for what is not in the record.
 */

/* For the helpers below: 32 bits of a record, 0 outside of it. */
static inline uint32_t farlo_record_word(const void* record, size_t size, size_t offset) {
    uint32_t word = 0;
    if (record != NULL && size >= sizeof word && size - sizeof word >= offset) {
        memcpy(&word, (const uint8_t*)record + offset, sizeof word);
    }
    return word;
}
/* For the helpers below: one of `count` entries that begin at an offset, NULL outside of
 * the record. */
static inline const void* farlo_record_entry(const void* record, size_t size, uint64_t offset,
                                             uint32_t count, uint32_t index, size_t entry_size) {
    if (record == NULL || index >= count || offset > size ||
        (size - offset) / entry_size <= index) {
        return NULL;
    }
    return (const uint8_t*)record + offset + (size_t)index * entry_size;
}
/* For the helpers below: a size as the functions take it. */
static inline uint32_t farlo_record_size(size_t size) {
    return size > 0xFFFFFFFFu ? 0xFFFFFFFFu : (uint32_t)size;
}

/* Bytes of `volumes` consecutive VolInfo (GetUnusableVolumesInfo). */
static inline uint64_t farlo_vol_info_list_size(uint32_t volumes) {
    return (uint64_t)sizeof(VolInfo) * volumes;
}

/* GetDgProperties: bytes of a record of `disks` disks and `volumes` volumes. */
static inline uint64_t farlo_dg_info_size(uint32_t disks, uint32_t volumes) {
    return sizeof(DgInfo) + (uint64_t)sizeof(DgDiskInfo) * disks +
           (uint64_t)sizeof(VolInfo) * volumes;
}
/* GetDgProperties: one disk, one volume. */
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

/* GetVolProperties: bytes that are written beyond the size that is reported and passed. */
#define FARLO_VOL_PROP_INFO_BEYOND 4u
/* GetVolProperties: bytes to allocate when `needed` was reported. */
static inline uint64_t farlo_vol_prop_info_allocation(uint32_t needed) {
    return (uint64_t)needed + FARLO_VOL_PROP_INFO_BEYOND;
}
/* GetVolProperties: zeroes a buffer and returns the size to pass for it. */
static inline uint32_t farlo_vol_prop_info_prepare(void* buffer, size_t allocated) {
    if (buffer == NULL || allocated <= FARLO_VOL_PROP_INFO_BEYOND) {
        return 0;
    }
    memset(buffer, 0, allocated);
    return farlo_record_size(allocated - FARLO_VOL_PROP_INFO_BEYOND);
}
/* GetVolProperties: one disk, and the volume. */
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

/* GetDgDiskProperties: one disk. */
static inline const DgDiskInfo* farlo_dg_disk_list_disk(const DgDiskList* record, size_t size,
                                                        uint32_t index) {
    return (const DgDiskInfo*)farlo_record_entry(record, size, sizeof(DgDiskList),
                                                 farlo_record_word(record, size, 0), index,
                                                 sizeof(DgDiskInfo));
}

/*
 * GetDgVolProperties: the record does not say whether a signature precedes its volumes.
 * farlo_dg_vol_info_prepare therefore marks the three characters in which the first
 * volume's drive letter is if there is no signature; with a signature these are the last
 * two characters of its device name and the first one of its drive letter. The function
 * always writes the first character of a drive letter, and nothing but a NUL or a colon
 * as its second. So what it left of the mark shows where the volume begins, whatever the
 * volume's names are and however many characters of an empty drive letter are cleared.
 */
#define FARLO_DG_VOL_INFO_MARK (sizeof(DgVolInfo) + offsetof(VolInfo, drive_letter))
#define FARLO_DG_VOL_INFO_MARK_SIZE (3 * sizeof(wchar_t))
/* GetDgVolProperties: prepares a buffer and returns the size to pass for it. The buffer is
 * zeroed, except for the mark. The helpers below hold for a buffer that was prepared and
 * then filled. */
static inline uint32_t farlo_dg_vol_info_prepare(void* buffer, size_t size) {
    if (buffer == NULL) {
        return 0;
    }
    memset(buffer, 0, size);
    if (size >= FARLO_DG_VOL_INFO_MARK + FARLO_DG_VOL_INFO_MARK_SIZE) {
        memset((uint8_t*)buffer + FARLO_DG_VOL_INFO_MARK, 0xFF, FARLO_DG_VOL_INFO_MARK_SIZE);
    }
    return farlo_record_size(size);
}
/* GetDgVolProperties: whether the volumes are preceded by a signature. A record without
 * volumes does not show it: 1, and the signature is 0 if there is none. */
static inline int farlo_dg_vol_info_has_signature(const DgVolInfo* record, size_t size) {
    const uint16_t unwritten = 0xFFFF;
    uint16_t mark[3];
    if (farlo_record_word(record, size, 0) == 0) {
        return size >= sizeof(DgVolInfo) + sizeof(uint32_t);
    }
    if (size < FARLO_DG_VOL_INFO_MARK + sizeof mark) {
        return 0;
    }
    memcpy(mark, (const uint8_t*)record + FARLO_DG_VOL_INFO_MARK, sizeof mark);
    if (mark[1] == L':') { /* a drive letter; a device name has its terminator there */
        return 0;
    }
    if (mark[0] == unwritten) { /* a device name that ends before the mark */
        return 1;
    }
    /* A device name that ends in the mark, or an empty drive letter. */
    return mark[1] == unwritten ? mark[2] != unwritten : mark[0] != 0;
}
/* GetDgVolProperties: the signature; 0 when the group has no disk, or its first disk has
 * none. */
static inline uint32_t farlo_dg_vol_info_signature(const DgVolInfo* record, size_t size) {
    return farlo_dg_vol_info_has_signature(record, size)
               ? farlo_record_word(record, size, sizeof(DgVolInfo))
               : 0;
}
/* GetDgVolProperties: one volume. */
static inline const VolInfo* farlo_dg_vol_info_volume(const DgVolInfo* record, size_t size,
                                                      uint32_t index) {
    const size_t signature = farlo_dg_vol_info_has_signature(record, size) ? sizeof(uint32_t) : 0;
    return (const VolInfo*)farlo_record_entry(record, size, sizeof(DgVolInfo) + signature,
                                              farlo_record_word(record, size, 0), index,
                                              sizeof(VolInfo));
}

/* ---------------------------------------------------------- pointer types */

/* For GetProcAddress: the type of a pointer to each function. */
typedef uint32_t (*InitializeClusterW_fn)(opal_handle* slot);
typedef uint32_t (*ValidateClusterW_fn)(opal_handle* slot);
typedef uint32_t (*ValidateClusterA_fn)(opal_handle* slot);
typedef uint32_t (*InitializeClusterA_fn)(const char* name, uintptr_t reserved, opal_handle* slot);
typedef uint32_t (*UnInitializeClusterA_fn)(opal_handle handle);
typedef uint32_t (*UnInitializeClusterW_fn)(opal_handle handle);
typedef uint32_t (*RegisterForAlerts_fn)(opal_handle handle, farlo_reset_timeout callback);
typedef uint32_t (*GetDgGuidA_fn)(opal_handle handle, const char* name, char* guid);
typedef uint32_t (*GetDgGuidW_fn)(opal_handle handle, const wchar_t* name, char* guid);
typedef uint32_t (*GetNonClusterDgGuidA_fn)(opal_handle handle, const char* name, char* guid);
typedef uint32_t (*GetNonClusterDgGuidW_fn)(opal_handle handle, const wchar_t* name, char* guid);
typedef uint32_t (*GetDgNameW_fn)(opal_handle handle, const char* guid, wchar_t* name);
typedef uint32_t (*GetDgNameListA_fn)(opal_handle handle, char** buffer, uint32_t* size,
                                      uint32_t* count);
typedef uint32_t (*GetDgNameListW_fn)(opal_handle handle, wchar_t** buffer, uint32_t* size,
                                      uint32_t* count);
typedef uint32_t (*GetNonClusterDgNameListA_fn)(opal_handle handle, char** buffer, uint32_t* size,
                                                uint32_t* count);
typedef uint32_t (*GetNonClusterDgNameListW_fn)(opal_handle handle, wchar_t** buffer,
                                                uint32_t* size, uint32_t* count);
typedef uint32_t (*OnlineDgExA_fn)(opal_handle handle, const char* name, const char* guid,
                                   const char* new_name, uint32_t options, uint32_t reserved);
typedef uint32_t (*OnlineDgExW_fn)(opal_handle handle, const wchar_t* name, const char* guid,
                                   const wchar_t* new_name, uint32_t options, uint32_t reserved);
typedef uint32_t (*OnlineDgA_fn)(opal_handle handle, const char* name, const char* guid,
                                 const char* new_name, uint32_t options);
typedef uint32_t (*OnlineDgW_fn)(opal_handle handle, const wchar_t* name, const char* guid,
                                 const wchar_t* new_name, uint32_t options);
typedef uint32_t (*ImportDgA_fn)(opal_handle handle, const char* name, const char* guid,
                                 const char* new_name, uint32_t options);
typedef uint32_t (*ImportDgW_fn)(opal_handle handle, const wchar_t* name, const char* guid,
                                 const wchar_t* new_name, uint32_t options);
typedef uint32_t (*OfflineDgA_fn)(opal_handle handle, const char* name, const char* guid,
                                  uint32_t options);
typedef uint32_t (*OfflineDgW_fn)(opal_handle handle, const wchar_t* name, const char* guid,
                                  uint32_t options);
typedef uint32_t (*DeportDgA_fn)(opal_handle handle, const char* name, const char* guid);
typedef uint32_t (*DeportDgW_fn)(opal_handle handle, const wchar_t* name, const char* guid);
typedef uint32_t (*ArbitrateDgA_fn)(opal_handle handle, const char* name, const char* guid);
typedef uint32_t (*ArbitrateDgW_fn)(opal_handle handle, const wchar_t* name, const char* guid);
typedef uint32_t (*StopDgReservationA_fn)(opal_handle handle, const char* name, const char* guid);
typedef uint32_t (*StopDgReservationW_fn)(opal_handle handle, const wchar_t* name,
                                          const char* guid);
typedef uint32_t (*GetDgReservationStatusA_fn)(opal_handle handle, const char* name,
                                               const char* guid, uint32_t* reservation);
typedef uint32_t (*GetDgReservationStatusW_fn)(opal_handle handle, const wchar_t* name,
                                               const char* guid, uint32_t* reservation);
typedef uint32_t (*ReleaseDgW_fn)(const char* guid);
typedef uint32_t (*GetDgStateA_fn)(opal_handle handle, const char* name, const char* guid,
                                   uint8_t* imported);
typedef uint32_t (*GetDgStateW_fn)(opal_handle handle, const wchar_t* name, const char* guid,
                                   uint8_t* imported);
typedef uint32_t (*GetDgStateExW_fn)(opal_handle handle, const wchar_t* name, const char* guid,
                                     uint8_t* imported);
typedef uint32_t (*GetDiskStateA_fn)(opal_handle handle, const char* disk, uint32_t* state);
typedef uint32_t (*GetDiskStateW_fn)(opal_handle handle, const wchar_t* disk, uint32_t* state);
typedef uint32_t (*GetDgDiskAvailabilityA_fn)(opal_handle handle, const char* name,
                                              const char* guid, uint32_t* total, uint32_t* live);
typedef uint32_t (*GetDgDiskAvailabilityW_fn)(opal_handle handle, const wchar_t* name,
                                              const char* guid, uint32_t* total, uint32_t* live);
typedef uint32_t (*GetDgVolPlexStatesA_fn)(opal_handle handle, const char* name, const char* guid,
                                           const char* device, uint32_t* count,
                                           farlo_plex_state* plexes);
typedef uint32_t (*GetDgVolPlexStatesW_fn)(opal_handle handle, const wchar_t* name,
                                           const char* guid, const wchar_t* device, uint32_t* count,
                                           farlo_plex_state* plexes);
typedef uint32_t (*SetFastFailoverFlagW_fn)(opal_handle handle, const wchar_t* name,
                                            const char* guid, uint32_t flag);
typedef uint32_t (*ClusterServiceStateA_fn)(opal_handle handle, uint32_t state);
typedef uint32_t (*ClusterServiceStateW_fn)(opal_handle handle, uint32_t state);
typedef uint32_t (*StartCVMClusterW_fn)(opal_handle handle);
typedef uint32_t (*StopCVMClusterW_fn)(opal_handle handle);
typedef uint32_t (*GetCVMClusterNodeStateW_fn)(opal_handle handle, uint32_t* state);
typedef uint32_t (*OnlineVolA_fn)(opal_handle handle, const char* guid, const char* device,
                                  uint32_t flags, uint32_t timeout_ms);
typedef uint32_t (*OnlineVolW_fn)(opal_handle handle, const char* guid, const wchar_t* device,
                                  uint32_t flags, uint32_t timeout_ms);
typedef uint32_t (*OfflineVolA_fn)(opal_handle handle, const char* guid, const char* device,
                                   uint32_t flags);
typedef uint32_t (*OfflineVolW_fn)(opal_handle handle, const char* guid, const wchar_t* device,
                                   uint32_t flags);
typedef uint32_t (*OfflineVolumeA_fn)(const char* name, const char* path, const void* group_guid);
typedef uint32_t (*OfflineVolumeW_fn)(const char* name, const wchar_t* path,
                                      const void* group_guid);
typedef uint32_t (*GetDgVolumeGuidA_fn)(opal_handle handle, const char* name, const char* guid,
                                        const char* device, char* volume_guid);
typedef uint32_t (*GetDgVolumeGuidW_fn)(opal_handle handle, const wchar_t* name, const char* guid,
                                        const wchar_t* device, char* volume_guid);
typedef uint32_t (*GetVolumeNameForSerialNumberA_fn)(opal_handle handle, const char* name,
                                                     const char* guid, uint32_t serial_number,
                                                     wchar_t* volume_name, uint32_t* size);
typedef uint32_t (*GetVolumeNameForSerialNumberW_fn)(opal_handle handle, const wchar_t* name,
                                                     const char* guid, uint32_t serial_number,
                                                     wchar_t* volume_name, uint32_t* size);
typedef uint32_t (*FFUpdateMountPathA_fn)(opal_handle handle, const char* name);
typedef uint32_t (*FFUpdateMountPathW_fn)(opal_handle handle, const wchar_t* name);
typedef uint32_t (*GetDiskTypeAndSignatureA_fn)(const char* path, uint32_t* signature,
                                                uint8_t* disk_guid, uint32_t* style);
typedef uint32_t (*GetDiskTypeAndSignatureW_fn)(const wchar_t* path, uint32_t* signature,
                                                uint8_t* disk_guid, uint32_t* style);
typedef uint32_t (*GetFirstVolumesDiskIDA_fn)(opal_handle handle, const char* name,
                                              uint32_t* disk_id, uint32_t* style);
typedef uint32_t (*GetFirstVolumesDiskIDW_fn)(opal_handle handle, const wchar_t* name,
                                              uint32_t* disk_id, uint32_t* style);
typedef uint8_t (*IsStorageClusterable_fn)(opal_handle handle, uint32_t style, uint32_t signature,
                                           const uint8_t* disk_guid);
typedef uint8_t (*IsVolumeOfSpecifiedDgType_fn)(opal_handle handle, const wchar_t* volume_name,
                                                uint32_t type);
typedef uint8_t (*IsVolumeClusterable_fn)(opal_handle handle, const wchar_t* volume_name);
typedef uint32_t (*GetClusterSharedDgGuidA_fn)(opal_handle handle, const char* device, char* guid);
typedef uint32_t (*GetClusterSharedDgGuidW_fn)(opal_handle handle, const wchar_t* device,
                                               char* guid);
typedef uint32_t (*CheckOSVersionAndReg_fn)(void);
typedef uint32_t (*DeleteVMMSFolder_fn)(const wchar_t* folder);
typedef uint32_t (*GetDgPropertiesA_fn)(opal_handle handle, const char* name, const char* guid,
                                        DgInfo* record, uint32_t* size);
typedef uint32_t (*GetDgPropertiesW_fn)(opal_handle handle, const wchar_t* name, const char* guid,
                                        DgInfo* record, uint32_t* size);
typedef uint32_t (*GetDgVolPropertiesA_fn)(opal_handle handle, const char* name, const char* guid,
                                           DgVolInfo* record, uint32_t* size);
typedef uint32_t (*GetDgVolPropertiesW_fn)(opal_handle handle, const wchar_t* name,
                                           const char* guid, DgVolInfo* record, uint32_t* size);
typedef uint32_t (*GetVolPropertiesA_fn)(opal_handle handle, const char* device,
                                         VolPropInfo* record, uint32_t* size);
typedef uint32_t (*GetVolPropertiesW_fn)(opal_handle handle, const wchar_t* device,
                                         VolPropInfo* record, uint32_t* size);
typedef uint32_t (*GetDgVolumePropertiesA_fn)(opal_handle handle, const char* name,
                                              const char* guid, const char* device, VolInfo* record,
                                              uint32_t* size);
typedef uint32_t (*GetDgVolumePropertiesW_fn)(opal_handle handle, const wchar_t* name,
                                              const char* guid, const wchar_t* device,
                                              VolInfo* record, uint32_t* size);
typedef uint32_t (*GetDgDiskPropertiesA_fn)(opal_handle handle, const char* name, const char* guid,
                                            DgDiskList* record, uint32_t* size);
typedef uint32_t (*GetDgDiskPropertiesW_fn)(opal_handle handle, const wchar_t* name,
                                            const char* guid, DgDiskList* record, uint32_t* size);
typedef uint32_t (*GetDgVolumeStateA_fn)(opal_handle handle, const char* name, const char* guid,
                                         const char* device, uint32_t* state);
typedef uint32_t (*GetDgVolumeStateW_fn)(opal_handle handle, const wchar_t* name, const char* guid,
                                         const wchar_t* device, uint32_t* state);
typedef uint32_t (*GetDgVolumeStatusA_fn)(opal_handle handle, const char* guid,
                                          const uint8_t* volume_guid, uint32_t* status);
typedef uint32_t (*GetDgVolumeStatusW_fn)(opal_handle handle, const char* guid,
                                          const uint8_t* volume_guid, uint32_t* status);
typedef uint32_t (*GetUnusableVolumesInfo_fn)(opal_handle handle, const wchar_t* name,
                                              const char* guid, VolInfo* records, uint32_t* count);
typedef uint32_t (*GetVolumeInfo_fn)(opal_handle handle, const wchar_t* name, const char* guid,
                                     const wchar_t* device, VolInfo* record, uint32_t* size);

/* ------------------------------------------------------------ load the DLL */

/* Each exported function, as X(NAME), in the order of their declarations. */
#define FARLO_EXPORTS(X)                                                                           \
    X(InitializeClusterW)                                                                          \
    X(ValidateClusterW)                                                                            \
    X(ValidateClusterA)                                                                            \
    X(InitializeClusterA)                                                                          \
    X(UnInitializeClusterA)                                                                        \
    X(UnInitializeClusterW)                                                                        \
    X(RegisterForAlerts)                                                                           \
    X(GetDgGuidA)                                                                                  \
    X(GetDgGuidW)                                                                                  \
    X(GetNonClusterDgGuidA)                                                                        \
    X(GetNonClusterDgGuidW)                                                                        \
    X(GetDgNameW)                                                                                  \
    X(GetDgNameListA)                                                                              \
    X(GetDgNameListW)                                                                              \
    X(GetNonClusterDgNameListA)                                                                    \
    X(GetNonClusterDgNameListW)                                                                    \
    X(OnlineDgExA)                                                                                 \
    X(OnlineDgExW)                                                                                 \
    X(OnlineDgA)                                                                                   \
    X(OnlineDgW)                                                                                   \
    X(ImportDgA)                                                                                   \
    X(ImportDgW)                                                                                   \
    X(OfflineDgA)                                                                                  \
    X(OfflineDgW)                                                                                  \
    X(DeportDgA)                                                                                   \
    X(DeportDgW)                                                                                   \
    X(ArbitrateDgA)                                                                                \
    X(ArbitrateDgW)                                                                                \
    X(StopDgReservationA)                                                                          \
    X(StopDgReservationW)                                                                          \
    X(GetDgReservationStatusA)                                                                     \
    X(GetDgReservationStatusW)                                                                     \
    X(ReleaseDgW)                                                                                  \
    X(GetDgStateA)                                                                                 \
    X(GetDgStateW)                                                                                 \
    X(GetDgStateExW)                                                                               \
    X(GetDiskStateA)                                                                               \
    X(GetDiskStateW)                                                                               \
    X(GetDgDiskAvailabilityA)                                                                      \
    X(GetDgDiskAvailabilityW)                                                                      \
    X(GetDgVolPlexStatesA)                                                                         \
    X(GetDgVolPlexStatesW)                                                                         \
    X(SetFastFailoverFlagW)                                                                        \
    X(ClusterServiceStateA)                                                                        \
    X(ClusterServiceStateW)                                                                        \
    X(StartCVMClusterW)                                                                            \
    X(StopCVMClusterW)                                                                             \
    X(GetCVMClusterNodeStateW)                                                                     \
    X(OnlineVolA)                                                                                  \
    X(OnlineVolW)                                                                                  \
    X(OfflineVolA)                                                                                 \
    X(OfflineVolW)                                                                                 \
    X(OfflineVolumeA)                                                                              \
    X(OfflineVolumeW)                                                                              \
    X(GetDgVolumeGuidA)                                                                            \
    X(GetDgVolumeGuidW)                                                                            \
    X(GetVolumeNameForSerialNumberA)                                                               \
    X(GetVolumeNameForSerialNumberW)                                                               \
    X(FFUpdateMountPathA)                                                                          \
    X(FFUpdateMountPathW)                                                                          \
    X(GetDiskTypeAndSignatureA)                                                                    \
    X(GetDiskTypeAndSignatureW)                                                                    \
    X(GetFirstVolumesDiskIDA)                                                                      \
    X(GetFirstVolumesDiskIDW)                                                                      \
    X(IsStorageClusterable)                                                                        \
    X(IsVolumeOfSpecifiedDgType)                                                                   \
    X(IsVolumeClusterable)                                                                         \
    X(GetClusterSharedDgGuidA)                                                                     \
    X(GetClusterSharedDgGuidW)                                                                     \
    X(CheckOSVersionAndReg)                                                                        \
    X(DeleteVMMSFolder)                                                                            \
    X(GetDgPropertiesA)                                                                            \
    X(GetDgPropertiesW)                                                                            \
    X(GetDgVolPropertiesA)                                                                         \
    X(GetDgVolPropertiesW)                                                                         \
    X(GetVolPropertiesA)                                                                           \
    X(GetVolPropertiesW)                                                                           \
    X(GetDgVolumePropertiesA)                                                                      \
    X(GetDgVolumePropertiesW)                                                                      \
    X(GetDgDiskPropertiesA)                                                                        \
    X(GetDgDiskPropertiesW)                                                                        \
    X(GetDgVolumeStateA)                                                                           \
    X(GetDgVolumeStateW)                                                                           \
    X(GetDgVolumeStatusA)                                                                          \
    X(GetDgVolumeStatusW)                                                                          \
    X(GetUnusableVolumesInfo)                                                                      \
    X(GetVolumeInfo)

/* Pointers to all functions: farlo.OnlineDgW(handle, ...). */
struct farlo_api {
#define FARLO_API_MEMBER(name) name##_fn name;
    FARLO_EXPORTS(FARLO_API_MEMBER)
#undef FARLO_API_MEMBER
};

#ifdef _WIN32

/* As <windows.h> declares them, which is not included here: HMODULE, FARPROC and the
 * function itself. */
#ifdef NO_STRICT
typedef void* farlo_module;
#else
struct HINSTANCE__;
typedef struct HINSTANCE__* farlo_module;
#endif
typedef intptr_t(__stdcall* farlo_proc)(void);
__declspec(dllimport) farlo_proc __stdcall GetProcAddress(farlo_module module, const char* name);

/*
 * Stores pointers to all functions of a loaded farlo.dll. The caller keeps the DLL loaded as
 * long as it uses them.
 *
 *   module   the HMODULE of LoadLibrary; NULL has no functions
 *
 * Returns NULL, or the name of the first function that the module does not export: it is
 * not this version's farlo.dll. The pointers to all functions that it does not export are
 * NULL then.
 *
 *   struct farlo_api farlo;
 *   const char* missing = farlo_api_load(&farlo, LoadLibraryW(L"farlo.dll"));
 *   if (missing == NULL) {
 *       farlo.ValidateClusterW(&handle) ...
 */
static inline const char* farlo_api_load(struct farlo_api* api, farlo_module module) {
    const char* missing = NULL;
#define FARLO_API_ENTRY(name)                                                                      \
    api->name = module != NULL ? (name##_fn)(void (*)(void))GetProcAddress(module, #name) : NULL;  \
    if (api->name == NULL && missing == NULL) {                                                    \
        missing = #name;                                                                           \
    }
    FARLO_EXPORTS(FARLO_API_ENTRY)
#undef FARLO_API_ENTRY
    return missing;
}

#endif

#ifdef __cplusplus
}
#endif

#endif
