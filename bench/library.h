// Shared by the programs that measure the library over the embedded storage.
#pragma once

#include "farlo.h"
#include "harness.h"
#include "ztbus3/lab_bus.h"

#include <windows.h>

#include <cstdint>
#include <string>

namespace bench {

// The limit for a ratio to bare calls.
inline constexpr double bare_goal = 1.05;

// Ends the program if `condition` is false: something other than speed is wrong.
void require(bool condition, const char* what);

// Replaces the embedded storage.
void load_scenario(const std::string& json);

// Returns the number of bus calls that do the work: those that reach the service, and those
// that create and release what such calls take and return.
std::uint64_t bus_calls();

// farlo.dll as it ships, connected to the embedded storage, at trace level 0. The constructor
// ends the program if any of this fails.
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

// Writes `lines` log lines with bare system calls, in place of the lines that an operation
// always writes.
void write_bare_lines(int lines);

// Compares an operation with the same bus calls written by hand: reports the ratio, and the
// numbers of calls, which must be equal. If `lines` is not 0, a second row compares it with
// the bare calls and `lines` bare log lines.
Row compare_with_bare(Report& report, const std::string& name, const Code& ours, const Code& bare,
                      int lines = 0);

// Returns code that runs `work`, which returns whether it succeeded.
template <class Work> Code repeat(const char* what, Work work) {
    return [what, work](std::uint64_t times) {
        for (; times != 0; --times) {
            require(work(), what);
        }
    };
}

}  // namespace bench
