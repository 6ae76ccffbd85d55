// What each function returns when its connection drops during the call, as farlo.h states it:
// most return FARLO_NOT_CONNECTED, some do not notice.
#include "support/farlo_test.h"
#include "support/fault_rules.h"

namespace {

using namespace support;

const FaultRule first_call{.call = 1};
const FaultRule method_call{.function = "PrCallDispatch"};

struct Loss {
    const char* export_name;
    std::uint32_t status;
    std::function<std::uint32_t()> call;
    FaultRule during = first_call;  // the bus calls that drop the connection
};

class LostConnection : public FarloTest {
  protected:
    LostConnection() {
        scenario = R"({"node": {"role": 1}, "disk_groups": [
            {"name": "dg", "dgid": "guid-1", "type": 2, "imported": true,
             "disks": [{"name": "d", "device": "d", "signature": 7}],
             "volumes": [{"name": "v", "device": "v", "volume_name": "vn", "state": 4,
                          "drive_letter": "F"}]},
            {"name": "none", "dgid": "guid-2", "type": 2},
            {"name": "shared", "dgid": "guid-8", "type": 8, "imported": true,
             "volumes": [{"name": "s", "device": "s", "volume_name": "sn"}]}]})";
    }

    void expect_statuses(const std::vector<Loss>& losses) {
        for (const Loss& loss : losses) {
            const std::string faults = fault_plan({dropping(loss.during)});
            SCOPED_TRACE(std::string(loss.export_name) + " " + faults);
            load_scenario(scenario);
            ASSERT_EQ(FARLO(ValidateClusterW)(&handle), FARLO_SUCCESS);
            set_faults(faults);
            EXPECT_EQ(loss.call(), loss.status);
            EXPECT_EQ(handle->connected, 0) << "the connection did not drop";
            set_faults(fault_plan({}));
        }
    }

    char guid[FARLO_GUID_TEXT_SIZE] = {};
    wchar_t name[FARLO_NAME_SIZE] = {};
    wchar_t* names = name;
    std::uint32_t size = 0;
    std::uint32_t number = 0;
    std::uint32_t other = 0;
    std::uint8_t bytes[16] = {};
    VolInfo volume{};
};

// The connection drops with the first call that reaches the service.
TEST_F(LostConnection, MostFunctionsReturnNotConnected) {
    once([&] {
        expect_statuses({
            {"GetDgNameListW", FARLO_NOT_CONNECTED,
             [&] { return FARLO(GetDgNameListW)(handle, &names, &size, &number); }},
            {"GetNonClusterDgNameListW", FARLO_NOT_CONNECTED,
             [&] { return FARLO(GetNonClusterDgNameListW)(handle, &names, &size, &number); }},
            {"GetDgVolumeGuidW", FARLO_NOT_CONNECTED,
             [&] { return FARLO(GetDgVolumeGuidW)(handle, nullptr, "guid-1", L"v", guid); }},
            {"OnlineDgExW", FARLO_NOT_CONNECTED,
             [&] { return FARLO(OnlineDgExW)(handle, nullptr, "guid-1", nullptr, 0, 0); }},
            {"OnlineDgExW", FARLO_NOT_CONNECTED,
             [&] { return FARLO(OnlineDgExW)(handle, L"dg", nullptr, nullptr, 0, 0); }},
            {"ImportDgW", FARLO_NOT_CONNECTED,
             [&] { return FARLO(ImportDgW)(handle, nullptr, "guid-1", nullptr, 0); }},
            {"OfflineDgW", FARLO_NOT_CONNECTED,
             [&] { return FARLO(OfflineDgW)(handle, nullptr, "guid-1", 0); }},
            {"DeportDgW", FARLO_NOT_CONNECTED,
             [&] { return FARLO(DeportDgW)(handle, nullptr, "guid-1"); }},
            {"ArbitrateDgW", FARLO_NOT_CONNECTED,
             [&] { return FARLO(ArbitrateDgW)(handle, nullptr, "guid-1"); }},
            {"StopDgReservationW", FARLO_NOT_CONNECTED,
             [&] { return FARLO(StopDgReservationW)(handle, nullptr, "guid-1"); }},
            {"GetDgStateW", FARLO_NOT_CONNECTED,
             [&] { return FARLO(GetDgStateW)(handle, L"dg", nullptr, bytes); }},
            {"GetDgDiskAvailabilityW", FARLO_NOT_CONNECTED,
             [&] {
                 return FARLO(GetDgDiskAvailabilityW)(handle, nullptr, "guid-1", &number, &other);
             }},
            {"StartCVMClusterW", FARLO_NOT_CONNECTED,
             [&] { return FARLO(StartCVMClusterW)(handle); }},
            {"StopCVMClusterW", FARLO_NOT_CONNECTED,
             [&] { return FARLO(StopCVMClusterW)(handle); }},
            {"GetCVMClusterNodeStateW", FARLO_NOT_CONNECTED,
             [&] { return FARLO(GetCVMClusterNodeStateW)(handle, &number); }},
            {"OnlineVolW", FARLO_NOT_CONNECTED,
             [&] { return FARLO(OnlineVolW)(handle, "guid-8", L"s", 0, 0); }},
            {"OfflineVolW", FARLO_NOT_CONNECTED,
             [&] { return FARLO(OfflineVolW)(handle, "guid-8", L"s", 0); }},
            {"GetClusterSharedDgGuidW", FARLO_NOT_CONNECTED,
             [&] { return FARLO(GetClusterSharedDgGuidW)(handle, L"s", guid); }},
            {"GetVolPropertiesW", FARLO_NOT_CONNECTED,
             [&] {
                 return FARLO(GetVolPropertiesW)(handle, L"v",
                                                 reinterpret_cast<VolPropInfo*>(&volume), &size);
             }},
        });
    });
}

