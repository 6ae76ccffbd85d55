// OfflineVolume: flush, dismount, tell the driver.
#include "dmcontrol.h"
#include "support/bus_lines.h"
#include "support/farlo_test.h"

#include <winioctl.h>
#include <winternl.h>

#include <cstdio>
#include <cstring>
#include <deque>
#include <optional>

namespace {

using namespace support;

using OpenNative = NTSTATUS(HANDLE*, ACCESS_MASK, OBJECT_ATTRIBUTES*, IO_STATUS_BLOCK*, ULONG,
                            ULONG);
using ControlNative = NTSTATUS(HANDLE, HANDLE, void*, void*, IO_STATUS_BLOCK*, ULONG, void*, ULONG,
                               void*, ULONG);

constexpr std::uint8_t group_guid[16] = {0x01, 0x23, 0x45, 0x67, 0x89, 0xab, 0xcd, 0xef,
                                         0xfe, 0xdc, 0xba, 0x98, 0x76, 0x54, 0x32, 0x10};

std::string narrow(const wchar_t* text) {
    return {text, text + std::wcslen(text)};
}

// A volume and a config device that do what a test says, and write down in order
// what was asked of them.
class Devices {
  public:
    explicit Devices(HMODULE module)
        : m_open(module, "CreateFileW",
                 [this](const wchar_t* path, DWORD access, DWORD share,
                        SECURITY_ATTRIBUTES* security, DWORD disposition, DWORD attributes,
                        HANDLE pattern) -> HANDLE {
                     lines.push_back("open " + narrow(path) +
                                     numbers({access, share, disposition, attributes}));
                     EXPECT_EQ(security, nullptr);
                     EXPECT_EQ(pattern, nullptr);
                     if (open_error) {
                         SetLastError(*open_error);
                         return INVALID_HANDLE_VALUE;
                     }
                     return volume = CreateEventW(nullptr, TRUE, FALSE, nullptr);
                 }),
          m_flush(module, "FlushFileBuffers",
                  [this](HANDLE file) -> BOOL {
                      EXPECT_EQ(file, volume);
                      lines.push_back("flush");
                      SetLastError(flush_error.value_or(ERROR_SUCCESS));
                      return !flush_error;
                  }),
          m_control(module, "DeviceIoControl",
                    [this](HANDLE file, DWORD code, void* input, DWORD input_size, void* output,
                           DWORD output_size, DWORD*, OVERLAPPED* overlapped) -> BOOL {
                        EXPECT_EQ(file, volume);
                        EXPECT_EQ(input, nullptr);
                        EXPECT_EQ(output, nullptr);
                        EXPECT_EQ(overlapped, nullptr);
                        lines.push_back("control" + numbers({code, input_size, output_size}));
                        SetLastError(dismount_error.value_or(ERROR_SUCCESS));
                        return !dismount_error;
                    }),
          m_native_open(module, "ZwOpenFile",
                        [this](HANDLE* file, ACCESS_MASK access, OBJECT_ATTRIBUTES* attributes,
                               IO_STATUS_BLOCK*, ULONG share, ULONG options) -> NTSTATUS {
                            return open_native(file, access, attributes, share, options);
                        }),
          m_native_control(module, "ZwDeviceIoControlFile",
                           [this](HANDLE file, HANDLE event, void* routine, void* context,
                                  IO_STATUS_BLOCK* io_status, ULONG code, void* input,
                                  ULONG input_size, void* output, ULONG output_size) -> NTSTATUS {
                               EXPECT_EQ(file, config);
                               EXPECT_EQ(event, nullptr);
                               EXPECT_EQ(routine, nullptr);
                               EXPECT_EQ(context, nullptr);
                               EXPECT_EQ(input, output);
                               EXPECT_EQ(input_size, 16u);
                               EXPECT_EQ(output_size, 16u);
                               return tell(io_status, code, input);
                           }),
          m_close(module, "CloseHandle", [this](HANDLE which) -> BOOL {
              // The log's file may get the same value later.
              if (which == volume) {
                  lines.push_back("close volume");
                  volume = nullptr;
              } else if (which == config) {
                  lines.push_back("close device");
                  config = nullptr;
              }
              return m_close.real(which);
          }) {}

