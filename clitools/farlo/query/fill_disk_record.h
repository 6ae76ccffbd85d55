// The record of one disk.
#pragma once

#include "api/farlo.h"
#include "bus/object.h"

#include <vector>

namespace farlo {

// Writes what can be read of a disk. The signature is the disk's own, even if 0.
void FillDiskRecord(const CZtObject& disk, DgDiskInfo& record);

// Writes one record for each disk, in order. A signature that is missing or 0 is formed
// from the disk's "DISKID" and logged with the format `formed`, which takes the string
// that was converted ("%S") and the number twice.
void FillDiskRecords(const std::vector<CZtObject>& disks, const wchar_t* formed,
                     DgDiskInfo* records);

}  // namespace farlo
