#include "support_test/misdeeds.h"

#include "ztbus3.h"

#include <cstdlib>
#include <new>
#include <stdexcept>

extern "C" {

__declspec(dllexport) void* AllocateBlock(std::size_t size) {
    return std::malloc(size);
}

__declspec(dllexport) void* AllocateZeroed(std::size_t size) {
    return std::calloc(1, size);
}

__declspec(dllexport) void* AllocateByNew(std::size_t size) {
    try {
        return ::operator new(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

__declspec(dllexport) void* Reallocate(void* block, std::size_t size) {
    return std::realloc(block, size);
}

__declspec(dllexport) void Release(void* block) {
    std::free(block);
}

__declspec(dllexport) void* AllocatePages(std::size_t size) {
    return VirtualAlloc(nullptr, size, MEM_COMMIT, PAGE_READWRITE);
}

__declspec(dllexport) void* AllocateFromBus(std::size_t size) {
    return _ZtAlloc(size);
}

__declspec(dllexport) HANDLE MakeEvent() {
    return CreateEventW(nullptr, FALSE, FALSE, L"misdeed");
}

__declspec(dllexport) int RaiseAndCatch(int value) {
    try {
        throw std::runtime_error("a message that is too long for the small-string buffer");
    } catch (const std::runtime_error&) {
        return value;
    }
}

__declspec(dllexport) void WriteByte(char* target, std::size_t offset, char value) {
    target[offset] = value;
}

__declspec(dllexport) char ReadByte(const char* source, std::size_t offset) {
    return source[offset];
}

}  // extern "C"