    std::vector<std::string> lines;
    // Set where the call fails.
    std::optional<DWORD> open_error;
    std::optional<DWORD> flush_error;
    std::optional<DWORD> dismount_error;
    std::deque<std::uint32_t> native_opens;             // a status a try; then success
    std::optional<std::uint32_t> native_io_status = 0;  // none: not written
    std::uint32_t native_returned = 0;
    dm_volume_request record{};

  private:
    static std::string numbers(std::initializer_list<DWORD> values) {
        std::string text;
        for (const DWORD value : values) {
            char digits[16];
            std::snprintf(digits, sizeof digits, " 0x%lx", value);
            text += digits;
        }
        return text;
    }

    NTSTATUS open_native(HANDLE* file, ACCESS_MASK access, OBJECT_ATTRIBUTES* attributes,
                         ULONG share, ULONG options) {
        EXPECT_EQ(attributes->Length, 48u);
        EXPECT_EQ(attributes->RootDirectory, nullptr);
        EXPECT_EQ(attributes->Attributes, 0x40u);  // in any case
        EXPECT_EQ(attributes->SecurityDescriptor, nullptr);
        EXPECT_EQ(attributes->SecurityQualityOfService, nullptr);
        EXPECT_GE(attributes->ObjectName->MaximumLength, attributes->ObjectName->Length);
        lines.push_back("native open " +
                        std::string(attributes->ObjectName->Buffer,
                                    attributes->ObjectName->Buffer +
                                        attributes->ObjectName->Length / sizeof(wchar_t)) +
                        numbers({access, share, options}));
        if (!native_opens.empty()) {
            const std::uint32_t status = native_opens.front();
            native_opens.pop_front();
            return static_cast<NTSTATUS>(status);
        }
        *file = config = CreateEventW(nullptr, TRUE, FALSE, nullptr);
        return 0;
    }

    NTSTATUS tell(IO_STATUS_BLOCK* io_status, ULONG code, const void* input) {
        dm_control_block block;
        std::memcpy(&block, input, sizeof block);
        EXPECT_EQ(block.zero, 0u);
        std::memcpy(&record, reinterpret_cast<const void*>(block.record), sizeof record);
        lines.push_back("native control" + numbers({code}));
        // A driver need not write it.
        EXPECT_EQ(io_status->Status, 0);
        if (native_io_status) {
            io_status->Status = static_cast<NTSTATUS>(*native_io_status);
        }
        return static_cast<NTSTATUS>(native_returned);
    }

    HANDLE volume = nullptr;
    HANDLE config = nullptr;
    StandIn<decltype(CreateFileW)> m_open;
    StandIn<decltype(FlushFileBuffers)> m_flush;
    StandIn<decltype(DeviceIoControl)> m_control;
    StandIn<OpenNative> m_native_open;
    StandIn<ControlNative> m_native_control;
    StandIn<decltype(CloseHandle)> m_close;
};

const std::string open_device = "native open \\Device\\DmControl\\DmConfig 0x100003 0x3 0x20";
const std::string tell_device = "native control 0xd903f0cc";

Lines opened(const std::string& path) {
    return {"open " + path + " 0xc0000000 0x3 0x3 0x4"};
}
Lines dismounted(const std::string& path) {
    return opened(path) + Lines{"flush", "control 0x90020 0x0 0x0"};
}
Lines told(const std::string& path) {
    return dismounted(path) + Lines{open_device, tell_device, "close device", "close volume"};
}

class Dismount : public FarloTest {
  protected:
    Dismount() { connects = false; }

    std::uint32_t dismount(const wchar_t* path = L"\\\\?\\V{1}\\") {
        return FARLO(OfflineVolumeW)("vol1", path, group_guid);
    }

