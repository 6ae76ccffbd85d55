// OfflineVolume.
#include "dmcontrol.h"
#include "support/bus_lines.h"
#include "support/farlo_test.h"
#include "support/narrow_string.h"

#include <winioctl.h>
#include <winternl.h>

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

// Replaces the volume and the config device that the DLL opens. Lives as long as a run's body.
class FakeDevices {
  public:
    explicit FakeDevices(HMODULE module)
        : m_open(module, "CreateFileW",
                 [this](const wchar_t* path, DWORD access, DWORD share,
                        SECURITY_ATTRIBUTES* security, DWORD disposition, DWORD attributes,
                        HANDLE pattern) -> HANDLE {
                     requests.push_back("open " + narrow_string(path) +
                                        numbers({access, share, disposition, attributes}));
                     EXPECT_EQ(security, nullptr);
                     EXPECT_EQ(pattern, nullptr);
                     if (open_error) {
                         SetLastError(*open_error);
                         return INVALID_HANDLE_VALUE;
                     }
                     return m_volume = CreateEventW(nullptr, TRUE, FALSE, nullptr);
                 }),
          m_flush(module, "FlushFileBuffers",
                  [this](HANDLE file) -> BOOL {
                      EXPECT_EQ(file, m_volume);
                      requests.push_back("flush");
                      SetLastError(flush_error.value_or(ERROR_SUCCESS));
                      return !flush_error;
                  }),
          m_control(module, "DeviceIoControl",
                    [this](HANDLE file, DWORD code, void* input, DWORD input_size, void* output,
                           DWORD output_size, DWORD*, OVERLAPPED* overlapped) -> BOOL {
                        EXPECT_EQ(file, m_volume);
                        EXPECT_EQ(input, nullptr);
                        EXPECT_EQ(output, nullptr);
                        EXPECT_EQ(overlapped, nullptr);
                        requests.push_back("control" + numbers({code, input_size, output_size}));
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
                               EXPECT_EQ(file, m_config);
                               EXPECT_EQ(event, nullptr);
                               EXPECT_EQ(routine, nullptr);
                               EXPECT_EQ(context, nullptr);
                               EXPECT_EQ(input, output);
                               EXPECT_EQ(input_size, 16u);
                               EXPECT_EQ(output_size, 16u);
                               return control_native(io_status, code, input);
                           }),
          m_close(module, "CloseHandle", [this](HANDLE which) -> BOOL {
              // The log's file may get the same handle value later.
              if (which == m_volume) {
                  requests.push_back("close volume");
                  m_volume = nullptr;
              } else if (which == m_config) {
                  requests.push_back("close device");
                  m_config = nullptr;
              }
              return m_close.real(which);
          }) {}

    // The requests, in order, as the constants and functions below write them.
    Lines requests;
    // The record of the last request to the config device.
    dm_volume_request record{};

    // The call fails with this error.
    std::optional<DWORD> open_error;
    std::optional<DWORD> flush_error;
    std::optional<DWORD> dismount_error;
    // The statuses of the first tries to open the config device. Further tries succeed.
    std::deque<std::int32_t> native_opens;
    // The statuses of its request: in the I/O status block, which is not written without a value,
    // and as returned.
    std::optional<std::int32_t> native_io_status = native::success;
    std::int32_t native_returned = native::success;

  private:
    static std::string numbers(std::initializer_list<DWORD> values) {
        std::string result;
        for (const DWORD value : values) {
            result += " " + hex(value);
        }
        return result;
    }

    NTSTATUS open_native(HANDLE* file, ACCESS_MASK access, OBJECT_ATTRIBUTES* attributes,
                         ULONG share, ULONG options) {
        EXPECT_EQ(attributes->Length, 48u);
        EXPECT_EQ(attributes->RootDirectory, nullptr);
        EXPECT_EQ(attributes->Attributes, DWORD{OBJ_CASE_INSENSITIVE});
        EXPECT_EQ(attributes->SecurityDescriptor, nullptr);
        EXPECT_EQ(attributes->SecurityQualityOfService, nullptr);
        EXPECT_GE(attributes->ObjectName->MaximumLength, attributes->ObjectName->Length);
        requests.push_back("native open " +
                           narrow_string({attributes->ObjectName->Buffer,
                                          attributes->ObjectName->Length / sizeof(wchar_t)}) +
                           numbers({access, share, options}));
        if (!native_opens.empty()) {
            const NTSTATUS status = native_opens.front();
            native_opens.pop_front();
            return status;
        }
        *file = m_config = CreateEventW(nullptr, TRUE, FALSE, nullptr);
        return native::success;
    }

