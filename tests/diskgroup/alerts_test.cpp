// RegisterForAlerts and what happens when alerts come.
#include "support/farlo_test.h"

#include <atomic>
#include <functional>

namespace {

using namespace support;

std::atomic<int> resets{0};
void reset_timeout() {
    ++resets;
}
std::atomic<int> other_resets{0};
void reset_other_timeout() {
    ++other_resets;
}

constexpr const char* names[] = {
    "event.alert.ztvm.ztvm.dg.import.success",
    "event.alert.ztvm.cluster.dg.deport.readonly.success",
    "event.alert.ztvm.ztvm.dg.import.failed",
    "event.alert.ztvm.ztvm.dg.deport.success",
    "event.alert.ztvm.ztvm.dg.deport.failed",
    "event.alert.ztvm.ztvm.dg.force.import.success",
    "event.alert.ztvm.ztvm.dg.force.import.failed",
    "event.alert.ztvm.ztvm.dg.force.deport.success",
    "event.alert.ztvm.ztvm.dg.force.deport.failed",
    "event.alert.ztvm.cluster.dg.import.success",
    "event.alert.ztvm.cluster.dg.import.failed",
    "event.alert.ztvm.cluster.dg.deport.success",
    "event.alert.ztvm.cluster.dg.deport.failed",
};

class Alerts : public FarloTest {
  protected:
    // Delivers an alert on this thread; how often the callback ran.
    int deliver(const std::string& name) {
        resets = 0;
        other_resets = 0;
        const opal_alert alert{name.c_str()};
        EXPECT_EQ(LabCmdDeliver(handle, &alert), ZTSTATUS_OK);
        return resets;
    }
    void watch() {
        ASSERT_EQ(FARLO(RegisterForAlerts)(handle, reset_timeout), 0u);
        start_watching();
    }
};

TEST_F(Alerts, EveryListedNameRunsTheCallback) {
    at_every_threshold([&] {
        watch();
        for (const std::string name : names) {
            SCOPED_TRACE(name);
            start_watching();
            EXPECT_EQ(deliver(name), 1);
            expect_log({{6, "OpalEventHandler : Received alert " + name},
                        {6, "OpalEventHandler : Reset time"}});
        }
    });
}

std::vector<std::string> lines_at_reset;
void take_lines() {
    std::string error;
    lines_at_reset.clear();
    for (const LogLine& line : read_log(environment().log_file(), error)) {
        lines_at_reset.push_back(line.text);
    }
    EXPECT_EQ(error, "");
}

TEST_F(Alerts, TheCallbackRunsBehindItsLine) {
    once([&] {
        ASSERT_EQ(FARLO(RegisterForAlerts)(handle, take_lines), 0u);
        start_watching();
        deliver(names[0]);
        EXPECT_EQ(lines_at_reset, (std::vector<std::string>{
                                      std::string("OpalEventHandler : Received alert ") + names[0],
                                      "OpalEventHandler : Reset time"}));
    });
}

TEST_F(Alerts, LetterCaseAndFurtherCharactersDoNotMatter) {
    once([&] {
        watch();
        for (std::string name : names) {
            std::string upper = name;
            for (char& character : upper) {
                character = static_cast<char>(toupper(character));
            }
            EXPECT_EQ(deliver(upper), 1) << upper;
            EXPECT_EQ(deliver(name + ".again"), 1) << name;
        }
    });
}

TEST_F(Alerts, AShorterNameIsIgnored) {
    once([&] {
        watch();
        for (const std::string name : names) {
            const std::string shorter = name.substr(0, name.size() - 1);
            start_watching();
            EXPECT_EQ(deliver(shorter), 0) << name;
            expect_log({{6, "OpalEventHandler : Received alert " + shorter}});
        }
    });
}

TEST_F(Alerts, AnotherNameIsLoggedAsReceivedOnly) {
    at_every_threshold([&] {
        watch();
        EXPECT_EQ(deliver("event.alert.ztvm.ztvm.dg.rename.success"), 0);
        expect_log(
            {{6, "OpalEventHandler : Received alert event.alert.ztvm.ztvm.dg.rename.success"}});
    });
}

TEST_F(Alerts, ANullAlert) {
    at_every_threshold([&] {
        watch();
        resets = 0;
        EXPECT_EQ(LabCmdDeliver(handle, nullptr), ZTSTATUS_OK);
        EXPECT_EQ(resets, 0);
        expect_log({{0, "Null alert event, exit OpalEventHandler"}});
    });
}

TEST_F(Alerts, ANullAlertIsToldBeforeAMissingCallback) {
    once([&] {
        watch();
        EXPECT_EQ(FARLO(RegisterForAlerts)(handle, nullptr), 0u);
        start_watching();
        EXPECT_EQ(LabCmdDeliver(handle, nullptr), ZTSTATUS_OK);
        expect_log({{0, "Null alert event, exit OpalEventHandler"}});
    });
}

TEST_F(Alerts, AnAlertWithoutAName) {
    once([&] {
        watch();
        resets = 0;
        const opal_alert alert{nullptr};
        EXPECT_EQ(LabCmdDeliver(handle, &alert), ZTSTATUS_OK);
        EXPECT_EQ(resets, 0);
        expect_log({{6, "OpalEventHandler : Received alert (null)"}});
    });
}

TEST_F(Alerts, ANullCallbackClearsTheOneBefore) {
    at_every_threshold([&] {
        watch();
        EXPECT_EQ(FARLO(RegisterForAlerts)(handle, nullptr), 0u);
        expect_log({{0, "RegisterForAlerts() Failed"}});
        start_watching();
        EXPECT_EQ(deliver(names[0]), 0);
        expect_log({{0, "OpalEventHandler : Reset time out callback is NULL"}});
    });
}

TEST_F(Alerts, ANullHandleStoresTheCallbackAndRegistersNothing) {
    at_every_threshold([&] {
        lab_cmd_calls before;
        lab_cmd_calls after;
        LabCmdGetCalls(&before);
        EXPECT_EQ(FARLO(RegisterForAlerts)(nullptr, reset_timeout), 0u);
        LabCmdGetCalls(&after);
        EXPECT_EQ(after.register_alerts, before.register_alerts);
        expect_log({{0, "RegisterForAlerts() Failed"}});
        // The next fresh connection registers the callback that was stored.
        disconnect();
        EXPECT_EQ(FARLO(ValidateClusterW)(&handle), 0u);
        EXPECT_EQ(deliver(names[0]), 1);
    });
}

// Runs code between two instructions of the DLL: single-steps this thread from
// start() to stop() and calls the code before the n-th of them.
class SingleSteps {
  public:
    SingleSteps(HMODULE module, unsigned step, std::function<void()> code)
        : m_begin(reinterpret_cast<std::uintptr_t>(module)), m_step(step), m_code(std::move(code)),
          m_handler(AddVectoredExceptionHandler(1, &handle)) {
        const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(m_begin);
        const auto* nt = reinterpret_cast<const IMAGE_NT_HEADERS*>(m_begin + dos->e_lfanew);
        m_size = nt->OptionalHeader.SizeOfImage;
        s_current = this;
    }
    ~SingleSteps() {
        stop();
        RemoveVectoredExceptionHandler(m_handler);
        s_current = nullptr;
    }
    SingleSteps(const SingleSteps&) = delete;
    SingleSteps& operator=(const SingleSteps&) = delete;

