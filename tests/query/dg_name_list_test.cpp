// GetDgNameList, GetNonClusterDgNameList.
#include "support/bus_lines.h"
#include "support/farlo_test.h"
#include "support/fault_rules.h"

#include <cstring>

namespace {

using namespace support;

class GetDgNameList : public FarloTest {
  protected:
    GetDgNameList() {
        scenario = R"({"disk_groups": [
            {"name": "dg1", "dgid": "1", "type": 2, "imported": true},
            {"name": "gone", "dgid": "2", "type": 2},
            {"name": "zero", "dgid": "3", "type": 0, "imported": true},
            {"name": "local", "dgid": "4", "type": 1, "imported": true},
            {"name": "seven", "dgid": "5", "type": 7, "imported": true},
            {"name": "data", "dgid": "6", "type": 2, "imported": true},
            {"name": "shared", "dgid": "7", "type": 8, "imported": true}]})";
    }

    static std::string query() { return groups("@dg1 @gone @zero @local @seven @data @shared"); }

    // What the cluster functions read in one pass over the groups.
    static Lines cluster_pass() {
        return {read_type("dg1", group_type::cluster),
                read("dg1", "imported", boolean(true)),
                read("dg1", "Name", wstr("dg1")),
                read_type("gone", group_type::cluster),
                read("gone", "imported", boolean(false)),
                read_type("zero", group_type::excluded_0),
                read_type("local", group_type::local),
                read_type("seven", group_type::excluded_7),
                read_type("data", group_type::cluster),
                read("data", "imported", boolean(true)),
                read("data", "Name", wstr("data")),
                read_type("shared", group_type::cluster_shared)};
    }

    struct Result {
        std::uint32_t status;
        std::uint32_t size;
        std::uint32_t count;
        std::vector<std::uint8_t> bytes;
    };
    static constexpr std::uint32_t untouched = 0xC5C5C5C5;  // what a count holds before the call

    // Calls a function with a guarded buffer of `buffer_size` bytes, but passes `size`.
    template <class Char, class List>
    Result list(List entry, std::uint32_t buffer_size, std::uint32_t size) {
        GuardedBuffer buffer(buffer_size);
        Char* pointer = buffer.as<Char>();
        Result result{0, size, untouched, {}};
        result.status = entry(handle, &pointer, &result.size, &result.count);
        EXPECT_EQ(pointer, buffer.as<Char>());
        result.bytes = buffer.bytes();
        return result;
    }
    Result wide(std::uint32_t buffer_size, std::uint32_t size) {
        return list<wchar_t>(FARLO(GetDgNameListW), buffer_size, size);
    }
    Result narrow(std::uint32_t buffer_size, std::uint32_t size) {
        return list<char>(FARLO(GetDgNameListA), buffer_size, size);
    }

    // The first bytes of a string that holds NULs.
    static std::vector<std::uint8_t> bytes(const char* characters, std::size_t size) {
        return {characters, characters + size};
    }
};

TEST_F(GetDgNameList, ReportsNeededSizeToTheByte) {
    at_every_threshold([&] {
        for (const std::uint32_t size : {0u, 1u, 17u}) {
            start_watching();
            const Result result = wide(size, size);
            EXPECT_EQ(result.status, FARLO_BUFFER_TOO_SMALL);
            EXPECT_EQ(result.size, 18u);
            EXPECT_EQ(result.count, untouched);
            EXPECT_EQ(result.bytes, std::vector<std::uint8_t>(size, GuardedBuffer::canary));
            expect_calls(Lines{query()} + cluster_pass());
            expect_log({{6, "Entering GetDgNameListCommon"}, {6, "Exiting GetDgNameListCommon"}});
        }
    });
}

TEST_F(GetDgNameList, StoresNamesConsecutively) {
    at_every_threshold([&] {
        const Result result = wide(18, 18);
        EXPECT_EQ(result.status, FARLO_SUCCESS);
        EXPECT_EQ(result.size, 18u);
        EXPECT_EQ(result.count, 2u);
        EXPECT_EQ(result.bytes, bytes("d\0g\0"
                                      "1\0\0\0"
                                      "d\0a\0t\0a\0\0\0",
                                      18));
        expect_calls(Lines{query()} + cluster_pass() + cluster_pass());
        expect_log({{6, "Entering GetDgNameListCommon"}, {6, "Exiting GetDgNameListCommon"}});
    });
}

