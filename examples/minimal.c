/* The smallest useful agent, in C: prints the disks and volumes of a disk group.
 *
 *   minimal GROUP
 */
#include <windows.h>

#include "farlo.h"

#include <stdio.h>
#include <stdlib.h>

/* Makes the connection, which the service may refuse while it starts. */
static uint32_t connect_within(const struct farlo_api* farlo, opal_handle* handle, int seconds) {
    uint32_t status = farlo->ValidateClusterW(handle);
    for (int waited = 0; farlo_failed(status) && waited < seconds; ++waited) {
        Sleep(1000);
        status = farlo->ValidateClusterW(handle);
    }
    return status;
}

/* Reads a group's record into a buffer that the caller frees. */
static uint32_t read_group(const struct farlo_api* farlo, opal_handle handle, const wchar_t* name,
                           DgInfo** record, uint32_t* size) {
    *record = NULL;
    *size = 0;
    uint32_t status = farlo->GetDgPropertiesW(handle, name, NULL, NULL, size);
    while (status == FARLO_BUFFER_TOO_SMALL) { /* the group may grow between two calls */
        free(*record);
        *record = calloc(1, *size);
        if (*record == NULL) {
            return FARLO_OUT_OF_MEMORY;
        }
        status = farlo->GetDgPropertiesW(handle, name, NULL, *record, size);
    }
    return status;
}

static void print_group(const DgInfo* record, uint32_t size) {
    const DgDiskInfo* disk;
    for (uint32_t i = 0; (disk = farlo_dg_info_disk(record, size, i)) != NULL; ++i) {
        printf("disk   %ls, signature %08x\n", disk->name, (unsigned)disk->signature);
    }
    const VolInfo* volume;
    for (uint32_t i = 0; (volume = farlo_dg_info_volume(record, size, i)) != NULL; ++i) {
        printf("volume %ls, %u MiB, %s\n", volume->device_name, (unsigned)(volume->size >> 20),
               (volume->state & FARLO_VOLUME_STATE_UNUSABLE) != 0 ? "unusable" : "online");
    }
}

int wmain(int argc, wchar_t** argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: minimal GROUP\n");
        return 2;
    }
    /* On a cluster node load it by its full path: the search also looks in the current folder. */
    const HMODULE library = LoadLibraryW(L"farlo.dll");
    if (library == NULL) {
        fprintf(stderr, "farlo.dll cannot be loaded: system error %lu\n", GetLastError());
        return 1;
    }
    struct farlo_api farlo;
    const char* const missing = farlo_api_load(&farlo, library);
    if (missing != NULL) {
        fprintf(stderr, "this farlo.dll has no %s\n", missing);
        return 1;
    }

    opal_handle handle = NULL;
    DgInfo* record = NULL;
    uint32_t size = 0;
    uint32_t status = connect_within(&farlo, &handle, 10);
    if (!farlo_failed(status)) {
        status = read_group(&farlo, handle, argv[1], &record, &size);
    }
    if (!farlo_failed(status)) {
        print_group(record, size);
    } else {
        fprintf(stderr, "%ls: %s (0x%x)\n", argv[1], farlo_status_text(status), (unsigned)status);
    }

    free(record);
    if (handle != NULL) {
        farlo.UnInitializeClusterW(handle);
    }
    FreeLibrary(library);
    return farlo_failed(status) ? 1 : 0;
}
