#include "shared_steps.h"

namespace sweep {
namespace {

// A group whose type or key cannot be read is passed over, and a query that fails is tried
// again.
Steps walk_of_groups(const std::string& group, const std::string& key, const Outcome& not_found,
                     unsigned walk) {
    return {{"DbGetObjects tamo_ztvm_diskgroup", goes_on()},
            {"ObGetProperty " + group + " \"LDM DG TYPE\"", not_found, walk},
            {"ObGetProperty " + group + " \"" + key + "\"", not_found, walk}};
}

Lines with(const std::string& first, Lines errors) {
    errors.insert(errors.begin(), first);
    return errors;
}

}  // namespace

Steps guid_text(const Lines& errors) {
    return {{"memory", answers(FARLO_NO_GUID_MEMORY, errors)}};
}

Steps cluster_service(const Lines& errors, unsigned search) {
    return {{"DbGetObjects solvane_cluster_service nothing", goes_on(), search},
            {"DbGetObjects solvane_cluster_service", answers(FARLO_NO_CLUSTER_SERVICE, errors),
             search}};
}

Steps group_by_guid(const std::string& group, const Lines& errors, unsigned walk) {
    return walk_of_groups(group, "dgid", answers(1, with(by_guid_fails, errors)), walk);
}

Steps group_by_name(const std::string& group, const Lines& errors, unsigned walk) {
    return walk_of_groups(group, "Name", answers(1, with(by_name_fails, errors)), walk);
}

Steps guid_search(const std::string& group) {
    return walk_of_groups(group, "Name", goes_on({by_name_fails}), 1) +
           Steps{{"ObGetProperty " + group + " \"dgid\"", goes_on(), 1}};
}

Steps other_groups(const std::string& key) {
    return {{"ObGetProperty \"LDM DG TYPE\"", goes_on()},
            {"ObGetProperty \"" + key + "\"", goes_on()}};
}

Steps method(const std::string& number, const Outcome& refused, unsigned input_set) {
    return {{"PsCreatePropset", answers(FARLO_EXCEPTION), input_set},
            {"PsCreatePropset", goes_on(), input_set + 1},
            {"PsAddProperty", answers(FARLO_EXCEPTION)},
            {"PrCallDispatch " + number + " nothing", goes_on()},
            {"PrCallDispatch " + number + " succeeds", refused},
            {"PrCallDispatch " + number, refused}};
}

Steps node_method(const std::string& name, const std::string& number) {
    return ended_by({name + "() failed, error=({}) "},
                    cluster_service({name + ": GetClusSvcId failed with error = {}"}) +
                        Steps{{"PsCreatePropset nothing", goes_on()}} + method(number));
}

Steps volume_by_device(const std::string& device, std::uint32_t status, const Lines& errors) {
    const std::string search = "FindVolObjByDevName:";
    const std::string fails =
        search + "DbGetObjectsByQuery failed, for " + device + ", error = {call}";
    const std::string query = "DbGetObjectsByQuery tamo_ztvm_volume DEVICE NAME";
    return {{"memory", answers(status, with(search + " failed to allocate memory", errors))},
            {query + " nothing", answers(status, with(search + "Volume Object not found", errors))},
            {query, answers(status, with(fails, errors))}};
}

Steps config_request() {
    return {{"ZwOpenFile", goes_on()},
            {"ZwDeviceIoControlFile 0xc0000043", answers(FARLO_DEVICE_SHARING_VIOLATION)},
            {"ZwDeviceIoControlFile 0xc0000001", answers(FARLO_DEVICE_UNSUCCESSFUL)},
            {"ZwDeviceIoControlFile 0xc000000e", answers(FARLO_NOT_FOUND)},
            {"ZwDeviceIoControlFile 0xc000000d", answers(FARLO_MISSING_ARGUMENT)},
            {"ZwDeviceIoControlFile", answers(FARLO_DEVICE_FAILED)}};
}

}  // namespace sweep
