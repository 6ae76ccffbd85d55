// ReleaseDgW.
#include "farlo_test.h"
#include "kernel_journal.h"

namespace {

using namespace support;

using Lines = std::vector<std::string>;

const std::string allocate = "VirtualAlloc 308 0x1000 0x4 -> page";
const std::string open = "ZwOpenFile \\Device\\DmControl\\DmInfo 0x40 0x100003 0x3 0x10 -> 0x0 0x0";

std::string control(const std::string& guid, const std::string& result) {
    return "control 0xd903f034 \"" + guid + "\" 1 -> " + result;
}

class Release : public FarloTest {
  protected:
    Release() { connects = false; }
};

const Expected entering{4, "Entering ReleaseDgW()"};
const Expected exiting{4, "Exiting ReleaseDgW"};

TEST_F(Release, TellsTheDriver) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        EXPECT_EQ(FARLO(ReleaseDgW)("guid-r"), 0u);
        EXPECT_EQ(journal.lines, (Lines{allocate, open, control("guid-r", "0x0 0x0")}));
        EXPECT_EQ(journal.faults(), Lines{});
        expect_calls({});
        expect_log({entering, exiting});
    });
}

// Whoever counts on the pages must find them, whatever the driver said.
TEST_F(Release, NeverFreesItsPage) {
    once([&] {
        KernelJournal journal(dll().module(), clock());
        EXPECT_EQ(FARLO(ReleaseDgW)("guid-r"), 0u);
        EXPECT_EQ(journal.live_pages(), 1u);
        journal.controls = {{0, STATUS_OBJECT_NAME_NOT_FOUND}};
        EXPECT_EQ(FARLO(ReleaseDgW)("guid-r"), 1u);
        EXPECT_EQ(journal.live_pages(), 2u);
        journal.controls = {{0, STATUS_UNSUCCESSFUL}};
        EXPECT_EQ(FARLO(ReleaseDgW)("guid-r"), 24u);
        EXPECT_EQ(journal.live_pages(), 3u);
    });
}

TEST_F(Release, WantsAGuid) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        EXPECT_EQ(FARLO(ReleaseDgW)(nullptr), 18u);
        EXPECT_EQ(journal.lines, Lines{});
        expect_log({entering, {0, " ReleaseDgW() failed , error=(0x12)"}, exiting});
    });
}

TEST_F(Release, RefusesAGuidThatIsTooLong) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        EXPECT_EQ(FARLO(ReleaseDgW)(std::string(256, 'g').c_str()), 0x80070057u);
        EXPECT_EQ(journal.lines, Lines{});
        expect_log({entering,
                    {0, "ReleaseDgW() failed , guid string of more than 255 characters, "
                        "error=(0x80070057)"},
                    exiting});
    });
}

TEST_F(Release, TakesAGuidThatJustFits) {
    once([&] {
        KernelJournal journal(dll().module(), clock());
        const std::string guid(255, 'g');
        EXPECT_EQ(FARLO(ReleaseDgW)(guid.c_str()), 0u);
        EXPECT_EQ(journal.lines, (Lines{allocate, open, control(guid, "0x0 0x0")}));
        EXPECT_EQ(FARLO(ReleaseDgW)(""), 0u);
        EXPECT_EQ(journal.lines.back(), control("", "0x0 0x0"));
        EXPECT_EQ(journal.faults(), Lines{});
    });
}

TEST_F(Release, FailsWithoutAPage) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        journal.pages_fail = true;
        EXPECT_EQ(FARLO(ReleaseDgW)("guid-r"), 17u);
        EXPECT_EQ(journal.lines, Lines{"VirtualAlloc 308 0x1000 0x4 -> none"});
        expect_log({entering,
                    {0, "ReleaseDgW():No memory VirtualAlloc failed, error=(0x11) "},
                    {0, " ReleaseDgW() failed , error=(0x11)"},
                    exiting});
    });
}

TEST_F(Release, DoesNotRetryWhatIsNotFound) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        journal.controls = {{STATUS_OBJECT_NAME_NOT_FOUND, 0}};
        EXPECT_EQ(FARLO(ReleaseDgW)("guid-r"), 1u);
        EXPECT_EQ(journal.lines, (Lines{allocate, open, control("guid-r", "0xc0000034 0x0")}));
        expect_log({entering, {0, " ReleaseDgW() failed , error=(0x1)"}, exiting});
    });
}

TEST_F(Release, TriesSixTimes) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        journal.controls = {{0, STATUS_SHARING_VIOLATION}};
        EXPECT_EQ(FARLO(ReleaseDgW)("guid-r"), 23u);
        Lines wanted = {allocate, open};
        for (int i = 0; i < 6; ++i) {
            wanted.push_back(control("guid-r", "0x0 0xc0000043"));
            wanted.push_back("Sleep 1000");
        }
        EXPECT_EQ(journal.lines, wanted);
        expect_log({entering, {0, " ReleaseDgW() failed , error=(0x17)"}, exiting});
    });
}

TEST_F(Release, StopsAtSuccess) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        journal.controls = {{0, STATUS_SHARING_VIOLATION}, {0, 0}};
        EXPECT_EQ(FARLO(ReleaseDgW)("guid-r"), 0u);
        EXPECT_EQ(journal.lines, (Lines{allocate, open, control("guid-r", "0x0 0xc0000043"),
                                        "Sleep 1000", control("guid-r", "0x0 0x0")}));
        expect_log({entering, exiting});
    });
}

TEST_F(Release, TellsOfADeviceThatIsNotThere) {
    for (const NTSTATUS native : {STATUS_OBJECT_NAME_NOT_FOUND, STATUS_OBJECT_PATH_NOT_FOUND}) {
        at_every_threshold([&] {
            KernelJournal journal(dll().module(), clock());
            journal.opens = {{native}};
            EXPECT_EQ(FARLO(ReleaseDgW)("guid-r"), 1u);
            expect_pauses(std::vector<Pause>(3, {"Sleep", 1000}));
            expect_log({entering, {0, " ReleaseDgW() failed , error=(0x1)"}, exiting});
        });
    }
}

}  // namespace
