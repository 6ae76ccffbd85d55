#include "core/method.h"

#include "api/farlo.h"
#include "bus/status.h"

namespace farlo {

// farlo.h documents these two statuses of the service.
static_assert(FARLO_NODE_ALREADY_STARTED == ZTERROR_NODE_ALREADY_STARTED);
static_assert(FARLO_ALREADY_ONLINE == ZTERROR_GROUP_ALREADY_ONLINE);

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
    return PrCallDispatch(connection, &target, method.interface_id, ZTMETHOD_MAJOR, method.minor,
                          input.handle(), output.handle(), 0, 0, 0, 0, &task, &result);
}

}  // namespace farlo
