/* Answers that a test told the driver to give. Every function locks for itself. */
#ifndef TOLD_ANSWERS_H
#define TOLD_ANSWERS_H

#include "lab_dmcontrol.h"

#include <ntddk.h>

void told_answers_init(void);

/* Invalid parameter for a code that is none of dmcontrol.h. */
NTSTATUS tell_answer(const lab_dm_answer* answer);

/* Whether a request with that code is to answer `status`; counts it when so. */
BOOLEAN take_told_answer(ULONG code, NTSTATUS* status);

#endif
