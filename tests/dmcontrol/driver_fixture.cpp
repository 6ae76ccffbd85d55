#include "dmcontrol/driver_fixture.h"

#include "drivers/driver_service.h"

namespace dm_tests {
namespace {

std::uint32_t request(HANDLE device, std::uint32_t code, const void* record) {
    dm_control_block block{reinterpret_cast<std::uintptr_t>(record), 0};
    return lab::send_request(device, code, &block, sizeof block, &block, sizeof block);
}

}  // namespace

std::filesystem::path driver_file() {
    wchar_t path[MAX_PATH] = L"";
    SearchPathW(nullptr, L"dmcontrol.sys", nullptr, MAX_PATH, path, nullptr);
    return path;
}

// Reloads the driver: a driver of an earlier build may be loaded.
void DriverTest::SetUpTestSuite() {
    lab::stop_driver(LAB_DM_DRIVER);
    lab::start_driver(LAB_DM_DRIVER, driver_file());
}

void DriverTest::TearDownTestSuite() {
    lab::stop_driver(LAB_DM_DRIVER);
}

void DriverTest::SetUp() {
    ASSERT_TRUE(control) << "the info device cannot be opened";
    ASSERT_TRUE(info != nullptr);
    ASSERT_TRUE(config != nullptr);
    ASSERT_EQ(control.forget(), success);
    control.take_events();
}

lab_dm_group DriverTest::group(std::uint8_t number, std::uint32_t flags) {
    lab_dm_group group{};
    group.id[0] = number;
    std::memset(group.guid, number, sizeof group.guid);
    std::snprintf(group.guid_string, sizeof group.guid_string, "group-%u", number);
    group.flags = flags;
    return group;
}

lab_dm_volume DriverTest::volume(std::uint8_t number, std::uint8_t group, std::uint32_t flags) {
    lab_dm_volume volume{};
    volume.id[0] = number;
    volume.group_id[0] = group;
    std::memset(volume.guid, number, sizeof volume.guid);
    std::snprintf(volume.name, sizeof volume.name, "volume-%u", number);
    volume.flags = flags;
    return volume;
}

dm_reservation_request* DriverTest::group_record(const char* guid_string,
                                                 std::uint32_t reservation) {
    m_group_record = std::make_unique<dm_reservation_request>();
    std::strcpy(m_group_record->group_guid, guid_string);
    m_group_record->reservation = reservation;
    return m_group_record.get();
}

dm_volume_request* DriverTest::volume_record(const char* name, std::uint8_t guid) {
    m_volume_record = std::make_unique<dm_volume_request>();
    std::strcpy(m_volume_record->name, name);
    std::memset(m_volume_record->guid, guid, sizeof m_volume_record->guid);
    return m_volume_record.get();
}

std::uint32_t DriverTest::request_info(std::uint32_t code, const void* record) {
    return request(info.get(), code, record);
}

std::uint32_t DriverTest::request_config(std::uint32_t code, const void* record) {
    return request(config.get(), code, record);
}

}  // namespace dm_tests
