#include "support/line_difference.h"

#include <algorithm>

namespace support {
namespace {

// The lengths of the longest common subsequences: table[i][j] is that of the lines from found[i]
// and from wanted[j] on.
std::vector<std::vector<std::size_t>> common_lengths(const std::vector<std::string>& found,
                                                     const std::vector<std::string>& wanted) {
    std::vector table(found.size() + 1, std::vector<std::size_t>(wanted.size() + 1, 0));
    for (std::size_t i = found.size(); i-- > 0;) {
        for (std::size_t j = wanted.size(); j-- > 0;) {
            table[i][j] = found[i] == wanted[j] ? table[i + 1][j + 1] + 1
                                                : std::max(table[i + 1][j], table[i][j + 1]);
        }
    }
    return table;
}

}  // namespace

testing::AssertionResult same_lines(const std::string& what, const std::vector<std::string>& found,
                                    const std::vector<std::string>& wanted) {
    if (found == wanted) {
        return testing::AssertionSuccess();
    }
    testing::AssertionResult failure = testing::AssertionFailure();
    failure << what << " differ (- is missing, + is unexpected):\n";
    const auto common = common_lengths(found, wanted);
    std::size_t i = 0;
    std::size_t j = 0;
    while (i < found.size() || j < wanted.size()) {
        if (i < found.size() && j < wanted.size() && found[i] == wanted[j]) {
            failure << "    " << found[i] << "\n";
            ++i;
            ++j;
        } else if (i == found.size() ||
                   (j < wanted.size() && common[i][j + 1] >= common[i + 1][j])) {
            failure << "  - " << wanted[j++] << "\n";
        } else {
            failure << "  + " << found[i++] << "\n";
        }
    }
    return failure;
}

}  // namespace support
