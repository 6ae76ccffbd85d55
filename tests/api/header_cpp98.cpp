// farlo.h compiles on its own in C++98, which has no static assertions.
#include "farlo.h"

uint32_t read_first_signature_98(const DgDiskList* list, size_t size) {
    const DgDiskInfo* const disk = farlo_dg_disk_list_disk(list, size, 0);
    return disk != NULL ? disk->signature : 0;
}