// The lookup of the group fails, and its status is returned unchanged.
TEST_F(LostConnection, FunctionsWithFailedLookupReturnNotFound) {
    once([&] {
        expect_statuses({
            {"GetDgNameW", FARLO_NOT_FOUND,
             [&] { return FARLO(GetDgNameW)(handle, "guid-1", name); }},
            {"GetDgVolumeGuidW", FARLO_NOT_FOUND,
             [&] { return FARLO(GetDgVolumeGuidW)(handle, L"dg", nullptr, L"v", guid); }},
            {"GetDgVolumeGuidA", FARLO_NO_VOLUME_GUID,
             [&] { return FARLO(GetDgVolumeGuidA)(handle, "dg", nullptr, "v", guid); }},
            {"GetDgStateExW", FARLO_NOT_FOUND,
             [&] { return FARLO(GetDgStateExW)(handle, L"dg", nullptr, bytes); }},
            {"GetDgVolPlexStatesW", FARLO_NOT_FOUND,
             [&] {
                 return FARLO(GetDgVolPlexStatesW)(handle, L"dg", nullptr, L"v", &number, nullptr);
             }},
            {"SetFastFailoverFlagW", FARLO_NOT_FOUND,
             [&] { return FARLO(SetFastFailoverFlagW)(handle, L"dg", nullptr, 1); }},
            {"GetVolumeNameForSerialNumberW", FARLO_NOT_FOUND,
             [&] {
                 return FARLO(GetVolumeNameForSerialNumberW)(handle, L"dg", nullptr, 1, name,
                                                             &size);
             }},
            {"GetFirstVolumesDiskIDW", FARLO_NOT_FOUND,
             [&] { return FARLO(GetFirstVolumesDiskIDW)(handle, L"dg", &number, &other); }},
            {"GetDgPropertiesW", FARLO_NOT_FOUND,
             [&] { return FARLO(GetDgPropertiesW)(handle, L"dg", nullptr, nullptr, &size); }},
            {"GetDgVolPropertiesW", FARLO_NOT_FOUND,
             [&] { return FARLO(GetDgVolPropertiesW)(handle, L"dg", nullptr, nullptr, &size); }},
            {"GetDgVolumePropertiesW", FARLO_NOT_FOUND,
             [&] {
                 return FARLO(GetDgVolumePropertiesW)(handle, L"dg", nullptr, L"v", &volume, &size);
             }},
            {"GetDgDiskPropertiesW", FARLO_NOT_FOUND,
             [&] { return FARLO(GetDgDiskPropertiesW)(handle, L"dg", nullptr, nullptr, &size); }},
            {"GetDgVolumeStateW", FARLO_NOT_FOUND,
             [&] { return FARLO(GetDgVolumeStateW)(handle, L"dg", nullptr, L"v", &number); }},
            {"GetUnusableVolumesInfo", FARLO_NOT_FOUND,
             [&] {
                 return FARLO(GetUnusableVolumesInfo)(handle, L"dg", nullptr, &volume, &number);
             }},
            {"GetVolumeInfo", FARLO_NOT_FOUND,
             [&] { return FARLO(GetVolumeInfo)(handle, L"dg", nullptr, L"v", &volume, &size); }},
        });
    });
}