    NTSTATUS control_native(IO_STATUS_BLOCK* io_status, ULONG code, const void* input) {
        dm_control_block block;
        std::memcpy(&block, input, sizeof block);
        EXPECT_EQ(block.zero, 0u);
        std::memcpy(&record, reinterpret_cast<const void*>(block.record), sizeof record);
        requests.push_back("native control" + numbers({code}));
        // The library clears it before the call: a driver need not write it.
        EXPECT_EQ(io_status->Status, native::success);
        if (native_io_status) {
            io_status->Status = *native_io_status;
        }
        return native_returned;
    }

    HANDLE m_volume = nullptr;
    HANDLE m_config = nullptr;
    StandIn<decltype(CreateFileW)> m_open;
    StandIn<decltype(FlushFileBuffers)> m_flush;
    StandIn<decltype(DeviceIoControl)> m_control;
    StandIn<OpenNative> m_native_open;
    StandIn<ControlNative> m_native_control;
    StandIn<decltype(CloseHandle)> m_close;
};

// Opening the volume: to read and write, shared for reading and writing, an existing file with the
// system attribute.
std::string open_volume(const std::string& path = "\\\\?\\V{1}") {
    return "open " + path + " 0xc0000000 0x3 0x3 0x4";
}
// FSCTL_DISMOUNT_VOLUME, without input and output.
const std::string dismount_volume = "control 0x90020 0x0 0x0";
// Opening the config device: to read, write and synchronize, shared for reading and writing, with
// synchronous I/O.
const std::string open_device = "native open \\Device\\DmControl\\DmConfig 0x100003 0x3 0x20";
const std::string report_offline = "native control " + hex(control_code::report_volume_offline);

// All requests of a successful call.
Lines all_requests(const std::string& path = "\\\\?\\V{1}") {
    return {open_volume(path), "flush",        dismount_volume, open_device,
            report_offline,    "close device", "close volume"};
}

class OfflineVolume : public FarloTest {
  protected:
    OfflineVolume() { connects = false; }

    std::uint32_t offline(const wchar_t* path = L"\\\\?\\V{1}\\") {
        return FARLO(OfflineVolumeW)("vol1", path, group_guid);
    }
};

Expected entering(const std::string& path = "\\\\?\\V{1}\\") {
    return {0, "Entering OfflineVolumeW - " + path};
}
Expected failed(std::uint32_t status, const std::string& path = "\\\\?\\V{1}\\") {
    return {0, "OfflineVolumeW() failed for volume " + path + ", error=(" + hex(status) + ") "};
}
const Expected succeeded{0, "OfflineVolumeW() succeeded for volume \\\\?\\V{1}\\, error=(0x0) "};
const Expected exiting{2, "Exiting OfflineVolumeW"};

TEST_F(OfflineVolume, FlushesAndDismountsVolumeThenReportsItToDriver) {
    at_every_threshold([&] {
        FakeDevices devices(dll().module());
        EXPECT_EQ(offline(), FARLO_SUCCESS);
        EXPECT_EQ(devices.requests,
                  (Lines{open_volume("\\\\?\\V{1}"), "flush", dismount_volume, open_device,
                         report_offline, "close device", "close volume"}));
        dm_volume_request expected{};
        std::memcpy(expected.name, "vol1", 4);
        std::memcpy(expected.guid, group_guid, 16);
        EXPECT_EQ(std::memcmp(&devices.record, &expected, 84), 0);
        expect_log({entering(), succeeded, exiting});
        expect_pauses({});
        expect_calls({});
    });
}

TEST_F(OfflineVolume, RemovesOneTrailingBackslashFromPath) {
    once([&] {
        FakeDevices devices(dll().module());
        for (const auto& [path, opened] : {std::pair{L"F:\\", "F:"},
                                           {L"F:", "F:"},
                                           {L"F:\\\\", "F:\\"},
                                           {L"\\", ""},
                                           {L"", ""}}) {
            devices.requests.clear();
            EXPECT_EQ(offline(path), FARLO_SUCCESS);
            EXPECT_EQ(devices.requests, all_requests(opened));
        }
    });
}

