#include "sweep/shared_steps.h"

using namespace support;

namespace sweep {
namespace {

// The scenario's first group: a walk that finds it passes over none.
constexpr char first_group[] = "@dgc";

// A query that fails is repeated. A group whose type or key cannot be read is passed over.
Steps walk_over_groups(const std::string& group, const std::string& key, const Outcome& not_found,
                       unsigned walk) {
    return Steps{{get_objects(object_type::disk_group), continues()}} +
           pass_over_groups(group, key) +
           Steps{{get_property(group, "LDM DG TYPE").nth(walk), not_found},
                 {get_property(group, key).nth(walk), not_found}};
}

Lines after(const std::string& first, Lines lines) {
    lines.insert(lines.begin(), first);
    return lines;
}

}  // namespace

Steps allocate_guid(const Lines& lines) {
    return {{allocation, returns(FARLO_NO_GUID_MEMORY, lines)}};
}

Steps find_cluster_service(const Lines& lines, unsigned search) {
    const CallPattern call = get_objects(object_type::cluster_service).nth(search);
    return {{call.without_output(), continues()}, {call, returns(FARLO_NO_CLUSTER_SERVICE, lines)}};
}

Steps find_group_by_guid(const std::string& group, const Lines& lines, unsigned walk) {
    return walk_over_groups(group, "dgid",
                            returns(FARLO_NOT_FOUND, after(not_found_by_guid, lines)), walk);
}

Steps find_group_by_name(const std::string& group, const Lines& lines, unsigned walk) {
    return walk_over_groups(group, "Name",
                            returns(FARLO_NOT_FOUND, after(not_found_by_name, lines)), walk);
}

Steps find_group_guid(const std::string& group) {
    return walk_over_groups(group, "Name", continues({not_found_by_name}), 1) +
           Steps{{get_property(group, "dgid").nth(1), continues()}};
}

Steps pass_over_groups(const std::string& group, const std::string& key) {
    if (group == first_group) {
        return {};
    }
    return {{get_property_of_any("LDM DG TYPE"), continues()},
            {get_property_of_any(key), continues()}};
}

Steps make_method_sets(unsigned input_set) {
    return {{create_set().nth(input_set), returns(FARLO_EXCEPTION)},
            {add_any_property(), returns(FARLO_EXCEPTION)},
            {create_set().nth(input_set + 1), continues()}};
}

Steps call_refused_method(const Method& method, const Outcome& refused) {
    return {{call_method(method).succeeding(), refused}, {call_method(method), refused}};
}

Steps invoke_method(const Method& method, const Outcome& refused, unsigned input_set) {
    return make_method_sets(input_set) +
           Steps{{call_method(method).without_output(), continues()}} +
           call_refused_method(method, refused);
}

Steps invoke_node_method(const std::string& name, const Method& method) {
    return each_failure_logs(
        {name + "() failed, error=({}) "},
        find_cluster_service({name + ": GetClusSvcId failed with error = {}"}) +
            Steps{{create_set().nth(1).without_output(), continues()},
                  {create_set().nth(1), returns(FARLO_EXCEPTION)},
                  {create_set().nth(2), continues()},
                  {call_method(method).without_output(), continues()}} +
            call_refused_method(method, passes_status_on()));
}

Steps find_volume_by_device(const std::string& device, std::uint32_t status, const Lines& lines) {
    const std::string search = "FindVolObjByDevName:";
    const std::string query_failed =
        search + "DbGetObjectsByQuery failed, for " + device + ", error = {call}";
    const CallPattern query = query_objects(object_type::volume, "DEVICE NAME");
    return {
        {allocation, returns(status, after(search + " failed to allocate memory", lines))},
        {query.without_output(), returns(status, after(search + "Volume Object not found", lines))},
        {query, returns(status, after(query_failed, lines))}};
}

Steps send_config_request(const Outcome& unsuccessful) {
    const CallPattern request = call_of("ZwDeviceIoControlFile");
    return {{call_of("ZwOpenFile"), continues()},
            {request.returning(native::sharing_violation), returns(FARLO_DEVICE_SHARING_VIOLATION)},
            {request.returning(native::unsuccessful), unsuccessful},
            {request.returning(native::no_such_device), returns(FARLO_NOT_FOUND)},
            {request.returning(native::invalid_parameter), returns(FARLO_MISSING_ARGUMENT)},
            {request, returns(FARLO_DEVICE_FAILED)}};
}

}  // namespace sweep
