// IsStorageClusterable, IsVolumeOfSpecifiedDgType, IsVolumeClusterable,
// GetClusterSharedDgGuid.
#include "support/bus_lines.h"
#include "support/farlo_test.h"

#include <cerrno>
#include <cstring>

namespace {

using namespace support;

// The bytes of {01234567-89ab-cdef-fedc-ba9876543210}.
constexpr std::uint8_t disk_guid[16] = {0x67, 0x45, 0x23, 0x01, 0xab, 0x89, 0xef, 0xcd,
                                        0xfe, 0xdc, 0xba, 0x98, 0x76, 0x54, 0x32, 0x10};

const Expected exception{6, "API_TRY_CATCH_FAILED "};

std::string query(const std::string& type, const std::string& property, const std::string& value,
                  const std::string& result) {
    return "DbGetObjectsByQuery \"SELECT FROM " + type + R"( where \")" + property + R"(\" EQ )" +
           value + "\" -> " + result;
}

std::string groups_of(const std::string& object, const std::string& names) {
    return "ObGetParentObjects @" + object + " tamo_ztvm_diskgroup -> 0x0 [" + names + "]";
}

class Clusterable : public FarloTest {
  protected:
    Clusterable() { set_group(R"("type": 2)"); }

    void set_group(const std::string& group) {
        scenario = R"({"disk_groups": [{"name": "dg1", "dgid": "guid-1", )" + group +
                   R"(, "disks": [
                       {"name": "mbr", "signature": 4294967295},
                       {"name": "gpt", "disk_guid": "{01234567-89ab-cdef-fedc-ba9876543210}"}],
                     "volumes": [{"name": "vol1", "device": "\\Device\\one two",
                                  "volume_name": "Volume {1}"}]}],
                   "objects": [{"name": "lone disk", "type": "tamo_ztvm_disk", "properties": {
                       "SIGNATURE": {"type": "UINT32", "value": 77}}},
                     {"name": "lone volume", "type": "tamo_ztvm_volume", "properties": {
                       "volumename": {"type": "WSTR", "value": "lone"},
                       "DEVICE NAME": {"type": "WSTR", "value": "lone"}}}]})";
    }

    // Of runs whose allocations fail in turn: the first has none that fails, and
    // so has the last.
    static void expect_no_but_at_both_ends(const std::vector<unsigned>& answers) {
        std::vector<unsigned> wanted(answers.size(), 0);
        ASSERT_GT(wanted.size(), 2u);
        wanted.front() = wanted.back() = 1;
        EXPECT_EQ(answers, wanted);
    }
};

// Hands out objects of a scenario in an order of the test's own.
void hand_out(const std::vector<const char*>& names, opal_objid** ids, std::uint32_t* count) {
    *ids = static_cast<opal_objid*>(_ZtAlloc(names.size() * sizeof **ids));
    *count = static_cast<std::uint32_t>(names.size());
    for (std::size_t i = 0; i < names.size(); ++i) {
        EXPECT_EQ(LabFindObject(names[i], *ids + i), 0);
    }
}

// Answers every query, and every question for an object's groups, with several
// objects; tells whose groups were asked for.
class Several {
  public:
    Several(HMODULE module, std::vector<const char*> found, std::vector<const char*> parents)
        : m_query(module, "DbGetObjectsByQuery",
                  [=](opal_connection, opal_context, const wchar_t*, opal_objid** ids,
                      std::uint32_t* count) -> opal_status {
                      hand_out(found, ids, count);
                      return ZTSTATUS_OK;
                  }),
          m_groups(module, "ObGetParentObjects",
                   [this, parents](opal_connection, opal_context, const opal_objid* child,
                                   const char*, opal_objid** ids,
                                   std::uint32_t* count) -> opal_status {
                       children.push_back(*child);
                       hand_out(parents, ids, count);
                       return ZTSTATUS_OK;
                   }) {}

    // Whether the groups of that object were asked for, and of no other.
    bool asked_only_for(const char* name) const {
        opal_objid id;
        return LabFindObject(name, &id) == 0 && children.size() == 1 &&
               ObCompareId(&children.front(), &id) == 0;
    }

    std::vector<opal_objid> children;

  private:
    StandIn<decltype(DbGetObjectsByQuery)> m_query;
    StandIn<decltype(ObGetParentObjects)> m_groups;
};

// Two groups that differ in all that decides: "two" is of type 2, a cluster
// resource and not shared, "eight" of type 8, no resource and shared.
constexpr char two_groups[] = R"({"disk_groups": [
    {"name": "two", "dgid": "guid-2", "type": 2, "cluster_resource": true, "cluster_shared": false,
     "disks": [{"name": "disk 2"}], "volumes": [{"name": "vol 2", "device": "d2"}]},
    {"name": "eight", "dgid": "guid-8", "type": 8, "cluster_resource": false,
     "cluster_shared": true,
     "disks": [{"name": "disk 8"}], "volumes": [{"name": "vol 8", "device": "d8"}]}]})";

