// The failure rule of ztbus3.h.
#pragma once

#include "ztbus3.h"

namespace lab {

inline bool is_failure(opal_status status) {
    constexpr opal_status bus_facility = 0x100;
    const opal_status facility = (status >> 16) & 0xFFF;
    if (facility == bus_facility) {
        return (status >> 30) == 3;
    }
    return facility == 0 ? status != 0 : (status >> 31) != 0;
}

}  // namespace lab
