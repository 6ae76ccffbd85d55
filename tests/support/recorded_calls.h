// The calls that the bus has recorded.
#pragma once

#include "ztbus3/lab_bus.h"

#include <sstream>
#include <string>
#include <vector>

namespace support {

// The recorded calls since LabRecorderStart, one line each.
inline std::vector<std::string> recorded_calls() {
    std::string recorded(LabRecordedCalls(nullptr, 0), '\0');
    LabRecordedCalls(recorded.data(), recorded.size());
    recorded.pop_back();
    std::vector<std::string> lines;
    std::istringstream stream(recorded);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

}  // namespace support
