// GetClusterSharedDgGuid.
#include "volume/clusterability_fixture.h"

#include <cerrno>
#include <cstring>

namespace {

using namespace support;

class SharedGuid : public Clusterable {
  protected:
    SharedGuid() { set_group(R"("type": 8)"); }

    std::uint32_t ask(GuardedBuffer& guid, const wchar_t* device = L"\\Device\\one two") {
        return FARLO(GetClusterSharedDgGuidW)(handle, device, guid.as<char>());
    }

    // These lines after the entry line, and the closing one of a failure.
    void expect_lines(const std::vector<Expected>& lines, const std::string& status) {
        std::vector<Expected> all{{2, "Entering GetClusterSharedDgGuidW"}};
        all.insert(all.end(), lines.begin(), lines.end());
        if (status != "0x0") {
            all.push_back({0, "GetClusterSharedDgGuidW() failed, error=(" + status + ") "});
        }
        expect_log(all);
    }
};

const std::string find_device =
    query("tamo_ztvm_volume", "DEVICE NAME", R"(\\Device\\one two)", "0x0 [@vol1]");

TEST_F(SharedGuid, IsTheGroupsDgid) {
    at_every_threshold([&] {
        GuardedBuffer guid(65);
        EXPECT_EQ(ask(guid), 0u);
        std::vector<std::uint8_t> wanted(65, GuardedBuffer::canary);
        std::memcpy(wanted.data(), "guid-1", 7);
        EXPECT_EQ(guid.difference(wanted), "");
        expect_calls({find_device, groups_of("vol1", "@dg1"),
                      read("dg1", "LDM DG TYPE", "UINT32 8"), read("dg1", "dgid", str("guid-1"))});
        expect_lines({}, "0x0");
    });
}

TEST_F(SharedGuid, ATextOf64CharactersFitsAndOneMoreDoesNot) {
    const auto set_dgid = [this](std::size_t length) {
        scenario = R"({"disk_groups": [{"name": "dg1", "type": 8, "dgid": ")" +
                   std::string(length, 'g') +
                   R"(", "volumes": [{"name": "vol1", "device": "\\Device\\one two"}]}]})";
    };
    set_dgid(64);
    once([&] {
        GuardedBuffer guid(65);
        EXPECT_EQ(ask(guid), 0u);
        EXPECT_EQ(std::string(guid.as<char>()), std::string(64, 'g'));
    });
    set_dgid(65);
    at_every_threshold([&] {
        GuardedBuffer guid(65);
        EXPECT_EQ(ask(guid), 0xc1000001u);
        EXPECT_TRUE(guid.holds_text(""));
        expect_lines({{0, std::string("GetClusterSharedDgGuidW: secure string copy failed for "
                                      "volume  - \\Device\\one two, error = ") +
                              std::strerror(ERANGE)}},
                     "0xc1000001");
    });
}

TEST_F(SharedGuid, AGroupOfAnotherType) {
    set_group(R"("type": 2)");
    at_every_threshold([&] {
        GuardedBuffer guid(65);
        EXPECT_EQ(ask(guid), 0x80070057u);
        EXPECT_TRUE(guid.untouched());
        expect_lines({{0, "GetClusterSharedDgGuidW: DgType is not Cluster Shared for volume - "
                          "\\Device\\one two"}},
                     "0x80070057");
    });
}

TEST_F(SharedGuid, NoVolumeOrNoGroup) {
    at_every_threshold([&] {
        GuardedBuffer guid(65);
        EXPECT_EQ(ask(guid, L"none"), 0xc1000001u);
        expect_calls({query("tamo_ztvm_volume", "DEVICE NAME", "none", "0x0 []")});
        expect_lines({{0, "GetClusterSharedDgGuidW:Volume Object not found for volume  - none"}},
                     "0xc1000001");
        start_watching();
        EXPECT_EQ(ask(guid, L"lone"), 0xc1000001u);
        expect_lines({{0, "GetClusterSharedDgGuidW: Dg object not found for volume  - lone"}},
                     "0xc1000001");
        EXPECT_TRUE(guid.untouched());
    });
}

