// Kernel drivers of the lab, through the system's service manager.
#pragma once

#include <filesystem>
#include <string>

namespace lab {

// Loads the driver of that file, under that name, unless it is loaded already.
// One that was loaded from another file is unloaded first. Any number of
// processes may do so at once. Throws std::system_error.
void start_driver(const std::wstring& name, const std::filesystem::path& file);

// Unloads the driver and forgets its name; one that is not known is left so.
// Throws std::system_error.
void stop_driver(const std::wstring& name);

}  // namespace lab
