// Scenarios and counters of this process (lab_bus.h).
#include "store/scenario.h"
#include "ztbus3/bus_connection.h"
#include "ztbus3/lab_bus.h"
#include "ztbus3/live.h"
#include "ztbus3/report_error.h"

#include <stdexcept>

using namespace lab;

int LabLoadScenarioFile(const wchar_t* path, char* error, size_t capacity) {
    return reporting(error, capacity, [path] {
        if (path == nullptr) {
            throw std::invalid_argument("no scenario given");
        }
        set_embedded_store(std::make_shared<Store>(load_scenario(path)));
    });
}

int LabLoadScenarioText(const char* json, char* error, size_t capacity) {
    return reporting(error, capacity, [json] {
        if (json == nullptr) {
            throw std::invalid_argument("no scenario given");
        }
        set_embedded_store(std::make_shared<Store>(build_scenario(json)));
    });
}

int LabFindObject(const char* name, opal_objid* id) {
    if (name == nullptr || id == nullptr) {
        return 1;
    }
    const std::shared_ptr<Store> embedded = embedded_store();
    return embedded != nullptr && embedded->find_named(name, *id) ? 0 : 1;
}

void LabGetLive(lab_live* counts) {
    counts->property_sets = live.property_sets;
    counts->properties = live.properties;
    counts->blocks = live.blocks;
    counts->connections = live.connections;
}
