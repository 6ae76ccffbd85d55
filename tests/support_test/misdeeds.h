// A DLL that does, when asked, what a library must not.
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
