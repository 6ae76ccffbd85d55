// OfflineDg.
#include "diskgroup/deport_fixture.h"

namespace {

using namespace support;

TEST_F(Deport, OfflineSendsTheAdjustedWord) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(OfflineDgW)(handle, L"dg1", "GUID-1", 0), 0u);
        expect_calls(Lines{cluster_service()} + lookup(1) +
                     Lines{deport("dg1", "GUID-1", "OfflineFlag", 0x4040, "0x0")});
        expect_log({{2, "Entering OfflineDgW - dg1"}, {2, "Exiting OfflineDgW"}});
    });
}

TEST_F(Deport, OfflineOptionBits) {
    once([&] {
        EXPECT_EQ(FARLO(OfflineDgW)(handle, L"", "guid-1", 1), 0u);
        EXPECT_EQ(calls_of("PrCallDispatch"),
                  (Lines{deport("dg1", "guid-1", "OfflineFlag", 0x4001, "0x0")}));
        start_watching();
        EXPECT_EQ(FARLO(OfflineDgW)(handle, L"", "guid-8", 0x801), 0u);
        EXPECT_EQ(calls_of("PrCallDispatch"),
                  (Lines{deport("shared", "guid-8", "OfflineFlag", 0x5801, "0x0")}));
        start_watching();
        // Any other bit goes through.
        EXPECT_EQ(FARLO(OfflineDgW)(handle, L"", "guid-1", 0x80000002), 0xe5150102u);
        EXPECT_EQ(calls_of("PrCallDispatch"),
                  (Lines{deport("dg1", "guid-1", "OfflineFlag", 0x80004042, "0xe5150102")}));
    });
}

// Bit 0x800 lets both lookups take a group of any type.
TEST_F(Deport, OfflineOfASharedGroupByName) {
    once([&] {
        EXPECT_EQ(FARLO(OfflineDgW)(handle, L"local", nullptr, 0x800), 0u);
        EXPECT_EQ(calls_of("PrCallDispatch"),
                  (Lines{deport("local", "guid-3", "OfflineFlag", 0x5840, "0x0")}));
    });
}

// Without it the lookup by name takes cluster groups only.
TEST_F(Deport, OfflineOfALocalGroupByName) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(OfflineDgW)(handle, L"local", nullptr, 0), 40u);
        EXPECT_EQ(calls_of("PrCallDispatch"), Lines{});
        expect_log({{2, "Entering OfflineDgW - local"},
                    {0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x28)"},
                    {0, "GetDgGuidCommon() failed , error=(0x28)"},
                    {0, "GetDgGuidCommon() failed, error=(0x28)"},
                    {0, "OfflineDgW():SetDgGuidParam() failed, error=(0x28) "},
                    {0, "OfflineDgW() failed, error=(0x28) "},
                    {2, "Exiting OfflineDgW"}});
    });
}

// Without it a group that is no cluster group is not found: the deport is sent
// to the null group all the same.
TEST_F(Deport, OfflineGoesOnWithoutAGroup) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(OfflineDgW)(handle, L"x", "guid-3", 0), ZTERROR_NULL_OBJECT);
        expect_calls(Lines{cluster_service()} + lookup(3) +
                     Lines{deport("null", "guid-3", "OfflineFlag", 0x4040, "0xc1000010")});
        expect_log({{2, "Entering OfflineDgW - x"},
                    {0, "GetDgObjIdByGuid() failed , DG_TYPENAME not found in OPAL, error=(0x28)"},
                    {0, "OfflineDgW():GetDgObjIdByGuid() failed, error=(0x28) "},
                    {4, "OfflineDgW: DGOP_DEPORT, CsfInvoke failed with error = 0xc1000010."},
                    {0, "OfflineDgW() failed, error=(0xc1000010) "},
                    {2, "Exiting OfflineDgW"}});
    });
}

// The result is then the service's, a success too.
TEST_F(Deport, OfflineWithoutAGroupSucceedsWhenTheServiceDoes) {
    once([&] {
        set_faults(R"([{"minor": 2001, "status": 0}])");
        EXPECT_EQ(FARLO(OfflineDgW)(handle, L"x", "nowhere", 0), 0u);
    });
}

TEST_F(Deport, OfflineChecksItsHandle) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(OfflineDgW)(nullptr, L"dg1", "guid-1", 0), 100u);
        expect_log({{2, "Entering OfflineDgW - dg1"},
                    {0, "OfflineDgW() failed , NULL opal_handle, error=(0x64)"}});
        start_watching();
        disconnect();
        EXPECT_EQ(FARLO(OfflineDgW)(handle, L"dg1", "guid-1", 0), 20u);
        expect_calls({});
        expect_log({{2, "Entering OfflineDgW - dg1"},
                    {0, "OfflineDgW() failed , opal_handle not connected, error=(0x14)"}});
    });
}

