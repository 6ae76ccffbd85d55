// Volumes over the service process: methods, and changes by one agent that another one
// sees.
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
        ASSERT_EQ(CALL(dll, InitializeClusterW)(&agent), 0u);
        wchar_t name[MAX_PATH] = L"";
        ASSERT_NE(QueryDosDeviceW(L"M:", name, MAX_PATH), 0u);
        device = name;
    }
    void TearDown() override {
        EXPECT_EQ(CALL(dll, UnInitializeClusterW)(agent), 0u);
        ServiceTest::TearDown();
    }

    VolInfo record() {
        VolInfo volume{};
        std::uint32_t size = sizeof volume;
        EXPECT_EQ(
            CALL(dll, GetVolumeInfo)(agent, nullptr, mirror_guid, device.c_str(), &volume, &size),
            0u);
        return volume;
    }
    // Returns the volume's state as another connection reads it.
    std::uint32_t state_seen_by_others() {
        const opal_handle other = connect();
        std::vector<opal_objid> volumes;
        EXPECT_EQ(list(other, ZTTYPE_VOLUME, volumes), ZTSTATUS_OK);
        opal_property state;
        EXPECT_EQ(ObGetProperty(other->connection, other->connection_context, &volumes.at(0),
                                "ztvmstate", &state),
                  ZTSTATUS_OK);
        const std::uint32_t value = *static_cast<const std::uint32_t*>(state.value);
        PsFreeProperty(&state);
        release(other);
        return value;
    }

    FarloDll dll;
    opal_handle agent = nullptr;
    std::wstring device;
};

TEST_F(VolumesOverService, RecordHasLettersAndMountPoints) {
    EXPECT_STREQ(record().device_name, device.c_str());
    EXPECT_STREQ(record().drive_letter, L"M:");
    EXPECT_STREQ(record().mount_points, L"X:\\mnt\\mirror");
    EXPECT_EQ(CALL(dll, FFUpdateMountPathW)(agent, L"vol_mirror"), 0u);
    EXPECT_STREQ(record().mount_points, L"X:\\mnt\\mirror; N:\\soon");
    EXPECT_EQ(record().state, 0);
}

TEST_F(VolumesOverService, StateChangesForAllAgents) {
    EXPECT_EQ(CALL(dll, OfflineVolW)(agent, mirror_guid, device.c_str(), 0), 0u);
    EXPECT_EQ(state_seen_by_others(), 0x20u);
    EXPECT_EQ(record().state, 0x20);
    EXPECT_EQ(CALL(dll, OnlineVolW)(agent, mirror_guid, device.c_str(), 0, 1000), 0u);
    EXPECT_EQ(state_seen_by_others(), 0u);
    // A device name that the service does not know.
    EXPECT_EQ(CALL(dll, OfflineVolW)(agent, mirror_guid, L"\\Device\\HarddiskVolume99", 0),
              FARLO_INVALID_ARGUMENT);
}

}  // namespace
