#include "dmcontrol/requests.h"

#include "dmcontrol/caller_memory.h"
#include "dmcontrol/lab_dmcontrol.h"
#include "dmcontrol/planned_answers.h"
#include "dmcontrol/state.h"

static BOOLEAN is_zero(const uint8_t* bytes, SIZE_T size) {
    for (SIZE_T i = 0; i < size; ++i) {
        if (bytes[i] != 0) {
            return FALSE;
        }
    }
    return TRUE;
}

/* Whether the field has a terminator, and only zeros after it. */
static BOOLEAN is_string(const char* field, SIZE_T capacity) {
    SIZE_T length = 0;
    while (length < capacity && field[length] != '\0') {
        ++length;
    }
    return length < capacity && is_zero((const uint8_t*)field + length, capacity - length);
}

/* ------------------------------------------------- requests of dmcontrol.h */

/* Reads the record that the request's control block points to, and returns its
 * address. */
static NTSTATUS fetch_record(const struct request* request, void* record, SIZE_T size,
                             uint64_t* address) {
    const dm_control_block* block = request->buffer;
    if (request->input_size < sizeof *block || request->output_size < sizeof *block) {
        return STATUS_BUFFER_TOO_SMALL;
    }
    if (block->zero != 0 || !NT_SUCCESS(read_caller(block->record, record, size))) {
        return STATUS_INVALID_PARAMETER;
    }
    *address = block->record;
    return STATUS_SUCCESS;
}

/* Reads and checks the record of a request to the info device. Its member of that name
 * must equal `reservation`. */
static NTSTATUS fetch_group(const struct request* request, ULONG reservation,
                            dm_reservation_request* record, uint64_t* address) {
    const NTSTATUS status = fetch_record(request, record, sizeof *record, address);
    if (!NT_SUCCESS(status)) {
        return status;
    }
    const BOOLEAN is_good = is_string(record->group_guid, sizeof record->group_guid) &&
                            is_zero(record->zero1, sizeof record->zero1) &&
                            is_zero(record->zero2, sizeof record->zero2) &&
                            record->reservation == reservation;
    return is_good ? STATUS_SUCCESS : STATUS_INVALID_PARAMETER;
}

static NTSTATUS fetch_volume(const struct request* request, dm_volume_request* record) {
    uint64_t address;
    const NTSTATUS status = fetch_record(request, record, sizeof *record, &address);
    if (!NT_SUCCESS(status)) {
        return status;
    }
    const BOOLEAN is_good =
        is_string(record->name, sizeof record->name) && is_zero(record->zero, sizeof record->zero);
    return is_good ? STATUS_SUCCESS : STATUS_INVALID_PARAMETER;
}

static NTSTATUS write_reply(struct request* request, uint64_t address, BOOLEAN bit) {
    const uint8_t reply = bit ? 1 : 0;
    if (!NT_SUCCESS(write_caller(address + FIELD_OFFSET(dm_reservation_request, reply), &reply,
                                 sizeof reply))) {
        return STATUS_INVALID_PARAMETER;
    }
    request->written = sizeof(dm_control_block);
    return STATUS_SUCCESS;
}

static NTSTATUS get_reservation(struct request* request) {
    dm_reservation_request record;
    uint64_t address;
    ULONG flags;
    NTSTATUS status = fetch_group(request, 1, &record, &address);
    if (NT_SUCCESS(status)) {
        status = state_group_flags(record.group_guid, &flags);
    }
    return NT_SUCCESS(status) ? write_reply(request, address, (flags & LAB_DM_GROUP_RESERVED) != 0)
                              : status;
}

static NTSTATUS get_imported(struct request* request) {
    dm_reservation_request record;
    uint64_t address;
    ULONG flags;
    NTSTATUS status = fetch_group(request, 0, &record, &address);
    if (NT_SUCCESS(status)) {
        status = state_group_flags(record.group_guid, &flags);
    }
    return NT_SUCCESS(status) ? write_reply(request, address, (flags & LAB_DM_GROUP_IMPORTED) == 0)
                              : status;
}