TEST_F(GetDgNameList, WritesNothingAfterListAndLeavesSizeUnchanged) {
    once([&] {
        const Result result = wide(30, 30);
        EXPECT_EQ(result.status, FARLO_SUCCESS);
        EXPECT_EQ(result.size, 30u);
        std::vector<std::uint8_t> wanted = bytes("d\0g\0"
                                                 "1\0\0\0"
                                                 "d\0a\0t\0a\0\0\0",
                                                 18);
        wanted.resize(30, GuardedBuffer::canary);
        EXPECT_EQ(result.bytes, wanted);
        EXPECT_EQ(wide(18, 0xFFFFFFFF).status, FARLO_SUCCESS);
    });
}

TEST_F(GetDgNameList, CountsBytesInNarrowForm) {
    once([&] {
        Result result = narrow(8, 8);
        EXPECT_EQ(result.status, FARLO_BUFFER_TOO_SMALL);
        EXPECT_EQ(result.size, 9u);
        result = narrow(9, 9);
        EXPECT_EQ(result.status, FARLO_SUCCESS);
        EXPECT_EQ(result.count, 2u);
        EXPECT_EQ(result.bytes, bytes("dg1\0data", 9));
    });
}

TEST_F(GetDgNameList, ListsOtherGroupsInNonClusterForms) {
    once([&] {
        Result result = list<wchar_t>(FARLO(GetNonClusterDgNameListW), 26, 26);
        EXPECT_EQ(result.status, FARLO_SUCCESS);
        EXPECT_EQ(result.count, 2u);
        EXPECT_EQ(result.bytes, bytes("l\0o\0c\0a\0l\0\0\0s\0h\0a\0r\0e\0d\0\0\0", 26));
        result = list<char>(FARLO(GetNonClusterDgNameListA), 13, 13);
        EXPECT_EQ(result.status, FARLO_SUCCESS);
        EXPECT_EQ(result.bytes, bytes("local\0shared", 13));
    });
}

TEST_F(GetDgNameList, SucceedsWithoutMatchingGroup) {
    scenario = R"({"disk_groups": [{"name": "gone", "dgid": "2", "type": 2}]})";
    at_every_threshold([&] {
        const Result result = wide(4, 4);
        EXPECT_EQ(result.status, FARLO_SUCCESS);
        EXPECT_EQ(result.count, 0u);
        EXPECT_EQ(result.size, 4u);
        EXPECT_EQ(result.bytes, std::vector<std::uint8_t>(4, GuardedBuffer::canary));
        expect_pauses({});
        // Nothing is stored, so the pointers may be NULL.
        EXPECT_EQ(FARLO(GetDgNameListW)(handle, nullptr, nullptr, nullptr), FARLO_SUCCESS);
    });
}

TEST_F(GetDgNameList, SucceedsAfterFiveQueriesWithoutGroups) {
    scenario = "{}";
    at_every_threshold([&] {
        EXPECT_EQ(wide(4, 4).status, FARLO_SUCCESS);
        expect_calls({groups(""), groups(""), groups(""), groups(""), groups("")});
        expect_pauses(
            {{"Sleep", 5000}, {"Sleep", 5000}, {"Sleep", 5000}, {"Sleep", 5000}, {"Sleep", 5000}});
        expect_log({{6, "Entering GetDgNameListCommon"},
                    {6, "GetDgNameListCommon: Sleeping for 5 secs"},
                    {6, "GetDgNameListCommon: Sleeping for 5 secs"},
                    {6, "GetDgNameListCommon: Sleeping for 5 secs"},
                    {6, "GetDgNameListCommon: Sleeping for 5 secs"},
                    {6, "GetDgNameListCommon: Sleeping for 5 secs"},
                    {6, "Exiting GetDgNameListCommon"}});
    });
}