// A status of the bus that is not 0 and no failure.
constexpr char no_failure[] = R"([{"function": "DbGetObjectsByQuery", "after": "0x41000001"}])";

class Storage : public Clusterable {
  protected:
    std::uint8_t ask(std::uint32_t style, std::uint32_t signature, const std::uint8_t* guid) {
        return FARLO(IsStorageClusterable)(handle, style, signature, guid);
    }

    Lines found_mbr() {
        return {query("tamo_ztvm_disk", "SIGNATURE", "4294967295", "0x0 [@mbr]"),
                groups_of("mbr", "@dg1")};
    }
};

Lines group_reads(bool resource, std::uint32_t type) {
    return {read("dg1", "cluster resource", resource ? "BOOLEAN true" : "BOOLEAN false"),
            read("dg1", "LDM DG TYPE", uint32(type))};
}

const Expected entering_storage{2, "Entering IsStorageClusterable"};
const Expected exiting_storage{0, "Exiting IsStorageClusterable"};

TEST_F(Storage, AnMbrDiskByItsSignatureInDecimal) {
    at_every_threshold([&] {
        EXPECT_EQ(ask(0, 0xFFFFFFFF, nullptr), 1u);
        expect_calls(found_mbr() + group_reads(true, 2));
        expect_log({entering_storage, exiting_storage});
    });
}

TEST_F(Storage, AGptDiskByItsGuidInLowerCase) {
    at_every_threshold([&] {
        EXPECT_EQ(ask(1, 0, disk_guid), 1u);
        expect_calls(Lines{query("tamo_ztvm_disk", "DISKGUID",
                                 "{01234567-89ab-cdef-fedc-ba9876543210}", "0x0 [@gpt]"),
                           groups_of("gpt", "@dg1")} +
                     group_reads(true, 2));
        expect_log({entering_storage, exiting_storage});
    });
}

TEST_F(Storage, TheTypeAndTheResourceFlagDecideTogether) {
    const struct {
        const char* group;
        bool resource;
        std::uint32_t type;
        std::uint8_t answer;
    } cases[] = {{R"("type": 2, "cluster_resource": true)", true, 2, 1},
                 {R"("type": 2, "cluster_resource": false)", false, 2, 0},
                 {R"("type": 8, "cluster_resource": true)", true, 8, 0},
                 {R"("type": 1, "cluster_resource": false)", false, 1, 0}};
    for (const auto& each : cases) {
        set_group(each.group);
        once([&] {
            EXPECT_EQ(ask(0, 0xFFFFFFFF, nullptr), each.answer);
            expect_calls(found_mbr() + group_reads(each.resource, each.type));
        });
    }
}

// The empty query is run as it is; what the service hands out for it counts.
TEST_F(Storage, OtherStylesRunAnEmptyQuery) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "DbGetObjectsByQuery", "status": "0xc1000106"}])");
        EXPECT_EQ(ask(2, 0xFFFFFFFF, disk_guid), 0u);
        expect_calls({"DbGetObjectsByQuery \"\" -> 0xc1000106"});
        expect_log({entering_storage,
                    {0, "IsStorageClusterable:DbGetObjectsByQuery failed, for , error = "
                        "0xc1000106"},
                    exiting_storage});
        opal_objid disk;
        ASSERT_EQ(LabFindObject("mbr", &disk), 0);
        const StandIn<decltype(DbGetObjectsByQuery)> answer(
            dll().module(), "DbGetObjectsByQuery",
            [&](opal_connection, opal_context, const wchar_t*, opal_objid** ids,
                uint32_t* count) -> opal_status {
                *ids = static_cast<opal_objid*>(_ZtAlloc(sizeof disk));
                **ids = disk;
                *count = 1;
                return ZTSTATUS_OK;
            });
        EXPECT_EQ(ask(3, 0, nullptr), 1u);
    });
}

TEST_F(Storage, NoSuchDisk) {
    at_every_threshold([&] {
        EXPECT_EQ(ask(0, 5, nullptr), 0u);
        expect_calls({query("tamo_ztvm_disk", "SIGNATURE", "5", "0x0 []")});
        expect_log(
            {entering_storage, {0, "IsStorageClusterable:Disk Object not found"}, exiting_storage});
    });
}

