// Objects of the service, as a connection of the test sees them.
#pragma once

#include "service/session_calls.h"

#include <gtest/gtest.h>

#include <vector>

namespace support {

// Returns a property of all objects of a type, which must be a number of type Number.
template <class Number>
std::vector<Number> read_all(opal_handle handle, const char* type, const char* property_name) {
    std::vector<Number> values;
    std::vector<opal_objid> objects;
    EXPECT_EQ(list(handle, type, objects), ZTSTATUS_OK);
    for (const opal_objid& object : objects) {
        opal_property property;
        EXPECT_EQ(ObGetProperty(handle->connection, handle->connection_context, &object,
                                property_name, &property),
                  ZTSTATUS_OK);
        values.push_back(*static_cast<const Number*>(property.value));
        PsFreeProperty(&property);
    }
    return values;
}

}  // namespace support
