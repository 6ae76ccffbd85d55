// Strings that do not fit the library's own buffers: the wide forms refuse them in one line
// that names the export and the argument. The narrow forms' own: narrow_names_test.cpp.
#include "support/farlo_test.h"

namespace {

using namespace support;

using Lines = std::vector<Expected>;

const std::string long_guid(65, 'g');

Expected refused(const std::string& entry, const std::string& argument, std::size_t limit) {
    return {0, entry + "() failed , " + argument + " string of more than " + std::to_string(limit) +
                   " characters, error=(0x80070057)"};
}

class LongStrings : public FarloTest {
  protected:
    // A call with a GUID string of any length, and the lines around its refusal.
    struct GuidCall {
        std::string entry;
        std::function<std::uint32_t(opal_handle handle, const char* guid)> call;
        Lines before;
        Lines after;
    };

    std::vector<GuidCall> guid_calls() {
        return {
            {"OnlineDgExW",
             [&](auto h, auto guid) { return FARLO(OnlineDgExW)(h, L"dg", guid, nullptr, 0x1, 0); },
             {{0, "OnlineDg dg is called with flag 0x1"}},
             {{0, "OnlineDg dg failed with res  0x80070057"}, {2, "Exiting OnlineDgExW"}}},
            {"OnlineDgW",
             [&](auto h, auto guid) { return FARLO(OnlineDgW)(h, L"dg", guid, nullptr, 0x1); },
             {{0, "OnlineDg dg is called with flag 0x1"}},
             {{0, "OnlineDg dg failed with res  0x80070057"}, {2, "Exiting OnlineDgExW"}}},
            {"ImportDgW",
             [&](auto h, auto guid) { return FARLO(ImportDgW)(h, L"dg", guid, nullptr, 0); },
             {{6, "Entering ImportDgW"}},
             {{6, "Exiting ImportDgW"}}},
            {"OfflineDgW",
             [&](auto h, auto guid) { return FARLO(OfflineDgW)(h, L"dg", guid, 0); },
             {{2, "Entering OfflineDgW - dg"}},
             {{2, "Exiting OfflineDgW"}}},
            {"DeportDgW",
             [&](auto h, auto guid) { return FARLO(DeportDgW)(h, L"dg", guid); },
             {{6, "Entering DeportDgW"}},
             {{6, "Exiting DeportDgW"}}},
            {"ArbitrateDgW",
             [&](auto h, auto guid) { return FARLO(ArbitrateDgW)(h, L"dg", guid); },
             {{2, "Entering ArbitrateDgW - dg"}},
             {{2, "Exiting ArbitrateDgW"}}},
            {"StopDgReservationW",
             [&](auto h, auto guid) { return FARLO(StopDgReservationW)(h, L"dg", guid); },
             {{6, "Entering StopDgReservationW"}},
             {{6, "Exiting StopDgReservationW"}}},
            {"GetDgStateW",
             [&](auto h, auto guid) { return FARLO(GetDgStateW)(h, L"dg", guid, &imported); },
             {{4, "Entering GetDgStateW - dg"}},
             {{4, "Exiting GetDgStateW"}}},
            {"GetDgDiskAvailabilityW",
             [&](auto h, auto guid) {
                 return FARLO(GetDgDiskAvailabilityW)(h, L"dg", guid, &word, &word);
             },
             {{6, "Entering GetDgdiskAvailabilityW"}},
             {{6, "Exiting GetVolumeGuidW"}}},
        };
    }

    std::uint32_t word = 0;
    std::uint8_t imported = 0;
};

TEST_F(LongStrings, AGuidIsRefusedInOneLine) {
    at_every_threshold([&] {
        for (const GuidCall& one : guid_calls()) {
            SCOPED_TRACE(one.entry);
            start_watching();
            EXPECT_EQ(one.call(handle, long_guid.c_str()), 0x80070057u);
            expect_calls({});
            Lines lines = one.before;
            lines.push_back(refused(one.entry, "guid", 64));
            lines.insert(lines.end(), one.after.begin(), one.after.end());
            expect_log(lines);
        }
    });
}

TEST_F(LongStrings, TheHandleIsCheckedBeforeAGuid) {
    once([&] {
        disconnect();
        for (const GuidCall& one : guid_calls()) {
            SCOPED_TRACE(one.entry);
            EXPECT_EQ(one.call(nullptr, long_guid.c_str()), 100u);
            EXPECT_EQ(one.call(handle, long_guid.c_str()), 20u);
        }
    });
}

TEST_F(LongStrings, AGuidOf64CharactersFits) {
    scenario = R"({"disk_groups": [{"name": "dg", "dgid": ")" + std::string(64, 'g') +
               R"(", "type": 2, "imported": true}]})";
    once([&] {
        for (const GuidCall& one : guid_calls()) {
            SCOPED_TRACE(one.entry);
            EXPECT_NE(one.call(handle, std::string(64, 'g').c_str()), 0x80070057u);
        }
    });
}

