// The fixture of every test of a record.
#pragma once

#include "bus_lines.h"
#include "farlo_test.h"
#include "record_image.h"

#include <map>

namespace records {

using namespace support;

inline constexpr char mount_methods[] = "{2f0eafcd-7b86-4f9b-bd98-d61ce4211f8f}";

// What the service's mount-point methods answer for one volume.
struct Mounts {
    // Nothing: the method leaves the property out.
    std::optional<std::wstring> letter = L"0";
    std::vector<std::wstring> paths;
    // Names of the volumes that hold them, one a path.
    std::vector<std::string> holders;
};

class RecordTest : public FarloTest {
  protected:
    // As FarloTest's, but the mount-point methods answer what `mounts` says, whatever
    // the lab's service would.
    void at_every_threshold(const std::function<void()>& body);
    void once(const std::function<void()>& body);
    std::map<std::string, Mounts> mounts;

    // In a body: sets a fault plan in front of those answers; each rule ends in a
    // comma.
    void set_rules(const std::string& rules);

  private:
    void run_answered(const std::function<void()>& body);
    void add_answers(const opal_objid& target, std::uint32_t minor, opal_propset output);
};

// Lines of the recorder.
inline std::string child(const std::string& object, const std::string& type,
                         const std::string& found) {
    return "ObGetChildObjects @" + object + " " + type + " -> 0x0 [" + found + "]";
}
inline std::string parent(const std::string& object, const std::string& type,
                          const std::string& found) {
    return "ObGetParentObjects @" + object + " " + type + " -> 0x0 [" + found + "]";
}
inline std::string ask_mounts(const std::string& volume) {
    return invoke(volume, mount_methods, 8006, "", "0x0");
}
inline std::string ask_letter(const std::string& volume, const std::string& status = "0x0") {
    return invoke(volume, mount_methods, 8007, "\"FromMM\": UINT32 1", status);
}

// A fault plan's rule with a comma behind.
inline std::string failing(const std::string& keys, const std::string& status = "0xc1000001") {
    return "{" + keys + R"(, "status": ")" + status + "\"},";
}

}  // namespace records
