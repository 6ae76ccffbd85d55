// Comparing one piece of code with another within one run: both take turns, and
// the median of each turn's ratio counts. Absolute times depend on the machine
// and are printed for orientation only.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace bench {

struct Row {
    std::string name;
    double ours_ns = 0;       // a call, median
    double reference_ns = 0;  // a call, median
    double ratio = 0;         // ours to reference, median of the turns
    double goal = 0;          // the ratio is to be at most this; 0: for information
};

struct Count {
    std::string name;
    std::uint64_t found = 0;
    std::uint64_t wanted = 0;
};

class Report {
  public:
    explicit Report(std::string title) : m_title(std::move(title)) {}

    // Runs `ours` and `reference` in turns; each runs its code `calls` times a turn.
    void compare(const std::string& name, double goal, std::uint64_t calls,
                 const std::function<void(std::uint64_t calls)>& ours,
                 const std::function<void(std::uint64_t calls)>& reference, int turns = 15);

    // A number that must be met exactly.
    void expect(const std::string& name, std::uint64_t found, std::uint64_t wanted);

    const std::vector<Row>& rows() const { return m_rows; }

    // Prints the table and writes it as JSON. False when a goal was missed.
    bool finish(const std::string& json_path) const;

  private:
    std::string m_title;
    std::vector<Row> m_rows;
    std::vector<Count> m_counts;
};

}  // namespace bench
