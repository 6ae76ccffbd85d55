// Lists of expected lines, of the recorder or of the log.
#pragma once

#include <vector>

namespace support {

template <class Line>
std::vector<Line> operator+(std::vector<Line> left, const std::vector<Line>& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

}  // namespace support
