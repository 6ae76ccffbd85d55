#include "farlo.h"
#include <stdio.h>
#include <windows.h>

int main(void) {
    HMODULE farlo = LoadLibraryW(L"farlo.dll");
    if (farlo == NULL) {
        return 1;
    }
    ValidateClusterW_fn connect =
        (ValidateClusterW_fn)(void*)GetProcAddress(farlo, "ValidateClusterW");
    GetDgGuidW_fn get_guid = (GetDgGuidW_fn)(void*)GetProcAddress(farlo, "GetDgGuidW");
    OnlineDgW_fn online = (OnlineDgW_fn)(void*)GetProcAddress(farlo, "OnlineDgW");
    UnInitializeClusterW_fn release =
        (UnInitializeClusterW_fn)(void*)GetProcAddress(farlo, "UnInitializeClusterW");

    opal_handle handle = NULL; /* the slot: connects now, reconnects later */
    if (connect(&handle) != FARLO_SUCCESS) {
        return 1;
    }
    char guid[FARLO_GUID_TEXT_SIZE];
    uint32_t status = get_guid(handle, L"dg_data", guid);
    if (status == FARLO_SUCCESS) {
        status = online(handle, L"dg_data", guid, NULL, 0);
    }
    printf("dg_data: 0x%x\n", (unsigned)status);
    release(handle);
    return status != FARLO_SUCCESS;
}
