// The fixture of every test of a record.
#pragma once

#include "bus_lines.h"
#include "farlo_test.h"
#include "record_image.h"

#include <map>

namespace records {

using namespace support;

// What the service's mount-point methods answer for one volume.
struct Mounts {
    // Nothing: the method leaves the property out.
    std::optional<std::wstring> letter = L"0";
    std::vector<std::wstring> paths;
    // Names of the volumes that hold them, one a path.
    std::vector<std::string> holders;
};

// Lines of the log.
using Log = std::vector<Expected>;
inline Log operator+(Log left, const Log& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}
inline const Expected caught{6, "API_TRY_CATCH_FAILED "};

// A call that reaches its last line, and during which the connection drops.
struct Drop {
    std::string when;  // keys of a fault plan's rule
    std::function<std::uint32_t(GuardedBuffer&)> ask;
    bool written;  // the whole record; nothing otherwise
    Log lines;     // between the first line and the closing ones
};

class RecordTest : public FarloTest {
  protected:
    // As FarloTest's, but the mount-point methods answer what `mounts` says, whatever
    // the lab's service would.
    void at_every_threshold(const std::function<void()>& body);
    void once(const std::function<void()>& body);
    void at_every_allocation(const std::function<void()>& body);
    std::map<std::string, Mounts> mounts;

    // In a body: sets a fault plan in front of those answers; each rule ends in a
    // comma.
    void set_rules(const std::string& rules);

    // Outside of a body: runs `ask`, which answers 0, with each of its allocations
    // failing in turn. It ends with one of `failures` (by default: an exception), each of
    // which occurs, and an untouched buffer, or with 0 and nothing written that is not in
    // `whole`.
    void expect_whole_or_less(const Image& whole,
                              const std::function<std::uint32_t(GuardedBuffer&)>& ask,
                              const std::vector<std::uint32_t>& failures = {0x12});

    // Outside of a body: each call is told of its drop by 20, leaves `told` in `size`, and
    // writes to the log `first`, its lines and `closing`.
    void expect_drops_told(const std::vector<Drop>& drops, const Image& whole,
                           const std::uint32_t& size, std::uint32_t told, const Expected& first,
                           const Log& closing);

  private:
    void run_answered(const std::function<void()>& body);
    void add_answers(const opal_objid& target, std::uint32_t minor, opal_propset output);
};

// For its life every group has so many volumes, none of which is there.
class ManyVolumes {
  public:
    ManyVolumes(HMODULE module, std::uint32_t count);

  private:
    StandIn<decltype(ObGetChildObjects)> m_children;
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
inline std::string dropping(const std::string& keys) {
    return "{" + keys + R"(, "drop": true},)";
}
// For `dropping`: a property's reading.
inline std::string reading(const std::string& object, const std::string& property) {
    return R"("function": "ObGetProperty", "object": ")" + object + R"(", "property": ")" +
           property + '"';
}
// For `dropping`: a walk to the objects below.
inline std::string walking_to(const std::string& type) {
    return R"("function": "ObGetChildObjects", "type": ")" + type + '"';
}

}  // namespace records
