// What a disk's private region says about the disk group that the disk belongs to. Stored as
// JSON; README.md lists the members.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace lab {

// Consecutive blocks of one disk.
struct Extent {
    std::string disk;  // its name in the group
    std::uint64_t first_block = 0;
    std::uint64_t blocks = 0;

    bool operator==(const Extent&) const = default;
};

struct VolumeRecord {
    std::string name;
    std::string guid;
    std::vector<Extent> extents;  // in the order of the volume's blocks

    bool operator==(const VolumeRecord&) const = default;
};

struct GroupRecord {
    // Grows with each change of the group. Of disks of one group with different numbers, those
    // with the largest are right.
    std::uint64_t update = 0;
    std::string name;
    std::string guid;
    std::uint32_t type = 0;
    // The node that has the group imported; empty while it is deported.
    std::string host_id;
    // The name in the group of the disk that this record is on, and the names of all.
    std::string disk;
    std::vector<std::string> disks;
    std::vector<VolumeRecord> volumes;

    bool operator==(const GroupRecord&) const = default;
};

[[nodiscard]] std::string to_json(const GroupRecord& record);
// Throws std::runtime_error with the reason if it is not such a record.
[[nodiscard]] GroupRecord group_record(const std::string& json);

}  // namespace lab
