/* Drive layouts of the lab's disks. */
#ifndef LAYOUT_H
#define LAYOUT_H

#include <ntddk.h>

#include <ntdddisk.h>

struct lab_disk {
    const wchar_t* device; /* native name of the device */
    const wchar_t* link;   /* link that programs open */
    PARTITION_STYLE style;
    ULONG signature; /* of an MBR disk */
    GUID identity;   /* of a GPT disk */
    ULONG partitions;
};

/* Returns the size of the disk's layout in bytes. */
ULONG layout_size(const struct lab_disk* disk);

/* Writes the disk's layout, layout_size bytes. */
void write_layout(const struct lab_disk* disk, DRIVE_LAYOUT_INFORMATION_EX* layout);

#endif
