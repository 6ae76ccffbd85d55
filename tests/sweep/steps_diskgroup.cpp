// Online and import, offline and deport of disk groups.
#include "shared_steps.h"
#include "steps.h"

#include "ztbus3.h"

using namespace support;

namespace sweep {
namespace {

// Behind the searches for the group. A group whose name cannot be read is not compared.
Steps online(const std::string& flag, const Steps& searches) {
    const std::string called = "OnlineDg dgo is called with flag " + flag;
    // Without memory for the groups it is a success, and nothing was done.
    return Steps{{allocation, returns(FARLO_SUCCESS, {called})}} +
           framed({called}, {"OnlineDg dgo succeeded with res  {}"},
                  {"OnlineDg dgo failed with res  {}"},
                  guid_string({"OnlineDgExW():SetDgGuidParam() failed, error=({}) "}) + searches +
                      find_cluster_service({"OnlineDgExW():GetClusSvcId() failed, error=({}) "}) +
                      Steps{{get_objects(object_type::disk_group), continues()},
                            {get_property_of_any("Name"), continues()},
                            {get_property_of_any("imported"), returns(FARLO_EXCEPTION)}} +
                      invoke_method(method::import_group));
}

Steps import(const Steps& searches) {
    return each_failure_logs(
        {"ImportDgW() failed, error=({}) "},
        guid_string({"ImportDgW():SetDgGuidParam failed, error=({}) "}) + searches +
            find_cluster_service({"ImportDgW():GetClusSvcId() failed, error=({}) "}) +
            invoke_method(method::import_group));
}

// A group that is not found in the n-th walk is taken offline all the same: the service
// knows no null object.
Steps offline(const Steps& searches, unsigned walk) {
    const Outcome of_null_object =
        returns(bus_null_object,
                {not_found_by_guid, "OfflineDgW():GetDgObjIdByGuid() failed, error=(0x1) "});
    return each_failure_logs(
        {"OfflineDgW() failed, error=({}) "},
        guid_string({"OfflineDgW():SetDgGuidParam() failed, error=({}) "}) + searches +
            find_cluster_service({"OfflineDgW():GetClusSvcId() failed, error=({}) "}) +
            Steps{{get_objects(object_type::disk_group), continues()},
                  {get_property("@dgc", "LDM DG TYPE"), of_null_object, walk},
                  {get_property("@dgc", "dgid"), of_null_object, walk}} +
            invoke_method(method::deport_group));
}

Steps deport(const Steps& searches, unsigned walk) {
    return each_failure_logs(
        {"DeportDgW() failed, error=({})"},
        guid_string({"DeportDgW():SetDgGuidParam() failed, error=({})"}) + searches +
            find_cluster_service({"DeportDgW():GetClusSvcId() failed, error=({})"}) +
            find_group_by_guid("@dgc", {"DeportDgW():GetDgObjIdByGuid() failed, error=({})"},
                               walk) +
            invoke_method(method::deport_group));
}

}  // namespace

std::vector<ExportSteps> diskgroup_steps() {
    const Steps by_name = find_group_guid("@dgo") + other_groups("Name");
    const Steps shared =
        find_group_guid("@dgo") +
        find_group_by_guid("@dgo", {"OnlineDgExW():GetDgObjIdByGuid() failed, error=({}) "}, 2) +
        other_groups("dgid");
    return {{{"OnlineDgExA", "OnlineDgExW"}, "by GUID", online("0x0", {})},
            {{"OnlineDgExW", "OnlineDgA", "OnlineDgW"}, "by name", online("0x0", by_name)},
            {{"OnlineDgExW"}, "shared", online("0x800", shared)},
            {{"ImportDgA", "ImportDgW"}, "by GUID", import({})},
            {{"ImportDgW"}, "by name", import(by_name)},
            {{"OfflineDgW"}, "by GUID", offline({}, 1)},
            {{"OfflineDgA", "OfflineDgW"}, "by name", offline(find_group_guid("@dgc"), 2)},
            {{"DeportDgW"}, "by GUID", deport({}, 0)},
            {{"DeportDgA", "DeportDgW"}, "by name", deport(find_group_guid("@dgc"), 2)}};
}

}  // namespace sweep
