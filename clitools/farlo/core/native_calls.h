// Native calls of ntdll that the system's headers do not declare under these names, and
// the native statuses.
#pragma once

#include <windows.h>

#include <ntstatus.h>
#include <winternl.h>

extern "C" {

NTSTATUS NTAPI ZwOpenFile(HANDLE* file, ACCESS_MASK access, OBJECT_ATTRIBUTES* attributes,
                          IO_STATUS_BLOCK* io_status, ULONG share, ULONG options);

NTSTATUS NTAPI ZwDeviceIoControlFile(HANDLE file, HANDLE event, PIO_APC_ROUTINE apc_routine,
                                     void* apc_context, IO_STATUS_BLOCK* io_status, ULONG code,
                                     void* input, ULONG input_size, void* output,
                                     ULONG output_size);

}  // extern "C"
