// A farlo_api whose functions do nothing but return a status, for tests of farlo.hpp.
#pragma once

#include "farlo.h"

#include <cstdint>
#include <string>
#include <vector>

namespace support {

struct FakeCall {
    std::string name;
    opal_handle handle;  // the first argument, if it is one
};

// What the functions do, and what was called. One for the process: functions have no context.
struct FakeFarlo {
    // Returned by the function of this name, and by the others.
    std::string failing;
    std::uint32_t status = FARLO_SUCCESS;
    std::uint32_t others = FARLO_SUCCESS;
    // The function of this name loses the connection of its handle, at its first call.
    std::string losing;
    // Attempts to connect that fail from now on.
    unsigned refused = 0;

    std::vector<FakeCall> calls;  // without those that only ask for the connection
    std::vector<opal_handle> connected;
    std::vector<opal_handle> released;

    // The number of calls of a function.
    int count(const std::string& name) const;
    // Loses the connections of all handles.
    void lose() { connected.clear(); }
};
FakeFarlo& fake_farlo();

// Its functions; also resets fake_farlo().
farlo_api make_fake_farlo();

}  // namespace support
