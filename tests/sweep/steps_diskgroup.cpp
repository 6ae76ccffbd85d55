// Online and import, offline and deport of disk groups.
#include "shared_steps.h"
#include "steps.h"

#include "ztbus3.h"

namespace sweep {
namespace {

// Behind the searches for the group. A group whose name cannot be read is not compared.
Steps online(const std::string& flag, const Steps& searches) {
    const std::string called = "OnlineDg dgo is called with flag " + flag;
    // Without memory for the groups it is a success, and nothing was done.
    return Steps{{"memory", answers(FARLO_SUCCESS, {called})}} +
           framed({called}, {"OnlineDg dgo succeeded with res  {}"},
                  {"OnlineDg dgo failed with res  {}"},
                  guid_text({"OnlineDgExW():SetDgGuidParam() failed, error=({}) "}) + searches +
                      cluster_service({"OnlineDgExW():GetClusSvcId() failed, error=({}) "}) +
                      Steps{{"DbGetObjects tamo_ztvm_diskgroup", goes_on()},
                            {"ObGetProperty \"Name\"", goes_on()},
                            {"ObGetProperty \"imported\"", answers(FARLO_EXCEPTION)}} +
                      method("0.2003"));
}

Steps import(const Steps& searches) {
    return ended_by({"ImportDgW() failed, error=({}) "},
                    guid_text({"ImportDgW():SetDgGuidParam failed, error=({}) "}) + searches +
                        cluster_service({"ImportDgW():GetClusSvcId() failed, error=({}) "}) +
                        method("0.2003"));
}

// A group that is not found in the n-th walk is taken offline all the same: the service
// knows no null object.
Steps offline(const Steps& searches, unsigned walk) {
    const Outcome of_null_object =
        answers(ZTERROR_NULL_OBJECT,
                {by_guid_fails, "OfflineDgW():GetDgObjIdByGuid() failed, error=(0x1) "});
    return ended_by({"OfflineDgW() failed, error=({}) "},
                    guid_text({"OfflineDgW():SetDgGuidParam() failed, error=({}) "}) + searches +
                        cluster_service({"OfflineDgW():GetClusSvcId() failed, error=({}) "}) +
                        Steps{{"DbGetObjects tamo_ztvm_diskgroup", goes_on()},
                              {"ObGetProperty @dgc \"LDM DG TYPE\"", of_null_object, walk},
                              {"ObGetProperty @dgc \"dgid\"", of_null_object, walk}} +
                        method("0.2001"));
}

Steps deport(const Steps& searches, unsigned walk) {
    return ended_by(
        {"DeportDgW() failed, error=({})"},
        guid_text({"DeportDgW():SetDgGuidParam() failed, error=({})"}) + searches +
            cluster_service({"DeportDgW():GetClusSvcId() failed, error=({})"}) +
            group_by_guid("@dgc", {"DeportDgW():GetDgObjIdByGuid() failed, error=({})"}, walk) +
            method("0.2001"));
}

}  // namespace

std::vector<StepsOf> diskgroup_steps() {
    const Steps by_name = guid_search("@dgo") + other_groups("Name");
    const Steps shared =
        guid_search("@dgo") +
        group_by_guid("@dgo", {"OnlineDgExW():GetDgObjIdByGuid() failed, error=({}) "}, 2) +
        other_groups("dgid");
    return {{{"OnlineDgExA", "OnlineDgExW"}, "by GUID", online("0x0", {})},
            {{"OnlineDgExW", "OnlineDgA", "OnlineDgW"}, "by name", online("0x0", by_name)},
            {{"OnlineDgExW"}, "shared", online("0x800", shared)},
            {{"ImportDgA", "ImportDgW"}, "by GUID", import({})},
            {{"ImportDgW"}, "by name", import(by_name)},
            {{"OfflineDgW"}, "by GUID", offline({}, 1)},
            {{"OfflineDgA", "OfflineDgW"}, "by name", offline(guid_search("@dgc"), 2)},
            {{"DeportDgW"}, "by GUID", deport({}, 0)},
            {{"DeportDgA", "DeportDgW"}, "by name", deport(guid_search("@dgc"), 2)}};
}

}  // namespace sweep
