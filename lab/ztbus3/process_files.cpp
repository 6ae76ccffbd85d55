#include "ztbus3/process_files.h"

#include "store/json_file.h"
#include "store/locks.h"
#include "ztbus3/environment.h"
#include "ztbus3/process_plan.h"
#include "ztbus3/recorder.h"

#include <stdexcept>

namespace lab {
namespace {

SRWLOCK lock = SRWLOCK_INIT;
// What the plan was read from; under the lock, never destroyed.
auto& plan_path = *new std::wstring;
auto& plan_json = *new std::string;

void use_plan(const FaultScope& scope) {
    const std::wstring path = environment_variable(L"ZTLAB_FAULTS");
    if (path.empty()) {
        if (!plan_path.empty()) {
            process_plan().clear();
            plan_path.clear();
        }
        return;
    }
    use_json_file(path.c_str(), [&](const std::string& json) {
        if (path != plan_path || json != plan_json) {
            process_plan().replace(json, scope);
            plan_path = path;
            plan_json = json;
        }
    });
}

}  // namespace

void use_process_files(const FaultScope& scope) {
    const Exclusive hold(lock);
    use_plan(scope);
    set_record_file(environment_variable(L"ZTLAB_RECORD"));
}

}  // namespace lab
