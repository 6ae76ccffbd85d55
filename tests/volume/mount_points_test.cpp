// The mount points of a volume and the drive letters in them. The tests read them from the record
// of a disk group with one volume, "v".
#include "support/bus_lines.h"
#include "support/farlo_test.h"
#include "support/fault_rules.h"

#include <cstring>
#include <map>

namespace {

using namespace support;

constexpr std::size_t record_size = 8 + 1656;
constexpr std::size_t mount_points_offset = 8 + 1110;
constexpr std::size_t mount_points_capacity = 261;

// A folder in which a volume is mounted: its path, and the volume that holds it.
struct Mount {
    std::wstring path;
    std::string holder;
};

// Replaces the service's mount manager: returns these mount points and letters.
class MountManager {
  public:
    explicit MountManager(HMODULE module)
        : m_dispatch(module, "PrCallDispatch",
                     [this](opal_connection connection, const opal_objid* target,
                            const GUID* interface_id, uint32_t major, uint32_t minor,
                            opal_propset input, opal_propset output, uintptr_t r1, uintptr_t r2,
                            uintptr_t r3, uintptr_t r4, uint64_t* task,
                            uint64_t* result) -> opal_status {
                         const opal_status status =
                             m_dispatch.real(connection, target, interface_id, major, minor, input,
                                             output, r1, r2, r3, r4, task, result);
                         const bool failed = status >> 31 != 0;
                         if (!failed && output != nullptr) {
                             if (minor == method::get_mount_points.minor) {
                                 add_mounts(name_of(*target), output);
                             } else if (minor == method::get_drive_letter.minor) {
                                 add_letter(name_of(*target), output);
                             }
                         }
                         return status;
                     }) {}

    // By volume. A volume without an entry has no mount points or no letter.
    std::map<std::string, std::vector<Mount>> mounts;
    std::map<std::string, std::wstring> letters;
    // Returned instead of the true number of mount points and of their holders.
    std::optional<std::uint32_t> count;
    std::optional<std::size_t> holder_count;
    std::string missing_property;  // is not returned

    // Makes the service's own methods fail for volumes without a letter and succeed for all others.
    std::vector<FaultRule> rules() const {
        std::vector<FaultRule> rules;
        for (const std::string& volume : m_volumes) {
            if (!letters.contains(volume)) {
                rules.push_back({.object = volume,
                                 .method = method::get_drive_letter,
                                 .returns = service_no_drive_letter});
            }
        }
        rules.push_back({.method = method::get_mount_points, .returns = bus_success});
        rules.push_back({.method = method::get_drive_letter, .returns = bus_success});
        return rules;
    }
    // Volumes of the scenario.
    void set_volumes(const std::vector<std::string>& names) {
        m_volumes = names;
        for (const std::string& name : names) {
            opal_objid id{};
            ASSERT_EQ(LabFindObject(name.c_str(), &id), 0);
            m_ids[name] = id;
        }
    }

  private:
    std::string name_of(const opal_objid& id) const {
        for (const auto& [name, known] : m_ids) {
            if (std::memcmp(&known, &id, sizeof id) == 0) {
                return name;
            }
        }
        return "";
    }

    void add(opal_propset set, const opal_property& property) const {
        if (missing_property != property.name) {
            EXPECT_EQ(PsAddProperty(set, &property), ZTSTATUS_OK);
        }
    }

    void add_mounts(const std::string& volume, opal_propset output) {
        std::vector<const wchar_t*> paths;
        std::vector<opal_objid> holders;
        for (const Mount& mount : mounts[volume]) {
            paths.push_back(mount.path.c_str());
            holders.push_back(m_ids.at(mount.holder));
        }
        holders.resize(holder_count.value_or(holders.size()),
                       holders.empty() ? opal_objid{} : holders.back());
        const auto path_count = static_cast<std::uint32_t>(paths.size());
        const auto id_count = static_cast<std::uint32_t>(holders.size());
        const std::uint32_t returned_count = count.value_or(path_count);
        add(output, {"ALL MOUNT POINTS ARRAY", TYPE_WSTRZ, path_count,
                     static_cast<std::uint32_t>(path_count * sizeof(wchar_t*)), paths.data()});
        add(output,
            {"NUMBER OF MOUNT POINTS", TYPE_UINT32, 1, sizeof returned_count, &returned_count});
        add(output, {"MEMBERIDZ", TYPE_ZTOBJIDZ, id_count,
                     static_cast<std::uint32_t>(id_count * sizeof(opal_objid)), holders.data()});
    }

