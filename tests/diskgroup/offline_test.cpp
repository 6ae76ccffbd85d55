// OfflineDg.
#include "diskgroup/deport_fixture.h"

namespace {

using namespace support;

using OfflineDg = DeportFixture;

TEST_F(OfflineDg, DeportsGroupFoundByGuid) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(OfflineDgW)(handle, L"dg1", "GUID-1", 0), FARLO_SUCCESS);
        expect_calls(Lines{cluster_service()} + find_dg1 +
                     Lines{deport("dg1", "GUID-1", 0x4040, bus_success)});
        expect_log({{2, "Entering OfflineDgW - dg1"}, {2, "Exiting OfflineDgW"}});
    });
}

// 0x40 unless NO_NAME_CHECK is given, 0x4000 always, 0x1000 with SHARED.
TEST_F(OfflineDg, AddsBitsToOptions) {
    once([&] {
        EXPECT_EQ(FARLO(OfflineDgW)(handle, L"", "guid-1", FARLO_OFFLINE_NO_NAME_CHECK),
                  FARLO_SUCCESS);
        EXPECT_EQ(calls_of("PrCallDispatch"),
                  (Lines{deport("dg1", "guid-1", 0x4001, bus_success)}));
        start_watching();
        EXPECT_EQ(FARLO(OfflineDgW)(handle, L"", "guid-8",
                                    FARLO_OFFLINE_NO_NAME_CHECK | FARLO_OFFLINE_SHARED),
                  FARLO_SUCCESS);
        EXPECT_EQ(calls_of("PrCallDispatch"),
                  (Lines{deport("shared", "guid-8", 0x5801, bus_success)}));
        start_watching();
        // Other bits are sent unchanged.
        EXPECT_EQ(FARLO(OfflineDgW)(handle, L"", "guid-1", 0x80000002), service_not_imported);
        EXPECT_EQ(calls_of("PrCallDispatch"),
                  (Lines{deport("dg1", "guid-1", 0x80004042, service_not_imported)}));
    });
}

// The option lets both searches find a group of any type.
TEST_F(OfflineDg, FindsLocalGroupByNameWithSharedOption) {
    once([&] {
        EXPECT_EQ(FARLO(OfflineDgW)(handle, L"local", nullptr, FARLO_OFFLINE_SHARED),
                  FARLO_SUCCESS);
        EXPECT_EQ(calls_of("PrCallDispatch"),
                  (Lines{deport("local", "guid-3", 0x5840, bus_success)}));
    });
}

// Without the option the search by name finds cluster groups only.
TEST_F(OfflineDg, ReturnsExcludedTypeForLocalGroupByName) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(OfflineDgW)(handle, L"local", nullptr, 0), FARLO_EXCLUDED_TYPE);
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

// Without the option a local group is not found by its GUID either.
TEST_F(OfflineDg, DeportsNullObjectWhenGroupIsNotFound) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(OfflineDgW)(handle, L"x", "guid-3", 0), bus_null_object);
        expect_calls(Lines{cluster_service()} + search_all_groups +
                     Lines{deport("null", "guid-3", 0x4040, bus_null_object)});
        expect_log({{2, "Entering OfflineDgW - x"},
                    {0, "GetDgObjIdByGuid() failed , DG_TYPENAME not found in OPAL, error=(0x28)"},
                    {0, "OfflineDgW():GetDgObjIdByGuid() failed, error=(0x28) "},
                    {4, "OfflineDgW: DGOP_DEPORT, CsfInvoke failed with error = 0xc1000010."},
                    {0, "OfflineDgW() failed, error=(0xc1000010) "},
                    {2, "Exiting OfflineDgW"}});
    });
}

TEST_F(OfflineDg, SucceedsForUnknownGroupWhenServiceDoes) {
    once([&] {
        set_faults(fault_plan({methods_return(bus_success)}));
        EXPECT_EQ(FARLO(OfflineDgW)(handle, L"x", "nowhere", 0), FARLO_SUCCESS);
    });
}

TEST_F(OfflineDg, RequiresConnectedHandle) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(OfflineDgW)(nullptr, L"dg1", "guid-1", 0), FARLO_NULL_HANDLE);
        expect_log({{2, "Entering OfflineDgW - dg1"},
                    {0, "OfflineDgW() failed , NULL opal_handle, error=(0x64)"}});
        start_watching();
        disconnect();
        EXPECT_EQ(FARLO(OfflineDgW)(handle, L"dg1", "guid-1", 0), FARLO_NOT_CONNECTED);
        expect_calls({});
        expect_log({{2, "Entering OfflineDgW - dg1"},
                    {0, "OfflineDgW() failed , opal_handle not connected, error=(0x14)"}});
    });
}

TEST_F(OfflineDg, RequiresNameOrGuid) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(OfflineDgW)(handle, L"", nullptr, 0), FARLO_MISSING_ARGUMENT);
        expect_calls({});
        expect_log({{2, "Entering OfflineDgW - "},
                    {0, "OfflineDgW():SetDgGuidParam() failed, error=(0x13) "},
                    {0, "OfflineDgW() failed, error=(0x13) "},
                    {2, "Exiting OfflineDgW"}});
    });
}

