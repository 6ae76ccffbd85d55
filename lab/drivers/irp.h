/* Request packets, as all the lab's drivers handle them. */
#ifndef IRP_H
#define IRP_H

#include <ntddk.h>

/* Completes a request with a status and the size of its output. Returns the status. */
NTSTATUS complete_irp(IRP* irp, NTSTATUS status, ULONG size);

/* Handler of IRP_MJ_CREATE and IRP_MJ_CLOSE that always succeeds. */
NTSTATUS WINAPI open_or_close(DEVICE_OBJECT* device, IRP* irp);

#endif
