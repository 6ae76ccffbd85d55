// The mount-point text of a volume record, and the letters in it: read through
// the record of a disk group that has one volume, "v".
#include "support/bus_lines.h"
#include "support/farlo_test.h"

#include <cstring>
#include <map>

namespace {

using namespace support;

constexpr char mount_manager_methods[] = "{2f0eafcd-7b86-4f9b-bd98-d61ce4211f8f}";
constexpr std::uint32_t all_mount_points = 8006;
constexpr std::uint32_t drive_letter = 8007;

constexpr std::size_t record_size = 8 + 1656;
constexpr std::size_t text_offset = 8 + 1110;
constexpr std::size_t text_capacity = 261;

struct Mount {
    std::wstring path;
    std::string holder;
};

// What the mount manager knows: where volumes are mounted, and their letters. A
// volume without a letter is refused one.
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
                         const bool refused = status >> 31 != 0;
                         if (!refused && output != nullptr) {
                             if (minor == all_mount_points) {
                                 answer_mounts(name_of(*target), output);
                             } else if (minor == drive_letter) {
                                 answer_letter(name_of(*target), output);
                             }
                         }
                         return status;
                     }) {}

    std::map<std::string, std::vector<Mount>> mounts;
    std::map<std::string, std::wstring> letters;
    // In place of the truth: the number, and how many holders are told of.
    std::optional<std::uint32_t> number;
    std::optional<std::size_t> holders;
    std::string left_out;  // a property that is not told at all

    // The plan by which the service itself answers: refusals of letters, and
    // nothing but success else.
    std::string faults() const {
        std::string plan = "[";
        for (const std::string& volume : m_volumes) {
            if (!letters.contains(volume)) {
                plan +=
                    R"({"minor": 8007, "object": ")" + volume + R"(", "status": "0xe5150106"},)";
            }
        }
        return plan + R"({"minor": 8006, "status": "0x0"}, {"minor": 8007, "status": "0x0"}])";
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
        if (left_out != property.name) {
            EXPECT_EQ(PsAddProperty(set, &property), ZTSTATUS_OK);
        }
    }

    void answer_mounts(const std::string& volume, opal_propset output) {
        const std::vector<Mount>& known = mounts[volume];
        std::vector<const wchar_t*> paths;
        std::vector<opal_objid> ids;
        for (const Mount& mount : known) {
            paths.push_back(mount.path.c_str());
            ids.push_back(m_ids.at(mount.holder));
        }
        ids.resize(holders.value_or(ids.size()), ids.empty() ? opal_objid{} : ids.back());
        const auto count = static_cast<std::uint32_t>(paths.size());
        const auto id_count = static_cast<std::uint32_t>(ids.size());
        const std::uint32_t told = number.value_or(count);
        add(output, {"ALL MOUNT POINTS ARRAY", TYPE_WSTRZ, count,
                     static_cast<std::uint32_t>(count * sizeof(wchar_t*)), paths.data()});
        add(output, {"NUMBER OF MOUNT POINTS", TYPE_UINT32, 1, sizeof told, &told});
        add(output, {"MEMBERIDZ", TYPE_ZTOBJIDZ, id_count,
                     static_cast<std::uint32_t>(id_count * sizeof(opal_objid)), ids.data()});
    }

    void answer_letter(const std::string& volume, opal_propset output) {
        const std::wstring& letter = letters.at(volume);
        add(output,
            {"DRIVE LETTER", TYPE_WSTR, 1,
             static_cast<std::uint32_t>((letter.size() + 1) * sizeof(wchar_t)), letter.c_str()});
    }

    std::vector<std::string> m_volumes;
    std::map<std::string, opal_objid> m_ids;
    StandIn<decltype(PrCallDispatch)> m_dispatch;
};

std::string mounts_call(const std::string& volume, const std::string& status = "0x0") {
    return invoke(volume, mount_manager_methods, all_mount_points, "", status);
}
std::string letter_call(const std::string& volume, bool has_letter) {
    return invoke(volume, mount_manager_methods, drive_letter, R"("FromMM": UINT32 1)",
                  has_letter ? "0x0" : "0xe5150106");
}

const Expected no_letter{6, "GetDriveLetterFromMntMgr:MNTOP_GET_DRIVE_LETTER, CsfInvoke failed "
                            "with error = 0xe5150106."};
