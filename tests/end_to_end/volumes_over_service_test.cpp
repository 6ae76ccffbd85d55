// Volumes of a service in its own process: methods, and changes that other connections see.
#include "end_to_end/service_objects.h"
#include "service/service_fixture.h"
#include "support/farlo_dll.h"

#include <filesystem>

namespace {

using namespace support;

constexpr char mirror_guid[] = "b0000000-0000-0000-0000-000000000001";

class VolumesOverService : public ServiceTest {
  protected:
    void SetUp() override {
        start(read_text(std::filesystem::path(LAB_SCENARIOS "records.json").wstring()));
        ASSERT_EQ(CALL(dll, InitializeClusterW)(&agent), FARLO_SUCCESS);
        wchar_t name[MAX_PATH] = L"";
        ASSERT_NE(QueryDosDeviceW(L"M:", name, MAX_PATH), 0u);
        device = name;
    }
    void TearDown() override {
        EXPECT_EQ(CALL(dll, UnInitializeClusterW)(agent), FARLO_SUCCESS);
        ServiceTest::TearDown();
    }

    VolInfo record() {
        VolInfo volume{};
        std::uint32_t size = sizeof volume;
        EXPECT_EQ(
            CALL(dll, GetVolumeInfo)(agent, nullptr, mirror_guid, device.c_str(), &volume, &size),
            FARLO_SUCCESS);
        return volume;
    }
    std::uint32_t state_over_another_connection() {
        const opal_handle other = connect();
        const std::vector<std::uint32_t> states =
            read_all<std::uint32_t>(other, ZTTYPE_VOLUME, "ztvmstate");
        release(other);
        return states.at(0);
    }

    FarloDll dll;
    opal_handle agent = nullptr;
    std::wstring device;
};

TEST_F(VolumesOverService, RecordHasLettersAndMountPoints) {
    EXPECT_STREQ(record().device_name, device.c_str());
    EXPECT_STREQ(record().drive_letter, L"M:");
    EXPECT_STREQ(record().mount_points, L"X:\\mnt\\mirror");
    EXPECT_EQ(CALL(dll, FFUpdateMountPathW)(agent, L"vol_mirror"), FARLO_SUCCESS);
    EXPECT_STREQ(record().mount_points, L"X:\\mnt\\mirror; N:\\soon");
    EXPECT_EQ(record().state, 0);
}

TEST_F(VolumesOverService, StateChangesForAllAgents) {
    EXPECT_EQ(CALL(dll, OfflineVolW)(agent, mirror_guid, device.c_str(), 0), FARLO_SUCCESS);
    EXPECT_EQ(state_over_another_connection(), volume_state::offline);
    EXPECT_EQ(record().state, FARLO_VOLUME_UNUSABLE);
    EXPECT_EQ(CALL(dll, OnlineVolW)(agent, mirror_guid, device.c_str(), 0, 1000), FARLO_SUCCESS);
    EXPECT_EQ(state_over_another_connection(), volume_state::online);
    // A device name that the service does not know.
    EXPECT_EQ(CALL(dll, OfflineVolW)(agent, mirror_guid, L"\\Device\\HarddiskVolume99", 0),
              FARLO_INVALID_ARGUMENT);
}

}  // namespace
