// The fixture of every test of a record.
#pragma once

#include "query/record_image.h"
#include "support/bus_lines.h"
#include "support/farlo_test.h"
#include "support/fault_rules.h"
#include "support/line_lists.h"

#include <map>

namespace records {

using namespace support;

// What the service's mount-point methods return for one volume.
struct Mounts {
    // Without a value the method returns no such property.
    std::optional<std::wstring> letter = L"0";
    std::vector<std::wstring> paths;
    // For each path, the name of the volume that contains it.
    std::vector<std::string> holders;
};

// Lines of the log.
using Log = std::vector<Expected>;
inline const Expected caught{6, "API_TRY_CATCH_FAILED "};

// A call during which the connection drops, and which gets as far as its exit line.
struct Drop {
    FaultRule during;  // the bus calls that drop the connection
    std::function<std::uint32_t(GuardedBuffer&)> call;
    bool written;  // whether the whole record is written, or nothing
    Log log;       // between the entry line and the closing lines
};

class RecordTest : public FarloTest {
  protected:
    // As FarloTest's, but the service's mount-point methods return what `mounts` says.
    void at_every_threshold(const std::function<void()>& body);
    void once(const std::function<void()>& body);
    void at_every_allocation(const std::function<void()>& body);
    std::map<std::string, Mounts> mounts;

    // In a body: sets a fault plan that keeps the mount-point methods as they are.
    void set_faults(std::vector<FaultRule> rules);

    // Outside of a body: runs `call`, which normally succeeds, with each of its allocations
    // failing in turn. Each run either succeeds and writes nothing that is not in `expected`, or
    // returns one of `failures` and writes nothing. Each of `failures` must occur.
    void expect_survives_allocation_failures(
        const Image& expected, const std::function<std::uint32_t(GuardedBuffer&)>& call,
        const std::vector<std::uint32_t>& failures = {FARLO_EXCEPTION});

    // Outside of a body: each call returns FARLO_NOT_CONNECTED, leaves `expected_size` in `size`,
    // and logs `entering`, its own lines and `closing`.
    void expect_drops_reported(const std::vector<Drop>& drops, const Image& expected,
                               const std::uint32_t& size, std::uint32_t expected_size,
                               const Expected& entering, const Log& closing);

  private:
    void run_with_mounts(const std::function<void()>& body);
    void add_mount_results(const opal_objid& target, std::uint32_t minor, opal_propset output);
};

// During its life every group seems to have `count` volumes, none of which can be read.
class ManyVolumes {
  public:
    ManyVolumes(HMODULE module, std::uint32_t count);

  private:
    StandIn<decltype(ObGetChildObjects)> m_children;
};

// Lines of the recorder: the methods that return a volume's mount points and its drive letter.
inline std::string get_mount_points(const std::string& volume) {
    return invoke(volume, method::get_mount_points, "", bus_success);
}
inline std::string get_drive_letter(const std::string& volume, std::uint32_t status = bus_success) {
    return invoke(volume, method::get_drive_letter, "\"FromMM\": " + uint32(1), status);
}

}  // namespace records
