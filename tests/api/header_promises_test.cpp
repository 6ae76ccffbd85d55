// Statements of farlo.h about strings, sizes, group types and single functions that
// no test of an operation proves.
#include "support/farlo_test.h"

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
class AgentsLocale {
  public:
    explicit AgentsLocale(const char* name) {
        EXPECT_NE(std::setlocale(LC_CTYPE, name), nullptr) << name;
    }
    ~AgentsLocale() { std::setlocale(LC_CTYPE, "C"); }
    AgentsLocale(const AgentsLocale&) = delete;
    AgentsLocale& operator=(const AgentsLocale&) = delete;
};

class Strings : public FarloTest {
  protected:
    // Imported cluster groups of these names (JSON), without volumes; the GUID strings are
    // "guid-1", "guid-2", ...
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

    // The GUID string of the group that a narrow name finds; "" for none.
    std::string found_by(const char* name) {
        char guid[FARLO_GUID_TEXT_SIZE] = {};
        FARLO(GetDgGuidA)(handle, name, guid);
        return guid;
    }
    // Whether a name finds a group. Nobody is asked but the group itself.
    bool finds(const wchar_t* name) {
        std::uint8_t imported = 0;
        return FARLO(GetDgStateExW)(handle, name, nullptr, &imported) == 0;
    }
};

TEST_F(Strings, WidenEachByteFrom80ToFFToTheSameCodePoint) {
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
        EXPECT_EQ(FARLO(GetFirstVolumesDiskIDA)(handle, narrow.c_str(), &id, &style), 0u);
        narrow.back() = 'x';
        EXPECT_EQ(FARLO(GetFirstVolumesDiskIDA)(handle, narrow.c_str(), &id, &style), 1u);
    });
}

// In the code page of the lab node, 1252, the byte 0x80 is the euro sign.
TEST_F(Strings, AreNotWidenedByTheAnsiCodePage) {
    use_groups({"g\\u20ac", "g\\u0080"});
    once([&] {
        ASSERT_EQ(GetACP(), 1252u);
        EXPECT_EQ(found_by("g\x80"), "guid-2");
    });
}

TEST_F(Strings, FollowTheLocaleThatTheAgentSetsInTheSharedRuntime) {
    use_groups({"g\\u0080", "g\\u20ac", "\\u00c4"});
    once([&] {
        const AgentsLocale german("German_Germany.1252");
        EXPECT_EQ(found_by("g\x80"), "guid-2");
        EXPECT_TRUE(finds(L"\u00e4"));
    });
}

TEST_F(Strings, AreFoldedForAToZOnly) {
    use_groups({"DG\\u00c4"});
    once([&] {
        EXPECT_TRUE(finds(L"dg\u00c4"));
        EXPECT_FALSE(finds(L"DG\u00e4"));
    });
}

// A name that has no narrow form fails the list of all; those before it are in the
// buffer, and the count is of all.
TEST_F(Strings, FailTheNarrowNameListWhereOneNameHasNoNarrowForm) {
    use_groups({"a\\u00e4", "b\\u20ac", "c"});
    once([&] {
        GuardedBuffer buffer(8);
        char* narrow = buffer.as<char>();
        std::uint32_t size = 8;
        std::uint32_t count = 0;
        EXPECT_EQ(FARLO(GetDgNameListA)(handle, &narrow, &size, &count), 18u);
        EXPECT_EQ(count, 3u);
        EXPECT_TRUE(buffer.holds({'a', 0xE4, 0, 0, 0, 0, 0, 0}));

        wchar_t wide[8] = {};
        wchar_t* names = wide;
        size = sizeof wide;
        EXPECT_EQ(FARLO(GetDgNameListW)(handle, &names, &size, &count), 0u);
        EXPECT_EQ(std::wstring(wide, 8), std::wstring(L"a\u00e4\0b\u20ac\0c\0", 8));
    });
}

// ---------------------------------------------------------- sizes and counts

