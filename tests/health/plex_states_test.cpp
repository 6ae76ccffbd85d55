// GetDgVolPlexStates.
#include "bus_lines.h"
#include "farlo_test.h"

#include <cstring>

namespace {

using namespace support;

constexpr std::size_t record_size = 68;

class PlexStates : public FarloTest {
  protected:
    PlexStates() {
        scenario = R"({"disk_groups": [
            {"name": "local", "dgid": "guid-1", "type": 1, "volumes": [
                {"name": "vol", "device": "\\Device\\vol", "plexes": [
                    {"name": "vol-01", "state": 3},
                    {"name": "a name of thirty-one characters", "id": "fits", "state": 4},
                    {"name": "a name of thirty-two characters!", "id": "long", "state": 5},
                    {"name": "bare", "without": ["Name", "ztvmstate"]}]},
                {"name": "plain", "device": "\\Device\\plain"}]},
            {"name": "gone", "dgid": "guid-7", "type": 7}]})";
    }

    std::uint32_t ask(const wchar_t* name, const char* guid, const wchar_t* device,
                      farlo_plex_state* plexes) {
        return FARLO(GetDgVolPlexStatesW)(handle, name, guid, device, count.as<std::uint32_t>(),
                                          plexes);
    }

    GuardedBuffer count{4};
};

const Lines find_volume = {
    "DbGetObjects tamo_ztvm_diskgroup -> 0x0 [@local @gone]",
    read("local", "LDM DG TYPE", "UINT32 1"), read("local", "dgid", "STR \"guid-1\""),
    R"(DbGetObjectsByQuery "SELECT FROM tamo_ztvm_volume where \"DEVICE NAME\" EQ \\Device\\vol" -> 0x0 [@vol])"};
const std::string find_plexes =
    "ObGetChildObjects @vol tamo_ztvm_plex -> 0x0 [@vol-01 @fits @long @bare]";
const Expected entering{6, "Entering GetDgVolPlexStatesW"};

TEST_F(PlexStates, CountsThePlexesWithoutAnArray) {
    at_every_threshold([&] {
        EXPECT_EQ(ask(nullptr, "guid-1", L"\\Device\\vol", nullptr), 97u);
        EXPECT_EQ(*count.as<std::uint32_t>(), 4u);
        expect_calls(find_volume + Lines{find_plexes});
        expect_log({entering, entering});
    });
}

// One record behind the other, and no byte behind the last.
TEST_F(PlexStates, FillsOneRecordAPlex) {
    at_every_threshold([&] {
        GuardedBuffer plexes(4 * record_size);
        EXPECT_EQ(ask(nullptr, "guid-1", L"\\Device\\vol", plexes.as<farlo_plex_state>()), 0u);
        EXPECT_EQ(*count.as<std::uint32_t>(), 4u);

        std::vector<std::uint8_t> wanted(plexes.size(), GuardedBuffer::canary);
        const auto put = [&wanted](std::size_t at, const void* bytes, std::size_t size) {
            std::memcpy(&wanted[at], bytes, size);
        };
        const wchar_t first[] = L"vol-01";
        const wchar_t second[] = L"a name of thirty-one characters";
        const std::uint32_t states[] = {3, 4, 5};
        put(0, first, sizeof first);
        put(64, &states[0], 4);
        put(68, second, sizeof second);
        put(68 + 64, &states[1], 4);
        put(2 * 68 + 64, &states[2], 4);  // whose name does not fit
        EXPECT_EQ(plexes.difference(wanted), "");

        expect_calls(find_volume +
                     Lines{find_plexes, read("vol-01", "Name", "WSTR \"vol-01\""),
                           read("vol-01", "ztvmstate", "UINT32 3"),
                           read("fits", "Name", "WSTR \"a name of thirty-one characters\""),
                           read("fits", "ztvmstate", "UINT32 4"),
                           read("long", "Name", "WSTR \"a name of thirty-two characters!\""),
                           read("long", "ztvmstate", "UINT32 5"),
                           "ObGetProperty @bare \"Name\" -> 0xc100003a",
                           "ObGetProperty @bare \"ztvmstate\" -> 0xc100003a"});
        expect_log({entering, entering});
    });
}

TEST_F(PlexStates, AsksForAnArrayAlsoWhereThereIsNoPlex) {
    at_every_threshold([&] {
        EXPECT_EQ(ask(L"local", nullptr, L"\\device\\PLAIN", nullptr), 97u);
        EXPECT_EQ(*count.as<std::uint32_t>(), 0u);
        GuardedBuffer none(0);
        EXPECT_EQ(ask(L"local", nullptr, L"\\device\\PLAIN", none.as<farlo_plex_state>()), 0u);
        expect_log({entering, entering, entering, entering});
    });
}

