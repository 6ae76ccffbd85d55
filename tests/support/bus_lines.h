// Lines of the recorder (lab_bus.h) for expectations.
#pragma once

#include "support/line_lists.h"
#include "support/service_names.h"

#include <cstdint>
#include <string>
#include <vector>

namespace support {

using Lines = std::vector<std::string>;

inline std::string objects(const std::string& type, const std::string& names) {
    return "DbGetObjects " + type + " -> 0x0 [" + names + "]";
}
inline std::string objects_failed(const std::string& type, std::uint32_t status) {
    return "DbGetObjects " + type + " -> " + hex(status);
}
// A query for objects by one property; `value` is as the recorder escapes it.
inline std::string query(const std::string& type, const std::string& property,
                         const std::string& value, const std::string& found) {
    return "DbGetObjectsByQuery \"SELECT FROM " + type + R"( where \")" + property + R"(\" EQ )" +
           value + "\" -> 0x0 [" + found + "]";
}
inline std::string cluster_service() {
    return objects(object_type::cluster_service, "@service");
}
inline std::string groups(const std::string& names) {
    return objects(object_type::disk_group, names);
}
inline std::string children(const std::string& object, const std::string& type,
                            const std::string& found) {
    return "ObGetChildObjects @" + object + " " + type + " -> 0x0 [" + found + "]";
}
inline std::string parents(const std::string& object, const std::string& type,
                           const std::string& found) {
    return "ObGetParentObjects @" + object + " " + type + " -> 0x0 [" + found + "]";
}
inline std::string read(const std::string& object, const std::string& property,
                        const std::string& value) {
    return "ObGetProperty @" + object + " \"" + property + "\" -> 0x0 " + value;
}
inline std::string read_failed(const std::string& object, const std::string& property,
                               const std::string& status) {
    return "ObGetProperty @" + object + " \"" + property + "\" -> " + status;
}
inline std::string read_failed(const std::string& object, const std::string& property,
                               std::uint32_t status) {
    return read_failed(object, property, hex(status));
}
inline std::string wstr(const std::string& string) {
    return "WSTR \"" + string + "\"";
}
inline std::string str(const std::string& string) {
    return "STR \"" + string + "\"";
}
inline std::string uint32(std::uint32_t value) {
    return "UINT32 " + std::to_string(value);
}
inline std::string uint64(std::uint64_t value) {
    return "UINT64 " + std::to_string(value);
}
inline std::string boolean(bool value) {
    return value ? "BOOLEAN true" : "BOOLEAN false";
}
// A disk group's type, one of group_type.
inline std::string read_type(const std::string& group, std::uint32_t type) {
    return read(group, "LDM DG TYPE", uint32(type));
}

// A method call. `input` is the input set without its braces; `output` is the output set
// after the call.
inline std::string invoke(const std::string& target, const std::string& interface_id,
                          std::uint32_t minor, const std::string& input, const std::string& status,
                          const std::string& output = "{}") {
    return "PrCallDispatch @" + target + " " + interface_id + " 0." + std::to_string(minor) + " {" +
           input + "} 0,0,0,0 -> " + status + " " + output;
}
inline std::string invoke(const std::string& target, const Method& method, const std::string& input,
                          std::uint32_t status, const std::string& output = "{}") {
    return invoke(target, method.interface_id, method.minor, input, hex(status), output);
}
// A method call without an input set.
inline std::string invoke_without_input(const std::string& target, const Method& method,
                                        std::uint32_t status, const std::string& output = "{}") {
    return "PrCallDispatch @" + target + " " + method.interface_id + " 0." +
           std::to_string(method.minor) + " NULL 0,0,0,0 -> " + hex(status) + " " + output;
}

}  // namespace support
