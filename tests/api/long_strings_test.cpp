// Strings that do not fit the library's own buffers: the wide forms reject them with one log line
// that names the export and the argument. narrow_names_test.cpp tests the buffers of the narrow
// forms.
#include "support/farlo_test.h"

namespace {

using namespace support;

using ExpectedLines = std::vector<Expected>;

const std::string long_guid(65, 'g');

Expected rejected(const std::string& entry, const std::string& argument, std::size_t limit) {
    return {0, entry + "() failed , " + argument + " string of more than " + std::to_string(limit) +
                   " characters, error=(0x80070057)"};
}

class LongStrings : public FarloTest {
  protected:
    // An export that takes a GUID string, and the lines that it logs before and after the one
    // that rejects the string.
    struct GuidCall {
        std::string entry;
        std::function<std::uint32_t(opal_handle handle, const char* guid)> call;
        ExpectedLines before;
        ExpectedLines after;
    };

    std::vector<GuidCall> guid_calls() {
        return {
            {"OnlineDgExW",
             [&](auto h, auto guid) {
                 return FARLO(OnlineDgExW)(h, L"dg", guid, nullptr, FARLO_ONLINE_NO_NAME_CHECK, 0);
             },
             {{0, "OnlineDg dg is called with flag 0x1"}},
             {{0, "OnlineDg dg failed with res  0x80070057"}, {2, "Exiting OnlineDgExW"}}},
            {"OnlineDgW",
             [&](auto h, auto guid) {
                 return FARLO(OnlineDgW)(h, L"dg", guid, nullptr, FARLO_ONLINE_NO_NAME_CHECK);
             },
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
                 return FARLO(GetDgDiskAvailabilityW)(h, L"dg", guid, &number, &number);
             },
             {{6, "Entering GetDgdiskAvailabilityW"}},
             {{6, "Exiting GetVolumeGuidW"}}},
        };
    }

    std::uint32_t number = 0;
    std::uint8_t imported = 0;
};

TEST_F(LongStrings, RejectsGuidOf65CharactersInOneLine) {
    at_every_threshold([&] {
        for (const GuidCall& one : guid_calls()) {
            SCOPED_TRACE(one.entry);
            start_watching();
            EXPECT_EQ(one.call(handle, long_guid.c_str()), FARLO_INVALID_ARGUMENT);
            expect_calls({});
            ExpectedLines lines = one.before;
            lines.push_back(rejected(one.entry, "guid", 64));
            lines.insert(lines.end(), one.after.begin(), one.after.end());
            expect_log(lines);
        }
    });
}

TEST_F(LongStrings, ChecksHandleBeforeGuid) {
    once([&] {
        disconnect();
        for (const GuidCall& one : guid_calls()) {
            SCOPED_TRACE(one.entry);
            EXPECT_EQ(one.call(nullptr, long_guid.c_str()), FARLO_NULL_HANDLE);
            EXPECT_EQ(one.call(handle, long_guid.c_str()), FARLO_NOT_CONNECTED);
        }
    });
}

TEST_F(LongStrings, AcceptsGuidOf64Characters) {
    scenario = R"({"disk_groups": [{"name": "dg", "dgid": ")" + std::string(64, 'g') +
               R"(", "type": 2, "imported": true}]})";
    once([&] {
        for (const GuidCall& one : guid_calls()) {
            SCOPED_TRACE(one.entry);
            EXPECT_NE(one.call(handle, std::string(64, 'g').c_str()), FARLO_INVALID_ARGUMENT);
        }
    });
}

