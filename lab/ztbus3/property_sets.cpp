// The bus's property sets: Ps functions.
#include "call.h"
#include "live.h"
#include "marshal.h"
#include "propset.h"

#include <algorithm>
#include <atomic>

namespace lab {
namespace {

std::atomic<std::uint32_t> last_number{0};

std::string set_name(opal_propset set) {
    return is_propset(set) ? " #" + std::to_string(set->number) : " NULL";
}

std::string property_text(const opal_property* property) {
    Property taken;
    if (property == nullptr || !take_in(*property, taken)) {
        return " NULL";
    }
    return " " + quote(taken.name.c_str()) + " " + value_text(taken.value);
}

Property* find_in(opal_propset set, const std::string& name) {
    const auto found =
        std::find_if(set->properties.begin(), set->properties.end(),
                     [&name](const Property& property) { return property.name == name; });
    return found == set->properties.end() ? nullptr : &*found;
}

// Runs the work of a function on sets unless the plan answers in its place.
template <class Work, class Text>
opal_status client_call(Function function, const Subject& subject, Work&& work, Text&& text) {
    count_call(function);
    opal_status status = ZTSTATUS_OK;
    Fault fault;
    if (has_fault_plan()) {
        fault = next_fault(function, subject);
    }
    if (fault.delay_ms != 0) {
        Sleep(fault.delay_ms);
    }
    status = fault.answers ? fault.status : work(fault);
    if (fault.after) {
        status = fault.status;
    }
    if (is_recorded(function)) {
        record(function, text(status));
    }
    return status;
}

}  // namespace

opal_propset new_propset(PropertySet properties) {
    auto* set = new opal_propset_s;
    set->number = ++last_number;
    set->properties = std::move(properties);
    ++live.property_sets;
    return set;
}

bool is_propset(opal_propset set) {
    return set != nullptr && set->magic == opal_propset_s::alive;
}

bool delete_propset(opal_propset set) {
    if (!is_propset(set)) {
        return false;
    }
    set->magic = 0;
    delete set;
    --live.property_sets;
    return true;
}

void restart_set_numbers() {
    last_number = 0;
}

}  // namespace lab

using namespace lab;

opal_status PsCreatePropset(opal_propset* set) {
    return client_call(
        Function::PsCreatePropset, {},
        [set](const Fault& fault) -> opal_status {
            if (set == nullptr) {
                return ZTERROR_INVALID_ARGUMENT;
            }
            *set = fault.nothing ? nullptr : new_propset({});
            return ZTSTATUS_OK;
        },
        [set](opal_status status) {
            return status_text(status) + (status == ZTSTATUS_OK ? set_name(*set) : "");
        });
}

opal_status PsDestroyPropset(opal_propset set) {
    const std::string name = is_recorded(Function::PsDestroyPropset) ? set_name(set) : "";
    return client_call(
        Function::PsDestroyPropset, {},
        [set](const Fault&) {
            return delete_propset(set) ? ZTSTATUS_OK : ZTERROR_INVALID_ARGUMENT;
        },
        [&name](opal_status status) { return name + status_text(status); });
}

opal_status PsAddProperty(opal_propset set, const opal_property* property) {
    Subject subject;
    if (has_fault_plan() && property != nullptr && property->name != nullptr) {
        subject.property = property->name;
    }
    return client_call(
        Function::PsAddProperty, subject,
        [set, property](const Fault&) -> opal_status {
            Property taken;
            if (!is_propset(set) || property == nullptr || !take_in(*property, taken)) {
                return ZTERROR_INVALID_ARGUMENT;
            }
            if (find_in(set, taken.name) != nullptr) {
                return ZTERROR_DUPLICATE;
            }
            set->properties.push_back(std::move(taken));
            return ZTSTATUS_OK;
        },
        [set, property](opal_status status) {
            return set_name(set) + property_text(property) + status_text(status);
        });
}

