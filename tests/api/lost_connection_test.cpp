// What each function returns when its connection drops during the call, as farlo.h
// states it: most return 20, some do not notice.
#include "support/farlo_test.h"

#include <utility>

namespace {

using namespace support;

constexpr std::uint32_t not_connected = 20;
constexpr std::uint32_t bus_not_connected = 0xc1000103;

struct Loss {
    const char* export_name;
    std::uint32_t status;
    std::function<std::uint32_t()> call;
    std::string when = R"("call": 1)";  // keys of a fault plan's rule
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

    void expect(const std::vector<Loss>& losses) {
        for (const Loss& loss : losses) {
            SCOPED_TRACE(std::string(loss.export_name) + " " + loss.when);
            load_scenario(scenario);
            ASSERT_EQ(FARLO(ValidateClusterW)(&handle), 0u);
            set_faults("[{" + loss.when + R"(, "drop": true}])");
            EXPECT_EQ(loss.call(), loss.status);
            EXPECT_EQ(handle->connected, 0) << "it was not lost";
            set_faults("[]");
        }
    }

    static std::string reading(const std::string& property) {
        return R"("function": "ObGetProperty", "property": ")" + property + '"';
    }
    static std::string walk(const std::string& type) {
        return R"("function": "ObGetChildObjects", "type": ")" + type + '"';
    }
    static std::string method() { return R"("function": "PrCallDispatch")"; }

    char guid[FARLO_GUID_TEXT_SIZE] = {};
    wchar_t name[FARLO_NAME_SIZE] = {};
    wchar_t* names = name;
    std::uint32_t size = 0;
    std::uint32_t word = 0;
    std::uint32_t other = 0;
    std::uint8_t bytes[16] = {};
    VolInfo volume{};
};

// With the first call that reaches the service, so that what it names cannot be read.
TEST_F(LostConnection, IsReturnedByMostFunctions) {
    once([&] {
        expect({
            {"GetDgNameListW", not_connected,
             [&] { return FARLO(GetDgNameListW)(handle, &names, &size, &word); }},
            {"GetNonClusterDgNameListW", not_connected,
             [&] { return FARLO(GetNonClusterDgNameListW)(handle, &names, &size, &word); }},
            {"GetDgVolumeGuidW", not_connected,
             [&] { return FARLO(GetDgVolumeGuidW)(handle, nullptr, "guid-1", L"v", guid); }},
            {"OnlineDgExW", not_connected,
             [&] { return FARLO(OnlineDgExW)(handle, nullptr, "guid-1", nullptr, 0, 0); }},
            {"OnlineDgExW", not_connected,
             [&] { return FARLO(OnlineDgExW)(handle, L"dg", nullptr, nullptr, 0, 0); }},
            {"ImportDgW", not_connected,
             [&] { return FARLO(ImportDgW)(handle, nullptr, "guid-1", nullptr, 0); }},
            {"OfflineDgW", not_connected,
             [&] { return FARLO(OfflineDgW)(handle, nullptr, "guid-1", 0); }},
            {"DeportDgW", not_connected,
             [&] { return FARLO(DeportDgW)(handle, nullptr, "guid-1"); }},
            {"ArbitrateDgW", not_connected,
             [&] { return FARLO(ArbitrateDgW)(handle, nullptr, "guid-1"); }},
            {"StopDgReservationW", not_connected,
             [&] { return FARLO(StopDgReservationW)(handle, nullptr, "guid-1"); }},
            {"GetDgStateW", not_connected,
             [&] { return FARLO(GetDgStateW)(handle, L"dg", nullptr, bytes); }},
            {"GetDgDiskAvailabilityW", not_connected,
             [&] {
                 return FARLO(GetDgDiskAvailabilityW)(handle, nullptr, "guid-1", &word, &other);
             }},
            {"StartCVMClusterW", not_connected, [&] { return FARLO(StartCVMClusterW)(handle); }},
            {"StopCVMClusterW", not_connected, [&] { return FARLO(StopCVMClusterW)(handle); }},
            {"GetCVMClusterNodeStateW", not_connected,
             [&] { return FARLO(GetCVMClusterNodeStateW)(handle, &word); }},
            {"OnlineVolW", not_connected,
             [&] { return FARLO(OnlineVolW)(handle, "guid-8", L"s", 0, 0); }},
            {"OfflineVolW", not_connected,
             [&] { return FARLO(OfflineVolW)(handle, "guid-8", L"s", 0); }},
            {"GetClusterSharedDgGuidW", not_connected,
             [&] { return FARLO(GetClusterSharedDgGuidW)(handle, L"s", guid); }},
            {"GetVolPropertiesW", not_connected,
             [&] {
                 return FARLO(GetVolPropertiesW)(handle, L"v",
                                                 reinterpret_cast<VolPropInfo*>(&volume), &size);
             }},
        });
    });
}

