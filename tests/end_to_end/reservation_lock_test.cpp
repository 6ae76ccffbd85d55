// The reservation status while another process holds the group's lock, with the real
// driver, service and processes.
#include "dmcontrol/control_device.h"
#include "drivers/driver_service.h"
#include "service/service_fixture.h"
#include "support/farlo_dll.h"

namespace {

using namespace support;

constexpr char guid[] = "e0000000-0000-0000-0000-000000000001";

class ReservationLock : public ServiceTest {
  protected:
    void SetUp() override {
        environment().remove_logs();
        m_ready = CreateSemaphoreW(nullptr, 0, 1, (m_name + L".ready").c_str());
        m_go = CreateEventW(nullptr, TRUE, FALSE, (m_name + L".go").c_str());
        lab::stop_driver(LAB_DM_DRIVER);
        start(R"({"node": {"name": "here"}, "disk_groups": [
                  {"name": "dg", "dgid": "e0000000-0000-0000-0000-000000000001",
                   "reservation": {"owner": "here", "key": 1}}]})",
              "[]", 0, L" --driver");
        m_farlo = std::make_unique<FarloDll>();
        ASSERT_EQ(CALL(*m_farlo, InitializeClusterW)(&m_handle), FARLO_SUCCESS);
    }
    void TearDown() override {
        m_holder.reset();
        EXPECT_EQ(CALL(*m_farlo, UnInitializeClusterW)(m_handle), FARLO_SUCCESS);
        m_farlo.reset();
        ServiceTest::TearDown();
        service.reset();
        lab::stop_driver(LAB_DM_DRIVER);
        CloseHandle(m_ready);
        CloseHandle(m_go);
    }

    void hold_lock() {
        m_holder =
            std::make_unique<Process>(beside_this_program(L"mutex_holder.exe") + L" " + m_name +
                                      L" Global\\" + std::wstring(guid, guid + sizeof guid - 1));
        ASSERT_EQ(WaitForSingleObject(m_ready, hang_ms), WAIT_OBJECT_0);
    }
    void release_lock() {
        SetEvent(m_go);
        EXPECT_EQ(m_holder->wait(hang_ms), 0u);
    }
    // Returns the reservation that the library provides. The call must return `wanted_status`.
    std::uint32_t reservation(std::uint32_t wanted_status) {
        std::uint32_t provided = 0xC5C5C5C5;
        EXPECT_EQ(CALL(*m_farlo, GetDgReservationStatusW)(m_handle, L"dg", guid, &provided),
                  wanted_status);
        return provided;
    }

    std::unique_ptr<Process> m_holder;

  private:
    const std::wstring m_name = L"mutex-holder-" + std::to_wstring(GetCurrentProcessId());
    HANDLE m_ready = nullptr;
    HANDLE m_go = nullptr;
    std::unique_ptr<FarloDll> m_farlo;
    opal_handle m_handle = nullptr;
};

TEST_F(ReservationLock, ReturnsBusyWhileHeldByAnotherProcess) {
    EXPECT_EQ(reservation(FARLO_SUCCESS), FARLO_RESERVATION_HELD);
    hold_lock();
    // The next request that reaches the driver gets this status.
    lab::ControlDevice control;
    ASSERT_EQ(
        control.set_answer(DM_INFO_GET_RESERVATION, native_bits(native::object_name_not_found), 1),
        native_bits(native::success));
    EXPECT_EQ(reservation(FARLO_SUCCESS), FARLO_RESERVATION_BUSY);
    EXPECT_EQ(reservation(FARLO_SUCCESS), FARLO_RESERVATION_BUSY);
    release_lock();
    EXPECT_EQ(reservation(FARLO_NOT_FOUND), FARLO_RESERVATION_UNKNOWN)
        << "a request reached the driver while the other process held the lock";
    EXPECT_EQ(reservation(FARLO_SUCCESS), FARLO_RESERVATION_HELD);
}

TEST_F(ReservationLock, IsFreeAfterItsHolderIsKilled) {
    hold_lock();
    EXPECT_EQ(reservation(FARLO_SUCCESS), FARLO_RESERVATION_BUSY);
    m_holder->kill();
    EXPECT_EQ(reservation(FARLO_SUCCESS), FARLO_RESERVATION_HELD);
}

// The test keeps the lock from being deleted when its owner dies. The first query after that finds
// the lock abandoned.
TEST_F(ReservationLock, ReturnsBusyWhenAbandoned) {
    hold_lock();
    const lab::WindowsHandle open(
        OpenMutexA(SYNCHRONIZE, FALSE, (std::string("Global\\") + guid).c_str()));
    ASSERT_TRUE(open != nullptr);
    m_holder->kill();
    EXPECT_EQ(reservation(FARLO_SUCCESS), FARLO_RESERVATION_BUSY);
}

}  // namespace