TEST_F(SharedGuid, AFailedQuery) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "DbGetObjectsByQuery", "status": "0xc1000102"}])");
        GuardedBuffer guid(65);
        EXPECT_EQ(ask(guid), 0xc1000102u);
        expect_lines({{0, "GetClusterSharedDgGuidW:DbGetObjectsByQuery failed for volume  - "
                          "\\Device\\one two, error = 0xc1000102"}},
                     "0xc1000102");
    });
}

TEST_F(SharedGuid, AStatusThatIsNoFailure) {
    at_every_threshold([&] {
        set_faults(no_failure);
        GuardedBuffer guid(65);
        EXPECT_EQ(ask(guid), 0u);
        EXPECT_TRUE(guid.holds_text("guid-1"));
        expect_lines({}, "0x0");
    });
}

TEST_F(SharedGuid, IsThatOfTheFirstVolumesFirstGroup) {
    scenario = two_groups;
    once([&] {
        const Several several(dll().module(), {"vol 2", "vol 8"}, {"eight", "two"});
        GuardedBuffer guid(65);
        EXPECT_EQ(ask(guid), 0u);
        EXPECT_TRUE(guid.holds_text("guid-8"));
        EXPECT_TRUE(several.asked_only_for("vol 2"));
        expect_calls(
            {read("eight", "LDM DG TYPE", "UINT32 8"), read("eight", "dgid", str("guid-8"))});
    });
}

TEST_F(SharedGuid, EveryAllocationThatFails) {
    const auto run = [&](auto ask_for) {
        auto answers = answers_at_every_allocation([&] {
            GuardedBuffer guid(65);
            const std::uint32_t status = ask_for(guid.as<char>());
            EXPECT_TRUE(status == 0 ? guid.holds_text("guid-1")
                                    : testing::AssertionResult(guid.untouched()));
            return status;
        });
        ASSERT_GT(answers.size(), 1u);
        EXPECT_EQ(answers.front(), 0x8007000Eu);  // the query's text comes first
        answers.erase(answers.begin());
        EXPECT_THAT(answers, testing::Each(18u));
    };
    run([&](char* guid) {
        return FARLO(GetClusterSharedDgGuidW)(handle, L"\\Device\\one two", guid);
    });
    run([&](char* guid) {
        return FARLO(GetClusterSharedDgGuidA)(handle, "\\Device\\one two", guid);
    });
}

TEST_F(SharedGuid, WhatCannotBeReadIsAnException) {
    at_every_threshold([&] {
        for (const char* fault :
             {R"({"function": "ObGetParentObjects", "status": "0xc1000104"})",
              R"({"property": "LDM DG TYPE", "status": "0xc100003a"})",
              R"({"property": "dgid", "as": "WSTR"})", R"({"property": "dgid", "lie": "null"})"}) {
            SCOPED_TRACE(fault);
            set_faults("[" + std::string(fault) + "]");
            start_watching();
            GuardedBuffer guid(65);
            EXPECT_EQ(ask(guid), 18u);
            EXPECT_TRUE(guid.untouched());
            expect_lines({exception}, "0x12");
        }
    });
}

TEST_F(SharedGuid, NullArguments) {
    at_every_threshold([&] {
        GuardedBuffer guid(65);
        EXPECT_EQ(ask(guid, nullptr), 0x80070057u);
        expect_lines({{0, "GetClusterSharedDgGuidW() failed , NULL Volume Device Name"}},
                     "0x80070057");
        start_watching();
        EXPECT_EQ(FARLO(GetClusterSharedDgGuidW)(handle, L"d", nullptr), 0x80070057u);
        expect_lines({{0, "GetClusterSharedDgGuidW() failed , NULL DG GUID"}}, "0x80070057");
        expect_calls({});
        start_watching();
        EXPECT_EQ(FARLO(GetClusterSharedDgGuidW)(nullptr, L"d", nullptr), 100u);
        expect_log({{2, "Entering GetClusterSharedDgGuidW"},
                    {0, "GetClusterSharedDgGuidW() failed , NULL opal_handle"}});
    });
}

