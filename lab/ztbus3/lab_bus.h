/*
 * lab_bus.h - what the lab's ztbus3.dll exports in addition to the bus: scenarios,
 * connections for the lab's command library, the recorder, the fault plan and
 * counters. For the lab and tests only.
 *
 * Functions with an `error` parameter return 0 on success and another value on
 * failure. On failure they write one line to `error`, on success "".
 */
#ifndef LAB_BUS_H
#define LAB_BUS_H

#include "ztbus3.h"

#ifdef __cplusplus
extern "C" {
#endif

/* --------------------------------------------------------------- scenarios */

/* Replace the embedded service's storage with a scenario from a JSON file or a
 * JSON string. Object ids of the old scenario become unknown. Before the first
 * call the embedded service has the scenario in the file that the environment
 * variable ZTLAB_SCENARIO names. Without a usable one it refuses connections with
 * ZTERROR_NOT_CONNECTED, and one line on stderr says why. */
ZTBUS3_API int LabLoadScenarioFile(const wchar_t* path, char* error, size_t capacity);
ZTBUS3_API int LabLoadScenarioText(const char* json, char* error, size_t capacity);

/* Finds the id of the object with a name in the scenario. Returns 0 if found. */
ZTBUS3_API int LabFindObject(const char* name, opal_objid* id);

/* ------------------------------------------------------------- connections */

/* Receives the events of a connection, on the thread where they happen. */
#define LAB_EVENT_ALERT 1        /* `name` is the alert's name */
#define LAB_EVENT_DISCONNECTED 2 /* the connection is lost; `name` is NULL */
typedef void (*lab_event_sink)(void* user, int event, const char* name);

/* Opens a connection to the service at `service` ("127.0.0.1:4711"), or to the
 * embedded service if that is NULL. The sink may be called before this function
 * returns. It is not called after LabCloseConnection has returned. */
ZTBUS3_API opal_status LabOpenConnection(const char* service, lab_event_sink sink, void* user,
                                         opal_connection* connection, opal_context* context);
ZTBUS3_API opal_status LabCloseConnection(opal_connection connection);

/* Closes the connection of a handle that is released in strict mode (lab_cmd.h).
 * Its words are never used for another connection, and a call with one of them
 * ends the process. */
ZTBUS3_API opal_status LabReleaseConnection(opal_connection connection, const void* handle);

/* Ends the process at once, with the exit code LAB_RELEASED_USE_EXIT, because a
 * released handle was used. Writes one line to stderr: `use`, and which function
 * did it, as far as the stack of `context` shows it ("GetDgGuidW in farlo.dll",
 * else a module and the offset in it). Without a context the stack is the
 * caller's. Does not return. */
#define LAB_RELEASED_USE_EXIT 70
ZTBUS3_API void LabEndReleasedUse(const char* use, const CONTEXT* context);

/* Drops every connection of this process, as if the service had died: the sinks
 * get LAB_EVENT_DISCONNECTED and later calls return ZTERROR_NOT_CONNECTED. */
ZTBUS3_API void LabDropConnections(void);

/* Makes LabOpenConnection return a status until it is set back to 0. */
ZTBUS3_API void LabRefuseConnections(opal_status status);

/* Raises an alert on every connection to the embedded service. */
ZTBUS3_API void LabRaiseAlert(const char* name);

/* ---------------------------------------------------------------- recorder */

/*
 * Records the calls that reach the service, in order, one line each:
 *
 *   DbGetObjects tamo_ztvm_diskgroup -> 0x0 [@dg1 @dg2]
 *   DbGetObjectsByQuery "SELECT FROM ..." -> 0x0 [@vol1]
 *   ObGetProperty @dg1 "Name" -> 0x0 WSTR "dg1"
 *   ObGetProperty @dg1 "none" -> 0xc100003a
 *   ObSetProperty @dg1 "x" UINT32 1 -> 0x0
 *   ObGetProperties @dg1 -> 0x0 {"Name": WSTR "dg1", ...}
 *   ObGetObjectType @dg1 -> 0x0 tamo_ztvm_diskgroup
 *   ObGetChildObjects @dg1 tamo_ztvm_volume -> 0x0 [@vol1]     ("*" for all types)
 *   ObGetParentObjects @vol1 tamo_ztvm_diskgroup -> 0x0 [@dg1]
 *   ObDeleteObject @vol1 -> 0x0
 *   PrCallDispatch @service {61678c9a-1dd2-11b2-9623-0800209ead9c} 0.2003
 *       {"Dgguid": STR "g", "Opflag": UINT32 7} 0,0,0,0 -> 0x0 {}
 *                                              (one line; "NULL" for a NULL set)
 *
 * and, with LAB_RECORD_ALL, also these calls, which do not leave the process:
 *
 *   PsCreatePropset -> 0x0 #1          sets are numbered from 1
 *   PsAddProperty #1 "Opflag" UINT32 7 -> 0x0
 *   PsSetProperty, PsFindProperty #1 "x" -> ..., PsOpenPropset #1 -> ...
 *   PsFindNextProperty #1 -> ..., PsFreeProperty "x" -> 0x0
 *   PsCopyPropset #1 -> 0x0 #2, PsDestroyPropset #1 -> 0x0
 *   ZtTrace 4 "clusapiprov: ERROR: ..." (formatted), ZtSleep 50
 *
 * Strings have backslash escapes for quotes, backslashes and everything that is
 * not printable ASCII. An invalid property of a client is written as "name"
 * malformed. A property that a fault has changed is written as it was returned:
 *
 *   ObGetProperty @dg1 "dgid" -> 0x0 UINT32 with the bytes of STR "g1"
 *   ObGetProperty @dg1 "dgid" -> 0x0 STR "g1" unterminated
 *   ObGetProperty @dg1 "dgid" -> 0x0 STR NULL
 *   ObGetProperty @dg1 "type" -> 0x0 UINT32 2 of size 0
 *
 Objects are written as "@" and their name in the scenario; the null
 * id is "@null", an unknown id is "@" and hexadecimal digits. The line of a call
 * with an unknown connection, or with another connection's context, ends with
 * " !connection".
 */
#define LAB_RECORD_SERVICE 1
#define LAB_RECORD_ALL 2
ZTBUS3_API void LabRecorderStart(int what); /* discards the lines recorded before */
ZTBUS3_API void LabRecorderStop(void);

/* Copies the lines as one NUL-terminated string, each with "\n" at its end, and
 * returns the required size, including the terminator. `buffer` may be NULL. */
ZTBUS3_API size_t LabRecordedCalls(char* buffer, size_t capacity);

/* -------------------------------------------------------------- fault plan */

/*
 * Replaces the fault plan of this process with a JSON array of rules, which docs/lab.md
 * describes. NULL or "[]" removes the plan. If a rule is invalid, cannot do what it says
 * or can never apply, the function fails and the old plan stays. Two reasons for that are
 * not checked: that there is no such object, as the scenario may be loaded later, and that
 * an earlier rule applies to all calls of a later one, as tests put plans together.
 */
ZTBUS3_API int LabSetFaultPlan(const char* json, char* error, size_t capacity);

/* ---------------------------------------------------------------- counters */

/* What clients hold now. All members are 0 once everything is freed. */
typedef struct lab_live {
    uint32_t property_sets; /* created, not destroyed */
    uint32_t properties;    /* returned, not freed */
    uint32_t blocks;        /* from _ZtAlloc and id arrays, not freed */
    uint32_t connections;
} lab_live;
ZTBUS3_API void LabGetLive(lab_live* live);

/* Returns how often a function was called since the process started, recorded or
 * not; 0 for an unknown name. */
ZTBUS3_API uint64_t LabCallCount(const char* function);

/* Sets the function that receives the formatted lines of ZtTrace. With NULL they
 * go to the file that the environment variable ZTLAB_TRACE names, if any. */
typedef void (*lab_trace_sink)(uint32_t level, const char* text);
ZTBUS3_API void LabSetTraceSink(lab_trace_sink sink);

#ifdef __cplusplus
}
#endif

#endif
