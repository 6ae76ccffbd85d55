// Drives of the machine that are volumes of a scenario. The real mount-point
// manager and file system serve them.
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
    std::wstring volume_name;  // "\\?\Volume{...}", no trailing backslash
};

// Ensures that the machine has the drive. A drive with that letter and serial
// number is used as it is; otherwise a Wine node creates it as a folder on drive
// C. The drive stays when the process ends. Throws std::runtime_error if the
// letter is another drive's or the drive cannot be created.
NodeDriveNames provide_drive(const NodeDrive& drive);

}  // namespace lab
