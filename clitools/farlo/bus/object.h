// A client-side handle on one object of the storage management service.
//
// Operations that fail trace through ZtTrace and throw the bus status as a
// std::uint32_t.
#pragma once

#include "bus/bus_memory.h"
#include "bus/property_set.h"
#include "bus/typed_value.h"
#include "ztbus3.h"

#include <string>
#include <vector>

namespace farlo {

// The two values by which every bus call identifies its connection.
struct ConnectionPair {
    opal_connection connection = nullptr;
    opal_context context = nullptr;
};

class CZtObject {
  public:
    CZtObject() = default;  // the null object
    CZtObject(const ConnectionPair& pair, const opal_objid& id) : m_pair(pair), m_id(id) {}
    virtual ~CZtObject();
    CZtObject(CZtObject&& other) noexcept;
    CZtObject& operator=(CZtObject&&) = delete;
    CZtObject(const CZtObject&) = delete;
    CZtObject& operator=(const CZtObject&) = delete;

    // Makes this a handle on the same object. The transaction is not assigned.
    void assign(const CZtObject& other) {
        m_pair = other.m_pair;
        m_id = other.m_id;
    }

    const ConnectionPair& pair() const { return m_pair; }
    const opal_objid& id() const { return m_id; }

    // Returns false when there is no such property and `optional` is set.
    virtual bool GetProp(const char* name, BusProperty& property, bool optional = false) const;

    // Reads a property of the type that T stands for (typed_value.h).
    template <class T> bool GetProp(const char* name, T& value, bool optional = false) const {
        return read_typed(name, value,
                          [&](BusProperty& property) { return GetProp(name, property, optional); });
    }

    virtual void AddProperty(const CZtProperty& property);
    virtual void AddProperty(const opal_property& property);
    virtual std::uint32_t Destroy();
    virtual void GetProperties(CZtTempPropertySet& properties) const;
    virtual void GetType(std::string& type) const;

    // Appends the child objects, only those of `type` if it is given.
    virtual void GetChildObjects(std::vector<CZtObject>& objects, const char* type = nullptr) const;
    // Appends the parent objects of a type.
    virtual void GetParentObjects(const char* type, std::vector<CZtObject>& objects) const;

    std::wstring Name() const;
    ZtI18n NameI18N() const;
    std::uint32_t State() const;
    ZtI18n StateDescription() const;

    // Values for the next change of the object. Its user creates the set; it is
    // destroyed with the object.
    CZtPropertySet& transaction() { return m_transaction; }

  private:
    ConnectionPair m_pair;
    opal_objid m_id{};
    CZtPropertySet m_transaction;
};

// Appends one object per id, each with the same connection pair.
void append_objects(std::vector<CZtObject>& objects, const ConnectionPair& pair, const BusIds& ids);

}  // namespace farlo
