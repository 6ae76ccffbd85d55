/*
 * The lab's disks: devices of labdisk.sys that report a drive layout and have no
 * contents. Programs open them as "\\.\NAME".
 */
#ifndef LAB_DISKS_H
#define LAB_DISKS_H

#define LAB_DISK_MBR L"LabDiskMbr"
#define LAB_DISK_GPT L"LabDiskGpt"
#define LAB_DISK_RAW L"LabDiskRaw"
/* A GPT disk with more partitions than most callers have room for. */
#define LAB_DISK_CROWDED L"LabDiskCrowded"

#define LAB_DISK_MBR_SIGNATURE 0x1A2B3C4Du

/* {d15c0001-7b4a-4c1d-9e2f-0123456789ab} */
#define LAB_DISK_GPT_IDENTITY                                                                      \
    {                                                                                              \
        0xD15C0001, 0x7B4A, 0x4C1D, {                                                              \
            0x9E, 0x2F, 0x01, 0x23, 0x45, 0x67, 0x89, 0xAB                                         \
        }                                                                                          \
    }
/* {d15c0002-7b4a-4c1d-9e2f-0123456789ab} */
#define LAB_DISK_CROWDED_IDENTITY                                                                  \
    {                                                                                              \
        0xD15C0002, 0x7B4A, 0x4C1D, {                                                              \
            0x9E, 0x2F, 0x01, 0x23, 0x45, 0x67, 0x89, 0xAB                                         \
        }                                                                                          \
    }

#define LAB_DISK_MBR_PARTITIONS 4u
#define LAB_DISK_GPT_PARTITIONS 2u
#define LAB_DISK_RAW_PARTITIONS 0u
#define LAB_DISK_CROWDED_PARTITIONS 130u

#endif
