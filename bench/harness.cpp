#include "harness.h"

#include <windows.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>
#include <fstream>

namespace bench {
namespace {

// The shortest turn: long enough for the clock's resolution, short enough not to average
// out the machine's noise.
constexpr double turn_ns = 8e6;
// The time for one row, and the limits of its number of turns.
constexpr double row_ns = 2.5e9;
constexpr int fewest_turns = 7;
constexpr int most_turns = 41;

double now_ns() {
    LARGE_INTEGER ticks;
    LARGE_INTEGER frequency;
    QueryPerformanceCounter(&ticks);
    QueryPerformanceFrequency(&frequency);
    return static_cast<double>(ticks.QuadPart) * 1e9 / static_cast<double>(frequency.QuadPart);
}

double time_of(const Code& code, std::uint64_t calls) {
    const double begin = now_ns();
    code(calls);
    return (now_ns() - begin) / static_cast<double>(calls);
}

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

bool met(const Row& row) {
    return row.goal == 0 || row.ratio <= row.goal;
}

}  // namespace

Row Report::compare(const std::string& name, double goal, const Code& ours, const Code& reference) {
    // One call each to warm up; then find the number of calls that fills a turn.
    ours(1);
    reference(1);
    std::uint64_t calls = 1;
    double turn = time_of(reference, calls);
    while (turn * static_cast<double>(calls) < turn_ns) {
        calls *= 2;
        turn = time_of(reference, calls);
    }
    const double pair_ns = 2 * turn * static_cast<double>(calls);
    const int turns = std::clamp(static_cast<int>(row_ns / pair_ns), fewest_turns, most_turns);

    std::vector<double> ours_ns;
    std::vector<double> reference_ns;
    std::vector<double> ratios;
    for (int i = 0; i < turns; ++i) {
        // The second one may find a warmer cache, so they alternate.
        if (i % 2 == 0) {
            ours_ns.push_back(time_of(ours, calls));
            reference_ns.push_back(time_of(reference, calls));
        } else {
            reference_ns.push_back(time_of(reference, calls));
            ours_ns.push_back(time_of(ours, calls));
        }
        ratios.push_back(ours_ns.back() / reference_ns.back());
    }
    m_rows.push_back({name, median(ours_ns), median(reference_ns), median(ratios), goal});
    return m_rows.back();
}

void Report::compare_growth(const std::string& name, const Row& smaller, const Row& larger,
                            double times) {
    m_growths.push_back({name, larger.ours_ns / smaller.ours_ns / times,
                         larger.reference_ns / smaller.reference_ns / times});
}

void Report::expect(const std::string& name, std::uint64_t found, std::uint64_t wanted) {
    m_counts.push_back({name, found, wanted});
}

bool Report::finish(const std::string& json_path) const {
    int exceeding = 0;
    int missed = 0;
    std::printf("\n%s\n", m_title.c_str());
    std::printf("  %-58s %12s %12s %8s %8s\n", "", "ours ns", "bare ns", "ratio", "goal");
    nlohmann::json json{{"title", m_title}, {"rows", nlohmann::json::array()}};
    for (const Row& row : m_rows) {
        char goal[16] = "-";
        if (row.goal != 0) {
            std::snprintf(goal, sizeof goal, "%.2f", row.goal);
        }
        std::printf("  %-58s %12.1f %12.1f %8.3f %8s%s\n", row.name.c_str(), row.ours_ns,
                    row.reference_ns, row.ratio, goal, met(row) ? "" : "  exceeds");
        json["rows"].push_back({{"name", row.name},
                                {"ours_ns", row.ours_ns},
                                {"reference_ns", row.reference_ns},
                                {"ratio", row.ratio},
                                {"goal", row.goal},
                                {"met", met(row)}});
        exceeding += met(row) ? 0 : 1;
    }
    json["growths"] = nlohmann::json::array();
    for (const Growth& growth : m_growths) {
        std::printf("  %-58s %11.2fx %11.2fx\n", growth.name.c_str(), growth.ours,
                    growth.reference);
        json["growths"].push_back(
            {{"name", growth.name}, {"ours", growth.ours}, {"reference", growth.reference}});
    }
    json["counts"] = nlohmann::json::array();
    for (const Count& count : m_counts) {
        const bool exact = count.found == count.wanted;
        std::printf("  %-58s %12llu %12llu%s\n", count.name.c_str(),
                    static_cast<unsigned long long>(count.found),
                    static_cast<unsigned long long>(count.wanted), exact ? "" : "  missed");
        json["counts"].push_back({{"name", count.name},
                                  {"found", count.found},
                                  {"wanted", count.wanted},
                                  {"met", exact}});
        missed += exact ? 0 : 1;
    }
    std::fflush(stdout);
    // For ./run, which merges the results.
    json["ratios"] = m_rows.size();
    json["ratios_above_goal"] = exceeding;
    json["exact_numbers"] = m_counts.size();
    json["exact_numbers_missed"] = missed;
    std::ofstream(json_path) << json.dump(2) << '\n';
    return missed == 0;
}

}  // namespace bench
