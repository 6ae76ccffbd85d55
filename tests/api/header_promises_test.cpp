// Statements of farlo.h about strings, sizes, group types and single functions that the tests of
// the operations do not cover.
#include "support/farlo_test.h"
#include "support/fault_rules.h"

#include <clocale>
#include <cstring>
#include <cwchar>
#include <set>
#include <utility>

namespace {

using namespace support;

constexpr std::uint32_t volume_record_size = 1656;

// ------------------------------------------------------------------ strings

// Sets LC_CTYPE of the C runtime that the agent shares with the library.
class LocaleOfAgent {
  public:
    explicit LocaleOfAgent(const char* name) {
        EXPECT_NE(std::setlocale(LC_CTYPE, name), nullptr) << name;
    }
    ~LocaleOfAgent() { std::setlocale(LC_CTYPE, "C"); }
    LocaleOfAgent(const LocaleOfAgent&) = delete;
    LocaleOfAgent& operator=(const LocaleOfAgent&) = delete;
};

class Strings : public FarloTest {
  protected:
    // Sets a scenario of imported cluster groups with these names, as written in JSON, and the
    // GUID strings "guid-1", "guid-2", ...
    void use_groups(const std::vector<std::string>& names) {
        std::string groups;
        int number = 0;
        for (const std::string& name : names) {
            groups += (groups.empty() ? "" : ", ") + std::string(R"({"name": ")") + name +
                      R"(", "dgid": "guid-)" + std::to_string(++number) +
                      R"(", "type": 2, "imported": true})";
        }
        scenario = R"({"disk_groups": [)" + groups + "]}";
    }

    // The GUID string of the group with this narrow name, or "" if there is none.
    std::string guid_of(const char* name) {
        char guid[FARLO_GUID_TEXT_SIZE] = {};
        FARLO(GetDgGuidA)(handle, name, guid);
        return guid;
    }
    // Whether there is a group with this name. Nothing except the groups is searched.
    bool finds(const wchar_t* name) {
        std::uint8_t imported = 0;
        return FARLO(GetDgStateExW)(handle, name, nullptr, &imported) == FARLO_SUCCESS;
    }
};

TEST_F(Strings, AreWidenedFromBytes80ToFFToSameCodePoints) {
    std::string narrow;
    std::string json;
    for (int byte = 0x80; byte <= 0xFF; ++byte) {
        narrow += static_cast<char>(byte);
        char escaped[8];
        std::snprintf(escaped, sizeof escaped, "\\u%04x", static_cast<unsigned>(byte));
        json += escaped;
    }
    use_groups({json});
    once([&] {
        std::uint32_t id = 0;
        std::uint32_t style = 0;
        EXPECT_EQ(FARLO(GetFirstVolumesDiskIDA)(handle, narrow.c_str(), &id, &style),
                  FARLO_SUCCESS);
        narrow.back() = 'x';
        EXPECT_EQ(FARLO(GetFirstVolumesDiskIDA)(handle, narrow.c_str(), &id, &style),
                  FARLO_NOT_FOUND);
    });
}

// In the code page of the lab node, 1252, the byte 0x80 is the euro sign.
TEST_F(Strings, AreNotWidenedByAnsiCodePage) {
    use_groups({"g\\u20ac", "g\\u0080"});
    once([&] {
        ASSERT_EQ(GetACP(), 1252u);
        EXPECT_EQ(guid_of("g\x80"), "guid-2");
    });
}

TEST_F(Strings, FollowLocaleThatAgentSetsInSharedRuntime) {
    use_groups({"g\\u0080", "g\\u20ac", "\\u00c4"});
    once([&] {
        const LocaleOfAgent german("German_Germany.1252");
        EXPECT_EQ(guid_of("g\x80"), "guid-2");
        EXPECT_TRUE(finds(L"\u00e4"));
    });
}

TEST_F(Strings, AreFoldedOnlyFromAToZ) {
    use_groups({"DG\\u00c4"});
    once([&] {
        EXPECT_TRUE(finds(L"dg\u00c4"));
        EXPECT_FALSE(finds(L"DG\u00e4"));
    });
}