TEST_F(GetDgNameList, ChecksArgumentsInOrder) {
    at_every_threshold([&] {
        wchar_t* pointer = nullptr;
        std::uint32_t size = 100;
        std::uint32_t count = untouched;
        EXPECT_EQ(FARLO(GetDgNameListW)(nullptr, &pointer, &size, &count), FARLO_NULL_HANDLE);
        expect_log({{6, "Entering GetDgNameListCommon"},
                    {0, "GetDgNameListCommon() failed , NULL opal_handle, error=(0x64)"}});
        // Neither an error line nor the exit line is logged for these.
        wchar_t buffer[50];
        pointer = buffer;
        wchar_t* null_buffer = nullptr;
        const struct {
            wchar_t** buffer;
            std::uint32_t* size;
            std::uint32_t* count;
        } missing[] = {{nullptr, &size, &count},
                       {&null_buffer, &size, &count},
                       {&pointer, nullptr, &count},
                       {&pointer, &size, nullptr}};
        for (const auto& row : missing) {
            SCOPED_TRACE(&row - missing);
            start_watching();
            EXPECT_EQ(FARLO(GetDgNameListW)(handle, row.buffer, row.size, row.count),
                      FARLO_MISSING_ARGUMENT);
            expect_log({{6, "Entering GetDgNameListCommon"}});
        }
        EXPECT_EQ(size, 100u);
        EXPECT_EQ(count, untouched);
        start_watching();
        disconnect();
        EXPECT_EQ(FARLO(GetDgNameListW)(handle, &pointer, &size, &count), FARLO_NOT_CONNECTED);
        expect_calls({});
        expect_log({{6, "Entering GetDgNameListCommon"},
                    {0, "GetDgNameListCommon() failed , error=(0x14)"}});
    });
}

TEST_F(GetDgNameList, ReportsNeededSizeBeforeCheckingPointers) {
    once([&] {
        std::uint32_t size = 0;
        EXPECT_EQ(FARLO(GetDgNameListW)(handle, nullptr, &size, nullptr), FARLO_BUFFER_TOO_SMALL);
        EXPECT_EQ(size, 18u);
    });
}

TEST_F(GetDgNameList, SkipsGroupWithoutReadableType) {
    at_every_threshold([&] {
        set_faults(fault_plan({with_type(reading("dg1", "LDM DG TYPE"), "STR")}));
        const Result result = wide(10, 10);
        EXPECT_EQ(result.status, FARLO_SUCCESS);
        EXPECT_EQ(result.count, 1u);
        EXPECT_EQ(result.bytes, bytes("d\0a\0t\0a\0\0\0", 10));
        expect_log({{6, "Entering GetDgNameListCommon"}, {6, "Exiting GetDgNameListCommon"}});
    });
}

TEST_F(GetDgNameList, FailsWhenImportedStateOrNameCannotBeRead) {
    at_every_threshold([&] {
        for (const char* property : {"imported", "Name"}) {
            SCOPED_TRACE(property);
            set_faults(fault_plan({failing(reading("data", property), bus_no_property)}));
            start_watching();
            const Result result = wide(18, 18);
            EXPECT_EQ(result.status, FARLO_EXCEPTION);
            EXPECT_EQ(result.count, untouched);
            EXPECT_EQ(result.bytes, std::vector<std::uint8_t>(18, GuardedBuffer::canary));
            expect_log({{6, "Entering GetDgNameListCommon"},
                        {6, "API_TRY_CATCH_FAILED "},
                        {0, "GetDgNameListCommon() failed, error=(0x12) "},
                        {6, "Exiting GetDgNameListCommon"}});
        }
    });
}

// The names that were copied before the failure stay in the buffer.
TEST_F(GetDgNameList, KeepsFirstNamesWhenReadFailsInSecondPass) {
    at_every_threshold([&] {
        set_faults(fault_plan(
            {{.object = "data", .property = "Name", .call = 2, .returns = bus_no_property}}));
        const Result result = wide(18, 18);
        EXPECT_EQ(result.status, FARLO_EXCEPTION);
        EXPECT_EQ(result.count, 2u);
        EXPECT_EQ(result.bytes, bytes("d\0g\0"
                                      "1\0\0\0\0\0\0\0\0\0\0\0\0\0",
                                      18));
        expect_log({{6, "Entering GetDgNameListCommon"},
                    {6, "API_TRY_CATCH_FAILED "},
                    {0, "GetDgNameListCommon() failed, error=(0x12) "},
                    {6, "Exiting GetDgNameListCommon"}});
    });
}

// It is not written beyond the end of the buffer.
TEST_F(GetDgNameList, RejectsNameThatGrowsBetweenPasses) {
    once([&] {
        set_faults(fault_plan({{.object = "data", .property = "Name", .call = 2, .lie = "long"}}));
        EXPECT_EQ(wide(18, 18).status, FARLO_EXCEPTION);
    });
}

