#include "support/method_results.h"

namespace support {

MethodResults::MethodResults(HMODULE module, std::function<void(opal_propset output)> fill)
    : m_interposer(module, "PrCallDispatch", &MethodResults::dispatch) {
    s_fill = std::move(fill);
}

opal_status MethodResults::dispatch(opal_connection connection, const opal_objid* target,
                                    const GUID* interface_id, uint32_t major, uint32_t minor,
                                    opal_propset input, opal_propset output, uintptr_t reserved1,
                                    uintptr_t reserved2, uintptr_t reserved3, uintptr_t reserved4,
                                    uint64_t* task, uint64_t* result) {
    const opal_status status =
        PrCallDispatch(connection, target, interface_id, major, minor, input, output, reserved1,
                       reserved2, reserved3, reserved4, task, result);
    if (output != nullptr) {
        s_fill(output);
    }
    return status;
}

void add_number(opal_propset set, const char* name, std::uint32_t value) {
    const opal_property property{name, TYPE_UINT32, 1, sizeof value, &value};
    PsAddProperty(set, &property);
}

}  // namespace support
