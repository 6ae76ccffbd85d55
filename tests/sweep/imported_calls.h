// Replaces every imported function of the DLL that can fail: counts the calls of a run, and makes
// one of them fail.
#pragma once

#include "support/interposer.h"

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
        not_called,      // the function is not called
        called,          // the function is called, then `result` is returned
        clears_outputs,  // the function is not called, and its outputs are cleared
    };
    enum class Meaning {
        failure,        // reports a failure
        no_output,      // reports success, but provides nothing
        informational,  // reports success with a status that is not 0
        timeout,        // a wait ends without the object
    };

    std::string description;  // "returns 0x5"
    std::uint64_t result = 0;
    DWORD last_error = 0;  // set unless it is 0
    Effect effect = Effect::not_called;
    Meaning meaning = Meaning::failure;
};

// An imported function that can fail.
struct Import {
    const char* name;
    std::vector<Fault> faults;
    // An output: the argument's number, from 0, and the bytes that are cleared.
    struct Output {
        std::size_t argument;
        std::size_t size;
    };
    std::vector<Output> outputs;
    // Only the trace log calls it: its failures change nothing but the log.
    bool log_only = false;
    // Whether the call is a request to the service.
    bool asks_service() const;
};

// Every imported function that can fail.
const std::vector<Import>& failing_imports();
// Names of imported functions that are neither in failing_imports() nor known to need no faults.
std::vector<std::string> unknown_imports(HMODULE module);

// The n-th counted call of a function, from 1.
struct Call {
    std::size_t import = 0;  // in failing_imports()
    unsigned number = 0;
};

// One at a time in a process. Constructed after every other replacement of imports, and destroyed
// before them. Counts the calls of all threads.
class ImportedCalls {
  public:
    explicit ImportedCalls(HMODULE module);
    ~ImportedCalls();
    ImportedCalls(const ImportedCalls&) = delete;
    ImportedCalls& operator=(const ImportedCalls&) = delete;

    // Undoes fail() and before().
    void disarm();
    // Calls between these two are counted.
    void start_counting();
    void stop_counting();
    // The counts, by index in failing_imports().
    std::vector<unsigned> counts() const;
    // The counted calls in their order.
    std::vector<Call> sequence() const;

    // Makes that call fail.
    void fail(const Call& call, const Fault& fault);
    // Runs the action before that call, which then takes place.
    void before(const Call& call, std::function<void()> action);
    // Whether the call of fail() or before() was made.
    bool reached() const;

  private:
    std::vector<std::unique_ptr<support::Interposer>> m_interposers;
};

}  // namespace sweep