// The entry line is not logged.
TEST_F(OfflineVolume, RejectsNullArguments) {
    at_every_threshold([&] {
        const Expected null_argument{0, "OfflineVolumeW() failed , NULL Volume GUID/Name/DG GUID"};
        FakeDevices devices(dll().module());
        EXPECT_EQ(FARLO(OfflineVolumeW)(nullptr, L"p", group_guid), FARLO_INVALID_ARGUMENT);
        expect_log({null_argument, failed(FARLO_INVALID_ARGUMENT, "p"), exiting});
        start_watching();
        EXPECT_EQ(FARLO(OfflineVolumeW)("n", L"p", nullptr), FARLO_INVALID_ARGUMENT);
        expect_log({null_argument, failed(FARLO_INVALID_ARGUMENT, "p"), exiting});
        start_watching();
        EXPECT_EQ(FARLO(OfflineVolumeW)("n", nullptr, group_guid), FARLO_INVALID_ARGUMENT);
        expect_log({null_argument, failed(FARLO_INVALID_ARGUMENT, "(null)"), exiting});
        EXPECT_EQ(devices.requests, Lines{});
    });
}

// The name is checked first.
TEST_F(OfflineVolume, AcceptsNameOf64AndPathOf259CharactersAndRejectsLongerOnes) {
    at_every_threshold([&] {
        FakeDevices devices(dll().module());
        const std::string name(64, 'n');
        const std::wstring path(259, L'p');
        EXPECT_EQ(FARLO(OfflineVolumeW)(name.c_str(), path.c_str(), group_guid), FARLO_SUCCESS);
        EXPECT_EQ(devices.requests, all_requests(narrow_string(path)));
        EXPECT_EQ(devices.record.name, name);
        devices.requests.clear();

        const Expected name_too_long{0, "OfflineVolumeW() failed , name string of more than 64 "
                                        "characters, error=(0x80070057)"};
        const Expected path_too_long{0, "OfflineVolumeW() failed , path string of more than 259 "
                                        "characters, error=(0x80070057)"};
        const std::string long_name(65, 'n');
        const std::wstring long_path = path + L"\\";
        start_watching();
        EXPECT_EQ(FARLO(OfflineVolumeW)(long_name.c_str(), L"p", group_guid),
                  FARLO_INVALID_ARGUMENT);
        expect_log({entering("p"), name_too_long, failed(FARLO_INVALID_ARGUMENT, "p"), exiting});
        start_watching();
        EXPECT_EQ(FARLO(OfflineVolumeW)("n", long_path.c_str(), group_guid),
                  FARLO_INVALID_ARGUMENT);
        expect_log({entering(narrow_string(long_path)), path_too_long,
                    failed(FARLO_INVALID_ARGUMENT, narrow_string(long_path)), exiting});
        start_watching();
        EXPECT_EQ(FARLO(OfflineVolumeW)(long_name.c_str(), long_path.c_str(), group_guid),
                  FARLO_INVALID_ARGUMENT);
        expect_log({entering(narrow_string(long_path)), name_too_long,
                    failed(FARLO_INVALID_ARGUMENT, narrow_string(long_path)), exiting});
        EXPECT_EQ(devices.requests, Lines{});
    });
}

TEST_F(OfflineVolume, ReturnsSystemErrorWhenVolumeCannotBeOpened) {
    at_every_threshold([&] {
        FakeDevices devices(dll().module());
        devices.open_error = ERROR_ACCESS_DENIED;
        EXPECT_EQ(offline(), DWORD{ERROR_ACCESS_DENIED});
        EXPECT_EQ(devices.requests, (Lines{open_volume()}));
        expect_log({entering(),
                    {0, "OfflineVolumeW:CreateFileW for vol1 failed 0x5"},
                    failed(ERROR_ACCESS_DENIED),
                    exiting});
    });
}

TEST_F(OfflineVolume, ReturnsSystemErrorWhenVolumeCannotBeFlushed) {
    at_every_threshold([&] {
        FakeDevices devices(dll().module());
        devices.flush_error = ERROR_WRITE_PROTECT;
        EXPECT_EQ(offline(), DWORD{ERROR_WRITE_PROTECT});
        EXPECT_EQ(devices.requests, (Lines{open_volume(), "flush", "close volume"}));
        expect_log({entering(),
                    {0, "OfflineVolumeW: FlushFileBuffers for \\\\?\\V{1}\\ failed 0x13"},
                    failed(ERROR_WRITE_PROTECT),
                    exiting});
    });
}

