// Three imported disk groups, and the bus calls that find and deport them.
#pragma once

#include "support/bus_lines.h"
#include "support/farlo_test.h"
#include "support/fault_rules.h"

namespace support {

class DeportFixture : public FarloTest {
  protected:
    DeportFixture() {
        scenario = R"({"disk_groups": [
            {"name": "dg1", "dgid": "guid-1", "type": 2, "imported": true},
            {"name": "shared", "dgid": "guid-8", "type": 8, "imported": true},
            {"name": "local", "dgid": "guid-3", "type": 1, "imported": true}]})";
    }

    // The method call that deports a group. Both option parameters have the same value.
    static std::string deport(const std::string& target, const std::string& guid,
                              std::uint32_t option_bits, std::uint32_t status,
                              const std::string& output = "{}") {
        return invoke(target, method::deport_group,
                      "\"Dgguid\": " + str(guid) + ", \"dgid\": " + str(guid) + ", \"Opflag\": " +
                          uint32(option_bits) + ", \"OfflineFlag\": " + uint32(option_bits),
                      status, output);
    }
};

// The search for the first group by its GUID, and for a GUID that neither of the first two has.
inline const Lines find_dg1 = {groups("@dg1 @shared @local"), read_type("dg1", group_type::cluster),
                               read("dg1", "dgid", str("guid-1"))};
inline const Lines search_all_groups =
    find_dg1 + Lines{read_type("shared", group_type::cluster_shared),
                     read("shared", "dgid", str("guid-8")), read_type("local", group_type::local),
                     read("local", "dgid", str("guid-3"))};

// The parameters of the method that deports a group.
inline constexpr const char* deport_parameters[] = {"Dgguid", "dgid", "Opflag", "OfflineFlag"};

}  // namespace support
