// Comparing one piece of code with another within one run: both take turns, and
// the median of each turn's ratio counts. Absolute times depend on the machine
// and are printed for orientation only. A ratio above its goal is marked as such;
// a number that must be exact and is not fails the run.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace bench {

// Code that runs so many times.
using Code = std::function<void(std::uint64_t times)>;

struct Row {
    std::string name;
    double ours_ns = 0;       // a call, median
    double reference_ns = 0;  // a call, median
    double ratio = 0;         // ours to reference, median of the turns
    double goal = 0;          // the ratio is to be at most this; 0: for information
};

// How the time of one operation grows with what it walks.
struct Growth {
    std::string name;
    double ours = 0;       // time for the larger to time for the smaller, an object
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

    // Reports how the times grew from one row to another, which had that many times
    // the objects. 1 is linear.
    void compare_growth(const std::string& name, const Row& smaller, const Row& larger,
                        double times);

    // A number that must be met exactly.
    void expect(const std::string& name, std::uint64_t found, std::uint64_t wanted);

    // Prints the table and writes it as JSON. False when an exact number was missed.
    bool finish(const std::string& json_path) const;

  private:
    std::string m_title;
    std::vector<Row> m_rows;
    std::vector<Growth> m_growths;
    std::vector<Count> m_counts;
};

}  // namespace bench