TEST_F(SharedGuid, NotConnected) {
    at_every_threshold([&] {
        disconnect();
        GuardedBuffer guid(65);
        EXPECT_EQ(ask(guid), 20u);
        expect_calls({});
        const std::vector<Expected> lines{
            {2, "Entering GetClusterSharedDgGuidW"},
            {0, "GetClusterSharedDgGuidW() failed , opal_handle not connected"}};
        expect_log(lines);
        // Asked before the arguments are.
        start_watching();
        EXPECT_EQ(ask(guid, nullptr), 20u);
        expect_log(lines);
        EXPECT_TRUE(guid.untouched());
    });
}

TEST_F(SharedGuid, NoMemoryAndTooLong) {
    at_every_threshold([&] {
        GuardedBuffer guid(65);
        EXPECT_EQ(ask(guid, std::wstring(2000, L'd').c_str()), 0x80070057u);
        expect_log({{2, "Entering GetClusterSharedDgGuidW"},
                    {0, "GetClusterSharedDgGuidW() failed , device string of more than 1995 "
                        "characters, error=(0x80070057)"}});
        start_watching();
        set_faults(R"([{"function": "_ZtAlloc", "nothing": true}])");
        EXPECT_EQ(ask(guid), 0x8007000Eu);
        expect_lines({{0, "GetClusterSharedDgGuidW: failed to allocate memory"}}, "0x8007000e");
        expect_calls({});
    });
}

TEST_F(SharedGuid, AConnectionThatDropsMeanwhileVoidsTheResult) {
    at_every_threshold([&] {
        set_faults(R"([{"property": "dgid", "drop": true}])");
        GuardedBuffer guid(65);
        EXPECT_EQ(ask(guid), 20u);
        EXPECT_TRUE(guid.holds_text("guid-1"));
        expect_lines({}, "0x14");
    });
}

TEST_F(SharedGuid, AConnectionThatDropsMeanwhileVoidsAFailureToo) {
    set_group(R"("type": 2)");
    at_every_threshold([&] {
        set_faults(R"([{"property": "LDM DG TYPE", "drop": true}])");
        GuardedBuffer guid(65);
        EXPECT_EQ(ask(guid), 20u);
        EXPECT_TRUE(guid.untouched());
        expect_lines({{0, "GetClusterSharedDgGuidW: DgType is not Cluster Shared for volume - "
                          "\\Device\\one two"}},
                     "0x14");
    });
}

TEST_F(SharedGuid, ADroppedConnectionVoidsAnExceptionToo) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "ObGetParentObjects", "drop": true}])");
        GuardedBuffer guid(65);
        EXPECT_EQ(ask(guid), 20u);
        EXPECT_TRUE(guid.untouched());
        expect_lines({exception}, "0x14");
    });
}

TEST_F(SharedGuid, TheLongestDeviceNameOfTheNarrowForm) {
    scenario = R"({"disk_groups": [{"name": "dg1", "type": 8, "dgid": "guid-1", "volumes": [
        {"name": "vol1", "device": ")" +
               std::string(259, 'd') + R"("}]}]})";
    at_every_threshold([&] {
        GuardedBuffer guid(65);
        EXPECT_EQ(
            FARLO(GetClusterSharedDgGuidA)(handle, std::string(259, 'd').c_str(), guid.as<char>()),
            0u);
        EXPECT_TRUE(guid.holds_text("guid-1"));
        expect_lines({}, "0x0");
    });
}

TEST_F(SharedGuid, TheNarrowForm) {
    at_every_threshold([&] {
        GuardedBuffer guid(65);
        EXPECT_EQ(FARLO(GetClusterSharedDgGuidA)(handle, "\\Device\\one two", guid.as<char>()), 0u);
        EXPECT_EQ(std::string(guid.as<char>()), "guid-1");
        expect_lines({}, "0x0");
        start_watching();
        EXPECT_EQ(FARLO(GetClusterSharedDgGuidA)(handle, nullptr, guid.as<char>()), 0x80070057u);
        expect_lines({{0, "GetClusterSharedDgGuidW() failed , NULL Volume Device Name"}},
                     "0x80070057");
        start_watching();
        EXPECT_EQ(
            FARLO(GetClusterSharedDgGuidA)(handle, std::string(260, 'd').c_str(), guid.as<char>()),
            0x80070057u);
        expect_log(
            {{0, "GetClusterSharedDgGuidA() failed , device string of more than 259 characters or "
                 "invalid, error=(0x80070057)"}});
    });
}

}  // namespace