const Expected exception{6, "API_TRY_CATCH_FAILED "};

// "v" in a group of its own; "a" to "c" without a letter, "e" and "f" with one.
class MountPoints : public FarloTest {
  protected:
    MountPoints() { set_volumes({"a", "b", "c", "e", "f"}); }

    void set_volumes(std::vector<std::string> others) {
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

    // The mount-point text of "v"; the record after it may not be touched.
    std::wstring read_text(MountManager& manager, const std::string& more_faults = "") {
        manager.set_volumes(volumes);
        std::string plan = manager.faults();
        plan.insert(1, more_faults);
        set_faults(plan);
        start_watching();
        GuardedBuffer record(record_size);
        std::uint32_t size = record_size;
        EXPECT_EQ(FARLO(GetDgPropertiesW)(handle, L"dg1", nullptr, record.as<DgInfo>(), &size), 0u);
        const auto* text = reinterpret_cast<const wchar_t*>(record.data() + text_offset);
        EXPECT_LT(wcsnlen(text, text_capacity), text_capacity);
        return {text, wcsnlen(text, text_capacity)};
    }

    // The mount manager's calls, but the last: the record's own letter.
    void expect_mount_calls(Lines wanted) {
        wanted.push_back(letter_call("v", false));
        EXPECT_EQ(calls_of("PrCallDispatch"), wanted);
    }

    // These lines, and the last of the record's own letter.
    void expect_lines(std::vector<Expected> lines) {
        lines.insert(lines.begin(), {4, "Entering GetDgPropertiesW - dg1"});
        lines.push_back(no_letter);
        lines.push_back({4, "Exiting GetDgPropertiesW"});
        expect_log(lines);
    }

    std::vector<std::string> volumes;
};

TEST_F(MountPoints, NoMountPoints) {
    at_every_threshold([&] {
        MountManager manager(dll().module());
        EXPECT_EQ(read_text(manager), L"");
        expect_mount_calls({mounts_call("v")});
        expect_lines({});
    });
}

TEST_F(MountPoints, FoldersOfVolumesWithLetters) {
    at_every_threshold([&] {
        MountManager manager(dll().module());
        manager.letters = {{"e", L"E"}, {"f", L"F"}};
        manager.mounts["v"] = {{L"data\\logs", "e"}, {L"mnt", "f"}};
        EXPECT_EQ(read_text(manager), L"E:\\data\\logs; F:\\mnt");
        expect_mount_calls({mounts_call("v"), letter_call("e", true), letter_call("f", true)});
        expect_lines({});
    });
}

TEST_F(MountPoints, TheLetterZeroGetsNoColon) {
    once([&] {
        MountManager manager(dll().module());
        manager.letters = {{"e", L"0"}, {"f", L"E:"}, {"a", L""}};
        manager.mounts["v"] = {{L"x", "e"}, {L"y", "f"}, {L"z", "a"}};
        EXPECT_EQ(read_text(manager), L"0\\x; E::\\y; :\\z");
    });
}

// The holder's own paths stand directly in front of the path.
TEST_F(MountPoints, ANestedMount) {
    at_every_threshold([&] {
        MountManager manager(dll().module());
        manager.letters = {{"e", L"E"}};
        manager.mounts["v"] = {{L"\\logs", "a"}};
        manager.mounts["a"] = {{L"data", "e"}};
        EXPECT_EQ(read_text(manager), L"E:\\data\\logs");
        expect_mount_calls(
            {mounts_call("v"), letter_call("a", false), mounts_call("a"), letter_call("e", true)});
        expect_lines({no_letter});
    });
}

// The separators, with their consequences.
TEST_F(MountPoints, SeparatorsAroundNestedMounts) {
    once([&] {
        MountManager manager(dll().module());
        manager.letters = {{"e", L"E"}, {"f", L"F"}};
        manager.mounts["a"] = {{L"A", "e"}};
        manager.mounts["b"] = {{L"B", "f"}};
        const auto text_of = [&](const std::vector<Mount>& mounts) {
            manager.mounts["v"] = mounts;
            return read_text(manager);
        };
        // Twice after a nested one when a lettered one follows.
        EXPECT_EQ(text_of({{L"1", "a"}, {L"2", "f"}}), L"E:\\A1; ; F:\\2");
        EXPECT_EQ(text_of({{L"1", "a"}, {L"2", "f"}, {L"3", "e"}}), L"E:\\A1; ; F:\\2; ; E:\\3");
        // None in front of a nested one that follows lettered ones only.
        EXPECT_EQ(text_of({{L"1", "f"}, {L"2", "a"}}), L"F:\\1E:\\A2");
        EXPECT_EQ(text_of({{L"1", "f"}, {L"2", "e"}, {L"3", "b"}}), L"F:\\1; E:\\2F:\\B3");
        // One between nested ones.
        EXPECT_EQ(text_of({{L"1", "a"}, {L"2", "b"}}), L"E:\\A1; F:\\B2");
        EXPECT_EQ(text_of({{L"1", "f"}, {L"2", "a"}, {L"3", "b"}}), L"F:\\1E:\\A2; F:\\B3");
    });
}

// A nested volume's mounts have separators of their own.
TEST_F(MountPoints, AHolderWithSeveralMounts) {
    once([&] {
        MountManager manager(dll().module());
        manager.letters = {{"e", L"E"}, {"f", L"F"}};
        manager.mounts["a"] = {{L"A", "e"}, {L"B", "f"}};
        manager.mounts["v"] = {{L"1", "a"}, {L"2", "a"}};
        EXPECT_EQ(read_text(manager), L"E:\\A; F:\\B1; E:\\A; F:\\B2");
    });
}

TEST_F(MountPoints, AHolderThatIsMountedNowhere) {
    at_every_threshold([&] {
        MountManager manager(dll().module());
        manager.mounts["v"] = {{L"1", "a"}, {L"2", "b"}};
        EXPECT_EQ(read_text(manager), L"1; 2");
        expect_mount_calls({mounts_call("v"), letter_call("a", false), mounts_call("a"),
                            letter_call("b", false), mounts_call("b")});
        expect_lines({no_letter, no_letter});
    });
}

// Only whether it is zero counts.
TEST_F(MountPoints, TheNumberOfMountPoints) {
    once([&] {
        MountManager manager(dll().module());
        manager.letters = {{"e", L"E"}};
        manager.mounts["v"] = {{L"1", "e"}, {L"2", "e"}};
        for (const std::uint32_t number : {1u, 3u, 0xFFFFFFFFu}) {
            manager.number = number;
            EXPECT_EQ(read_text(manager), L"E:\\1; E:\\2");
        }
        manager.number = 0;
        EXPECT_EQ(read_text(manager), L"");
        expect_mount_calls({mounts_call("v")});
        manager.mounts["v"] = {};
        manager.number = 5;
        EXPECT_EQ(read_text(manager), L"");
        expect_mount_calls({mounts_call("v")});
    });
}

TEST_F(MountPoints, ArraysOfDifferentLengths) {
    once([&] {
        MountManager manager(dll().module());
        manager.letters = {{"e", L"E"}};
        manager.mounts["v"] = {{L"1", "e"}, {L"2", "e"}, {L"3", "e"}};
        const std::pair<std::size_t, const wchar_t*> cases[] = {
            {0, L""}, {1, L"E:\\1"}, {2, L"E:\\1; E:\\2"}, {9, L"E:\\1; E:\\2; E:\\3"}};
        for (const auto& [holders, text] : cases) {
            manager.holders = holders;
            EXPECT_EQ(read_text(manager), text);
        }
    });
}

TEST_F(MountPoints, WhatIsMissingOrOfAnotherType) {
    at_every_threshold([&] {
        MountManager manager(dll().module());
        manager.letters = {{"e", L"E"}};
        manager.mounts["v"] = {{L"1", "e"}};
        for (const char* name : {"ALL MOUNT POINTS ARRAY", "NUMBER OF MOUNT POINTS", "MEMBERIDZ"}) {
            SCOPED_TRACE(name);
            manager.left_out = name;
            EXPECT_EQ(read_text(manager), L"");
            expect_lines({exception});
            manager.left_out.clear();
            EXPECT_EQ(
                read_text(manager, std::string(R"({"function": "PsFindProperty", "property": ")") +
                                       name + R"(", "as": "INT64"},)"),
                L"");
            expect_lines({exception});
        }
        // Without a letter that can be read the holder counts as nested.
        manager.left_out = "DRIVE LETTER";
        EXPECT_EQ(read_text(manager), L"1");
        expect_lines({exception});
    });
}

