#include "log_level.h"

#include "support/private_registry.h"

namespace bench {

void log_errors_only() {
    static support::PrivateRegistry registry;
    registry.set(support::tracing_key, L"TRACELEVEL", 0);
}

}  // namespace bench
