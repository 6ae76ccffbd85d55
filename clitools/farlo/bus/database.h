// Finding objects of the storage management service.
#pragma once

#include "object.h"

#include <cstdint>
#include <vector>

namespace farlo {

// Type names of the service's objects.
inline constexpr char disk_group_type[] = "tamo_ztvm_diskgroup";
inline constexpr char volume_type[] = "tamo_ztvm_volume";
inline constexpr char disk_type[] = "tamo_ztvm_disk";
inline constexpr char plex_type[] = "tamo_ztvm_plex";
inline constexpr char subdisk_type[] = "tamo_ztvm_subdisk";
inline constexpr char misc_type[] = "tamo_ztvm_misc";
inline constexpr char file_system_type[] = "tamo_fs_nt";
inline constexpr char cluster_service_type[] = "solvane_cluster_service";

// The text of a query for the objects of a type whose property has a value,
// in a 4096-byte buffer of the bus.
class QueryText {
  public:
    QueryText();

    // False when the buffer could not be allocated.
    explicit operator bool() const { return m_text != nullptr; }

    // The value goes into the text bare: nothing is quoted or escaped. False,
    // and the text empty, when it does not fit.
    bool format(const char* type, const char* property, const wchar_t* value);

    const wchar_t* c_str() const { return m_text.get(); }

  private:
    BusBlock<wchar_t> m_text;
};

class CZtDatabase {
  public:
    // Appends all objects of a type, in the service's order, and returns the bus
    // status. A failure is traced and returned, not thrown, and the vector stays
    // as it was.
    static std::uint32_t GetObjects(const ConnectionPair& pair, const char* type,
                                    std::vector<CZtObject>& objects);

    // Appends the objects that a query names and returns the bus status. A
    // failure is returned, neither traced nor thrown.
    static std::uint32_t GetObjectsByQuery(const ConnectionPair& pair, const wchar_t* query,
                                           std::vector<CZtObject>& objects);
};

}  // namespace farlo
