// GetDgVolumeStatus.
#include "dmcontrol.h"
#include "query/record_fixture.h"

#include <winternl.h>

#include <algorithm>
#include <numeric>

namespace {

using namespace records;

using OpenFile = NTSTATUS(HANDLE*, ACCESS_MASK, OBJECT_ATTRIBUTES*, IO_STATUS_BLOCK*, ULONG, ULONG);
using Control = NTSTATUS(HANDLE, HANDLE, PIO_APC_ROUTINE, void*, IO_STATUS_BLOCK*, ULONG, void*,
                         ULONG, void*, ULONG);

using Requests = std::vector<std::vector<std::uint8_t>>;

// The record of a request: the group's GUID string, and the volume's GUID.
constexpr std::size_t request_size = 84;
constexpr std::size_t volume_guid_offset = 68;

// Replaces the config device: keeps the record of each request and returns a native status.
class ConfigDevice {
  public:
    ConfigDevice(HMODULE module, NTSTATUS native_status)
        : m_open(module, "ZwOpenFile",
                 [](HANDLE* file, ACCESS_MASK, OBJECT_ATTRIBUTES* attributes, IO_STATUS_BLOCK*,
                    ULONG, ULONG) {
                     EXPECT_EQ(std::wstring(attributes->ObjectName->Buffer,
                                            attributes->ObjectName->Length / sizeof(wchar_t)),
                               L"\\Device\\DmControl\\DmConfig");
                     *file = CreateEventW(nullptr, TRUE, FALSE, nullptr);
                     return NTSTATUS{native::success};
                 }),
          m_control(
              module, "ZwDeviceIoControlFile",
              [this, native_status](HANDLE, HANDLE, PIO_APC_ROUTINE, void*, IO_STATUS_BLOCK* status,
                                    ULONG code, void* input, ULONG, void*, ULONG) {
                  EXPECT_EQ(code, control_code::query_volume_status);
                  const auto* const block = static_cast<const dm_control_block*>(input);
                  const auto* const bytes = reinterpret_cast<const std::uint8_t*>(block->record);
                  records.emplace_back(bytes, bytes + request_size);
                  if (on_request) {
                      on_request();
                  }
                  status->Status = native_status;
                  return NTSTATUS{native::success};
              }) {}

    Requests records;
    std::function<void()> on_request;

  private:
    StandIn<OpenFile> m_open;
    StandIn<Control> m_control;
};

class GetDgVolumeStatus : public RecordTest {
  protected:
    GetDgVolumeStatus() {
        std::iota(volume_guid, volume_guid + FARLO_GUID_SIZE, std::uint8_t{0xA0});
    }

    std::uint32_t get_status(const char* guid = "guid-1") {
        return FARLO(GetDgVolumeStatusW)(handle, guid, volume_guid, status.as<std::uint32_t>());
    }

    std::vector<std::uint8_t> request(const std::string& guid) const {
        std::vector<std::uint8_t> bytes(request_size);
        std::copy(guid.begin(), guid.end(), bytes.begin());
        std::copy(volume_guid, volume_guid + FARLO_GUID_SIZE, bytes.begin() + volume_guid_offset);
        return bytes;
    }