TEST_F(Storage, AFailedQuery) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "DbGetObjectsByQuery", "status": "0xc1000102"}])");
        EXPECT_EQ(ask(0, 5, nullptr), 0u);
        expect_log({entering_storage,
                    {0, "IsStorageClusterable:DbGetObjectsByQuery failed, for SELECT FROM "
                        "tamo_ztvm_disk where \"SIGNATURE\" EQ 5, error = 0xc1000102"},
                    exiting_storage});
    });
}

TEST_F(Storage, AStatusThatIsNoFailure) {
    at_every_threshold([&] {
        set_faults(no_failure);
        EXPECT_EQ(ask(0, 0xFFFFFFFF, nullptr), 1u);
        expect_log({entering_storage, exiting_storage});
    });
}

TEST_F(Storage, TheFirstDiskAndItsFirstGroupDecide) {
    scenario = two_groups;
    once([&] {
        {
            const Several several(dll().module(), {"disk 8", "disk 2"}, {"two", "eight"});
            EXPECT_EQ(ask(0, 1, nullptr), 1u);
            EXPECT_TRUE(several.asked_only_for("disk 8"));
            expect_calls({read("two", "cluster resource", "BOOLEAN true"),
                          read("two", "LDM DG TYPE", "UINT32 2")});
        }
        start_watching();
        const Several several(dll().module(), {"disk 2", "disk 8"}, {"eight", "two"});
        EXPECT_EQ(ask(0, 1, nullptr), 0u);
        EXPECT_TRUE(several.asked_only_for("disk 2"));
        expect_calls({read("eight", "cluster resource", "BOOLEAN false"),
                      read("eight", "LDM DG TYPE", "UINT32 8")});
    });
}

// A missing answer is a no.
TEST_F(Storage, EveryAllocationThatFails) {
    std::vector<unsigned> answers;
    at_every_allocation([&] { answers.push_back(ask(1, 0, disk_guid)); });
    expect_no_but_at_both_ends(answers);
}

TEST_F(Storage, ADiskWithoutAGroup) {
    at_every_threshold([&] {
        EXPECT_EQ(ask(0, 77, nullptr), 0u);
        expect_calls({query("tamo_ztvm_disk", "SIGNATURE", "77", "0x0 [@lone disk]"),
                      groups_of("lone disk", "")});
        expect_log({entering_storage, exiting_storage});
    });
}

TEST_F(Storage, WhatCannotBeReadIsANo) {
    at_every_threshold([&] {
        for (const char* fault : {R"({"function": "ObGetParentObjects", "status": "0xc1000104"})",
                                  R"({"property": "cluster resource", "as": "UINT32"})",
                                  R"({"property": "LDM DG TYPE", "status": "0xc100003a"})"}) {
            SCOPED_TRACE(fault);
            set_faults("[" + std::string(fault) + "]");
            start_watching();
            EXPECT_EQ(ask(0, 0xFFFFFFFF, nullptr), 0u);
            expect_log({entering_storage, exception, exiting_storage});
        }
    });
}

TEST_F(Storage, NoMemory) {
    at_every_threshold([&] {
        for (const int allocation : {1, 2}) {
            set_faults(R"([{"function": "_ZtAlloc", "nothing": true, "call": )" +
                       std::to_string(allocation) + "}]");
            start_watching();
            EXPECT_EQ(ask(0, 0xFFFFFFFF, nullptr), 0u);
            expect_calls({});
            expect_log({entering_storage,
                        {0, "IsStorageClusterable: failed to allocate memory"},
                        exiting_storage});
        }
    });
}

TEST_F(Storage, NullGuidOfAGptDisk) {
    at_every_threshold([&] {
        EXPECT_EQ(ask(1, 0, nullptr), 0u);
        expect_calls({});
        expect_log({entering_storage,
                    {0, "IsStorageClusterable() failed , NULL Disk GUID"},
                    exiting_storage});
    });
}

TEST_F(Storage, NullHandleAndNotConnected) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(IsStorageClusterable)(nullptr, 0, 0, nullptr), 0u);
        expect_log({entering_storage, {0, "IsStorageClusterable , NULL opal_handle"}});
        start_watching();
        disconnect();
        EXPECT_EQ(ask(0, 0xFFFFFFFF, nullptr), 0u);
        expect_calls({});
        expect_log(
            {entering_storage, {0, "IsStorageClusterable failed , opal_handle not connected"}});
    });
}

const std::string find_volume =
    query("tamo_ztvm_volume", "volumename", "Volume {1}", "0x0 [@vol1]");
const Expected entering_type{2, "Entering IsVolumeOfSpecifiedDgType"};
const Expected exiting_type{0, "Exiting IsVolumeOfSpecifiedDgType"};

