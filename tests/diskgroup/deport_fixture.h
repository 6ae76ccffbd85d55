// Disk groups to deport, and the calls of the service that deport one.
#pragma once

#include "support/bus_lines.h"
#include "support/farlo_test.h"

namespace support {

inline std::string deport(const std::string& target, const std::string& guid,
                          const std::string& flag, std::uint32_t word, const std::string& status,
                          const std::string& output = "{}") {
    return invoke(target, volume_manager_methods, 2001,
                  "\"Dgguid\": " + str(guid) + ", \"dgid\": " + str(guid) +
                      ", \"Opflag\": " + uint32(word) + ", \"" + flag + "\": " + uint32(word),
                  status, output);
}

// The lookup by GUID up to the group that matches.
inline Lines lookup(std::size_t read_groups) {
    const std::string names[] = {"dg1", "shared", "local"};
    const std::string guids[] = {"guid-1", "guid-8", "guid-3"};
    const std::uint32_t types[] = {2, 8, 1};
    Lines lines{groups("@dg1 @shared @local")};
    for (std::size_t i = 0; i < read_groups; ++i) {
        lines.push_back(read(names[i], "LDM DG TYPE", uint32(types[i])));
        lines.push_back(read(names[i], "dgid", str(guids[i])));
    }
    return lines;
}

class Deport : public FarloTest {
  protected:
    Deport() {
        scenario = R"({"disk_groups": [
            {"name": "dg1", "dgid": "guid-1", "type": 2, "imported": true},
            {"name": "shared", "dgid": "guid-8", "type": 8, "imported": true},
            {"name": "local", "dgid": "guid-3", "type": 1, "imported": true}]})";
    }
};

}  // namespace support
