#include "dmcontrol/state.h"

enum { bucket_count = 1024, pool_tag = 0x43446D4C /* "LmDC" */ };

/* Native calls that are missing in the ddk headers. */
NTSTATUS NTAPI ZwCreateEvent(HANDLE* event, ACCESS_MASK access, OBJECT_ATTRIBUTES* attributes,
                             EVENT_TYPE type, BOOLEAN signalled);
NTSTATUS NTAPI ZwSetEvent(HANDLE event, LONG* before);

/* A group or volume, found by its id. */
struct entry {
    struct entry* next;
    BOOLEAN changed; /* by a program; the service has not taken the event */
    union {
        uint8_t id[16]; /* first member of both */
        lab_dm_group group;
        lab_dm_volume volume;
    };
};

struct table {
    struct entry* buckets[bucket_count];
};

static FAST_MUTEX lock;
static struct table groups;
static struct table volumes;
static HANDLE events_signal;

static BOOLEAN is_same(const uint8_t left[16], const uint8_t right[16]) {
    return RtlCompareMemory(left, right, 16) == 16;
}

static BOOLEAN is_terminated(const char* text, SIZE_T capacity) {
    while (capacity != 0 && *text != '\0') {
        ++text;
        --capacity;
    }
    return capacity != 0;
}

/* Returns the link to the entry with that id, or to where it would be inserted. */
static struct entry** place_of(struct table* table, const uint8_t id[16]) {
    ULONG hash = 0;
    for (int i = 0; i < 16; ++i) {
        hash = hash * 31 + id[i];
    }
    struct entry** place = &table->buckets[hash % bucket_count];
    while (*place != NULL && !is_same((*place)->id, id)) {
        place = &(*place)->next;
    }
    return place;
}

static void drop(struct entry** place) {
    struct entry* entry = *place;
    *place = entry->next;
    ExFreePoolWithTag(entry, pool_tag);
}

static void drop_all(struct table* table) {
    for (ULONG i = 0; i < bucket_count; ++i) {
        while (table->buckets[i] != NULL) {
            drop(&table->buckets[i]);
        }
    }
}

/* Returns the entry with that id, creating it if necessary; NULL when out of memory. */
static struct entry* make_entry(struct table* table, const uint8_t id[16]) {
    struct entry** place = place_of(table, id);
    if (*place == NULL) {
        *place = ExAllocatePoolWithTag(NonPagedPool, sizeof **place, pool_tag);
        if (*place != NULL) {
            RtlZeroMemory(*place, sizeof **place);
        }
    }
    return *place;
}

static void remove_entry(struct table* table, const uint8_t id[16]) {
    struct entry** place = place_of(table, id);
    if (*place != NULL) {
        drop(place);
    }
}

/* The values to find an entry by. */
struct sought {
    const char* string;
    const uint8_t* guid;
    const uint8_t* group_id; /* of volumes */
};

static BOOLEAN has_guid_string(const struct entry* group, const struct sought* sought) {
    return _stricmp(group->group.guid_string, sought->string) == 0;
}

static BOOLEAN has_group_guid(const struct entry* group, const struct sought* sought) {
    return is_same(group->group.guid, sought->guid);
}

static BOOLEAN has_volume_name(const struct entry* volume, const struct sought* sought) {
    return _stricmp(volume->volume.name, sought->string) == 0 &&
           is_same(volume->volume.group_id, sought->group_id);
}

static BOOLEAN has_volume_guid(const struct entry* volume, const struct sought* sought) {
    return is_same(volume->volume.guid, sought->guid) &&
           is_same(volume->volume.group_id, sought->group_id);
}

static BOOLEAN is_changed(const struct entry* entry, const struct sought* sought) {
    (void)sought;
    return entry->changed;
}

/* Returns NULL if there is none. */
static struct entry* find(const struct table* table,
                          BOOLEAN (*is_meant)(const struct entry*, const struct sought*),
                          struct sought sought) {
    for (ULONG i = 0; i < bucket_count; ++i) {
        for (struct entry* entry = table->buckets[i]; entry != NULL; entry = entry->next) {
            if (is_meant(entry, &sought)) {
                return entry;
            }
        }
    }
    return NULL;
}

static struct entry* find_group(const char* guid_string) {
    return find(&groups, has_guid_string, (struct sought){.string = guid_string});
}

/* Makes the entry an event for the service. */
static void mark_changed(struct entry* entry) {
    entry->changed = TRUE;
    ZwSetEvent(events_signal, NULL);
}

NTSTATUS state_init(void) {
    UNICODE_STRING name;
    OBJECT_ATTRIBUTES attributes;
    ExInitializeFastMutex(&lock);
    RtlInitUnicodeString(&name, LAB_DM_EVENTS_SIGNAL_NATIVE);
    InitializeObjectAttributes(&attributes, &name, OBJ_CASE_INSENSITIVE | OBJ_OPENIF, NULL, NULL);
    const NTSTATUS status =
        ZwCreateEvent(&events_signal, EVENT_ALL_ACCESS, &attributes, NotificationEvent, FALSE);
    return status == STATUS_OBJECT_NAME_EXISTS ? STATUS_SUCCESS : status;
}

void state_free(void) {
    state_forget();
    if (events_signal != NULL) {
        ZwClose(events_signal);
        events_signal = NULL;
    }
}

void state_forget(void) {
    ExAcquireFastMutex(&lock);
    drop_all(&groups);
    drop_all(&volumes);
    ExReleaseFastMutex(&lock);
}

