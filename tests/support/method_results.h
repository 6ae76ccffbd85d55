// Adds results to the output sets of method calls. The fault plan decides what the calls return and
// whether the service receives them. The recorder shows the output sets without these results.
#pragma once

#include "support/interposer.h"
#include "ztbus3.h"

#include <windows.h>

#include <functional>

namespace support {

// One at a time in a process, within the body of a run.
class MethodResults {
  public:
    // Calls `fill` after every method call that has an output set.
    MethodResults(HMODULE module, std::function<void(opal_propset output)> fill);

  private:
    static opal_status dispatch(opal_connection connection, const opal_objid* target,
                                const GUID* interface_id, uint32_t major, uint32_t minor,
                                opal_propset input, opal_propset output, uintptr_t reserved1,
                                uintptr_t reserved2, uintptr_t reserved3, uintptr_t reserved4,
                                uint64_t* task, uint64_t* result);

    static inline std::function<void(opal_propset)> s_fill;
    Interposer m_interposer;
};

// Adds a number to an output set.
void add_number(opal_propset set, const char* name, std::uint32_t value);

}  // namespace support
