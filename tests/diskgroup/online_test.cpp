// OnlineDg, OnlineDgEx.
#include "farlo_test.h"

namespace {

const std::string groups_json = R"({"disk_groups": [
    {"name": "dg1", "dgid": "guid-1", "type": 2},
    {"name": "DG_Up", "dgid": "guid-2", "type": 2, "imported": true},
    {"name": "shared", "dgid": "guid-8", "type": 8}]})";

const std::string all_groups = "DbGetObjects tamo_ztvm_diskgroup -> 0x0 [@dg1 @DG_Up @shared]";
const std::string service = "DbGetObjects solvane_cluster_service -> 0x0 [@service]";
const std::string interface_id = "{61678c9a-1dd2-11b2-9623-0800209ead9c} 0.2003";

std::string property(const std::string& object, const std::string& name, const std::string& value) {
    return "ObGetProperty @" + object + " \"" + name + "\" -> 0x0 " + value;
}

// The already-imported check over all three groups.
std::vector<std::string> name_check() {
    return {all_groups,
            property("dg1", "Name", "WSTR \"dg1\""),
            property("dg1", "imported", "BOOLEAN false"),
            property("DG_Up", "Name", "WSTR \"DG_Up\""),
            property("DG_Up", "imported", "BOOLEAN true"),
            property("shared", "Name", "WSTR \"shared\""),
            property("shared", "imported", "BOOLEAN false")};
}

// The parameters that every import carries.
std::string parameters(const std::string& name, const std::string& guid,
                       const std::string& new_name, std::uint32_t word) {
    const std::string number = std::to_string(word);
    return "\"Name\": WSTR \"" + name + "\", \"Dgguid\": STR \"" + guid + "\", \"dgid\": STR \"" +
           guid + "\", \"Newdgname\": WSTR \"" + new_name + "\", \"newname\": WSTR \"" + name +
           "\", \"Opflag\": UINT32 " + number + ", \"OnlineFlag\": UINT32 " + number;
}

std::string dispatch(const std::string& target, const std::string& input,
                     const std::string& status) {
    return "PrCallDispatch @" + target + " " + interface_id + " {" + input + "} 0,0,0,0 -> " +
           status + " {}";
}

template <class T> std::vector<T> operator+(std::vector<T> left, const std::vector<T>& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

class Online : public support::FarloTest {
  protected:
    Online() { scenario = groups_json; }

    std::uint32_t online(const wchar_t* name, const char* guid, const wchar_t* new_name,
                         std::uint32_t options) {
        return FARLO(OnlineDgExW)(handle, name, guid, new_name, options, 7);
    }
};

TEST_F(Online, ImportsByGuidAfterLookingForTheName) {
    at_every_threshold([&] {
        EXPECT_EQ(online(L"dg1", "guid-1", nullptr, 0), 0u);
        expect_calls(std::vector<std::string>{service} + name_check() +
                     std::vector<std::string>{
                         dispatch("service", parameters("dg1", "guid-1", "", 0x4046), "0x0")});
        expect_log({{0, "OnlineDg dg1 is called with flag 0x0"},
                    {6, "OpalEventHandler : Reset time out callback is NULL"},
                    {0, "OnlineDg dg1 succeeded with res  0x0"},
                    {2, "Exiting OnlineDgExW"}});
    });
}

}  // namespace
