// Whose connection an operation uses: that of its handle, whichever was made last.
#include "support/farlo_test.h"

#include <map>
#include <set>

namespace {

using namespace support;

class OwnConnection : public FarloTest {
  protected:
    OwnConnection() {
        scenario = R"({"disk_groups": [
            {"name": "up", "dgid": "guid-1", "type": 2, "imported": true,
             "volumes": [{"name": "v1", "device": "dev1", "guid": "volume-1"}]},
            {"name": "down", "dgid": "guid-2", "type": 2}]})";
    }

    // What a call of the library asked of the bus.
    struct Asked {
        std::set<std::string> functions;
        bool with_own_pair = true;
    };
    Asked asked;

    template <class Function> void watch(const char* name, Function* function) {
        interpose<Function>(name, [this, name, function](opal_connection connection,
                                                         opal_context context, auto... rest) {
            note(name, connection == handle->connection && context == handle->connection_context);
            return function(connection, context, rest...);
        });
    }
    void watch_methods() {
        interpose<decltype(PrCallDispatch)>(
            "PrCallDispatch", [this](opal_connection connection, auto... rest) {
                note("PrCallDispatch", connection == handle->connection);
                return PrCallDispatch(connection, rest...);
            });
    }

  private:
    void note(const char* function, bool is_own) {
        asked.functions.insert(function);
        asked.with_own_pair = asked.with_own_pair && is_own;
    }
};

TEST_F(OwnConnection, IsUsedWhicheverWasMadeLast) {
    using Functions = std::set<std::string>;
    const Functions read{"DbGetObjects", "ObGetProperty"};
    const Functions send{"DbGetObjects", "PrCallDispatch"};
    const Functions read_and_send{"DbGetObjects", "ObGetProperty", "PrCallDispatch"};
    std::uint32_t word = 0;
    std::uint32_t other_word = 0;
    std::uint8_t byte = 0;
    char guid[65];
    wchar_t name[260];
    wchar_t* names = name;
    std::uint32_t size = sizeof name;
    struct Call {
        Functions functions;
        std::function<std::uint32_t()> call;
        std::uint32_t status = 0;
    };
    const std::map<std::string, Call> calls = {
        {"OnlineDgExW",
         {read_and_send,
          [&] { return FARLO(OnlineDgExW)(handle, L"down", nullptr, nullptr, 0, 0); }}},
        {"OnlineDgExW, shared",
         {read_and_send,
          [&] { return FARLO(OnlineDgExW)(handle, L"down", nullptr, nullptr, 0x801, 0); }}},
        {"ImportDgW",
         {read_and_send, [&] { return FARLO(ImportDgW)(handle, L"down", nullptr, nullptr, 0); }}},
        {"OfflineDgW",
         {read_and_send, [&] { return FARLO(OfflineDgW)(handle, L"up", nullptr, 0); }}},
        {"DeportDgW", {read_and_send, [&] { return FARLO(DeportDgW)(handle, L"up", nullptr); }}},
        {"GetDgGuidW", {read, [&] { return FARLO(GetDgGuidW)(handle, L"up", guid); }}},
        {"GetDgGuidW, a rescan and a question",
         {read_and_send, [&] { return FARLO(GetDgGuidW)(handle, L"nowhere", guid); }, 0xe5150101}},
        {"GetDgNameListW",
         {read, [&] { return FARLO(GetDgNameListW)(handle, &names, &size, &word); }}},
        {"GetDgNameW", {read, [&] { return FARLO(GetDgNameW)(handle, "guid-1", name); }}},
        {"GetDgVolumeGuidW",
         {read_and_send,
          [&] { return FARLO(GetDgVolumeGuidW)(handle, L"up", nullptr, L"dev1", guid); }}},
        {"ArbitrateDgW", {send, [&] { return FARLO(ArbitrateDgW)(handle, L"up", "guid-1"); }}},
        {"StopDgReservationW, of a group that is not reserved",
         {send, [&] { return FARLO(StopDgReservationW)(handle, L"up", "guid-1"); }, 0xe515010b}},
        {"GetDgStateExW",
         {read, [&] { return FARLO(GetDgStateExW)(handle, L"up", nullptr, &byte); }}},
        {"GetDgDiskAvailabilityW",
         {send,
          [&] {
              return FARLO(GetDgDiskAvailabilityW)(handle, L"up", "guid-1", &word, &other_word);
          }}},
        {"SetFastFailoverFlagW",
         {read_and_send, [&] { return FARLO(SetFastFailoverFlagW)(handle, L"up", nullptr, 1); }}},
        {"ClusterServiceStateW", {send, [&] { return FARLO(ClusterServiceStateW)(handle, 1); }}},
    };
    once([&] {
        opal_handle last = nullptr;
        ASSERT_EQ(FARLO(ValidateClusterW)(&last), 0u);
        ASSERT_NE(last->connection, handle->connection);
        ASSERT_NE(last->connection_context, handle->connection_context);
        watch("DbGetObjects", DbGetObjects);
        watch("ObGetProperty", ObGetProperty);
        watch_methods();
        for (const auto& [entry, wanted] : calls) {
            SCOPED_TRACE(entry);
            load_scenario(scenario);
            asked = {};
            EXPECT_EQ(wanted.call(), wanted.status);
            EXPECT_EQ(asked.functions, wanted.functions);
            EXPECT_TRUE(asked.with_own_pair);
        }
        EXPECT_EQ(FARLO(UnInitializeClusterW)(last), 0u);
    });
}

}  // namespace
