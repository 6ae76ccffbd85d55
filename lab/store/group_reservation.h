// The reservation of a disk group: properties that the group has only while a
// node holds the reservation.
#pragma once

#include "store/model.h"

#include <string>

namespace lab {

// The service object has a "reservation key", too: the key of this node.
inline constexpr char reservation_owner[] = "reservation owner";        // the node's name
inline constexpr char reservation_key[] = "reservation key";            // the owner's key
inline constexpr char reservation_defended[] = "reservation defended";  // by its owner

inline bool is_reserved(const Object& group) {
    return group.get(reservation_owner) != nullptr;
}

inline bool is_reserved_by(const Object& group, const std::wstring& node) {
    return is_reserved(group) && group.text(reservation_owner) == node;
}

void reserve(Model& model, Object& group, const std::wstring& node, std::uint64_t key,
             bool defended);
void release_reservation(Model& model, Object& group);

}  // namespace lab
