/* An agent that is linked with farlo.dll: prints the GUID string of a disk group. */
#include "farlo.h"

#include <stdio.h>

#ifndef FARLO_LINKED
#error "the package does not define FARLO_LINKED"
#endif

int main(void) {
    opal_handle handle = NULL;
    char guid[FARLO_GUID_TEXT_SIZE];
    uint32_t status = InitializeClusterW(&handle);
    if (status == FARLO_SUCCESS) {
        status = GetDgGuidW(handle, L"dg_data", guid);
        UnInitializeClusterW(handle);
    }
    if (status != FARLO_SUCCESS) {
        fprintf(stderr, "failed: 0x%x\n", (unsigned)status);
        return 1;
    }
    printf("%s\n", guid);
    return 0;
}
