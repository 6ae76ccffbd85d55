#include "drivers/irp.h"

NTSTATUS complete_irp(IRP* irp, NTSTATUS status, ULONG size) {
    irp->IoStatus.Status = status;
    irp->IoStatus.Information = size;
    IoCompleteRequest(irp, IO_NO_INCREMENT);
    return status;
}

NTSTATUS WINAPI open_or_close(DEVICE_OBJECT* device, IRP* irp) {
    (void)device;
    return complete_irp(irp, STATUS_SUCCESS, 0);
}
