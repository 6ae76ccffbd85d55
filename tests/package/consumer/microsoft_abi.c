/* As linked.c, for the Microsoft ABI. There is no C runtime for it on the build machine. */
#include "farlo.h"

__declspec(dllimport) void* __stdcall GetStdHandle(unsigned long kind);
__declspec(dllimport) int __stdcall WriteFile(void* file, const void* bytes, unsigned long size,
                                              unsigned long* written, void* overlapped);
__declspec(dllimport) void __stdcall ExitProcess(unsigned int code);

#define OUTPUT_HANDLE ((unsigned long)-11)

void start(void) {
    opal_handle handle = NULL;
    char guid[FARLO_GUID_TEXT_SIZE];
    uint32_t status = InitializeClusterW(&handle);
    if (status == FARLO_SUCCESS) {
        status = GetDgGuidW(handle, L"dg_data", guid);
        UnInitializeClusterW(handle);
    }
    if (status == FARLO_SUCCESS) {
        unsigned long length = 0;
        while (guid[length] != '\0') {
            ++length;
        }
        WriteFile(GetStdHandle(OUTPUT_HANDLE), guid, length, &length, NULL);
    }
    ExitProcess(status != FARLO_SUCCESS);
}
