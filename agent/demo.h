// A walk through an agent's main job, against a lab service of its own.
#pragma once

#include <filesystem>
#include <string>

namespace agent {

struct DemoOptions {
    std::filesystem::path bin;       // where farlo.dll and ztsvc.exe are
    std::filesystem::path scenario;  // the lab service's storage
    std::filesystem::path work;      // for the service's port file; exists
    std::wstring group;              // the cluster disk group to bring online
    std::wstring hidden_group;       // one that a disk rescan makes appear; may be empty
};

// Prints each step and its outcome. Throws what a step throws.
void run_demo(const DemoOptions& options);

}  // namespace agent
