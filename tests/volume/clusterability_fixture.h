// Disks and volumes of disk groups of every type, and of no group.
#pragma once

#include "support/bus_lines.h"
#include "support/farlo_test.h"
#include "support/fault_rules.h"

namespace support {

class ClusterabilityTest : public FarloTest {
  protected:
    ClusterabilityTest() { set_group(R"("type": 2)"); }

    // `members` are further members of the disk group "dg1".
    void set_group(const std::string& members) {
        scenario = R"({"disk_groups": [{"name": "dg1", "dgid": "guid-1", )" + members +
                   R"(, "disks": [
                       {"name": "mbr", "signature": 4294967295},
                       {"name": "gpt", "disk_guid": "{01234567-89ab-cdef-fedc-ba9876543210}"}],
                     "volumes": [{"name": "vol1", "device": "\\Device\\one two",
                                  "volume_name": "Volume {1}"}]}],
                   "objects": [{"name": "lone disk", "type": ")" +
                   object_type::disk + R"(", "properties": {
                       "SIGNATURE": {"type": "UINT32", "value": 77}}},
                     {"name": "lone volume", "type": ")" +
                   object_type::volume + R"(", "properties": {
                       "volumename": {"type": "WSTR", "value": "lone"},
                       "DEVICE NAME": {"type": "WSTR", "value": "lone"}}}]})";
    }

    // Expects 1 from the first and the last run of at_every_allocation, in which no allocation
    // failed, and 0 from all others.
    static void expect_zero_at_every_failed_allocation(const std::vector<unsigned>& results) {
        std::vector<unsigned> expected(results.size(), 0);
        ASSERT_GT(expected.size(), 2u);
        expected.front() = expected.back() = 1;
        EXPECT_EQ(results, expected);
    }
};

// Two groups that differ in every property that is read: "two" is a cluster group, a cluster
// resource and not shared; "eight" is a cluster-shared group, not a cluster resource and shared.
inline constexpr char two_groups[] = R"({"disk_groups": [
    {"name": "two", "dgid": "guid-2", "type": 2, "cluster_resource": true, "cluster_shared": false,
     "disks": [{"name": "disk 2"}], "volumes": [{"name": "vol 2", "device": "d2"}]},
    {"name": "eight", "dgid": "guid-8", "type": 8, "cluster_resource": false,
     "cluster_shared": true,
     "disks": [{"name": "disk 8"}], "volumes": [{"name": "vol 8", "device": "d8"}]}]})";

// ------------------------------------------------------------ faults and calls

// Replaces two calls of the bus: every query finds the objects named `found`, and every object
// has the parents named `parents`, in this order.
class SeveralObjects {
  public:
    SeveralObjects(HMODULE module, std::vector<const char*> found, std::vector<const char*> parents)
        : m_query(module, "DbGetObjectsByQuery",
                  [=](opal_connection, opal_context, const wchar_t*, opal_objid** ids,
                      std::uint32_t* count) -> opal_status {
                      provide_objects(found, ids, count);
                      return bus_success;
                  }),
          m_parents(module, "ObGetParentObjects",
                    [this, parents](opal_connection, opal_context, const opal_objid* child,
                                    const char*, opal_objid** ids,
                                    std::uint32_t* count) -> opal_status {
                        m_children.push_back(*child);
                        provide_objects(parents, ids, count);
                        return bus_success;
                    }) {}

    // Whether the parents of this object were queried, and of no other one.
    bool queried_only_parents_of(const char* name) const {
        opal_objid id;
        return LabFindObject(name, &id) == 0 && m_children.size() == 1 &&
               ObCompareId(&m_children.front(), &id) == 0;
    }

  private:
    static void provide_objects(const std::vector<const char*>& names, opal_objid** ids,
                                std::uint32_t* count) {
        *ids = static_cast<opal_objid*>(_ZtAlloc(names.size() * sizeof **ids));
        *count = static_cast<std::uint32_t>(names.size());
        for (std::size_t i = 0; i < names.size(); ++i) {
            EXPECT_EQ(LabFindObject(names[i], *ids + i), 0);
        }
    }

    std::vector<opal_objid> m_children;
    StandIn<decltype(DbGetObjectsByQuery)> m_query;
    StandIn<decltype(ObGetParentObjects)> m_parents;
};

inline const FaultRule running_query{.function = "DbGetObjectsByQuery"};
inline const FaultRule reading_parents{.function = "ObGetParentObjects"};
// The query succeeds, but not with status 0.
inline const FaultRule informational_query{.function = "DbGetObjectsByQuery",
                                           .returns_after_work = bus_same_value};

inline const std::string query_volume_1 =
    query(object_type::volume, "volumename", "Volume {1}", "@vol1");

inline std::string parent_groups(const std::string& object, const std::string& found) {
    return parents(object, object_type::disk_group, found);
}

// ------------------------------------------------------------------ log lines

inline const Expected exception_caught{6, "API_TRY_CATCH_FAILED "};
inline const Expected entering_type_check{2, "Entering IsVolumeOfSpecifiedDgType"};
inline const Expected exiting_type_check{0, "Exiting IsVolumeOfSpecifiedDgType"};

inline Expected types_compared(std::uint32_t input, std::uint32_t actual) {
    return {6, "IsVolumeOfSpecifiedDgType: input type = " + std::to_string(input) +
                   ", actual type = " + std::to_string(actual)};
}

}  // namespace support
