// The bus's property sets: Ps functions.
#include "ztbus3/faulty_call.h"
#include "ztbus3/live.h"
#include "ztbus3/marshal.h"
#include "ztbus3/propset.h"

#include <algorithm>
#include <atomic>

namespace lab {
namespace {

std::atomic<std::uint32_t> last_number{0};

std::string set_name(opal_propset set) {
    if (!is_propset(set)) {
        return " NULL";
    }
    if (set->number == 0) {
        set->number = ++last_number;
    }
    return " #" + std::to_string(set->number);
}

Property* find_in(opal_propset set, const std::string& name) {
    const auto found =
        std::find_if(set->properties.begin(), set->properties.end(),
                     [&name](const Property& property) { return property.name == name; });
    return found == set->properties.end() ? nullptr : &*found;
}

// PsAddProperty and PsSetProperty: `put` takes a copy of a valid property.
template <class Put>
opal_status put_property(Function function, opal_propset set, const opal_property* property,
                         Put&& put) {
    return client_call(
        function, property != nullptr ? property->name : nullptr,
        [&](const Fault&) -> opal_status {
            Property taken;
            if (!is_propset(set) || property == nullptr || !take_in(*property, taken)) {
                return ZTERROR_INVALID_ARGUMENT;
            }
            return put(std::move(taken));
        },
        [&](opal_status status) {
            return set_name(set) + " " + client_property_string(property) + status_string(status);
        });
}

// Returns a property of a set, changed as the fault says.
opal_status give_property(const Fault& fault, const Property& found, opal_property& property) {
    if (!fault.fails_after()) {
        hand_out_with(fault, found.name, found.value, property);
    }
    return ZTSTATUS_OK;
}

// Returns a new set, or none if the fault says so.
opal_status give_set(const Fault& fault, PropertySet properties, opal_propset& set) {
    if (!fault.fails_after()) {
        set = fault.nothing ? nullptr : new_propset(std::move(properties));
    }
    return ZTSTATUS_OK;
}

// A property as it was returned with a fault; empty if none was.
std::string found_string(const Property* found, const ResultFault& fault) {
    return found != nullptr
               ? " " + quoted(found->name) + " " + call_text().value(found->value, fault)
               : "";
}

}  // namespace

opal_propset new_propset(PropertySet properties) {
    auto set = std::make_unique<opal_propset_s>();
    set->properties = std::move(properties);
    ++live.property_sets;
    return set.release();
}

bool is_propset(opal_propset set) {
    return set != nullptr && set->magic == opal_propset_s::alive;
}

bool delete_propset(opal_propset set) {
    if (!is_propset(set)) {
        return false;
    }
    const std::unique_ptr<opal_propset_s> owner(set);
    set->magic = 0;  // makes a second call fail as long as the memory is not reused
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
        Function::PsCreatePropset, nullptr,
        [set](const Fault& fault) -> opal_status {
            if (set == nullptr) {
                return ZTERROR_INVALID_ARGUMENT;
            }
            return give_set(fault, {}, *set);
        },
        [set](opal_status status) {
            return status_string(status) + (!is_failure(status) ? set_name(*set) : "");
        });
}

opal_status PsDestroyPropset(opal_propset set) {
    const std::string name = is_recorded(Function::PsDestroyPropset) ? set_name(set) : "";
    return client_call(
        Function::PsDestroyPropset, nullptr,
        [set](const Fault&) {
            return delete_propset(set) ? ZTSTATUS_OK : ZTERROR_INVALID_ARGUMENT;
        },
        [&name](opal_status status) { return name + status_string(status); });
}

opal_status PsAddProperty(opal_propset set, const opal_property* property) {
    return put_property(Function::PsAddProperty, set, property, [set](Property taken) {
        if (find_in(set, taken.name) != nullptr) {
            return ZTERROR_DUPLICATE;
        }
        set->properties.push_back(std::move(taken));
        return ZTSTATUS_OK;
    });
}

opal_status PsSetProperty(opal_propset set, const opal_property* property) {
    return put_property(Function::PsSetProperty, set, property, [set](Property taken) {
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
    });
}

opal_status PsFindProperty(opal_propset set, const char* name, opal_property* property) {
    const Property* found = nullptr;
    ResultFault handed_out;
    return client_call(
        Function::PsFindProperty, name,
        [&](const Fault& fault) -> opal_status {
            if (!is_propset(set) || name == nullptr || property == nullptr) {
                return ZTERROR_INVALID_ARGUMENT;
            }
            if (fault.nothing) {
                *property = {};
                return ZTSTATUS_OK;
            }
            handed_out = fault.result();
            found = find_in(set, name);
            return found != nullptr ? give_property(fault, *found, *property) : ZTERROR_PROPERTY;
        },
        [&](opal_status status) {
            return set_name(set) + " " + name_string(name) + status_string(status) +
                   found_string(is_failure(status) ? nullptr : found, handed_out);
        });
}

opal_status PsOpenPropset(opal_propset set) {
    return client_call(
        Function::PsOpenPropset, nullptr,
        [set](const Fault&) -> opal_status {
            if (!is_propset(set)) {
                return ZTERROR_INVALID_ARGUMENT;
            }
            set->walk = 0;
            return ZTSTATUS_OK;
        },
        [set](opal_status status) { return set_name(set) + status_string(status); });
}

opal_status PsFindNextProperty(opal_propset set, opal_property* property) {
    const Property* found = nullptr;
    ResultFault handed_out;
    return client_call(
        Function::PsFindNextProperty, nullptr,
        [&](const Fault& fault) -> opal_status {
            if (!is_propset(set) || property == nullptr) {
                return ZTERROR_INVALID_ARGUMENT;
            }
            if (set->walk >= set->properties.size()) {
                return ZTERROR_END_OF_SET;
            }
            const Property& next = set->properties[set->walk++];
            if (fault.nothing) {
                *property = {};
                return ZTSTATUS_OK;
            }
            found = &next;
            handed_out = fault.result();
            return give_property(fault, *found, *property);
        },
        [&](opal_status status) {
            return set_name(set) + status_string(status) +
                   found_string(is_failure(status) ? nullptr : found, handed_out);
        });
}

opal_status PsFreeProperty(opal_property* property) {
    const char* given = property != nullptr ? property->name : nullptr;
    const std::string name = is_recorded(Function::PsFreeProperty) ? name_string(given) : "";
    return client_call(
        Function::PsFreeProperty, given,
        [property](const Fault&) -> opal_status {
            if (property == nullptr) {
                return ZTERROR_INVALID_ARGUMENT;
            }
            if (property->name == nullptr && property->value == nullptr) {
                return ZTSTATUS_OK;
            }
            return free_property(*property) ? ZTSTATUS_OK : ZTERROR_INVALID_ARGUMENT;
        },
        [&name](opal_status status) { return " " + name + status_string(status); });
}

opal_status PsCopyPropset(opal_propset set, opal_propset* copy) {
    return client_call(
        Function::PsCopyPropset, nullptr,
        [set, copy](const Fault& fault) -> opal_status {
            if (!is_propset(set) || copy == nullptr) {
                return ZTERROR_INVALID_ARGUMENT;
            }
            return give_set(fault, set->properties, *copy);
        },
        [set, copy](opal_status status) {
            return set_name(set) + status_string(status) +
                   (!is_failure(status) ? set_name(*copy) : "");
        });
}