// A connection that drops after the handle's check.
class DroppedLongStrings : public LongStrings {
  protected:
    void drop_after_the_check() {
        auto dropped = std::make_shared<bool>(false);
        auto& leave = interpose<decltype(LeaveCriticalSection)>(
            "LeaveCriticalSection", [this, dropped](CRITICAL_SECTION* section) {
                m_leave->real(section);
                if (section == &handle->lock && !std::exchange(*dropped, true)) {
                    disconnect();
                }
            });
        m_leave = &leave;
    }

  private:
    const StandIn<decltype(LeaveCriticalSection)>* m_leave = nullptr;
};

TEST_F(DroppedLongStrings, TheLostConnectionIsTheResult) {
    at_every_threshold([&] {
        drop_after_the_check();
        EXPECT_EQ(FARLO(ArbitrateDgW)(handle, L"dg", long_guid.c_str()), 20u);
        expect_log({{2, "Entering ArbitrateDgW - dg"},
                    refused("ArbitrateDgW", "guid", 64),
                    {0, "ArbitrateDgW() failed, error=(0x14)"},
                    {2, "Exiting ArbitrateDgW"}});
    });
}

// ----------------------------------------------------- device names and volume names

// The room that a query leaves for a value.
constexpr std::size_t device_limit = 1995;
constexpr std::size_t volume_name_limit = 1996;

class LongDevices : public LongStrings {
  protected:
    LongDevices() {
        scenario = R"({"node": {"role": 1}, "disk_groups": [
            {"name": "dg", "dgid": "guid-1", "type": 2, "imported": true}]})";
    }

    const std::wstring fits = std::wstring(device_limit, L'd');
    const std::wstring device = fits + L"d";
};

TEST_F(LongDevices, GetVolPropertiesRefuses) {
    at_every_threshold([&] {
        VolPropInfo record;
        EXPECT_EQ(FARLO(GetVolPropertiesW)(handle, device.c_str(), &record, &word), 0x80070057u);
        expect_calls({});
        expect_log({{4, "Entering GetVolPropertiesW"},
                    refused("GetVolPropertiesW", "device", device_limit),
                    {4, "Exiting GetVolPropertiesW"}});
    });
}

TEST_F(LongDevices, GetDgVolPlexStatesRefuses) {
    at_every_threshold([&] {
        EXPECT_EQ(
            FARLO(GetDgVolPlexStatesW)(handle, L"dg", nullptr, device.c_str(), &word, nullptr),
            0x80070057u);
        EXPECT_EQ(calls_of("DbGetObjectsByQuery"), std::vector<std::string>{});
        expect_log({{6, "Entering GetDgVolPlexStatesW"},
                    refused("GetDgVolPlexStatesW", "device", device_limit),
                    {6, "Entering GetDgVolPlexStatesW"}});
    });
}

// The entry and the outcome line, which a success has, too, are cut short by the name.
TEST_F(LongDevices, OfflineVolRefuses) {
    at_threshold(0, [&] {
        EXPECT_EQ(FARLO(OfflineVolW)(handle, "guid-1", device.c_str(), 0), 0x80070057u);
        expect_calls_of({"DbGetObjectsByQuery", "PrCallDispatch"}, {});
        std::string error;
        const std::vector<LogLine> lines = read_log(environment().log_file(), error);
        ASSERT_EQ(lines.size(), 3u);
        EXPECT_TRUE(lines[0].text.starts_with("Entering OfflineVolW - ddd"));
        EXPECT_EQ(lines[1].text, refused("OfflineVolW", "device", device_limit).text);
        EXPECT_TRUE(lines[2].text.starts_with("OfflineVolW() failed for volume ddd"));
    });
}

TEST_F(LongDevices, TheLongestDeviceIsAskedFor) {
    once([&] {
        VolPropInfo record;
        FARLO(GetVolPropertiesW)(handle, fits.c_str(), &record, &word);
        FARLO(GetDgVolPlexStatesW)(handle, L"dg", nullptr, fits.c_str(), &word, nullptr);
        FARLO(OfflineVolW)(handle, "guid-1", fits.c_str(), 0);
        char guid[65];
        FARLO(GetClusterSharedDgGuidW)(handle, fits.c_str(), guid);
        FARLO(IsVolumeClusterable)(handle, (fits + L"d").c_str());
        EXPECT_EQ(calls_of("DbGetObjectsByQuery").size(), 5u);
    });
}

TEST_F(LongDevices, IsVolumeClusterableRefusesInItsOwnName) {
    at_every_threshold([&] {
        EXPECT_EQ(
            FARLO(IsVolumeClusterable)(handle, std::wstring(volume_name_limit + 1, L'v').c_str()),
            0u);
        expect_calls({});
        expect_log({{2, "Entering IsVolumeClusterable"},
                    {2, "Entering IsVolumeOfSpecifiedDgType"},
                    refused("IsVolumeClusterable", "volume_name", volume_name_limit)});
    });
}

}  // namespace
