#include "dmcontrol/planned_answers.h"

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

void planned_answers_init(void) {
    ExInitializeFastMutex(&lock);
}

NTSTATUS plan_answer(const lab_dm_answer* answer) {
    lab_dm_answer* planned = find_answer(answer->code);
    if (planned == NULL) {
        return STATUS_INVALID_PARAMETER;
    }
    ExAcquireFastMutex(&lock);
    *planned = *answer;
    ExReleaseFastMutex(&lock);
    return STATUS_SUCCESS;
}

BOOLEAN take_planned_answer(ULONG code, NTSTATUS* status) {
    lab_dm_answer* planned = find_answer(code);
    BOOLEAN taken = FALSE;
    if (planned != NULL) {
        ExAcquireFastMutex(&lock);
        if (planned->requests != 0) {
            --planned->requests;
            *status = (NTSTATUS)planned->status;
            taken = TRUE;
        }
        ExReleaseFastMutex(&lock);
    }
    return taken;
}
