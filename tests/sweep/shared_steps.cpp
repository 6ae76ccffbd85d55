#include "shared_steps.h"

namespace sweep {
namespace {

// A group whose type or key cannot be read is passed over, and a query that fails is tried
// again.
Steps walk_of_groups(const std::string& group, const std::string& key, const Outcome& not_found,
                     unsigned walk) {
    return {{"DbGetObjects tamo_ztvm_diskgroup", continues()},
            {"ObGetProperty " + group + " \"LDM DG TYPE\"", not_found, walk},
            {"ObGetProperty " + group + " \"" + key + "\"", not_found, walk}};
}

Lines with(const std::string& first, Lines errors) {
    errors.insert(errors.begin(), first);
    return errors;
}

}  // namespace

Steps guid_string(const Lines& errors) {
    return {{"memory", returns(FARLO_NO_GUID_MEMORY, errors)}};
}

Steps find_cluster_service(const Lines& errors, unsigned search) {
    return {{"DbGetObjects solvane_cluster_service nothing", continues(), search},
            {"DbGetObjects solvane_cluster_service", returns(FARLO_NO_CLUSTER_SERVICE, errors),
             search}};
}

Steps find_group_by_guid(const std::string& group, const Lines& errors, unsigned walk) {
    return walk_of_groups(group, "dgid", returns(1, with(not_found_by_guid, errors)), walk);
}

Steps find_group_by_name(const std::string& group, const Lines& errors, unsigned walk) {
    return walk_of_groups(group, "Name", returns(1, with(not_found_by_name, errors)), walk);
}

Steps find_group_guid(const std::string& group) {
    return walk_of_groups(group, "Name", continues({not_found_by_name}), 1) +
           Steps{{"ObGetProperty " + group + " \"dgid\"", continues(), 1}};
}

Steps other_groups(const std::string& key) {
    return {{"ObGetProperty \"LDM DG TYPE\"", continues()},
            {"ObGetProperty \"" + key + "\"", continues()}};
}

Steps invoke_method(const std::string& number, const Outcome& refused, unsigned input_set) {
    return {{"PsCreatePropset", returns(FARLO_EXCEPTION), input_set},
            {"PsCreatePropset", continues(), input_set + 1},
            {"PsAddProperty", returns(FARLO_EXCEPTION)},
            {"PrCallDispatch " + number + " nothing", continues()},
            {"PrCallDispatch " + number + " succeeds", refused},
            {"PrCallDispatch " + number, refused}};
}

Steps invoke_node_method(const std::string& name, const std::string& number) {
    return each_failure_logs(
        {name + "() failed, error=({}) "},
        find_cluster_service({name + ": GetClusSvcId failed with error = {}"}) +
            Steps{{"PsCreatePropset nothing", continues()}} + invoke_method(number));
}

Steps find_volume_by_device(const std::string& device, std::uint32_t status, const Lines& errors) {
    const std::string search = "FindVolObjByDevName:";
    const std::string fails =
        search + "DbGetObjectsByQuery failed, for " + device + ", error = {call}";
    const std::string query = "DbGetObjectsByQuery tamo_ztvm_volume DEVICE NAME";
    return {{"memory", returns(status, with(search + " failed to allocate memory", errors))},
            {query + " nothing", returns(status, with(search + "Volume Object not found", errors))},
            {query, returns(status, with(fails, errors))}};
}

Steps config_device_request() {
    return {{"ZwOpenFile", continues()},
            {"ZwDeviceIoControlFile 0xc0000043", returns(FARLO_DEVICE_SHARING_VIOLATION)},
            {"ZwDeviceIoControlFile 0xc0000001", returns(FARLO_DEVICE_UNSUCCESSFUL)},
            {"ZwDeviceIoControlFile 0xc000000e", returns(FARLO_NOT_FOUND)},
            {"ZwDeviceIoControlFile 0xc000000d", returns(FARLO_MISSING_ARGUMENT)},
            {"ZwDeviceIoControlFile", returns(FARLO_DEVICE_FAILED)}};
}

}  // namespace sweep
