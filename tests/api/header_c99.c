/* farlo.h compiles on its own in C99, which has no static assertions, and without windows.h. */
#include "farlo.h"

uint32_t read_first_signature(const DgDiskList* list, size_t size);
uint32_t read_first_signature(const DgDiskList* list, size_t size) {
    const DgDiskInfo* const disk = farlo_dg_disk_list_disk(list, size, 0);
    return disk != NULL ? disk->signature : 0;
}

const char* load_and_connect(struct farlo_api* api, farlo_module module, opal_handle* slot);
const char* load_and_connect(struct farlo_api* api, farlo_module module, opal_handle* slot) {
    const char* const missing = farlo_api_load(api, module);
    return missing != NULL ? missing : farlo_status_text(api->ValidateClusterW(slot));
}
