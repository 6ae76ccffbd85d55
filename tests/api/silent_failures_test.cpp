// The failures that leave no line in the trace log at the default level, as docs/reliability.md
// lists them.
#include "support/farlo_test.h"
#include "support/fault_rules.h"

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

    void at_default_level(const std::function<void()>& body) { at_threshold(0, body); }

    void expect_no_line(const char* failure, std::uint32_t status,
                        const std::function<std::uint32_t()>& call) {
        SCOPED_TRACE(failure);
        start_watching();
        EXPECT_EQ(call(), status);
        expect_log({});
    }
    void fail(const FaultRule& calls) { set_faults(fault_plan({failing(calls)})); }

    std::uint32_t availability(opal_handle which) {
        return FARLO(GetDgDiskAvailabilityW)(which, nullptr, "guid-1", &number, &other);
    }
    std::uint32_t plexes(opal_handle which, const wchar_t* device) {
        return FARLO(GetDgVolPlexStatesW)(which, nullptr, "guid-1", device, &number, nullptr);
    }

    std::uint32_t number = 0;
    std::uint32_t other = 0;
    std::uint32_t size = 0;
    char guid[FARLO_GUID_TEXT_SIZE] = {};
    VolInfo volume{};
};

TEST_F(SilentFailures, GetDgDiskAvailabilityLogsNothing) {
    at_default_level([&] {
        expect_no_line("no handle", FARLO_NULL_HANDLE, [&] { return availability(nullptr); });
        fail({.function = "PrCallDispatch"});
        expect_no_line("a failed call", FARLO_NOT_FOUND, [&] { return availability(handle); });
        fail({.function = "DbGetObjects"});
        expect_no_line("no cluster service", FARLO_NO_CLUSTER_SERVICE,
                       [&] { return availability(handle); });
        expect_no_line("no name", FARLO_MISSING_ARGUMENT, [&] {
            return FARLO(GetDgDiskAvailabilityW)(handle, nullptr, nullptr, &number, &other);
        });
        fail({.function = "PsCreatePropset"});
        expect_no_line("no parameters", FARLO_EXCEPTION, [&] { return availability(handle); });
        disconnect();
        expect_no_line("not connected", FARLO_NOT_CONNECTED, [&] { return availability(handle); });
    });
}

TEST_F(SilentFailures, GetDgVolPlexStatesLogsNothing) {
    at_default_level([&] {
        expect_no_line("no handle", FARLO_NULL_HANDLE, [&] { return plexes(nullptr, L"v"); });
        expect_no_line("no device", FARLO_PROVIDER_FAILED, [&] { return plexes(handle, nullptr); });
        fail({.function = "ObGetChildObjects"});
        expect_no_line("a failed walk", FARLO_EXCEPTION, [&] { return plexes(handle, L"v"); });
        disconnect();
        expect_no_line("not connected", FARLO_NOT_CONNECTED, [&] { return plexes(handle, L"v"); });
    });
}

