#include "query/dg_name_list.h"

#include "api/farlo.h"
#include "bus/database.h"
#include "core/connection.h"
#include "core/guarded.h"
#include "core/lookup.h"
#include "core/narrow_name.h"
#include "core/read_property.h"
#include "core/trace_log.h"

#include <cstring>
#include <vector>

namespace farlo {
namespace {

constexpr int query_tries = 5;
constexpr DWORD query_pause_ms = 5000;
constexpr std::size_t narrow_name_capacity = 32;

// Whether a name list shows the group. A group whose type cannot be read is not shown.
bool is_selected(const CZtObject& group, bool cluster_groups) {
    std::uint32_t type = 0;
    return try_read_or_throw(group, "LDM DG TYPE", type) && type != ZTDGTYPE_EXCLUDED_0 &&
           type != ZTDGTYPE_EXCLUDED_7 && (type == ZTDGTYPE_CLUSTER) == cluster_groups;
}

bool is_imported(const CZtObject& group) {
    bool imported = false;
    group.GetProp("imported", imported);
    return imported;
}

// Passes the names of the selected, imported groups to `use`, in order. Throws when a
// property cannot be read.
template <class Use>
void for_each_name(const std::vector<CZtObject>& groups, bool cluster_groups, Use&& use) {
    for (const CZtObject& group : groups) {
        if (is_selected(group, cluster_groups) && is_imported(group)) {
            WideString name;
            group.GetProp("Name", name);
            use(name);
        }
    }
}

// Stores strings and their terminators consecutively. Stays within the size that was
// computed before, because the service may have renamed a group since.
class StringList {
  public:
    StringList(void* buffer, std::uint32_t size)
        : m_next(static_cast<char*>(buffer)), m_left(size) {
        std::memset(buffer, 0, size);
    }

    void append(const void* string, std::size_t bytes) {
        if (bytes > m_left) {
            end_with_exception_status();
        }
        std::memcpy(m_next, string, bytes);
        m_next += bytes;
        m_left -= bytes;
    }

  private:
    char* m_next;
    std::size_t m_left;
};

void append_wide(StringList& list, const WideString& name) {
    list.append(name.c_str(), (name.length() + 1) * sizeof(wchar_t));
}

// Refuses a name of more than 31 characters, the most that the narrow forms take.
void append_narrow(StringList& list, const WideString& name) {
    char narrow[narrow_name_capacity];
    if (!narrow_name(name.c_str(), narrow)) {
        end_with_exception_status();
    }
    list.append(narrow, std::strlen(narrow) + 1);
}

std::vector<CZtObject> query_groups(opal_handle handle) {
    std::vector<CZtObject> groups;
    for (int attempt = 0; attempt < query_tries && groups.empty(); ++attempt) {
        groups = objects_of_type(handle, ZTTYPE_DISK_GROUP);
        if (groups.empty()) {
            log(6, L"GetDgNameListCommon: Sleeping for 5 secs");
            Sleep(query_pause_ms);
        }
    }
    return groups;
}

std::uint32_t list_names(opal_handle handle, void** buffer, std::uint32_t* size,
                         std::uint32_t* count, bool cluster_groups, bool wide) {
    const std::vector<CZtObject> groups = query_groups(handle);

    const std::uint32_t width = wide ? sizeof(wchar_t) : sizeof(char);
    std::uint32_t names = 0;
    std::uint32_t required = 0;
    for_each_name(groups, cluster_groups, [&](const WideString& name) {
        ++names;
        required += (static_cast<std::uint32_t>(name.length()) + 1) * width;
    });

    if (names == 0) {
        if (count != nullptr) {
            *count = 0;
        }
        return FARLO_SUCCESS;
    }
    if (size == nullptr) {
        return FARLO_MISSING_ARGUMENT;
    }
    if (*size < required) {
        *size = required;
        return FARLO_BUFFER_TOO_SMALL;
    }
    if (buffer == nullptr || *buffer == nullptr || count == nullptr) {
        return FARLO_MISSING_ARGUMENT;
    }
    *count = names;
    StringList list(*buffer, required);
    for_each_name(groups, cluster_groups, [&](const WideString& name) {
        wide ? append_wide(list, name) : append_narrow(list, name);
    });
    return FARLO_SUCCESS;
}

}  // namespace

std::uint32_t GetDgNameListCommon(opal_handle handle, void** buffer, std::uint32_t* size,
                                  std::uint32_t* count, bool cluster_groups, bool wide) {
    log(6, L"Entering GetDgNameListCommon");
    if (handle == nullptr) {
        log(0, L"GetDgNameListCommon() failed , NULL opal_handle, error=(0x%x)", FARLO_NULL_HANDLE);
        return FARLO_NULL_HANDLE;
    }
    if (!is_connected(handle)) {
        log(0, L"GetDgNameListCommon() failed , error=(0x%x)", FARLO_NOT_CONNECTED);
        return FARLO_NOT_CONNECTED;
    }

    std::uint32_t status =
        guarded([&] { return list_names(handle, buffer, size, count, cluster_groups, wide); });
    if (status == FARLO_MISSING_ARGUMENT) {
        return status;
    }
    status = status_if_still_connected(handle, status);
    if (status != FARLO_SUCCESS && status != FARLO_BUFFER_TOO_SMALL) {
        log(0, L"GetDgNameListCommon() failed, error=(0x%x) ", status);
    }
    log(6, L"Exiting GetDgNameListCommon");
    return status;
}

}  // namespace farlo
