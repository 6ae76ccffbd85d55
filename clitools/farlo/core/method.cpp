#include "method.h"

#include "status.h"

namespace farlo {

OutputPropertySet::OutputPropertySet() {
    if (is_failure(PsCreatePropset(&m_set))) {
        m_set = nullptr;
    }
}

OutputPropertySet::~OutputPropertySet() {
    if (m_set != nullptr) {
        PsDestroyPropset(m_set);
    }
}

std::uint32_t CsfInvoke(opal_connection connection, const opal_objid& target, const Method& method,
                        const CZtPropertySet& input, const OutputPropertySet& output) {
    std::uint64_t task = 0;
    std::uint64_t result = 0;
    return PrCallDispatch(connection, &target, method.interface_id, method_major, method.minor,
                          input.handle(), output.handle(), 0, 0, 0, 0, &task, &result);
}

}  // namespace farlo
