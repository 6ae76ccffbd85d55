// GetDgVolumeStatus.
#include "dmcontrol.h"
#include "record_test.h"

#include <winternl.h>

#include <algorithm>
#include <cstdio>
#include <numeric>

namespace {

using namespace records;

using OpenFile = NTSTATUS(HANDLE*, ACCESS_MASK, OBJECT_ATTRIBUTES*, IO_STATUS_BLOCK*, ULONG, ULONG);
using Control = NTSTATUS(HANDLE, HANDLE, PIO_APC_ROUTINE, void*, IO_STATUS_BLOCK*, ULONG, void*,
                         ULONG, void*, ULONG);

using Requests = std::vector<std::vector<std::uint8_t>>;

// The config device: keeps the record of each request and answers a status.
class ConfigDevice {
  public:
    ConfigDevice(HMODULE module, std::uint32_t answer)
        : m_open(module, "ZwOpenFile",
                 [](HANDLE* file, ACCESS_MASK, OBJECT_ATTRIBUTES* attributes, IO_STATUS_BLOCK*,
                    ULONG, ULONG) {
                     EXPECT_EQ(std::wstring(attributes->ObjectName->Buffer,
                                            attributes->ObjectName->Length / sizeof(wchar_t)),
                               L"\\Device\\DmControl\\DmConfig");
                     *file = CreateEventW(nullptr, TRUE, FALSE, nullptr);
                     return NTSTATUS{0};
                 }),
          m_control(module, "ZwDeviceIoControlFile",
                    [this, answer](HANDLE, HANDLE, PIO_APC_ROUTINE, void*, IO_STATUS_BLOCK* status,
                                   ULONG code, void* input, ULONG, void*, ULONG) {
                        EXPECT_EQ(code, 0xD903F0C8u);
                        const auto* const block = static_cast<const dm_control_block*>(input);
                        const auto* const bytes =
                            reinterpret_cast<const std::uint8_t*>(block->record);
                        records.emplace_back(bytes, bytes + 84);
                        if (on_request) {
                            on_request();
                        }
                        status->Status = static_cast<NTSTATUS>(answer);
                        return NTSTATUS{0};
                    }) {}

    Requests records;
    std::function<void()> on_request;

  private:
    StandIn<OpenFile> m_open;
    StandIn<Control> m_control;
};

class VolumeStatus : public RecordTest {
  protected:
    VolumeStatus() { std::iota(volume_guid, volume_guid + 16, std::uint8_t{0xA0}); }

    std::uint32_t ask(const char* guid = "guid-1") {
        return FARLO(GetDgVolumeStatusW)(handle, guid, volume_guid, status.as<std::uint32_t>());
    }

    std::vector<std::uint8_t> request(const std::string& guid) const {
        std::vector<std::uint8_t> bytes(84);
        std::copy(guid.begin(), guid.end(), bytes.begin());
        std::copy(volume_guid, volume_guid + 16, bytes.begin() + 68);
        return bytes;
    }