TEST_F(OfflineDg, FailsWhenClusterServiceCannotBeQueried) {
    at_every_threshold([&] {
        set_faults(fault_plan({failing(querying(object_type::cluster_service))}));
        EXPECT_EQ(FARLO(OfflineDgW)(handle, L"dg1", "guid-1", 0), FARLO_NO_CLUSTER_SERVICE);
        expect_log({{2, "Entering OfflineDgW - dg1"},
                    {0, "OfflineDgW():GetClusSvcId() failed, error=(0x29) "},
                    {0, "OfflineDgW() failed, error=(0x29) "},
                    {2, "Exiting OfflineDgW"}});
    });
}

TEST_F(OfflineDg, FailsWhenParameterCannotBeAdded) {
    at_every_threshold([&] {
        for (const char* parameter : deport_parameters) {
            SCOPED_TRACE(parameter);
            set_faults(fault_plan({failing(adding(parameter), bus_no_memory)}));
            start_watching();
            EXPECT_EQ(FARLO(OfflineDgW)(handle, L"dg1", "guid-1", 0), FARLO_EXCEPTION);
            EXPECT_EQ(calls_of("PrCallDispatch"), Lines{});
            expect_log({{2, "Entering OfflineDgW - dg1"},
                        {6, "API_TRY_CATCH_FAILED "},
                        {0, "OfflineDgW() failed, error=(0x12) "},
                        {2, "Exiting OfflineDgW"}});
        }
    });
}

TEST_F(OfflineDg, FailsWithoutMemoryForGuid) {
    at_every_threshold([&] {
        heap().fail(1);
        EXPECT_EQ(FARLO(OfflineDgW)(handle, L"dg1", "guid-1", 0), FARLO_NO_GUID_MEMORY);
        expect_log({{2, "Entering OfflineDgW - dg1"},
                    {0, "OfflineDgW():SetDgGuidParam() failed, error=(0x11) "},
                    {0, "OfflineDgW() failed, error=(0x11) "},
                    {2, "Exiting OfflineDgW"}});
    });
}

TEST_F(OfflineDg, ReturnsNotConnectedWhenConnectionDrops) {
    at_every_threshold([&] {
        set_faults(fault_plan({dropping(calling(method::deport_group))}));
        EXPECT_EQ(FARLO(OfflineDgW)(handle, L"dg1", "guid-1", 0), FARLO_NOT_CONNECTED);
        expect_log({{2, "Entering OfflineDgW - dg1"},
                    {0, "OfflineDgW() failed, error=(0x14) "},
                    {2, "Exiting OfflineDgW"}});
    });
}

TEST_F(OfflineDg, ReturnsNotConnectedWhenConnectionDropsDuringFailedCall) {
    at_every_threshold([&] {
        set_faults(fault_plan(
            {failing_and_dropping(calling(method::deport_group), service_not_imported)}));
        EXPECT_EQ(FARLO(OfflineDgW)(handle, L"dg1", "guid-1", 0), FARLO_NOT_CONNECTED);
        expect_log({{2, "Entering OfflineDgW - dg1"},
                    {4, "OfflineDgW: DGOP_DEPORT, CsfInvoke failed with error = 0xe5150102."},
                    {0, "OfflineDgW() failed, error=(0x14) "},
                    {2, "Exiting OfflineDgW"}});
    });
}

TEST_F(OfflineDg, ReturnsNotConnectedWhenConnectionDropsDuringFailedQuery) {
    at_every_threshold([&] {
        set_faults(fault_plan({failing_and_dropping(querying(object_type::cluster_service))}));
        EXPECT_EQ(FARLO(OfflineDgW)(handle, L"dg1", "guid-1", 0), FARLO_NOT_CONNECTED);
        EXPECT_EQ(calls_of("PrCallDispatch"), Lines{});
        expect_log({{2, "Entering OfflineDgW - dg1"},
                    {0, "OfflineDgW():GetClusSvcId() failed, error=(0x29) "},
                    {0, "OfflineDgW() failed, error=(0x14) "},
                    {2, "Exiting OfflineDgW"}});
    });
}

// Without an output set, the failure is logged without the name of the method.
TEST_F(OfflineDg, CallsMethodWithoutOutputSet) {
    at_every_threshold([&] {
        set_faults(fault_plan(
            {no_output_set, failing(calling(method::deport_group), service_not_imported)}));
        EXPECT_EQ(FARLO(OfflineDgW)(handle, L"dg1", "guid-1", 0), service_not_imported);
        EXPECT_EQ(calls_of("PrCallDispatch"),
                  (Lines{deport("dg1", "guid-1", 0x4040, service_not_imported, "NULL")}));
        expect_log({{2, "Entering OfflineDgW - dg1"},
                    {0, "OfflineDgW() failed, error=(0xe5150102) "},
                    {2, "Exiting OfflineDgW"}});
    });
}

