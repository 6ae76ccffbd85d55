// ReleaseDgW.
#include "support/bus_lines.h"
#include "support/farlo_test.h"
#include "support/journal_lines.h"
#include "support/kernel_journal.h"

namespace {

using namespace support;

// The request to the driver.
std::string release(const std::string& guid, std::int32_t returned = native::success,
                    std::int32_t io_status = native::success) {
    return control(control_code::release_reservation, guid, 1, returned, io_status);
}

class ReleaseDg : public FarloTest {
  protected:
    ReleaseDg() { connects = false; }
};

const Expected entering{4, "Entering ReleaseDgW()"};
const Expected exiting{4, "Exiting ReleaseDgW"};

TEST_F(ReleaseDg, SendsGuidToDriver) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        EXPECT_EQ(FARLO(ReleaseDgW)("guid-r"), FARLO_SUCCESS);
        EXPECT_EQ(journal.lines, (Lines{allocate_page, open_info_device(), release("guid-r")}));
        EXPECT_EQ(journal.faults(), Lines{});
        expect_calls({});
        expect_log({entering, exiting});
    });
}

// Each call keeps its page, whether the driver succeeds or fails.
TEST_F(ReleaseDg, NeverFreesItsPage) {
    once([&] {
        KernelJournal journal(dll().module(), clock());
        EXPECT_EQ(FARLO(ReleaseDgW)("guid-r"), FARLO_SUCCESS);
        EXPECT_EQ(journal.live_pages(), 1u);
        journal.controls = {{.io_status = native::object_name_not_found}};
        EXPECT_EQ(FARLO(ReleaseDgW)("guid-r"), FARLO_NOT_FOUND);
        EXPECT_EQ(journal.live_pages(), 2u);
        journal.controls = {{.io_status = native::unsuccessful}};
        EXPECT_EQ(FARLO(ReleaseDgW)("guid-r"), FARLO_DEVICE_FAILED);
        EXPECT_EQ(journal.live_pages(), 3u);
    });
}

TEST_F(ReleaseDg, RejectsNullGuid) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        EXPECT_EQ(FARLO(ReleaseDgW)(nullptr), FARLO_EXCEPTION);
        EXPECT_EQ(journal.lines, Lines{});
        expect_log({entering, {0, " ReleaseDgW() failed , error=(0x12)"}, exiting});
    });
}

TEST_F(ReleaseDg, RejectsGuidThatIsTooLong) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        EXPECT_EQ(FARLO(ReleaseDgW)(std::string(256, 'g').c_str()), FARLO_INVALID_ARGUMENT);
        EXPECT_EQ(journal.lines, Lines{});
        expect_log({entering,
                    {0, "ReleaseDgW() failed , guid string of more than 255 characters, "
                        "error=(0x80070057)"},
                    exiting});
    });
}

TEST_F(ReleaseDg, AcceptsLongestAndEmptyGuid) {
    once([&] {
        KernelJournal journal(dll().module(), clock());
        const std::string guid(255, 'g');
        EXPECT_EQ(FARLO(ReleaseDgW)(guid.c_str()), FARLO_SUCCESS);
        EXPECT_EQ(journal.lines, (Lines{allocate_page, open_info_device(), release(guid)}));
        EXPECT_EQ(FARLO(ReleaseDgW)(""), FARLO_SUCCESS);
        EXPECT_EQ(journal.lines.back(), release(""));
        EXPECT_EQ(journal.faults(), Lines{});
    });
}

TEST_F(ReleaseDg, FailsWhenPageCannotBeAllocated) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        journal.pages_fail = true;
        EXPECT_EQ(FARLO(ReleaseDgW)("guid-r"), FARLO_NO_GUID_MEMORY);
        EXPECT_EQ(journal.lines, Lines{no_page});
        expect_log({entering,
                    {0, "ReleaseDgW():No memory VirtualAlloc failed, error=(0x11) "},
                    {0, " ReleaseDgW() failed , error=(0x11)"},
                    exiting});
    });
}

TEST_F(ReleaseDg, ReturnsNotFoundWithoutRetry) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        journal.controls = {{.returned = native::object_name_not_found}};
        EXPECT_EQ(FARLO(ReleaseDgW)("guid-r"), FARLO_NOT_FOUND);
        EXPECT_EQ(journal.lines, (Lines{allocate_page, open_info_device(),
                                        release("guid-r", native::object_name_not_found)}));
        expect_log({entering, {0, " ReleaseDgW() failed , error=(0x1)"}, exiting});
    });
}

TEST_F(ReleaseDg, FailsAfterSixTries) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        journal.controls = {{.io_status = native::sharing_violation}};
        EXPECT_EQ(FARLO(ReleaseDgW)("guid-r"), FARLO_DEVICE_SHARING_VIOLATION);
        Lines wanted = {allocate_page, open_info_device()};
        for (int i = 0; i < 6; ++i) {
            wanted.push_back(release("guid-r", native::success, native::sharing_violation));
            wanted.push_back("Sleep 1000");
        }
        EXPECT_EQ(journal.lines, wanted);
        expect_log({entering, {0, " ReleaseDgW() failed , error=(0x17)"}, exiting});
    });
}

TEST_F(ReleaseDg, StopsRetryingAtFirstSuccess) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        journal.controls = {{.io_status = native::sharing_violation}, {}};
        EXPECT_EQ(FARLO(ReleaseDgW)("guid-r"), FARLO_SUCCESS);
        EXPECT_EQ(journal.lines,
                  (Lines{allocate_page, open_info_device(),
                         release("guid-r", native::success, native::sharing_violation),
                         "Sleep 1000", release("guid-r")}));
        expect_log({entering, exiting});
    });
}

TEST_F(ReleaseDg, ReturnsNotFoundWithoutDevice) {
    for (const NTSTATUS not_found :
         {native::object_name_not_found, native::object_path_not_found}) {
        at_every_threshold([&] {
            KernelJournal journal(dll().module(), clock());
            journal.opens = {{.returned = not_found}};
            EXPECT_EQ(FARLO(ReleaseDgW)("guid-r"), FARLO_NOT_FOUND);
            expect_pauses(std::vector<Pause>(3, {"Sleep", 1000}));
            expect_log({entering, {0, " ReleaseDgW() failed , error=(0x1)"}, exiting});
        });
    }
}

}  // namespace
