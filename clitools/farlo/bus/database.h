// Finding objects of the storage management service. Object types are the ZTTYPE_ names of
// ztservice.h.
#pragma once

#include "bus/object.h"
#include "ztservice.h"

#include <cstdint>
#include <string_view>
#include <vector>

namespace farlo {

// A query for the objects of a type whose property has a given value, in a 4096-byte
// buffer of the bus.
class QueryString {
  public:
    static constexpr std::size_t bytes = 4096;
    static constexpr std::size_t characters = bytes / sizeof(wchar_t);

    // The number of characters of the longest value that fits, including its
    // terminator.
    static constexpr std::size_t value_capacity(std::string_view type, std::string_view property) {
        constexpr std::string_view frame = "SELECT FROM  where \"\" EQ ";
        return characters - frame.size() - type.size() - property.size();
    }

    QueryString();

    // False when the buffer could not be allocated.
    explicit operator bool() const { return m_string != nullptr; }

    // Inserts the value as it is: nothing is quoted or escaped. Returns false, and
    // leaves an empty query, when the value does not fit.
    [[nodiscard]] bool format(const char* type, const char* property, const wchar_t* value);

    const wchar_t* c_str() const { return m_string.get(); }

  private:
    BusBlock<wchar_t> m_string;
};

class CZtDatabase {
  public:
    // Appends all objects of a type, in the service's order, and returns the bus
    // status. A failure is traced and returned, not thrown, and leaves the vector
    // unchanged.
    [[nodiscard]] static std::uint32_t GetObjects(const ConnectionPair& pair, const char* type,
                                                  std::vector<CZtObject>& objects);

    // Appends the objects that a query names and returns the bus status. A
    // failure is returned, neither traced nor thrown.
    [[nodiscard]] static std::uint32_t GetObjectsByQuery(const ConnectionPair& pair,
                                                         const wchar_t* query,
                                                         std::vector<CZtObject>& objects);
};

}  // namespace farlo
