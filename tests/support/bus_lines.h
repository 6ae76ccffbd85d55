// Lines of the recorder, put together for expectations.
#pragma once

#include "service_names.h"

#include <cstdint>
#include <string>
#include <vector>

namespace support {

using Lines = std::vector<std::string>;

inline Lines operator+(Lines left, const Lines& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

inline std::string objects(const std::string& type, const std::string& names) {
    return "DbGetObjects " + type + " -> 0x0 [" + names + "]";
}
inline std::string cluster_service() {
    return objects(ZTTYPE_CLUSTER_SERVICE, "@service");
}
inline std::string groups(const std::string& names) {
    return objects(ZTTYPE_DISK_GROUP, names);
}
inline std::string read(const std::string& object, const std::string& property,
                        const std::string& value) {
    return "ObGetProperty @" + object + " \"" + property + "\" -> 0x0 " + value;
}
inline std::string read_failed(const std::string& object, const std::string& property,
                               const std::string& status) {
    return "ObGetProperty @" + object + " \"" + property + "\" -> " + status;
}
inline std::string wstr(const std::string& text) {
    return "WSTR \"" + text + "\"";
}
inline std::string str(const std::string& text) {
    return "STR \"" + text + "\"";
}
inline std::string uint32(std::uint32_t value) {
    return "UINT32 " + std::to_string(value);
}

// `input` without braces; `output` as the set stands after the call.
inline std::string invoke(const std::string& target, const std::string& interface_id,
                          std::uint32_t minor, const std::string& input, const std::string& status,
                          const std::string& output = "{}") {
    return "PrCallDispatch @" + target + " " + interface_id + " 0." + std::to_string(minor) + " {" +
           input + "} 0,0,0,0 -> " + status + " " + output;
}

}  // namespace support
