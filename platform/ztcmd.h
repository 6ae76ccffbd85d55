/*
 * ztcmd.h - contract of the command library, ZtCMD.DLL.
 *
 * It makes and releases connections to the storage management service and
 * delivers the service's alerts. Statuses are those of ztbus3.h.
 */
#ifndef ZTCMD_H
#define ZTCMD_H

#include "ztbus3.h"

#ifdef ZTCMD_BUILD
#define ZTCMD_API __declspec(dllexport)
#else
#define ZTCMD_API __declspec(dllimport)
#endif

#ifdef __cplusplus
extern "C" {
#endif

/*
 * The record behind a connection handle. InitializeZtVmW allocates and fills
 * it, UnInitializeZtVmW frees it; nobody else does either. The fields marked
 * "own" belong to the command library.
 */
typedef struct opal_session {
    opal_connection connection;      /* the bus connection */
    void* session;                   /* own */
    opal_context connection_context; /* the second connection word */
    uint8_t connected;               /* not 0 while connected; under `lock` only */
    uint8_t own_bytes[7];            /* own */
    void* own_words[2];              /* own */
    CRITICAL_SECTION lock;           /* guards `connected` */
} * opal_handle;

/*
 * Connects to the service and stores a new handle through `slot`. Both flags
 * are 0. Returns 0; on failure the slot is left NULL and the status tells why.
 * When the service goes away later, `connected` becomes 0 and the handle stays
 * valid until it is released.
 */
ZTCMD_API opal_status InitializeZtVmW(uint32_t flags, uint32_t reserved, opal_handle* slot);

/* Disconnects and frees a handle; no alert is delivered for it afterwards.
 * Returns 0, or ZTERROR_INVALID_ARGUMENT for a handle that it does not know. */
ZTCMD_API opal_status UnInitializeZtVmW(opal_handle handle);

/* An alert as it is delivered. It lives until the handler returns. */
typedef struct opal_alert {
    const char* name; /* narrow */
} opal_alert;

/* Receives the alerts of a handle, on a thread of the command library. The
 * second argument is the handle's connection, the third and fourth are NULL. */
typedef void (*opal_alert_handler)(const opal_alert* alert, void* connection, void* reserved1,
                                   void* reserved2);

/* Registers the handler for all alerts that reach a handle, in place of the
 * one registered before. ZTERROR_INVALID_ARGUMENT for an unknown handle or no
 * handler; ZTERROR_NOT_CONNECTED when the handle is not connected. */
ZTCMD_API opal_status RegisterAlertCallback(opal_handle handle, opal_alert_handler handler);

#ifdef __cplusplus
}
#endif

#endif