Expected types(std::uint32_t input, std::uint32_t actual) {
    return {6, "IsVolumeOfSpecifiedDgType: input type = " + std::to_string(input) +
                   ", actual type = " + std::to_string(actual)};
}

Lines type_read(std::uint32_t type) {
    return {find_volume, groups_of("vol1", "@dg1"), read("dg1", "LDM DG TYPE", uint32(type))};
}

class VolumeType : public Clusterable {
  protected:
    std::uint8_t ask(std::uint32_t type, const wchar_t* name = L"Volume {1}") {
        return FARLO(IsVolumeOfSpecifiedDgType)(handle, name, type);
    }
};

TEST_F(VolumeType, IsComparedWithTheGroups) {
    at_every_threshold([&] {
        EXPECT_EQ(ask(2), 1u);
        expect_calls(type_read(2));
        expect_log({entering_type, types(2, 2), exiting_type});
        start_watching();
        EXPECT_EQ(ask(8), 0u);
        expect_calls(type_read(2));
        expect_log({entering_type, types(8, 2), exiting_type});
    });
}

TEST_F(VolumeType, AnyValueIsATypeLikeAnother) {
    set_group(R"("type": 12345)");
    once([&] {
        EXPECT_EQ(ask(12345), 1u);
        EXPECT_EQ(ask(0), 0u);
    });
}

// Printed as if it had a sign.
TEST_F(VolumeType, TheLargestValues) {
    set_group(R"("type": 2147483648)");
    at_every_threshold([&] {
        EXPECT_EQ(ask(0x80000000), 1u);
        expect_log({entering_type,
                    {6, "IsVolumeOfSpecifiedDgType: input type = -2147483648, actual type = "
                        "-2147483648"},
                    exiting_type});
        start_watching();
        EXPECT_EQ(ask(0xFFFFFFFF), 0u);
        expect_log({entering_type,
                    {6, "IsVolumeOfSpecifiedDgType: input type = -1, actual type = -2147483648"},
                    exiting_type});
    });
}

TEST_F(VolumeType, AStatusThatIsNoFailure) {
    at_every_threshold([&] {
        set_faults(no_failure);
        EXPECT_EQ(ask(2), 1u);
        expect_log({entering_type, types(2, 2), exiting_type});
    });
}

TEST_F(VolumeType, TheFirstVolumeAndItsFirstGroupDecide) {
    scenario = two_groups;
    once([&] {
        const Several several(dll().module(), {"vol 2", "vol 8"}, {"eight", "two"});
        EXPECT_EQ(ask(8), 1u);
        EXPECT_TRUE(several.asked_only_for("vol 2"));
        expect_calls({read("eight", "LDM DG TYPE", "UINT32 8")});
        expect_log({entering_type, types(8, 8), exiting_type});
    });
}

TEST_F(VolumeType, EveryAllocationThatFails) {
    std::vector<unsigned> answers;
    at_every_allocation([&] { answers.push_back(ask(2)); });
    expect_no_but_at_both_ends(answers);
}

TEST_F(VolumeType, NoVolumeOrNoGroup) {
    at_every_threshold([&] {
        EXPECT_EQ(ask(2, L"none"), 0u);
        expect_calls({query("tamo_ztvm_volume", "volumename", "none", "0x0 []")});
        expect_log({entering_type, exiting_type});
        start_watching();
        EXPECT_EQ(ask(2, L"lone"), 0u);
        expect_calls({query("tamo_ztvm_volume", "volumename", "lone", "0x0 [@lone volume]"),
                      groups_of("lone volume", "")});
        expect_log({entering_type, exiting_type});
    });
}

TEST_F(VolumeType, AFailedQuery) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "DbGetObjectsByQuery", "status": "0xc1000102"}])");
        EXPECT_EQ(ask(2), 0u);
        expect_log({entering_type,
                    {0, "IsVolumeOfSpecifiedDgType: DbGetObjectsByQuery failed for volume - Volume "
                        "{1}, error = 0xc1000102"},
                    exiting_type});
    });
}

TEST_F(VolumeType, WhatCannotBeReadIsANo) {
    at_every_threshold([&] {
        for (const char* fault : {R"({"function": "ObGetParentObjects", "status": "0xc1000104"})",
                                  R"({"property": "LDM DG TYPE", "as": "INT32"})"}) {
            SCOPED_TRACE(fault);
            set_faults("[" + std::string(fault) + "]");
            start_watching();
            EXPECT_EQ(ask(2), 0u);
            expect_log({entering_type, exception, exiting_type});
        }
    });
}