// The connection drops before the query: the lookup finds no group in any of its five tries.
TEST_F(LostConnection, LookupReturnsNotFoundAfter25Seconds) {
    once([&] {
        StandIn<decltype(DbGetObjects)>* query = nullptr;
        query = &interpose<decltype(DbGetObjects)>("DbGetObjects", [&](auto... arguments) {
            LabDropConnections();
            return query->real(arguments...);
        });
        EXPECT_EQ(FARLO(GetDgNameW)(handle, "guid-1", name), FARLO_NOT_FOUND);
        EXPECT_EQ(clock().elapsed(), 25'000u);
    });
}

// These functions do not check the connection again, or not on every path.
TEST_F(LostConnection, OtherFunctionsReturnStatusOfFailedStep) {
    once([&] {
        expect_statuses({
            // The lookup fails, and then there is no cluster service to ask.
            {"GetDgGuidW", FARLO_NO_CLUSTER_SERVICE,
             [&] { return FARLO(GetDgGuidW)(handle, L"dg", guid); }},
            {"GetNonClusterDgGuidW", FARLO_NO_CLUSTER_SERVICE,
             [&] { return FARLO(GetNonClusterDgGuidW)(handle, L"dg", guid); }},
            {"GetDgReservationStatusW", FARLO_NO_CLUSTER_SERVICE,
             [&] { return FARLO(GetDgReservationStatusW)(handle, L"dg", nullptr, &number); }},
            {"GetDgGuidW", FARLO_SUCCESS, [&] { return FARLO(GetDgGuidW)(handle, L"dg", guid); },
             reading("dgid")},
            {"GetNonClusterDgGuidW", FARLO_SUCCESS,
             [&] { return FARLO(GetNonClusterDgGuidW)(handle, L"dg", guid); }, reading("dgid")},
            {"OnlineDgExW", FARLO_ALREADY_IMPORTED,
             [&] { return FARLO(OnlineDgExW)(handle, L"dg", "guid-1", nullptr, 0, 0); },
             reading("imported")},
            {"GetDiskStateW", FARLO_MISSING_ARGUMENT,
             [&] { return FARLO(GetDiskStateW)(handle, L"d", &number); }},
            {"GetDiskStateW", FARLO_SUCCESS,
             [&] { return FARLO(GetDiskStateW)(handle, L"d", &number); }, reading("ztvmstate")},
            {"GetDgVolPlexStatesW", FARLO_BUFFER_TOO_SMALL,
             [&] {
                 return FARLO(GetDgVolPlexStatesW)(handle, L"dg", nullptr, L"v", &number, nullptr);
             },
             listing(object_type::plex)},
            {"ClusterServiceStateW", bus_not_connected,
             [&] { return FARLO(ClusterServiceStateW)(handle, 1); }},
            {"ClusterServiceStateW", FARLO_SUCCESS,
             [&] { return FARLO(ClusterServiceStateW)(handle, 1); }, method_call},
            {"FFUpdateMountPathW", FARLO_PROVIDER_FAILED,
             [&] { return FARLO(FFUpdateMountPathW)(handle, L"v"); }},
            {"GetFirstVolumesDiskIDW", FARLO_SUCCESS,
             [&] { return FARLO(GetFirstVolumesDiskIDW)(handle, L"none", &number, &other); },
             listing(object_type::volume)},
            {"GetDgVolumePropertiesW", FARLO_BUFFER_TOO_SMALL,
             [&] {
                 return FARLO(GetDgVolumePropertiesW)(handle, L"dg", nullptr, L"v", &volume,
                                                      &(size = 0));
             },
             reading("Name")},
            {"IsStorageClusterable", FALSE,
             [&] { return FARLO(IsStorageClusterable)(handle, 0, 7, bytes); }},
            {"IsStorageClusterable", TRUE,
             [&] { return FARLO(IsStorageClusterable)(handle, 0, 7, bytes); },
             reading("LDM DG TYPE")},
            {"IsVolumeOfSpecifiedDgType", FALSE,
             [&] { return FARLO(IsVolumeOfSpecifiedDgType)(handle, L"sn", 8); }},
            {"IsVolumeOfSpecifiedDgType", TRUE,
             [&] { return FARLO(IsVolumeOfSpecifiedDgType)(handle, L"sn", 8); },
             reading("LDM DG TYPE")},
            {"IsVolumeClusterable", FALSE,
             [&] { return FARLO(IsVolumeClusterable)(handle, L"sn"); }},
            {"IsVolumeClusterable", TRUE, [&] { return FARLO(IsVolumeClusterable)(handle, L"sn"); },
             reading("cluster shared")},
        });
    });
}

// After a successful lookup, these two check the connection again.
TEST_F(LostConnection, MethodCallReturnsNotConnected) {
    once([&] {
        expect_statuses({
            {"SetFastFailoverFlagW", FARLO_NOT_CONNECTED,
             [&] { return FARLO(SetFastFailoverFlagW)(handle, L"dg", nullptr, 1); }, method_call},
            {"FFUpdateMountPathW", FARLO_NOT_CONNECTED,
             [&] { return FARLO(FFUpdateMountPathW)(handle, L"v"); }, method_call},
        });
    });
}

// With a reservation of the service, the connection is not checked again.
TEST_F(LostConnection, ReservationStatusOfServiceReturnsStatusOfMethod) {
    support_scsi3 = 2;
    once([&] {
        expect_statuses({
            {"GetDgReservationStatusW", FARLO_SUCCESS,
             [&] { return FARLO(GetDgReservationStatusW)(handle, nullptr, "guid-1", &number); },
             method_call},
            {"GetDgReservationStatusW", bus_not_connected,
             [&] { return FARLO(GetDgReservationStatusW)(handle, nullptr, "guid-1", &number); }},
        });
    });
}

}  // namespace
