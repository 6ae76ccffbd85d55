// Connections, alerts, identities of groups and volumes, lists of names.
#include "shared_steps.h"
#include "steps.h"

#include <cstdio>

namespace sweep {
namespace {

// No callback is stored: a connection that is made ends with this.
const Lines nothing_to_register = {"RegisterForAlerts() Failed"};

// The service's, for a group that it does not know.
constexpr std::uint32_t no_such_group = 0xe5150101;

// A form with a status of its own, whatever the W form answers.
Steps answering(std::uint32_t status, Steps steps) {
    for (Step& step : steps) {
        Outcome& outcome = step.outcome;
        if (outcome.kind != Outcome::Kind::status) {
            continue;
        }
        char answered[16];
        std::snprintf(answered, sizeof answered, "0x%x", static_cast<unsigned>(outcome.status));
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
    return {{"InitializeZtVmW nothing",
             answers(FARLO_NOT_CONNECTED, {"ValidateClusterW() failed, error=(0xc1000001)"})},
            {"InitializeZtVmW",
             answers(FARLO_NOT_CONNECTED, {"ValidateClusterW() failed, error=({call})"})}};
}

// The second try connects. What comes of the old handle is not looked at.
Steps reconnects() {
    return {{"UnInitializeZtVmW", goes_on(nothing_to_register)},
            {"InitializeZtVmW", goes_on(nothing_to_register)}};
}

Steps disconnects() {
    return {{"UnInitializeZtVmW succeeds", answers(FARLO_UNINITIALIZE_FAILED)},
            {"UnInitializeZtVmW", answers(FARLO_UNINITIALIZE_FAILED)}};
}

Steps registers() {
    return {
        {"RegisterAlertCallback succeeds", passes_on()},
        {"RegisterAlertCallback 0xc1000001", passes_on({"RegisterForAlerts() Failed hr=C1000001"})},
        {"RegisterAlertCallback 0x5", passes_on({"RegisterForAlerts() Failed hr=5"})},
        {"RegisterAlertCallback 0x80070005",
         passes_on({"RegisterForAlerts() Failed hr=80070005"})}};
}

// A group that is there only behind a rescan: the first walk does not find it. What fails
// behind that is made up for by the cluster service, which does not know the group before.
Steps rescans() {
    const Outcome asks_service = goes_on({by_name_fails});
    const Outcome is_unknown = answers(no_such_group, {by_name_fails});
    const Outcome has_no_service =
        answers(no_such_group,
                {"PerformPnpDiskRescan: GetClusSvcId failed with error = 0x29.", by_name_fails});
    const Outcome has_no_mutex =
        answers(no_such_group, {"GetDgGuidCommon(): CreateMutexA failed, error=(0x5) "});
    const Outcome looks_again = goes_on({by_name_fails});
    return framed({by_name_fails}, {}, {"GetDgGuidCommon() failed, error=({})"},
                  {{"DbGetObjects tamo_ztvm_diskgroup", goes_on()},
                   {"ObGetProperty @late \"LDM DG TYPE\"", asks_service},
                   {"ObGetProperty @late \"Name\"", asks_service},
                   {"ObGetProperty @late \"dgid\"", goes_on()},
                   {"ObGetProperty \"LDM DG TYPE\"", goes_on()},
                   {"ObGetProperty \"Name\"", goes_on()},
                   {"CreateMutexA", has_no_mutex},
                   {"WaitForSingleObject", looks_again},
                   {"DbGetObjects solvane_cluster_service nothing", goes_on()},
                   {"DbGetObjects solvane_cluster_service", has_no_service},
                   {"PsCreatePropset", goes_on()},
                   {"PsAddProperty", goes_on()},
                   {"PrCallDispatch 0.6054", is_unknown}});
}

// A group without a type is passed over, by each of the two passes.
Steps name_list(const Steps& types) {
    return ended_by({"GetDgNameListCommon() failed, error=({}) "},
                    types + Steps{{"DbGetObjects tamo_ztvm_diskgroup", goes_on()},
                                  {"ObGetProperty \"LDM DG TYPE\"", goes_on()},
                                  {"ObGetProperty \"imported\"", answers(FARLO_EXCEPTION)},
                                  {"ObGetProperty \"Name\"", answers(FARLO_EXCEPTION)}});
}

// Without its only name the list is empty and fits.
Steps asks_size() {
    return Steps{{"ObGetProperty @dgc \"LDM DG TYPE\"", answers(FARLO_SUCCESS)}} + name_list({});
}

// Room was counted for one name, and there are two.
Steps lists_two() {
    return name_list({{"ObGetProperty @dgl \"LDM DG TYPE\"", answers(FARLO_EXCEPTION), 1},
                      {"ObGetProperty @dgs \"LDM DG TYPE\"", answers(FARLO_EXCEPTION), 1}});
}

Steps group_name() {
    return group_by_guid("@dgc", {"GetDgNameW():GetDgObjIdByGuid()  failed, error=({}) "}) +
           Steps{{"ObGetProperty @dgc \"Name\"",
                  answers(FARLO_EXCEPTION, {"GetDgNameW() failed, error=({}) "})}};
}

Steps volume_guid() {
    return guid_text({}) +
           ended_by({"GetDgVolumeGuidW() failed, error=({})"},
                    cluster_service({"GetDgVolumeGuidW():GetClusSvcId() failed, error=({})"}) +
                        Steps{{"PrCallDispatch 0.11 nothing", answers(FARLO_EXCEPTION)},
                              {"PsFindProperty \"Volguid\"", answers(FARLO_EXCEPTION)}} +
                        method("0.11", answers(FARLO_VOLUME_NOT_FOUND)));
}

// What cannot be read of the group ends the call by its status alone.
Steps volume_guid_by_name() {
    return group_by_name("@dgc", {"GetDgGuidfromOpal(): GetDgObjIdByName() failed, error=({})"}) +
           Steps{{"ObGetProperty @dgc \"imported\"", answers(FARLO_EXCEPTION)},
                 {"ObGetProperty @dgc \"dgid\"", answers(FARLO_EXCEPTION)}} +
           volume_guid();
}

}  // namespace

std::vector<StepsOf> identity_steps() {
    return {{{"InitializeClusterA", "InitializeClusterW", "ValidateClusterA", "ValidateClusterW"},
             "connects",
             connects()},
            {{"ValidateClusterW"}, "reconnects", reconnects()},
            {{"UnInitializeClusterA", "UnInitializeClusterW"}, "disconnects", disconnects()},
            {{"RegisterForAlerts"}, "registers", registers()},
            {{"GetDgGuidA", "GetDgGuidW"}, "finds", guid_search("@dgc")},
            {{"GetDgGuidW"}, "rescans", rescans()},
            {{"GetNonClusterDgGuidA", "GetNonClusterDgGuidW"},
             "finds",
             guid_search("@dgl") + other_groups("Name")},
            {{"GetDgNameListA", "GetDgNameListW"}, "lists", name_list({})},
            {{"GetNonClusterDgNameListA", "GetNonClusterDgNameListW"}, "lists", lists_two()},
            {{"GetDgNameListW"}, "asks the size", asks_size()},
            {{"GetDgNameW"}, "finds", group_name()},
            {{"GetDgVolumeGuidA"}, "by GUID", answering(FARLO_NO_VOLUME_GUID, volume_guid())},
            {{"GetDgVolumeGuidW"}, "by GUID", volume_guid()},
            {{"GetDgVolumeGuidW"}, "by name", volume_guid_by_name()}};
}

}  // namespace sweep
