// Disks and volumes whose disk group decides what is returned.
#pragma once

#include "support/bus_lines.h"
#include "support/farlo_test.h"

namespace support {

inline const Expected exception{6, "API_TRY_CATCH_FAILED "};

inline std::string query(const std::string& type, const std::string& property,
                         const std::string& value, const std::string& result) {
    return "DbGetObjectsByQuery \"SELECT FROM " + type + R"( where \")" + property + R"(\" EQ )" +
           value + "\" -> " + result;
}

inline std::string groups_of(const std::string& object, const std::string& names) {
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
inline void hand_out(const std::vector<const char*>& names, opal_objid** ids,
                     std::uint32_t* count) {
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
inline constexpr char two_groups[] = R"({"disk_groups": [
    {"name": "two", "dgid": "guid-2", "type": 2, "cluster_resource": true, "cluster_shared": false,
     "disks": [{"name": "disk 2"}], "volumes": [{"name": "vol 2", "device": "d2"}]},
    {"name": "eight", "dgid": "guid-8", "type": 8, "cluster_resource": false,
     "cluster_shared": true,
     "disks": [{"name": "disk 8"}], "volumes": [{"name": "vol 8", "device": "d8"}]}]})";

// A status of the bus that is not 0 and no failure.
inline constexpr char no_failure[] =
    R"([{"function": "DbGetObjectsByQuery", "after": "0x41000001"}])";

inline const std::string find_volume =
    query("tamo_ztvm_volume", "volumename", "Volume {1}", "0x0 [@vol1]");
inline const Expected entering_type{2, "Entering IsVolumeOfSpecifiedDgType"};
inline const Expected exiting_type{0, "Exiting IsVolumeOfSpecifiedDgType"};

inline Expected types(std::uint32_t input, std::uint32_t actual) {
    return {6, "IsVolumeOfSpecifiedDgType: input type = " + std::to_string(input) +
                   ", actual type = " + std::to_string(actual)};
}

inline Lines type_read(std::uint32_t type) {
    return {find_volume, groups_of("vol1", "@dg1"), read("dg1", "LDM DG TYPE", uint32(type))};
}

}  // namespace support
