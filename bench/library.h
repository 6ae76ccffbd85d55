// What the programs share that measure the library over the embedded storage.
#pragma once

#include "farlo.h"
#include "harness.h"
#include "ztbus3/lab_bus.h"

#include <windows.h>

#include <cstdint>
#include <string>

namespace bench {

// What a ratio to bare calls is to be at most.
inline constexpr double bare_goal = 1.05;

// Ends the program when something that is no matter of speed went wrong.
void require(bool condition, const char* what);

// Replaces the embedded storage.
void load_scenario(const std::string& json);

// The calls of the bus by which the work is done: those that reach the service,
// and those that make and give back what they hand out.
std::uint64_t bus_calls();

// farlo.dll as it ships, connected to the embedded storage, at trace level 0: the program
// ends where that does not hold.
class Library {
  public:
    Library();
    ~Library();
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    HMODULE module() const { return m_module; }
    opal_handle handle() const { return m_handle; }
    template <class Function> Function entry(const char* name) const {
        return reinterpret_cast<Function>(address(name));
    }

  private:
    void* address(const char* name) const;

    HMODULE m_module = nullptr;
    opal_handle m_handle = nullptr;
};

// Writes so many log lines by their bare system calls, as those lines that an
// operation always writes.
void write_bare_lines(int lines);

// One operation against the same bus calls written by hand: the ratio, and the
// number of calls, which must be the same.
// With `lines`, a second row has that many bare log lines beside the bare calls:
// what the operation adds to both.
Row compare_with_bare(Report& report, const std::string& name, const Code& ours, const Code& bare,
                      int lines = 0);

// The code for a report that runs `work`, which returns whether it succeeded.
template <class Work> Code repeat(const char* what, Work work) {
    return [what, work](std::uint64_t times) {
        for (; times != 0; --times) {
            require(work(), what);
        }
    };
}

}  // namespace bench
