// The connection is lost before every call that an export makes, one at a time.
#include "sweep/sweep.h"

namespace {

using namespace sweep;

class DropSweep : public Sweep {
  protected:
    // An export that checks the connection after it was lost returns the status for that; one
    // that does not returns what it has found out so far.
    void drop_at_every_call(const char* kind, bool bus_works, const std::function<void()>& drop) {
        in_situation(GetParam(), 0, [&] {
            at_every_call([&](const Import& import, const Call& call) {
                const std::string what = std::string(kind) + " before " + import.name + " " +
                                         std::to_string(call.number);
                announce(what);
                unsigned reads_before = 0;
                imported().before(call, [&] {
                    drop();
                    reads_before = machine().connected_reads();
                });
                const Result result = perform();
                if (!imported().reached()) {
                    report(what, "the call was not made");
                }
                // The command library checks the connection itself.
                const bool has_checked = machine().connected_reads() != reads_before ||
                                         std::string(import.name) == "RegisterAlertCallback";
                const Allowed status = has_checked ? Allowed::disconnected
                                       : bus_works ? Allowed::clean
                                                   : Allowed::described;
                check(what, result, {.status = status, .outputs_may_be_written = true});
                if (!has_checked && bus_works && import.asks_service() &&
                    situation().contract.rechecks_connection) {
                    report(what, "did not notice the lost connection");
                }
            });
        });
    }
};

// The command library reports it; the bus still works.
TEST_P(DropSweep, NoticesDisconnectedHandle) {
    drop_at_every_call("the handle is disconnected", true, [&] { disconnect(); });
}

TEST_P(DropSweep, NoticesLostService) {
    drop_at_every_call("the service is lost", false, [&] { LabDropConnections(); });
}

SWEEP_ALL(DropSweep);

}  // namespace
