// Every call that an export makes fails, one at a time and in every way; so does every allocation.
#include "sweep/sweep.h"

namespace {

using namespace sweep;

class CallSweep : public Sweep {
  protected:
    void fail_every_call(DWORD threshold) {
        in_situation(GetParam(), threshold, [&] {
            expect_steps_in_call_order();
            at_every_call([&](const Import& import, const Call& call) {
                for (const Fault& fault : import.faults) {
                    fail_call(import, call, fault);
                }
            });
        });
    }

  private:
    void fail_call(const Import& import, const Call& call, const Fault& fault) {
        const std::string name = import.name;
        const std::string what = name + " " + std::to_string(call.number) + " " + fault.description;
        announce(what);
        imported().fail(call, fault);
        const Result result = perform();
        if (!imported().reached()) {
            report(what, "the call was not made");
        }
        check(what, result, expectation(import, call, fault));
    }

    Expectation expectation(const Import& import, const Call& call, const Fault& fault) {
        const Contract& contract = GetParam().contract;
        const std::string name = import.name;
        Expectation expectation;
        expectation.injected =
            fault.last_error != 0 ? fault.last_error : static_cast<std::uint32_t>(fault.result);
        // A record leaves out the results of a method that returns a status other than 0.
        expectation.outputs_may_differ = !contract.service_statuses && name == "PrCallDispatch";
        if (import.log_only || only_releases(name, fault)) {
            expectation.status = Allowed::clean;
            return expectation;
        }
        if (fault.meaning == Fault::Meaning::informational && !contract.only_zero_succeeds) {
            expectation.status = Allowed::clean_or_injected;
        }
        expectation.outcome = outcome(call, fault);
        return expectation;
    }

    // A function that releases something does so, and its status is ignored.
    static bool only_releases(const std::string& name, const Fault& fault) {
        return fault.effect == Fault::Effect::called && fault.meaning == Fault::Meaning::failure &&
               name != "UnInitializeZtVmW";
    }
};

// The full sweep repeats it with all levels logged, since logging has paths of its own.
TEST_P(CallSweep, HandlesEveryFailingCall) {
    fail_every_call(0);
    if (full_sweep()) {
        fail_every_call(6);
    }
}

TEST_P(CallSweep, HandlesEveryFailingAllocation) {
    in_situation(GetParam(), 0, [&] {
        constexpr long limit = 20'000;
        for (long n = 1;; ++n) {
            const std::string what = "allocation " + std::to_string(n) + " fails";
            announce(what);
            heap().fail(n);
            const Result result = perform();
            const bool failed = heap().has_failed();
            heap().fail_no_more();
            if (!failed || n == limit) {
                EXPECT_NE(n, limit) << "the call allocates without end";
                break;
            }
            count_fault_point();
            check(what, result, {.any_step = true, .line_is_optional = true});
        }
    });
}

SWEEP_ALL(CallSweep);

}  // namespace