TEST_F(Deport, OfflineWithoutNameAndGuid) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(OfflineDgW)(handle, L"", nullptr, 0), 0x13u);
        expect_calls({});
        expect_log({{2, "Entering OfflineDgW - "},
                    {0, "OfflineDgW():SetDgGuidParam() failed, error=(0x13) "},
                    {0, "OfflineDgW() failed, error=(0x13) "},
                    {2, "Exiting OfflineDgW"}});
    });
}

TEST_F(Deport, OfflineWithoutClusterService) {
    at_every_threshold([&] {
        set_faults(R"([{"type": "solvane_cluster_service", "status": "0xc1000001"}])");
        EXPECT_EQ(FARLO(OfflineDgW)(handle, L"dg1", "guid-1", 0), 41u);
        expect_log({{2, "Entering OfflineDgW - dg1"},
                    {0, "OfflineDgW():GetClusSvcId() failed, error=(0x29) "},
                    {0, "OfflineDgW() failed, error=(0x29) "},
                    {2, "Exiting OfflineDgW"}});
    });
}

TEST_F(Deport, OfflineParameterSetThatCannotBeBuilt) {
    at_every_threshold([&] {
        for (const char* name : {"Dgguid", "dgid", "Opflag", "OfflineFlag"}) {
            SCOPED_TRACE(name);
            set_faults(std::string(R"([{"function": "PsAddProperty", "property": ")") + name +
                       R"(", "status": "0xc1000102"}])");
            start_watching();
            EXPECT_EQ(FARLO(OfflineDgW)(handle, L"dg1", "guid-1", 0), 18u);
            EXPECT_EQ(calls_of("PrCallDispatch"), Lines{});
            expect_log({{2, "Entering OfflineDgW - dg1"},
                        {6, "API_TRY_CATCH_FAILED "},
                        {0, "OfflineDgW() failed, error=(0x12) "},
                        {2, "Exiting OfflineDgW"}});
        }
    });
}

TEST_F(Deport, OfflineNoMemory) {
    at_every_threshold([&] {
        heap().fail(1);
        EXPECT_EQ(FARLO(OfflineDgW)(handle, L"dg1", "guid-1", 0), 17u);
        expect_log({{2, "Entering OfflineDgW - dg1"},
                    {0, "OfflineDgW():SetDgGuidParam() failed, error=(0x11) "},
                    {0, "OfflineDgW() failed, error=(0x11) "},
                    {2, "Exiting OfflineDgW"}});
    });
}

TEST_F(Deport, OfflineAConnectionThatDropsMeanwhile) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "PrCallDispatch", "drop": true}])");
        EXPECT_EQ(FARLO(OfflineDgW)(handle, L"dg1", "guid-1", 0), 20u);
        expect_log({{2, "Entering OfflineDgW - dg1"},
                    {0, "OfflineDgW() failed, error=(0x14) "},
                    {2, "Exiting OfflineDgW"}});
    });
}

// Whatever it was.
TEST_F(Deport, OfflineADroppedConnectionVoidsAFailureToo) {
    at_every_threshold([&] {
        set_faults(R"([{"minor": 2001, "after": "0xe5150102", "drop": true}])");
        EXPECT_EQ(FARLO(OfflineDgW)(handle, L"dg1", "guid-1", 0), 20u);
        expect_log({{2, "Entering OfflineDgW - dg1"},
                    {4, "OfflineDgW: DGOP_DEPORT, CsfInvoke failed with error = 0xe5150102."},
                    {0, "OfflineDgW() failed, error=(0x14) "},
                    {2, "Exiting OfflineDgW"}});
    });
}

TEST_F(Deport, OfflineADropWhileTheServiceIsLookedFor) {
    at_every_threshold([&] {
        set_faults(R"([{"type": "solvane_cluster_service", "after": "0xc1000001", "drop": true}])");
        EXPECT_EQ(FARLO(OfflineDgW)(handle, L"dg1", "guid-1", 0), 20u);
        EXPECT_EQ(calls_of("PrCallDispatch"), Lines{});
        expect_log({{2, "Entering OfflineDgW - dg1"},
                    {0, "OfflineDgW():GetClusSvcId() failed, error=(0x29) "},
                    {0, "OfflineDgW() failed, error=(0x14) "},
                    {2, "Exiting OfflineDgW"}});
    });
}

// The deport is sent all the same; its failure then has no line of its own.
TEST_F(Deport, OfflineWithoutAnOutputSet) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "PsCreatePropset", "call": 2, "status": "0xc1000102"},
                       {"minor": 2001, "status": "0xe5150102"}])");
        EXPECT_EQ(FARLO(OfflineDgW)(handle, L"dg1", "guid-1", 0), 0xe5150102u);
        EXPECT_EQ(calls_of("PrCallDispatch"),
                  (Lines{deport("dg1", "guid-1", "OfflineFlag", 0x4040, "0xe5150102", "NULL")}));
        expect_log({{2, "Entering OfflineDgW - dg1"},
                    {0, "OfflineDgW() failed, error=(0xe5150102) "},
                    {2, "Exiting OfflineDgW"}});
    });
}

