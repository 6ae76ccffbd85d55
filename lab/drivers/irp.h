/* What the lab's drivers do with every request packet. */
#ifndef IRP_H
#define IRP_H

#include <ntddk.h>

/* Ends a request with a status and the size of its output; returns the status. */
NTSTATUS complete_irp(IRP* irp, NTSTATUS status, ULONG size);

/* For IRP_MJ_CREATE and IRP_MJ_CLOSE: whoever asks may. */
NTSTATUS WINAPI open_or_close(DEVICE_OBJECT* device, IRP* irp);

#endif
