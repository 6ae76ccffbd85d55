/* The memory of the program that sent the current request. */
#ifndef CALLER_MEMORY_H
#define CALLER_MEMORY_H

#include <ntddk.h>

#include <stdint.h>

/* Copy everything or fail. Any address is safe to pass. */
NTSTATUS read_caller(uint64_t address, void* to, SIZE_T size);
NTSTATUS write_caller(uint64_t address, const void* from, SIZE_T size);

#endif
