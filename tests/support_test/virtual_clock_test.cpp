// Tests of support/virtual_clock.h.
#include "support/virtual_clock.h"
#include "ztbus3.h"

#include <gmock/gmock.h>

namespace {

using support::Pause;
using support::VirtualClock;
using support::Wait;
using testing::ElementsAre;

const HMODULE self = GetModuleHandleW(nullptr);

[[gnu::noinline]] void sleep(DWORD milliseconds) {
    Sleep(milliseconds);
}
[[gnu::noinline]] void bus_sleep(DWORD milliseconds) {
    ZtSleep(milliseconds);
}
[[gnu::noinline]] DWORD wait(HANDLE object, DWORD milliseconds) {
    return WaitForSingleObject(object, milliseconds);
}

class VirtualTime : public testing::Test {
  protected:
    ~VirtualTime() override { CloseHandle(event); }

    HANDLE event = CreateEventW(nullptr, FALSE, FALSE, nullptr);  // a successful wait resets it
    VirtualClock clock{self};
};

TEST_F(VirtualTime, RecordsSleepsInOrderWithoutDelay) {
    const ULONGLONG before = GetTickCount64();
    sleep(3'600'000);
    bus_sleep(50);
    sleep(0);
    EXPECT_LT(GetTickCount64() - before, 60'000u);
    EXPECT_THAT(clock.pauses(),
                ElementsAre(Pause{"Sleep", 3'600'000}, Pause{"ZtSleep", 50}, Pause{"Sleep", 0}));
    EXPECT_EQ(clock.elapsed(), 3'600'050u);
}

TEST_F(VirtualTime, DoesNotPauseForSignalledObject) {
    SetEvent(event);
    EXPECT_EQ(wait(event, 300'000), WAIT_OBJECT_0);
    EXPECT_EQ(wait(event, 0), static_cast<DWORD>(WAIT_TIMEOUT));
    EXPECT_THAT(clock.pauses(), ElementsAre());
    EXPECT_THAT(clock.waits(), ElementsAre(Wait{300'000, WAIT_OBJECT_0}, Wait{0, WAIT_TIMEOUT}));
}

TEST_F(VirtualTime, EndsTimeoutAtOnce) {
    EXPECT_EQ(wait(event, 300'000), static_cast<DWORD>(WAIT_TIMEOUT));
    EXPECT_THAT(clock.pauses(), ElementsAre(Pause{"Wait", 300'000}));
}

TEST_F(VirtualTime, CallsOnPauseDuringWait) {
    clock.on_pause = [this](int number) {
        if (number == 2) {
            SetEvent(event);
        }
    };
    EXPECT_EQ(wait(event, 1'000), static_cast<DWORD>(WAIT_TIMEOUT));
    EXPECT_EQ(wait(event, 1'000), WAIT_OBJECT_0);
    EXPECT_EQ(clock.pauses().size(), 2u);
}

TEST_F(VirtualTime, WaitsInRealTimeWithoutTimeout) {
    SetEvent(event);
    EXPECT_EQ(wait(event, INFINITE), WAIT_OBJECT_0);
    EXPECT_THAT(clock.pauses(), ElementsAre());
}

TEST_F(VirtualTime, RejectsSecondClock) {
    EXPECT_THROW(VirtualClock second(self), std::logic_error);
    sleep(1);
    EXPECT_EQ(clock.pauses().size(), 1u);
}

TEST(RealTime, IsRestoredAfterwards) {
    { const VirtualClock clock(self); }
    const ULONGLONG before = GetTickCount64();
    sleep(30);
    EXPECT_GE(GetTickCount64() - before, 15u);
}

}  // namespace
