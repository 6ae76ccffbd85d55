/* dmcontrol.sys: the volume manager's control devices. */
#include "dmcontrol/lab_dmcontrol.h"
#include "dmcontrol/planned_answers.h"
#include "dmcontrol/requests.h"
#include "dmcontrol/state.h"
#include "drivers/irp.h"

#define DEVICE_FOLDER L"\\Device\\DmControl"

/* The reasons that a DLL's entry point is called with are 0 to 3. */
enum { last_dll_reason = 3 };
enum { handing_over_100ns = 1000000 };

static HANDLE device_folder;

static NTSTATUS WINAPI control(DEVICE_OBJECT* device, IRP* irp) {
    const IO_STACK_LOCATION* stack = IoGetCurrentIrpStackLocation(irp);
    struct request request = {
        .code = stack->Parameters.DeviceIoControl.IoControlCode,
        .buffer = irp->AssociatedIrp.SystemBuffer,
        .input_size = stack->Parameters.DeviceIoControl.InputBufferLength,
        .output_size = stack->Parameters.DeviceIoControl.OutputBufferLength,
    };
    const NTSTATUS status =
        handle_request(*(const enum device_kind*)device->DeviceExtension, &request);
    return complete_irp(irp, status, request.written);
}

/* The folder of both devices. It is not permanent: it goes with the driver, so
 * that a node without one looks as if none had ever been loaded. */
static NTSTATUS make_device_folder(void) {
    UNICODE_STRING name;
    OBJECT_ATTRIBUTES attributes;
    RtlInitUnicodeString(&name, DEVICE_FOLDER);
    InitializeObjectAttributes(&attributes, &name, OBJ_CASE_INSENSITIVE | OBJ_OPENIF, NULL, NULL);
    const NTSTATUS status =
        ZwCreateDirectoryObject(&device_folder, DIRECTORY_ALL_ACCESS, &attributes);
    return status == STATUS_OBJECT_NAME_EXISTS ? STATUS_SUCCESS : status;
}

static NTSTATUS make_device(DRIVER_OBJECT* driver, const wchar_t* device_name,
                            enum device_kind kind) {
    UNICODE_STRING name;
    DEVICE_OBJECT* device = NULL;
    RtlInitUnicodeString(&name, device_name);
    const NTSTATUS status =
        IoCreateDevice(driver, sizeof kind, &name, FILE_DEVICE_UNKNOWN, 0, FALSE, &device);
    if (NT_SUCCESS(status)) {
        *(enum device_kind*)device->DeviceExtension = kind;
        device->Flags &= ~(ULONG)DO_DEVICE_INITIALIZING;
    }
    return status;
}

static NTSTATUS make_devices(DRIVER_OBJECT* driver) {
    NTSTATUS status = make_device_folder();
    if (NT_SUCCESS(status)) {
        status = make_device(driver, DM_INFO_DEVICE, info_device);
    }
    if (NT_SUCCESS(status)) {
        status = make_device(driver, DM_CONFIG_DEVICE, config_device);
    }
    return status;
}

static void WINAPI unload(DRIVER_OBJECT* driver) {
    while (driver->DeviceObject != NULL) {
        IoDeleteDevice(driver->DeviceObject);
    }
    /* Wine may just be handing over a request that it fetched before. */
    LARGE_INTEGER pause = {.QuadPart = -handing_over_100ns};
    KeDelayExecutionThread(KernelMode, FALSE, &pause);
    if (device_folder != NULL) {
        ZwClose(device_folder);
        device_folder = NULL;
    }
    state_free();
}

NTSTATUS WINAPI DriverEntry(DRIVER_OBJECT* driver, UNICODE_STRING* registry_path);

NTSTATUS WINAPI DriverEntry(DRIVER_OBJECT* driver, UNICODE_STRING* registry_path) {
    /* Wine also treats a driver that imports ntdll as a DLL and calls this as its
     * entry point. */
    if ((ULONG_PTR)registry_path <= last_dll_reason) {
        return TRUE;
    }
    driver->MajorFunction[IRP_MJ_CREATE] = open_or_close;
    driver->MajorFunction[IRP_MJ_CLOSE] = open_or_close;
    driver->MajorFunction[IRP_MJ_DEVICE_CONTROL] = control;
    driver->DriverUnload = unload;
    planned_answers_init();
    NTSTATUS status = state_init();
    if (NT_SUCCESS(status)) {
        status = make_devices(driver);
    }
    if (!NT_SUCCESS(status)) {
        unload(driver);
    }
    return status;
}
