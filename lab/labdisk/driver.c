/* labdisk.sys: a device for each of the lab's disks. */
#include "drivers/irp.h"
#include "labdisk/lab_disks.h"
#include "labdisk/layout.h"

#define DEVICE(name) L"\\Device\\" name
#define LINK(name) L"\\DosDevices\\" name

static const struct lab_disk disks[] = {
    {.device = DEVICE(LAB_DISK_MBR),
     .link = LINK(LAB_DISK_MBR),
     .style = PARTITION_STYLE_MBR,
     .signature = LAB_DISK_MBR_SIGNATURE,
     .partitions = LAB_DISK_MBR_PARTITIONS},
    {.device = DEVICE(LAB_DISK_GPT),
     .link = LINK(LAB_DISK_GPT),
     .style = PARTITION_STYLE_GPT,
     .identity = LAB_DISK_GPT_IDENTITY,
     .partitions = LAB_DISK_GPT_PARTITIONS},
    {.device = DEVICE(LAB_DISK_RAW),
     .link = LINK(LAB_DISK_RAW),
     .style = PARTITION_STYLE_RAW,
     .partitions = LAB_DISK_RAW_PARTITIONS},
    {.device = DEVICE(LAB_DISK_CROWDED),
     .link = LINK(LAB_DISK_CROWDED),
     .style = PARTITION_STYLE_GPT,
     .identity = LAB_DISK_CROWDED_IDENTITY,
     .partitions = LAB_DISK_CROWDED_PARTITIONS},
};

static const struct lab_disk* disk_of(DEVICE_OBJECT* device) {
    return *(const struct lab_disk**)device->DeviceExtension;
}

static NTSTATUS WINAPI control(DEVICE_OBJECT* device, IRP* irp) {
    const IO_STACK_LOCATION* stack = IoGetCurrentIrpStackLocation(irp);
    const struct lab_disk* disk = disk_of(device);
    if (stack->Parameters.DeviceIoControl.IoControlCode != IOCTL_DISK_GET_DRIVE_LAYOUT_EX) {
        return complete_irp(irp, STATUS_INVALID_DEVICE_REQUEST, 0);
    }
    const ULONG size = layout_size(disk);
    if (stack->Parameters.DeviceIoControl.OutputBufferLength < size) {
        return complete_irp(irp, STATUS_BUFFER_TOO_SMALL, 0);
    }
    write_layout(disk, irp->AssociatedIrp.SystemBuffer);
    return complete_irp(irp, STATUS_SUCCESS, size);
}

static void WINAPI unload(DRIVER_OBJECT* driver) {
    while (driver->DeviceObject != NULL) {
        UNICODE_STRING link;
        RtlInitUnicodeString(&link, disk_of(driver->DeviceObject)->link);
        IoDeleteSymbolicLink(&link);
        IoDeleteDevice(driver->DeviceObject);
    }
}

static NTSTATUS add_disk(DRIVER_OBJECT* driver, const struct lab_disk* disk) {
    UNICODE_STRING name;
    UNICODE_STRING link;
    DEVICE_OBJECT* device = NULL;
    RtlInitUnicodeString(&name, disk->device);
    RtlInitUnicodeString(&link, disk->link);
    const NTSTATUS status =
        IoCreateDevice(driver, sizeof disk, &name, FILE_DEVICE_DISK, 0, FALSE, &device);
    if (!NT_SUCCESS(status)) {
        return status;
    }
    *(const struct lab_disk**)device->DeviceExtension = disk;
    device->Flags &= ~(ULONG)DO_DEVICE_INITIALIZING;
    return IoCreateSymbolicLink(&link, &name);
}

NTSTATUS WINAPI DriverEntry(DRIVER_OBJECT* driver, UNICODE_STRING* registry_path);

NTSTATUS WINAPI DriverEntry(DRIVER_OBJECT* driver, UNICODE_STRING* registry_path) {
    (void)registry_path;
    driver->MajorFunction[IRP_MJ_CREATE] = open_or_close;
    driver->MajorFunction[IRP_MJ_CLOSE] = open_or_close;
    driver->MajorFunction[IRP_MJ_DEVICE_CONTROL] = control;
    driver->DriverUnload = unload;
    for (ULONG i = 0; i < sizeof disks / sizeof *disks; ++i) {
        const NTSTATUS status = add_disk(driver, &disks[i]);
        if (!NT_SUCCESS(status)) {
            unload(driver);
            return status;
        }
    }
    return STATUS_SUCCESS;
}