// The search for the group fails, and its status is returned as it is.
TEST_F(LostConnection, IsAGroupThatIsNotFoundWhereTheLookupFails) {
    once([&] {
        expect({
            {"GetDgNameW", 1, [&] { return FARLO(GetDgNameW)(handle, "guid-1", name); }},
            {"GetDgVolumeGuidW", 1,
             [&] { return FARLO(GetDgVolumeGuidW)(handle, L"dg", nullptr, L"v", guid); }},
            {"GetDgVolumeGuidA", 98,
             [&] { return FARLO(GetDgVolumeGuidA)(handle, "dg", nullptr, "v", guid); }},
            {"GetDgStateExW", 1,
             [&] { return FARLO(GetDgStateExW)(handle, L"dg", nullptr, bytes); }},
            {"GetDgVolPlexStatesW", 1,
             [&] {
                 return FARLO(GetDgVolPlexStatesW)(handle, L"dg", nullptr, L"v", &word, nullptr);
             }},
            {"SetFastFailoverFlagW", 1,
             [&] { return FARLO(SetFastFailoverFlagW)(handle, L"dg", nullptr, 1); }},
            {"GetVolumeNameForSerialNumberW", 1,
             [&] {
                 return FARLO(GetVolumeNameForSerialNumberW)(handle, L"dg", nullptr, 1, name,
                                                             &size);
             }},
            {"GetFirstVolumesDiskIDW", 1,
             [&] { return FARLO(GetFirstVolumesDiskIDW)(handle, L"dg", &word, &other); }},
            {"GetDgPropertiesW", 1,
             [&] { return FARLO(GetDgPropertiesW)(handle, L"dg", nullptr, nullptr, &size); }},
            {"GetDgVolPropertiesW", 1,
             [&] { return FARLO(GetDgVolPropertiesW)(handle, L"dg", nullptr, nullptr, &size); }},
            {"GetDgVolumePropertiesW", 1,
             [&] {
                 return FARLO(GetDgVolumePropertiesW)(handle, L"dg", nullptr, L"v", &volume, &size);
             }},
            {"GetDgDiskPropertiesW", 1,
             [&] { return FARLO(GetDgDiskPropertiesW)(handle, L"dg", nullptr, nullptr, &size); }},
            {"GetDgVolumeStateW", 1,
             [&] { return FARLO(GetDgVolumeStateW)(handle, L"dg", nullptr, L"v", &word); }},
            {"GetUnusableVolumesInfo", 1,
             [&] { return FARLO(GetUnusableVolumesInfo)(handle, L"dg", nullptr, &volume, &word); }},
            {"GetVolumeInfo", 1,
             [&] { return FARLO(GetVolumeInfo)(handle, L"dg", nullptr, L"v", &volume, &size); }},
        });
    });
}

