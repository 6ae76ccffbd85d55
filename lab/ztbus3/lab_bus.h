/*
 * lab_bus.h - what the lab's ztbus3.dll offers beside the bus: scenarios,
 * connections for the lab's command library, the recorder, the fault plan and
 * counters. Nothing that ships uses it.
 *
 * Functions that take `error` write one line there on failure ("" on success)
 * and return 0 for success, not 0 for failure.
 */
#ifndef LAB_BUS_H
#define LAB_BUS_H

#include "ztbus3.h"

#ifdef __cplusplus
extern "C" {
#endif

/* --------------------------------------------------------------- scenarios */

/* Replaces the embedded service's storage by a scenario: from a JSON file, or
 * from JSON text. Object ids of the scenario before are unknown afterwards.
 * Without any such call the embedded service starts with the file that the
 * environment variable ZTLAB_SCENARIO names, or with an empty node (the
 * cluster-service object and the misc object only). */
ZTBUS3_API int LabLoadScenarioFile(const wchar_t* path, char* error, size_t capacity);
ZTBUS3_API int LabLoadScenarioText(const char* json, char* error, size_t capacity);

/* The object id that the scenario's name stands for; 0 when found. */
ZTBUS3_API int LabFindObject(const char* name, opal_objid* id);

/* ------------------------------------------------------------- connections */

/* What a connection tells its owner. Called on the thread where it happened. */
#define LAB_EVENT_ALERT 1        /* `name` is the alert's name */
#define LAB_EVENT_DISCONNECTED 2 /* the service is gone; `name` is NULL */
typedef void (*lab_event_sink)(void* user, int event, const char* name);

/* Opens a connection: to the service at `service` ("127.0.0.1:4711"), or to the
 * embedded service when it is NULL. The sink may be called before this
 * returns; it is not called after LabCloseConnection returned. */
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

/* Drops every connection of this process, as when the service dies: the sinks
 * are told, later calls answer ZTERROR_NOT_CONNECTED. */
ZTBUS3_API void LabDropConnections(void);

/* Until set back to 0, LabOpenConnection answers this status. */
ZTBUS3_API void LabRefuseConnections(opal_status status);

/* Raises an alert of that name on every embedded connection. */
ZTBUS3_API void LabRaiseAlert(const char* name);

/* ---------------------------------------------------------------- recorder */

/*
 * Writes down the calls that reach the bus, one line each, in order:
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
 * and, with LAB_RECORD_ALL, those below too, which touch the client side only:
 *
 *   PsCreatePropset -> 0x0 #1          sets are numbered from 1 as they are made
 *   PsAddProperty #1 "Opflag" UINT32 7 -> 0x0
 *   PsSetProperty, PsFindProperty #1 "x" -> ..., PsOpenPropset #1 -> ...
 *   PsFindNextProperty #1 -> ..., PsFreeProperty "x" -> 0x0
 *   PsCopyPropset #1 -> 0x0 #2, PsDestroyPropset #1 -> 0x0
 *   ZtTrace 4 "clusapiprov: ERROR: ..." (the formatted text), ZtSleep 50
 *
 * Texts have backslash escapes for quotes, backslashes and what is not printable
 * ASCII. A client's property that is none is written as "name" malformed.
 * Objects are written as "@" and the scenario's name ("@null", or "@" and
 * hexadecimal when it has none). A call with an unknown connection, or with a
 * connection and context that do not belong together, ends in " !connection".
 */
#define LAB_RECORD_SERVICE 1
#define LAB_RECORD_ALL 2
ZTBUS3_API void LabRecorderStart(int what); /* forgets what was written before */
ZTBUS3_API void LabRecorderStop(void);

/* Copies the lines, each ended by "\n", NUL-terminated; returns the size that
 * is needed, the terminator included. A NULL buffer asks for the size. */
ZTBUS3_API size_t LabRecorderText(char* buffer, size_t capacity);

/* -------------------------------------------------------------- fault plan */

/*
 * Replaces the plan by a JSON array of rules; NULL or "[]" ends it. A refused
 * plan leaves the one before in force. Every rule counts the calls that it
 * selects; of those that are due for a call the first acts. A rule selects calls
 * by all of the keys that it gives:
 *
 *   "function": "PrCallDispatch"    the function; without it, any function that
 *                                   reaches the service
 *   "call": 2                       the n-th call that the other keys select,
 *                                   counted from 1; without it, every one
 *   "times": 3                      how many selected calls from there on
 *                                   (default 1 with "call", else all)
 *   "object": "dg1", "property": "Name", "type": "tamo_ztvm_volume",
 *   "minor": 2003                   what the call is about
 *
 * and does one of these, or several that do not exclude each other:
 *
 *   "status": "0xc1000001"          answers that status, does nothing
 *   "after": "0xc1000001"           does the work, then answers that status
 *   "nothing": true                 does the work, succeeds whatever came of it and
 *                                   hands out nothing: NULL, a cleared property,
 *                                   count 0; an empty set from ObGetProperties and
 *                                   PrCallDispatch
 *   "drop": true                    does the work and drops every connection
 *   "delay": 200                    waits that many milliseconds, then goes on
 *   "as": "UINT32"                  hands out the property with that tag, the
 *                                   value's bytes as they are
 *   "lie": "empty"                  hands out the property of its type, but: "empty"
 *                                   no characters or elements; "long" ten times as
 *                                   many; "unterminated" no NUL within its size;
 *                                   "short" one element fewer; "null" value NULL, size 0
 *
 * Rules for reading a property ("as", "lie") hold for ObGetProperty and
 * PsFindProperty, and for PsFindNextProperty when they name it. A number that is
 * made "empty" or "short" has the size 0. Of the functions that answer no status
 * _ZtAlloc and ZtGUIDToString can be made to hand out nothing, and be delayed.
 * A rule that could not do what it says is refused. */
ZTBUS3_API int LabSetFaultPlan(const char* json, char* error, size_t capacity);

/* ---------------------------------------------------------------- counters */

/* What clients hold now. All 0 when everything was given back. */
typedef struct lab_live {
    uint32_t property_sets; /* made, not destroyed */
    uint32_t properties;    /* handed out, not freed */
    uint32_t blocks;        /* from _ZtAlloc and id arrays, not freed */
    uint32_t connections;
} lab_live;
ZTBUS3_API void LabGetLive(lab_live* live);

/* How often a function was called since the process began; 0 for a name that
 * is none. Counted whether or not the recorder runs. */
ZTBUS3_API uint64_t LabCallCount(const char* function);

/* Receives the formatted lines of ZtTrace; NULL ends that. Without a sink they
 * go to the file that the environment variable ZTLAB_TRACE names, if any. */
typedef void (*lab_trace_sink)(uint32_t level, const char* text);
ZTBUS3_API void LabSetTraceSink(lab_trace_sink sink);

#ifdef __cplusplus
}
#endif

#endif