// Out of memory where nobody expects it: the export itself says so.
TEST_F(Deport, AnExceptionEndsAtTheExport) {
    at_every_threshold([&] {
        // The GUID text, then the list of cluster services.
        heap().fail(2);
        EXPECT_EQ(FARLO(OfflineDgW)(handle, L"dg1", "guid-1", 0), 18u);
        EXPECT_EQ(calls_of("PrCallDispatch"), Lines{});
        expect_log({{2, "Entering OfflineDgW - dg1"}, {6, "API_TRY_CATCH_FAILED "}});
        start_watching();
        heap().fail(2);
        EXPECT_EQ(FARLO(DeportDgW)(handle, L"dg1", "guid-1"), 18u);
        EXPECT_EQ(calls_of("PrCallDispatch"), Lines{});
        expect_log({{6, "Entering DeportDgW"}, {6, "API_TRY_CATCH_FAILED "}});
    });
}

// The library's own data, in words.
std::vector<std::uint32_t> data_words(HMODULE module) {
    std::vector<std::uint32_t> words;
    const auto* const image = reinterpret_cast<const std::uint8_t*>(module);
    const auto* const headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(
        image + reinterpret_cast<const IMAGE_DOS_HEADER*>(image)->e_lfanew);
    const IMAGE_SECTION_HEADER* const sections = IMAGE_FIRST_SECTION(headers);
    for (WORD i = 0; i < headers->FileHeader.NumberOfSections; ++i) {
        if ((sections[i].Characteristics & IMAGE_SCN_MEM_WRITE) != 0) {
            const auto* const first =
                reinterpret_cast<const std::uint32_t*>(image + sections[i].VirtualAddress);
            words.insert(words.end(), first, first + sections[i].Misc.VirtualSize / sizeof *first);
        }
    }
    return words;
}

// How many words count the calls that are made within each other, three deep.
std::size_t counters(HMODULE module, const std::function<std::uint32_t()>& call) {
    constexpr std::size_t deepest = 3;
    using Words = std::vector<std::uint32_t>;
    const Words before = data_words(module);
    std::vector<Words> made;
    std::vector<Words> sent;
    StandIn<decltype(PsCreatePropset)> create(module, "PsCreatePropset", [&](opal_propset* set) {
        made.push_back(data_words(module));
        return create.real(set);
    });
    StandIn<decltype(PrCallDispatch)> dispatch(module, "PrCallDispatch", [&](auto... arguments) {
        sent.push_back(data_words(module));
        if (sent.size() < deepest) {
            call();
        }
        return dispatch.real(arguments...);
    });
    call();
    const Words after = data_words(module);
    if (sent.size() != deepest || made.size() != 2 * deepest) {
        ADD_FAILURE() << sent.size() << " calls sent, " << made.size() << " sets made";
        return 0;
    }
    std::size_t found = 0;
    for (std::size_t word = 0; word < before.size(); ++word) {
        bool counts = after[word] == before[word];
        for (std::uint32_t depth = 0; depth < deepest; ++depth) {
            // The input set is made before the deport counts, the output set after.
            counts = counts && made[2 * depth][word] == before[word] + depth &&
                     made[2 * depth + 1][word] == before[word] + depth + 1 &&
                     sent[depth][word] == before[word] + depth + 1;
        }
        found += counts ? 1 : 0;
    }
    return found;
}

// In a word of the library's memory, whatever comes of them; DeportDg's are not.
TEST_F(Deport, OfflineCountsItsDeportsInFlight) {
    once([&] {
        const auto offline = [&](const char* guid) {
            return counters(dll().module(),
                            [&] { return FARLO(OfflineDgW)(handle, L"x", guid, 0x800); });
        };
        EXPECT_EQ(offline("guid-1"), 1u);
        EXPECT_EQ(offline("nowhere"), 1u) << "a deport that fails";
        const auto deport_group = [&] { return FARLO(DeportDgW)(handle, L"dg1", "guid-1"); };
        EXPECT_EQ(counters(dll().module(), deport_group), 0u);
    });
}

TEST_F(Deport, OfflineNarrowForm) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(OfflineDgA)(handle, "dg1", nullptr, 0), 0u);
        EXPECT_EQ(calls_of("PrCallDispatch"),
                  (Lines{deport("dg1", "guid-1", "OfflineFlag", 0x4040, "0x0")}));
        load_scenario(scenario);
        start_watching();
        EXPECT_EQ(FARLO(OfflineDgA)(handle, nullptr, "guid-1", 1), 0u);
        EXPECT_EQ(calls_of("PrCallDispatch"),
                  (Lines{deport("dg1", "guid-1", "OfflineFlag", 0x4001, "0x0")}));
        start_watching();
        EXPECT_EQ(FARLO(OfflineDgA)(handle, std::string(32, 'n').c_str(), "guid-1", 0),
                  0x80070057u);
        expect_calls({});
        expect_log({{0, "OfflineDgA() failed , name string of more than 31 characters or invalid, "
                        "error=(0x80070057)"}});
    });
}

}  // namespace
