// Every call that an export makes to what lies below fails, in every way, one at a time;
// and so does every allocation.
#include "sweep.h"

namespace {

using namespace sweep;

class CallSweep : public Sweep {
  protected:
    void fail_every_call(DWORD threshold) {
        in_situation(GetParam(), threshold, [&] {
            at_every_call([&](const Import& import, const Call& call) {
                for (const Way& way : import.ways) {
                    fail_call(import, call, way);
                }
            });
        });
    }

  private:
    void fail_call(const Import& import, const Call& call, const Way& way) {
        const std::string name = import.name;
        const std::string what = name + " " + std::to_string(call.number) + " " + way.text;
        tell(what);
        imported().fail(call, way);
        const Result result = perform();
        if (!imported().fired()) {
            fault(what, "was not met");
        }
        const Answers& answers = GetParam().answers;
        Judgement judgement;
        judgement.injected =
            way.last_error != 0 ? way.last_error : static_cast<std::uint32_t>(way.result);
        judgement.as_clean = import.log_only || only_releases(name, way);
        judgement.informational = way.meaning == Way::Meaning::informational && !answers.zero_only;
        // A record goes on without what a method did not simply succeed to tell.
        judgement.other_outputs = !answers.service && name == "PrCallDispatch";
        if (!judgement.as_clean) {
            judgement.outcome = outcome(call, way);
        }
        judge(what, result, judgement);
    }

    // What is given back is given back all the same, and nobody is told of the failure.
    static bool only_releases(const std::string& name, const Way& way) {
        return way.work == Way::Work::done && way.meaning == Way::Meaning::failure &&
               name != "UnInitializeZtVmW";
    }
};

// Once with the errors logged, once with everything: the lines of the other levels are
// written on other paths.
TEST_P(CallSweep, EveryCallFails) {
    fail_every_call(0);
    if (full_sweep()) {
        fail_every_call(6);
    }
}

TEST_P(CallSweep, EveryAllocationFails) {
    in_situation(GetParam(), 0, [&] {
        constexpr long limit = 20'000;
        for (long n = 1;; ++n) {
            const std::string what = "allocation " + std::to_string(n) + " fails";
            tell(what);
            heap().fail(n);
            const Result result = perform();
            const bool failed = heap().has_failed();
            heap().fail_no_more();
            if (!failed || n == limit) {
                EXPECT_NE(n, limit) << "allocations without end";
                break;
            }
            begin_point();
            Judgement judgement;
            judgement.may_be_silent = true;
            judgement.any_step = true;
            judge(what, result, judgement);
        }
    });
}

SWEEP_ALL(CallSweep);

}  // namespace
