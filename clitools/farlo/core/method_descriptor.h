// A method call as a string, for the traces of the provider runtime.
#pragma once

#include "ztbus3.h"

#include <cstdint>
#include <string>

namespace farlo {

[[nodiscard]] std::string FormatMethodDescriptor(const opal_objid& object, const GUID& interface_id,
                                                 std::uint32_t major, std::uint32_t minor);

}  // namespace farlo