class SizesOfALostConnection : public FarloTest {
  protected:
    SizesOfALostConnection() {
        scenario = R"({"disk_groups": [{"name": "dg", "dgid": "guid-1", "type": 2,
            "imported": true, "disks": [{"name": "d"}],
            "volumes": [{"name": "v", "device": "v", "state": 4}]}]})";
    }

    // Of a call whose buffer is too small, and whose connection drops with the call that
    // `when` selects.
    void expect_written(const char* export_name, const std::string& when, std::uint32_t& value,
                        std::uint32_t wanted, const std::function<std::uint32_t()>& call) {
        SCOPED_TRACE(export_name);
        ASSERT_EQ(FARLO(ValidateClusterW)(&handle), 0u);
        set_faults("[{" + when + R"(, "drop": true}])");
        value = 0;
        EXPECT_EQ(call(), 20u);
        EXPECT_EQ(value, wanted);
        set_faults("[]");
    }
    static std::string walk(const std::string& type) {
        return R"("function": "ObGetChildObjects", "type": ")" + type + '"';
    }
    static std::string reading(const std::string& property) {
        return R"("function": "ObGetProperty", "property": ")" + property + '"';
    }
};

TEST_F(SizesOfALostConnection, AreWrittenWithTheStatusOfTheLoss) {
    once([&] {
        std::uint32_t size = 0;
        std::uint32_t count = 0;
        wchar_t names[8];
        wchar_t* list = names;
        char narrow_names[8];
        char* narrow_list = narrow_names;
        VolInfo volume{};
        expect_written("GetDgNameListW", reading("Name"), size, 6,
                       [&] { return FARLO(GetDgNameListW)(handle, &list, &size, &count); });
        expect_written("GetDgNameListA", reading("Name"), size, 3,
                       [&] { return FARLO(GetDgNameListA)(handle, &narrow_list, &size, &count); });
        expect_written(
            "GetDgPropertiesW", walk("tamo_ztvm_volume"), size, 8 + 56 + volume_record_size,
            [&] { return FARLO(GetDgPropertiesW)(handle, L"dg", nullptr, nullptr, &size); });
        expect_written(
            "GetDgVolPropertiesW", walk("tamo_ztvm_volume"), size, 8 + volume_record_size,
            [&] { return FARLO(GetDgVolPropertiesW)(handle, L"dg", nullptr, nullptr, &size); });
        expect_written("GetDgDiskPropertiesW", walk("tamo_ztvm_disk"), size, 4 + 56, [&] {
            return FARLO(GetDgDiskPropertiesW)(handle, L"dg", nullptr, nullptr, &size);
        });
        expect_written("GetVolPropertiesW", walk("tamo_ztvm_plex"), size,
                       8 + volume_record_size - 4, [&] {
                           return FARLO(GetVolPropertiesW)(
                               handle, L"v", reinterpret_cast<VolPropInfo*>(&volume), &size);
                       });
        expect_written("GetVolumeNameForSerialNumberW", walk("tamo_ztvm_volume"), size,
                       volume_record_size, [&] {
                           return FARLO(GetVolumeNameForSerialNumberW)(handle, L"dg", nullptr, 1,
                                                                       nullptr, &size);
                       });
        expect_written("GetVolumeInfo", reading("Name"), size, volume_record_size, [&] {
            return FARLO(GetVolumeInfo)(handle, L"dg", nullptr, L"v", &volume, &size);
        });
        expect_written("GetUnusableVolumesInfo", reading("ztvmstate"), count, 1, [&] {
            return FARLO(GetUnusableVolumesInfo)(handle, L"dg", nullptr, &volume, &count);
        });
    });
}

TEST_F(SizesOfALostConnection, LeaveTheCountOfNamesWrittenWithTheNames) {
    once([&] {
        std::uint32_t size = 0;
        std::uint32_t count = 0;
        wchar_t names[8] = {};
        wchar_t* list = names;
        expect_written("GetDgNameListW", reading("Name") + R"(, "call": 2)", count, 1, [&] {
            size = sizeof names;
            return FARLO(GetDgNameListW)(handle, &list, &size, &count);
        });
        EXPECT_STREQ(names, L"dg");
    });
}

// ------------------------------------------------------- cluster disk groups