TEST_F(OfflineVolume, ReturnsSystemErrorWhenVolumeCannotBeDismounted) {
    at_every_threshold([&] {
        FakeDevices devices(dll().module());
        devices.dismount_error = ERROR_NOT_SUPPORTED;
        EXPECT_EQ(offline(), DWORD{ERROR_NOT_SUPPORTED});
        EXPECT_EQ(devices.requests,
                  (Lines{open_volume(), "flush", dismount_volume, "close volume"}));
        expect_log({entering(),
                    {0, "OfflineVolumeW: FSCTL_DISMOUNT_VOLUME  for vol1 failed 0x32"},
                    failed(ERROR_NOT_SUPPORTED),
                    exiting});
    });
}

TEST_F(OfflineVolume, FailsWhenSystemReportsNoError) {
    at_every_threshold([&] {
        FakeDevices devices(dll().module());
        devices.open_error = ERROR_SUCCESS;
        EXPECT_EQ(offline(), FARLO_PROVIDER_FAILED);
        EXPECT_EQ(devices.requests, (Lines{open_volume()}));
        expect_log({entering(),
                    {0, "OfflineVolumeW:CreateFileW for vol1 failed 0xc1000001"},
                    failed(FARLO_PROVIDER_FAILED),
                    exiting});
    });
    at_every_threshold([&] {
        FakeDevices devices(dll().module());
        devices.flush_error = ERROR_SUCCESS;
        EXPECT_EQ(offline(), FARLO_PROVIDER_FAILED);
        EXPECT_EQ(devices.requests, (Lines{open_volume(), "flush", "close volume"}));
        expect_log({entering(),
                    {0, "OfflineVolumeW: FlushFileBuffers for \\\\?\\V{1}\\ failed 0xc1000001"},
                    failed(FARLO_PROVIDER_FAILED),
                    exiting});
    });
    at_every_threshold([&] {
        FakeDevices devices(dll().module());
        devices.dismount_error = ERROR_SUCCESS;
        EXPECT_EQ(offline(), FARLO_PROVIDER_FAILED);
        EXPECT_EQ(devices.requests,
                  (Lines{open_volume(), "flush", dismount_volume, "close volume"}));
        expect_log({entering(),
                    {0, "OfflineVolumeW: FSCTL_DISMOUNT_VOLUME  for vol1 failed 0xc1000001"},
                    failed(FARLO_PROVIDER_FAILED),
                    exiting});
    });
}

// Native statuses of the config device, and what the function returns for them.
constexpr struct {
    std::int32_t native;
    std::uint32_t status;
} native_statuses[] = {
    {native::sharing_violation, FARLO_DEVICE_SHARING_VIOLATION},
    {native::unsuccessful, FARLO_DEVICE_UNSUCCESSFUL},
    {native::no_such_device, FARLO_NOT_FOUND},
    {native::invalid_parameter, FARLO_MISSING_ARGUMENT},
    {native::object_name_not_found, FARLO_DEVICE_FAILED},
    {native::access_denied, FARLO_DEVICE_FAILED},
    {native::invalid_device_request, FARLO_DEVICE_FAILED},
};

TEST_F(OfflineVolume, MapsStatusThatRequestReturns) {
    once([&] {
        for (const auto& [native_status, status] : native_statuses) {
            FakeDevices devices(dll().module());
            devices.native_returned = native_status;
            start_watching();
            EXPECT_EQ(offline(), status);
            EXPECT_EQ(devices.requests, all_requests());
            expect_log({entering(), failed(status), exiting});
        }
    });
}

TEST_F(OfflineVolume, TakesReturnedStatusWhenIoStatusIsNotWritten) {
    once([&] {
        FakeDevices devices(dll().module());
        devices.native_io_status.reset();
        EXPECT_EQ(offline(), FARLO_SUCCESS);
        for (const auto& [native_status, status] : native_statuses) {
            devices.native_returned = native_status;
            EXPECT_EQ(offline(), status);
        }
    });
}

TEST_F(OfflineVolume, MapsIoStatusOfRequest) {
    once([&] {
        for (const auto& [native_status, status] : native_statuses) {
            FakeDevices devices(dll().module());
            devices.native_io_status = native_status;
            EXPECT_EQ(offline(), status);
        }
    });
}