// The names before it stay in the buffer, and the rest of the buffer is zeroed.
TEST_F(GetDgNameList, RejectsNameThatGrowsByOneCharacterBetweenPasses) {
    scenario = R"({"disk_groups": [
        {"name": "dg1", "dgid": "1", "imported": true},
        {"name": "data", "dgid": "2", "imported": true},
        {"name": "data1", "dgid": "3", "type": 1}]})";
    for (const bool wide_form : {true, false}) {
        SCOPED_TRACE(wide_form);
        once([&] {
            unsigned names_read = 0;
            interpose<decltype(ObGetProperty)>("ObGetProperty", [&](opal_connection connection,
                                                                    opal_context context,
                                                                    const opal_objid* object,
                                                                    const char* name,
                                                                    opal_property* property) {
                opal_objid grown;
                EXPECT_EQ(LabFindObject("data1", &grown), 0);
                const bool grows = std::strcmp(name, "Name") == 0 && ++names_read == 4;
                return ObGetProperty(connection, context, grows ? &grown : object, name, property);
            });
            const std::uint32_t size = wide_form ? 18 : 9;
            const Result result = wide_form ? wide(size, size) : narrow(size, size);
            EXPECT_EQ(names_read, 4u);
            EXPECT_EQ(result.status, FARLO_EXCEPTION);
            std::vector<std::uint8_t> wanted = wide_form ? bytes("d\0g\0"
                                                                 "1\0\0\0",
                                                                 8)
                                                         : bytes("dg1", 4);
            wanted.resize(size, 0);
            EXPECT_EQ(result.bytes, wanted);
        });
    }
}

TEST_F(GetDgNameList, FailsWithoutMemoryForQuery) {
    at_every_threshold([&] {
        heap().fail(1);
        EXPECT_EQ(wide(18, 18).status, FARLO_EXCEPTION);
        expect_log({{6, "Entering GetDgNameListCommon"},
                    {6, "API_TRY_CATCH_FAILED "},
                    {0, "GetDgNameListCommon() failed, error=(0x12) "},
                    {6, "Exiting GetDgNameListCommon"}});
    });
}

TEST_F(GetDgNameList, ReturnsNotConnectedWhenConnectionDrops) {
    at_every_threshold([&] {
        set_faults(fault_plan({dropping(reading("shared", "LDM DG TYPE"))}));
        EXPECT_EQ(wide(0, 0).status, FARLO_NOT_CONNECTED);
        expect_log({{6, "Entering GetDgNameListCommon"},
                    {0, "GetDgNameListCommon() failed, error=(0x14) "},
                    {6, "Exiting GetDgNameListCommon"}});
    });
}

TEST_F(GetDgNameList, ReturnsNotConnectedWhenConnectionDropsDuringFailedRead) {
    at_every_threshold([&] {
        set_faults(fault_plan({{.object = "data",
                                .property = "Name",
                                .returns_after_work = bus_no_property,
                                .drops = true}}));
        EXPECT_EQ(wide(18, 18).status, FARLO_NOT_CONNECTED);
        expect_log({{6, "Entering GetDgNameListCommon"},
                    {6, "API_TRY_CATCH_FAILED "},
                    {0, "GetDgNameListCommon() failed, error=(0x14) "},
                    {6, "Exiting GetDgNameListCommon"}});
    });
}

TEST_F(GetDgNameList, RejectsNarrowNameOf32CharactersOrMore) {
    for (const std::size_t length : {32u, 33u, 60u}) {
        SCOPED_TRACE(length);
        scenario = R"({"disk_groups": [
            {"name": "dg1", "dgid": "1", "imported": true},
            {"name": "123456789012345678901234567890x", "dgid": "2", "imported": true},
            {"name": ")" +
                   std::string(length, 'y') + R"(", "dgid": "3", "imported": true}]})";
        once([&] {
            const auto size = static_cast<std::uint32_t>(36 + length + 1);
            const Result result = narrow(size, size);
            EXPECT_EQ(result.status, FARLO_EXCEPTION);
            EXPECT_EQ(result.count, 3u);
            std::vector<std::uint8_t> wanted = bytes("dg1\0"
                                                     "123456789012345678901234567890x",
                                                     36);
            wanted.resize(size, 0);
            EXPECT_EQ(result.bytes, wanted);
            // The wide form has no such limit.
            EXPECT_EQ(wide(2 * size, 2 * size).status, FARLO_SUCCESS);
        });
    }
}

}  // namespace