static NTSTATUS release_reservation(struct request* request) {
    dm_reservation_request record;
    uint64_t address;
    const NTSTATUS status = fetch_group(request, 1, &record, &address);
    return NT_SUCCESS(status) ? state_release_group(record.group_guid) : status;
}

/* KEPT: a healthy volume has the status "unsuccessful". A volume in a group that is not
 * imported has no device. */
static NTSTATUS get_volume_status(struct request* request) {
    dm_volume_request record;
    ULONG group_flags;
    ULONG volume_flags;
    NTSTATUS status = fetch_volume(request, &record);
    if (NT_SUCCESS(status)) {
        status = state_volume_flags(record.name, record.guid, &group_flags, &volume_flags);
    }
    if (!NT_SUCCESS(status)) {
        return status;
    }
    if ((group_flags & LAB_DM_GROUP_IMPORTED) == 0) {
        return STATUS_NO_SUCH_DEVICE;
    }
    return (volume_flags & LAB_DM_VOLUME_HEALTHY) != 0 ? STATUS_UNSUCCESSFUL : STATUS_SUCCESS;
}

static NTSTATUS volume_offline(struct request* request) {
    dm_volume_request record;
    const NTSTATUS status = fetch_volume(request, &record);
    return NT_SUCCESS(status) ? state_volume_offline(record.guid, record.name) : status;
}

/* ----------------------------------------------- requests of lab_dmcontrol.h */

/* Returns the number of records in the input; 0 if it has an incomplete record. */
static ULONG count_records(const struct request* request, SIZE_T size) {
    return request->input_size % size == 0 ? (ULONG)(request->input_size / size) : 0;
}

static NTSTATUS set_groups(struct request* request) {
    const ULONG count = count_records(request, sizeof(lab_dm_group));
    return count != 0 ? state_set_groups(request->buffer, count) : STATUS_INVALID_BUFFER_SIZE;
}

static NTSTATUS set_volumes(struct request* request) {
    const ULONG count = count_records(request, sizeof(lab_dm_volume));
    return count != 0 ? state_set_volumes(request->buffer, count) : STATUS_INVALID_BUFFER_SIZE;
}

static NTSTATUS forget(struct request* request) {
    (void)request;
    state_forget();
    return STATUS_SUCCESS;
}

static NTSTATUS set_answer(struct request* request) {
    return count_records(request, sizeof(lab_dm_answer)) == 1 ? plan_answer(request->buffer)
                                                              : STATUS_INVALID_BUFFER_SIZE;
}

static NTSTATUS take_events(struct request* request) {
    const ULONG capacity = request->output_size / (ULONG)sizeof(lab_dm_event);
    if (capacity == 0) {
        return STATUS_INVALID_BUFFER_SIZE;
    }
    request->written = state_take_events(request->buffer, capacity) * (ULONG)sizeof(lab_dm_event);
    return STATUS_SUCCESS;
}

/* ----------------------------------------------------------------- dispatch */

struct row {
    enum device_kind device;
    ULONG code;
    NTSTATUS (*handle)(struct request* request);
};

static const struct row rows[] = {
    {info_device, DM_INFO_GET_RESERVATION, get_reservation},
    {info_device, DM_INFO_RELEASE_RESERVATION, release_reservation},
    {info_device, DM_INFO_GET_IMPORTED, get_imported},
    {config_device, DM_CONFIG_GET_VOLUME_STATUS, get_volume_status},
    {config_device, DM_CONFIG_VOLUME_OFFLINE, volume_offline},
    {info_device, LAB_DM_SET_GROUPS, set_groups},
    {info_device, LAB_DM_SET_VOLUMES, set_volumes},
    {info_device, LAB_DM_FORGET, forget},
    {info_device, LAB_DM_SET_ANSWER, set_answer},
    {info_device, LAB_DM_TAKE_EVENTS, take_events},
};

NTSTATUS handle_request(enum device_kind device, struct request* request) {
    for (SIZE_T i = 0; i < sizeof rows / sizeof *rows; ++i) {
        if (rows[i].device == device && rows[i].code == request->code) {
            NTSTATUS status;
            return take_planned_answer(request->code, &status) ? status : rows[i].handle(request);
        }
    }
    return STATUS_INVALID_DEVICE_REQUEST;
}