    // Exactly these lines between the entry line and the two of the result.
    void expect_lines(const std::vector<Expected>& lines, const std::string& status,
                      const std::string& path = "\\\\?\\V{1}\\") {
        std::vector<Expected> all{{0, "Entering OfflineVolumeW - " + path}};
        all.insert(all.end(), lines.begin(), lines.end());
        const std::string outcome = status == "0x0" ? "succeeded" : "failed";
        all.push_back({0, "OfflineVolumeW() " + outcome + " for volume " + path + ", error=(" +
                              status + ") "});
        all.push_back({2, "Exiting OfflineVolumeW"});
        expect_log(all);
    }
};

TEST_F(Dismount, TheDriverIsToldLast) {
    at_every_threshold([&] {
        Devices devices(dll().module());
        EXPECT_EQ(dismount(), 0u);
        EXPECT_EQ(devices.lines, told("\\\\?\\V{1}"));
        dm_volume_request wanted{};
        std::memcpy(wanted.name, "vol1", 4);
        std::memcpy(wanted.guid, group_guid, 16);
        EXPECT_EQ(std::memcmp(&devices.record, &wanted, 84), 0);
        expect_lines({}, "0x0");
        expect_pauses({});
        expect_calls({});
    });
}

TEST_F(Dismount, OneBackslashAtTheEndIsRemoved) {
    once([&] {
        Devices devices(dll().module());
        for (const auto& [path, wanted] : {std::pair{L"F:\\", "F:"},
                                           {L"F:", "F:"},
                                           {L"F:\\\\", "F:\\"},
                                           {L"\\", ""},
                                           {L"", ""}}) {
            devices.lines.clear();
            EXPECT_EQ(dismount(path), 0u);
            EXPECT_EQ(devices.lines, told(wanted));
        }
    });
}

TEST_F(Dismount, NullArguments) {
    at_every_threshold([&] {
        const Expected null{0, "OfflineVolumeW() failed , NULL Volume GUID/Name/DG GUID"};
        const Expected exiting{2, "Exiting OfflineVolumeW"};
        Devices devices(dll().module());
        EXPECT_EQ(FARLO(OfflineVolumeW)(nullptr, L"p", group_guid), 0x80070057u);
        expect_log(
            {null, {0, "OfflineVolumeW() failed for volume p, error=(0x80070057) "}, exiting});
        start_watching();
        EXPECT_EQ(FARLO(OfflineVolumeW)("n", L"p", nullptr), 0x80070057u);
        expect_log(
            {null, {0, "OfflineVolumeW() failed for volume p, error=(0x80070057) "}, exiting});
        start_watching();
        EXPECT_EQ(FARLO(OfflineVolumeW)("n", nullptr, group_guid), 0x80070057u);
        expect_log(
            {null, {0, "OfflineVolumeW() failed for volume (null), error=(0x80070057) "}, exiting});
        EXPECT_EQ(devices.lines, Lines{});
    });
}

TEST_F(Dismount, TextsThatFitAndTextsThatDoNot) {
    at_every_threshold([&] {
        Devices devices(dll().module());
        const std::string name(64, 'n');
        const std::wstring path(259, L'p');
        EXPECT_EQ(FARLO(OfflineVolumeW)(name.c_str(), path.c_str(), group_guid), 0u);
        EXPECT_EQ(devices.lines, told(narrow(path.c_str())));
        EXPECT_EQ(devices.record.name, name);
        devices.lines.clear();

        const Expected long_name{0, "OfflineVolumeW() failed , name string of more than 64 "
                                    "characters, error=(0x80070057)"};
        const Expected long_path{0, "OfflineVolumeW() failed , path string of more than 259 "
                                    "characters, error=(0x80070057)"};
        const std::wstring too_long = path + L"\\";
        start_watching();
        EXPECT_EQ(FARLO(OfflineVolumeW)((name + "n").c_str(), L"p", group_guid), 0x80070057u);
        expect_lines({long_name}, "0x80070057", "p");
        start_watching();
        EXPECT_EQ(FARLO(OfflineVolumeW)("n", too_long.c_str(), group_guid), 0x80070057u);
        expect_lines({long_path}, "0x80070057", narrow(too_long.c_str()));
        // The first of two.
        start_watching();
        EXPECT_EQ(FARLO(OfflineVolumeW)((name + "n").c_str(), too_long.c_str(), group_guid),
                  0x80070057u);
        expect_lines({long_name}, "0x80070057", narrow(too_long.c_str()));
        EXPECT_EQ(devices.lines, Lines{});
    });
}

TEST_F(Dismount, AVolumeThatCannotBeOpened) {
    at_every_threshold([&] {
        Devices devices(dll().module());
        devices.open_error = ERROR_ACCESS_DENIED;
        EXPECT_EQ(dismount(), 5u);
        EXPECT_EQ(devices.lines, opened("\\\\?\\V{1}"));
        expect_lines({{0, "OfflineVolumeW:CreateFileW for vol1 failed 0x5"}}, "0x5");
    });
}

TEST_F(Dismount, AVolumeThatCannotBeFlushed) {
    at_every_threshold([&] {
        Devices devices(dll().module());
        devices.flush_error = ERROR_WRITE_PROTECT;
        EXPECT_EQ(dismount(), 19u);
        EXPECT_EQ(devices.lines, opened("\\\\?\\V{1}") + (Lines{"flush", "close volume"}));
        expect_lines({{0, "OfflineVolumeW: FlushFileBuffers for \\\\?\\V{1}\\ failed 0x13"}},
                     "0x13");
    });
}

TEST_F(Dismount, AVolumeThatCannotBeDismounted) {
    at_every_threshold([&] {
        Devices devices(dll().module());
        devices.dismount_error = ERROR_NOT_SUPPORTED;
        EXPECT_EQ(dismount(), 50u);
        EXPECT_EQ(devices.lines, dismounted("\\\\?\\V{1}") + Lines{"close volume"});
        expect_lines({{0, "OfflineVolumeW: FSCTL_DISMOUNT_VOLUME  for vol1 failed 0x32"}}, "0x32");
    });
}

// The system may fail a call without naming an error: a failure anyway, and the
// volume goes no further.
TEST_F(Dismount, AFailureWithoutAnErrorIsAFailure) {
    at_every_threshold([&] {
        Devices devices(dll().module());
        devices.open_error = ERROR_SUCCESS;
        EXPECT_EQ(dismount(), 0xc1000001u);
        EXPECT_EQ(devices.lines, opened("\\\\?\\V{1}"));
        expect_lines({{0, "OfflineVolumeW:CreateFileW for vol1 failed 0xc1000001"}}, "0xc1000001");
    });
    at_every_threshold([&] {
        Devices devices(dll().module());
        devices.flush_error = ERROR_SUCCESS;
        EXPECT_EQ(dismount(), 0xc1000001u);
        EXPECT_EQ(devices.lines, opened("\\\\?\\V{1}") + (Lines{"flush", "close volume"}));
        expect_lines({{0, "OfflineVolumeW: FlushFileBuffers for \\\\?\\V{1}\\ failed 0xc1000001"}},
                     "0xc1000001");
    });
    at_every_threshold([&] {
        Devices devices(dll().module());
        devices.dismount_error = ERROR_SUCCESS;
        EXPECT_EQ(dismount(), 0xc1000001u);
        EXPECT_EQ(devices.lines, dismounted("\\\\?\\V{1}") + Lines{"close volume"});
        expect_lines({{0, "OfflineVolumeW: FSCTL_DISMOUNT_VOLUME  for vol1 failed 0xc1000001"}},
                     "0xc1000001");
    });
}

struct NativeStatus {
    std::uint32_t native;
    std::uint32_t status;
};
constexpr NativeStatus native_statuses[] = {
    {0xC0000043, 23}, {0xC0000001, 36}, {0xC000000E, 1},  {0xC000000D, 19},
    {0xC0000034, 24}, {0xC0000022, 24}, {0xC0000010, 24},
};

TEST_F(Dismount, TheDriversAnswers) {
    once([&] {
        for (const auto& [native, status] : native_statuses) {
            Devices devices(dll().module());
            devices.native_returned = native;
            start_watching();
            EXPECT_EQ(dismount(), status);
            EXPECT_EQ(devices.lines, told("\\\\?\\V{1}"));
            char digits[16];
            std::snprintf(digits, sizeof digits, "0x%x", status);
            expect_lines({}, digits);
        }
    });
}

TEST_F(Dismount, AnIoStatusThatIsNotWritten) {
    once([&] {
        Devices devices(dll().module());
        devices.native_io_status.reset();
        EXPECT_EQ(dismount(), 0u);
        for (const auto& [native, status] : native_statuses) {
            devices.native_returned = native;
            EXPECT_EQ(dismount(), status);
        }
    });
}

// Each of the two answers by the same table.
TEST_F(Dismount, TheDriversAnswersInTheIoStatus) {
    once([&] {
        for (const auto& [native, status] : native_statuses) {
            Devices devices(dll().module());
            devices.native_io_status = native;
            EXPECT_EQ(dismount(), status);
        }
    });
}

// The I/O status when it is not 0, else what the call returned.
TEST_F(Dismount, TheIoStatusCountsBeforeTheCallsOwn) {
    once([&] {
        Devices devices(dll().module());
        devices.native_io_status = 0xC000000D;
        devices.native_returned = 0xC0000043;
        EXPECT_EQ(dismount(), 19u);
        devices.native_returned = 0;
        EXPECT_EQ(dismount(), 19u);
    });
}

TEST_F(Dismount, ADeviceThatCannotBeOpenedIsTriedThreeTimes) {
    once([&] {
        for (const auto& [native, status] : native_statuses) {
            Devices devices(dll().module());
            devices.native_opens = {0xC0000022, 0xC0000043, native};
            start_watching();
            EXPECT_EQ(dismount(), status);
            EXPECT_EQ(devices.lines,
                      dismounted("\\\\?\\V{1}") +
                          (Lines{open_device, open_device, open_device, "close volume"}));
            expect_pauses({{"Sleep", 1000}, {"Sleep", 1000}, {"Sleep", 1000}});
        }
    });
}

TEST_F(Dismount, ADeviceThatOpensAtTheThirdTry) {
    once([&] {
        Devices devices(dll().module());
        devices.native_opens = {0xC0000022, 0xC0000043};
        EXPECT_EQ(dismount(), 0u);
        EXPECT_EQ(devices.lines,
                  dismounted("\\\\?\\V{1}") + (Lines{open_device, open_device, open_device,
                                                     tell_device, "close device", "close volume"}));
        expect_pauses({{"Sleep", 1000}, {"Sleep", 1000}});
    });
}

TEST_F(Dismount, TheLongestPathOfTheNarrowForm) {
    once([&] {
        Devices devices(dll().module());
        const std::string longest(259, 'p');
        EXPECT_EQ(FARLO(OfflineVolumeA)("vol1", longest.c_str(), group_guid), 0u);
        EXPECT_EQ(devices.lines, told(longest));
    });
}

// No memory is asked for, so there is none that could be missing when the volume
// is dismounted and the driver not told yet.
TEST_F(Dismount, NoAllocationIsMade) {
    std::vector<std::uint32_t> results;
    const auto run = [&](auto dismount_it) {
        at_every_allocation([&] {
            Devices devices(dll().module());
            const long before = heap().allocations();
            results.push_back(dismount_it());
            EXPECT_EQ(heap().allocations(), before);
            EXPECT_EQ(devices.lines, told("\\\\?\\V{1}"));
        });
        EXPECT_THAT(results, testing::Each(0u));
    };
    run([&] { return dismount(); });
    run([&] { return FARLO(OfflineVolumeA)("vol1", "\\\\?\\V{1}\\", group_guid); });
}

TEST_F(Dismount, TheNarrowForm) {
    at_every_threshold([&] {
        Devices devices(dll().module());
        EXPECT_EQ(FARLO(OfflineVolumeA)("vol1", "\\\\?\\V{1}\\", group_guid), 0u);
        EXPECT_EQ(devices.lines, told("\\\\?\\V{1}"));
        expect_lines({}, "0x0");
        start_watching();
        EXPECT_EQ(FARLO(OfflineVolumeA)("vol1", nullptr, group_guid), 0x80070057u);
        expect_log({{0, "OfflineVolumeW() failed , NULL Volume GUID/Name/DG GUID"},
                    {0, "OfflineVolumeW() failed for volume (null), error=(0x80070057) "},
                    {2, "Exiting OfflineVolumeW"}});
        start_watching();
        EXPECT_EQ(FARLO(OfflineVolumeA)("vol1", std::string(260, 'p').c_str(), group_guid),
                  0x80070057u);
        expect_log(
            {{0, "OfflineVolumeA() failed , path string of more than 259 characters or invalid, "
                 "error=(0x80070057)"}});
    });
}

// Nothing replaced: a path that does not exist.
TEST_F(Dismount, AVolumeThatIsNotThere) {
    at_every_threshold([&] {
        EXPECT_EQ(dismount(L"\\\\.\\no such volume\\"), 2u);
        expect_lines({{0, "OfflineVolumeW:CreateFileW for vol1 failed 0x2"}}, "0x2",
                     "\\\\.\\no such volume\\");
    });
}

}  // namespace
