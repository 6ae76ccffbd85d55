/* As linked.c, but loads farlo.dll at run time. */
#include "farlo.h"

#include <stdio.h>
#include <windows.h>

#ifdef FARLO_LINKED
#error "the package defines FARLO_LINKED for an agent that is not linked"
#endif

int main(void) {
    const HMODULE farlo = LoadLibraryW(L"farlo.dll");
    if (farlo == NULL) {
        fprintf(stderr, "no farlo.dll: system error %lu\n", GetLastError());
        return 1;
    }
    const InitializeClusterW_fn connect =
        (InitializeClusterW_fn)(void*)GetProcAddress(farlo, "InitializeClusterW");
    const GetDgGuidW_fn get_guid = (GetDgGuidW_fn)(void*)GetProcAddress(farlo, "GetDgGuidW");
    const UnInitializeClusterW_fn release =
        (UnInitializeClusterW_fn)(void*)GetProcAddress(farlo, "UnInitializeClusterW");

    opal_handle handle = NULL;
    char guid[FARLO_GUID_TEXT_SIZE];
    uint32_t status = connect(&handle);
    if (status == FARLO_SUCCESS) {
        status = get_guid(handle, L"dg_data", guid);
        release(handle);
    }
    FreeLibrary(farlo);
    if (status != FARLO_SUCCESS) {
        fprintf(stderr, "failed: 0x%x\n", (unsigned)status);
        return 1;
    }
    printf("%s\n", guid);
    return 0;
}
