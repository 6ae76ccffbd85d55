/* Wine runs drivers in a separate process, where a program's addresses are not valid,
 * and has no MmCopyVirtualMemory. Calls of ntdll copy the memory instead. */
#include "dmcontrol/caller_memory.h"

enum {
    process_vm_operation = 0x0008,
    process_vm_read = 0x0010,
    process_vm_write = 0x0020,
    process_query_information = 0x0400,
    basic_information = 0, /* MemoryBasicInformation */
};

static const ULONG writable_pages =
    PAGE_READWRITE | PAGE_WRITECOPY | PAGE_EXECUTE_READWRITE | PAGE_EXECUTE_WRITECOPY;
static const ULONG readable_pages = PAGE_READONLY | PAGE_EXECUTE_READ | PAGE_READWRITE |
                                    PAGE_WRITECOPY | PAGE_EXECUTE_READWRITE |
                                    PAGE_EXECUTE_WRITECOPY;

struct region {
    char* base;
    void* allocation_base;
    ULONG allocation_protection;
    SIZE_T size;
    ULONG state;
    ULONG protection;
    ULONG type;
};

NTSTATUS NTAPI NtReadVirtualMemory(HANDLE process, const void* address, void* buffer, SIZE_T size,
                                   SIZE_T* copied);
NTSTATUS NTAPI NtWriteVirtualMemory(HANDLE process, void* address, const void* buffer, SIZE_T size,
                                    SIZE_T* copied);
NTSTATUS NTAPI NtQueryVirtualMemory(HANDLE process, const void* address, ULONG what, void* buffer,
                                    SIZE_T size, SIZE_T* length);

static NTSTATUS open_caller(HANDLE* process) {
    OBJECT_ATTRIBUTES attributes;
    InitializeObjectAttributes(&attributes, NULL, OBJ_KERNEL_HANDLE, NULL, NULL);
    CLIENT_ID caller = {.UniqueProcess = PsGetCurrentProcessId()};
    return ZwOpenProcess(process,
                         process_vm_operation | process_vm_read | process_vm_write |
                             process_query_information,
                         &attributes, &caller);
}

/* Checks that the program itself could access the pages: Wine's copies ignore page
 * protection. */
static NTSTATUS check_pages(HANDLE process, uint64_t address, SIZE_T size, ULONG protections) {
    if (address + size < address) {
        return STATUS_ACCESS_VIOLATION;
    }
    const char* at = (const char*)(uintptr_t)address;
    const char* const end = at + size;
    while (at < end) {
        struct region region;
        SIZE_T length;
        const NTSTATUS status =
            NtQueryVirtualMemory(process, at, basic_information, &region, sizeof region, &length);
        if (!NT_SUCCESS(status)) {
            return status;
        }
        if (region.state != MEM_COMMIT || (region.protection & protections) == 0 ||
            (region.protection & PAGE_GUARD) != 0) {
            return STATUS_ACCESS_VIOLATION;
        }
        at = region.base + region.size;
    }
    return STATUS_SUCCESS;
}

/* Treats an incomplete copy as a failure. */
static NTSTATUS whole(NTSTATUS status, SIZE_T copied, SIZE_T size) {
    return NT_SUCCESS(status) && copied != size ? STATUS_PARTIAL_COPY : status;
}

NTSTATUS read_caller(uint64_t address, void* to, SIZE_T size) {
    HANDLE process = NULL;
    NTSTATUS status = open_caller(&process);
    if (!NT_SUCCESS(status)) {
        return status;
    }
    status = check_pages(process, address, size, readable_pages);
    if (NT_SUCCESS(status)) {
        SIZE_T copied = 0;
        status = NtReadVirtualMemory(process, (const void*)(uintptr_t)address, to, size, &copied);
        status = whole(status, copied, size);
    }
    ZwClose(process);
    return status;
}

NTSTATUS write_caller(uint64_t address, const void* from, SIZE_T size) {
    HANDLE process = NULL;
    NTSTATUS status = open_caller(&process);
    if (!NT_SUCCESS(status)) {
        return status;
    }
    status = check_pages(process, address, size, writable_pages);
    if (NT_SUCCESS(status)) {
        SIZE_T copied = 0;
        status = NtWriteVirtualMemory(process, (void*)(uintptr_t)address, from, size, &copied);
        status = whole(status, copied, size);
    }
    ZwClose(process);
    return status;
}
