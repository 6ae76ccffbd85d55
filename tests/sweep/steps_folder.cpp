// The clean-up of virtual machines' folders.
#include "farlo_dll.h"
#include "shared_steps.h"
#include "steps.h"

#include <windows.h>

#include <cstddef>
#include <cstdint>

namespace sweep {
namespace {

// The system's error as it is answered here, and the line that tells of it.
Outcome refused(std::uint32_t error, const std::string& line) {
    return returns(0x80070000 | error, {line + "{call}.\n"});
}

Steps clean_up_wanted() {
    const std::string version_key =
        "CheckOSVersionAndReg: RegOpenKeyEx for OS Version check failed Error ";
    const std::string version = "CheckOSVersionAndReg: RegQueryValueEx for OS Version check Error ";
    const std::string switch_key = "CheckOSVersionAndReg: RegOpenKeyEx Error ";
    const std::string switched = "CheckOSVersionAndReg: RegQueryValueEx Error ";
    return each_failure_logs({"Exiting CheckOSVersionAndReg"},
                             {{"RegOpenKeyExW 2", refused(2, version_key), 1},
                              {"RegOpenKeyExW 5", refused(5, version_key), 1},
                              {"RegQueryValueExW 234", refused(234, version), 1},
                              {"RegQueryValueExW 2", refused(2, version), 1},
                              {"RegOpenKeyExW 2", refused(2, switch_key), 2},
                              {"RegOpenKeyExW 5", refused(5, switch_key), 2},
                              {"RegQueryValueExW 234", refused(234, switched), 2},
                              {"RegQueryValueExW 2", refused(2, switched), 2}});
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
           each_failure_logs(exits(1), {{"FindFirstFileW 2", refused(2, line), number},
                                        {"FindFirstFileW 5", refused(5, line), number}});
}

std::string not_removed_line(const std::string& folder) {
    return "DeleteVMMSFolder:RemoveDirectory failed for " + folder + " Error: ";
}

// The n-th folder that is removed.
Steps not_removed(const std::string& folder, unsigned number) {
    return {{"RemoveDirectoryW 145", refused(145, not_removed_line(folder)), number},
            {"RemoveDirectoryW 5", refused(5, not_removed_line(folder)), number}};
}

// The folder above does not go on.
Steps not_cleaned(const std::string& folder, const Steps& steps) {
    return each_failure_logs({"DeleteVMMSFolder failed for " + folder + " Error: 0x0.\n"}, steps);
}

// What a listing that ends early did not tell stays, and the folder that it is in.
Steps ended_early(const std::string& one) {
    const Outcome all_stay = continues(exits(1));
    const Outcome one_stays = returns(0x80070000 | ERROR_DIR_NOT_EMPTY,
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