    void add_letter(const std::string& volume, opal_propset output) {
        const std::wstring& letter = letters.at(volume);
        add(output,
            {"DRIVE LETTER", TYPE_WSTR, 1,
             static_cast<std::uint32_t>((letter.size() + 1) * sizeof(wchar_t)), letter.c_str()});
    }

    std::vector<std::string> m_volumes;
    std::map<std::string, opal_objid> m_ids;
    StandIn<decltype(PrCallDispatch)> m_dispatch;
};

// Lines of the recorder: the mount points of a volume; the letter of a volume with one, and of one
// without.
std::string mounts_call(const std::string& volume) {
    return invoke(volume, method::get_mount_points, "", bus_success);
}
std::string letter_call(const std::string& volume) {
    return invoke(volume, method::get_drive_letter, R"("FromMM": UINT32 1)", bus_success);
}
std::string failed_letter_call(const std::string& volume) {
    return invoke(volume, method::get_drive_letter, R"("FromMM": UINT32 1)",
                  service_no_drive_letter);
}

// Lines of the log.
const Expected entering{4, "Entering GetDgPropertiesW - dg1"};
const Expected no_letter{6, "GetDriveLetterFromMntMgr:MNTOP_GET_DRIVE_LETTER, CsfInvoke failed "
                            "with error = 0xe5150109."};
const Expected exception{6, "API_TRY_CATCH_FAILED "};
const Expected exiting{4, "Exiting GetDgPropertiesW"};

// "v" is in the group "dg1", the other volumes are in "dg2". By convention "a" to "c" have no
// letter, "e" and "f" have one. The library calls the letter method for "v" last, to fill the
// record's own letter.
class MountPoints : public FarloTest {
  protected:
    MountPoints() { set_volumes({"a", "b", "c", "e", "f"}); }

    void set_volumes(const std::vector<std::string>& others) {
        volumes = others;
        volumes.push_back("v");
        scenario = R"({"disk_groups": [
            {"name": "dg1", "dgid": "guid-1", "volumes": [{"name": "v", "device": "d"}]},
            {"name": "dg2", "dgid": "guid-2", "volumes": [)";
        for (const std::string& name : others) {
            scenario += R"({"name": ")" + name + R"(", "device": "d-)" + name + "\"}" +
                        (&name == &others.back() ? "" : ",");
        }
        scenario += "]}]}";
    }

    // Returns the mount points of "v". The record must end where the buffer ends.
    std::wstring read_mount_points(MountManager& manager,
                                   const std::vector<FaultRule>& faults = {}) {
        manager.set_volumes(volumes);
        std::vector<FaultRule> rules = faults;
        for (const FaultRule& rule : manager.rules()) {
            rules.push_back(rule);
        }
        set_faults(fault_plan(rules));
        start_watching();
        GuardedBuffer record(record_size);
        std::uint32_t size = record_size;
        EXPECT_EQ(FARLO(GetDgPropertiesW)(handle, L"dg1", nullptr, record.as<DgInfo>(), &size),
                  FARLO_SUCCESS);
        const auto* string = reinterpret_cast<const wchar_t*>(record.data() + mount_points_offset);
        EXPECT_LT(wcsnlen(string, mount_points_capacity), mount_points_capacity);
        return {string, wcsnlen(string, mount_points_capacity)};
    }

