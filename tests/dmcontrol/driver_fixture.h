// Fixture of tests with the real driver, which stays loaded during the suite.
#pragma once

#include "dmcontrol/control_device.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>

namespace dm_tests {

// Native statuses.
constexpr std::uint32_t done = 0;
constexpr std::uint32_t buffer_overflow = 0x80000005;
constexpr std::uint32_t unsuccessful = 0xC0000001;
constexpr std::uint32_t invalid_parameter = 0xC000000D;
constexpr std::uint32_t no_such_device = 0xC000000E;
constexpr std::uint32_t invalid_device_request = 0xC0000010;
constexpr std::uint32_t buffer_too_small = 0xC0000023;
constexpr std::uint32_t not_found = 0xC0000034;
constexpr std::uint32_t sharing_violation = 0xC0000043;
constexpr std::uint32_t insufficient_resources = 0xC000009A;
constexpr std::uint32_t invalid_buffer_size = 0xC0000206;

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

    // Request records as a program fills them.
    dm_reservation_request* group_record(const char* guid_text, std::uint32_t reservation);
    dm_volume_request* volume_record(const char* name, std::uint8_t guid);

    // Send one request like the library.
    std::uint32_t ask_info(std::uint32_t code, const void* record);
    std::uint32_t ask_config(std::uint32_t code, const void* record);

    lab::ControlDevice control;
    lab::WindowsHandle info = lab::open_device(DM_INFO_DEVICE);
    lab::WindowsHandle config = lab::open_device(DM_CONFIG_DEVICE);

  private:
    std::unique_ptr<dm_reservation_request> m_group_record;
    std::unique_ptr<dm_volume_request> m_volume_record;
};

}  // namespace dm_tests