// Before the lookup asks: it finds no group in any of its five tries, 5 s apart.
TEST_F(LostConnection, IsNoticedAfter25SecondsWhereTheLookupFindsNothing) {
    once([&] {
        StandIn<decltype(DbGetObjects)>* query = nullptr;
        query = &interpose<decltype(DbGetObjects)>("DbGetObjects", [&](auto... arguments) {
            LabDropConnections();
            return query->real(arguments...);
        });
        EXPECT_EQ(FARLO(GetDgNameW)(handle, "guid-1", name), 1u);
        EXPECT_EQ(clock().elapsed(), 25'000u);
    });
}

// The functions that do not look at the connection again, or not on every way.
TEST_F(LostConnection, IsNotReturnedByTheOthers) {
    once([&] {
        expect({
            // Lost in the first lookup, they find no cluster service to ask instead.
            {"GetDgGuidW", 41, [&] { return FARLO(GetDgGuidW)(handle, L"dg", guid); }},
            {"GetNonClusterDgGuidW", 41,
             [&] { return FARLO(GetNonClusterDgGuidW)(handle, L"dg", guid); }},
            {"GetDgReservationStatusW", 41,
             [&] { return FARLO(GetDgReservationStatusW)(handle, L"dg", nullptr, &word); }},
            {"GetDgGuidW", 0, [&] { return FARLO(GetDgGuidW)(handle, L"dg", guid); },
             reading("dgid")},
            {"GetNonClusterDgGuidW", 0,
             [&] { return FARLO(GetNonClusterDgGuidW)(handle, L"dg", guid); }, reading("dgid")},
            {"OnlineDgExW", 9,
             [&] { return FARLO(OnlineDgExW)(handle, L"dg", "guid-1", nullptr, 0, 0); },
             reading("imported")},
            {"GetDiskStateW", 19, [&] { return FARLO(GetDiskStateW)(handle, L"d", &word); }},
            {"GetDiskStateW", 0, [&] { return FARLO(GetDiskStateW)(handle, L"d", &word); },
             reading("ztvmstate")},
            {"GetDgVolPlexStatesW", 97,
             [&] {
                 return FARLO(GetDgVolPlexStatesW)(handle, L"dg", nullptr, L"v", &word, nullptr);
             },
             walk("tamo_ztvm_plex")},
            {"ClusterServiceStateW", bus_not_connected,
             [&] { return FARLO(ClusterServiceStateW)(handle, 1); }},
            {"ClusterServiceStateW", 0, [&] { return FARLO(ClusterServiceStateW)(handle, 1); },
             method()},
            {"FFUpdateMountPathW", 0xc1000001,
             [&] { return FARLO(FFUpdateMountPathW)(handle, L"v"); }},
            {"GetFirstVolumesDiskIDW", 0,
             [&] { return FARLO(GetFirstVolumesDiskIDW)(handle, L"none", &word, &other); },
             walk("tamo_ztvm_volume")},
            {"GetDgVolumePropertiesW", 97,
             [&] {
                 return FARLO(GetDgVolumePropertiesW)(handle, L"dg", nullptr, L"v", &volume,
                                                      &(size = 0));
             },
             reading("Name")},
            {"IsStorageClusterable", 0,
             [&] { return FARLO(IsStorageClusterable)(handle, 0, 7, bytes); }},
            {"IsStorageClusterable", 1,
             [&] { return FARLO(IsStorageClusterable)(handle, 0, 7, bytes); },
             reading("LDM DG TYPE")},
            {"IsVolumeOfSpecifiedDgType", 0,
             [&] { return FARLO(IsVolumeOfSpecifiedDgType)(handle, L"sn", 8); }},
            {"IsVolumeOfSpecifiedDgType", 1,
             [&] { return FARLO(IsVolumeOfSpecifiedDgType)(handle, L"sn", 8); },
             reading("LDM DG TYPE")},
            {"IsVolumeClusterable", 0, [&] { return FARLO(IsVolumeClusterable)(handle, L"sn"); }},
            {"IsVolumeClusterable", 1, [&] { return FARLO(IsVolumeClusterable)(handle, L"sn"); },
             reading("cluster shared")},
        });
    });
}

// Where the lookup was successful, these two do look at the connection again.
TEST_F(LostConnection, IsReturnedByTheseWhenTheirMethodLosesIt) {
    once([&] {
        expect({
            {"SetFastFailoverFlagW", not_connected,
             [&] { return FARLO(SetFastFailoverFlagW)(handle, L"dg", nullptr, 1); }, method()},
            {"FFUpdateMountPathW", not_connected,
             [&] { return FARLO(FFUpdateMountPathW)(handle, L"v"); }, method()},
        });
    });
}

// By the service, the reservation status does not look at the connection at all.
TEST_F(LostConnection, IsNotReturnedWithAReservationOfTheService) {
    support_scsi3 = 2;
    once([&] {
        expect({
            {"GetDgReservationStatusW", 0,
             [&] { return FARLO(GetDgReservationStatusW)(handle, nullptr, "guid-1", &word); },
             method()},
            {"GetDgReservationStatusW", bus_not_connected,
             [&] { return FARLO(GetDgReservationStatusW)(handle, nullptr, "guid-1", &word); }},
        });
    });
}

}  // namespace
