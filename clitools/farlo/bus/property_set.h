// Property sets of the object bus: typed reading, adding and setting.
//
// Every operation that fails traces through ZtTrace and throws the bus status as a
// std::uint32_t. The only other exception is std::bad_alloc.
#pragma once

#include "bus/bus_memory.h"
#include "bus/typed_value.h"
#include "ztbus3.h"

#include <string>
#include <utility>
#include <vector>

namespace farlo {

// "%S" of the class layer's traces.
inline constexpr wchar_t provider_name[] = L"clusapiprov";

// One name, tag and value, to be added to or set in a set or an object. Strings, bytes
// and arrays are not copied: they must outlive this object.
class CZtProperty {
  public:
    CZtProperty(const char* name, bool value);
    CZtProperty(const char* name, std::int32_t value);
    CZtProperty(const char* name, std::uint32_t value);
    CZtProperty(const char* name, std::int64_t value);
    CZtProperty(const char* name, std::uint64_t value);
    // A NULL string is sent as an empty one.
    CZtProperty(const char* name, const char* value);
    CZtProperty(const char* name, const wchar_t* value);
    CZtProperty(const char* name, const GUID& value);
    CZtProperty(const char* name, const opal_objid& value);
    CZtProperty(const char* name, ZtTime value);
    CZtProperty(const char* name, opal_propset value);
    CZtProperty(const char* name, const opal_i18n& value);
    CZtProperty(const char* name, const opal_i18n_format& value);
    // TYPE_BINARY: `size` bytes.
    CZtProperty(const char* name, const void* bytes, std::uint32_t size);
    // Any array type: `count` elements, `size` bytes in total.
    CZtProperty(const char* name, std::uint32_t type, const void* elements, std::uint32_t count,
                std::uint32_t size);
    CZtProperty(const CZtProperty&) = delete;
    CZtProperty& operator=(const CZtProperty&) = delete;

    const opal_property& bus() const { return m_property; }

  private:
    union Small {
        opal_bool boolean;
        std::int32_t int32;
        std::uint32_t uint32;
        std::int64_t int64;
        std::uint64_t uint64;
        GUID guid;
        opal_objid object;
        opal_propset set;
    };
    Small m_small;
    opal_property m_property;
};

// Refers to a property set of the bus; does not own it.
class CZtPropertySetBase {
  public:
    CZtPropertySetBase() = default;
    explicit CZtPropertySetBase(opal_propset set) : m_set(set) {}
    virtual ~CZtPropertySetBase() = default;
    CZtPropertySetBase(const CZtPropertySetBase&) = delete;
    CZtPropertySetBase& operator=(const CZtPropertySetBase&) = delete;

    void AddProp(const char* name, const char* string);
    void AddProp(const char* name, const wchar_t* string);

    opal_propset handle() const { return m_set; }
    // Passes ownership of the set to the caller.
    opal_propset release() { return std::exchange(m_set, nullptr); }

  protected:
    opal_propset m_set = nullptr;
};

class CZtPropertySet : public CZtPropertySetBase {
  public:
    using CZtPropertySetBase::CZtPropertySetBase;

    void Create();
    void Destroy();

    // Returns false when there is no such property and `optional` is set.
    virtual bool FindProperty(const char* name, BusProperty& property, bool optional = false) const;

    // Reads a property of the type that T stands for (typed_value.h). Returns false and
    // leaves the value unchanged when there is no such property and `optional` is set.
    template <class T> bool GetProp(const char* name, T& value, bool optional = false) const {
        return read_typed(name, value, [&](BusProperty& property) {
            return FindProperty(name, property, optional);
        });
    }

    void AddProperty(const CZtProperty& property);
    void AddProperty(const opal_property& property);
    // Returns 0 or an informational status of the bus; 0 also if the set has that value
    // already.
    [[nodiscard]] std::uint32_t SetProperty(const CZtProperty& property);
    // Replaces `names` with the names of all properties, in their order. A walk that
    // fails leaves it unchanged.
    void GetKeys(std::vector<std::string>& names) const;

    // Formats one property as a string, with its type before the value if `with_type`
    // is set. Returns false and leaves the string unchanged when there is no such
    // property and `optional` is set.
    bool ToString(std::string& string, const char* name, bool optional = false,
                  bool with_type = false) const;
};

// A property set that is created and destroyed with this object.
class CZtTempPropertySet : public CZtPropertySet {
  public:
    CZtTempPropertySet();
    ~CZtTempPropertySet() override;
    CZtTempPropertySet(CZtTempPropertySet&& other) noexcept;
    CZtTempPropertySet& operator=(CZtTempPropertySet&& other) noexcept;

    // Takes over a set that the bus made.
    explicit CZtTempPropertySet(opal_propset set) : CZtPropertySet(set) {}

  private:
    void destroy_quietly();
};

}  // namespace farlo
