#include "volume/mount_points.h"

#include "api/farlo.h"
#include "core/guarded.h"
#include "core/guid_string.h"
#include "core/method.h"
#include "core/trace_log.h"

#include <algorithm>
#include <cwchar>
#include <string>
#include <string_view>
#include <vector>

namespace farlo {
namespace {

// A letter, a colon and the terminator.
constexpr std::size_t letter_capacity = 3;

constexpr wchar_t separator[] = L"; ";

// The longest chain of nested holders that is followed. Each holder adds at least one
// character, so the paths of a longer chain do not fit.
constexpr std::size_t nesting_limit = mount_string_capacity;

// The caller's string of mount points. What does not fit is cut off.
class MountString {
  public:
    // A string without a terminator counts as full.
    explicit MountString(wchar_t* string)
        : m_string(string), m_length(wcsnlen(string, mount_string_capacity)) {}

    bool full() const { return m_length + 1 >= mount_string_capacity; }

    void append(std::wstring_view part) {
        if (full()) {
            return;
        }
        const std::size_t length = std::min(part.size(), mount_string_capacity - 1 - m_length);
        std::copy_n(part.data(), length, m_string + m_length);
        m_length += length;
        m_string[m_length] = L'\0';
    }

  private:
    wchar_t* m_string;
    std::size_t m_length;
};

// The folders in which a volume is mounted: their relative paths, and the volumes
// that hold them.
struct Mounts {
    std::vector<std::wstring> paths;
    std::vector<opal_objid> holders;

    std::size_t count() const { return std::min(paths.size(), holders.size()); }
};

// A volume whose paths are being gathered, and the visit that asked for them.
struct Visit {
    const opal_objid& volume;
    const Visit* asked_by;
    std::size_t depth;
};

bool is_being_visited(const opal_objid& volume, const Visit* visit) {
    for (; visit != nullptr; visit = visit->asked_by) {
        if (ObCompareId(&volume, &visit->volume) == 0) {
            return true;
        }
    }
    return false;
}

std::uint32_t ask_mounts(opal_handle handle, const opal_objid& volume, Mounts& mounts) {
    return guarded([&] {
        const CZtTempPropertySet input;
        OutputPropertySet output;
        const std::uint32_t status =
            CsfInvoke(handle->connection, volume, MNTOP_GET_ALL_MOUNTPOINTS, input, output);
        if (output && status != 0) {
            log(4, L"GetMountPoints:MNTOP_GET_ALL_MOUNTPOINTS, CsfInvoke failed with error = 0x%x.",
                status);
        } else if (output) {
            std::uint32_t count = 0;
            output.GetProp("ALL MOUNT POINTS ARRAY", mounts.paths);
            output.GetProp("NUMBER OF MOUNT POINTS", count);
            output.GetProp("MEMBERIDZ", mounts.holders);
            // KEPT: the number only says whether there are any; the array's length
            // counts.
            if (count == 0) {
                mounts.paths.clear();
            }
        }
        return status;
    });
}

std::uint32_t append_mounts(opal_handle handle, MountString& string, const Visit& visit);

// Appends the paths of a holder without a letter. Appends nothing for a holder that
// is being visited already, or is nested too deep.
std::uint32_t append_holder(opal_handle handle, MountString& string, const opal_objid& holder,
                            const Visit& visit) {
    if (visit.depth >= nesting_limit || is_being_visited(holder, &visit)) {
        return FARLO_SUCCESS;
    }
    return append_mounts(handle, string, {holder, &visit, visit.depth + 1});
}

// Appends a path on a volume with a letter; "0" is a letter that gets no colon.
void append_lettered(MountString& string, const wchar_t* letter, const std::wstring& path) {
    string.append(letter);
    if (std::wcscmp(letter, L"0") != 0) {
        string.append(L":");
    }
    string.append(L"\\");
    string.append(path);
}

// KEPT: callers know the separators as they are: two between a nested path and a
// lettered one that follows, none between lettered paths and the first nested one.
std::uint32_t append_mounts(opal_handle handle, MountString& string, const Visit& visit) {
    Mounts mounts;
    std::uint32_t status = ask_mounts(handle, visit.volume, mounts);
    if (status != 0) {
        return status;
    }
    bool appended_nested = false;
    // The service is not called again once the string is full.
    for (std::size_t i = 0; i < mounts.count() && !string.full(); ++i) {
        if (appended_nested) {
            string.append(separator);
        }
        const opal_objid& holder = mounts.holders[i];
        wchar_t letter[letter_capacity] = L"0";
        if (GetDriveLetterFromMntMgr(handle, letter, letter_capacity, holder) == FARLO_SUCCESS) {
            if (i != 0) {
                string.append(separator);
            }
            append_lettered(string, letter, mounts.paths[i]);
        } else {
            status = append_holder(handle, string, holder, visit);
            string.append(mounts.paths[i]);
            appended_nested = true;
        }
    }
    return status;
}

}  // namespace

std::uint32_t GetMountPoints(opal_handle handle, wchar_t* string, const opal_objid& volume) {
    MountString mount_string(string);
    return append_mounts(handle, mount_string, {volume, nullptr, 1});
}

std::uint32_t GetDriveLetterFromMntMgr(opal_handle handle, wchar_t* letter, std::size_t capacity,
                                       const opal_objid& volume) {
    return guarded([&] {
        CZtTempPropertySet input;
        input.AddProperty(CZtProperty("FromMM", std::uint32_t{1}));
        OutputPropertySet output;
        const std::uint32_t status =
            CsfInvoke(handle->connection, volume, MNTOP_GET_DRIVE_LETTER, input, output);
        if (output && status != 0) {
            // Logged as progress, because a volume without a letter is normal.
            log(6,
                L"GetDriveLetterFromMntMgr:MNTOP_GET_DRIVE_LETTER, CsfInvoke failed with error = "
                L"0x%x.",
                status);
        } else if (output) {
            WideString string;
            output.GetProp("DRIVE LETTER", string);
            if (!copy_string(letter, capacity, string.c_str(), string.length())) {
                end_with_exception_status();
            }
        }
        return status;
    });
}

}  // namespace farlo
