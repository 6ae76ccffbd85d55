// Connections, alerts, identities of groups and volumes, lists of names.
#include "sweep/shared_steps.h"
#include "sweep/steps.h"

#include <string>

using namespace support;

namespace sweep {
namespace {

// The line of a new connection when the agent has stored no callback.
const Lines no_callback = {"RegisterForAlerts() Failed"};

// The steps of an A form that returns one status for every failure of the W form. The log has
// the W form's status.
Steps with_status(std::uint32_t status, Steps steps) {
    for (Step& step : steps) {
        Outcome& outcome = step.outcome;
        if (outcome.kind != Outcome::Kind::status) {
            continue;
        }
        const std::string logged = hex(outcome.status);
        for (std::string& line : outcome.lines) {
            if (const std::size_t at = line.find("{}"); at != std::string::npos) {
                line.replace(at, 2, logged);
            }
        }
        outcome.status = status;
    }
    return steps;
}

// A success without a handle is a failure.
Steps connect() {
    const CallPattern initialize = call_of("InitializeZtVmW");
    return {
        {initialize.without_output(),
         returns(FARLO_NOT_CONNECTED, {"ValidateClusterW() failed, error=(0xc1000001)"})},
        {initialize, returns(FARLO_NOT_CONNECTED, {"ValidateClusterW() failed, error=({call})"})}};
}

// The status of releasing the old handle is ignored. The second attempt connects.
Steps reconnect() {
    return {{call_of("UnInitializeZtVmW"), continues(no_callback)},
            {call_of("InitializeZtVmW"), continues(no_callback)}};
}

Steps disconnect() {
    const CallPattern uninitialize = call_of("UnInitializeZtVmW");
    return {{uninitialize.succeeding(), returns(FARLO_UNINITIALIZE_FAILED)},
            {uninitialize, returns(FARLO_UNINITIALIZE_FAILED)}};
}

Steps register_for_alerts() {
    const CallPattern register_callback = call_of("RegisterAlertCallback");
    return {{register_callback.succeeding(), passes_status_on()},
            {register_callback.returning(bus_provider_failed),
             passes_status_on({"RegisterForAlerts() Failed hr=C1000001"})},
            {register_callback.returning(std::uint32_t{ERROR_ACCESS_DENIED}),
             passes_status_on({"RegisterForAlerts() Failed hr=5"})},
            {register_callback.returning(system_access_denied),
             passes_status_on({"RegisterForAlerts() Failed hr=80070005"})}};
}

// The group appears only after a rescan: the first walk does not find it. Where the rescan or
// the second walk fails, the cluster service is asked. It knows the group only after a rescan.
Steps rescan() {
    const Outcome not_rescanned = returns(service_no_such_group, {not_found_by_name});
    const Outcome no_service = returns(
        service_no_such_group,
        {"PerformPnpDiskRescan: GetClusSvcId failed with error = 0x29.", not_found_by_name});
    const Outcome no_mutex =
        returns(service_no_such_group, {"GetDgGuidCommon(): CreateMutexA failed, error=(0x5) "});
    const Outcome asks_service = continues({not_found_by_name});
    return with_lines(
        {.before = {not_found_by_name}, .after_failure = {"GetDgGuidCommon() failed, error=({})"}},
        Steps{{get_objects(object_type::disk_group), continues()}} +
            pass_over_groups("@late", "Name") +
            Steps{{call_of("CreateMutexA"), no_mutex},
                  // After a failed wait another walk comes first.
                  {call_of("WaitForSingleObject"), continues({not_found_by_name})},
                  {get_objects(object_type::cluster_service).without_output(), continues()},
                  {get_objects(object_type::cluster_service), no_service},
                  {create_set(), continues()},
                  {add_any_property(), continues()},
                  {call_method(method::rescan_disks), not_rescanned},
                  {get_property("@late", "LDM DG TYPE"), asks_service},
                  {get_property("@late", "Name"), asks_service},
                  {get_property("@late", "dgid"), continues()}});
}

Steps name_list(const Steps& steps) {
    return each_failure_logs({"GetDgNameListCommon() failed, error=({}) "}, steps);
}

// Two passes over the groups: one counts the names, one stores them. Each passes over a group
// whose type cannot be read.
const Step query_groups = {get_objects(object_type::disk_group), continues()};
const Step skip_type = {get_property_of_any("LDM DG TYPE"), continues()};
const Step read_imported = {get_property_of_any("imported"), returns(FARLO_EXCEPTION)};
const Step read_name = {get_property_of_any("Name"), returns(FARLO_EXCEPTION)};

Steps list_one_name() {
    return name_list({query_groups, skip_type, read_imported, read_name});
}

// Without the only name, the empty list fits any size.
Steps ask_for_size() {
    const Step skip_only_name = {get_property("@dgc", "LDM DG TYPE"), returns(FARLO_SUCCESS)};
    return Steps{query_groups, skip_only_name} + name_list({read_imported, read_name, skip_type});
}

// A name that the first pass missed does not fit in the second pass.
Steps list_two_names() {
    const auto miss_name = [](const std::string& group) {
        return Step{get_property(group, "LDM DG TYPE").nth(1), returns(FARLO_EXCEPTION)};
    };
    return name_list(
        {query_groups, skip_type, miss_name("@dgl"), read_imported, read_name, miss_name("@dgs")});
}

Steps group_name() {
    return find_group_by_guid("@dgc", {"GetDgNameW():GetDgObjIdByGuid()  failed, error=({}) "}) +
           Steps{{get_property("@dgc", "Name"),
                  returns(FARLO_EXCEPTION, {"GetDgNameW() failed, error=({}) "})}};
}

Steps volume_guid(const Steps& find_guid) {
    return allocate_guid({}) + find_guid +
           each_failure_logs(
               {"GetDgVolumeGuidW() failed, error=({})"},
               find_cluster_service({"GetDgVolumeGuidW():GetClusSvcId() failed, error=({})"}) +
                   make_method_sets() +
                   Steps{{call_method(method::get_volume_guid).without_output(),
                          returns(FARLO_EXCEPTION)}} +
                   call_refused_method(method::get_volume_guid, returns(FARLO_VOLUME_NOT_FOUND)) +
                   Steps{{find_property("Volguid"), returns(FARLO_EXCEPTION)}});
}

// A group that cannot be read ends the call without a closing line.
Steps imported_group_guid() {
    return find_group_by_name("@dgc",
                              {"GetDgGuidfromOpal(): GetDgObjIdByName() failed, error=({})"}) +
           Steps{{get_property("@dgc", "imported"), returns(FARLO_EXCEPTION)},
                 {get_property("@dgc", "dgid"), returns(FARLO_EXCEPTION)}};
}

}  // namespace

std::vector<ExportSteps> identity_steps() {
    return {{{"InitializeClusterA", "InitializeClusterW", "ValidateClusterA", "ValidateClusterW"},
             "connects",
             connect()},
            {{"ValidateClusterW"}, "reconnects", reconnect()},
            {{"UnInitializeClusterA", "UnInitializeClusterW"}, "disconnects", disconnect()},
            {{"RegisterForAlerts"}, "registers", register_for_alerts()},
            {{"GetDgGuidA", "GetDgGuidW"}, "finds", find_group_guid("@dgc")},
            {{"GetDgGuidW"}, "rescans", rescan()},
            {{"GetNonClusterDgGuidA", "GetNonClusterDgGuidW"}, "finds", find_group_guid("@dgl")},
            {{"GetDgNameListA", "GetDgNameListW"}, "lists", list_one_name()},
            {{"GetNonClusterDgNameListA", "GetNonClusterDgNameListW"}, "lists", list_two_names()},
            {{"GetDgNameListW"}, "asks the size", ask_for_size()},
            {{"GetDgNameW"}, "finds", group_name()},
            {{"GetDgVolumeGuidA"}, "by GUID", with_status(FARLO_NO_VOLUME_GUID, volume_guid({}))},
            {{"GetDgVolumeGuidW"}, "by GUID", volume_guid({})},
            {{"GetDgVolumeGuidW"}, "by name", volume_guid(imported_group_guid())}};
}

}  // namespace sweep