TEST_F(PlexStates, TakesNarrowTextsOfAnyLength) {
    at_every_threshold([&] {
        const std::string name(40, 'n');
        EXPECT_EQ(FARLO(GetDgVolPlexStatesA)(handle, name.c_str(), "guid-1", "\\Device\\vol",
                                             count.as<std::uint32_t>(), nullptr),
                  97u);
        EXPECT_EQ(*count.as<std::uint32_t>(), 4u);
        expect_calls(find_volume + Lines{find_plexes});
        const std::string device(300, 'd');
        EXPECT_EQ(FARLO(GetDgVolPlexStatesA)(handle, "local", nullptr, device.c_str(),
                                             count.as<std::uint32_t>(), nullptr),
                  0x80070057u);
    });
}

// Answers as Windows does for a text that is none in the code page; Wine takes any.
int no_text(wchar_t*, std::size_t, const wchar_t*, ...) {
    return -1;
}

TEST_F(PlexStates, RefusesNarrowTextsThatAreNone) {
    at_every_threshold([&] {
        const Interposer conversion(dll().module(), "_snwprintf", no_text);
        EXPECT_EQ(FARLO(GetDgVolPlexStatesA)(handle, "local", "guid-1", nullptr,
                                             count.as<std::uint32_t>(), nullptr),
                  0x80070057u);
        EXPECT_EQ(FARLO(GetDgVolPlexStatesA)(handle, nullptr, "guid-1", "\\Device\\vol",
                                             count.as<std::uint32_t>(), nullptr),
                  0x80070057u);
        // The first of two.
        EXPECT_EQ(FARLO(GetDgVolPlexStatesA)(handle, "local", "guid-1", "\\Device\\vol",
                                             count.as<std::uint32_t>(), nullptr),
                  0x80070057u);
        EXPECT_TRUE(count.untouched());
        expect_calls({});
        expect_log(
            {{0, "GetDgVolPlexStatesA() failed , name string is invalid, error=(0x80070057)"},
             {0, "GetDgVolPlexStatesA() failed , device string is invalid, error=(0x80070057)"},
             {0, "GetDgVolPlexStatesA() failed , name string is invalid, error=(0x80070057)"}});
    });
}

TEST_F(PlexStates, LeavesNullAsItIs) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(GetDgVolPlexStatesA)(handle, nullptr, nullptr, nullptr,
                                             count.as<std::uint32_t>(), nullptr),
                  0xc1000001u);
        EXPECT_EQ(FARLO(GetDgVolPlexStatesA)(handle, nullptr, nullptr, "\\Device\\vol",
                                             count.as<std::uint32_t>(), nullptr),
                  19u);
        EXPECT_TRUE(count.untouched());
        expect_calls({});
        expect_log(
            {entering, entering, {0, "GetDgVolPlexStatesW::GetDgObjId failed, error=(0x13) "}});
    });
}

// Without a further line.
TEST_F(PlexStates, WantsAConnectedHandleAndADevice) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(GetDgVolPlexStatesW)(nullptr, L"local", nullptr, nullptr,
                                             count.as<std::uint32_t>(), nullptr),
                  100u);
        EXPECT_EQ(ask(L"local", nullptr, nullptr, nullptr), 0xc1000001u);
        disconnect();
        EXPECT_EQ(ask(L"local", nullptr, nullptr, nullptr), 20u);
        EXPECT_TRUE(count.untouched());
        expect_calls({});
        expect_log({entering, entering, entering});
    });
}

TEST_F(PlexStates, WantsRoomForTheCount) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(GetDgVolPlexStatesW)(handle, L"local", nullptr, L"\\Device\\vol", nullptr,
                                             nullptr),
                  19u);
        expect_calls({});
        expect_log({entering, {0, "GetDgVolPlexStatesW() failed , pCount == NULL, error=(0x13) "}});
    });
}

TEST_F(PlexStates, EndsAtAFailedLookupOfTheGroup) {
    at_every_threshold([&] {
        EXPECT_EQ(ask(nullptr, "nowhere", L"\\Device\\vol", nullptr), 1u);
        EXPECT_EQ(ask(L"gone", nullptr, L"\\Device\\vol", nullptr), 1u);
        EXPECT_TRUE(count.untouched());
        EXPECT_EQ(calls_of("DbGetObjectsByQuery"), Lines{});
        expect_log({entering,
                    {0, "GetDgObjIdByGuid() failed , DG_TYPENAME not found in OPAL, error=(0x1)"},
                    {0, "GetDgVolPlexStatesW::GetDgObjId failed, error=(0x1) "},
                    entering,
                    {0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x28)"},
                    {0, "GetDgVolPlexStatesW::GetDgObjId failed, error=(0x1) "}});
    });
}