TEST_F(VolumeType, TheChecksInTheirOrder) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(IsVolumeOfSpecifiedDgType)(nullptr, nullptr, 2), 0u);
        expect_log({entering_type, {0, "IsVolumeOfSpecifiedDgType , NULL opal_handle"}});
        start_watching();
        EXPECT_EQ(ask(2, nullptr), 0u);
        expect_log({entering_type, {0, "IsVolumeOfSpecifiedDgType() failed , NULL Volume Name"}});
        start_watching();
        set_faults(R"([{"function": "_ZtAlloc", "nothing": true}])");
        EXPECT_EQ(ask(2), 0u);
        expect_log({entering_type, {0, "IsVolumeOfSpecifiedDgType: failed to allocate memory"}});
        start_watching();
        disconnect();
        EXPECT_EQ(ask(2, nullptr), 0u);
        expect_log(
            {entering_type, {0, "IsVolumeOfSpecifiedDgType failed , opal_handle not connected"}});
        expect_calls({});
    });
}

TEST_F(VolumeType, ANameThatDoesNotFitIntoTheQueryIsRefused) {
    at_every_threshold([&] {
        EXPECT_EQ(ask(2, std::wstring(2000, L'v').c_str()), 0u);
        expect_calls({});
        expect_log({entering_type,
                    {0, "IsVolumeOfSpecifiedDgType() failed , volume_name string of more than "
                        "1996 characters, error=(0x80070057)"}});
    });
}

const Expected entering_volume{2, "Entering IsVolumeClusterable"};
const Expected exiting_volume{0, "Exiting IsVolumeClusterable"};

class Volume : public Clusterable {
  protected:
    std::uint8_t ask() { return FARLO(IsVolumeClusterable)(handle, L"Volume {1}"); }
};

TEST_F(Volume, OfASharedGroup) {
    set_group(R"("type": 8)");
    at_every_threshold([&] {
        EXPECT_EQ(ask(), 1u);
        expect_calls(type_read(8) + Lines{read("dg1", "cluster shared", "BOOLEAN true")});
        expect_log({entering_volume,
                    entering_type,
                    types(8, 8),
                    exiting_type,
                    {6, "IsVolumeClusterable: volume Volume {1} is clusterable"},
                    exiting_volume});
    });
}

TEST_F(Volume, OfAGroupOfThatTypeThatIsNotShared) {
    set_group(R"("type": 8, "cluster_shared": false)");
    at_every_threshold([&] {
        EXPECT_EQ(ask(), 0u);
        expect_calls(type_read(8) + Lines{read("dg1", "cluster shared", "BOOLEAN false")});
        expect_log({entering_volume,
                    entering_type,
                    types(8, 8),
                    exiting_type,
                    {6, "IsVolumeClusterable: volume Volume {1} is NOT clusterable"},
                    exiting_volume});
    });
}

TEST_F(Volume, OfAGroupOfAnotherType) {
    set_group(R"("type": 2, "cluster_shared": true)");
    at_every_threshold([&] {
        EXPECT_EQ(ask(), 0u);
        expect_calls(type_read(2));
        expect_log({entering_volume, entering_type, types(8, 2), exiting_type});
    });
}

TEST_F(Volume, TheFirstVolumeAndItsFirstGroupDecide) {
    scenario = two_groups;
    once([&] {
        const Several several(dll().module(), {"vol 2", "vol 8"}, {"eight", "two"});
        EXPECT_EQ(ask(), 1u);
        EXPECT_TRUE(several.asked_only_for("vol 2"));
        expect_calls({read("eight", "LDM DG TYPE", "UINT32 8"),
                      read("eight", "cluster shared", "BOOLEAN true")});
    });
}

// Ends the call without a line of its own.
TEST_F(Volume, WhoseTypeCannotBeRead) {
    set_group(R"("type": 8)");
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(IsVolumeClusterable)(handle, L"none"), 0u);
        expect_calls({query("tamo_ztvm_volume", "volumename", "none", "0x0 []")});
        expect_log({entering_volume, entering_type, exiting_type});
        start_watching();
        EXPECT_EQ(FARLO(IsVolumeClusterable)(handle, L"lone"), 0u);
        expect_log({entering_volume, entering_type, exiting_type});
        start_watching();
        set_faults(R"([{"function": "DbGetObjectsByQuery", "status": "0xc1000102"}])");
        EXPECT_EQ(ask(), 0u);
        expect_log({entering_volume,
                    entering_type,
                    {0, "IsVolumeOfSpecifiedDgType: DbGetObjectsByQuery failed for volume - Volume "
                        "{1}, error = 0xc1000102"},
                    exiting_type});
        set_faults("[]");
        start_watching();
        disconnect();
        EXPECT_EQ(ask(), 0u);
        expect_calls({});
        expect_log({entering_volume,
                    entering_type,
                    {0, "IsVolumeOfSpecifiedDgType failed , opal_handle not connected"}});
    });
}