class ClusterGroups : public FarloTest {
  protected:
    ClusterGroups() {
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

    using Call = std::function<std::uint32_t(const wchar_t* name, const char* guid)>;

    // The types whose groups a function takes by their names, and by their GUID strings. A
    // group that it does not take is refused with 1 or 40, or is left to the service, which
    // has no such method for it.
    void expect_types(const char* export_name, const Call& call,
                      const std::set<std::uint32_t>& by_name,
                      const std::set<std::uint32_t>& by_guid) {
        SCOPED_TRACE(export_name);
        std::set<std::uint32_t> names;
        std::set<std::uint32_t> guids;
        for (const std::uint32_t type : types) {
            const std::wstring name = L"dg" + std::to_wstring(type);
            const std::string guid = "guid-" + std::to_string(type);
            device = L"v" + std::to_wstring(type);
            if (!is_refused(call(name.c_str(), nullptr))) {
                names.insert(type);
            }
            if (!is_refused(call(nullptr, guid.c_str()))) {
                guids.insert(type);
            }
        }
        EXPECT_EQ(names, by_name);
        EXPECT_EQ(guids, by_guid);
    }
    static bool is_refused(std::uint32_t status) { return status == 1 || status == 40; }

    static constexpr std::uint32_t types[] = {0, 1, 2, 7, 8};
    const std::set<std::uint32_t> none;
    const std::set<std::uint32_t> cluster_by_name{2};
    const std::set<std::uint32_t> cluster_by_guid{2, 8};
    const std::set<std::uint32_t> any_group{1, 2, 8};
    const std::set<std::uint32_t> all_types{0, 1, 2, 7, 8};
    std::wstring device;
};

TEST_F(ClusterGroups, AreOfType2ByNameAndOfTypes2And8ByGuid) {
    once([&] {
        std::uint32_t word = 0;
        std::uint32_t size = 0;
        wchar_t text[FARLO_NAME_SIZE];
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
                 return FARLO(GetDgVolumeStateW)(handle, name, guid, device.c_str(), &word);
             }},
            {"GetUnusableVolumesInfo",
             [&](auto name, auto guid) {
                 return FARLO(GetUnusableVolumesInfo)(handle, name, guid, &volume, &(word = 1));
             }},
            {"GetVolumeInfo",
             [&](auto name, auto guid) {
                 return FARLO(GetVolumeInfo)(handle, name, guid, device.c_str(), &volume,
                                             &(size = 0));
             }},
            {"GetVolumeNameForSerialNumberW",
             [&](auto name, auto guid) {
                 return FARLO(GetVolumeNameForSerialNumberW)(handle, name, guid, 1, text,
                                                             &(size = 0));
             }},
            {"DeportDgW",
             [&](auto name, auto guid) {
                 load_scenario(scenario);
                 return FARLO(DeportDgW)(handle, name, guid);
             }},
        };
        for (const auto& [export_name, call] : calls) {
            expect_types(export_name, call, cluster_by_name, cluster_by_guid);
        }
        expect_types(
            "GetDgNameW",
            [&](auto, auto guid) {
                return guid == nullptr ? 1 : FARLO(GetDgNameW)(handle, guid, text);
            },
            none, cluster_by_guid);
        expect_types(
            "OfflineVolW",
            [&](auto, auto guid) {
                return guid == nullptr ? 1 : FARLO(OfflineVolW)(handle, guid, device.c_str(), 0);
            },
            none, cluster_by_guid);
        expect_types(
            "GetFirstVolumesDiskIDW",
            [&](auto name, auto) {
                return name == nullptr ? 1
                                       : FARLO(GetFirstVolumesDiskIDW)(handle, name, &word, &size);
            },
            cluster_by_name, none);
    });
}

// A group that is given by its GUID string is not looked up: its type is not known.
TEST_F(ClusterGroups, AreWantedByNameOnlyWhereTheGuidGoesToTheService) {
    once([&] {
        std::uint32_t word = 0;
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
                 return FARLO(GetDgDiskAvailabilityW)(handle, name, guid, &word, &other);
             }},
            {"OfflineDgW",
             [&](auto name, auto guid) {
                 load_scenario(scenario);
                 return FARLO(OfflineDgW)(handle, name, guid, 0);
             }},
        };
        for (const auto& [export_name, call] : calls) {
            expect_types(export_name, call, cluster_by_name, all_types);
        }
    });
}

TEST_F(ClusterGroups, AreWantedByNameForTheStatusOfAReservation) {
    support_scsi3 = 2;
    once([&] {
        std::uint32_t word = 0;
        expect_types(
            "GetDgReservationStatusW",
            [&](auto name, auto guid) {
                return FARLO(GetDgReservationStatusW)(handle, name, guid, &word);
            },
            cluster_by_name, all_types);
    });
}

