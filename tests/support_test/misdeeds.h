// Functions of misdeeds.dll, which leaks, overruns buffers and throws, to test the test tools.
#pragma once

#include <windows.h>

#include <cstddef>

extern "C" {
using Allocate_fn = void* (*)(std::size_t size);
using Reallocate_fn = void* (*)(void* block, std::size_t size);
using Release_fn = void (*)(void* block);
using MakeEvent_fn = HANDLE (*)();
using Raise_fn = int (*)(int value);
using Write_fn = void (*)(char* target, std::size_t offset, char value);
using Read_fn = char (*)(const char* source, std::size_t offset);
}
