#include "harness.h"

#include <windows.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>
#include <fstream>

namespace bench {
namespace {

double now_ns() {
    LARGE_INTEGER ticks;
    LARGE_INTEGER frequency;
    QueryPerformanceCounter(&ticks);
    QueryPerformanceFrequency(&frequency);
    return static_cast<double>(ticks.QuadPart) * 1e9 / static_cast<double>(frequency.QuadPart);
}

double time_of(const std::function<void(std::uint64_t)>& code, std::uint64_t calls) {
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

void Report::compare(const std::string& name, double goal, std::uint64_t calls,
                     const std::function<void(std::uint64_t)>& ours,
                     const std::function<void(std::uint64_t)>& reference, int turns) {
    // One turn each to warm up.
    ours(calls);
    reference(calls);
    std::vector<double> ours_ns;
    std::vector<double> reference_ns;
    std::vector<double> ratios;
    for (int turn = 0; turn < turns; ++turn) {
        // Whoever goes second may find a warmer cache: they swap places.
        if (turn % 2 == 0) {
            ours_ns.push_back(time_of(ours, calls));
            reference_ns.push_back(time_of(reference, calls));
        } else {
            reference_ns.push_back(time_of(reference, calls));
            ours_ns.push_back(time_of(ours, calls));
        }
        ratios.push_back(ours_ns.back() / reference_ns.back());
    }
    m_rows.push_back({name, median(ours_ns), median(reference_ns), median(ratios), goal});
}

void Report::expect(const std::string& name, std::uint64_t found, std::uint64_t wanted) {
    m_counts.push_back({name, found, wanted});
}

bool Report::finish(const std::string& json_path) const {
    bool all_met = true;
    std::printf("\n%s\n", m_title.c_str());
    std::printf("  %-58s %12s %12s %8s %8s\n", "", "ours ns", "bare ns", "ratio", "goal");
    nlohmann::json json{{"title", m_title}, {"rows", nlohmann::json::array()}};
    for (const Row& row : m_rows) {
        char goal[16] = "-";
        if (row.goal != 0) {
            std::snprintf(goal, sizeof goal, "%.2f", row.goal);
        }
        std::printf("  %-58s %12.1f %12.1f %8.3f %8s%s\n", row.name.c_str(), row.ours_ns,
                    row.reference_ns, row.ratio, goal, met(row) ? "" : "  missed");
        json["rows"].push_back({{"name", row.name},
                                {"ours_ns", row.ours_ns},
                                {"reference_ns", row.reference_ns},
                                {"ratio", row.ratio},
                                {"goal", row.goal},
                                {"met", met(row)}});
        all_met = all_met && met(row);
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
        all_met = all_met && exact;
    }
    std::ofstream(json_path) << json.dump(2) << '\n';
    return all_met;
}

}  // namespace bench
