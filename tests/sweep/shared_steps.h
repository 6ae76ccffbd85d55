// Steps that exports have in common.
#pragma once

#include "steps.h"

#include <cstdint>
#include <string>
#include <vector>

namespace sweep {

// The searches' own lines for a group that is not found.
inline constexpr char not_found_by_guid[] =
    "GetDgObjIdByGuid() failed , DG_TYPENAME not found in OPAL, error=(0x1)";
inline constexpr char not_found_by_name[] =
    "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x1)";

// The text of the group's GUID gets its memory; what a failure is told by.
Steps guid_string(const Lines& errors);

// The cluster service object is looked for, the n-th time by this call (0: the only one); what
// a failure is told by behind that.
Steps find_cluster_service(const Lines& errors, unsigned search = 0);

// The group `group` ("@dgc") is looked for by its GUID, or by its name, in the n-th walk of
// the groups by this call that reads it (0: the only one). A group that is not found is
// status 1, told by the search's own line and then `errors`.
Steps find_group_by_guid(const std::string& group, const Lines& errors, unsigned walk = 0);
Steps find_group_by_name(const std::string& group, const Lines& errors, unsigned walk = 0);

// The search for a group's GUID by its name, which rescans when it does not find the group
// and asks the cluster service when it cannot read the GUID: no single failure of a call
// that a clean run makes ends it. In front of every other walk of the groups.
Steps find_group_guid(const std::string& group);

// Behind the steps of a group that is looked for by `key`, "Name" or "dgid": the others.
Steps other_groups(const std::string& key);

// A method of that number ("0.2003") gets an input set, the call's n-th set, whose making may
// fail by an exception, and an output set, which may be missing. `refused` comes of a status
// that is not 0, an informational one, too.
Steps invoke_method(const support::Method& method, const Outcome& refused = passes_status_on(),
                    unsigned input_set = 1);

// The export `name` invokes a method of the node. They have no parameters: without an input
// set they are invoked all the same.
Steps invoke_node_method(const std::string& name, const support::Method& method);

// A volume is looked for by its device name. One that is not found is `status`, told by the
// search's own line and then `errors`.
Steps find_volume_by_device(const std::string& device, std::uint32_t status,
                            const Lines& errors = {});

// A request is sent to the driver's config device, which is opened again when it could not be.
Steps config_device_request();

}  // namespace sweep
