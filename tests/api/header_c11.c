/* farlo.h compiles on its own in C11; windows.h may follow it. */
#include "farlo.h"

#include <windows.h>

uint32_t call_through_pointer(GetDgGuidW_fn get_guid, opal_handle handle, char* guid);
uint32_t call_through_pointer(GetDgGuidW_fn get_guid, opal_handle handle, char* guid) {
    return get_guid(handle, L"dg", guid);
}

const char* load(struct farlo_api* api, HMODULE module);
const char* load(struct farlo_api* api, HMODULE module) {
    return farlo_api_load(api, module);
}
