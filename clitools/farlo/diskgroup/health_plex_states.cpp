#include "diskgroup/health_plex_states.h"

#include "api/farlo.h"
#include "bus/database.h"
#include "core/connection.h"
#include "core/guarded.h"
#include "core/guid_string.h"
#include "core/lookup.h"
#include "core/read_property.h"
#include "core/trace_log.h"
#include "volume/find_volume.h"

#include <iterator>
#include <tuple>
#include <vector>

namespace farlo {
namespace {

// Leaves the field unchanged if the name cannot be read or does not fit.
void fill_name(const CZtObject& plex, farlo_plex_state& record) {
    WideString name;
    if (try_read(plex, "Name", name)) {
        std::ignore = copy_string(record.name, std::size(record.name), name.c_str(), name.length());
    }
}

// Leaves the fields unchanged whose properties cannot be read.
void fill_record(const CZtObject& plex, farlo_plex_state& record) {
    fill_name(plex, record);
    std::ignore = try_read(plex, "ztvmstate", record.state);
}

std::uint32_t plex_states(const CZtObject& volume, std::uint32_t* count,
                          farlo_plex_state* records) {
    return guarded([&] {
        std::vector<CZtObject> plexes;
        volume.GetChildObjects(plexes, ZTTYPE_PLEX);
        *count = static_cast<std::uint32_t>(plexes.size());
        if (records == nullptr) {
            return FARLO_BUFFER_TOO_SMALL;
        }
        // KEPT: the array's capacity is not checked; the caller is responsible for it
        // (farlo.h).
        for (std::size_t i = 0; i < plexes.size(); ++i) {
            fill_record(plexes[i], records[i]);
        }
        return FARLO_SUCCESS;
    });
}

}  // namespace

std::uint32_t GetDgVolPlexStatesW(opal_handle handle, const wchar_t* name, const char* guid,
                                  const wchar_t* device, std::uint32_t* count,
                                  farlo_plex_state* plexes) {
    log(6, L"Entering GetDgVolPlexStatesW");
    if (handle == nullptr) {
        return FARLO_NULL_HANDLE;
    }
    if (!is_connected(handle)) {
        return FARLO_NOT_CONNECTED;
    }
    if (device == nullptr) {
        return FARLO_PROVIDER_FAILED;
    }
    if (count == nullptr) {
        log(0, L"GetDgVolPlexStatesW() failed , pCount == NULL, error=(0x%x) ",
            FARLO_MISSING_ARGUMENT);
        return FARLO_MISSING_ARGUMENT;
    }
    CZtObject group;
    std::uint32_t status = GetDgObjId(handle, name, guid, group, /*cluster_only=*/false);
    if (status != FARLO_SUCCESS) {
        log(0, L"GetDgVolPlexStatesW::GetDgObjId failed, error=(0x%x) ", status);
        return status;
    }
    status = check_device(L"GetDgVolPlexStatesW", device);
    if (status == FARLO_SUCCESS) {
        CZtObject volume;
        status = FindVolObjByDevName(handle, device, volume) ? plex_states(volume, count, plexes)
                                                             : FARLO_INVALID_ARGUMENT;
    }
    // KEPT: the entry line instead of an exit line; administrators search for it.
    log(6, L"Entering GetDgVolPlexStatesW");
    return status;
}

}  // namespace farlo
