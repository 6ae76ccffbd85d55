#include "farlo.h"
#include <stdio.h>
#include <windows.h>

int main(void) {
    struct farlo_api farlo;
    if (farlo_api_load(&farlo, LoadLibraryW(L"farlo.dll")) != NULL) {
        return 1;
    }
    opal_handle handle = NULL; /* the slot: connects now, reconnects later */
    if (farlo.ValidateClusterW(&handle) != FARLO_SUCCESS) {
        return 1;
    }
    char guid[FARLO_GUID_TEXT_SIZE];
    uint32_t status = farlo.GetDgGuidW(handle, L"dg_data", guid);
    if (status == FARLO_SUCCESS) {
        status = farlo.OnlineDgW(handle, L"dg_data", guid, NULL, 0);
    }
    printf("dg_data: %s\n", farlo_status_text(status));
    farlo.UnInitializeClusterW(handle);
    return status != FARLO_SUCCESS;
}
