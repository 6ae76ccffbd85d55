#include "labdisk/layout.h"

enum {
    megabyte = 1 << 20,
    ifs_partition = 0x07, /* type of an installable file system */
    gpt_usable_start = 34 * 512,
    gpt_partition_limit = 128
};

/* Basic data: {ebd0a0a2-b9e5-4433-87c0-68b6b72699c7} */
static const GUID basic_data = {
    0xEBD0A0A2, 0xB9E5, 0x4433, {0x87, 0xC0, 0x68, 0xB6, 0xB7, 0x26, 0x99, 0xC7}};

ULONG layout_size(const struct lab_disk* disk) {
    return (ULONG)FIELD_OFFSET(DRIVE_LAYOUT_INFORMATION_EX, PartitionEntry) +
           disk->partitions * (ULONG)sizeof(PARTITION_INFORMATION_EX);
}

static void write_header(const struct lab_disk* disk, DRIVE_LAYOUT_INFORMATION_EX* layout) {
    layout->PartitionStyle = (ULONG)disk->style;
    layout->PartitionCount = disk->partitions;
    if (disk->style == PARTITION_STYLE_MBR) {
        layout->Mbr.Signature = disk->signature;
    } else if (disk->style == PARTITION_STYLE_GPT) {
        layout->Gpt.DiskId = disk->identity;
        layout->Gpt.StartingUsableOffset.QuadPart = gpt_usable_start;
        layout->Gpt.UsableLength.QuadPart = (LONGLONG)(disk->partitions + 1) * megabyte;
        layout->Gpt.MaxPartitionCount =
            disk->partitions > gpt_partition_limit ? disk->partitions : gpt_partition_limit;
    }
}

/* Partitions are consecutive, one megabyte each. Of an MBR disk's four, only the
 * first is in use. */
static void write_partition(const struct lab_disk* disk, ULONG number,
                            PARTITION_INFORMATION_EX* partition) {
    partition->PartitionStyle = disk->style;
    if (disk->style == PARTITION_STYLE_MBR && number != 1) {
        return;
    }
    partition->StartingOffset.QuadPart = (LONGLONG)number * megabyte;
    partition->PartitionLength.QuadPart = megabyte;
    partition->PartitionNumber = number;
    if (disk->style == PARTITION_STYLE_MBR) {
        partition->Mbr.PartitionType = ifs_partition;
        partition->Mbr.RecognizedPartition = TRUE;
    } else {
        partition->Gpt.PartitionType = basic_data;
        partition->Gpt.PartitionId = disk->identity;
        partition->Gpt.PartitionId.Data2 = (USHORT)number;
    }
}

void write_layout(const struct lab_disk* disk, DRIVE_LAYOUT_INFORMATION_EX* layout) {
    RtlZeroMemory(layout, layout_size(disk));
    write_header(disk, layout);
    for (ULONG i = 0; i < disk->partitions; ++i) {
        write_partition(disk, i + 1, &layout->PartitionEntry[i]);
    }
}
