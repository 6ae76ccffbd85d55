// The clean-up of virtual machines' folders.
#include "support/farlo_dll.h"
#include "sweep/shared_steps.h"
#include "sweep/steps.h"

#include <windows.h>

#include <cstddef>
#include <cstdint>

namespace sweep {
namespace {

// The status that these exports return for an error of the system.
constexpr std::uint32_t as_status(std::uint32_t error) {
    return 0x80070000 | error;
}

// The n-th call of the function fails with each of the errors; the line ends with the error.
Steps call_fails(const std::string& function, unsigned n, const std::vector<std::uint32_t>& errors,
                 const std::string& line) {
    Steps steps;
    for (const std::uint32_t error : errors) {
        steps.push_back({call_of(function).failing_with(error).nth(n),
                         returns(as_status(error), {line + "{call}.\n"})});
    }
    return steps;
}

Steps open_key_fails(unsigned n, const std::string& line) {
    return call_fails("RegOpenKeyExW", n, {ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED}, line);
}

Steps read_value_fails(unsigned n, const std::string& line) {
    return call_fails("RegQueryValueExW", n, {ERROR_MORE_DATA, ERROR_FILE_NOT_FOUND}, line);
}

Steps check_version_and_setting() {
    return each_failure_logs(
        {"Exiting CheckOSVersionAndReg"},
        open_key_fails(1, "CheckOSVersionAndReg: RegOpenKeyEx for OS Version check failed Error ") +
            read_value_fails(1,
                             "CheckOSVersionAndReg: RegQueryValueEx for OS Version check Error ") +
            open_key_fails(2, "CheckOSVersionAndReg: RegOpenKeyEx Error ") +
            read_value_fails(2, "CheckOSVersionAndReg: RegQueryValueEx Error "));
}

// The exit lines of the folders that are done.
Lines exits(std::size_t folders) {
    return Lines(folders, "Exiting DeleteVMMSFolder");
}

// Begins to list the n-th folder.
Steps list_folder(const std::string& folder, unsigned n) {
    return Steps{{call_of("PathCombineW").nth(n),
                  returns(FARLO_INVALID_ARGUMENT,
                          {"DeleteVMMSFolder() failed , folder path is too long, error=({})"})}} +
           each_failure_logs(
               exits(1),
               call_fails("FindFirstFileW", n, {ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED},
                          "DeleteVMMSFolder: FindFirstFile failed for " + folder + "* Error: "));
}

// The n-th time that a listing is continued.
CallPattern list_next(unsigned n) {
    return call_of("FindNextFileW").nth(n);
}

std::string remove_fails_line(const std::string& folder) {
    return "DeleteVMMSFolder:RemoveDirectory failed for " + folder + " Error: ";
}

// The n-th folder that is removed.
Steps remove_folder(const std::string& folder, unsigned n) {
    return call_fails("RemoveDirectoryW", n, {ERROR_DIR_NOT_EMPTY, ERROR_ACCESS_DENIED},
                      remove_fails_line(folder));
}

// The folder is a subfolder: a failure in it ends the folder above, too.
Steps in_subfolder(const std::string& folder, const Steps& steps) {
    return each_failure_logs({"DeleteVMMSFolder failed for " + folder + " Error: 0x0.\n"}, steps);
}

// Deletes "one", which contains "two", then "three". The listing of a folder that ends early
// leaves the rest of the folder alone, so that the folder itself cannot be removed.
Steps delete_folders() {
    const std::string root = (support::environment().folder() / "machines\\").string();
    const std::string one = root + "one\\";
    const std::string two = one + "two\\";
    const std::string three = root + "three\\";
    const Outcome all_stay = continues(exits(1));
    const Outcome one_stays = returns(as_status(ERROR_DIR_NOT_EMPTY),
                                      {exits(1).front(), remove_fails_line(one) + "0x91.\n"});
    const Outcome three_stays = continues(exits(3));
    const Outcome all_deleted = continues(exits(4));
    return list_folder(root, 1) + Steps{{list_next(1), all_stay}, {list_next(2), all_stay}} +
           in_subfolder(one, list_folder(one, 2)) +
           Steps{{list_next(3), one_stays}, {list_next(4), one_stays}} +
           in_subfolder(one, in_subfolder(two, list_folder(two, 3))) +
           // The end of the other listings.
           Steps{{call_of("FindNextFileW"), all_deleted}} +
           in_subfolder(one, with_lines({.before = exits(1)}, remove_folder(two, 1))) +
           with_lines({.before = exits(2)}, remove_folder(one, 2)) +
           Steps{{list_next(8), three_stays}} +
           with_lines({.before = exits(2)}, in_subfolder(three, list_folder(three, 4))) +
           with_lines({.before = exits(3)}, remove_folder(three, 3));
}

}  // namespace

std::vector<ExportSteps> folder_steps() {
    return {{{"CheckOSVersionAndReg"}, "", check_version_and_setting()},
            {{"DeleteVMMSFolder"}, "", delete_folders()}};
}

}  // namespace sweep
