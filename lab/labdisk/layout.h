/* Drive layouts of the lab's disks. */
#ifndef LAYOUT_H
#define LAYOUT_H

#include <ntddk.h>

#include <ntdddisk.h>

struct lab_disk {
    const wchar_t* device; /* name of the device */
    const wchar_t* link;   /* by which programs find it */
    PARTITION_STYLE style;
    ULONG signature; /* of an MBR disk */
    GUID identity;   /* of a GPT disk */
    ULONG partitions;
};

/* How many bytes the disk's layout takes. */
ULONG layout_size(const struct lab_disk* disk);

/* Writes the disk's layout, as many bytes as layout_size tells. */
void write_layout(const struct lab_disk* disk, DRIVE_LAYOUT_INFORMATION_EX* layout);

#endif
