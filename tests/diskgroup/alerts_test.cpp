// RegisterForAlerts, and the delivery of alerts.
#include "support/farlo_test.h"
#include "support/log_messages.h"
#include "support/service_names.h"

#include <atomic>
#include <functional>

namespace {

using namespace support;

// How often each of the two callbacks ran.
std::atomic<int> callback_runs{0};
void callback() {
    ++callback_runs;
}
std::atomic<int> other_callback_runs{0};
void other_callback() {
    ++other_callback_runs;
}

constexpr char import_success[] = "event.alert.ztvm.ztvm.dg.import.success";

// The alerts that run the callback.
constexpr const char* alert_names[] = {
    import_success,
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
    // Delivers an alert on this thread, with both counts reset.
    void deliver(const std::string& name) {
        callback_runs = 0;
        other_callback_runs = 0;
        const opal_alert alert{name.c_str()};
        EXPECT_EQ(LabCmdDeliver(handle, &alert), bus_success);
    }
    void register_callback() {
        ASSERT_EQ(FARLO(RegisterForAlerts)(handle, callback), FARLO_SUCCESS);
        start_watching();
    }
    // How often the library registered for alerts with the command library.
    static unsigned registrations() {
        lab_cmd_calls calls;
        LabCmdGetCalls(&calls);
        return calls.register_alerts;
    }
};

TEST_F(Alerts, RunsCallbackForEveryListedName) {
    at_every_threshold([&] {
        register_callback();
        for (const std::string name : alert_names) {
            SCOPED_TRACE(name);
            start_watching();
            deliver(name);
            EXPECT_EQ(callback_runs, 1);
            expect_log({{6, "OpalEventHandler : Received alert " + name},
                        {6, "OpalEventHandler : Reset time"}});
        }
    });
}

std::vector<std::string> logged_before_callback;
void store_log() {
    logged_before_callback = log_messages();
}

TEST_F(Alerts, LogsBothLinesBeforeRunningCallback) {
    once([&] {
        ASSERT_EQ(FARLO(RegisterForAlerts)(handle, store_log), FARLO_SUCCESS);
        start_watching();
        deliver(import_success);
        EXPECT_EQ(logged_before_callback,
                  (std::vector<std::string>{std::string("OpalEventHandler : Received alert ") +
                                                import_success,
                                            "OpalEventHandler : Reset time"}));
    });
}

TEST_F(Alerts, IgnoresCaseAndFurtherCharactersOfName) {
    once([&] {
        register_callback();
        for (std::string name : alert_names) {
            std::string upper = name;
            for (char& character : upper) {
                character = static_cast<char>(toupper(character));
            }
            deliver(upper);
            EXPECT_EQ(callback_runs, 1) << upper;
            deliver(name + ".again");
            EXPECT_EQ(callback_runs, 1) << name;
        }
    });
}

TEST_F(Alerts, RunsNoCallbackForShorterName) {
    once([&] {
        register_callback();
        for (const std::string name : alert_names) {
            const std::string shorter = name.substr(0, name.size() - 1);
            start_watching();
            deliver(shorter);
            EXPECT_EQ(callback_runs, 0) << name;
            expect_log({{6, "OpalEventHandler : Received alert " + shorter}});
        }
    });
}

TEST_F(Alerts, RunsNoCallbackForOtherName) {
    at_every_threshold([&] {
        register_callback();
        deliver("event.alert.ztvm.ztvm.dg.rename.success");
        EXPECT_EQ(callback_runs, 0);
        expect_log(
            {{6, "OpalEventHandler : Received alert event.alert.ztvm.ztvm.dg.rename.success"}});
    });
}

TEST_F(Alerts, LogsErrorForNullAlert) {
    at_every_threshold([&] {
        register_callback();
        callback_runs = 0;
        EXPECT_EQ(LabCmdDeliver(handle, nullptr), bus_success);
        EXPECT_EQ(callback_runs, 0);
        expect_log({{0, "Null alert event, exit OpalEventHandler"}});
    });
}

TEST_F(Alerts, LogsErrorForNullAlertWithoutCallback) {
    once([&] {
        register_callback();
        EXPECT_EQ(FARLO(RegisterForAlerts)(handle, nullptr), FARLO_SUCCESS);
        start_watching();
        EXPECT_EQ(LabCmdDeliver(handle, nullptr), bus_success);
        expect_log({{0, "Null alert event, exit OpalEventHandler"}});
    });
}

TEST_F(Alerts, RunsNoCallbackForAlertWithoutName) {
    once([&] {
        register_callback();
        callback_runs = 0;
        const opal_alert alert{nullptr};
        EXPECT_EQ(LabCmdDeliver(handle, &alert), bus_success);
        EXPECT_EQ(callback_runs, 0);
        expect_log({{6, "OpalEventHandler : Received alert (null)"}});
    });
}

TEST_F(Alerts, NullCallbackClearsStoredCallback) {
    at_every_threshold([&] {
        register_callback();
        EXPECT_EQ(FARLO(RegisterForAlerts)(handle, nullptr), FARLO_SUCCESS);
        expect_log({{0, "RegisterForAlerts() Failed"}});
        start_watching();
        deliver(import_success);
        EXPECT_EQ(callback_runs, 0);
        expect_log({{0, "OpalEventHandler : Reset time out callback is NULL"}});
    });
}

TEST_F(Alerts, StoresCallbackWithoutRegisteringForNullHandle) {
    at_every_threshold([&] {
        const unsigned before = registrations();
        EXPECT_EQ(FARLO(RegisterForAlerts)(nullptr, callback), FARLO_SUCCESS);
        EXPECT_EQ(registrations(), before);
        expect_log({{0, "RegisterForAlerts() Failed"}});
        // The next new connection registers the stored callback.
        disconnect();
        EXPECT_EQ(FARLO(ValidateClusterW)(&handle), FARLO_SUCCESS);
        deliver(import_success);
        EXPECT_EQ(callback_runs, 1);
    });
}

// Runs code between two instructions of the DLL: single-steps this thread from start() to stop()
// and calls the code before instruction number `step` of the DLL, counted from 0.
class SingleSteps {
  public:
    SingleSteps(HMODULE module, unsigned step, std::function<void()> code)
        : m_begin(reinterpret_cast<std::uintptr_t>(module)), m_step(step), m_code(std::move(code)),
          m_handler(AddVectoredExceptionHandler(1, &handle)) {
        const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(m_begin);
        const auto* nt = reinterpret_cast<const IMAGE_NT_HEADERS*>(
            m_begin + static_cast<std::size_t>(dos->e_lfanew));
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
    // The number of instructions of the DLL that were stepped over.
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

// The agent clears its callback before every single instruction of the DLL in turn, from the new
// connection to the registration of its alerts.
TEST_F(Alerts, RunsNoCallbackThatWasClearedDuringValidation) {
    at_threshold(0, [&] {
        bool was_cleared = true;
        for (unsigned step = 0; was_cleared; ++step) {
            SCOPED_TRACE(step);
            register_callback();
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
            const StandIn<decltype(RegisterAlertCallback)> register_alerts(
                dll().module(), "RegisterAlertCallback",
                [&](opal_handle registered, opal_alert_handler handler) {
                    steps.stop();
                    return RegisterAlertCallback(registered, handler);
                });
            ASSERT_EQ(FARLO(ValidateClusterW)(&handle), FARLO_SUCCESS);
            steps.stop();
            was_cleared = step < steps.taken();
            ASSERT_TRUE(was_cleared || step > 0) << "no instruction of the DLL was stepped over";
            const opal_alert alert{import_success};
            callback_runs = 0;
            LabCmdDeliver(handle, &alert);
            EXPECT_EQ(callback_runs, was_cleared ? 0 : 1);
        }
    });
}

// Whether a status is a failure depends on its facility (bits 16 to 27).
TEST_F(Alerts, ReturnsStatusOfRegistrationAndLogsFailures) {
    constexpr std::uint32_t second_bit = 0x40000000;  // has a meaning only in statuses of the bus
    const struct {
        opal_status status;
        bool fails;
    } rows[] = {
        // No facility: a failure unless zero.
        {bus_success, false},
        {ERROR_INVALID_FUNCTION, true},
        {ERROR_INVALID_FUNCTION | second_bit, true},
        // The bus: a failure if both top bits are set.
        {bus_invalid_argument, true},
        {bus_same_value, false},
        {bus_warning, false},
        // Other facilities: a failure if the top bit is set.
        {system_access_denied, true},
        {system_informational | second_bit, false},
        {system_informational, false},
        {unknown_service_failure, true},
    };
    at_every_threshold([&] {
        for (const auto& row : rows) {
            SCOPED_TRACE(hex(row.status));
            LabCmdFailRegister(row.status);
            start_watching();
            EXPECT_EQ(FARLO(RegisterForAlerts)(handle, callback), row.status);
            char line[64];
            snprintf(line, sizeof line, "RegisterForAlerts() Failed hr=%X", row.status);
            expect_log(row.fails ? std::vector<Expected>{{0, line}} : std::vector<Expected>{});
        }
        LabCmdFailRegister(bus_success);
    });
}

TEST_F(Alerts, ReturnsStatusOfCommandLibraryWithoutConnection) {
    at_every_threshold([&] {
        register_callback();
        disconnect();
        EXPECT_EQ(FARLO(RegisterForAlerts)(handle, other_callback), bus_not_connected);
        expect_log({{0, "RegisterForAlerts() Failed hr=C1000103"}});
    });
}

TEST_F(Alerts, RunsLastCallbackEvenIfItsRegistrationFailed) {
    once([&] {
        register_callback();
        EXPECT_EQ(FARLO(RegisterForAlerts)(handle, other_callback), FARLO_SUCCESS);
        deliver(import_success);
        EXPECT_EQ(callback_runs, 0);
        EXPECT_EQ(other_callback_runs, 1);
        LabCmdFailRegister(bus_invalid_argument);
        EXPECT_EQ(FARLO(RegisterForAlerts)(handle, callback), bus_invalid_argument);
        LabCmdFailRegister(bus_success);
        deliver(import_success);
        EXPECT_EQ(callback_runs, 1);
        EXPECT_EQ(other_callback_runs, 0);
        EXPECT_EQ(FARLO(RegisterForAlerts)(nullptr, other_callback), FARLO_SUCCESS);
        deliver(import_success);
        EXPECT_EQ(callback_runs, 0);
        EXPECT_EQ(other_callback_runs, 1);
    });
}

TEST_F(Alerts, RegistersNothingWithoutCallback) {
    once([&] {
        register_callback();
        for (const opal_handle passed : {handle, opal_handle{nullptr}}) {
            SCOPED_TRACE(passed);
            EXPECT_EQ(FARLO(RegisterForAlerts)(handle, callback), FARLO_SUCCESS);
            const unsigned before = registrations();
            start_watching();
            EXPECT_EQ(FARLO(RegisterForAlerts)(passed, nullptr), FARLO_SUCCESS);
            expect_log({{0, "RegisterForAlerts() Failed"}});
            EXPECT_EQ(registrations(), before);
            start_watching();
            deliver(import_success);
            EXPECT_EQ(callback_runs, 0);
            expect_log({{0, "OpalEventHandler : Reset time out callback is NULL"}});
        }
    });
}

// The library's log releases its lock once after each line.
TEST_F(Alerts, RunsNoCallbackThatIsClearedDuringAlert) {
    const auto deliver_and_clear_after = [&](int lines) {
        ASSERT_EQ(FARLO(RegisterForAlerts)(handle, callback), FARLO_SUCCESS);
        start_watching();
        const StandIn<decltype(ReleaseSRWLockExclusive)> release(
            dll().module(), "ReleaseSRWLockExclusive", [&](SRWLOCK* lock) {
                ReleaseSRWLockExclusive(lock);
                if (--lines == 0) {
                    FARLO(RegisterForAlerts)(nullptr, nullptr);
                }
            });
        deliver(import_success);
        EXPECT_EQ(callback_runs, 0);
    };
    const Expected received = {6,
                               std::string("OpalEventHandler : Received alert ") + import_success};
    const Expected cleared = {0, "RegisterForAlerts() Failed"};
    once([&] {
        deliver_and_clear_after(1);
        expect_log({received, cleared});
        deliver_and_clear_after(2);
        expect_log({received, {6, "OpalEventHandler : Reset time"}, cleared});
    });
}

TEST_F(Alerts, RunsCallbackAfterImport) {
    scenario = R"({"disk_groups": [{"name": "dg1", "dgid": "guid-1"}]})";
    once([&] {
        register_callback();
        callback_runs = 0;
        EXPECT_EQ(FARLO(OnlineDgW)(handle, L"dg1", "guid-1", nullptr, 0), FARLO_SUCCESS);
        LabCmdFlushAlerts();
        EXPECT_EQ(callback_runs, 1);
    });
}

TEST_F(Alerts, RunsNoCallbackAfterHandleIsReleased) {
    once([&] {
        register_callback();
        callback_runs = 0;
        EXPECT_EQ(FARLO(UnInitializeClusterW)(handle), FARLO_SUCCESS);
        handle = nullptr;
        LabRaiseAlert(import_success);
        LabCmdFlushAlerts();
        EXPECT_EQ(callback_runs, 0);
    });
}

}  // namespace
