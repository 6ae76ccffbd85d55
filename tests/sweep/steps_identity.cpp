// Connections, alerts, identities of groups and volumes, lists of names.
#include "shared_steps.h"
#include "steps.h"

#include <string>

using namespace support;

namespace sweep {
namespace {

// No callback is stored: a connection that is made ends with this.
const Lines nothing_to_register = {"RegisterForAlerts() Failed"};

// A form with a status of its own, whatever the W form answers.
Steps answering(std::uint32_t status, Steps steps) {
    for (Step& step : steps) {
        Outcome& outcome = step.outcome;
        if (outcome.kind != Outcome::Kind::status) {
            continue;
        }
        const std::string answered = hex(outcome.status);
        for (std::string& error : outcome.errors) {
            if (const std::size_t at = error.find("{}"); at != std::string::npos) {
                error.replace(at, 2, answered);
            }
        }
        outcome.status = status;
    }
    return steps;
}

// A success without a handle is none.
Steps connects() {
    return {{call_of("InitializeZtVmW").without_output(),
             returns(FARLO_NOT_CONNECTED, {"ValidateClusterW() failed, error=(0xc1000001)"})},
            {"InitializeZtVmW",
             returns(FARLO_NOT_CONNECTED, {"ValidateClusterW() failed, error=({call})"})}};
}

// The second try connects. What comes of the old handle is not looked at.
Steps reconnects() {
    return {{"UnInitializeZtVmW", continues(nothing_to_register)},
            {"InitializeZtVmW", continues(nothing_to_register)}};
}

Steps disconnects() {
    return {{call_of("UnInitializeZtVmW").succeeding(), returns(FARLO_UNINITIALIZE_FAILED)},
            {"UnInitializeZtVmW", returns(FARLO_UNINITIALIZE_FAILED)}};
}

Steps registers() {
    return {{call_of("RegisterAlertCallback").succeeding(), passes_status_on()},
            {call_of("RegisterAlertCallback").returning(bus_provider_failed),
             passes_status_on({"RegisterForAlerts() Failed hr=C1000001"})},
            {call_of("RegisterAlertCallback").returning(ERROR_ACCESS_DENIED),
             passes_status_on({"RegisterForAlerts() Failed hr=5"})},
            {call_of("RegisterAlertCallback").returning(system_access_denied),
             passes_status_on({"RegisterForAlerts() Failed hr=80070005"})}};
}

// A group that is there only behind a rescan: the first walk does not find it. What fails
// behind that is made up for by the cluster service, which does not know the group before.
Steps rescans() {
    const Outcome asks_service = continues({not_found_by_name});
    const Outcome is_unknown = returns(service_no_such_group, {not_found_by_name});
    const Outcome has_no_service = returns(
        service_no_such_group,
        {"PerformPnpDiskRescan: GetClusSvcId failed with error = 0x29.", not_found_by_name});
    const Outcome has_no_mutex =
        returns(service_no_such_group, {"GetDgGuidCommon(): CreateMutexA failed, error=(0x5) "});
    const Outcome looks_again = continues({not_found_by_name});
    return framed({not_found_by_name}, {}, {"GetDgGuidCommon() failed, error=({})"},
                  {{get_objects(object_type::disk_group), continues()},
                   {get_property("@late", "LDM DG TYPE"), asks_service},
                   {get_property("@late", "Name"), asks_service},
                   {get_property("@late", "dgid"), continues()},
                   {get_property_of_any("LDM DG TYPE"), continues()},
                   {get_property_of_any("Name"), continues()},
                   {"CreateMutexA", has_no_mutex},
                   {"WaitForSingleObject", looks_again},
                   {get_objects(object_type::cluster_service).without_output(), continues()},
                   {get_objects(object_type::cluster_service), has_no_service},
                   {create_set(), continues()},
                   {add_any_property(), continues()},
                   {call_method(method::rescan_disks), is_unknown}});
}

// A group without a type is passed over, by each of the two passes.
Steps name_list(const Steps& types) {
    return each_failure_logs({"GetDgNameListCommon() failed, error=({}) "},
                             types +
                                 Steps{{get_objects(object_type::disk_group), continues()},
                                       {get_property_of_any("LDM DG TYPE"), continues()},
                                       {get_property_of_any("imported"), returns(FARLO_EXCEPTION)},
                                       {get_property_of_any("Name"), returns(FARLO_EXCEPTION)}});
}

// Without its only name the list is empty and fits.
Steps asks_size() {
    return Steps{{get_property("@dgc", "LDM DG TYPE"), returns(FARLO_SUCCESS)}} + name_list({});
}

// Room was counted for one name, and there are two.
Steps lists_two() {
    return name_list({{get_property("@dgl", "LDM DG TYPE"), returns(FARLO_EXCEPTION), 1},
                      {get_property("@dgs", "LDM DG TYPE"), returns(FARLO_EXCEPTION), 1}});
}

Steps group_name() {
    return find_group_by_guid("@dgc", {"GetDgNameW():GetDgObjIdByGuid()  failed, error=({}) "}) +
           Steps{{get_property("@dgc", "Name"),
                  returns(FARLO_EXCEPTION, {"GetDgNameW() failed, error=({}) "})}};
}

Steps volume_guid() {
    return guid_string({}) +
           each_failure_logs(
               {"GetDgVolumeGuidW() failed, error=({})"},
               find_cluster_service({"GetDgVolumeGuidW():GetClusSvcId() failed, error=({})"}) +
                   Steps{{call_method(method::get_volume_guid).without_output(),
                          returns(FARLO_EXCEPTION)},
                         {find_property("Volguid"), returns(FARLO_EXCEPTION)}} +
                   invoke_method(method::get_volume_guid, returns(FARLO_VOLUME_NOT_FOUND)));
}

// What cannot be read of the group ends the call by its status alone.
Steps volume_guid_by_name() {
    return find_group_by_name("@dgc",
                              {"GetDgGuidfromOpal(): GetDgObjIdByName() failed, error=({})"}) +
           Steps{{get_property("@dgc", "imported"), returns(FARLO_EXCEPTION)},
                 {get_property("@dgc", "dgid"), returns(FARLO_EXCEPTION)}} +
           volume_guid();
}

}  // namespace

std::vector<ExportSteps> identity_steps() {
    return {{{"InitializeClusterA", "InitializeClusterW", "ValidateClusterA", "ValidateClusterW"},
             "connects",
             connects()},
            {{"ValidateClusterW"}, "reconnects", reconnects()},
            {{"UnInitializeClusterA", "UnInitializeClusterW"}, "disconnects", disconnects()},
            {{"RegisterForAlerts"}, "registers", registers()},
            {{"GetDgGuidA", "GetDgGuidW"}, "finds", find_group_guid("@dgc")},
            {{"GetDgGuidW"}, "rescans", rescans()},
            {{"GetNonClusterDgGuidA", "GetNonClusterDgGuidW"},
             "finds",
             find_group_guid("@dgl") + other_groups("Name")},
            {{"GetDgNameListA", "GetDgNameListW"}, "lists", name_list({})},
            {{"GetNonClusterDgNameListA", "GetNonClusterDgNameListW"}, "lists", lists_two()},
            {{"GetDgNameListW"}, "asks the size", asks_size()},
            {{"GetDgNameW"}, "finds", group_name()},
            {{"GetDgVolumeGuidA"}, "by GUID", answering(FARLO_NO_VOLUME_GUID, volume_guid())},
            {{"GetDgVolumeGuidW"}, "by GUID", volume_guid()},
            {{"GetDgVolumeGuidW"}, "by name", volume_guid_by_name()}};
}

}  // namespace sweep
