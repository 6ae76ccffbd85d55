/* Statuses that requests are to return, as planned by a test. Every function takes the
 * lock itself. */
#ifndef PLANNED_ANSWERS_H
#define PLANNED_ANSWERS_H

#include "dmcontrol/lab_dmcontrol.h"

#include <ntddk.h>

void planned_answers_init(void);

/* Returns invalid parameter if the code is not one of dmcontrol.h. */
NTSTATUS plan_answer(const lab_dm_answer* answer);

/* Returns whether a request with that code must return `status`, and counts it if so. */
BOOLEAN take_planned_answer(ULONG code, NTSTATUS* status);

#endif