// The buffer holds the names before the failure; the count is that of all names.
TEST_F(Strings, FailNarrowNameListWhenNameHasNoNarrowForm) {
    use_groups({"a\\u00e4", "b\\u20ac", "c"});
    once([&] {
        GuardedBuffer buffer(8);
        char* narrow = buffer.as<char>();
        std::uint32_t size = 8;
        std::uint32_t count = 0;
        EXPECT_EQ(FARLO(GetDgNameListA)(handle, &narrow, &size, &count), FARLO_EXCEPTION);
        EXPECT_EQ(count, 3u);
        EXPECT_TRUE(buffer.holds({'a', 0xE4, 0, 0, 0, 0, 0, 0}));

        wchar_t wide[8] = {};
        wchar_t* names = wide;
        size = sizeof wide;
        EXPECT_EQ(FARLO(GetDgNameListW)(handle, &names, &size, &count), FARLO_SUCCESS);
        EXPECT_EQ(std::wstring(wide, 8), std::wstring(L"a\u00e4\0b\u20ac\0c\0", 8));
    });
}

// ---------------------------------------------------------- sizes and counts

class OutputsOfLostConnection : public FarloTest {
  protected:
    OutputsOfLostConnection() {
        scenario = R"({"disk_groups": [{"name": "dg", "dgid": "guid-1", "type": 2,
            "imported": true, "disks": [{"name": "d"}],
            "volumes": [{"name": "v", "device": "v", "state": 4}]}]})";
    }

    // Drops the connection during these bus calls of an export. The export must return
    // FARLO_NOT_CONNECTED and store `wanted` in `value`.
    void expect_stored(const char* export_name, const FaultRule& during, std::uint32_t& value,
                       std::uint32_t wanted, const std::function<std::uint32_t()>& call) {
        SCOPED_TRACE(export_name);
        ASSERT_EQ(FARLO(ValidateClusterW)(&handle), FARLO_SUCCESS);
        set_faults(fault_plan({dropping(during)}));
        value = 0;
        EXPECT_EQ(call(), FARLO_NOT_CONNECTED);
        EXPECT_EQ(value, wanted);
        set_faults(fault_plan({}));
    }
};

TEST_F(OutputsOfLostConnection, IncludeNeededSizesAndCounts) {
    once([&] {
        std::uint32_t size = 0;
        std::uint32_t count = 0;
        wchar_t names[8];
        wchar_t* list = names;
        char narrow_names[8];
        char* narrow_list = narrow_names;
        VolInfo volume{};
        expect_stored("GetDgNameListW", reading("Name"), size, 6,
                      [&] { return FARLO(GetDgNameListW)(handle, &list, &size, &count); });
        expect_stored("GetDgNameListA", reading("Name"), size, 3,
                      [&] { return FARLO(GetDgNameListA)(handle, &narrow_list, &size, &count); });
        expect_stored(
            "GetDgPropertiesW", listing(object_type::volume), size, 8 + 56 + volume_record_size,
            [&] { return FARLO(GetDgPropertiesW)(handle, L"dg", nullptr, nullptr, &size); });
        expect_stored(
            "GetDgVolPropertiesW", listing(object_type::volume), size, 8 + volume_record_size,
            [&] { return FARLO(GetDgVolPropertiesW)(handle, L"dg", nullptr, nullptr, &size); });
        expect_stored("GetDgDiskPropertiesW", listing(object_type::disk), size, 4 + 56, [&] {
            return FARLO(GetDgDiskPropertiesW)(handle, L"dg", nullptr, nullptr, &size);
        });
        expect_stored("GetVolPropertiesW", listing(object_type::plex), size,
                      8 + volume_record_size - 4, [&] {
                          return FARLO(GetVolPropertiesW)(
                              handle, L"v", reinterpret_cast<VolPropInfo*>(&volume), &size);
                      });
        expect_stored("GetVolumeNameForSerialNumberW", listing(object_type::volume), size,
                      volume_record_size, [&] {
                          return FARLO(GetVolumeNameForSerialNumberW)(handle, L"dg", nullptr, 1,
                                                                      nullptr, &size);
                      });
        expect_stored("GetVolumeInfo", reading("Name"), size, volume_record_size, [&] {
            return FARLO(GetVolumeInfo)(handle, L"dg", nullptr, L"v", &volume, &size);
        });
        expect_stored("GetUnusableVolumesInfo", reading("ztvmstate"), count, 1, [&] {
            return FARLO(GetUnusableVolumesInfo)(handle, L"dg", nullptr, &volume, &count);
        });
    });
}

