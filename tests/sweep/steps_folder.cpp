// The clean-up of virtual machines' folders.
#include "farlo_dll.h"
#include "shared_steps.h"
#include "steps.h"

#include <windows.h>

#include <cstddef>
#include <cstdint>

namespace sweep {
namespace {

// The status that these exports return for an error of the system.
constexpr std::uint32_t as_status(std::uint32_t error) {
    return 0x80070000 | error;
}

// The system's error as it is answered here, and the line that tells of it.
Outcome refused(std::uint32_t error, const std::string& line) {
    return returns(as_status(error), {line + "{call}.\n"});
}

Steps clean_up_wanted() {
    const std::string version_key =
        "CheckOSVersionAndReg: RegOpenKeyEx for OS Version check failed Error ";
    const std::string version = "CheckOSVersionAndReg: RegQueryValueEx for OS Version check Error ";
    const std::string switch_key = "CheckOSVersionAndReg: RegOpenKeyEx Error ";
    const std::string switched = "CheckOSVersionAndReg: RegQueryValueEx Error ";
    return each_failure_logs({"Exiting CheckOSVersionAndReg"},
                             {{call_of("RegOpenKeyExW").failing_with(ERROR_FILE_NOT_FOUND),
                               refused(ERROR_FILE_NOT_FOUND, version_key), 1},
                              {call_of("RegOpenKeyExW").failing_with(ERROR_ACCESS_DENIED),
                               refused(ERROR_ACCESS_DENIED, version_key), 1},
                              {call_of("RegQueryValueExW").failing_with(ERROR_MORE_DATA),
                               refused(ERROR_MORE_DATA, version), 1},
                              {call_of("RegQueryValueExW").failing_with(ERROR_FILE_NOT_FOUND),
                               refused(ERROR_FILE_NOT_FOUND, version), 1},
                              {call_of("RegOpenKeyExW").failing_with(ERROR_FILE_NOT_FOUND),
                               refused(ERROR_FILE_NOT_FOUND, switch_key), 2},
                              {call_of("RegOpenKeyExW").failing_with(ERROR_ACCESS_DENIED),
                               refused(ERROR_ACCESS_DENIED, switch_key), 2},
                              {call_of("RegQueryValueExW").failing_with(ERROR_MORE_DATA),
                               refused(ERROR_MORE_DATA, switched), 2},
                              {call_of("RegQueryValueExW").failing_with(ERROR_FILE_NOT_FOUND),
                               refused(ERROR_FILE_NOT_FOUND, switched), 2}});
}

Lines exits(std::size_t times) {
    return Lines(times, "Exiting DeleteVMMSFolder");
}

// The n-th folder's listing does not begin.
Steps not_listed(const std::string& folder, unsigned number) {
    const std::string line = "DeleteVMMSFolder: FindFirstFile failed for " + folder + "* Error: ";
    return Steps{{"PathCombineW",
                  returns(FARLO_INVALID_ARGUMENT,
                          {"DeleteVMMSFolder() failed , folder path is too long, error=({})"}),
                  number}} +
           each_failure_logs(exits(1),
                             {{call_of("FindFirstFileW").failing_with(ERROR_FILE_NOT_FOUND),
                               refused(ERROR_FILE_NOT_FOUND, line), number},
                              {call_of("FindFirstFileW").failing_with(ERROR_ACCESS_DENIED),
                               refused(ERROR_ACCESS_DENIED, line), number}});
}

std::string not_removed_line(const std::string& folder) {
    return "DeleteVMMSFolder:RemoveDirectory failed for " + folder + " Error: ";
}

// The n-th folder that is removed.
Steps not_removed(const std::string& folder, unsigned number) {
    return {{call_of("RemoveDirectoryW").failing_with(ERROR_DIR_NOT_EMPTY),
             refused(ERROR_DIR_NOT_EMPTY, not_removed_line(folder)), number},
            {call_of("RemoveDirectoryW").failing_with(ERROR_ACCESS_DENIED),
             refused(ERROR_ACCESS_DENIED, not_removed_line(folder)), number}};
}

// The folder above does not go on.
Steps not_cleaned(const std::string& folder, const Steps& steps) {
    return each_failure_logs({"DeleteVMMSFolder failed for " + folder + " Error: 0x0.\n"}, steps);
}

// What a listing that ends early did not tell stays, and the folder that it is in.
Steps ended_early(const std::string& one) {
    const Outcome all_stay = continues(exits(1));
    const Outcome one_stays = returns(as_status(ERROR_DIR_NOT_EMPTY),
                                      {exits(1).front(), not_removed_line(one) + "0x91.\n"});
    const Outcome three_stays = continues(exits(3));
    return {{"FindNextFileW", all_stay, 1},    {"FindNextFileW", all_stay, 2},
            {"FindNextFileW", one_stays, 3},   {"FindNextFileW", one_stays, 4},
            {"FindNextFileW", three_stays, 8}, {"FindNextFileW", continues(exits(4))}};
}

// "one", in which lies "two", then "three".
Steps cleaned_up() {
    const std::string root = (support::environment().folder() / "machines\\").string();
    const std::string one = root + "one\\";
    const std::string two = one + "two\\";
    const std::string three = root + "three\\";
    return not_listed(root, 1) +
           not_cleaned(one, not_listed(one, 2) + not_cleaned(two, not_listed(two, 3)) +
                                framed(exits(1), {}, {}, not_removed(two, 1))) +
           framed(exits(2), {}, {},
                  not_removed(one, 2) + not_cleaned(three, not_listed(three, 4))) +
           framed(exits(3), {}, {}, not_removed(three, 3)) + ended_early(one);
}

}  // namespace

std::vector<ExportSteps> folder_steps() {
    return {{{"CheckOSVersionAndReg"}, "", clean_up_wanted()},
            {{"DeleteVMMSFolder"}, "", cleaned_up()}};
}

}  // namespace sweep