NTSTATUS state_set_groups(const lab_dm_group* records, ULONG count) {
    for (ULONG i = 0; i < count; ++i) {
        if (!is_terminated(records[i].guid_string, sizeof records[i].guid_string)) {
            return STATUS_INVALID_PARAMETER;
        }
    }
    NTSTATUS status = STATUS_SUCCESS;
    ExAcquireFastMutex(&lock);
    for (ULONG i = 0; i < count && NT_SUCCESS(status); ++i) {
        if ((records[i].flags & LAB_DM_GONE) != 0) {
            remove_entry(&groups, records[i].id);
            continue;
        }
        struct entry* entry = make_entry(&groups, records[i].id);
        if (entry == NULL) {
            status = STATUS_NO_MEMORY;
            continue;
        }
        entry->group = records[i];
        /* Keeps a release that the service has not taken yet. */
        if (entry->changed) {
            entry->group.flags &= ~LAB_DM_GROUP_RESERVED;
        }
    }
    ExReleaseFastMutex(&lock);
    return status;
}

NTSTATUS state_set_volumes(const lab_dm_volume* records, ULONG count) {
    for (ULONG i = 0; i < count; ++i) {
        if (!is_terminated(records[i].name, sizeof records[i].name)) {
            return STATUS_INVALID_PARAMETER;
        }
    }
    NTSTATUS status = STATUS_SUCCESS;
    ExAcquireFastMutex(&lock);
    for (ULONG i = 0; i < count && NT_SUCCESS(status); ++i) {
        if ((records[i].flags & LAB_DM_GONE) != 0) {
            remove_entry(&volumes, records[i].id);
            continue;
        }
        struct entry* entry = make_entry(&volumes, records[i].id);
        if (entry == NULL) {
            status = STATUS_NO_MEMORY;
            continue;
        }
        entry->volume = records[i];
        if (entry->changed) {
            entry->volume.flags &= ~LAB_DM_VOLUME_HEALTHY;
        }
    }
    ExReleaseFastMutex(&lock);
    return status;
}

static ULONG take_events_of(const struct table* table, ULONG code, lab_dm_event* events,
                            ULONG capacity) {
    ULONG count = 0;
    struct entry* entry;
    while (count < capacity && (entry = find(table, is_changed, (struct sought){0})) != NULL) {
        RtlCopyMemory(events[count].id, entry->id, sizeof events[count].id);
        events[count].code = code;
        entry->changed = FALSE;
        ++count;
    }
    return count;
}

ULONG state_take_events(lab_dm_event* events, ULONG capacity) {
    ExAcquireFastMutex(&lock);
    ULONG count = take_events_of(&groups, DM_INFO_RELEASE_RESERVATION, events, capacity);
    count += take_events_of(&volumes, DM_CONFIG_VOLUME_OFFLINE, events + count, capacity - count);
    ExReleaseFastMutex(&lock);
    return count;
}

NTSTATUS state_group_flags(const char* guid_string, ULONG* flags) {
    NTSTATUS status = STATUS_OBJECT_NAME_NOT_FOUND;
    ExAcquireFastMutex(&lock);
    const struct entry* group = find_group(guid_string);
    if (group != NULL) {
        *flags = group->group.flags;
        status = STATUS_SUCCESS;
    }
    ExReleaseFastMutex(&lock);
    return status;
}

NTSTATUS state_release_group(const char* guid_string) {
    NTSTATUS status = STATUS_OBJECT_NAME_NOT_FOUND;
    ExAcquireFastMutex(&lock);
    struct entry* group = find_group(guid_string);
    if (group != NULL) {
        if ((group->group.flags & LAB_DM_GROUP_RESERVED) != 0) {
            group->group.flags &= ~LAB_DM_GROUP_RESERVED;
            mark_changed(group);
        }
        status = STATUS_SUCCESS;
    }
    ExReleaseFastMutex(&lock);
    return status;
}

NTSTATUS state_volume_flags(const char* group_guid_string, const uint8_t guid[16],
                            ULONG* group_flags, ULONG* volume_flags) {
    NTSTATUS status = STATUS_OBJECT_NAME_NOT_FOUND;
    ExAcquireFastMutex(&lock);
    const struct entry* group = find_group(group_guid_string);
    const struct entry* volume =
        group != NULL
            ? find(&volumes, has_volume_guid, (struct sought){.guid = guid, .group_id = group->id})
            : NULL;
    if (volume != NULL) {
        *group_flags = group->group.flags;
        *volume_flags = volume->volume.flags;
        status = STATUS_SUCCESS;
    }
    ExReleaseFastMutex(&lock);
    return status;
}

NTSTATUS state_volume_offline(const uint8_t group_guid[16], const char* name) {
    NTSTATUS status = STATUS_OBJECT_NAME_NOT_FOUND;
    ExAcquireFastMutex(&lock);
    const struct entry* group = find(&groups, has_group_guid, (struct sought){.guid = group_guid});
    struct entry* volume = group != NULL
                               ? find(&volumes, has_volume_name,
                                      (struct sought){.string = name, .group_id = group->id})
                               : NULL;
    if (volume != NULL) {
        volume->volume.flags &= ~LAB_DM_VOLUME_HEALTHY;
        mark_changed(volume);
        status = STATUS_SUCCESS;
    }
    ExReleaseFastMutex(&lock);
    return status;
}
