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
 * The record that a connection handle points to. Only InitializeZtVmW creates
 * it and only UnInitializeZtVmW frees it. The command library owns the fields
 * marked "private".
 */
typedef struct opal_session {
    opal_connection connection;      /* the bus connection */
    void* session;                   /* private */
    opal_context connection_context; /* passed with `connection` */
    uint8_t connected;               /* not 0 while connected; read it under `lock` */
    uint8_t own_bytes[7];            /* private */
    void* own_words[2];              /* private */
    CRITICAL_SECTION lock;           /* guards `connected` */
} * opal_handle;

/*
 * Connects to the service and stores a new handle in `slot`. Pass 0 for `flags`
 * and `reserved`. Returns 0; on failure it returns another status and sets
 * `slot` to NULL. If the connection is lost later, `connected` becomes 0 and the
 * handle stays valid until it is released.
 */
ZTCMD_API opal_status InitializeZtVmW(uint32_t flags, uint32_t reserved, opal_handle* slot);

/* Disconnects and frees a handle; no alert is delivered for it afterwards.
 * Returns 0, or ZTERROR_INVALID_ARGUMENT if the handle is unknown. */
ZTCMD_API opal_status UnInitializeZtVmW(opal_handle handle);

/* An alert as it is delivered. Valid until the handler returns. */
typedef struct opal_alert {
    const char* name; /* narrow */
} opal_alert;

/* Receives the alerts of a handle on a thread of the command library.
 * `connection` is the handle's connection; the reserved arguments are NULL. */
typedef void (*opal_alert_handler)(const opal_alert* alert, void* connection, void* reserved1,
                                   void* reserved2);

/* Registers the handler for all alerts of a handle and replaces the previous
 * one. Returns ZTERROR_INVALID_ARGUMENT if the handle is unknown or the handler
 * NULL, ZTERROR_NOT_CONNECTED if the handle is not connected. */
ZTCMD_API opal_status RegisterAlertCallback(opal_handle handle, opal_alert_handler handler);

#ifdef __cplusplus
}
#endif

#endif