TEST_F(Volume, AStatusThatIsNoFailure) {
    set_group(R"("type": 8)");
    once([&] {
        set_faults(no_failure);
        EXPECT_EQ(ask(), 1u);
    });
}

TEST_F(Volume, EveryAllocationThatFails) {
    set_group(R"("type": 8)");
    std::vector<unsigned> answers;
    at_every_allocation([&] { answers.push_back(ask()); });
    expect_no_but_at_both_ends(answers);
}

TEST_F(Volume, AFlagThatCannotBeReadIsANo) {
    set_group(R"("type": 8)");
    at_every_threshold([&] {
        set_faults(R"([{"property": "cluster shared", "status": "0xc100003a"}])");
        EXPECT_EQ(ask(), 0u);
        expect_log(
            {entering_volume, entering_type, types(8, 8), exiting_type, exception, exiting_volume});
    });
}

TEST_F(Volume, NullArguments) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(IsVolumeClusterable)(nullptr, L"v"), 0u);
        expect_log(
            {entering_volume, entering_type, {0, "IsVolumeOfSpecifiedDgType , NULL opal_handle"}});
        start_watching();
        EXPECT_EQ(FARLO(IsVolumeClusterable)(handle, nullptr), 0u);
        expect_log({entering_volume,
                    entering_type,
                    {0, "IsVolumeOfSpecifiedDgType() failed , NULL Volume Name"}});
    });
}

class SharedGuid : public Clusterable {
  protected:
    SharedGuid() { set_group(R"("type": 8)"); }

    std::uint32_t ask(GuardedBuffer& guid, const wchar_t* device = L"\\Device\\one two") {
        return FARLO(GetClusterSharedDgGuidW)(handle, device, guid.as<char>());
    }

    // These lines after the entry line, and the closing one of a failure.
    void expect_lines(const std::vector<Expected>& lines, const std::string& status) {
        std::vector<Expected> all{{2, "Entering GetClusterSharedDgGuidW"}};
        all.insert(all.end(), lines.begin(), lines.end());
        if (status != "0x0") {
            all.push_back({0, "GetClusterSharedDgGuidW() failed, error=(" + status + ") "});
        }
        expect_log(all);
    }
};

const std::string find_device =
    query("tamo_ztvm_volume", "DEVICE NAME", R"(\\Device\\one two)", "0x0 [@vol1]");

TEST_F(SharedGuid, IsTheGroupsDgid) {
    at_every_threshold([&] {
        GuardedBuffer guid(65);
        EXPECT_EQ(ask(guid), 0u);
        std::vector<std::uint8_t> wanted(65, GuardedBuffer::canary);
        std::memcpy(wanted.data(), "guid-1", 7);
        EXPECT_EQ(guid.difference(wanted), "");
        expect_calls({find_device, groups_of("vol1", "@dg1"),
                      read("dg1", "LDM DG TYPE", "UINT32 8"), read("dg1", "dgid", str("guid-1"))});
        expect_lines({}, "0x0");
    });
}

TEST_F(SharedGuid, ATextOf64CharactersFitsAndOneMoreDoesNot) {
    const auto set_dgid = [this](std::size_t length) {
        scenario = R"({"disk_groups": [{"name": "dg1", "type": 8, "dgid": ")" +
                   std::string(length, 'g') +
                   R"(", "volumes": [{"name": "vol1", "device": "\\Device\\one two"}]}]})";
    };
    set_dgid(64);
    once([&] {
        GuardedBuffer guid(65);
        EXPECT_EQ(ask(guid), 0u);
        EXPECT_EQ(std::string(guid.as<char>()), std::string(64, 'g'));
    });
    set_dgid(65);
    at_every_threshold([&] {
        GuardedBuffer guid(65);
        EXPECT_EQ(ask(guid), 0xc1000001u);
        EXPECT_TRUE(guid.holds_text(""));
        expect_lines({{0, std::string("GetClusterSharedDgGuidW: secure string copy failed for "
                                      "volume  - \\Device\\one two, error = ") +
                              std::strerror(ERANGE)}},
                     "0xc1000001");
    });
}

TEST_F(SharedGuid, AGroupOfAnotherType) {
    set_group(R"("type": 2)");
    at_every_threshold([&] {
        GuardedBuffer guid(65);
        EXPECT_EQ(ask(guid), 0x80070057u);
        EXPECT_TRUE(guid.untouched());
        expect_lines({{0, "GetClusterSharedDgGuidW: DgType is not Cluster Shared for volume - "
                          "\\Device\\one two"}},
                     "0x80070057");
    });
}

