// GetDgNameList, GetNonClusterDgNameList.
#include "bus_lines.h"
#include "farlo_test.h"

#include <cstring>

namespace {

using namespace support;

class NameList : public FarloTest {
  protected:
    NameList() {
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

    // What one pass over the groups reads for the cluster family.
    static Lines cluster_pass() {
        return {
            read("dg1", "LDM DG TYPE", uint32(2)),     read("dg1", "imported", "BOOLEAN true"),
            read("dg1", "Name", wstr("dg1")),          read("gone", "LDM DG TYPE", uint32(2)),
            read("gone", "imported", "BOOLEAN false"), read("zero", "LDM DG TYPE", uint32(0)),
            read("local", "LDM DG TYPE", uint32(1)),   read("seven", "LDM DG TYPE", uint32(7)),
            read("data", "LDM DG TYPE", uint32(2)),    read("data", "imported", "BOOLEAN true"),
            read("data", "Name", wstr("data")),        read("shared", "LDM DG TYPE", uint32(8))};
    }

    struct Result {
        std::uint32_t status;
        std::uint32_t size;
        std::uint32_t count;
        std::vector<std::uint8_t> bytes;
    };
    static constexpr std::uint32_t untouched = 0xC5C5C5C5;

    // A call with a buffer of `room` bytes behind which memory faults, and which
    // is told to have `size`.
    template <class Char, class List>
    Result list(List entry, std::uint32_t room, std::uint32_t size) {
        GuardedBuffer buffer(room);
        Char* pointer = buffer.as<Char>();
        Result result{0, size, untouched, {}};
        result.status = entry(handle, &pointer, &result.size, &result.count);
        EXPECT_EQ(pointer, buffer.as<Char>());
        result.bytes = buffer.bytes();
        return result;
    }
    Result wide(std::uint32_t room, std::uint32_t size) {
        return list<wchar_t>(FARLO(GetDgNameListW), room, size);
    }
    Result narrow(std::uint32_t room, std::uint32_t size) {
        return list<char>(FARLO(GetDgNameListA), room, size);
    }

    static std::vector<std::uint8_t> bytes(const char* text, std::size_t size) {
        return {text, text + size};
    }
};

TEST_F(NameList, TheSizeIsToldToTheByte) {
    at_every_threshold([&] {
        for (const std::uint32_t size : {0u, 1u, 17u}) {
            start_watching();
            const Result result = wide(size, size);
            EXPECT_EQ(result.status, 0x61u);
            EXPECT_EQ(result.size, 18u);
            EXPECT_EQ(result.count, untouched);
            EXPECT_EQ(result.bytes, std::vector<std::uint8_t>(size, GuardedBuffer::canary));
            expect_calls(Lines{query()} + cluster_pass());
            expect_log({{6, "Entering GetDgNameListCommon"}, {6, "Exiting GetDgNameListCommon"}});
        }
    });
}

TEST_F(NameList, TheNamesLieBackToBack) {
    at_every_threshold([&] {
        const Result result = wide(18, 18);
        EXPECT_EQ(result.status, 0u);
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

TEST_F(NameList, NoByteBehindTheListIsTouchedAndTheSizeIsLeft) {
    once([&] {
        const Result result = wide(30, 30);
        EXPECT_EQ(result.status, 0u);
        EXPECT_EQ(result.size, 30u);
        std::vector<std::uint8_t> wanted = bytes("d\0g\0"
                                                 "1\0\0\0"
                                                 "d\0a\0t\0a\0\0\0",
                                                 18);
        wanted.resize(30, GuardedBuffer::canary);
        EXPECT_EQ(result.bytes, wanted);
        EXPECT_EQ(wide(18, 0xFFFFFFFF).status, 0u);
    });
}

TEST_F(NameList, TheNarrowFormCountsBytes) {
    once([&] {
        Result result = narrow(8, 8);
        EXPECT_EQ(result.status, 0x61u);
        EXPECT_EQ(result.size, 9u);
        result = narrow(9, 9);
        EXPECT_EQ(result.status, 0u);
        EXPECT_EQ(result.count, 2u);
        EXPECT_EQ(result.bytes, bytes("dg1\0data", 9));
    });
}

TEST_F(NameList, TheOtherFamilyListsAllOthers) {
    once([&] {
        Result result = list<wchar_t>(FARLO(GetNonClusterDgNameListW), 26, 26);
        EXPECT_EQ(result.status, 0u);
        EXPECT_EQ(result.count, 2u);
        EXPECT_EQ(result.bytes, bytes("l\0o\0c\0a\0l\0\0\0s\0h\0a\0r\0e\0d\0\0\0", 26));
        result = list<char>(FARLO(GetNonClusterDgNameListA), 13, 13);
        EXPECT_EQ(result.status, 0u);
        EXPECT_EQ(result.bytes, bytes("local\0shared", 13));
    });
}

TEST_F(NameList, NoGroupThatQualifies) {
    scenario = R"({"disk_groups": [{"name": "gone", "dgid": "2", "type": 2}]})";
    at_every_threshold([&] {
        const Result result = wide(4, 4);
        EXPECT_EQ(result.status, 0u);
        EXPECT_EQ(result.count, 0u);
        EXPECT_EQ(result.size, 4u);
        EXPECT_EQ(result.bytes, std::vector<std::uint8_t>(4, GuardedBuffer::canary));
        expect_pauses({});
        // Nothing is stored: nothing is required of the pointers.
        EXPECT_EQ(FARLO(GetDgNameListW)(handle, nullptr, nullptr, nullptr), 0u);
    });
}

TEST_F(NameList, NoGroupAtAll) {
    scenario = "{}";
    at_every_threshold([&] {
        EXPECT_EQ(wide(4, 4).status, 0u);
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

TEST_F(NameList, Checks) {
    at_every_threshold([&] {
        wchar_t* pointer = nullptr;
        std::uint32_t size = 100;
        std::uint32_t count = untouched;
        EXPECT_EQ(FARLO(GetDgNameListW)(nullptr, &pointer, &size, &count), 0x64u);
        expect_log({{6, "Entering GetDgNameListCommon"},
                    {0, "GetDgNameListCommon() failed , NULL opal_handle, error=(0x64)"}});
        // Without a message, and without the exit line.
        wchar_t room[50];
        pointer = room;
        for (const int missing : {1, 2, 3, 4}) {
            SCOPED_TRACE(missing);
            wchar_t* none = nullptr;
            start_watching();
            EXPECT_EQ(FARLO(GetDgNameListW)(handle,
                                            missing == 1   ? nullptr
                                            : missing == 2 ? &none
                                                           : &pointer,
                                            missing == 3 ? nullptr : &size,
                                            missing == 4 ? nullptr : &count),
                      0x13u);
            expect_log({{6, "Entering GetDgNameListCommon"}});
        }
        EXPECT_EQ(size, 100u);
        EXPECT_EQ(count, untouched);
        start_watching();
        disconnect();
        EXPECT_EQ(FARLO(GetDgNameListW)(handle, &pointer, &size, &count), 0x14u);
        expect_calls({});
        expect_log({{6, "Entering GetDgNameListCommon"},
                    {0, "GetDgNameListCommon() failed , error=(0x14)"}});
    });
}

// A size that is too small is told before a missing pointer is looked at.
TEST_F(NameList, TheSizeIsLookedAtFirst) {
    once([&] {
        std::uint32_t size = 0;
        EXPECT_EQ(FARLO(GetDgNameListW)(handle, nullptr, &size, nullptr), 0x61u);
        EXPECT_EQ(size, 18u);
    });
}

TEST_F(NameList, AGroupWithoutAReadableTypeIsPassedOver) {
    at_every_threshold([&] {
        set_faults(R"([{"object": "dg1", "property": "LDM DG TYPE", "as": "STR"}])");
        const Result result = wide(10, 10);
        EXPECT_EQ(result.status, 0u);
        EXPECT_EQ(result.count, 1u);
        EXPECT_EQ(result.bytes, bytes("d\0a\0t\0a\0\0\0", 10));
        expect_log({{6, "Entering GetDgNameListCommon"}, {6, "Exiting GetDgNameListCommon"}});
    });
}

TEST_F(NameList, AnotherReadThatRaisesEndsTheCall) {
    at_every_threshold([&] {
        for (const char* property : {"imported", "Name"}) {
            SCOPED_TRACE(property);
            set_faults(std::string(R"([{"object": "data", "property": ")") + property +
                       R"(", "status": "0xc100003a"}])");
            start_watching();
            const Result result = wide(18, 18);
            EXPECT_EQ(result.status, 0x12u);
            EXPECT_EQ(result.count, untouched);
            EXPECT_EQ(result.bytes, std::vector<std::uint8_t>(18, GuardedBuffer::canary));
            expect_log({{6, "Entering GetDgNameListCommon"},
                        {6, "API_TRY_CATCH_FAILED "},
                        {0, "GetDgNameListCommon() failed, error=(0x12) "},
                        {6, "Exiting GetDgNameListCommon"}});
        }
    });
}

// In the second pass the names copied so far stay.
TEST_F(NameList, ARaiseInTheSecondPassLeavesTheFirstNames) {
    at_every_threshold([&] {
        set_faults(
            R"([{"object": "data", "property": "Name", "call": 2, "status": "0xc100003a"}])");
        const Result result = wide(18, 18);
        EXPECT_EQ(result.status, 0x12u);
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

// A name that grows between the passes does not run over the buffer's end.
TEST_F(NameList, ANameThatGrowsBetweenThePassesIsRefused) {
    once([&] {
        set_faults(R"([{"object": "data", "property": "Name", "call": 2, "lie": "long"}])");
        EXPECT_EQ(wide(18, 18).status, 0x12u);
    });
}

// By one character: the last name that was copied stays, and no byte behind it is
// written.
TEST_F(NameList, ANameThatGrowsByOneCharacter) {
    scenario = R"({"disk_groups": [
        {"name": "dg1", "dgid": "1", "imported": true},
        {"name": "data", "dgid": "2", "imported": true},
        {"name": "data1", "dgid": "3", "type": 1}]})";
    for (const bool wide_form : {true, false}) {
        SCOPED_TRACE(wide_form);
        once([&] {
            unsigned names_read = 0;
            interpose<decltype(ObGetProperty)>(
                "ObGetProperty",
                [&](opal_connection connection, opal_context context, const opal_objid* object,
                    const char* name, opal_property* property) {
                    opal_objid grown;
                    EXPECT_EQ(LabFindObject("data1", &grown), 0);
                    const bool is_last = std::strcmp(name, "Name") == 0 && ++names_read == 4;
                    return ObGetProperty(connection, context, is_last ? &grown : object, name,
                                         property);
                });
            const std::uint32_t size = wide_form ? 18 : 9;
            const Result result = wide_form ? wide(size, size) : narrow(size, size);
            EXPECT_EQ(names_read, 4u);
            EXPECT_EQ(result.status, 0x12u);
            std::vector<std::uint8_t> wanted = wide_form ? bytes("d\0g\0"
                                                                 "1\0\0\0",
                                                                 8)
                                                         : bytes("dg1", 4);
            wanted.resize(size, 0);
            EXPECT_EQ(result.bytes, wanted);
        });
    }
}

TEST_F(NameList, AQueryThatRaises) {
    at_every_threshold([&] {
        heap().fail(1);
        EXPECT_EQ(wide(18, 18).status, 0x12u);
        expect_log({{6, "Entering GetDgNameListCommon"},
                    {6, "API_TRY_CATCH_FAILED "},
                    {0, "GetDgNameListCommon() failed, error=(0x12) "},
                    {6, "Exiting GetDgNameListCommon"}});
    });
}

TEST_F(NameList, AConnectionThatDropsMeanwhile) {
    at_every_threshold([&] {
        set_faults(R"([{"object": "shared", "property": "LDM DG TYPE", "drop": true}])");
        EXPECT_EQ(wide(0, 0).status, 0x14u);
        expect_log({{6, "Entering GetDgNameListCommon"},
                    {0, "GetDgNameListCommon() failed, error=(0x14) "},
                    {6, "Exiting GetDgNameListCommon"}});
    });
}

// Whatever it was.
TEST_F(NameList, ADroppedConnectionVoidsAFailureToo) {
    at_every_threshold([&] {
        set_faults(
            R"([{"object": "data", "property": "Name", "after": "0xc100003a", "drop": true}])");
        EXPECT_EQ(wide(18, 18).status, 0x14u);
        expect_log({{6, "Entering GetDgNameListCommon"},
                    {6, "API_TRY_CATCH_FAILED "},
                    {0, "GetDgNameListCommon() failed, error=(0x14) "},
                    {6, "Exiting GetDgNameListCommon"}});
    });
}

TEST_F(NameList, ANarrowNameOf32CharactersOrMoreIsRefused) {
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
            EXPECT_EQ(result.status, 0x12u);
            EXPECT_EQ(result.count, 3u);
            std::vector<std::uint8_t> wanted = bytes("dg1\0"
                                                     "123456789012345678901234567890x",
                                                     36);
            wanted.resize(size, 0);
            EXPECT_EQ(result.bytes, wanted);
            // The wide form has no such limit.
            EXPECT_EQ(wide(2 * size, 2 * size).status, 0u);
        });
    }
}

}  // namespace
