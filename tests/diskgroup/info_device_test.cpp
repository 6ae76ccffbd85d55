// The info device: how it is opened, and which status each native status becomes. Tested
// through ReleaseDgW, which retries FARLO_DEVICE_SHARING_VIOLATION and FARLO_DEVICE_FAILED only.
#include "support/bus_lines.h"
#include "support/farlo_test.h"
#include "support/journal_lines.h"
#include "support/kernel_journal.h"

#include <algorithm>

namespace {

using namespace support;

const std::string release = control(control_code::release_reservation, "g", 1);
const std::string close_device = "CloseHandle device";
const std::string pause = "Sleep 1000";

std::ptrdiff_t count(const KernelJournal& journal, const std::string& line) {
    return std::count(journal.lines.begin(), journal.lines.end(), line);
}

class InfoDevice : public FarloTest {
  protected:
    InfoDevice() { connects = false; }

    // Makes one request. The journal then holds the lines of this request only.
    std::uint32_t request(KernelJournal& journal) {
        journal.lines.clear();
        const std::uint32_t status = FARLO(ReleaseDgW)("g");
        EXPECT_EQ(journal.faults(), Lines{});
        return status;
    }
};

TEST_F(InfoDevice, OpensOnce) {
    once([&] {
        KernelJournal journal(dll().module(), clock());
        EXPECT_EQ(request(journal), FARLO_SUCCESS);
        EXPECT_EQ(journal.lines, (Lines{allocate_page, open_info_device(), release}));
        EXPECT_EQ(request(journal), FARLO_SUCCESS);
        EXPECT_EQ(journal.lines, (Lines{allocate_page, release}));
    });
}

TEST_F(InfoDevice, OpensAtThirdTry) {
    once([&] {
        KernelJournal journal(dll().module(), clock());
        journal.opens = {{native::unsuccessful}, {native::sharing_violation}, {native::success}};
        EXPECT_EQ(request(journal), FARLO_SUCCESS);
        EXPECT_EQ(journal.lines, (Lines{allocate_page, open_info_device(native::unsuccessful),
                                        pause, open_info_device(native::sharing_violation), pause,
                                        open_info_device(), release}));
    });
}

TEST_F(InfoDevice, ReturnsNotFoundAfterThreeTriesAndOpensAtNextRequest) {
    once([&] {
        KernelJournal journal(dll().module(), clock());
        journal.opens = {{native::object_name_not_found}};
        EXPECT_EQ(request(journal), FARLO_NOT_FOUND);
        Lines wanted = {allocate_page};
        for (int i = 0; i < 3; ++i) {
            wanted.push_back(open_info_device(native::object_name_not_found));
            wanted.push_back(pause);
        }
        EXPECT_EQ(journal.lines, wanted);
        // The next request opens it again.
        journal.opens = {{native::success}};
        EXPECT_EQ(request(journal), FARLO_SUCCESS);
        EXPECT_EQ(journal.lines, (Lines{allocate_page, open_info_device(), release}));
    });
}

// Without a driver the folder of the devices does not exist. The request is not retried.
TEST_F(InfoDevice, ReturnsNotFoundWithoutItsFolder) {
    once([&] {
        KernelJournal journal(dll().module(), clock());
        journal.opens = {{native::object_path_not_found}};
        EXPECT_EQ(request(journal), FARLO_NOT_FOUND);
        const std::string missing = open_info_device(native::object_path_not_found);
        EXPECT_EQ(journal.lines,
                  (Lines{allocate_page, missing, pause, missing, pause, missing, pause}));
    });
}

TEST_F(InfoDevice, ReturnsStatusOfLastTry) {
    once([&] {
        KernelJournal journal(dll().module(), clock());
        journal.opens = {
            {native::unsuccessful}, {native::sharing_violation}, {native::object_name_not_found}};
        EXPECT_EQ(request(journal), FARLO_NOT_FOUND);
    });
}

// A native status of the device, and the status that the call returns.
struct Translation {
    NTSTATUS native;
    std::uint32_t status;
};

// Six tries of the request, each of which opens three times; all 24 tries are followed by a pause.
TEST_F(InfoDevice, ReportsWhyItCouldNotBeOpened) {
    const Translation translations[] = {{native::sharing_violation, FARLO_DEVICE_SHARING_VIOLATION},
                                        {native::unsuccessful, FARLO_DEVICE_FAILED},
                                        {native::invalid_parameter, FARLO_DEVICE_FAILED},
                                        {native::no_such_device, FARLO_DEVICE_FAILED},
                                        {native::buffer_overflow, FARLO_DEVICE_FAILED}};
    for (const Translation& translation : translations) {
        once([&] {
            KernelJournal journal(dll().module(), clock());
            journal.opens = {{.returned = translation.native}};
            EXPECT_EQ(request(journal), translation.status);
            EXPECT_EQ(count(journal, pause), 24);
            EXPECT_EQ(journal.lines.size(), 1u + 18 + 24);
        });
    }
}

// The handle that was opened is closed.
TEST_F(InfoDevice, TreatsFailedIoStatusAsFailedOpen) {
    const Translation translations[] = {{native::object_name_not_found, FARLO_NOT_FOUND},
                                        {native::object_path_not_found, FARLO_NOT_FOUND},
                                        {native::sharing_violation, FARLO_DEVICE_SHARING_VIOLATION},
                                        {native::unsuccessful, FARLO_DEVICE_FAILED},
                                        {native::buffer_overflow, FARLO_DEVICE_FAILED}};
    for (const Translation& translation : translations) {
        once([&] {
            KernelJournal journal(dll().module(), clock());
            journal.opens = {{.io_status = translation.native}};
            EXPECT_EQ(request(journal), translation.status);
            const std::string failed_open = open_info_device(native::success, translation.native);
            EXPECT_EQ(Lines(journal.lines.begin(), journal.lines.begin() + 4),
                      (Lines{allocate_page, failed_open, close_device, pause}));
            // "Not found" is not retried; the others are, by six requests of three openings each.
            const int openings = translation.status == FARLO_NOT_FOUND ? 3 : 18;
            EXPECT_EQ(count(journal, failed_open), openings);
            EXPECT_EQ(count(journal, close_device), openings);
        });
    }
}

TEST_F(InfoDevice, TreatsInformationalIoStatusAsSuccessfulOpen) {
    once([&] {
        KernelJournal journal(dll().module(), clock());
        journal.opens = {{.io_status = native::object_name_exists}};
        EXPECT_EQ(request(journal), FARLO_SUCCESS);
        EXPECT_EQ(journal.lines,
                  (Lines{allocate_page,
                         open_info_device(native::success, native::object_name_exists), release}));
    });
}

TEST_F(InfoDevice, PrefersIoStatusToReturnedStatusOfRequest) {
    struct Row {
        NTSTATUS returned;
        NTSTATUS io_status;
        std::uint32_t wanted;
    };
    const Row rows[] = {
        {native::success, native::success, FARLO_SUCCESS},
        {native::object_name_not_found, native::success, FARLO_NOT_FOUND},
        // "Not found" takes precedence when the request itself returns it.
        {native::object_name_not_found, native::sharing_violation, FARLO_NOT_FOUND},
        {native::success, native::object_name_not_found, FARLO_NOT_FOUND},
        {native::unsuccessful, native::object_name_not_found, FARLO_NOT_FOUND},
        {native::success, native::sharing_violation, FARLO_DEVICE_SHARING_VIOLATION},
        {native::sharing_violation, native::success, FARLO_DEVICE_SHARING_VIOLATION},
        {native::unsuccessful, native::sharing_violation, FARLO_DEVICE_SHARING_VIOLATION},
        {native::sharing_violation, native::unsuccessful, FARLO_DEVICE_FAILED},
        {native::unsuccessful, native::success, FARLO_DEVICE_FAILED},
        {native::success, native::invalid_parameter, FARLO_DEVICE_FAILED},
        {native::success, native::no_such_device, FARLO_DEVICE_FAILED},
        // "Path not found" becomes FARLO_NOT_FOUND only when opening the device returns it.
        {native::object_path_not_found, native::success, FARLO_DEVICE_FAILED},
        {native::success, native::object_path_not_found, FARLO_DEVICE_FAILED},
        {native::success, native::pending, FARLO_DEVICE_FAILED},  // not an error, but not done
        {native::object_name_exists, native::success, FARLO_DEVICE_FAILED},
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

// One handle serves all operations for the life of the process.
TEST_F(InfoDevice, SharesOneHandleBetweenOperations) {
    connects = true;
    scenario = R"({"disk_groups": [{"name": "dg1", "dgid": "g"}]})";
    once([&] {
        KernelJournal journal(dll().module(), clock());
        std::uint32_t reservation = 0;
        std::uint8_t imported = 0;
        EXPECT_EQ(FARLO(GetDgReservationStatusW)(handle, L"dg1", "g", &reservation), FARLO_SUCCESS);
        EXPECT_EQ(FARLO(GetDgStateW)(handle, L"dg1", "g", &imported), FARLO_SUCCESS);
        EXPECT_EQ(FARLO(ReleaseDgW)("g"), FARLO_SUCCESS);
        EXPECT_EQ(count(journal, open_info_device()), 1);
        EXPECT_EQ(journal.faults(), Lines{});
    });
}

TEST_F(InfoDevice, TreatsInformationalStatusAsSuccessfulOpen) {
    once([&] {
        KernelJournal journal(dll().module(), clock());
        journal.opens = {{.returned = native::object_name_exists}};
        EXPECT_EQ(request(journal), FARLO_SUCCESS);
        EXPECT_EQ(journal.lines,
                  (Lines{allocate_page, open_info_device(native::object_name_exists), release}));
    });
}

// The I/O status keeps its initial value, which is success.
TEST_F(InfoDevice, ReportsRequestThatNeverReachesDriver) {
    once([&] {
        KernelJournal journal(dll().module(), clock());
        EXPECT_EQ(request(journal), FARLO_SUCCESS);
        const std::pair<NTSTATUS, std::uint32_t> rows[] = {
            {native::invalid_handle, FARLO_DEVICE_FAILED},
            {native::sharing_violation, FARLO_DEVICE_SHARING_VIOLATION},
            {native::object_name_not_found, FARLO_NOT_FOUND}};
        for (const auto& [returned, wanted] : rows) {
            const StandIn<decltype(NtDeviceIoControlFile)> control_file(
                dll().module(), "ZwDeviceIoControlFile",
                [returned = returned](auto...) { return returned; });
            EXPECT_EQ(FARLO(ReleaseDgW)("g"), wanted);
        }
    });
}

}  // namespace
