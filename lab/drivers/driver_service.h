// Loads and unloads the lab's kernel drivers through the system's service manager.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace lab {

// Loads a driver from a file under a name, unless it is already loaded. A driver
// that was loaded from another file is unloaded first. Several processes may call
// this at the same time. Throws std::system_error.
void start_driver(const std::wstring& name, const std::filesystem::path& file);

// Returns the file that a loaded driver was loaded from; nothing if the driver is not
// loaded. Throws std::system_error.
std::optional<std::filesystem::path> loaded_driver(const std::wstring& name);

// Unloads a driver and removes its service, if there is one. Throws
// std::system_error.
void stop_driver(const std::wstring& name);

}  // namespace lab