TEST_F(OutputsOfLostConnection, IncludeNamesReadBeforeLossAndTheirCount) {
    once([&] {
        std::uint32_t size = 0;
        std::uint32_t count = 0;
        wchar_t names[8] = {};
        wchar_t* list = names;
        const FaultRule second_name{.function = "ObGetProperty", .property = "Name", .call = 2};
        expect_stored("GetDgNameListW", second_name, count, 1, [&] {
            size = sizeof names;
            return FARLO(GetDgNameListW)(handle, &list, &size, &count);
        });
        EXPECT_STREQ(names, L"dg");
    });
}

// ---------------------------------------------------------- accepted groups

class AcceptedGroups : public FarloTest {
  protected:
    AcceptedGroups() {
        scenario = R"({"node": {"role": 1}, "disk_groups": [)";
        for (const std::uint32_t type : types) {
            const std::string number = std::to_string(type);
            scenario += (type == types[0] ? R"({"name": "dg)" : R"(, {"name": "dg)") + number +
                        R"(", "dgid": "guid-)" + number + R"(", "type": )" + number +
                        R"(, "imported": true, "volumes": [{"name": "v)" + number +
                        R"(", "device": "v)" + number + R"("}]})";
        }
        scenario += "]}";
    }

    using Types = std::set<std::uint32_t>;
    using Call = std::function<std::uint32_t(const wchar_t* name, const char* guid)>;

    // Calls an export for a group of each type, by its name and by its GUID string. `by_name` and
    // `by_guid` are the types of the groups that it accepts. It rejects all others with
    // FARLO_NOT_FOUND or FARLO_EXCLUDED_TYPE; any other status counts as accepted.
    void expect_types(const char* export_name, const Call& call, const Types& by_name,
                      const Types& by_guid) {
        SCOPED_TRACE(export_name);
        Types accepted_names;
        Types accepted_guids;
        for (const std::uint32_t type : types) {
            const std::wstring name = L"dg" + std::to_wstring(type);
            const std::string guid = "guid-" + std::to_string(type);
            device = L"v" + std::to_wstring(type);
            if (!is_rejected(call(name.c_str(), nullptr))) {
                accepted_names.insert(type);
            }
            if (!is_rejected(call(nullptr, guid.c_str()))) {
                accepted_guids.insert(type);
            }
        }
        EXPECT_EQ(accepted_names, by_name);
        EXPECT_EQ(accepted_guids, by_guid);
    }
    static bool is_rejected(std::uint32_t status) {
        return status == FARLO_NOT_FOUND || status == FARLO_EXCLUDED_TYPE;
    }

    static constexpr std::uint32_t types[] = {group_type::excluded_0, group_type::local,
                                              group_type::cluster, group_type::excluded_7,
                                              group_type::cluster_shared};
    const Types no_type;
    const Types cluster{group_type::cluster};
    const Types cluster_or_shared{group_type::cluster, group_type::cluster_shared};
    const Types not_excluded{group_type::local, group_type::cluster, group_type::cluster_shared};
    const Types any_type{std::begin(types), std::end(types)};
    std::wstring device;
};

TEST_F(AcceptedGroups, AreClusterGroupsByNameAndAlsoSharedOnesByGuid) {
    once([&] {
        std::uint32_t number = 0;
        std::uint32_t size = 0;
        wchar_t name_of_volume[FARLO_NAME_SIZE];
        VolInfo volume{};
        const std::vector<std::pair<const char*, Call>> calls = {
            {"GetDgVolPropertiesW",
             [&](auto name, auto guid) {
                 return FARLO(GetDgVolPropertiesW)(handle, name, guid, nullptr, &(size = 0));
             }},
            {"GetDgVolumePropertiesW",
             [&](auto name, auto guid) {
                 return FARLO(GetDgVolumePropertiesW)(handle, name, guid, L"v", &volume,
                                                      &(size = 0));
             }},
            {"GetDgVolumeStateW",
             [&](auto name, auto guid) {
                 return FARLO(GetDgVolumeStateW)(handle, name, guid, device.c_str(), &number);
             }},
            {"GetUnusableVolumesInfo",
             [&](auto name, auto guid) {
                 return FARLO(GetUnusableVolumesInfo)(handle, name, guid, &volume, &(number = 1));
             }},
            {"GetVolumeInfo",
             [&](auto name, auto guid) {
                 return FARLO(GetVolumeInfo)(handle, name, guid, device.c_str(), &volume,
                                             &(size = 0));
             }},
            {"GetVolumeNameForSerialNumberW",
             [&](auto name, auto guid) {
                 return FARLO(GetVolumeNameForSerialNumberW)(handle, name, guid, 1, name_of_volume,
                                                             &(size = 0));
             }},
            {"DeportDgW",
             [&](auto name, auto guid) {
                 load_scenario(scenario);
                 return FARLO(DeportDgW)(handle, name, guid);
             }},
        };
        for (const auto& [export_name, call] : calls) {
            expect_types(export_name, call, cluster, cluster_or_shared);
        }
    });
}