    std::uint8_t volume_guid[FARLO_GUID_SIZE];
    GuardedBuffer status{4};
};

// A native status of the device, the status that the call returns, and the line that it logs.
struct Translation {
    NTSTATUS native;
    std::uint32_t status;
    Log logged;
};

const Expected entering{4, "Entering GetDgVolumeStatusW"};
const Expected exiting{4, "Exiting GetDgVolumeStatusW"};

// The driver returns "unsuccessful" for a healthy volume. It does not count as a failure.
TEST_F(GetDgVolumeStatus, ReportsHealthyWhenDriverReturnsUnsuccessful) {
    at_every_threshold([&] {
        ConfigDevice device(dll().module(), native::unsuccessful);
        EXPECT_EQ(get_status(), FARLO_DEVICE_UNSUCCESSFUL);
        EXPECT_EQ(*status.as<std::uint32_t>(), FARLO_VOLUME_STATUS_HEALTHY);
        EXPECT_EQ(device.records, (Requests{request("guid-1")}));
        expect_calls({});
        expect_log({entering, exiting});
    });
}

TEST_F(GetDgVolumeStatus, ReportsOtherForEveryOtherNativeStatus) {
    const Translation translations[] = {
        {native::success, FARLO_SUCCESS, {{0, "GetDgVolumeStatusW() failed, error=(0x0) "}}},
        {native::sharing_violation,
         FARLO_DEVICE_SHARING_VIOLATION,
         {{0, "GetDgVolumeStatusW() failed, error=(0x17) "}}},
        {native::no_such_device,
         FARLO_NOT_FOUND,
         {{0, "GetDgVolumeStatusW() failed, error=(0x1) "}}},
        {native::invalid_parameter,
         FARLO_MISSING_ARGUMENT,
         {{0, "GetDgVolumeStatusW() failed, error=(0x13) "}}},
        {native::access_denied,
         FARLO_DEVICE_FAILED,
         {{0, "GetDgVolumeStatusW() failed, error=(0x18) "}}}};
    for (const Translation& translation : translations) {
        SCOPED_TRACE(hex(static_cast<std::uint32_t>(translation.native)));
        at_every_threshold([&] {
            const ConfigDevice device(dll().module(), translation.native);
            EXPECT_EQ(get_status(), translation.status);
            EXPECT_EQ(*status.as<std::uint32_t>(), FARLO_VOLUME_STATUS_OTHER);
            expect_log(Log{entering} + translation.logged + Log{exiting});
        });
    }
}

// The request to the driver comes before that check.
TEST_F(GetDgVolumeStatus, ChecksHandleLast) {
    at_every_threshold([&] {
        ConfigDevice device(dll().module(), native::unsuccessful);
        EXPECT_EQ(
            FARLO(GetDgVolumeStatusW)(nullptr, "guid-1", volume_guid, status.as<std::uint32_t>()),
            FARLO_NOT_CONNECTED);
        EXPECT_EQ(*status.as<std::uint32_t>(), FARLO_VOLUME_STATUS_HEALTHY);
        disconnect();
        *status.as<std::uint32_t>() = 0;
        EXPECT_EQ(get_status(), FARLO_NOT_CONNECTED);
        EXPECT_EQ(*status.as<std::uint32_t>(), FARLO_VOLUME_STATUS_HEALTHY);
        EXPECT_EQ(FARLO(GetDgVolumeStatusW)(nullptr, "", volume_guid, status.as<std::uint32_t>()),
                  FARLO_NOT_CONNECTED);
        EXPECT_EQ(device.records.size(), 2u);
        expect_log({entering,
                    {0, "GetDgVolumeStatusW() opal_handle is null"},
                    exiting,
                    entering,
                    {0, "GetDgVolumeStatusW() opal_handle not connected"},
                    exiting,
                    entering,
                    {0, "GetDgVolumeStatusW():UseDgGuid()  failed"},
                    {0, "GetDgVolumeStatusW() failed, error=(0x13) "},
                    {0, "GetDgVolumeStatusW() opal_handle is null"},
                    exiting});
    });
}

// The stored status stays.
TEST_F(GetDgVolumeStatus, ReturnsNotConnectedWhenConnectionDrops) {
    for (const bool healthy : {true, false}) {
        at_every_threshold([&] {
            ConfigDevice device(dll().module(),
                                healthy ? native::unsuccessful : native::access_denied);
            device.on_request = [&] { disconnect(); };
            EXPECT_EQ(get_status(), FARLO_NOT_CONNECTED);
            EXPECT_EQ(*status.as<std::uint32_t>(),
                      healthy ? FARLO_VOLUME_STATUS_HEALTHY : FARLO_VOLUME_STATUS_OTHER);
            const Log failed{{0, "GetDgVolumeStatusW() failed, error=(0x18) "}};
            expect_log(Log{entering} + (healthy ? Log{} : failed) +
                       Log{{0, "GetDgVolumeStatusW() opal_handle not connected"}, exiting});
        });
    }
}

// Opening is tried three times, a second apart. The native status of the last try is treated like
// that of a request.
TEST_F(GetDgVolumeStatus, ReportsOtherWhenDeviceCannotBeOpened) {
    const Translation translations[] = {{native::sharing_violation,
                                         FARLO_DEVICE_SHARING_VIOLATION,
                                         {{0, "GetDgVolumeStatusW() failed, error=(0x17) "}}},
                                        {native::no_such_device,
                                         FARLO_NOT_FOUND,
                                         {{0, "GetDgVolumeStatusW() failed, error=(0x1) "}}},
                                        {native::invalid_parameter,
                                         FARLO_MISSING_ARGUMENT,
                                         {{0, "GetDgVolumeStatusW() failed, error=(0x13) "}}},
                                        {native::object_name_not_found,
                                         FARLO_DEVICE_FAILED,
                                         {{0, "GetDgVolumeStatusW() failed, error=(0x18) "}}}};
    for (const Translation& translation : translations) {
        SCOPED_TRACE(hex(static_cast<std::uint32_t>(translation.native)));
        at_every_threshold([&] {
            ConfigDevice device(dll().module(), native::unsuccessful);
            const Failure<OpenFile> open(dll().module(), "ZwOpenFile", {.times = 3},
                                         translation.native);
            EXPECT_EQ(get_status(), translation.status);
            EXPECT_EQ(*status.as<std::uint32_t>(), FARLO_VOLUME_STATUS_OTHER);
            EXPECT_EQ(open.calls(), 3u);
            EXPECT_EQ(device.records.size(), 0u);
            expect_pauses({{"Sleep", 1000}, {"Sleep", 1000}, {"Sleep", 1000}});
            expect_log(Log{entering} + translation.logged + Log{exiting});
        });
    }
    at_every_threshold([&] {
        ConfigDevice device(dll().module(), native::unsuccessful);
        const Failure<OpenFile> open(dll().module(), "ZwOpenFile", {.times = 2},
                                     native::sharing_violation);
        EXPECT_EQ(get_status(), FARLO_DEVICE_UNSUCCESSFUL);
        EXPECT_EQ(*status.as<std::uint32_t>(), FARLO_VOLUME_STATUS_HEALTHY);
        EXPECT_EQ(device.records.size(), 1u);
        expect_pauses({{"Sleep", 1000}, {"Sleep", 1000}});
        expect_log({entering, exiting});
    });
}

TEST_F(GetDgVolumeStatus, NeedsNeitherMemoryNorService) {
    std::vector<std::uint32_t> results;
    at_every_allocation([&] {
        const ConfigDevice device(dll().module(), native::unsuccessful);
        results.push_back(get_status());
        EXPECT_EQ(*status.as<std::uint32_t>(), FARLO_VOLUME_STATUS_HEALTHY);
        expect_calls({});
    });
    // The runs end with the second one: there is no allocation that could fail.
    EXPECT_EQ(results,
              (std::vector<std::uint32_t>{FARLO_DEVICE_UNSUCCESSFUL, FARLO_DEVICE_UNSUCCESSFUL}));
}

TEST_F(GetDgVolumeStatus, ChecksArguments) {
    at_every_threshold([&] {
        ConfigDevice device(dll().module(), native::unsuccessful);
        auto* const out = status.as<std::uint32_t>();
        EXPECT_EQ(FARLO(GetDgVolumeStatusW)(handle, nullptr, nullptr, out), FARLO_INVALID_ARGUMENT);
        EXPECT_EQ(FARLO(GetDgVolumeStatusW)(handle, nullptr, volume_guid, out),
                  FARLO_MISSING_ARGUMENT);
        EXPECT_EQ(FARLO(GetDgVolumeStatusW)(handle, "", volume_guid, out), FARLO_MISSING_ARGUMENT);
        EXPECT_EQ(FARLO(GetDgVolumeStatusW)(handle, "g", volume_guid, nullptr),
                  FARLO_MISSING_ARGUMENT);
        EXPECT_EQ(get_status(std::string(65, 'g').c_str()), FARLO_INVALID_ARGUMENT);
        EXPECT_TRUE(status.untouched());
        EXPECT_EQ(device.records.size(), 0u);
        const Expected invalid{0, "GetDgVolumeStatusW() failed, error=(0x80070057) "};
        const Expected missing{0, "GetDgVolumeStatusW() failed, error=(0x13) "};
        expect_log({entering,
                    {0, "GetDgVolumeStatusW() failed , NULL Volume GUID"},
                    invalid,
                    exiting,
                    entering,
                    {0, "GetDgVolumeStatusW():UseDgGuid()  failed"},
                    missing,
                    exiting,
                    entering,
                    {0, "GetDgVolumeStatusW():UseDgGuid()  failed"},
                    missing,
                    exiting,
                    entering,
                    {0, "GetDgVolumeStatusW() failed , pVolStatus == NULL"},
                    missing,
                    exiting,
                    entering,
                    {0, "GetDgVolumeStatusW() failed , guid string of more than 64 characters, "
                        "error=(0x80070057)"},
                    exiting});
    });
}

TEST_F(GetDgVolumeStatus, AcceptsLongestGuid) {
    once([&] {
        ConfigDevice device(dll().module(), native::unsuccessful);
        EXPECT_EQ(get_status(std::string(64, 'g').c_str()), FARLO_DEVICE_UNSUCCESSFUL);
        EXPECT_EQ(device.records, (Requests{request(std::string(64, 'g'))}));
    });
}

TEST_F(GetDgVolumeStatus, IsOneFunctionUnderTwoNames) {
    once([&] { EXPECT_EQ(FARLO(GetDgVolumeStatusA), FARLO(GetDgVolumeStatusW)); });
}

}  // namespace