TEST_F(SharedGuid, NoVolumeOrNoGroup) {
    at_every_threshold([&] {
        GuardedBuffer guid(65);
        EXPECT_EQ(ask(guid, L"none"), 0xc1000001u);
        expect_calls({query("tamo_ztvm_volume", "DEVICE NAME", "none", "0x0 []")});
        expect_lines({{0, "GetClusterSharedDgGuidW:Volume Object not found for volume  - none"}},
                     "0xc1000001");
        start_watching();
        EXPECT_EQ(ask(guid, L"lone"), 0xc1000001u);
        expect_lines({{0, "GetClusterSharedDgGuidW: Dg object not found for volume  - lone"}},
                     "0xc1000001");
        EXPECT_TRUE(guid.untouched());
    });
}

TEST_F(SharedGuid, AFailedQuery) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "DbGetObjectsByQuery", "status": "0xc1000102"}])");
        GuardedBuffer guid(65);
        EXPECT_EQ(ask(guid), 0xc1000102u);
        expect_lines({{0, "GetClusterSharedDgGuidW:DbGetObjectsByQuery failed for volume  - "
                          "\\Device\\one two, error = 0xc1000102"}},
                     "0xc1000102");
    });
}

TEST_F(SharedGuid, AStatusThatIsNoFailure) {
    at_every_threshold([&] {
        set_faults(no_failure);
        GuardedBuffer guid(65);
        EXPECT_EQ(ask(guid), 0u);
        EXPECT_TRUE(guid.holds_text("guid-1"));
        expect_lines({}, "0x0");
    });
}

TEST_F(SharedGuid, IsThatOfTheFirstVolumesFirstGroup) {
    scenario = two_groups;
    once([&] {
        const Several several(dll().module(), {"vol 2", "vol 8"}, {"eight", "two"});
        GuardedBuffer guid(65);
        EXPECT_EQ(ask(guid), 0u);
        EXPECT_TRUE(guid.holds_text("guid-8"));
        EXPECT_TRUE(several.asked_only_for("vol 2"));
        expect_calls(
            {read("eight", "LDM DG TYPE", "UINT32 8"), read("eight", "dgid", str("guid-8"))});
    });
}

TEST_F(SharedGuid, EveryAllocationThatFails) {
    const auto run = [&](auto ask_for) {
        auto answers = answers_at_every_allocation([&] {
            GuardedBuffer guid(65);
            const std::uint32_t status = ask_for(guid.as<char>());
            EXPECT_TRUE(status == 0 ? guid.holds_text("guid-1")
                                    : testing::AssertionResult(guid.untouched()));
            return status;
        });
        ASSERT_GT(answers.size(), 1u);
        EXPECT_EQ(answers.front(), 0x8007000Eu);  // the query's text comes first
        answers.erase(answers.begin());
        EXPECT_THAT(answers, testing::Each(18u));
    };
    run([&](char* guid) {
        return FARLO(GetClusterSharedDgGuidW)(handle, L"\\Device\\one two", guid);
    });
    run([&](char* guid) {
        return FARLO(GetClusterSharedDgGuidA)(handle, "\\Device\\one two", guid);
    });
}

TEST_F(SharedGuid, WhatCannotBeReadIsAnException) {
    at_every_threshold([&] {
        for (const char* fault :
             {R"({"function": "ObGetParentObjects", "status": "0xc1000104"})",
              R"({"property": "LDM DG TYPE", "status": "0xc100003a"})",
              R"({"property": "dgid", "as": "WSTR"})", R"({"property": "dgid", "lie": "null"})"}) {
            SCOPED_TRACE(fault);
            set_faults("[" + std::string(fault) + "]");
            start_watching();
            GuardedBuffer guid(65);
            EXPECT_EQ(ask(guid), 18u);
            EXPECT_TRUE(guid.untouched());
            expect_lines({exception}, "0x12");
        }
    });
}

TEST_F(SharedGuid, NullArguments) {
    at_every_threshold([&] {
        GuardedBuffer guid(65);
        EXPECT_EQ(ask(guid, nullptr), 0x80070057u);
        expect_lines({{0, "GetClusterSharedDgGuidW() failed , NULL Volume Device Name"}},
                     "0x80070057");
        start_watching();
        EXPECT_EQ(FARLO(GetClusterSharedDgGuidW)(handle, L"d", nullptr), 0x80070057u);
        expect_lines({{0, "GetClusterSharedDgGuidW() failed , NULL DG GUID"}}, "0x80070057");
        expect_calls({});
        start_watching();
        EXPECT_EQ(FARLO(GetClusterSharedDgGuidW)(nullptr, L"d", nullptr), 100u);
        expect_log({{2, "Entering GetClusterSharedDgGuidW"},
                    {0, "GetClusterSharedDgGuidW() failed , NULL opal_handle"}});
    });
}

