// Steps that several exports have in common. Every function returns its steps in the order of
// the calls; `lines` are the lines of level 0 that a failure logs.
#pragma once

#include "sweep/steps.h"

#include <cstdint>
#include <string>
#include <vector>

namespace sweep {

// Lines that the searches for a group log themselves when they do not find it.
inline constexpr char not_found_by_guid[] =
    "GetDgObjIdByGuid() failed , DG_TYPENAME not found in OPAL, error=(0x1)";
inline constexpr char not_found_by_name[] =
    "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x1)";

// Allocates the string for the group's GUID.
Steps allocate_guid(const Lines& lines);

// Finds the cluster-service object; the n-th such search in the call (0: the only one).
Steps find_cluster_service(const Lines& lines, unsigned search = 0);

// Finds the group `group` ("@dgc") by its GUID or by its name; the n-th walk over the groups
// in the call that reads it (0: the only one). When it is not found, the status is
// FARLO_NOT_FOUND, and the search's own line comes before `lines`.
Steps find_group_by_guid(const std::string& group, const Lines& lines, unsigned walk = 0);
Steps find_group_by_name(const std::string& group, const Lines& lines, unsigned walk = 0);

// find_group_by_guid or find_group_by_name.
using Search = Steps(const std::string& group, const Lines& lines, unsigned walk);

// Finds a group's GUID by the group's name; the call's first walk over the groups. The search
// rescans when it does not find the group, and asks the cluster service when it cannot read
// the GUID: no single failure ends the call.
Steps find_group_guid(const std::string& group);

// Reads the groups that a walk passes over: those before `group` in the scenario. `key` is the
// property that is compared, "Name" or "dgid".
Steps pass_over_groups(const std::string& group, const std::string& key);

// Makes the sets of a method call and adds its parameters. The input set is the n-th set of the
// call and must not be missing; the output set is the next one and may be missing.
Steps make_method_sets(unsigned input_set = 1);

// Calls the method, which returns a status other than 0, an informational one or a failure.
Steps call_refused_method(const support::Method& method, const Outcome& refused);

// Makes the sets and calls the method; its output set may stay empty.
Steps invoke_method(const support::Method& method, const Outcome& refused = passes_status_on(),
                    unsigned input_set = 1);

// The export `name`, which calls a method of the node. These methods have no parameters and
// are called without an input set, too.
Steps invoke_node_method(const std::string& name, const support::Method& method);

// Finds a volume by its device name. When it is not found, the status is `status`, and the
// search's own line comes before `lines`.
Steps find_volume_by_device(const std::string& device, std::uint32_t status,
                            const Lines& lines = {});

// Sends a request to the driver's config device, which is opened again after a failure.
Steps send_config_request(const Outcome& unsuccessful = returns(FARLO_DEVICE_UNSUCCESSFUL));

}  // namespace sweep
