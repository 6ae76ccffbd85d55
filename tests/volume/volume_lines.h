// Lines that the tests of several exports for the node and its volumes expect.
#pragma once

#include "support/bus_lines.h"
#include "support/line_lists.h"
#include "support/trace_lines.h"

namespace support {

using ExpectedLog = std::vector<Expected>;

// Values of the node's "nodeRole". Every role but 0 means that the node runs.
inline constexpr std::uint32_t no_role = 0;
inline constexpr std::uint32_t some_role = 1;

// Lines of the recorder.
inline const std::string find_misc = objects(object_type::misc, "@misc");
inline std::string read_role(std::uint32_t role) {
    return read("misc", "nodeRole", uint32(role));
}
inline const Lines find_group = {groups("@dg1"), read_type("dg1", group_type::cluster_shared),
                                 read("dg1", "dgid", str("guid-1"))};
// The query contains the device name unchanged; `device` is the name as the recorder escapes it.
inline std::string query_volume(const std::string& device, const std::string& found) {
    return query(object_type::volume, "DEVICE NAME", device, found);
}
inline const std::string find_volume = query_volume(R"(\\Device\\one two)", "@vol1");

}  // namespace support
