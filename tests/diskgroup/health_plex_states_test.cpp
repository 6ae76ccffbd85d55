// GetDgVolPlexStates.
#include "support/bus_lines.h"
#include "support/farlo_test.h"
#include "support/fault_rules.h"

#include <cstring>

namespace {

using namespace support;

constexpr std::size_t record_size = 68;
constexpr std::size_t state_offset = 64;

class GetDgVolPlexStates : public FarloTest {
  protected:
    GetDgVolPlexStates() {
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

    std::uint32_t get_plexes(const wchar_t* name, const char* guid, const wchar_t* device,
                             farlo_plex_state* plexes) {
        return FARLO(GetDgVolPlexStatesW)(handle, name, guid, device, count.as<std::uint32_t>(),
                                          plexes);
    }

    GuardedBuffer count{4};
};

const Lines find_volume = {groups("@local @gone"), read_type("local", group_type::local),
                           read("local", "dgid", str("guid-1")),
                           query(object_type::volume, "DEVICE NAME", R"(\\Device\\vol)", "@vol")};
const std::string find_plexes = children("vol", object_type::plex, "@vol-01 @fits @long @bare");
const Expected entering{6, "Entering GetDgVolPlexStatesW"};

TEST_F(GetDgVolPlexStates, ProvidesCountWithoutArray) {
    at_every_threshold([&] {
        EXPECT_EQ(get_plexes(nullptr, "guid-1", L"\\Device\\vol", nullptr), FARLO_BUFFER_TOO_SMALL);
        EXPECT_EQ(*count.as<std::uint32_t>(), 4u);
        expect_calls(find_volume + Lines{find_plexes});
        expect_log({entering, entering});
    });
}

// The records are consecutive; no byte after the last is written.
TEST_F(GetDgVolPlexStates, FillsOneRecordForEachPlex) {
    at_every_threshold([&] {
        GuardedBuffer plexes(4 * record_size);
        EXPECT_EQ(get_plexes(nullptr, "guid-1", L"\\Device\\vol", plexes.as<farlo_plex_state>()),
                  FARLO_SUCCESS);
        EXPECT_EQ(*count.as<std::uint32_t>(), 4u);

        std::vector<std::uint8_t> wanted(plexes.size(), GuardedBuffer::canary);
        const auto put = [&wanted](std::size_t at, const void* bytes, std::size_t size) {
            std::memcpy(&wanted[at], bytes, size);
        };
        const wchar_t first[] = L"vol-01";
        const wchar_t second[] = L"a name of thirty-one characters";
        const std::uint32_t states[] = {3, 4, 5};
        put(0, first, sizeof first);
        put(state_offset, &states[0], 4);
        put(record_size, second, sizeof second);
        put(record_size + state_offset, &states[1], 4);
        put(2 * record_size + state_offset, &states[2], 4);  // its name does not fit
        EXPECT_EQ(plexes.difference(wanted), "");

        expect_calls(find_volume +
                     Lines{find_plexes, read("vol-01", "Name", wstr("vol-01")),
                           read("vol-01", "ztvmstate", uint32(3)),
                           read("fits", "Name", wstr("a name of thirty-one characters")),
                           read("fits", "ztvmstate", uint32(4)),
                           read("long", "Name", wstr("a name of thirty-two characters!")),
                           read("long", "ztvmstate", uint32(5)),
                           read_failed("bare", "Name", bus_no_property),
                           read_failed("bare", "ztvmstate", bus_no_property)});
        expect_log({entering, entering});
    });
}

TEST_F(GetDgVolPlexStates, RequiresArrayEvenWithoutPlexes) {
    at_every_threshold([&] {
        EXPECT_EQ(get_plexes(L"local", nullptr, L"\\device\\PLAIN", nullptr),
                  FARLO_BUFFER_TOO_SMALL);
        EXPECT_EQ(*count.as<std::uint32_t>(), 0u);
        GuardedBuffer none(0);
        EXPECT_EQ(get_plexes(L"local", nullptr, L"\\device\\PLAIN", none.as<farlo_plex_state>()),
                  FARLO_SUCCESS);
        expect_log({entering, entering, entering, entering});
    });
}

TEST_F(GetDgVolPlexStates, AcceptsNarrowNamesOfAnyLength) {
    at_every_threshold([&] {
        const std::string name(40, 'n');
        EXPECT_EQ(FARLO(GetDgVolPlexStatesA)(handle, name.c_str(), "guid-1", "\\Device\\vol",
                                             count.as<std::uint32_t>(), nullptr),
                  FARLO_BUFFER_TOO_SMALL);
        EXPECT_EQ(*count.as<std::uint32_t>(), 4u);
        expect_calls(find_volume + Lines{find_plexes});
        const std::string device(300, 'd');
        EXPECT_EQ(FARLO(GetDgVolPlexStatesA)(handle, "local", nullptr, device.c_str(),
                                             count.as<std::uint32_t>(), nullptr),
                  FARLO_INVALID_ARGUMENT);
    });
}

// Fails as Windows does for a string that is not valid in the code page; Wine converts any.
int fail_to_convert(wchar_t*, std::size_t, const wchar_t*, ...) {
    return -1;
}

TEST_F(GetDgVolPlexStates, RejectsInvalidNarrowNames) {
    at_every_threshold([&] {
        const Interposer conversion(dll().module(), "_snwprintf", fail_to_convert);
        EXPECT_EQ(FARLO(GetDgVolPlexStatesA)(handle, "local", "guid-1", nullptr,
                                             count.as<std::uint32_t>(), nullptr),
                  FARLO_INVALID_ARGUMENT);
        EXPECT_EQ(FARLO(GetDgVolPlexStatesA)(handle, nullptr, "guid-1", "\\Device\\vol",
                                             count.as<std::uint32_t>(), nullptr),
                  FARLO_INVALID_ARGUMENT);
        // The first of two.
        EXPECT_EQ(FARLO(GetDgVolPlexStatesA)(handle, "local", "guid-1", "\\Device\\vol",
                                             count.as<std::uint32_t>(), nullptr),
                  FARLO_INVALID_ARGUMENT);
        EXPECT_TRUE(count.untouched());
        expect_calls({});
        expect_log(
            {{0, "GetDgVolPlexStatesA() failed , name string is invalid, error=(0x80070057)"},
             {0, "GetDgVolPlexStatesA() failed , device string is invalid, error=(0x80070057)"},
             {0, "GetDgVolPlexStatesA() failed , name string is invalid, error=(0x80070057)"}});
    });
}

TEST_F(GetDgVolPlexStates, PassesNullNarrowNamesUnchanged) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(GetDgVolPlexStatesA)(handle, nullptr, nullptr, nullptr,
                                             count.as<std::uint32_t>(), nullptr),
                  FARLO_PROVIDER_FAILED);
        EXPECT_EQ(FARLO(GetDgVolPlexStatesA)(handle, nullptr, nullptr, "\\Device\\vol",
                                             count.as<std::uint32_t>(), nullptr),
                  FARLO_MISSING_ARGUMENT);
        EXPECT_TRUE(count.untouched());
        expect_calls({});
        expect_log(
            {entering, entering, {0, "GetDgVolPlexStatesW::GetDgObjId failed, error=(0x13) "}});
    });
}

