// Runs the main job of a cluster agent step by step, with its own lab service.
#pragma once

#include <filesystem>
#include <string>

namespace agent {

struct DemoOptions {
    std::filesystem::path bin;       // where farlo.dll is; ztsvc.exe may be on the PATH instead
    std::filesystem::path scenario;  // the lab service's storage
    std::filesystem::path work;      // an existing folder for the service's port file
    std::wstring group;              // the cluster disk group to bring online
    std::wstring hidden_group;       // one that appears after a disk rescan; may be empty
};

// Prints each step and its result. Throws the exception of a failed step.
void run_demo(const DemoOptions& options);

}  // namespace agent
