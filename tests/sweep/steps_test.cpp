// How the step that covers a failing call is found.
#include "support/service_names.h"
#include "sweep/steps.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace support;
using namespace sweep;

const Fault failure{.description = "returns 0x5", .result = 5};
const Fault informational{.description = "succeeds with 0x41000012",
                          .result = bus_same_value,
                          .effect = Fault::Effect::called,
                          .meaning = Fault::Meaning::informational};

// The status of the step that covers the last one of these reads; 0 when no step does.
std::uint32_t status_for_last(const std::vector<std::string>& reads, const Steps& steps,
                              const Fault& fault = failure) {
    const std::vector<Import>& imports = failing_imports();
    std::size_t import = 0;
    while (imports[import].name != std::string("ObGetProperty")) {
        ++import;
    }
    std::vector<std::string> recorded;
    for (const std::string& read : reads) {
        recorded.push_back("ObGetProperty " + read + " -> 0x0 UINT32 1");
    }
    std::vector<unsigned> counts(imports.size());
    counts[import] = static_cast<unsigned>(reads.size());
    const CleanCalls calls(recorded, counts);
    const Step* step = calls.find_step(steps, {import, counts[import]}, fault);
    return step != nullptr ? step->outcome.status : 0;
}

const Step any_size = {get_property_of_any("size"), returns(1)};
const Step size_of_v1 = {get_property("@v1", "size"), returns(2)};
const Step second_size_of_v1 = {get_property("@v1", "size").nth(2), returns(3)};

TEST(Steps, PrefersThePatternWithMoreWords) {
    EXPECT_EQ(status_for_last({"@v1 \"size\""}, {any_size, size_of_v1}), 2u);
    EXPECT_EQ(status_for_last({"@v1 \"size\""}, {size_of_v1, any_size}), 2u);
}

TEST(Steps, PrefersTheNumberedPatternAmongEquals) {
    EXPECT_EQ(status_for_last({"@v1 \"size\"", "@v1 \"size\""}, {second_size_of_v1, size_of_v1}),
              3u);
    EXPECT_EQ(status_for_last({"@v1 \"size\"", "@v1 \"size\""}, {size_of_v1, second_size_of_v1}),
              3u);
    EXPECT_EQ(status_for_last({"@v1 \"size\""}, {second_size_of_v1, size_of_v1}), 2u);
}

TEST(Steps, PrefersMoreWordsToANumber) {
    const Step second_size = {get_property_of_any("size").nth(2), returns(4)};
    EXPECT_EQ(status_for_last({"@v1 \"size\"", "@v1 \"size\""}, {second_size, size_of_v1}), 2u);
}

TEST(Steps, CountsOnlyMatchingCallsForANumber) {
    EXPECT_EQ(status_for_last({"@v2 \"size\"", "@v1 \"size\""}, {second_size_of_v1}), 0u);
    EXPECT_EQ(
        status_for_last({"@v1 \"size\"", "@v2 \"size\"", "@v1 \"size\""}, {second_size_of_v1}), 3u);
}

TEST(Steps, ThrowsForEqualPatternsWithDifferentOutcomes) {
    const Step other_outcome = {get_property("@v1", "size"), returns(4)};
    EXPECT_THROW(status_for_last({"@v1 \"size\""}, {size_of_v1, other_outcome}), std::logic_error);
    EXPECT_EQ(status_for_last({"@v1 \"size\""}, {size_of_v1, size_of_v1}), 2u);
}

TEST(Steps, MatchesWholeWordsOnly) {
    EXPECT_EQ(status_for_last({"@v1-01 \"size\""}, {size_of_v1}), 0u);
    EXPECT_EQ(status_for_last({"@v12 \"size\""}, {size_of_v1}), 0u);
    EXPECT_EQ(status_for_last({"@v1 \"sizes\""}, {size_of_v1}), 0u);
}

TEST(Steps, MatchesTheStatusThatTheCallReturns) {
    const Steps steps = {{get_property("@v1", "size").returning(5), returns(4)}, size_of_v1};
    EXPECT_EQ(status_for_last({"@v1 \"size\""}, steps), 4u);
    EXPECT_EQ(status_for_last({"@v1 \"size\""}, steps, {.description = "returns 0x55"}), 2u);
}

TEST(Steps, MatchesInformationalSuccessOnlyWhereThePatternSaysSo) {
    const Step informational_size = {get_property("@v1", "size").succeeding(), returns(4)};
    EXPECT_EQ(status_for_last({"@v1 \"size\""}, {size_of_v1}, informational), 0u);
    EXPECT_EQ(status_for_last({"@v1 \"size\""}, {informational_size}, informational), 4u);
    EXPECT_EQ(status_for_last({"@v1 \"size\""}, {informational_size}, failure), 0u);
}

}  // namespace