// A letter, a colon and the terminator, and no more.
TEST_F(MountPoints, ALetterThatIsTooLong) {
    at_every_threshold([&] {
        MountManager manager(dll().module());
        manager.letters = {{"e", L"E:\\"}};
        manager.mounts["v"] = {{L"1", "e"}};
        EXPECT_EQ(read_text(manager), L"1");
        expect_lines({exception});
    });
}

TEST_F(MountPoints, AParameterSetThatCannotBeBuilt) {
    at_every_threshold([&] {
        MountManager manager(dll().module());
        manager.letters = {{"e", L"E"}, {"v", L"V"}};
        manager.mounts["v"] = {{L"1", "e"}};
        EXPECT_EQ(read_text(manager, R"({"function": "PsCreatePropset", "call": 1,
                                         "status": "0xc1000102"},)"),
                  L"");
        expect_log(
            {{4, "Entering GetDgPropertiesW - dg1"}, exception, {4, "Exiting GetDgPropertiesW"}});
        EXPECT_EQ(read_text(manager, R"({"function": "PsAddProperty", "property": "FromMM",
                                         "call": 1, "status": "0xc1000102"},)"),
                  L"1");
        expect_log(
            {{4, "Entering GetDgPropertiesW - dg1"}, exception, {4, "Exiting GetDgPropertiesW"}});
    });
}