TEST_F(SilentFailures, OtherFunctionsLogNothing) {
    at_default_level([&] {
        char narrow[8];
        char* names = narrow;
        wchar_t wide[8];
        wchar_t* wide_names = wide;
        size = sizeof narrow;
        expect_no_line("GetDgNameListA: no count", FARLO_MISSING_ARGUMENT,
                       [&] { return FARLO(GetDgNameListA)(handle, &names, &size, nullptr); });
        expect_no_line("GetDgNameListW: no size", FARLO_MISSING_ARGUMENT, [&] {
            return FARLO(GetDgNameListW)(handle, &wide_names, nullptr, &number);
        });
        expect_no_line("GetFirstVolumesDiskIDW: no name", FARLO_NOT_FOUND, [&] {
            return FARLO(GetFirstVolumesDiskIDW)(handle, nullptr, &number, &other);
        });
        expect_no_line("FFUpdateMountPathW: no name", FARLO_PROVIDER_FAILED,
                       [&] { return FARLO(FFUpdateMountPathW)(handle, nullptr); });
        expect_no_line("GetDgVolumeGuidW: not imported", FARLO_NOT_FOUND, [&] {
            return FARLO(GetDgVolumeGuidW)(handle, L"deported", nullptr, L"v", guid);
        });
        expect_no_line("GetUnusableVolumesInfo: too few records", FARLO_BUFFER_TOO_SMALL, [&] {
            return FARLO(GetUnusableVolumesInfo)(handle, L"dg", nullptr, &volume, &(number = 0));
        });
        fail(reading("isdco"));
        expect_no_line("GetUnusableVolumesInfo: a failed read", FARLO_EXCEPTION, [&] {
            return FARLO(GetUnusableVolumesInfo)(handle, L"dg", nullptr, &volume, &(number = 1));
        });
        fail({.function = "ObGetChildObjects"});
        expect_no_line("GetFirstVolumesDiskIDW: a failed walk", FARLO_EXCEPTION, [&] {
            return FARLO(GetFirstVolumesDiskIDW)(handle, L"dg", &number, &other);
        });
        fail(reading("imported"));
        expect_no_line("GetDgVolumeGuidW: a failed read", FARLO_EXCEPTION,
                       [&] { return FARLO(GetDgVolumeGuidW)(handle, L"dg", nullptr, L"v", guid); });
        fail({.function = "PsCreatePropset"});
        expect_no_line("FFUpdateMountPathW: no set", FARLO_EXCEPTION,
                       [&] { return FARLO(FFUpdateMountPathW)(handle, L"v"); });
        set_faults(fault_plan({}));
        disconnect();
        expect_no_line("FFUpdateMountPathW: not connected", FARLO_NOT_CONNECTED,
                       [&] { return FARLO(FFUpdateMountPathW)(handle, L"v"); });
    });
}

TEST_F(SilentFailures, GetDgVolumeGuidLogsNothingWithoutMemory) {
    at_default_level([&] {
        heap().fail(1);
        expect_no_line("no memory", FARLO_NO_GUID_MEMORY, [&] {
            return FARLO(GetDgVolumeGuidW)(handle, nullptr, "guid-1", L"v", guid);
        });
    });
}

TEST_F(SilentFailures, GetUnusableVolumesInfoLogsNothingWhenConnectionDrops) {
    at_default_level([&] {
        set_faults(fault_plan({dropping(reading("ztvmstate"))}));
        expect_no_line("lost", FARLO_NOT_CONNECTED, [&] {
            return FARLO(GetUnusableVolumesInfo)(handle, L"dg", nullptr, &volume, &(number = 0));
        });
    });
}

TEST_F(SilentFailures, OnlineDgLogsOnlyEntryWhenGroupIsImported) {
    at_default_level([&] {
        EXPECT_EQ(FARLO(OnlineDgW)(handle, L"dg", "guid-1", nullptr, 0), FARLO_ALREADY_IMPORTED);
        expect_log({{0, "OnlineDg dg is called with flag 0x0"}});
    });
}

TEST_F(SilentFailures, UnInitializeClusterLogsNothingWhenReleaseFails) {
    at_default_level([&] {
        interpose<decltype(UnInitializeZtVmW)>("UnInitializeZtVmW",
                                               [](auto...) { return bus_invalid_argument; });
        expect_no_line("refused", FARLO_UNINITIALIZE_FAILED,
                       [&] { return FARLO(UnInitializeClusterW)(handle); });
    });
}

TEST_F(SilentFailures, IsVolumeOfSpecifiedDgTypeLogsOnlyExitWithoutVolume) {
    at_default_level([&] {
        EXPECT_EQ(FARLO(IsVolumeOfSpecifiedDgType)(handle, L"none", group_type::cluster_shared),
                  FALSE);
        expect_log({{0, "Exiting IsVolumeOfSpecifiedDgType"}});
    });
}

}  // namespace
