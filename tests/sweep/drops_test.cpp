// The connection is lost in front of every call that an export makes, one at a time.
#include "sweep.h"

namespace {

using namespace sweep;

class DropSweep : public Sweep {
  protected:
    // What a call answers whose connection was lost on the way: once the export has looked
    // at the connection again, that it was lost; before that, what it found out so far.
    void drop_at_every_call(const char* kind, bool bus_answers, const std::function<void()>& drop) {
        in_situation(GetParam(), 0, [&] {
            at_every_call([&](const Import& import, const Call& call) {
                const std::string what = std::string(kind) + " in front of " + import.name + " " +
                                         std::to_string(call.number);
                announce(what);
                unsigned reads_before = 0;
                imported().before(call, [&] {
                    drop();
                    reads_before = machine().connected_reads();
                });
                const Result result = perform();
                if (!imported().reached()) {
                    report(what, "was not met");
                }
                // The command library looks for itself.
                const bool has_checked = machine().connected_reads() != reads_before ||
                                         std::string(import.name) == "RegisterAlertCallback";
                const Allowed status = has_checked   ? Allowed::disconnected
                                       : bus_answers ? Allowed::clean
                                                     : Allowed::described;
                check(what, result, {.status = status, .outputs_may_be_written = true});
                if (!has_checked && bus_answers && import.asks_service() &&
                    situation().contract.rechecks_connection) {
                    report(what, "is not noticed");
                }
            });
        });
    }
};

// The command library tells of it, the bus still answers.
TEST_P(DropSweep, HandleIsDisconnected) {
    drop_at_every_call("disconnects", true, [&] { disconnect(); });
}

TEST_P(DropSweep, ServiceIsLost) {
    drop_at_every_call("the service is lost", false, [&] { LabDropConnections(); });
}

SWEEP_ALL(DropSweep);

}  // namespace
