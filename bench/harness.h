// Compares one piece of code with another within one run: both take turns, and the result is
// the median of the turns' ratios. Absolute times depend on the machine and are printed for
// orientation only. A ratio above its goal is marked. A number that must be exact and is not
// fails the run.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace bench {

// Code that runs `times` times.
using Code = std::function<void(std::uint64_t times)>;

struct Row {
    std::string name;
    double ours_ns = 0;       // per call, median
    double reference_ns = 0;  // per call, median
    double ratio = 0;         // ours to reference, median of the turns
    double goal = 0;          // upper limit of the ratio; 0: for information
};

// How the time of an operation grows with the number of objects that it visits.
struct Growth {
    std::string name;
    double ours = 0;       // time per object, larger to smaller number
    double reference = 0;  // the same
};

struct Count {
    std::string name;
    std::uint64_t found = 0;
    std::uint64_t wanted = 0;
};

class Report {
  public:
    explicit Report(std::string title) : m_title(std::move(title)) {}

    // Runs `ours` and `reference` in turns, each turn long enough to be timed.
    Row compare(const std::string& name, double goal, const Code& ours, const Code& reference);

    // Reports how the times grew from one row to another with `times` as many objects. 1 is
    // linear.
    void compare_growth(const std::string& name, const Row& smaller, const Row& larger,
                        double times);

    // Reports a number that must be exact.
    void expect(const std::string& name, std::uint64_t found, std::uint64_t wanted);

    // Prints the table and writes it as JSON. Returns false if an exact number is wrong.
    bool finish(const std::string& json_path) const;

  private:
    std::string m_title;
    std::vector<Row> m_rows;
    std::vector<Growth> m_growths;
    std::vector<Count> m_counts;
};

}  // namespace bench