TEST_F(AcceptedGroups, AreTheSameWhenFunctionTakesOnlyNameOrOnlyGuid) {
    once([&] {
        std::uint32_t number = 0;
        std::uint32_t style = 0;
        wchar_t name_of_volume[FARLO_NAME_SIZE];
        expect_types(
            "GetDgNameW",
            [&](auto, auto guid) {
                return guid == nullptr ? FARLO_NOT_FOUND
                                       : FARLO(GetDgNameW)(handle, guid, name_of_volume);
            },
            no_type, cluster_or_shared);
        expect_types(
            "OfflineVolW",
            [&](auto, auto guid) {
                return guid == nullptr ? FARLO_NOT_FOUND
                                       : FARLO(OfflineVolW)(handle, guid, device.c_str(), 0);
            },
            no_type, cluster_or_shared);
        expect_types(
            "GetFirstVolumesDiskIDW",
            [&](auto name, auto) {
                return name == nullptr
                           ? FARLO_NOT_FOUND
                           : FARLO(GetFirstVolumesDiskIDW)(handle, name, &number, &style);
            },
            cluster, no_type);
    });
}

// A group is not looked up by its GUID string, so its type is unknown.
TEST_F(AcceptedGroups, AreOfAnyTypeWhenGuidGoesToService) {
    once([&] {
        std::uint32_t number = 0;
        std::uint32_t other = 0;
        const std::vector<std::pair<const char*, Call>> calls = {
            {"OnlineDgW",
             [&](auto name, auto guid) {
                 return FARLO(OnlineDgW)(handle, name, guid, nullptr, FARLO_ONLINE_NO_NAME_CHECK);
             }},
            {"ImportDgW",
             [&](auto name, auto guid) {
                 return FARLO(ImportDgW)(handle, name, guid, nullptr, 0);
             }},
            {"ArbitrateDgW",
             [&](auto name, auto guid) { return FARLO(ArbitrateDgW)(handle, name, guid); }},
            {"StopDgReservationW",
             [&](auto name, auto guid) { return FARLO(StopDgReservationW)(handle, name, guid); }},
            {"GetDgDiskAvailabilityW",
             [&](auto name, auto guid) {
                 return FARLO(GetDgDiskAvailabilityW)(handle, name, guid, &number, &other);
             }},
            {"OfflineDgW",
             [&](auto name, auto guid) {
                 load_scenario(scenario);
                 return FARLO(OfflineDgW)(handle, name, guid, 0);
             }},
        };
        for (const auto& [export_name, call] : calls) {
            expect_types(export_name, call, cluster, any_type);
        }
    });
}

TEST_F(AcceptedGroups, AreOfAnyTypeByGuidForReservationStatusOfService) {
    support_scsi3 = 2;
    once([&] {
        std::uint32_t number = 0;
        expect_types(
            "GetDgReservationStatusW",
            [&](auto name, auto guid) {
                return FARLO(GetDgReservationStatusW)(handle, name, guid, &number);
            },
            cluster, any_type);
    });
}

