/* farlo.h compiles on its own in C11. */
#include "farlo.h"

uint32_t call_through_pointer(GetDgGuidW_fn get_guid, opal_handle handle, char* guid);
uint32_t call_through_pointer(GetDgGuidW_fn get_guid, opal_handle handle, char* guid) {
    return get_guid(handle, L"dg", guid);
}
