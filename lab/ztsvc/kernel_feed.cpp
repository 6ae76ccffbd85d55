#include "ztsvc/kernel_feed.h"

#include "store/group_reservation.h"
#include "store/string_conversions.h"
#include "store/volume_state_bits.h"
#include "ztservice.h"

#include <cstdio>
#include <cstring>
#include <stdexcept>

namespace lab {
namespace {

static_assert(sizeof lab_dm_group::id == sizeof(opal_objid));

// Copies a string with its terminator. Returns false if it does not fit: no
// request to the driver can name such an object.
template <std::size_t capacity> bool copy(char (&field)[capacity], const std::string& text) {
    if (text.size() >= capacity) {
        return false;
    }
    std::memcpy(field, text.c_str(), text.size() + 1);
    return true;
}

// Leaves the field zero if the string is not a GUID.
void copy_guid(std::uint8_t (&field)[16], const std::string& text) {
    unsigned long first = 0;
    unsigned parts[10] = {};
    int used = 0;
    const char* begin = text.c_str() + (text[0] == '{' ? 1 : 0);
    if (std::sscanf(begin, "%8lx-%4x-%4x-%2x%2x-%2x%2x%2x%2x%2x%2x%n", &first, &parts[0], &parts[1],
                    &parts[2], &parts[3], &parts[4], &parts[5], &parts[6], &parts[7], &parts[8],
                    &parts[9], &used) != 11 ||
        used != 36) {
        return;
    }
    GUID guid{
        first, static_cast<unsigned short>(parts[0]), static_cast<unsigned short>(parts[1]), {}};
    for (int i = 0; i < 8; ++i) {
        guid.Data4[i] = static_cast<unsigned char>(parts[i + 2]);
    }
    std::memcpy(field, &guid, sizeof guid);
}

std::wstring this_node(Model& model) {
    const std::vector<opal_objid>& services = model.of_type(ZTTYPE_CLUSTER_SERVICE);
    return services.empty() ? std::wstring() : model.find(services.front())->text("node");
}

lab_dm_group group_record(const Object& group, const std::wstring& node) {
    lab_dm_group record{};
    std::memcpy(record.id, group.id.bytes, sizeof record.id);
    const std::string guid = group.narrow_string("dgid");
    if (group.hidden || guid.empty() || !copy(record.guid_string, guid)) {
        record.flags = LAB_DM_GONE;
        return record;
    }
    copy_guid(record.guid, guid);
    record.flags = (group.is_true("imported") ? LAB_DM_GROUP_IMPORTED : 0u) |
                   (is_reserved_by(group, node) ? LAB_DM_GROUP_RESERVED : 0u);
    return record;
}

lab_dm_volume volume_record(Model& model, const Object& volume) {
    lab_dm_volume record{};
    std::memcpy(record.id, volume.id.bytes, sizeof record.id);
    std::string name;
    if (volume.hidden || !to_ansi(volume.text("Name"), name) || !copy(record.name, name)) {
        record.flags = LAB_DM_GONE;
        return record;
    }
    for (const opal_objid& parent : volume.parents) {
        if (model.find(parent)->type == ZTTYPE_DISK_GROUP) {
            std::memcpy(record.group_id, parent.bytes, sizeof record.group_id);
            break;
        }
    }
    copy_guid(record.guid, volume.narrow_string("volguid"));
    const bool is_healthy = (volume.number("ztvmstate") & (volume_offline | volume_broken)) == 0;
    record.flags = is_healthy ? LAB_DM_VOLUME_HEALTHY : 0;
    return record;
}

opal_objid object_of(const lab_dm_event& event) {
    opal_objid id{};
    std::memcpy(id.bytes, event.id, sizeof event.id);
    return id;
}

void apply(Model& model, const lab_dm_event& event) {
    Object* object = model.find(object_of(event));
    if (object == nullptr) {
        return;
    }
    if (event.code == DM_INFO_RELEASE_RESERVATION) {
        release_reservation(model, *object);
    } else {
        model.set(*object, "ztvmstate", uint32_value(object->number("ztvmstate") | volume_offline));
    }
}

}  // namespace

KernelFeed::KernelFeed(Store& store) : m_store(store) {
    if (!has_driver()) {
        return;
    }
    m_control.forget();
    m_control.take_events();
    m_store.set_change_sink(
        [this](Model& model, const std::vector<opal_objid>& changed) { feed(model, changed); });
}

void KernelFeed::feed(Model& model, const std::vector<opal_objid>& changed) {
    const std::wstring node = this_node(model);
    std::vector<lab_dm_group> groups;
    std::vector<lab_dm_volume> volumes;
    for (const opal_objid& id : changed) {
        const Object* object = model.find(id);
        if (object == nullptr) {
            // Its type is unknown: remove it as a group and as a volume.
            lab_dm_group group{};
            lab_dm_volume volume{};
            std::memcpy(group.id, id.bytes, sizeof group.id);
            std::memcpy(volume.id, id.bytes, sizeof volume.id);
            group.flags = LAB_DM_GONE;
            volume.flags = LAB_DM_GONE;
            groups.push_back(group);
            volumes.push_back(volume);
        } else if (object->type == ZTTYPE_DISK_GROUP) {
            groups.push_back(group_record(*object, node));
        } else if (object->type == ZTTYPE_VOLUME) {
            volumes.push_back(volume_record(model, *object));
        }
    }
    m_control.set_groups(groups);
    m_control.set_volumes(volumes);
}

void KernelFeed::plan_reply(std::uint32_t code, std::uint32_t status, std::uint32_t requests) {
    if (!has_driver()) {
        throw std::runtime_error("dmcontrol.sys is not loaded");
    }
    const std::uint32_t refusal = m_control.set_answer(code, status, requests);
    if (refusal != 0) {
        char reason[64];
        std::snprintf(reason, sizeof reason, "the driver has refused, status 0x%x",
                      static_cast<unsigned>(refusal));
        throw std::runtime_error(reason);
    }
}

void KernelFeed::collect() {
    if (!has_driver()) {
        return;
    }
    // Held until the events are applied, so that no other thread answers before.
    const Exclusive hold(m_collect_lock);
    if (!m_control.has_events()) {
        return;
    }
    const std::vector<lab_dm_event> events = m_control.take_events();
    if (!events.empty()) {
        m_store.change([&events](Model& model) {
            for (const lab_dm_event& event : events) {
                apply(model, event);
            }
        });
    }
}

}  // namespace lab
