// Lines of the bus recorder that many tests expect.
#pragma once

#include <string>
#include <vector>

namespace support {

inline const std::string find_service = "DbGetObjects solvane_cluster_service -> 0x0 [@service]";

inline const std::string volume_manager_operations = "{61678c9a-1dd2-11b2-9623-0800209ead9c}";
inline const std::string cluster_service = "{375ec58d-475e-4658-3bcd-61c7483a4fc6}";

// A property that was read: read("dg1", "imported", "BOOLEAN true").
inline std::string read(const std::string& object, const std::string& name,
                        const std::string& value) {
    return "ObGetProperty @" + object + " \"" + name + "\" -> 0x0 " + value;
}

// A method that was called and put nothing into the output set.
inline std::string dispatch(const std::string& target, const std::string& interface_id,
                            unsigned minor, const std::string& input, const std::string& status) {
    return "PrCallDispatch @" + target + " " + interface_id + " 0." + std::to_string(minor) + " {" +
           input + "} 0,0,0,0 -> " + status + " {}";
}

inline std::vector<std::string> operator+(std::vector<std::string> left,
                                          const std::vector<std::string>& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

}  // namespace support