TEST_F(PlexStates, FailsForAnUnknownVolume) {
    at_every_threshold([&] {
        EXPECT_EQ(ask(L"local", nullptr, L"\\Device\\other", nullptr), 0x80070057u);
        EXPECT_TRUE(count.untouched());
        EXPECT_EQ(calls_of("ObGetChildObjects"), Lines{});
        expect_log({entering, {0, "FindVolObjByDevName:Volume Object not found"}, entering});
    });
}

TEST_F(PlexStates, FailsWhenThePlexesCannotBeListed) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "ObGetChildObjects", "status": "0xc1000001"}])");
        EXPECT_EQ(ask(L"local", nullptr, L"\\Device\\vol", nullptr), 18u);
        EXPECT_TRUE(count.untouched());
        expect_log({entering, {6, "API_TRY_CATCH_FAILED "}, entering});
    });
}

// The connection is not looked at again.
TEST_F(PlexStates, DeliversWhenTheConnectionDrops) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "ObGetChildObjects", "drop": true}])");
        EXPECT_EQ(ask(L"local", nullptr, L"\\Device\\vol", nullptr), 97u);
        EXPECT_EQ(*count.as<std::uint32_t>(), 4u);
        expect_log({entering, entering});
    });
}

TEST_F(PlexStates, FailsWithoutMemoryForTheCopies) {
    at_every_threshold([&] {
        for (const long n : {1, 2}) {
            heap().fail(n);
            EXPECT_EQ(FARLO(GetDgVolPlexStatesA)(handle, "local", nullptr, "\\Device\\vol",
                                                 count.as<std::uint32_t>(), nullptr),
                      18u);
        }
        EXPECT_TRUE(count.untouched());
        expect_calls({});
        expect_log({{6, "API_TRY_CATCH_FAILED "}, {6, "API_TRY_CATCH_FAILED "}});
    });
}

TEST_F(PlexStates, TheNarrowFormFillsRecordsToo) {
    once([&] {
        GuardedBuffer plexes(4 * record_size);
        EXPECT_EQ(FARLO(GetDgVolPlexStatesA)(handle, "local", nullptr, "\\Device\\vol",
                                             count.as<std::uint32_t>(),
                                             plexes.as<farlo_plex_state>()),
                  0u);
        EXPECT_EQ(std::wstring(plexes.as<farlo_plex_state>()[0].name), L"vol-01");
        EXPECT_EQ(plexes.as<farlo_plex_state>()[2].state, 5u);
    });
}

TEST_F(PlexStates, FailsWhenTheVolumesCannotBeQueried) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "DbGetObjectsByQuery", "status": "0xc1000001"}])");
        EXPECT_EQ(ask(L"local", nullptr, L"\\Device\\vol", nullptr), 0x80070057u);
        EXPECT_TRUE(count.untouched());
        EXPECT_EQ(calls_of("ObGetChildObjects"), Lines{});
    });
}

TEST_F(PlexStates, LeavesFieldsOfAnotherTypeAlone) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "ObGetProperty", "object": "vol-01", "property": "Name",
                        "as": "STR", "call": 1},
                       {"function": "ObGetProperty", "property": "ztvmstate", "as": "INT32"}])");
        GuardedBuffer plexes(4 * record_size);
        EXPECT_EQ(ask(nullptr, "guid-1", L"\\Device\\vol", plexes.as<farlo_plex_state>()), 0u);
        std::vector<std::uint8_t> wanted(plexes.size(), GuardedBuffer::canary);
        const wchar_t second[] = L"a name of thirty-one characters";
        std::memcpy(&wanted[68], second, sizeof second);
        EXPECT_EQ(plexes.difference(wanted), "");
        expect_log({entering, entering});
    });
}

TEST_F(PlexStates, EndsWellWhicheverAllocationFails) {
    const auto answers = answers_at_every_allocation([&] {
        GuardedBuffer plexes(4 * record_size);
        const std::uint32_t status =
            FARLO(GetDgVolPlexStatesA)(handle, "local", nullptr, "\\Device\\vol",
                                       count.as<std::uint32_t>(), plexes.as<farlo_plex_state>());
        if (status != 0) {
            EXPECT_TRUE(plexes.untouched());
        }
        return status;
    });
    EXPECT_GT(answers.size(), 2u);
    // A field that is not read for want of memory is left as it was.
    EXPECT_THAT(answers, testing::Contains(testing::Ne(0u)));
}

}  // namespace