opal_status PsSetProperty(opal_propset set, const opal_property* property) {
    Subject subject;
    if (has_fault_plan() && property != nullptr && property->name != nullptr) {
        subject.property = property->name;
    }
    return client_call(
        Function::PsSetProperty, subject,
        [set, property](const Fault&) -> opal_status {
            Property taken;
            if (!is_propset(set) || property == nullptr || !take_in(*property, taken)) {
                return ZTERROR_INVALID_ARGUMENT;
            }
            Property* existing = find_in(set, taken.name);
            if (existing == nullptr) {
                set->properties.push_back(std::move(taken));
                return ZTSTATUS_OK;
            }
            if (same(existing->value, taken.value)) {
                return ZTSTATUS_SAME_VALUE;
            }
            existing->value = std::move(taken.value);
            return ZTSTATUS_OK;
        },
        [set, property](opal_status status) {
            return set_name(set) + property_text(property) + status_text(status);
        });
}

opal_status PsFindProperty(opal_propset set, const char* name, opal_property* property) {
    Subject subject;
    if (has_fault_plan() && name != nullptr) {
        subject.property = name;
    }
    return client_call(
        Function::PsFindProperty, subject,
        [set, name, property](const Fault& fault) -> opal_status {
            if (!is_propset(set) || name == nullptr || property == nullptr) {
                return ZTERROR_INVALID_ARGUMENT;
            }
            if (fault.nothing) {
                *property = {};
                return ZTSTATUS_OK;
            }
            const Property* found = find_in(set, name);
            if (found == nullptr) {
                return ZTERROR_PROPERTY;
            }
            hand_out_with(fault, found->name, found->value, *property);
            return ZTSTATUS_OK;
        },
        [set, name, property](opal_status status) {
            return set_name(set) + " " + quote(name) + status_text(status) +
                   (status == ZTSTATUS_OK ? property_text(property) : "");
        });
}

opal_status PsOpenPropset(opal_propset set) {
    return client_call(
        Function::PsOpenPropset, {},
        [set](const Fault&) -> opal_status {
            if (!is_propset(set)) {
                return ZTERROR_INVALID_ARGUMENT;
            }
            set->walk = 0;
            return ZTSTATUS_OK;
        },
        [set](opal_status status) { return set_name(set) + status_text(status); });
}

opal_status PsFindNextProperty(opal_propset set, opal_property* property) {
    return client_call(
        Function::PsFindNextProperty, {},
        [set, property](const Fault& fault) -> opal_status {
            if (!is_propset(set) || property == nullptr) {
                return ZTERROR_INVALID_ARGUMENT;
            }
            if (set->walk >= set->properties.size()) {
                return ZTERROR_END_OF_SET;
            }
            const Property& next = set->properties[set->walk++];
            hand_out_with(fault, next.name, next.value, *property);
            return ZTSTATUS_OK;
        },
        [set, property](opal_status status) {
            return set_name(set) + status_text(status) +
                   (status == ZTSTATUS_OK ? property_text(property) : "");
        });
}

opal_status PsFreeProperty(opal_property* property) {
    const std::string name = is_recorded(Function::PsFreeProperty) && property != nullptr
                                 ? " " + quote(property->name)
                                 : "";
    return client_call(
        Function::PsFreeProperty, {},
        [property](const Fault&) -> opal_status {
            if (property == nullptr) {
                return ZTERROR_INVALID_ARGUMENT;
            }
            if (property->name == nullptr && property->value == nullptr) {
                return ZTSTATUS_OK;
            }
            return free_property(*property) ? ZTSTATUS_OK : ZTERROR_INVALID_ARGUMENT;
        },
        [&name](opal_status status) { return name + status_text(status); });
}

opal_status PsCopyPropset(opal_propset set, opal_propset* copy) {
    return client_call(
        Function::PsCopyPropset, {},
        [set, copy](const Fault& fault) -> opal_status {
            if (!is_propset(set) || copy == nullptr) {
                return ZTERROR_INVALID_ARGUMENT;
            }
            *copy = fault.nothing ? nullptr : new_propset(set->properties);
            return ZTSTATUS_OK;
        },
        [set, copy](opal_status status) {
            return set_name(set) + status_text(status) +
                   (status == ZTSTATUS_OK ? set_name(*copy) : "");
        });
}
