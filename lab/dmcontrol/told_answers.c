#include "told_answers.h"

static FAST_MUTEX lock;
static lab_dm_answer answers[] = {{.code = DM_INFO_GET_RESERVATION},
                                  {.code = DM_INFO_RELEASE_RESERVATION},
                                  {.code = DM_INFO_GET_IMPORTED},
                                  {.code = DM_CONFIG_GET_VOLUME_STATUS},
                                  {.code = DM_CONFIG_VOLUME_OFFLINE}};

static lab_dm_answer* find_answer(ULONG code) {
    for (SIZE_T i = 0; i < sizeof answers / sizeof *answers; ++i) {
        if (answers[i].code == code) {
            return &answers[i];
        }
    }
    return NULL;
}

void told_answers_init(void) {
    ExInitializeFastMutex(&lock);
}

NTSTATUS tell_answer(const lab_dm_answer* answer) {
    lab_dm_answer* told = find_answer(answer->code);
    if (told == NULL) {
        return STATUS_INVALID_PARAMETER;
    }
    ExAcquireFastMutex(&lock);
    *told = *answer;
    ExReleaseFastMutex(&lock);
    return STATUS_SUCCESS;
}

BOOLEAN take_told_answer(ULONG code, NTSTATUS* status) {
    lab_dm_answer* told = find_answer(code);
    BOOLEAN taken = FALSE;
    if (told != NULL) {
        ExAcquireFastMutex(&lock);
        if (told->requests != 0) {
            --told->requests;
            *status = (NTSTATUS)told->status;
            taken = TRUE;
        }
        ExReleaseFastMutex(&lock);
    }
    return taken;
}