TEST_F(MountPoints, AFailedCall) {
    at_every_threshold([&] {
        MountManager manager(dll().module());
        manager.mounts["v"] = {{L"1", "a"}, {L"2", "b"}};
        const Expected failed{4, "GetMountPoints:MNTOP_GET_ALL_MOUNTPOINTS, CsfInvoke failed with "
                                 "error = 0xe5150111."};
        EXPECT_EQ(read_text(manager, R"({"minor": 8006, "status": "0xe5150111"},)"), L"");
        expect_lines({failed});
        // A nested volume's failure: its path stands alone, and the rest follows.
        EXPECT_EQ(read_text(manager, R"({"minor": 8006, "object": "a", "status": "0xe5150111"},)"),
                  L"1; 2");
        expect_lines({no_letter, failed, no_letter});
    });
}

// What comes with a status that is not 0 is not read, failure or not.
TEST_F(MountPoints, AnInformationalStatus) {
    at_every_threshold([&] {
        MountManager manager(dll().module());
        manager.letters = {{"e", L"E"}};
        manager.mounts["v"] = {{L"1", "e"}};
        EXPECT_EQ(read_text(manager, R"({"minor": 8006, "status": "0x41000001"},)"), L"");
        expect_lines({{4, "GetMountPoints:MNTOP_GET_ALL_MOUNTPOINTS, CsfInvoke failed with error "
                          "= 0x41000001."}});
        EXPECT_EQ(read_text(manager, R"({"minor": 8007, "object": "e", "status": "0x41000001"},)"),
                  L"1");
        expect_lines({{6, "GetDriveLetterFromMntMgr:MNTOP_GET_DRIVE_LETTER, CsfInvoke failed with "
                          "error = 0x41000001."}});
    });
}

TEST_F(MountPoints, WithoutAnOutputSetNothingIsRead) {
    once([&] {
        MountManager manager(dll().module());
        manager.letters = {{"e", L"E"}};
        manager.mounts["v"] = {{L"1", "e"}};
        EXPECT_EQ(read_text(manager, R"({"function": "PsCreatePropset", "call": 2,
                                         "status": "0xc1000102"},)"),
                  L"");
        // The letter stays the "0" that it was.
        EXPECT_EQ(read_text(manager, R"({"function": "PsCreatePropset", "call": 4,
                                         "status": "0xc1000102"},)"),
                  L"0\\1");
    });
}

