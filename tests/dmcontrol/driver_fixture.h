// Tests over the real driver, loaded for the program's life.
#pragma once

#include "control_device.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>

namespace dm_tests {

constexpr std::uint32_t done = 0;
constexpr std::uint32_t unsuccessful = 0xC0000001;
constexpr std::uint32_t invalid_parameter = 0xC000000D;
constexpr std::uint32_t no_such_device = 0xC000000E;
constexpr std::uint32_t invalid_device_request = 0xC0000010;
constexpr std::uint32_t buffer_too_small = 0xC0000023;
constexpr std::uint32_t not_found = 0xC0000034;
constexpr std::uint32_t sharing_violation = 0xC0000043;
constexpr std::uint32_t invalid_buffer_size = 0xC0000206;

// The driver that was built.
std::filesystem::path driver_file();

// What is done to the devices, with the driver loaded and knowing nothing.
class DriverTest : public testing::Test {
  protected:
    static void SetUpTestSuite();
    static void TearDownTestSuite();
    void SetUp() override;

    // Objects of the service by a number: group 1 has the text "group-1" and the
    // GUID 1..1, its volumes are named by number, too.
    static lab_dm_group group(std::uint8_t number, std::uint32_t flags);
    static lab_dm_volume volume(std::uint8_t number, std::uint8_t group, std::uint32_t flags);

    // Records as a program fills them, on a page that the process owns.
    dm_reservation_request* group_record(const char* guid_text, std::uint32_t reservation);
    dm_volume_request* volume_record(const char* name, std::uint8_t guid);

    // One request as the library sends it.
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
