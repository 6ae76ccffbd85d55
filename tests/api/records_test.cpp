// The narrow forms of the record functions: the longest names, names that are not ASCII, and NULL.
#include "query/record_fixture.h"

namespace {

using namespace records;

class NarrowForms : public RecordTest {
  protected:
    NarrowForms() {
        scenario = R"({"disk_groups": [{"name": ")" + group + R"(", "dgid": "guid-1", "volumes": [
            {"name": "v1", "device": ")" +
                   device + R"(", "type": 7, "state": 8, "size": 9},
            {"name": "v2", "device": ")" +
                   path + R"(", "type": 1, "state": 2, "size": 3}]}]})";
    }

    const std::string group = std::string(30, 'g') + '1';
    const std::string device = std::string(30, 'd') + '1';
    const std::string path = std::string(258, 'p') + '1';
    const Volume v1{std::wstring(30, L'd') + L'1', L"", {}, {}, L"", 7, 8, 9};
    const Volume v2{std::wstring(258, L'p') + L'1', L"", {}, {}, L"", 1, 2, 3};
    const Volume light_v1{v1.device, L"", {}, {}, {}, 7, {}, 9};
    const Volume light_v2{v2.device, L"", {}, {}, {}, 1, {}, 3};
};

// A group is named by its name alone, and by its GUID alone.
struct GroupNames {
    const char* name;
    const char* guid;
};

TEST_F(NarrowForms, GetDgPropertiesAcceptsLongestNames) {
    Image wanted(8 + 2 * volume_size);
    wanted.counts(0, 2);
    wanted.volume(8, v1).volume(8 + volume_size, v2);
    once([&] {
        for (const auto& [name, guid] :
             {GroupNames{group.c_str(), nullptr}, GroupNames{nullptr, "guid-1"}}) {
            GuardedBuffer record(8 + 2 * volume_size);
            auto size = static_cast<std::uint32_t>(record.size());
            EXPECT_EQ(FARLO(GetDgPropertiesA)(handle, name, guid, record.as<DgInfo>(), &size),
                      FARLO_SUCCESS);
            EXPECT_EQ(record.difference(wanted.bytes()), "");
        }
        EXPECT_EQ(FARLO(GetDgPropertiesA)(handle, nullptr, nullptr, nullptr, nullptr),
                  FARLO_MISSING_ARGUMENT);
    });
}

TEST_F(NarrowForms, GetDgVolPropertiesAcceptsLongestNames) {
    Image wanted(8 + 2 * volume_size);
    wanted.number<std::uint32_t>(0, 2);
    wanted.volume(4, light_v1).volume(4 + volume_size, light_v2);
    once([&] {
        for (const auto& [name, guid] :
             {GroupNames{group.c_str(), nullptr}, GroupNames{nullptr, "guid-1"}}) {
            GuardedBuffer record(8 + 2 * volume_size);
            auto size = static_cast<std::uint32_t>(record.size());
            EXPECT_EQ(FARLO(GetDgVolPropertiesA)(handle, name, guid, record.as<DgVolInfo>(), &size),
                      FARLO_SUCCESS);
            EXPECT_EQ(record.difference(wanted.bytes()), "");
        }
        EXPECT_EQ(FARLO(GetDgVolPropertiesA)(handle, nullptr, nullptr, nullptr, nullptr),
                  FARLO_MISSING_ARGUMENT);
    });
}

TEST_F(NarrowForms, GetDgDiskPropertiesAcceptsLongestNames) {
    once([&] {
        for (const auto& [name, guid] :
             {GroupNames{group.c_str(), nullptr}, GroupNames{nullptr, "guid-1"}}) {
            GuardedBuffer record(4);
            std::uint32_t size = 4;
            EXPECT_EQ(
                FARLO(GetDgDiskPropertiesA)(handle, name, guid, record.as<DgDiskList>(), &size),
                FARLO_SUCCESS);
            EXPECT_EQ(record.difference({0, 0, 0, 0}), "");
        }
        EXPECT_EQ(FARLO(GetDgDiskPropertiesA)(handle, nullptr, nullptr, nullptr, nullptr),
                  FARLO_MISSING_ARGUMENT);
    });
}

TEST_F(NarrowForms, GetDgVolumePropertiesAcceptsLongestNames) {
    once([&] {
        for (const auto& [name, guid] :
             {GroupNames{group.c_str(), nullptr}, GroupNames{nullptr, "guid-1"}}) {
            GuardedBuffer record(volume_size);
            std::uint32_t size = volume_size;
            EXPECT_EQ(FARLO(GetDgVolumePropertiesA)(handle, name, guid, device.c_str(),
                                                    record.as<VolInfo>(), &size),
                      FARLO_SUCCESS);
            EXPECT_EQ(record.difference(Image(volume_size).volume(0, v1).bytes()), "");
        }
        GuardedBuffer record(volume_size);
        std::uint32_t size = volume_size;
        EXPECT_EQ(FARLO(GetDgVolumePropertiesA)(handle, nullptr, "guid-1", nullptr,
                                                record.as<VolInfo>(), &size),
                  FARLO_MISSING_ARGUMENT);
        EXPECT_EQ(FARLO(GetDgVolumePropertiesA)(handle, nullptr, nullptr, device.c_str(),
                                                record.as<VolInfo>(), &size),
                  FARLO_MISSING_ARGUMENT);
        EXPECT_TRUE(record.untouched());
    });
}

TEST_F(NarrowForms, GetDgVolumeStateAcceptsLongestNames) {
    once([&] {
        for (const auto& [name, guid] :
             {GroupNames{group.c_str(), nullptr}, GroupNames{nullptr, "guid-1"}}) {
            std::uint32_t state = 0;
            EXPECT_EQ(FARLO(GetDgVolumeStateA)(handle, name, guid, device.c_str(), &state),
                      FARLO_SUCCESS);
            EXPECT_EQ(state, 8u);
        }
        std::uint32_t state = 77;
        EXPECT_EQ(FARLO(GetDgVolumeStateA)(handle, nullptr, nullptr, device.c_str(), &state),
                  FARLO_MISSING_ARGUMENT);
        EXPECT_EQ(FARLO(GetDgVolumeStateA)(handle, nullptr, "guid-1", nullptr, &state),
                  FARLO_MISSING_ARGUMENT);
        EXPECT_EQ(state, 77u);
    });
}

// GetVolPropertiesA accepts a device name of up to 259 characters.
TEST_F(NarrowForms, GetVolPropertiesAcceptsLongestName) {
    Image wanted(1664);
    wanted.counts(0, 1).volume(8, v2);
    once([&] {
        GuardedBuffer record(1664);
        std::uint32_t size = 1660;
        EXPECT_EQ(FARLO(GetVolPropertiesA)(handle, path.c_str(), record.as<VolPropInfo>(), &size),
                  FARLO_SUCCESS);
        EXPECT_EQ(record.difference(wanted.bytes()), "");
    });
}

// Names are in the ANSI code page.
TEST_F(NarrowForms, GetDgVolumeStateComparesNamesOfAnsiCodePage) {
    scenario = R"({"disk_groups": [{"name": "gr\u00FCn", "dgid": "guid-1", "volumes": [
        {"name": "v1", "device": "l\u00E4ngs", "state": 8}]}]})";
    once([&] {
        std::uint32_t state = 0;
        EXPECT_EQ(FARLO(GetDgVolumeStateA)(handle, "GR\xFCN", nullptr, "l\xE4ngs", &state),
                  FARLO_SUCCESS);
        EXPECT_EQ(state, 8u);
    });
}

}  // namespace
