// The names of all exports.
#pragma once

#include <set>
#include <string>

inline std::set<std::string> export_names() {
    return {
#define EXPORT(name) #name,
#include "api/exports.inc"
#undef EXPORT
    };
}
