#include "faults.h"

#include "methods.h"

#include <nlohmann/json.hpp>

#include <cstring>
#include <fstream>
#include <stdexcept>

namespace lab {

FaultPlan::FaultPlan(const wchar_t* path) {
    const std::string name = narrow(path);
    const std::unique_ptr<FILE, int (*)(FILE*)> file(_wfopen(path, L"rb"), fclose);
    if (file == nullptr) {
        throw std::runtime_error(name + ": " + std::strerror(errno));
    }
    try {
        for (const nlohmann::json& json : nlohmann::json::parse(file.get())) {
            Rule rule;
            bool has_call = false;
            std::uint64_t times = 0;
            for (const auto& [key, value] : json.items()) {
                if (key == "minor") {
                    rule.any_method = false;
                    rule.minor = value.get<std::uint32_t>();
                } else if (key == "call") {
                    has_call = true;
                    rule.first = value.get<std::uint64_t>();
                } else if (key == "times") {
                    times = value.get<std::uint64_t>();
                } else if (key == "delay") {
                    rule.delay_ms = value.get<std::uint32_t>();
                } else if (key == "drop") {
                    rule.drop = value.get<bool>();
                } else if (key == "status") {
                    rule.has_status = true;
                    rule.status =
                        static_cast<opal_status>(std::stoul(value.get<std::string>(), nullptr, 0));
                } else {
                    throw std::invalid_argument("nothing is known of the key \"" + key + "\"");
                }
            }
            if (times == 0 && has_call) {
                times = 1;
            }
            if (times != 0) {
                rule.last = rule.first + times - 1;
            }
            m_rules.push_back(rule);
        }
    } catch (const std::exception& error) {
        throw std::runtime_error(name + ": " + error.what());
    }
}

bool FaultPlan::answers(std::uint32_t minor, opal_status& status) {
    Rule due;
    bool is_due = false;
    {
        const Exclusive hold(m_lock);
        for (Rule& rule : m_rules) {
            if (!rule.any_method && rule.minor != minor) {
                continue;
            }
            ++rule.matched;
            if (rule.matched >= rule.first && rule.matched <= rule.last) {
                due = rule;
                is_due = true;
                break;
            }
        }
    }
    if (!is_due) {
        return false;
    }
    if (due.delay_ms != 0) {
        Sleep(due.delay_ms);
    }
    if (due.drop) {
        throw Dropped();
    }
    status = due.status;
    return due.has_status;
}

}  // namespace lab