TEST_F(MountPoints, TheTextIsFilledToItsLastCharacterAndCutThere) {
    once([&] {
        MountManager manager(dll().module());
        manager.letters = {{"e", L"E"}};
        const std::wstring fits(257, L'p');
        for (const std::size_t more : {0u, 1u, 5000u}) {
            manager.mounts["v"] = {{fits + std::wstring(more, L'q'), "e"}};
            EXPECT_EQ(read_text(manager), L"E:\\" + fits);
        }
        // After a full string nothing more is asked.
        manager.mounts["v"] = {{fits, "e"}, {L"x", "e"}, {L"y", "a"}};
        EXPECT_EQ(read_text(manager), L"E:\\" + fits);
        expect_mount_calls({mounts_call("v"), letter_call("e", true)});
        // Cut within a separator, a letter and a nested path.
        manager.mounts["v"] = {{fits.substr(1), "e"}, {L"x", "e"}};
        EXPECT_EQ(read_text(manager), L"E:\\" + fits.substr(1) + L";");
        manager.mounts["v"] = {{fits.substr(3), "e"}, {L"x", "e"}};
        EXPECT_EQ(read_text(manager), L"E:\\" + fits.substr(3) + L"; E");
        manager.mounts["v"] = {{fits.substr(2), "e"}, {L"xyz", "a"}};
        EXPECT_EQ(read_text(manager), L"E:\\" + fits.substr(2) + L"xy");
    });
}

TEST_F(MountPoints, AVolumeMountedInsideItself) {
    at_every_threshold([&] {
        MountManager manager(dll().module());
        manager.mounts["v"] = {{L"x", "v"}};
        EXPECT_EQ(read_text(manager), L"x");
        expect_mount_calls({mounts_call("v"), letter_call("v", false)});
        expect_lines({no_letter});
    });
}

// What was gathered stays, of the mounts beside the cycle too.
TEST_F(MountPoints, ACycleThroughOthers) {
    at_every_threshold([&] {
        MountManager manager(dll().module());
        manager.letters = {{"e", L"E"}};
        manager.mounts["v"] = {{L"1", "a"}};
        manager.mounts["a"] = {{L"2", "b"}};
        manager.mounts["b"] = {{L"3", "a"}, {L"4", "v"}, {L"5", "e"}};
        EXPECT_EQ(read_text(manager), L"3; 4; ; E:\\521");
        expect_mount_calls({mounts_call("v"), letter_call("a", false), mounts_call("a"),
                            letter_call("b", false), mounts_call("b"), letter_call("a", false),
                            letter_call("v", false), letter_call("e", true)});
        expect_lines({no_letter, no_letter, no_letter, no_letter});
    });
}

// "v" in n1, n1 in n2 and so on.
class DeepMounts : public MountPoints {
  protected:
    void nest(MountManager& manager, std::size_t depth, std::size_t mounts_each,
              const std::wstring& path) {
        std::string inner = "v";
        for (std::size_t level = 1; level <= depth; ++level) {
            const std::string holder = "n" + std::to_string(level);
            manager.mounts[inner] = std::vector<Mount>(mounts_each, Mount{path, holder});
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
    std::size_t calls_of_method(std::uint32_t minor) const {
        const Lines lines = calls_of("PrCallDispatch");
        return static_cast<std::size_t>(
            std::count_if(lines.begin(), lines.end(), [minor](const std::string& line) {
                return line.find("0." + std::to_string(minor)) != std::string::npos;
            }));
    }
};

TEST_F(DeepMounts, TheDeepestThatFitsIsWhole) {
    set_depth(256);
    once([&] {
        MountManager manager(dll().module());
        manager.letters = {{"e", L"E"}};
        nest(manager, 256, 1, L"p");
        manager.mounts["n256"] = {{L"q", "e"}};
        EXPECT_EQ(read_text(manager), L"E:\\q" + std::wstring(256, L'p'));
        EXPECT_EQ(calls_of_method(all_mount_points), 257u);
    });
}

TEST_F(DeepMounts, AChainWithoutAnEndEnds) {
    set_depth(1000);
    once([&] {
        MountManager manager(dll().module());
        nest(manager, 1000, 1, L"p");
        EXPECT_EQ(read_text(manager), std::wstring(260, L'p'));
        EXPECT_EQ(calls_of_method(all_mount_points), 261u);
    });
}

// Two mounts on each of 40 levels are more paths than anybody can wait for.
TEST_F(DeepMounts, ATreeThatDoublesOnEveryLevelEnds) {
    set_depth(40);
    once([&] {
        MountManager manager(dll().module());
        nest(manager, 40, 2, L"");
        std::wstring separators;
        while (separators.size() < 260) {
            separators += L"; ";
        }
        EXPECT_EQ(read_text(manager), separators);
        EXPECT_LT(calls_of("PrCallDispatch").size(), 1000u);
    });
}

}  // namespace
