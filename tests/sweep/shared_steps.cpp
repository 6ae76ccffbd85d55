#include "shared_steps.h"

using namespace support;

namespace sweep {
namespace {

// A group whose type or key cannot be read is passed over, and a query that fails is tried
// again.
Steps walk_of_groups(const std::string& group, const std::string& key, const Outcome& not_found,
                     unsigned walk) {
    return {{get_objects(object_type::disk_group), continues()},
            {get_property(group, "LDM DG TYPE"), not_found, walk},
            {get_property(group, key), not_found, walk}};
}

Lines with(const std::string& first, Lines errors) {
    errors.insert(errors.begin(), first);
    return errors;
}

}  // namespace

Steps guid_string(const Lines& errors) {
    return {{allocation, returns(FARLO_NO_GUID_MEMORY, errors)}};
}

Steps find_cluster_service(const Lines& errors, unsigned search) {
    return {{get_objects(object_type::cluster_service).without_output(), continues(), search},
            {get_objects(object_type::cluster_service), returns(FARLO_NO_CLUSTER_SERVICE, errors),
             search}};
}

Steps find_group_by_guid(const std::string& group, const Lines& errors, unsigned walk) {
    return walk_of_groups(group, "dgid", returns(FARLO_NOT_FOUND, with(not_found_by_guid, errors)),
                          walk);
}

Steps find_group_by_name(const std::string& group, const Lines& errors, unsigned walk) {
    return walk_of_groups(group, "Name", returns(FARLO_NOT_FOUND, with(not_found_by_name, errors)),
                          walk);
}

Steps find_group_guid(const std::string& group) {
    return walk_of_groups(group, "Name", continues({not_found_by_name}), 1) +
           Steps{{get_property(group, "dgid"), continues(), 1}};
}

Steps other_groups(const std::string& key) {
    return {{get_property_of_any("LDM DG TYPE"), continues()},
            {get_property_of_any(key), continues()}};
}

Steps invoke_method(const Method& method, const Outcome& refused, unsigned input_set) {
    return {{create_set(), returns(FARLO_EXCEPTION), input_set},
            {create_set(), continues(), input_set + 1},
            {add_any_property(), returns(FARLO_EXCEPTION)},
            {call_method(method).without_output(), continues()},
            {call_method(method).succeeding(), refused},
            {call_method(method), refused}};
}

Steps invoke_node_method(const std::string& name, const Method& method) {
    return each_failure_logs(
        {name + "() failed, error=({}) "},
        find_cluster_service({name + ": GetClusSvcId failed with error = {}"}) +
            Steps{{create_set().without_output(), continues()}} + invoke_method(method));
}

Steps find_volume_by_device(const std::string& device, std::uint32_t status, const Lines& errors) {
    const std::string search = "FindVolObjByDevName:";
    const std::string fails =
        search + "DbGetObjectsByQuery failed, for " + device + ", error = {call}";
    const CallPattern query = query_objects(object_type::volume, "DEVICE NAME");
    return {
        {allocation, returns(status, with(search + " failed to allocate memory", errors))},
        {query.without_output(), returns(status, with(search + "Volume Object not found", errors))},
        {query, returns(status, with(fails, errors))}};
}

Steps config_device_request() {
    return {{"ZwOpenFile", continues()},
            {call_of("ZwDeviceIoControlFile").returning(native::sharing_violation),
             returns(FARLO_DEVICE_SHARING_VIOLATION)},
            {call_of("ZwDeviceIoControlFile").returning(native::unsuccessful),
             returns(FARLO_DEVICE_UNSUCCESSFUL)},
            {call_of("ZwDeviceIoControlFile").returning(native::no_such_device),
             returns(FARLO_NOT_FOUND)},
            {call_of("ZwDeviceIoControlFile").returning(native::invalid_parameter),
             returns(FARLO_MISSING_ARGUMENT)},
            {"ZwDeviceIoControlFile", returns(FARLO_DEVICE_FAILED)}};
}

}  // namespace sweep
