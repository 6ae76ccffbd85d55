// farlo.h compiles on its own in C++98, which has no static assertions; windows.h may precede it.
#include <windows.h>

#include "farlo.h"

uint32_t read_first_signature_98(const DgDiskList* list, size_t size) {
    const DgDiskInfo* const disk = farlo_dg_disk_list_disk(list, size, 0);
    return disk != NULL ? disk->signature : 0;
}

const char* load_98(farlo_api* api, HMODULE module) {
    return farlo_api_load(api, module);
}