// Only the entry line is logged.
TEST_F(GetDgVolPlexStates, RequiresConnectedHandleAndDevice) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(GetDgVolPlexStatesW)(nullptr, L"local", nullptr, nullptr,
                                             count.as<std::uint32_t>(), nullptr),
                  FARLO_NULL_HANDLE);
        EXPECT_EQ(get_plexes(L"local", nullptr, nullptr, nullptr), FARLO_PROVIDER_FAILED);
        disconnect();
        EXPECT_EQ(get_plexes(L"local", nullptr, nullptr, nullptr), FARLO_NOT_CONNECTED);
        EXPECT_TRUE(count.untouched());
        expect_calls({});
        expect_log({entering, entering, entering});
    });
}

TEST_F(GetDgVolPlexStates, RejectsNullCount) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(GetDgVolPlexStatesW)(handle, L"local", nullptr, L"\\Device\\vol", nullptr,
                                             nullptr),
                  FARLO_MISSING_ARGUMENT);
        expect_calls({});
        expect_log({entering, {0, "GetDgVolPlexStatesW() failed , pCount == NULL, error=(0x13) "}});
    });
}

TEST_F(GetDgVolPlexStates, ReturnsNotFoundForUnknownOrExcludedGroup) {
    at_every_threshold([&] {
        EXPECT_EQ(get_plexes(nullptr, "nowhere", L"\\Device\\vol", nullptr), FARLO_NOT_FOUND);
        EXPECT_EQ(get_plexes(L"gone", nullptr, L"\\Device\\vol", nullptr), FARLO_NOT_FOUND);
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

TEST_F(GetDgVolPlexStates, FailsForUnknownVolume) {
    at_every_threshold([&] {
        EXPECT_EQ(get_plexes(L"local", nullptr, L"\\Device\\other", nullptr),
                  FARLO_INVALID_ARGUMENT);
        EXPECT_TRUE(count.untouched());
        EXPECT_EQ(calls_of("ObGetChildObjects"), Lines{});
        expect_log({entering, {0, "FindVolObjByDevName:Volume Object not found"}, entering});
    });
}

TEST_F(GetDgVolPlexStates, FailsWhenPlexesCannotBeListed) {
    at_every_threshold([&] {
        set_faults(fault_plan({{.function = "ObGetChildObjects", .returns = bus_provider_failed}}));
        EXPECT_EQ(get_plexes(L"local", nullptr, L"\\Device\\vol", nullptr), FARLO_EXCEPTION);
        EXPECT_TRUE(count.untouched());
        expect_log({entering, {6, "API_TRY_CATCH_FAILED "}, entering});
    });
}

// The connection is not checked again.
TEST_F(GetDgVolPlexStates, ProvidesCountWhenConnectionDrops) {
    at_every_threshold([&] {
        set_faults(fault_plan({{.function = "ObGetChildObjects", .drops = true}}));
        EXPECT_EQ(get_plexes(L"local", nullptr, L"\\Device\\vol", nullptr), FARLO_BUFFER_TOO_SMALL);
        EXPECT_EQ(*count.as<std::uint32_t>(), 4u);
        expect_log({entering, entering});
    });
}

TEST_F(GetDgVolPlexStates, FailsWithoutMemoryForCopiesOfNames) {
    at_every_threshold([&] {
        for (const long copy : {1, 2}) {  // of the name, of the device name
            heap().fail(copy);
            EXPECT_EQ(FARLO(GetDgVolPlexStatesA)(handle, "local", nullptr, "\\Device\\vol",
                                                 count.as<std::uint32_t>(), nullptr),
                      FARLO_EXCEPTION);
        }
        EXPECT_TRUE(count.untouched());
        expect_calls({});
        expect_log({{6, "API_TRY_CATCH_FAILED "}, {6, "API_TRY_CATCH_FAILED "}});
    });
}

TEST_F(GetDgVolPlexStates, FillsRecordsInNarrowForm) {
    once([&] {
        GuardedBuffer plexes(4 * record_size);
        EXPECT_EQ(FARLO(GetDgVolPlexStatesA)(handle, "local", nullptr, "\\Device\\vol",
                                             count.as<std::uint32_t>(),
                                             plexes.as<farlo_plex_state>()),
                  FARLO_SUCCESS);
        EXPECT_EQ(std::wstring(plexes.as<farlo_plex_state>()[0].name), L"vol-01");
        EXPECT_EQ(plexes.as<farlo_plex_state>()[2].state, 5u);
    });
}

TEST_F(GetDgVolPlexStates, FailsWhenVolumesCannotBeQueried) {
    at_every_threshold([&] {
        set_faults(
            fault_plan({{.function = "DbGetObjectsByQuery", .returns = bus_provider_failed}}));
        EXPECT_EQ(get_plexes(L"local", nullptr, L"\\Device\\vol", nullptr), FARLO_INVALID_ARGUMENT);
        EXPECT_TRUE(count.untouched());
        EXPECT_EQ(calls_of("ObGetChildObjects"), Lines{});
    });
}

TEST_F(GetDgVolPlexStates, LeavesFieldUnchangedWhenPropertyHasAnotherType) {
    at_every_threshold([&] {
        set_faults(fault_plan({{.function = "ObGetProperty",
                                .object = "vol-01",
                                .property = "Name",
                                .call = 1,
                                .with_type = "STR"},
                               with_type(reading("ztvmstate"), "INT32")}));
        GuardedBuffer plexes(4 * record_size);
        EXPECT_EQ(get_plexes(nullptr, "guid-1", L"\\Device\\vol", plexes.as<farlo_plex_state>()),
                  FARLO_SUCCESS);
        std::vector<std::uint8_t> wanted(plexes.size(), GuardedBuffer::canary);
        const wchar_t second[] = L"a name of thirty-one characters";
        std::memcpy(&wanted[record_size], second, sizeof second);
        EXPECT_EQ(plexes.difference(wanted), "");
        expect_log({entering, entering});
    });
}

TEST_F(GetDgVolPlexStates, SurvivesEveryAllocationFailure) {
    const auto results = statuses_at_every_allocation([&] {
        GuardedBuffer plexes(4 * record_size);
        const std::uint32_t status =
            FARLO(GetDgVolPlexStatesA)(handle, "local", nullptr, "\\Device\\vol",
                                       count.as<std::uint32_t>(), plexes.as<farlo_plex_state>());
        if (status != FARLO_SUCCESS) {
            EXPECT_TRUE(plexes.untouched());
        }
        return status;
    });
    EXPECT_GT(results.size(), 2u);
    // Without memory to read a field the call succeeds and leaves the field unchanged.
    EXPECT_THAT(results, testing::Contains(testing::Ne(FARLO_SUCCESS)));
}

}  // namespace