TEST_F(AcceptedGroups, AreAllButExcludedTypesForOtherFunctions) {
    once([&] {
        std::uint8_t imported = 0;
        std::uint32_t number = 0;
        std::uint32_t size = 0;
        const std::vector<std::pair<const char*, Call>> calls = {
            {"GetDgStateExW",
             [&](auto name, auto guid) {
                 return FARLO(GetDgStateExW)(handle, name, guid, &imported);
             }},
            {"GetDgVolPlexStatesW",
             [&](auto name, auto guid) {
                 return FARLO(GetDgVolPlexStatesW)(handle, name, guid, device.c_str(), &number,
                                                   nullptr);
             }},
            {"SetFastFailoverFlagW",
             [&](auto name, auto guid) {
                 return FARLO(SetFastFailoverFlagW)(handle, name, guid, 1);
             }},
            {"GetDgPropertiesW",
             [&](auto name, auto guid) {
                 return FARLO(GetDgPropertiesW)(handle, name, guid, nullptr, &(size = 0));
             }},
            {"GetDgDiskPropertiesW",
             [&](auto name, auto guid) {
                 return FARLO(GetDgDiskPropertiesW)(handle, name, guid, nullptr, &(size = 0));
             }},
        };
        for (const auto& [export_name, call] : calls) {
            expect_types(export_name, call, not_excluded, not_excluded);
        }
        // For a shared group, the functions look up groups of all types.
        expect_types(
            "OnlineDgW",
            [&](auto name, auto guid) {
                return FARLO(OnlineDgW)(handle, name, guid, nullptr,
                                        FARLO_ONLINE_SHARED | FARLO_ONLINE_NO_NAME_CHECK);
            },
            not_excluded, not_excluded);
        expect_types(
            "OfflineDgW",
            [&](auto name, auto) {
                load_scenario(scenario);
                return name == nullptr
                           ? FARLO_NOT_FOUND
                           : FARLO(OfflineDgW)(handle, name, nullptr, FARLO_OFFLINE_SHARED);
            },
            not_excluded, no_type);
    });
}

// ----------------------------------------------------------- single functions

class SingleFunctions : public FarloTest {};

TEST_F(SingleFunctions, FFUpdateMountPathFindsVolumeWithoutDriveLetterByEmptyName) {
    scenario = R"({"disk_groups": [{"name": "dg", "dgid": "guid-1", "volumes": [
        {"name": "v1", "device": "\\Device\\v1", "drive_letter": "E"},
        {"name": "v2", "device": "\\Device\\v2", "drive_letter": ""}]}]})";
    once([&] {
        EXPECT_EQ(FARLO(FFUpdateMountPathW)(handle, L""), FARLO_SUCCESS);
        const std::vector<std::string> sent = calls_of("PrCallDispatch");
        ASSERT_EQ(sent.size(), 1u);
        EXPECT_EQ(sent[0].rfind("PrCallDispatch @v2 ", 0), 0u) << sent[0];
    });
}

TEST_F(SingleFunctions, GetDgVolumeGuidReturnsStatusOfFailedLookup) {
    scenario = R"({"node": {"cluster_service": false}, "disk_groups": [
        {"name": "dg0", "dgid": "guid-0", "type": 0, "imported": true},
        {"name": "dg2", "dgid": "guid-2", "type": 2, "imported": true}]})";
    once([&] {
        char guid[FARLO_GUID_TEXT_SIZE];
        EXPECT_EQ(FARLO(GetDgVolumeGuidW)(handle, L"dg0", nullptr, L"v", guid),
                  FARLO_EXCLUDED_TYPE);
        EXPECT_EQ(FARLO(GetDgVolumeGuidW)(handle, L"dg2", nullptr, L"v", guid),
                  FARLO_NO_CLUSTER_SERVICE);
    });
}

TEST_F(SingleFunctions, GetDgVolumeStatusStoresStatusOnlyWhenItAsksDriver) {
    once([&] {
        const std::uint8_t volume_guid[16] = {};
        std::uint32_t status = 1;
        EXPECT_EQ(FARLO(GetDgVolumeStatusW)(handle, nullptr, volume_guid, &status),
                  FARLO_MISSING_ARGUMENT);
        EXPECT_EQ(FARLO(GetDgVolumeStatusW)(handle, "guid-1", nullptr, &status),
                  FARLO_INVALID_ARGUMENT);
        EXPECT_EQ(
            FARLO(GetDgVolumeStatusW)(handle, std::string(65, 'g').c_str(), volume_guid, &status),
            FARLO_INVALID_ARGUMENT);
        EXPECT_EQ(status, 1u);
        // The lab node has no driver, so asking it fails.
        EXPECT_EQ(FARLO(GetDgVolumeStatusW)(handle, "guid-1", volume_guid, &status),
                  FARLO_DEVICE_FAILED);
        EXPECT_EQ(status, FARLO_VOLUME_STATUS_OTHER);
    });
}

}  // namespace