TEST_F(SharedGuid, NotConnected) {
    at_every_threshold([&] {
        disconnect();
        GuardedBuffer guid(65);
        EXPECT_EQ(ask(guid), 20u);
        expect_calls({});
        const std::vector<Expected> lines{
            {2, "Entering GetClusterSharedDgGuidW"},
            {0, "GetClusterSharedDgGuidW() failed , opal_handle not connected"}};
        expect_log(lines);
        // Asked before the arguments are.
        start_watching();
        EXPECT_EQ(ask(guid, nullptr), 20u);
        expect_log(lines);
        EXPECT_TRUE(guid.untouched());
    });
}

TEST_F(SharedGuid, NoMemoryAndTooLong) {
    at_every_threshold([&] {
        GuardedBuffer guid(65);
        EXPECT_EQ(ask(guid, std::wstring(2000, L'd').c_str()), 0x80070057u);
        expect_log({{2, "Entering GetClusterSharedDgGuidW"},
                    {0, "GetClusterSharedDgGuidW() failed , device string of more than 1995 "
                        "characters, error=(0x80070057)"}});
        start_watching();
        set_faults(R"([{"function": "_ZtAlloc", "nothing": true}])");
        EXPECT_EQ(ask(guid), 0x8007000Eu);
        expect_lines({{0, "GetClusterSharedDgGuidW: failed to allocate memory"}}, "0x8007000e");
        expect_calls({});
    });
}

TEST_F(SharedGuid, AConnectionThatDropsMeanwhileVoidsTheResult) {
    at_every_threshold([&] {
        set_faults(R"([{"property": "dgid", "drop": true}])");
        GuardedBuffer guid(65);
        EXPECT_EQ(ask(guid), 20u);
        EXPECT_TRUE(guid.holds_text("guid-1"));
        expect_lines({}, "0x14");
    });
}

TEST_F(SharedGuid, AConnectionThatDropsMeanwhileVoidsAFailureToo) {
    set_group(R"("type": 2)");
    at_every_threshold([&] {
        set_faults(R"([{"property": "LDM DG TYPE", "drop": true}])");
        GuardedBuffer guid(65);
        EXPECT_EQ(ask(guid), 20u);
        EXPECT_TRUE(guid.untouched());
        expect_lines({{0, "GetClusterSharedDgGuidW: DgType is not Cluster Shared for volume - "
                          "\\Device\\one two"}},
                     "0x14");
    });
}

TEST_F(SharedGuid, ADroppedConnectionVoidsAnExceptionToo) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "ObGetParentObjects", "drop": true}])");
        GuardedBuffer guid(65);
        EXPECT_EQ(ask(guid), 20u);
        EXPECT_TRUE(guid.untouched());
        expect_lines({exception}, "0x14");
    });
}

TEST_F(SharedGuid, TheLongestDeviceNameOfTheNarrowForm) {
    scenario = R"({"disk_groups": [{"name": "dg1", "type": 8, "dgid": "guid-1", "volumes": [
        {"name": "vol1", "device": ")" +
               std::string(259, 'd') + R"("}]}]})";
    at_every_threshold([&] {
        GuardedBuffer guid(65);
        EXPECT_EQ(
            FARLO(GetClusterSharedDgGuidA)(handle, std::string(259, 'd').c_str(), guid.as<char>()),
            0u);
        EXPECT_TRUE(guid.holds_text("guid-1"));
        expect_lines({}, "0x0");
    });
}

TEST_F(SharedGuid, TheNarrowForm) {
    at_every_threshold([&] {
        GuardedBuffer guid(65);
        EXPECT_EQ(FARLO(GetClusterSharedDgGuidA)(handle, "\\Device\\one two", guid.as<char>()), 0u);
        EXPECT_EQ(std::string(guid.as<char>()), "guid-1");
        expect_lines({}, "0x0");
        start_watching();
        EXPECT_EQ(FARLO(GetClusterSharedDgGuidA)(handle, nullptr, guid.as<char>()), 0x80070057u);
        expect_lines({{0, "GetClusterSharedDgGuidW() failed , NULL Volume Device Name"}},
                     "0x80070057");
        start_watching();
        EXPECT_EQ(
            FARLO(GetClusterSharedDgGuidA)(handle, std::string(260, 'd').c_str(), guid.as<char>()),
            0x80070057u);
        expect_log(
            {{0, "GetClusterSharedDgGuidA() failed , device string of more than 259 characters or "
                 "invalid, error=(0x80070057)"}});
    });
}

}  // namespace