    std::uint8_t volume_guid[16];
    GuardedBuffer status{4};
};

// A native status of the device, and what the call makes of it.
struct Answer {
    std::uint32_t native;
    std::uint32_t result;
};

const Expected entering{4, "Entering GetDgVolumeStatusW"};
const Expected exiting{4, "Exiting GetDgVolumeStatusW"};

// 36 is the answer for a healthy volume: no failure.
TEST_F(VolumeStatus, Is36ForAHealthyVolume) {
    at_every_threshold([&] {
        ConfigDevice device(dll().module(), 0xC0000001);
        EXPECT_EQ(ask(), 36u);
        EXPECT_EQ(*status.as<std::uint32_t>(), 36u);
        EXPECT_EQ(device.records, (Requests{request("guid-1")}));
        expect_calls({});
        expect_log({entering, exiting});
    });
}

TEST_F(VolumeStatus, Is35ForEveryOtherAnswer) {
    const Answer answers[] = {
        {0, 0}, {0xC0000043, 23}, {0xC000000E, 1}, {0xC000000D, 19}, {0xC0000022, 24}};
    for (const Answer& answer : answers) {
        SCOPED_TRACE(answer.native);
        at_every_threshold([&] {
            const ConfigDevice device(dll().module(), answer.native);
            EXPECT_EQ(ask(), answer.result);
            EXPECT_EQ(*status.as<std::uint32_t>(), 35u);
            char line[64];
            std::snprintf(line, sizeof line, "GetDgVolumeStatusW() failed, error=(0x%x) ",
                          answer.result);
            expect_log({entering, {0, line}, exiting});
        });
    }
}

// The driver is asked all the same.
TEST_F(VolumeStatus, LooksAtTheHandleLast) {
    at_every_threshold([&] {
        ConfigDevice device(dll().module(), 0xC0000001);
        EXPECT_EQ(
            FARLO(GetDgVolumeStatusW)(nullptr, "guid-1", volume_guid, status.as<std::uint32_t>()),
            0x14u);
        EXPECT_EQ(*status.as<std::uint32_t>(), 36u);
        disconnect();
        *status.as<std::uint32_t>() = 0;
        EXPECT_EQ(ask(), 0x14u);
        EXPECT_EQ(*status.as<std::uint32_t>(), 36u);
        EXPECT_EQ(FARLO(GetDgVolumeStatusW)(nullptr, "", volume_guid, status.as<std::uint32_t>()),
                  0x14u);
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

// What was stored stays.
TEST_F(VolumeStatus, OfAConnectionThatDropsMeanwhile) {
    for (const bool healthy : {true, false}) {
        at_every_threshold([&] {
            ConfigDevice device(dll().module(), healthy ? 0xC0000001 : 0xC0000022);
            device.on_request = [&] { disconnect(); };
            EXPECT_EQ(ask(), 0x14u);
            EXPECT_EQ(*status.as<std::uint32_t>(), healthy ? 36u : 35u);
            const Log failed{{0, "GetDgVolumeStatusW() failed, error=(0x18) "}};
            expect_log(Log{entering} + (healthy ? Log{} : failed) +
                       Log{{0, "GetDgVolumeStatusW() opal_handle not connected"}, exiting});
        });
    }
}

// Three times, a second behind each; the device's answer to the opening counts as
// the driver's.
TEST_F(VolumeStatus, OfADeviceThatCannotBeOpened) {
    const Answer answers[] = {
        {0xC0000043, 23}, {0xC000000E, 1}, {0xC000000D, 19}, {0xC0000034, 24}};
    for (const Answer& answer : answers) {
        SCOPED_TRACE(answer.native);
        at_every_threshold([&] {
            ConfigDevice device(dll().module(), 0xC0000001);
            const Failure<OpenFile> open(dll().module(), "ZwOpenFile", {.times = 3},
                                         static_cast<NTSTATUS>(answer.native));
            EXPECT_EQ(ask(), answer.result);
            EXPECT_EQ(*status.as<std::uint32_t>(), 35u);
            EXPECT_EQ(open.calls(), 3u);
            EXPECT_EQ(device.records.size(), 0u);
            expect_pauses({{"Sleep", 1000}, {"Sleep", 1000}, {"Sleep", 1000}});
            char line[64];
            std::snprintf(line, sizeof line, "GetDgVolumeStatusW() failed, error=(0x%x) ",
                          answer.result);
            expect_log({entering, {0, line}, exiting});
        });
    }
    at_every_threshold([&] {
        ConfigDevice device(dll().module(), 0xC0000001);
        const Failure<OpenFile> open(dll().module(), "ZwOpenFile", {.times = 2},
                                     static_cast<NTSTATUS>(0xC0000043));
        EXPECT_EQ(ask(), 36u);
        EXPECT_EQ(*status.as<std::uint32_t>(), 36u);
        EXPECT_EQ(device.records.size(), 1u);
        expect_pauses({{"Sleep", 1000}, {"Sleep", 1000}});
        expect_log({entering, exiting});
    });
}

TEST_F(VolumeStatus, NeedsNoMemoryAndNoService) {
    std::vector<std::uint32_t> results;
    at_every_allocation([&] {
        const ConfigDevice device(dll().module(), 0xC0000001);
        results.push_back(ask());
        EXPECT_EQ(*status.as<std::uint32_t>(), 36u);
        expect_calls({});
    });
    // The second run ends it: there was no allocation that could fail.
    EXPECT_EQ(results, (std::vector<std::uint32_t>{36, 36}));
}

TEST_F(VolumeStatus, ChecksItsArguments) {
    at_every_threshold([&] {
        ConfigDevice device(dll().module(), 0xC0000001);
        auto* const out = status.as<std::uint32_t>();
        EXPECT_EQ(FARLO(GetDgVolumeStatusW)(handle, nullptr, nullptr, out), 0x80070057u);
        EXPECT_EQ(FARLO(GetDgVolumeStatusW)(handle, nullptr, volume_guid, out), 0x13u);
        EXPECT_EQ(FARLO(GetDgVolumeStatusW)(handle, "", volume_guid, out), 0x13u);
        EXPECT_EQ(FARLO(GetDgVolumeStatusW)(handle, "g", volume_guid, nullptr), 0x13u);
        EXPECT_EQ(ask(std::string(65, 'g').c_str()), 0x80070057u);
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

TEST_F(VolumeStatus, TakesTheLongestGuidText) {
    once([&] {
        ConfigDevice device(dll().module(), 0xC0000001);
        EXPECT_EQ(ask(std::string(64, 'g').c_str()), 36u);
        EXPECT_EQ(device.records, (Requests{request(std::string(64, 'g'))}));
    });
}

TEST_F(VolumeStatus, IsOneEntryUnderBothNames) {
    once([&] { EXPECT_EQ(FARLO(GetDgVolumeStatusA), FARLO(GetDgVolumeStatusW)); });
}

}  // namespace