// Types 0 and 7 are excluded everywhere.
TEST_F(ClusterGroups, AreNotTheOnlyGroupsThatOtherFunctionsTake) {
    once([&] {
        std::uint8_t imported = 0;
        std::uint32_t word = 0;
        std::uint32_t size = 0;
        const std::vector<std::pair<const char*, Call>> calls = {
            {"GetDgStateExW",
             [&](auto name, auto guid) {
                 return FARLO(GetDgStateExW)(handle, name, guid, &imported);
             }},
            {"GetDgVolPlexStatesW",
             [&](auto name, auto guid) {
                 return FARLO(GetDgVolPlexStatesW)(handle, name, guid, device.c_str(), &word,
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
            expect_types(export_name, call, any_group, any_group);
        }
        // Shared groups are looked up: by name and by GUID string, of any type.
        expect_types(
            "OnlineDgW",
            [&](auto name, auto guid) {
                return FARLO(OnlineDgW)(handle, name, guid, nullptr,
                                        FARLO_ONLINE_SHARED | FARLO_ONLINE_NO_NAME_CHECK);
            },
            any_group, any_group);
        expect_types(
            "OfflineDgW",
            [&](auto name, auto) {
                load_scenario(scenario);
                return name == nullptr
                           ? 1
                           : FARLO(OfflineDgW)(handle, name, nullptr, FARLO_OFFLINE_SHARED);
            },
            any_group, none);
    });
}

// ----------------------------------------------------------- single functions

class SingleFunctions : public FarloTest {};

// An empty name is compared like any other: a volume without a drive letter has it.
TEST_F(SingleFunctions, FFUpdateMountPathTakesAnEmptyNameForAnEmptyDriveLetter) {
    scenario = R"({"disk_groups": [{"name": "dg", "dgid": "guid-1", "volumes": [
        {"name": "v1", "device": "\\Device\\v1", "drive_letter": "E"},
        {"name": "v2", "device": "\\Device\\v2", "drive_letter": ""}]}]})";
    once([&] {
        EXPECT_EQ(FARLO(FFUpdateMountPathW)(handle, L""), 0u);
        const std::vector<std::string> sent = calls_of("PrCallDispatch");
        ASSERT_EQ(sent.size(), 1u);
        EXPECT_EQ(sent[0].rfind("PrCallDispatch @v2 ", 0), 0u) << sent[0];
    });
}

// The statuses of GetDgVolumeGuidW that the search for its group, and the one for the
// cluster service, add.
TEST_F(SingleFunctions, GetDgVolumeGuidReturnsTheStatusesOfItsLookups) {
    scenario = R"({"node": {"cluster_service": false}, "disk_groups": [
        {"name": "dg0", "dgid": "guid-0", "type": 0, "imported": true},
        {"name": "dg2", "dgid": "guid-2", "type": 2, "imported": true}]})";
    once([&] {
        char guid[FARLO_GUID_TEXT_SIZE];
        EXPECT_EQ(FARLO(GetDgVolumeGuidW)(handle, L"dg0", nullptr, L"v", guid), 40u);
        EXPECT_EQ(FARLO(GetDgVolumeGuidW)(handle, L"dg2", nullptr, L"v", guid), 41u);
    });
}

// A driver that cannot be asked leaves 35, one that is not asked leaves nothing.
TEST_F(SingleFunctions, GetDgVolumeStatusWritesItsStatusOnlyWhenItAsksTheDriver) {
    once([&] {
        const std::uint8_t volume_guid[16] = {};
        std::uint32_t status = 1;
        EXPECT_EQ(FARLO(GetDgVolumeStatusW)(handle, nullptr, volume_guid, &status), 19u);
        EXPECT_EQ(FARLO(GetDgVolumeStatusW)(handle, "guid-1", nullptr, &status), 0x80070057u);
        EXPECT_EQ(
            FARLO(GetDgVolumeStatusW)(handle, std::string(65, 'g').c_str(), volume_guid, &status),
            0x80070057u);
        EXPECT_EQ(status, 1u);
        // The lab node has no driver here.
        EXPECT_EQ(FARLO(GetDgVolumeStatusW)(handle, "guid-1", volume_guid, &status), 24u);
        EXPECT_EQ(status, FARLO_VOLUME_STATUS_OTHER);
    });
}

}  // namespace
