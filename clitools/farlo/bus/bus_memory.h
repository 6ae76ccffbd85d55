// Owners of memory that the bus allocates.
#pragma once

#include "ztbus3.h"

#include <memory>
#include <span>
#include <utility>

namespace farlo {

struct BusFree {
    void operator()(void* block) const { _ZtFree(block); }
};

// A string or buffer that is freed with _ZtFree.
template <class T> using BusBlock = std::unique_ptr<T, BusFree>;

// The array of object ids that a query or a walk returns.
class BusIds {
  public:
    BusIds() = default;
    ~BusIds() { _ZtFree(m_ids); }
    BusIds(const BusIds&) = delete;
    BusIds& operator=(const BusIds&) = delete;

    // Out arguments of one bus call; the array is empty before it.
    opal_objid** ids() { return &m_ids; }
    std::uint32_t* count() { return &m_count; }

    // A call that succeeded and returned no array found nothing.
    std::span<const opal_objid> get() const {
        return {m_ids, m_ids == nullptr ? 0 : std::size_t{m_count}};
    }

  private:
    opal_objid* m_ids = nullptr;
    std::uint32_t m_count = 0;
};

// One property; freed when it goes out of scope.
class BusProperty {
  public:
    BusProperty() = default;
    ~BusProperty() { free(); }
    BusProperty(const BusProperty&) = delete;
    BusProperty& operator=(const BusProperty&) = delete;

    // Out argument of a bus call, emptied first.
    opal_property* receive() {
        free();
        return &m_property;
    }
    const opal_property& get() const { return m_property; }

    void swap(BusProperty& other) noexcept { std::swap(m_property, other.m_property); }

    void free() {
        if (m_property.name != nullptr || m_property.value != nullptr) {
            PsFreeProperty(&m_property);
            m_property = {};
        }
    }

  private:
    opal_property m_property{};
};

}  // namespace farlo