// The export itself catches the exception and logs no exit line. DeportDg does the same.
TEST_F(OfflineDg, ReturnsExceptionWithoutMemoryForClusterServices) {
    at_every_threshold([&] {
        // The first allocation is for the GUID string, the second for the list of cluster services.
        heap().fail(2);
        EXPECT_EQ(FARLO(OfflineDgW)(handle, L"dg1", "guid-1", 0), FARLO_EXCEPTION);
        EXPECT_EQ(calls_of("PrCallDispatch"), Lines{});
        expect_log({{2, "Entering OfflineDgW - dg1"}, {6, "API_TRY_CATCH_FAILED "}});
        start_watching();
        heap().fail(2);
        EXPECT_EQ(FARLO(DeportDgW)(handle, L"dg1", "guid-1"), FARLO_EXCEPTION);
        EXPECT_EQ(calls_of("PrCallDispatch"), Lines{});
        expect_log({{6, "Entering DeportDgW"}, {6, "API_TRY_CATCH_FAILED "}});
    });
}

// The library's writable data as 32-bit words.
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

// Makes three nested calls, each from within the method call of the one before. Returns the number
// of words in the library's data that counted how many of them were in flight.
std::size_t words_that_count(HMODULE module, const std::function<std::uint32_t()>& call) {
    constexpr std::size_t nested = 3;
    using Words = std::vector<std::uint32_t>;
    const Words before = data_words(module);
    std::vector<Words> at_set_creation;
    std::vector<Words> at_method_call;
    StandIn<decltype(PsCreatePropset)> create(module, "PsCreatePropset", [&](opal_propset* set) {
        at_set_creation.push_back(data_words(module));
        return create.real(set);
    });
    StandIn<decltype(PrCallDispatch)> dispatch(module, "PrCallDispatch", [&](auto... arguments) {
        at_method_call.push_back(data_words(module));
        if (at_method_call.size() < nested) {
            call();
        }
        return dispatch.real(arguments...);
    });
    call();
    const Words after = data_words(module);
    if (at_method_call.size() != nested || at_set_creation.size() != 2 * nested) {
        ADD_FAILURE() << at_method_call.size() << " method calls, " << at_set_creation.size()
                      << " sets created";
        return 0;
    }
    std::size_t found = 0;
    for (std::size_t word = 0; word < before.size(); ++word) {
        bool counts = after[word] == before[word];
        for (std::uint32_t depth = 0; depth < nested; ++depth) {
            // A deport counts from after the creation of its input set, before that of its
            // output set.
            counts = counts && at_set_creation[2 * depth][word] == before[word] + depth &&
                     at_set_creation[2 * depth + 1][word] == before[word] + depth + 1 &&
                     at_method_call[depth][word] == before[word] + depth + 1;
        }
        found += counts ? 1 : 0;
    }
    return found;
}

// In one word of its data, which a dump of the agent shows. DeportDg does not count.
TEST_F(OfflineDg, CountsDeportsInFlight) {
    once([&] {
        EXPECT_EQ(words_that_count(dll().module(),
                                   [&] {
                                       return FARLO(OfflineDgW)(handle, L"x", "guid-1",
                                                                FARLO_OFFLINE_SHARED);
                                   }),
                  1u);
        EXPECT_EQ(words_that_count(dll().module(),
                                   [&] {
                                       return FARLO(OfflineDgW)(handle, L"x", "nowhere",
                                                                FARLO_OFFLINE_SHARED);
                                   }),
                  1u)
            << "a deport that fails";
        EXPECT_EQ(words_that_count(dll().module(),
                                   [&] { return FARLO(DeportDgW)(handle, L"dg1", "guid-1"); }),
                  0u);
    });
}

TEST_F(OfflineDg, AcceptsNarrowNameAndRejectsOneOf32Characters) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(OfflineDgA)(handle, "dg1", nullptr, 0), FARLO_SUCCESS);
        EXPECT_EQ(calls_of("PrCallDispatch"),
                  (Lines{deport("dg1", "guid-1", 0x4040, bus_success)}));
        load_scenario(scenario);
        start_watching();
        EXPECT_EQ(FARLO(OfflineDgA)(handle, nullptr, "guid-1", FARLO_OFFLINE_NO_NAME_CHECK),
                  FARLO_SUCCESS);
        EXPECT_EQ(calls_of("PrCallDispatch"),
                  (Lines{deport("dg1", "guid-1", 0x4001, bus_success)}));
        start_watching();
        EXPECT_EQ(FARLO(OfflineDgA)(handle, std::string(32, 'n').c_str(), "guid-1", 0),
                  FARLO_INVALID_ARGUMENT);
        expect_calls({});
        expect_log({{0, "OfflineDgA() failed , name string of more than 31 characters or invalid, "
                        "error=(0x80070057)"}});
    });
}

}  // namespace
