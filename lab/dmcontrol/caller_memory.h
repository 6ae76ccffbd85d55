/* The memory of the program whose request is being looked at. */
#ifndef CALLER_MEMORY_H
#define CALLER_MEMORY_H

#include <ntddk.h>

#include <stdint.h>

/* Both copy all or fail; no address brings them down. */
NTSTATUS read_caller(uint64_t address, void* to, SIZE_T size);
NTSTATUS write_caller(uint64_t address, const void* from, SIZE_T size);

#endif
