// Fixture of tests with the real driver, which stays loaded during the suite.
#pragma once

#include "dmcontrol/control_device.h"
#include "support/service_names.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>

namespace dm_tests {

// Native statuses as requests return them.
using support::native_bits;
namespace native = support::native;
constexpr std::uint32_t success = native_bits(native::success);
constexpr std::uint32_t buffer_overflow = native_bits(native::buffer_overflow);
constexpr std::uint32_t unsuccessful = native_bits(native::unsuccessful);
constexpr std::uint32_t invalid_parameter = native_bits(native::invalid_parameter);
constexpr std::uint32_t no_such_device = native_bits(native::no_such_device);
constexpr std::uint32_t invalid_device_request = native_bits(native::invalid_device_request);
constexpr std::uint32_t buffer_too_small = native_bits(native::buffer_too_small);
constexpr std::uint32_t not_found = native_bits(native::object_name_not_found);
constexpr std::uint32_t sharing_violation = native_bits(native::sharing_violation);
constexpr std::uint32_t insufficient_resources = native_bits(native::insufficient_resources);
constexpr std::uint32_t invalid_buffer_size = native_bits(native::invalid_buffer_size);

// The driver that was built.
std::filesystem::path driver_file();

// Requests to the devices. Before each test the driver forgets all groups and volumes.
class DriverTest : public testing::Test {
  protected:
    static void SetUpTestSuite();
    static void TearDownTestSuite();
    void SetUp() override;

    // Records by number: group 1 has the GUID string "group-1" and the binary GUID
    // 1..1; volume 11 is named "volume-11".
    static lab_dm_group group(std::uint8_t number, std::uint32_t flags);
    static lab_dm_volume volume(std::uint8_t number, std::uint8_t group, std::uint32_t flags);

    // Records of requests, as programs fill them.
    dm_reservation_request* group_record(const char* guid_string, std::uint32_t reservation);
    dm_volume_request* volume_record(const char* name, std::uint8_t guid);

    // Send one request, as the library does, and return its status.
    std::uint32_t request_info(std::uint32_t code, const void* record);
    std::uint32_t request_config(std::uint32_t code, const void* record);

    lab::ControlDevice control;
    lab::WindowsHandle info = lab::open_device(DM_INFO_DEVICE);
    lab::WindowsHandle config = lab::open_device(DM_CONFIG_DEVICE);

  private:
    std::unique_ptr<dm_reservation_request> m_group_record;
    std::unique_ptr<dm_volume_request> m_volume_record;
};

}  // namespace dm_tests
