// The info device: its opening, and what its native statuses become. Looked at
// through ReleaseDgW, which asks once more only for 23 and 24.
#include "farlo_test.h"
#include "kernel_journal.h"

#include <algorithm>
#include <cstdio>

namespace {

using namespace support;

using Lines = std::vector<std::string>;

std::string opened(const std::string& result) {
    return "ZwOpenFile \\Device\\DmControl\\DmInfo 0x40 0x100003 0x3 0x10 -> " + result;
}
std::string control(const std::string& result) {
    return "control 0xd903f034 \"g\" 1 -> " + result;
}
const std::string allocate = "VirtualAlloc 308 0x1000 0x4 -> page";

class InfoDevice : public FarloTest {
  protected:
    InfoDevice() { connects = false; }

    // One request whose status is not retried.
    std::uint32_t request(KernelJournal& journal) {
        journal.lines.clear();
        const std::uint32_t status = FARLO(ReleaseDgW)("g");
        EXPECT_EQ(journal.faults(), Lines{});
        return status;
    }
};

TEST_F(InfoDevice, IsOpenedOnce) {
    once([&] {
        KernelJournal journal(dll().module(), clock());
        EXPECT_EQ(request(journal), 0u);
        EXPECT_EQ(journal.lines, (Lines{allocate, opened("0x0 0x0"), control("0x0 0x0")}));
        EXPECT_EQ(request(journal), 0u);
        EXPECT_EQ(journal.lines, (Lines{allocate, control("0x0 0x0")}));
    });
}

TEST_F(InfoDevice, IsTriedThreeTimes) {
    once([&] {
        KernelJournal journal(dll().module(), clock());
        journal.opens = {{STATUS_UNSUCCESSFUL}, {STATUS_SHARING_VIOLATION}, {0}};
        EXPECT_EQ(request(journal), 0u);
        EXPECT_EQ(journal.lines,
                  (Lines{allocate, opened("0xc0000001 0x0"), "Sleep 1000", opened("0xc0000043 0x0"),
                         "Sleep 1000", opened("0x0 0x0"), control("0x0 0x0")}));
    });
}

TEST_F(InfoDevice, IsNotFoundAfterThreeTries) {
    once([&] {
        KernelJournal journal(dll().module(), clock());
        journal.opens = {{STATUS_OBJECT_NAME_NOT_FOUND}};
        EXPECT_EQ(request(journal), 1u);
        Lines wanted = {allocate};
        for (int i = 0; i < 3; ++i) {
            wanted.push_back(opened("0xc0000034 0x0"));
            wanted.push_back("Sleep 1000");
        }
        EXPECT_EQ(journal.lines, wanted);
        // And is tried again by the next request.
        journal.opens = {{0}};
        EXPECT_EQ(request(journal), 0u);
        EXPECT_EQ(journal.lines, (Lines{allocate, opened("0x0 0x0"), control("0x0 0x0")}));
    });
}

// No driver has made the folder of the devices: not asked again, as with a device
// that is not found.
TEST_F(InfoDevice, IsNotFoundWithoutItsFolder) {
    once([&] {
        KernelJournal journal(dll().module(), clock());
        journal.opens = {{STATUS_OBJECT_PATH_NOT_FOUND}};
        EXPECT_EQ(request(journal), 1u);
        const std::string missing = opened("0xc000003a 0x0");
        EXPECT_EQ(journal.lines, (Lines{allocate, missing, "Sleep 1000", missing, "Sleep 1000",
                                        missing, "Sleep 1000"}));
    });
}

TEST_F(InfoDevice, AnswersByTheLastTry) {
    once([&] {
        KernelJournal journal(dll().module(), clock());
        journal.opens = {
            {STATUS_UNSUCCESSFUL}, {STATUS_SHARING_VIOLATION}, {STATUS_OBJECT_NAME_NOT_FOUND}};
        EXPECT_EQ(request(journal), 1u);
    });
}

// A native status of the device, and what becomes of it.
struct Answer {
    NTSTATUS native;
    std::uint32_t status;
};

// The six tries of the release, each with three of the open.
TEST_F(InfoDevice, TellsWhyItCouldNotBeOpened) {
    const Answer answers[] = {{STATUS_SHARING_VIOLATION, 23},
                              {STATUS_UNSUCCESSFUL, 24},
                              {STATUS_INVALID_PARAMETER, 24},
                              {STATUS_NO_SUCH_DEVICE, 24},
                              {STATUS_BUFFER_OVERFLOW, 24}};
    for (const Answer& answer : answers) {
        once([&] {
            KernelJournal journal(dll().module(), clock());
            journal.opens = {{answer.native}};
            EXPECT_EQ(request(journal), answer.status);
            EXPECT_EQ(std::count(journal.lines.begin(), journal.lines.end(), "Sleep 1000"), 24);
            EXPECT_EQ(journal.lines.size(), 1u + 18 + 24);
        });
    }
}

// A good open with a failed I/O status is a failed one, and its handle is closed.
TEST_F(InfoDevice, IsNotOpenWithAFailedIoStatus) {
    const Answer answers[] = {{STATUS_OBJECT_NAME_NOT_FOUND, 1},
                              {STATUS_OBJECT_PATH_NOT_FOUND, 1},
                              {STATUS_SHARING_VIOLATION, 23},
                              {STATUS_UNSUCCESSFUL, 24},
                              {STATUS_BUFFER_OVERFLOW, 24}};
    for (const Answer& answer : answers) {
        once([&] {
            KernelJournal journal(dll().module(), clock());
            journal.opens = {{0, answer.native}};
            EXPECT_EQ(request(journal), answer.status);
            char text[16];
            std::snprintf(text, sizeof text, "0x0 0x%x", static_cast<unsigned>(answer.native));
            EXPECT_EQ(Lines(journal.lines.begin(), journal.lines.begin() + 4),
                      (Lines{allocate, opened(text), "CloseHandle device", "Sleep 1000"}));
            const auto opens = std::count(journal.lines.begin(), journal.lines.end(), opened(text));
            EXPECT_EQ(opens, answer.status == 1 ? 3 : 18);
            EXPECT_EQ(std::count(journal.lines.begin(), journal.lines.end(), "CloseHandle device"),
                      opens);
        });
    }
}

TEST_F(InfoDevice, IsOpenWithAnInformationalIoStatus) {
    once([&] {
        KernelJournal journal(dll().module(), clock());
        journal.opens = {{0, STATUS_OBJECT_NAME_EXISTS}};
        EXPECT_EQ(request(journal), 0u);
        EXPECT_EQ(journal.lines, (Lines{allocate, opened("0x0 0x40000000"), control("0x0 0x0")}));
    });
}

TEST_F(InfoDevice, TakesTheIoStatusBeforeTheCallsOwn) {
    struct Row {
        NTSTATUS returned;
        NTSTATUS io_status;
        std::uint32_t wanted;
    };
    const Row rows[] = {
        {0, 0, 0},
        {STATUS_OBJECT_NAME_NOT_FOUND, 0, 1},
        // The call's own "not found" wins.
        {STATUS_OBJECT_NAME_NOT_FOUND, STATUS_SHARING_VIOLATION, 1},
        {0, STATUS_OBJECT_NAME_NOT_FOUND, 1},
        {STATUS_UNSUCCESSFUL, STATUS_OBJECT_NAME_NOT_FOUND, 1},
        {0, STATUS_SHARING_VIOLATION, 23},
        {STATUS_SHARING_VIOLATION, 0, 23},
        {STATUS_UNSUCCESSFUL, STATUS_SHARING_VIOLATION, 23},
        {STATUS_SHARING_VIOLATION, STATUS_UNSUCCESSFUL, 24},
        {STATUS_UNSUCCESSFUL, 0, 24},
        {0, STATUS_INVALID_PARAMETER, 24},
        {0, STATUS_NO_SUCH_DEVICE, 24},
        // "Not found" of an opening only.
        {STATUS_OBJECT_PATH_NOT_FOUND, 0, 24},
        {0, STATUS_OBJECT_PATH_NOT_FOUND, 24},
        // Not an error, but not done.
        {0, STATUS_PENDING, 24},
        {STATUS_OBJECT_NAME_EXISTS, 0, 24},
    };
    for (const Row& row : rows) {
        once([&] {
            KernelJournal journal(dll().module(), clock());
            journal.controls = {{row.returned, row.io_status}};
            EXPECT_EQ(request(journal), row.wanted)
                << std::hex << row.returned << " " << row.io_status;
        });
    }
}

// One handle for all who ask the driver, for the life of the process.
TEST_F(InfoDevice, IsSharedByAllOperations) {
    connects = true;
    scenario = R"({"disk_groups": [{"name": "dg1", "dgid": "g"}]})";
    once([&] {
        KernelJournal journal(dll().module(), clock());
        std::uint32_t reservation = 0;
        std::uint8_t imported = 0;
        EXPECT_EQ(FARLO(GetDgReservationStatusW)(handle, L"dg1", "g", &reservation), 0u);
        EXPECT_EQ(FARLO(GetDgStateW)(handle, L"dg1", "g", &imported), 0u);
        EXPECT_EQ(FARLO(ReleaseDgW)("g"), 0u);
        EXPECT_EQ(std::count(journal.lines.begin(), journal.lines.end(), opened("0x0 0x0")), 1);
        EXPECT_EQ(journal.faults(), Lines{});
    });
}

TEST_F(InfoDevice, IsOpenWithAnInformationalStatus) {
    once([&] {
        KernelJournal journal(dll().module(), clock());
        journal.opens = {{STATUS_OBJECT_NAME_EXISTS}};
        EXPECT_EQ(request(journal), 0u);
        EXPECT_EQ(journal.lines, (Lines{allocate, opened("0x40000000 0x0"), control("0x0 0x0")}));
    });
}

// A request that fails before it reaches the driver says nothing in the block.
TEST_F(InfoDevice, ARequestThatFailsAtOnce) {
    once([&] {
        KernelJournal journal(dll().module(), clock());
        EXPECT_EQ(request(journal), 0u);
        const std::pair<NTSTATUS, std::uint32_t> rows[] = {{STATUS_INVALID_HANDLE, 24},
                                                           {STATUS_SHARING_VIOLATION, 23},
                                                           {STATUS_OBJECT_NAME_NOT_FOUND, 1}};
        for (const auto& [native, wanted] : rows) {
            const StandIn<decltype(NtDeviceIoControlFile)> control_file(
                dll().module(), "ZwDeviceIoControlFile",
                [native = native](auto...) { return native; });
            EXPECT_EQ(FARLO(ReleaseDgW)("g"), wanted);
        }
    });
}

}  // namespace