class LongStringsAndLostConnection : public LongStrings {
  protected:
    // Drops the connection after the library has checked the handle.
    void drop_after_check() {
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

TEST_F(LongStringsAndLostConnection, ReturnsNotConnectedWhenConnectionDropsAfterCheck) {
    at_every_threshold([&] {
        drop_after_check();
        EXPECT_EQ(FARLO(ArbitrateDgW)(handle, L"dg", long_guid.c_str()), FARLO_NOT_CONNECTED);
        expect_log({{2, "Entering ArbitrateDgW - dg"},
                    rejected("ArbitrateDgW", "guid", 64),
                    {0, "ArbitrateDgW() failed, error=(0x14)"},
                    {2, "Exiting ArbitrateDgW"}});
    });
}

// ----------------------------------------------------- device names and volume names

// The longest values that fit into a query.
constexpr std::size_t longest_device = 1995;
constexpr std::size_t longest_volume_name = 1996;

class LongDevices : public LongStrings {
  protected:
    LongDevices() {
        scenario = R"({"node": {"role": 1}, "disk_groups": [
            {"name": "dg", "dgid": "guid-1", "type": 2, "imported": true}]})";
    }

    const std::wstring longest = std::wstring(longest_device, L'd');
    const std::wstring long_device = longest + L"d";
};

TEST_F(LongDevices, GetVolPropertiesRejectsInOneLine) {
    at_every_threshold([&] {
        VolPropInfo record;
        EXPECT_EQ(FARLO(GetVolPropertiesW)(handle, long_device.c_str(), &record, &number),
                  FARLO_INVALID_ARGUMENT);
        expect_calls({});
        expect_log({{4, "Entering GetVolPropertiesW"},
                    rejected("GetVolPropertiesW", "device", longest_device),
                    {4, "Exiting GetVolPropertiesW"}});
    });
}

TEST_F(LongDevices, GetDgVolPlexStatesRejectsInOneLine) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(GetDgVolPlexStatesW)(handle, L"dg", nullptr, long_device.c_str(), &number,
                                             nullptr),
                  FARLO_INVALID_ARGUMENT);
        EXPECT_EQ(calls_of("DbGetObjectsByQuery"), std::vector<std::string>{});
        expect_log({{6, "Entering GetDgVolPlexStatesW"},
                    rejected("GetDgVolPlexStatesW", "device", longest_device),
                    {6, "Entering GetDgVolPlexStatesW"}});
    });
}

// The name is too long for the lines of entry and outcome, which are therefore cut.
TEST_F(LongDevices, OfflineVolRejectsInOneLine) {
    at_threshold(0, [&] {
        EXPECT_EQ(FARLO(OfflineVolW)(handle, "guid-1", long_device.c_str(), 0),
                  FARLO_INVALID_ARGUMENT);
        expect_calls_of({"DbGetObjectsByQuery", "PrCallDispatch"}, {});
        std::string error;
        const std::vector<LogLine> lines = read_log(environment().log_file(), error);
        ASSERT_EQ(lines.size(), 3u);
        EXPECT_TRUE(lines[0].text.starts_with("Entering OfflineVolW - ddd"));
        EXPECT_EQ(lines[1].text, rejected("OfflineVolW", "device", longest_device).text);
        EXPECT_TRUE(lines[2].text.starts_with("OfflineVolW() failed for volume ddd"));
    });
}

TEST_F(LongDevices, LongestDeviceIsQueried) {
    once([&] {
        VolPropInfo record;
        FARLO(GetVolPropertiesW)(handle, longest.c_str(), &record, &number);
        FARLO(GetDgVolPlexStatesW)(handle, L"dg", nullptr, longest.c_str(), &number, nullptr);
        FARLO(OfflineVolW)(handle, "guid-1", longest.c_str(), 0);
        char guid[65];
        FARLO(GetClusterSharedDgGuidW)(handle, longest.c_str(), guid);
        FARLO(IsVolumeClusterable)(handle, std::wstring(longest_volume_name, L'v').c_str());
        EXPECT_EQ(calls_of("DbGetObjectsByQuery").size(), 5u);
    });
}

TEST_F(LongDevices, IsVolumeClusterableRejectsUnderItsOwnName) {
    at_every_threshold([&] {
        EXPECT_EQ(
            FARLO(IsVolumeClusterable)(handle, std::wstring(longest_volume_name + 1, L'v').c_str()),
            FALSE);
        expect_calls({});
        expect_log({{2, "Entering IsVolumeClusterable"},
                    {2, "Entering IsVolumeOfSpecifiedDgType"},
                    rejected("IsVolumeClusterable", "volume_name", longest_volume_name)});
    });
}

}  // namespace
