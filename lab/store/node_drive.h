// Drives of the machine that stand for volumes of a scenario: the mount-point
// manager and the file system answer for them themselves.
#pragma once

#include <cstdint>
#include <string>

namespace lab {

struct NodeDrive {
    wchar_t letter;  // 'A' to 'Z'
    std::uint32_t serial_number;
    std::string label;  // UTF-8
};

// What the machine calls a drive.
struct NodeDriveNames {
    std::wstring device;       // "\Device\HarddiskVolume7"
    std::wstring volume_name;  // "\\?\Volume{...}", without a backslash behind it
};

// Sees to it that the machine has the drive. One with the serial number is taken
// as it is; where there is none, a Wine node gets one, a folder of its drive C.
// It stays when the process ends. Throws std::runtime_error when the letter is
// another drive's, and for a drive that the machine cannot make.
NodeDriveNames provide_drive(const NodeDrive& drive);

}  // namespace lab
