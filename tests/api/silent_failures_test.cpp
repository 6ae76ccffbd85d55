// The failures that leave no line in a trace log of the default level, as
// docs/reliability.md lists them.
#include "support/farlo_test.h"

namespace {

using namespace support;

class SilentFailures : public FarloTest {
  protected:
    SilentFailures() {
        scenario = R"({"node": {"role": 1}, "disk_groups": [
            {"name": "dg", "dgid": "guid-1", "type": 2, "imported": true,
             "volumes": [{"name": "v", "device": "v", "volume_name": "vn", "state": 4}]},
            {"name": "deported", "dgid": "guid-2", "type": 2}]})";
    }

    // Runs the body at the default level.
    void at_level_0(const std::function<void()>& body) { at_threshold(0, body); }

    void expect_silent(const char* what, std::uint32_t status,
                       const std::function<std::uint32_t()>& call) {
        SCOPED_TRACE(what);
        start_watching();
        EXPECT_EQ(call(), status);
        expect_log({});
    }
    void refuse(const std::string& keys) {
        set_faults("[{" + keys + R"(, "status": "0xc1000001"}])");
    }

    std::uint32_t availability(opal_handle which) {
        return FARLO(GetDgDiskAvailabilityW)(which, nullptr, "guid-1", &word, &other);
    }
    std::uint32_t plexes(opal_handle which, const wchar_t* device) {
        return FARLO(GetDgVolPlexStatesW)(which, nullptr, "guid-1", device, &word, nullptr);
    }

    std::uint32_t word = 0;
    std::uint32_t other = 0;
    std::uint32_t size = 0;
    char guid[FARLO_GUID_TEXT_SIZE] = {};
    VolInfo volume{};
};

TEST_F(SilentFailures, OfGetDgDiskAvailability) {
    at_level_0([&] {
        expect_silent("no handle", 100, [&] { return availability(nullptr); });
        refuse(R"("function": "PrCallDispatch")");
        expect_silent("a failed call", 1, [&] { return availability(handle); });
        refuse(R"("function": "DbGetObjects")");
        expect_silent("no cluster service", 41, [&] { return availability(handle); });
        expect_silent("no name", 19, [&] {
            return FARLO(GetDgDiskAvailabilityW)(handle, nullptr, nullptr, &word, &other);
        });
        refuse(R"("function": "PsCreatePropset")");
        expect_silent("no parameters", 18, [&] { return availability(handle); });
        disconnect();
        expect_silent("not connected", 20, [&] { return availability(handle); });
    });
}

TEST_F(SilentFailures, OfGetDgVolPlexStates) {
    at_level_0([&] {
        expect_silent("no handle", 100, [&] { return plexes(nullptr, L"v"); });
        expect_silent("no device", 0xc1000001, [&] { return plexes(handle, nullptr); });
        refuse(R"("function": "ObGetChildObjects")");
        expect_silent("a failed walk", 18, [&] { return plexes(handle, L"v"); });
        disconnect();
        expect_silent("not connected", 20, [&] { return plexes(handle, L"v"); });
    });
}

TEST_F(SilentFailures, OfTheOthers) {
    at_level_0([&] {
        char narrow[8];
        char* names = narrow;
        wchar_t wide[8];
        wchar_t* wide_names = wide;
        size = sizeof narrow;
        expect_silent("GetDgNameListA: no count", 19,
                      [&] { return FARLO(GetDgNameListA)(handle, &names, &size, nullptr); });
        expect_silent("GetDgNameListW: no size", 19,
                      [&] { return FARLO(GetDgNameListW)(handle, &wide_names, nullptr, &word); });
        expect_silent("GetFirstVolumesDiskIDW: no name", 1, [&] {
            return FARLO(GetFirstVolumesDiskIDW)(handle, nullptr, &word, &other);
        });
        expect_silent("FFUpdateMountPathW: no name", 0xc1000001,
                      [&] { return FARLO(FFUpdateMountPathW)(handle, nullptr); });
        expect_silent("GetDgVolumeGuidW: not imported", 1, [&] {
            return FARLO(GetDgVolumeGuidW)(handle, L"deported", nullptr, L"v", guid);
        });
        expect_silent("GetUnusableVolumesInfo: too few records", 97, [&] {
            return FARLO(GetUnusableVolumesInfo)(handle, L"dg", nullptr, &volume, &(word = 0));
        });
        refuse(R"("function": "ObGetProperty", "property": "isdco")");
        expect_silent("GetUnusableVolumesInfo: a failed read", 18, [&] {
            return FARLO(GetUnusableVolumesInfo)(handle, L"dg", nullptr, &volume, &(word = 1));
        });
        refuse(R"("function": "ObGetChildObjects")");
        expect_silent("GetFirstVolumesDiskIDW: a failed walk", 18,
                      [&] { return FARLO(GetFirstVolumesDiskIDW)(handle, L"dg", &word, &other); });
        refuse(R"("function": "ObGetProperty", "property": "imported")");
        expect_silent("GetDgVolumeGuidW: a failed read", 18,
                      [&] { return FARLO(GetDgVolumeGuidW)(handle, L"dg", nullptr, L"v", guid); });
        refuse(R"("function": "PsCreatePropset")");
        expect_silent("FFUpdateMountPathW: no set", 18,
                      [&] { return FARLO(FFUpdateMountPathW)(handle, L"v"); });
        set_faults("[]");
        disconnect();
        expect_silent("FFUpdateMountPathW: not connected", 20,
                      [&] { return FARLO(FFUpdateMountPathW)(handle, L"v"); });
    });
}

TEST_F(SilentFailures, OfGetDgVolumeGuidWithoutMemory) {
    at_level_0([&] {
        heap().fail(1);
        expect_silent("no memory", 17, [&] {
            return FARLO(GetDgVolumeGuidW)(handle, nullptr, "guid-1", L"v", guid);
        });
    });
}

TEST_F(SilentFailures, OfAConnectionThatGetUnusableVolumesInfoLoses) {
    at_level_0([&] {
        set_faults(R"([{"function": "ObGetProperty", "property": "ztvmstate", "drop": true}])");
        expect_silent("lost", 20, [&] {
            return FARLO(GetUnusableVolumesInfo)(handle, L"dg", nullptr, &volume, &(word = 0));
        });
    });
}

// An entry line is written, but none that has the status.
TEST_F(SilentFailures, OfAGroupThatIsImportedAlready) {
    at_level_0([&] {
        EXPECT_EQ(FARLO(OnlineDgW)(handle, L"dg", "guid-1", nullptr, 0), 9u);
        expect_log({{0, "OnlineDg dg is called with flag 0x0"}});
    });
}

TEST_F(SilentFailures, OfARefusedRelease) {
    at_level_0([&] {
        interpose<decltype(UnInitializeZtVmW)>("UnInitializeZtVmW",
                                               [](auto...) { return 0xc1000101u; });
        expect_silent("refused", 21, [&] { return FARLO(UnInitializeClusterW)(handle); });
    });
}

// What a volume's group or a disk's has to say when it is not there.
TEST_F(SilentFailures, OfVolumesWithoutAGroup) {
    at_level_0([&] {
        EXPECT_EQ(FARLO(IsVolumeOfSpecifiedDgType)(handle, L"none", 8), 0);
        expect_log({{0, "Exiting IsVolumeOfSpecifiedDgType"}});
    });
}

}  // namespace
