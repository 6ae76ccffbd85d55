/*
 * lab_cmd.h - what the lab's ZtCMD.DLL exports in addition to the command library.
 * For tests only.
 */
#ifndef LAB_CMD_H
#define LAB_CMD_H

#include "ztcmd.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Makes the next `times` calls of InitializeZtVmW return a status; 0 cancels that. */
ZTCMD_API void LabCmdFailInitialize(opal_status status, uint32_t times);
/* Make UnInitializeZtVmW return a status after it has done its work, and
 * RegisterAlertCallback return one without doing it, until set back to 0. */
ZTCMD_API void LabCmdFailUnInitialize(opal_status status);
ZTCMD_API void LabCmdFailRegister(opal_status status);

/* Drops the connection of a handle, as if the service had died. `connected` is 0 when
 * this returns. */
ZTCMD_API void LabCmdDisconnect(opal_handle handle);

/* Calls a handle's handler on the calling thread; the alert may be NULL. Returns 0, or
 * ZTERROR_NO_EVENT if there is no handler. */
ZTCMD_API opal_status LabCmdDeliver(opal_handle handle, const opal_alert* alert);

/* Waits until all alerts raised so far are delivered. */
ZTCMD_API void LabCmdFlushAlerts(void);

/*
 * Strict mode. It is on when the environment variable ZTLAB_STRICT is "1". The
 * address of a released handle and the two words of its connection are then never
 * used again, so that no use of one goes unnoticed: a call of this library or of
 * the bus, or an access to its record, ends the process at once, with the exit
 * code LAB_RELEASED_USE_EXIT (lab_bus.h) and one line on stderr, such as
 *
 *   ztlab: released handle 0x7f0000 was passed to UnInitializeZtVmW by
 *   ztlab: the connection of released handle 0x7f0000 was passed to DbGetObjects by
 *   ztlab: released handle 0x7f0000 was accessed by
 *
 * followed by who did it: "GetDgNameW in farlo.dll". Each release costs a page of
 * address space until the process ends.
 *
 * LabCmdStrict(0) is for a test that uses a released handle on purpose. While the
 * mode is off, calls with such a handle fail as they do without the mode, and
 * records that are released stay readable; those released before cannot be read.
 * LabCmdStrict(1) switches the mode on, for handles that are created from then on
 * and for those that were created while it was on. Returns whether it was on.
 */
ZTCMD_API int LabCmdStrict(int on);

/* Counts of calls since the process started, and their last arguments. */
typedef struct lab_cmd_calls {
    uint32_t live_handles; /* created, not released */
    uint32_t initialize;
    uint32_t uninitialize;
    uint32_t register_alerts;
    uint32_t last_flags;
    uint32_t last_reserved;
    opal_handle last_released;
    opal_handle last_registered;
    opal_alert_handler last_handler;
} lab_cmd_calls;
ZTCMD_API void LabCmdGetCalls(lab_cmd_calls* calls);

#ifdef __cplusplus
}
#endif

#endif