TEST_F(OfflineVolume, PrefersIoStatusToReturnedStatus) {
    once([&] {
        FakeDevices devices(dll().module());
        devices.native_io_status = native::invalid_parameter;
        devices.native_returned = native::sharing_violation;
        EXPECT_EQ(offline(), FARLO_MISSING_ARGUMENT);
        devices.native_returned = native::success;
        EXPECT_EQ(offline(), FARLO_MISSING_ARGUMENT);
    });
}

TEST_F(OfflineVolume, ReturnsStatusOfThirdTryToOpenDevice) {
    once([&] {
        for (const auto& [native_status, status] : native_statuses) {
            FakeDevices devices(dll().module());
            devices.native_opens = {native::access_denied, native::sharing_violation,
                                    native_status};
            start_watching();
            EXPECT_EQ(offline(), status);
            EXPECT_EQ(devices.requests, (Lines{open_volume(), "flush", dismount_volume, open_device,
                                               open_device, open_device, "close volume"}));
            expect_pauses({{"Sleep", 1000}, {"Sleep", 1000}, {"Sleep", 1000}});
        }
    });
}

TEST_F(OfflineVolume, SucceedsWhenDeviceOpensAtThirdTry) {
    once([&] {
        FakeDevices devices(dll().module());
        devices.native_opens = {native::access_denied, native::sharing_violation};
        EXPECT_EQ(offline(), FARLO_SUCCESS);
        EXPECT_EQ(devices.requests,
                  (Lines{open_volume(), "flush", dismount_volume, open_device, open_device,
                         open_device, report_offline, "close device", "close volume"}));
        expect_pauses({{"Sleep", 1000}, {"Sleep", 1000}});
    });
}

TEST_F(OfflineVolume, AcceptsLongestNarrowPath) {
    once([&] {
        FakeDevices devices(dll().module());
        const std::string path(259, 'p');
        EXPECT_EQ(FARLO(OfflineVolumeA)("vol1", path.c_str(), group_guid), FARLO_SUCCESS);
        EXPECT_EQ(devices.requests, all_requests(path));
    });
}

// So the function cannot run out of memory between dismounting the volume and reporting it.
TEST_F(OfflineVolume, AllocatesNoMemory) {
    std::vector<std::uint32_t> results;
    const auto run = [&](auto call) {
        at_every_allocation([&] {
            FakeDevices devices(dll().module());
            const long before = heap().allocations();
            results.push_back(call());
            EXPECT_EQ(heap().allocations(), before);
            EXPECT_EQ(devices.requests, all_requests());
        });
        EXPECT_THAT(results, testing::Each(FARLO_SUCCESS));
    };
    run([&] { return offline(); });
    run([&] { return FARLO(OfflineVolumeA)("vol1", "\\\\?\\V{1}\\", group_guid); });
}

TEST_F(OfflineVolume, NarrowFormRejectsNullAndLongPath) {
    at_every_threshold([&] {
        FakeDevices devices(dll().module());
        EXPECT_EQ(FARLO(OfflineVolumeA)("vol1", "\\\\?\\V{1}\\", group_guid), FARLO_SUCCESS);
        EXPECT_EQ(devices.requests, all_requests());
        expect_log({entering(), succeeded, exiting});
        start_watching();
        EXPECT_EQ(FARLO(OfflineVolumeA)("vol1", nullptr, group_guid), FARLO_INVALID_ARGUMENT);
        expect_log({{0, "OfflineVolumeW() failed , NULL Volume GUID/Name/DG GUID"},
                    failed(FARLO_INVALID_ARGUMENT, "(null)"),
                    exiting});
        start_watching();
        EXPECT_EQ(FARLO(OfflineVolumeA)("vol1", std::string(260, 'p').c_str(), group_guid),
                  FARLO_INVALID_ARGUMENT);
        expect_log(
            {{0, "OfflineVolumeA() failed , path string of more than 259 characters or invalid, "
                 "error=(0x80070057)"}});
    });
}

// Nothing is replaced here.
TEST_F(OfflineVolume, ReturnsSystemErrorForMissingVolume) {
    at_every_threshold([&] {
        EXPECT_EQ(offline(L"\\\\.\\no such volume\\"), DWORD{ERROR_FILE_NOT_FOUND});
        expect_log({entering("\\\\.\\no such volume\\"),
                    {0, "OfflineVolumeW:CreateFileW for vol1 failed 0x2"},
                    failed(ERROR_FILE_NOT_FOUND, "\\\\.\\no such volume\\"),
                    exiting});
    });
}

}  // namespace
