// Every function that the DLL imports and that can fail, behind one counter: the
// calls of a run are counted, and one of them can be made to fail.
#pragma once

#include "interposer.h"

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace sweep {

// One way in which a call can fail.
struct Fault {
    enum class Effect {
        not_called,      // nothing is done
        called,          // the call does its work, then answers `result`
        clears_outputs,  // nothing is done, and the out pointers are cleared
    };
    enum class Meaning {
        failure,        // the caller is told of a failure
        no_output,      // success, but nothing is handed out
        informational,  // a success status that is not 0
        timeout,        // a wait that did not get what it waited for
    };

    std::string description;
    std::uint64_t result = 0;
    DWORD last_error = 0;  // set when not 0
    Effect effect = Effect::not_called;
    Meaning meaning = Meaning::failure;
};

// What is known of an imported function.
struct Import {
    const char* name;
    std::vector<Fault> faults;
    // Out pointers: the argument's number and the bytes that are cleared.
    struct Output {
        std::size_t argument;
        std::size_t size;
    };
    std::vector<Output> outputs;
    // Used for the trace log alone: its failures change nothing but the log.
    bool log_only = false;
    // The service answers it.
    bool asks_service() const;
};

// The functions that can fail.
const std::vector<Import>& failing_imports();
// Names of imported functions that are in neither list: the one above, and the one of
// functions that cannot fail or that the allocations' sweep makes fail.
std::vector<std::string> unknown_imports(HMODULE module);

// The n-th call of a function that counts, counted from 1.
struct Call {
    std::size_t import = 0;  // in failing_imports()
    unsigned number = 0;
};

// One at a time in a process; made after and destroyed before any other replacement
// of imports. Counts the calls of every thread.
class ImportedCalls {
  public:
    explicit ImportedCalls(HMODULE module);
    ~ImportedCalls();
    ImportedCalls(const ImportedCalls&) = delete;
    ImportedCalls& operator=(const ImportedCalls&) = delete;

    // Forgets what was armed.
    void start();
    // Calls between these two count.
    void start_counting();
    void stop_counting();
    // One number for each of failing_imports().
    std::vector<unsigned> counts() const;
    // The calls in their order.
    std::vector<Call> sequence() const;

    // That call fails.
    void fail(const Call& call, const Fault& fault);
    // Runs the action in front of that call, which is carried out.
    void before(const Call& call, std::function<void()> action);
    // Whether the armed call was made.
    bool reached() const;

  private:
    std::vector<std::unique_ptr<support::Interposer>> m_interposers;
};

}  // namespace sweep
