// Calls that stay in this process, with faults of the fault plan.
#pragma once

#include "store/bus_status.h"
#include "ztbus3/bus_connection.h"
#include "ztbus3/function.h"
#include "ztbus3/process_plan.h"
#include "ztbus3/recorder.h"

#include <new>

namespace lab {

// Counts and runs a call. `work` takes the fault that applies and returns a
// status; `text` takes the status and returns the rest of the recorder's line,
// after the function's name.
template <class Work, class Text>
opal_status client_call(Function function, const char* property, Work&& work, Text&& text) {
    count_call(function);
    Fault fault;
    if (has_fault_plan()) {
        fault = next_fault(function, {"", property != nullptr ? property : "", "", 0});
    }
    opal_status status = fault.status;
    if (!fault.answers) {
        try {
            status = work(fault);
        } catch (const std::bad_alloc&) {
            status = ZTERROR_NO_MEMORY;
        }
    }
    if (fault.drop) {
        drop_connections();
    }
    if (fault.after) {
        status = fault.status;
    }
    if (is_recorded(function)) {
        record(function, text(status));
    }
    return status;
}

// For functions without a status: counts the call and returns whether the plan
// makes it return nothing.
inline bool is_withheld(Function function) {
    count_call(function);
    return has_fault_plan() && next_fault(function, {}).nothing;
}

}  // namespace lab