    void start() {
        m_stepping = true;
        __writeeflags(__readeflags() | trap_flag);
    }
    void stop() { m_stepping = false; }
    // Instructions of the DLL that were stepped over.
    unsigned taken() const { return m_taken; }

  private:
    static constexpr unsigned trap_flag = 0x100;

    static LONG CALLBACK handle(EXCEPTION_POINTERS* exception) {
        SingleSteps* const steps = s_current;
        if (exception->ExceptionRecord->ExceptionCode != EXCEPTION_SINGLE_STEP ||
            steps == nullptr) {
            return EXCEPTION_CONTINUE_SEARCH;
        }
        const auto at =
            reinterpret_cast<std::uintptr_t>(exception->ExceptionRecord->ExceptionAddress);
        if (at - steps->m_begin < steps->m_size && steps->m_taken++ == steps->m_step) {
            steps->m_code();
        }
        if (steps->m_stepping) {
            exception->ContextRecord->EFlags |= trap_flag;
        }
        return EXCEPTION_CONTINUE_EXECUTION;
    }

    static inline SingleSteps* s_current = nullptr;
    std::uintptr_t m_begin;
    std::uintptr_t m_size;
    unsigned m_step;
    unsigned m_taken = 0;
    bool m_stepping = false;
    std::function<void()> m_code;
    void* m_handler;
};

// Between whichever two instructions of a validation the agent clears its callback,
// from the fresh connection to the registration of its alerts.
TEST_F(Alerts, KeepsACallbackClearedDuringAValidation) {
    at_threshold(0, [&] {
        bool was_cleared = true;
        for (unsigned step = 0; was_cleared; ++step) {
            SCOPED_TRACE(step);
            watch();
            disconnect();
            SingleSteps steps(dll().module(), step, [&] {
                FARLO(RegisterForAlerts)(handle, nullptr);
            });
            const StandIn<decltype(InitializeZtVmW)> connect(
                dll().module(), "InitializeZtVmW",
                [&](std::uint32_t flags, std::uint32_t reserved, opal_handle* slot) {
                    const opal_status status = InitializeZtVmW(flags, reserved, slot);
                    steps.start();
                    return status;
                });
            const StandIn<decltype(RegisterAlertCallback)> reg(
                dll().module(), "RegisterAlertCallback",
                [&](opal_handle registered, opal_alert_handler handler) {
                    steps.stop();
                    return RegisterAlertCallback(registered, handler);
                });
            ASSERT_EQ(FARLO(ValidateClusterW)(&handle), 0u);
            steps.stop();
            was_cleared = step < steps.taken();
            ASSERT_TRUE(was_cleared || step > 0) << "no instruction was stepped over";
            const opal_alert alert{names[0]};
            resets = 0;
            LabCmdDeliver(handle, &alert);
            EXPECT_EQ(resets, was_cleared ? 0 : 1);
        }
    });
}

TEST_F(Alerts, TheHandlesStatusIsReturnedAndClassified) {
    const struct {
        opal_status status;
        bool fails;
    } rows[] = {{0xc1000101, true}, {0x41000012, false}, {0x81000001, false}, {0x00000001, true},
                {0x40000001, true}, {0x80070005, true},  {0x40070005, false}, {0x00070005, false},
                {0xe5150001, true}, {0x00000000, false}};
    at_every_threshold([&] {
        for (const auto& row : rows) {
            SCOPED_TRACE(row.status);
            LabCmdFailRegister(row.status);
            start_watching();
            EXPECT_EQ(FARLO(RegisterForAlerts)(handle, reset_timeout), row.status);
            char line[64];
            snprintf(line, sizeof line, "RegisterForAlerts() Failed hr=%X", row.status);
            expect_log(row.fails ? std::vector<Expected>{{0, line}} : std::vector<Expected>{});
        }
        LabCmdFailRegister(0);
    });
}

TEST_F(Alerts, AHandleThatIsNotConnected) {
    at_every_threshold([&] {
        watch();
        disconnect();
        EXPECT_EQ(FARLO(RegisterForAlerts)(handle, reset_other_timeout), 0xc1000103u);
        expect_log({{0, "RegisterForAlerts() Failed hr=C1000103"}});
    });
}

// There is one callback: the last, whatever became of its registration.
TEST_F(Alerts, TheLastCallbackRuns) {
    once([&] {
        watch();
        EXPECT_EQ(FARLO(RegisterForAlerts)(handle, reset_other_timeout), 0u);
        EXPECT_EQ(deliver(names[0]), 0);
        EXPECT_EQ(other_resets, 1);
        LabCmdFailRegister(0xc1000101);
        EXPECT_EQ(FARLO(RegisterForAlerts)(handle, reset_timeout), 0xc1000101u);
        LabCmdFailRegister(0);
        EXPECT_EQ(deliver(names[0]), 1);
        EXPECT_EQ(other_resets, 0);
        EXPECT_EQ(FARLO(RegisterForAlerts)(nullptr, reset_other_timeout), 0u);
        EXPECT_EQ(deliver(names[0]), 0);
        EXPECT_EQ(other_resets, 1);
    });
}

TEST_F(Alerts, WithoutACallbackNothingIsRegistered) {
    once([&] {
        watch();
        for (const opal_handle given : {handle, opal_handle{nullptr}}) {
            SCOPED_TRACE(given);
            EXPECT_EQ(FARLO(RegisterForAlerts)(handle, reset_timeout), 0u);
            lab_cmd_calls before;
            LabCmdGetCalls(&before);
            start_watching();
            EXPECT_EQ(FARLO(RegisterForAlerts)(given, nullptr), 0u);
            expect_log({{0, "RegisterForAlerts() Failed"}});
            lab_cmd_calls after;
            LabCmdGetCalls(&after);
            EXPECT_EQ(after.register_alerts, before.register_alerts);
            start_watching();
            EXPECT_EQ(deliver(names[0]), 0);
            expect_log({{0, "OpalEventHandler : Reset time out callback is NULL"}});
        }
    });
}

// A callback that is cleared while an alert is on its way is not called.
Interposer* release_lock;
RegisterForAlerts_fn register_for_alerts;
int lines_until_cleared;
void WINAPI clear_then_leave(SRWLOCK* lock) {
    release_lock->original<void WINAPI(SRWLOCK*)>()(lock);
    if (--lines_until_cleared == 0) {
        register_for_alerts(nullptr, nullptr);
    }
}

TEST_F(Alerts, ACallbackClearedInBetweenIsNotCalled) {
    const auto deliver_cleared_behind = [&](int lines) {
        ASSERT_EQ(FARLO(RegisterForAlerts)(handle, reset_timeout), 0u);
        start_watching();
        register_for_alerts = dll().entry<RegisterForAlerts_fn>("RegisterForAlerts");
        lines_until_cleared = lines;
        Interposer interposer(dll().module(), "ReleaseSRWLockExclusive", clear_then_leave);
        release_lock = &interposer;
        EXPECT_EQ(deliver(names[0]), 0);
    };
    const Expected received = {6, std::string("OpalEventHandler : Received alert ") + names[0]};
    const Expected cleared = {0, "RegisterForAlerts() Failed"};
    once([&] {
        deliver_cleared_behind(1);
        expect_log({received, cleared});
        deliver_cleared_behind(2);
        expect_log({received, {6, "OpalEventHandler : Reset time"}, cleared});
    });
}

// The road from an import to the callback.
TEST_F(Alerts, AnImportIsTold) {
    scenario = R"({"disk_groups": [{"name": "dg1", "dgid": "guid-1"}]})";
    once([&] {
        watch();
        resets = 0;
        EXPECT_EQ(FARLO(OnlineDgW)(handle, L"dg1", "guid-1", nullptr, 0), 0u);
        LabCmdFlushAlerts();
        EXPECT_EQ(resets, 1);
    });
}

TEST_F(Alerts, NoAlertComesAfterTheHandleIsReleased) {
    once([&] {
        watch();
        resets = 0;
        EXPECT_EQ(FARLO(UnInitializeClusterW)(handle), 0u);
        handle = nullptr;
        LabRaiseAlert(names[0]);
        LabCmdFlushAlerts();
        EXPECT_EQ(resets, 0);
    });
}

}  // namespace
