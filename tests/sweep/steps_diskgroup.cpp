// Online and import, offline and deport of disk groups.
#include "sweep/shared_steps.h"
#include "sweep/steps.h"

using namespace support;

namespace sweep {
namespace {

// `find` finds the group's GUID, and the group if the import is sent to it.
Steps online_group(const std::string& options, const Steps& find) {
    const std::string called = "OnlineDg dgo is called with flag " + options;
    // A group whose name cannot be read is not compared.
    const Steps check_name = {{get_objects(object_type::disk_group), continues()},
                              {get_property_of_any("Name"), continues()},
                              {get_property_of_any("imported"), returns(FARLO_EXCEPTION)}};
    // Without memory for the list of groups the call succeeds and does nothing.
    const Steps no_group_list = {{allocation, returns(FARLO_SUCCESS, {called})}};
    return with_lines(
               {.before = {called},
                .after_success = {"OnlineDg dgo succeeded with res  {}"},
                .after_failure = {"OnlineDg dgo failed with res  {}"}},
               allocate_guid({"OnlineDgExW():SetDgGuidParam() failed, error=({}) "}) + find +
                   find_cluster_service({"OnlineDgExW():GetClusSvcId() failed, error=({}) "}) +
                   check_name + invoke_method(method::import_group)) +
           no_group_list;
}

Steps import_group(const Steps& find_guid) {
    return each_failure_logs(
        {"ImportDgW() failed, error=({}) "},
        allocate_guid({"ImportDgW():SetDgGuidParam failed, error=({}) "}) + find_guid +
            find_cluster_service({"ImportDgW():GetClusSvcId() failed, error=({}) "}) +
            invoke_method(method::import_group));
}

// A group that is not found in the n-th walk is deported anyway, under the null id: the
// service refuses that.
Steps offline_group(const Steps& find_guid, unsigned walk) {
    const Outcome null_id_refused =
        returns(bus_null_object,
                {not_found_by_guid, "OfflineDgW():GetDgObjIdByGuid() failed, error=(0x1) "});
    const Steps find_group = {{get_objects(object_type::disk_group), continues()},
                              {get_property("@dgc", "LDM DG TYPE").nth(walk), null_id_refused},
                              {get_property("@dgc", "dgid").nth(walk), null_id_refused}};
    return each_failure_logs(
        {"OfflineDgW() failed, error=({}) "},
        allocate_guid({"OfflineDgW():SetDgGuidParam() failed, error=({}) "}) + find_guid +
            find_cluster_service({"OfflineDgW():GetClusSvcId() failed, error=({}) "}) + find_group +
            invoke_method(method::deport_group));
}

Steps deport_group(const Steps& find_guid, unsigned walk) {
    return each_failure_logs(
        {"DeportDgW() failed, error=({})"},
        allocate_guid({"DeportDgW():SetDgGuidParam() failed, error=({})"}) + find_guid +
            find_cluster_service({"DeportDgW():GetClusSvcId() failed, error=({})"}) +
            find_group_by_guid("@dgc", {"DeportDgW():GetDgObjIdByGuid() failed, error=({})"},
                               walk) +
            invoke_method(method::deport_group));
}

}  // namespace

std::vector<ExportSteps> diskgroup_steps() {
    const Steps by_name = find_group_guid("@dgo");
    const Steps shared =
        find_group_guid("@dgo") +
        find_group_by_guid("@dgo", {"OnlineDgExW():GetDgObjIdByGuid() failed, error=({}) "}, 2);
    return {{{"OnlineDgExA", "OnlineDgExW"}, "by GUID", online_group("0x0", {})},
            {{"OnlineDgExW", "OnlineDgA", "OnlineDgW"}, "by name", online_group("0x0", by_name)},
            {{"OnlineDgExW"}, "shared", online_group("0x800", shared)},
            {{"ImportDgA", "ImportDgW"}, "by GUID", import_group({})},
            {{"ImportDgW"}, "by name", import_group(by_name)},
            {{"OfflineDgW"}, "by GUID", offline_group({}, 1)},
            {{"OfflineDgA", "OfflineDgW"}, "by name", offline_group(find_group_guid("@dgc"), 2)},
            {{"DeportDgW"}, "by GUID", deport_group({}, 1)},
            {{"DeportDgA", "DeportDgW"}, "by name", deport_group(find_group_guid("@dgc"), 2)}};
}

}  // namespace sweep