    std::vector<std::string> volumes;
};

TEST_F(MountPoints, ProvidesEmptyStringForVolumeMountedNowhere) {
    at_every_threshold([&] {
        MountManager manager(dll().module());
        EXPECT_EQ(read_mount_points(manager), L"");
        EXPECT_EQ(calls_of("PrCallDispatch"), (Lines{mounts_call("v"), failed_letter_call("v")}));
        expect_log({entering, no_letter, exiting});
    });
}

TEST_F(MountPoints, ProvidesPathsWithLettersOfHolders) {
    at_every_threshold([&] {
        MountManager manager(dll().module());
        manager.letters = {{"e", L"E"}, {"f", L"F"}};
        manager.mounts["v"] = {{L"data\\logs", "e"}, {L"mnt", "f"}};
        EXPECT_EQ(read_mount_points(manager), L"E:\\data\\logs; F:\\mnt");
        EXPECT_EQ(calls_of("PrCallDispatch"), (Lines{mounts_call("v"), letter_call("e"),
                                                     letter_call("f"), failed_letter_call("v")}));
        expect_log({entering, no_letter, exiting});
    });
}

TEST_F(MountPoints, AddsColonToEveryLetterExceptZero) {
    once([&] {
        MountManager manager(dll().module());
        manager.letters = {{"e", L"0"}, {"f", L"E:"}, {"a", L""}};
        manager.mounts["v"] = {{L"x", "e"}, {L"y", "f"}, {L"z", "a"}};
        EXPECT_EQ(read_mount_points(manager), L"0\\x; E::\\y; :\\z");
    });
}

// The paths of a holder without a letter come directly before the path on it.
TEST_F(MountPoints, PrependsPathsOfHolderWithoutLetter) {
    at_every_threshold([&] {
        MountManager manager(dll().module());
        manager.letters = {{"e", L"E"}};
        manager.mounts["v"] = {{L"\\logs", "a"}};
        manager.mounts["a"] = {{L"data", "e"}};
        EXPECT_EQ(read_mount_points(manager), L"E:\\data\\logs");
        EXPECT_EQ(calls_of("PrCallDispatch"),
                  (Lines{mounts_call("v"), failed_letter_call("a"), mounts_call("a"),
                         letter_call("e"), failed_letter_call("v")}));
        expect_log({entering, no_letter, no_letter, exiting});
    });
}

// A nested path is one whose holder has no letter.
TEST_F(MountPoints, KeepsIrregularSeparatorsAroundNestedPaths) {
    once([&] {
        MountManager manager(dll().module());
        manager.letters = {{"e", L"E"}, {"f", L"F"}};
        manager.mounts["a"] = {{L"A", "e"}};
        manager.mounts["b"] = {{L"B", "f"}};
        const auto with_mounts = [&](const std::vector<Mount>& mounts) {
            manager.mounts["v"] = mounts;
            return read_mount_points(manager);
        };
        // Two between a nested path and a path with a letter.
        EXPECT_EQ(with_mounts({{L"1", "a"}, {L"2", "f"}}), L"E:\\A1; ; F:\\2");
        EXPECT_EQ(with_mounts({{L"1", "a"}, {L"2", "f"}, {L"3", "e"}}),
                  L"E:\\A1; ; F:\\2; ; E:\\3");
        // None before the first nested path.
        EXPECT_EQ(with_mounts({{L"1", "f"}, {L"2", "a"}}), L"F:\\1E:\\A2");
        EXPECT_EQ(with_mounts({{L"1", "f"}, {L"2", "e"}, {L"3", "b"}}), L"F:\\1; E:\\2F:\\B3");
        // One between nested paths.
        EXPECT_EQ(with_mounts({{L"1", "a"}, {L"2", "b"}}), L"E:\\A1; F:\\B2");
        EXPECT_EQ(with_mounts({{L"1", "f"}, {L"2", "a"}, {L"3", "b"}}), L"F:\\1E:\\A2; F:\\B3");
    });
}

TEST_F(MountPoints, PrependsAllPathsOfHolderWithSeveral) {
    once([&] {
        MountManager manager(dll().module());
        manager.letters = {{"e", L"E"}, {"f", L"F"}};
        manager.mounts["a"] = {{L"A", "e"}, {L"B", "f"}};
        manager.mounts["v"] = {{L"1", "a"}, {L"2", "a"}};
        EXPECT_EQ(read_mount_points(manager), L"E:\\A; F:\\B1; E:\\A; F:\\B2");
    });
}

TEST_F(MountPoints, ProvidesPathAloneWhenHolderIsMountedNowhere) {
    at_every_threshold([&] {
        MountManager manager(dll().module());
        manager.mounts["v"] = {{L"1", "a"}, {L"2", "b"}};
        EXPECT_EQ(read_mount_points(manager), L"1; 2");
        EXPECT_EQ(calls_of("PrCallDispatch"),
                  (Lines{mounts_call("v"), failed_letter_call("a"), mounts_call("a"),
                         failed_letter_call("b"), mounts_call("b"), failed_letter_call("v")}));
        expect_log({entering, no_letter, no_letter, no_letter, exiting});
    });
}

TEST_F(MountPoints, ChecksOnlyThatReturnedCountIsNotZero) {
    once([&] {
        MountManager manager(dll().module());
        manager.letters = {{"e", L"E"}};
        manager.mounts["v"] = {{L"1", "e"}, {L"2", "e"}};
        for (const std::uint32_t count : {1u, 3u, 0xFFFFFFFFu}) {
            manager.count = count;
            EXPECT_EQ(read_mount_points(manager), L"E:\\1; E:\\2");
        }
        manager.count = 0;
        EXPECT_EQ(read_mount_points(manager), L"");
        EXPECT_EQ(calls_of("PrCallDispatch"), (Lines{mounts_call("v"), failed_letter_call("v")}));
        manager.mounts["v"] = {};
        manager.count = 5;
        EXPECT_EQ(read_mount_points(manager), L"");
        EXPECT_EQ(calls_of("PrCallDispatch"), (Lines{mounts_call("v"), failed_letter_call("v")}));
    });
}

TEST_F(MountPoints, ProvidesAsManyPathsAsShorterArrayHas) {
    once([&] {
        MountManager manager(dll().module());
        manager.letters = {{"e", L"E"}};
        manager.mounts["v"] = {{L"1", "e"}, {L"2", "e"}, {L"3", "e"}};
        const std::pair<std::size_t, const wchar_t*> rows[] = {
            {0, L""}, {1, L"E:\\1"}, {2, L"E:\\1; E:\\2"}, {9, L"E:\\1; E:\\2; E:\\3"}};
        for (const auto& [holder_count, wanted] : rows) {
            manager.holder_count = holder_count;
            EXPECT_EQ(read_mount_points(manager), wanted);
        }
    });
}

TEST_F(MountPoints, ProvidesEmptyStringWhenResultIsMissingOrOfAnotherType) {
    at_every_threshold([&] {
        MountManager manager(dll().module());
        manager.letters = {{"e", L"E"}};
        manager.mounts["v"] = {{L"1", "e"}};
        for (const char* name : {"ALL MOUNT POINTS ARRAY", "NUMBER OF MOUNT POINTS", "MEMBERIDZ"}) {
            SCOPED_TRACE(name);
            manager.missing_property = name;
            EXPECT_EQ(read_mount_points(manager), L"");
            expect_log({entering, exception, no_letter, exiting});
            manager.missing_property.clear();
            EXPECT_EQ(read_mount_points(
                          manager,
                          {{.function = "PsFindProperty", .property = name, .with_type = "INT64"}}),
                      L"");
            expect_log({entering, exception, no_letter, exiting});
        }
        // A holder whose letter cannot be read is treated as one without a letter.
        manager.missing_property = "DRIVE LETTER";
        EXPECT_EQ(read_mount_points(manager), L"1");
        expect_log({entering, exception, no_letter, exiting});
    });
}

// The letter has at most two characters.
TEST_F(MountPoints, TreatsHolderWithLongLetterAsOneWithoutLetter) {
    at_every_threshold([&] {
        MountManager manager(dll().module());
        manager.letters = {{"e", L"E:\\"}};
        manager.mounts["v"] = {{L"1", "e"}};
        EXPECT_EQ(read_mount_points(manager), L"1");
        expect_log({entering, exception, no_letter, exiting});
    });
}

TEST_F(MountPoints, LeavesOutPathsOrLetterWhenParametersCannotBeSet) {
    at_every_threshold([&] {
        MountManager manager(dll().module());
        manager.letters = {{"e", L"E"}, {"v", L"V"}};
        manager.mounts["v"] = {{L"1", "e"}};
        EXPECT_EQ(read_mount_points(manager, {no_input_set}), L"");
        expect_log({entering, exception, exiting});
        EXPECT_EQ(read_mount_points(manager, {{.function = "PsAddProperty",
                                               .property = "FromMM",
                                               .call = 1,
                                               .returns = bus_no_memory}}),
                  L"1");
        expect_log({entering, exception, exiting});
    });
}

TEST_F(MountPoints, LeavesOutPathsOfVolumeWhoseMountPointsCannotBeQueried) {
    at_every_threshold([&] {
        MountManager manager(dll().module());
        manager.mounts["v"] = {{L"1", "a"}, {L"2", "b"}};
        const Expected failed{4, "GetMountPoints:MNTOP_GET_ALL_MOUNTPOINTS, CsfInvoke failed with "
                                 "error = 0xe5150199."};
        EXPECT_EQ(read_mount_points(manager, {{.method = method::get_mount_points,
                                               .returns = unknown_service_failure}}),
                  L"");
        expect_log({entering, failed, no_letter, exiting});
        // Fails for the holder of one path only: the path itself and all others are provided.
        EXPECT_EQ(read_mount_points(manager, {{.object = "a",
                                               .method = method::get_mount_points,
                                               .returns = unknown_service_failure}}),
                  L"1; 2");
        expect_log({entering, no_letter, failed, no_letter, no_letter, exiting});
    });
}

TEST_F(MountPoints, IgnoresResultsReturnedWithInformationalStatus) {
    at_every_threshold([&] {
        MountManager manager(dll().module());
        manager.letters = {{"e", L"E"}};
        manager.mounts["v"] = {{L"1", "e"}};
        EXPECT_EQ(read_mount_points(
                      manager, {{.method = method::get_mount_points, .returns = bus_same_value}}),
                  L"");
        expect_log({entering,
                    {4, "GetMountPoints:MNTOP_GET_ALL_MOUNTPOINTS, CsfInvoke failed with error "
                        "= 0x41000012."},
                    no_letter,
                    exiting});
        EXPECT_EQ(read_mount_points(manager, {{.object = "e",
                                               .method = method::get_drive_letter,
                                               .returns = bus_same_value}}),
                  L"1");
        expect_log({entering,
                    {6, "GetDriveLetterFromMntMgr:MNTOP_GET_DRIVE_LETTER, CsfInvoke failed with "
                        "error = 0x41000012."},
                    no_letter,
                    exiting});
    });
}

TEST_F(MountPoints, ReadsNoResultsWithoutOutputSet) {
    once([&] {
        MountManager manager(dll().module());
        manager.letters = {{"e", L"E"}};
        manager.mounts["v"] = {{L"1", "e"}};
        EXPECT_EQ(read_mount_points(manager, {no_output_set}), L"");
        // The letter keeps its initial value, "0".
        EXPECT_EQ(
            read_mount_points(
                manager, {{.function = "PsCreatePropset", .call = 4, .returns = bus_no_memory}}),
            L"0\\1");
    });
}

TEST_F(MountPoints, CutsPathsAtEndOfString) {
    once([&] {
        MountManager manager(dll().module());
        manager.letters = {{"e", L"E"}};
        const std::wstring fits(257, L'p');
        for (const std::size_t more : {0u, 1u, 5000u}) {
            manager.mounts["v"] = {{fits + std::wstring(more, L'q'), "e"}};
            EXPECT_EQ(read_mount_points(manager), L"E:\\" + fits);
        }
        // No more calls once the string is full.
        manager.mounts["v"] = {{fits, "e"}, {L"x", "e"}, {L"y", "a"}};
        EXPECT_EQ(read_mount_points(manager), L"E:\\" + fits);
        EXPECT_EQ(calls_of("PrCallDispatch"),
                  (Lines{mounts_call("v"), letter_call("e"), failed_letter_call("v")}));
        // Cut inside a separator, after a letter, inside a nested path.
        manager.mounts["v"] = {{fits.substr(1), "e"}, {L"x", "e"}};
        EXPECT_EQ(read_mount_points(manager), L"E:\\" + fits.substr(1) + L";");
        manager.mounts["v"] = {{fits.substr(3), "e"}, {L"x", "e"}};
        EXPECT_EQ(read_mount_points(manager), L"E:\\" + fits.substr(3) + L"; E");
        manager.mounts["v"] = {{fits.substr(2), "e"}, {L"xyz", "a"}};
        EXPECT_EQ(read_mount_points(manager), L"E:\\" + fits.substr(2) + L"xy");
    });
}

TEST_F(MountPoints, EndsForVolumeMountedOnItself) {
    at_every_threshold([&] {
        MountManager manager(dll().module());
        manager.mounts["v"] = {{L"x", "v"}};
        EXPECT_EQ(read_mount_points(manager), L"x");
        EXPECT_EQ(calls_of("PrCallDispatch"),
                  (Lines{mounts_call("v"), failed_letter_call("v"), failed_letter_call("v")}));
        expect_log({entering, no_letter, no_letter, exiting});
    });
}

// A path on a volume of the cycle is provided without the paths of that volume.
TEST_F(MountPoints, EndsForCycleOfSeveralVolumes) {
    at_every_threshold([&] {
        MountManager manager(dll().module());
        manager.letters = {{"e", L"E"}};
        manager.mounts["v"] = {{L"1", "a"}};
        manager.mounts["a"] = {{L"2", "b"}};
        manager.mounts["b"] = {{L"3", "a"}, {L"4", "v"}, {L"5", "e"}};
        EXPECT_EQ(read_mount_points(manager), L"3; 4; ; E:\\521");
        EXPECT_EQ(calls_of("PrCallDispatch"),
                  (Lines{mounts_call("v"), failed_letter_call("a"), mounts_call("a"),
                         failed_letter_call("b"), mounts_call("b"), failed_letter_call("a"),
                         failed_letter_call("v"), letter_call("e"), failed_letter_call("v")}));
        expect_log({entering, no_letter, no_letter, no_letter, no_letter, no_letter, exiting});
    });
}

// "v" is mounted on "n1", "n1" on "n2" and so on.
class NestedMountPoints : public MountPoints {
  protected:
    void nest(MountManager& manager, std::size_t depth, std::size_t mounts_on_each,
              const std::wstring& path) {
        std::string inner = "v";
        for (std::size_t level = 1; level <= depth; ++level) {
            const std::string holder = "n" + std::to_string(level);
            manager.mounts[inner] = std::vector<Mount>(mounts_on_each, Mount{path, holder});
            inner = holder;
        }
    }
    void set_depth(std::size_t depth) {
        std::vector<std::string> names{"e"};
        for (std::size_t level = 1; level <= depth; ++level) {
            names.push_back("n" + std::to_string(level));
        }
        set_volumes(names);
    }
    std::size_t count_mounts_calls() const {
        const std::string method = "0." + std::to_string(method::get_mount_points.minor);
        const Lines lines = calls_of("PrCallDispatch");
        return static_cast<std::size_t>(
            std::count_if(lines.begin(), lines.end(), [&](const std::string& line) {
                return line.find(method) != std::string::npos;
            }));
    }
};

TEST_F(NestedMountPoints, ProvidesWholePathOf256Levels) {
    set_depth(256);
    once([&] {
        MountManager manager(dll().module());
        manager.letters = {{"e", L"E"}};
        nest(manager, 256, 1, L"p");
        manager.mounts["n256"] = {{L"q", "e"}};
        EXPECT_EQ(read_mount_points(manager), L"E:\\q" + std::wstring(256, L'p'));
        EXPECT_EQ(count_mounts_calls(), 257u);
    });
}

TEST_F(NestedMountPoints, StopsWhenStringIsFull) {
    set_depth(1000);
    once([&] {
        MountManager manager(dll().module());
        nest(manager, 1000, 1, L"p");
        EXPECT_EQ(read_mount_points(manager), std::wstring(260, L'p'));
        EXPECT_EQ(count_mounts_calls(), 261u);
    });
}

// Two mounts on each of 40 levels are 2^40 paths.
TEST_F(NestedMountPoints, StopsEarlyWhenPathsDoubleAtEachLevel) {
    set_depth(40);
    once([&] {
        MountManager manager(dll().module());
        nest(manager, 40, 2, L"");
        std::wstring separators;
        while (separators.size() < 260) {
            separators += L"; ";
        }
        EXPECT_EQ(read_mount_points(manager), separators);
        EXPECT_LT(calls_of("PrCallDispatch").size(), 1000u);
    });
}

}  // namespace
