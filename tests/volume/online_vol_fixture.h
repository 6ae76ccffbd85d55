// Fixture of the tests of OnlineVol, and the calls and lines that they expect.
#pragma once

#include "support/farlo_test.h"
#include "support/fault_rules.h"
#include "support/method_results.h"
#include "volume/volume_lines.h"

namespace support {

class OnlineVol : public FarloTest {
  protected:
    OnlineVol() { set_node(R"("role": 1)", imported); }

    // Sets a scenario with this node and one cluster-shared group, "dg1", with the volume "vol1".
    enum GroupState { deported, imported };
    void set_node(const std::string& node, GroupState group) {
        scenario =
            "{\"node\": {" + node +
            R"(}, "disk_groups": [{"name": "dg1", "dgid": "guid-1", "type": 8, "imported": )" +
            (group == imported ? "true" : "false") +
            R"(, "volumes": [{"name": "vol1", "device": "\\Device\\one two"}]}]})";
    }

    // The service gets the caller's flags and bit 0.
    static constexpr std::uint32_t flags = 0x6;
    static constexpr std::uint32_t flags_sent = 0x7;

    std::uint32_t online(std::uint32_t timeout_ms = 1000) {
        return FARLO(OnlineVolW)(handle, "guid-1", L"\\Device\\one two", flags, timeout_ms);
    }

    // The service does nothing and returns success.
    const FaultRule online_succeeds{.method = method::online_volume, .returns = bus_success};
    const FaultRule import_succeeds{.method = method::import_group, .returns = bus_success};

    // Lines of the recorder.
    static std::string read_imported(bool value) { return read("dg1", "imported", boolean(value)); }
    // The group is imported with all option bits but 0x2.
    static std::string import_call(std::uint32_t status) {
        return invoke(
            "dg1", method::import_group,
            R"("Name": WSTR "dg1", "Dgguid": STR "guid-1", "dgid": STR "guid-1", )"
            R"("Newdgname": WSTR "", "newname": WSTR "dg1", "Opflag": UINT32 4294967293, )"
            R"("OnlineFlag": UINT32 4294967293, "clearhostid": BOOLEAN true, )"
            R"("shared": BOOLEAN false, "clustershared": BOOLEAN true)",
            status);
    }
    static std::string online_call(std::uint32_t sent, std::uint32_t status) {
        return invoke("service", method::online_volume,
                      R"("volume": ZTOBJID @vol1, "OnlineFlag": )" + uint32(sent), status);
    }

    // Lines of the log.
    const Expected entering{0, "Entering OnlineVolW - \\Device\\one two"};
    const Expected exception{6, "API_TRY_CATCH_FAILED "};
    const Expected succeeded{0,
                             "OnlineVolW() succeeded for volume \\Device\\one two, error=(0x0) "};
    static Expected failed(std::uint32_t status) {
        return {0,
                "OnlineVolW() failed for volume \\Device\\one two, error=(" + hex(status) + ") "};
    }
    const Expected exiting{2, "Exiting OnlineVolW"};
    const Expected unknown_group{
        0, "GetDgObjIdByGuid() failed , DG_TYPENAME not found in OPAL, error=(0x1)"};
    const Expected entering_validate{6, "OnlineVolW() Entering ValidateCluster"};
    const Expected exiting_validate{6, "OnlineVolW() Exiting ValidateCluster"};
    const Expected importing{0, "OnlineDg dg1 is called with flag 0x200881"};
    const Expected import_succeeded{0, "OfflineDg dg1 succeeded with res  0x0"};
    const Expected exiting_import{2, "Exiting OnlineDgExW"};
};

}  // namespace support
