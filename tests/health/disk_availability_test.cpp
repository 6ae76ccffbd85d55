// GetDgDiskAvailability.
#include "bus_lines.h"
#include "farlo_test.h"
#include "method_results.h"

namespace {

using namespace support;

class DiskAvailability : public FarloTest {
  protected:
    DiskAvailability() {
        scenario = R"({"disk_groups": [{"name": "local", "dgid": "guid-1", "type": 1},
                                       {"name": "dg1", "dgid": "guid-2", "type": 2}]})";
    }

    static std::string query(const std::string& name, const std::string& status) {
        return invoke("service", cluster_methods, 13,
                      "\"Dgname\": WSTR \"" + name + "\", \"Dgguid\": STR \"guid-2\"", status);
    }
    std::uint32_t ask(const wchar_t* name, const char* guid) {
        return FARLO(GetDgDiskAvailabilityW)(handle, name, guid, total.as<std::uint32_t>(),
                                             live.as<std::uint32_t>());
    }
    // The method answers this.
    void set_answer() { set_faults(R"([{"function": "PrCallDispatch", "nothing": true}])"); }

    GuardedBuffer total{4};
    GuardedBuffer live{4};
};

const Expected entering{6, "Entering GetDgdiskAvailabilityW"};
const Expected exiting{6, "Exiting GetVolumeGuidW"};

void both_counts(opal_propset output) {
    add_number(output, "total_disks", 12);
    add_number(output, "live_disks", 11);
}

TEST_F(DiskAvailability, HandsOutBothNumbers) {
    at_every_threshold([&] {
        set_answer();
        const MethodResults results(dll().module(), both_counts);
        EXPECT_EQ(ask(L"dg1", "guid-2"), 0u);
        EXPECT_EQ(*total.as<std::uint32_t>(), 12u);
        EXPECT_EQ(*live.as<std::uint32_t>(), 11u);
        expect_calls({cluster_service(), query("dg1", "0x0")});
        expect_log({entering, exiting});
    });
}

TEST_F(DiskAvailability, FindsOnlyAClusterGroupByName) {
    at_every_threshold([&] {
        set_answer();
        EXPECT_EQ(FARLO(GetDgDiskAvailabilityA)(handle, "dg1", nullptr, total.as<std::uint32_t>(),
                                                live.as<std::uint32_t>()),
                  0u);
        EXPECT_EQ(calls_of("PrCallDispatch"), Lines{query("dg1", "0x0")});
        start_watching();
        EXPECT_EQ(FARLO(GetDgDiskAvailabilityA)(handle, "local", nullptr, total.as<std::uint32_t>(),
                                                live.as<std::uint32_t>()),
                  40u);
        expect_log({entering,
                    {0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x28)"},
                    {0, "GetDgGuidCommon() failed , error=(0x28)"},
                    {0, "GetDgGuidCommon() failed, error=(0x28)"},
                    exiting});
    });
}

TEST_F(DiskAvailability, SendsAnEmptyNameForNone) {
    once([&] {
        set_answer();
        EXPECT_EQ(ask(nullptr, "guid-2"), 0u);
        expect_calls({cluster_service(), query("", "0x0")});
    });
}

// A number that is not there, or of another type, leaves its place alone.
TEST_F(DiskAvailability, ReadsEachNumberForItself) {
    at_every_threshold([&] {
        set_answer();
        const MethodResults results(dll().module(),
                                    [](opal_propset set) { add_number(set, "live_disks", 3); });
        EXPECT_EQ(ask(L"dg1", "guid-2"), 0u);
        EXPECT_TRUE(total.untouched());
        EXPECT_EQ(*live.as<std::uint32_t>(), 3u);
        expect_log({entering, exiting});
    });
    once([&] {
        set_faults(R"([{"function": "PrCallDispatch", "nothing": true},
                       {"function": "PsFindProperty", "property": "live_disks", "as": "UINT64"}])");
        *live.as<std::uint32_t>() = 77;
        const MethodResults results(dll().module(), both_counts);
        EXPECT_EQ(ask(L"dg1", "guid-2"), 0u);
        EXPECT_EQ(*total.as<std::uint32_t>(), 12u);
        EXPECT_EQ(*live.as<std::uint32_t>(), 77u);
    });
}

// Without a further line.
TEST_F(DiskAvailability, WantsAConnectedHandle) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(GetDgDiskAvailabilityW)(nullptr, L"dg1", "guid-2",
                                                total.as<std::uint32_t>(),
                                                live.as<std::uint32_t>()),
                  100u);
        disconnect();
        EXPECT_EQ(ask(L"dg1", "guid-2"), 20u);
        EXPECT_TRUE(total.untouched());
        EXPECT_TRUE(live.untouched());
        expect_calls({});
        expect_log({entering, entering});
    });
}

TEST_F(DiskAvailability, WantsRoomForBothNumbers) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(GetDgDiskAvailabilityW)(handle, L"dg1", "guid-2", nullptr,
                                                live.as<std::uint32_t>()),
                  19u);
        EXPECT_EQ(FARLO(GetDgDiskAvailabilityW)(handle, L"dg1", "guid-2", total.as<std::uint32_t>(),
                                                nullptr),
                  19u);
        expect_calls({});
        const Expected refused{
            0, "GetDgDiskAvailabilityW() failed , pTotal or pLive == NULL, error=(0x13)"};
        expect_log({entering, refused, entering, refused});
    });
}

TEST_F(DiskAvailability, RefusesTextsThatAreTooLong) {
    at_every_threshold([&] {
        EXPECT_EQ(ask(L"dg1", std::string(65, 'g').c_str()), 0x80070057u);
        EXPECT_EQ(FARLO(GetDgDiskAvailabilityA)(handle, std::string(32, 'n').c_str(), "guid-2",
                                                total.as<std::uint32_t>(),
                                                live.as<std::uint32_t>()),
                  0x80070057u);
        expect_log(
            {entering,
             {0, "GetDgDiskAvailabilityW() failed , guid string of more than 64 "
                 "characters, error=(0x80070057)"},
             exiting,
             {0, "GetDgDiskAvailabilityA() failed , name string of more than 31 characters or "
                 "invalid, error=(0x80070057)"}});
    });
}

TEST_F(DiskAvailability, PassesALookupsStatusOn) {
    at_every_threshold([&] {
        EXPECT_EQ(ask(nullptr, nullptr), 19u);
        set_faults(R"([{"function": "DbGetObjects", "status": "0xc1000001"}])");
        EXPECT_EQ(ask(L"dg1", "guid-2"), 41u);
        expect_log({entering, exiting, entering, exiting});
    });
}

// Whatever the service says, the status is 1.
TEST_F(DiskAvailability, HasOneStatusForAllFailuresOfTheService) {
    for (const std::string status : {"0xc1000001", "0x2a", "0x41000012"}) {
        at_every_threshold([&] {
            set_faults(R"([{"function": "PrCallDispatch", "status": ")" + status + R"("}])");
            const MethodResults results(dll().module(), both_counts);
            EXPECT_EQ(ask(L"dg1", "guid-2"), 1u);
            EXPECT_TRUE(total.untouched());
            EXPECT_TRUE(live.untouched());
            expect_calls({cluster_service(), query("dg1", status)});
            expect_log({entering,
                        {4, "GetDgDiskAvailabilityW: CLUSTER_MTHD_CLUSSVCOP_DISKAVAIB, CsfInvoke "
                            "failed with error = " +
                                status + "."},
                        exiting});
        });
    }
}

TEST_F(DiskAvailability, FailsWhenAParameterCannotBeAdded) {
    at_every_threshold([&] {
        for (const char* call : {"1", "2"}) {
            set_faults(std::string(R"([{"function": "PsAddProperty", "call": )") + call +
                       R"(, "status": "0xc1000102"}])");
            start_watching();
            EXPECT_EQ(ask(L"dg1", "guid-2"), 18u);
            expect_calls({cluster_service()});
            expect_log({entering, {6, "API_TRY_CATCH_FAILED "}, exiting});
        }
    });
}

TEST_F(DiskAvailability, GoesOnWithoutAnOutputSet) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "PsCreatePropset", "call": 2, "status": "0xc1000102"},
                       {"function": "PrCallDispatch", "nothing": true}])");
        EXPECT_EQ(ask(L"dg1", "guid-2"), 0u);
        set_faults(R"([{"function": "PsCreatePropset", "call": 2, "status": "0xc1000102"},
                       {"function": "PrCallDispatch", "status": "0x2a"}])");
        EXPECT_EQ(ask(L"dg1", "guid-2"), 1u);
        EXPECT_TRUE(total.untouched());
        EXPECT_TRUE(live.untouched());
        expect_log({entering, exiting, entering, exiting});
    });
}

// Without an exit line, with the numbers delivered.
TEST_F(DiskAvailability, IsNotConnectedWhenTheConnectionDrops) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "PrCallDispatch", "nothing": true, "drop": true}])");
        const MethodResults results(dll().module(), both_counts);
        EXPECT_EQ(ask(L"dg1", "guid-2"), 20u);
        expect_log({entering});
    });
}

TEST_F(DiskAvailability, DeliversTheNumbersWhenTheConnectionDrops) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "PrCallDispatch", "nothing": true, "drop": true}])");
        const MethodResults results(dll().module(), both_counts);
        EXPECT_EQ(ask(L"dg1", "guid-2"), 20u);
        EXPECT_EQ(*total.as<std::uint32_t>(), 12u);
        EXPECT_EQ(*live.as<std::uint32_t>(), 11u);
        expect_log({entering});
    });
}

TEST_F(DiskAvailability, IsNotConnectedWhateverFailedMeanwhile) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "PrCallDispatch", "status": "0xc1000001"}])");
        {
            const MethodResults dropping(dll().module(), [&](opal_propset) { disconnect(); });
            EXPECT_EQ(ask(L"dg1", "guid-2"), 20u);
        }
        EXPECT_TRUE(total.untouched());
        EXPECT_TRUE(live.untouched());
        expect_log({entering,
                    {4, "GetDgDiskAvailabilityW: CLUSTER_MTHD_CLUSSVCOP_DISKAVAIB, CsfInvoke "
                        "failed with error = 0xc1000001."}});
    });
}

TEST_F(DiskAvailability, IsNotConnectedWhenASearchFailsMeanwhile) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "ObGetProperty", "property": "Name", "drop": true}])");
        EXPECT_EQ(ask(L"nowhere", nullptr), 20u);
        EXPECT_TRUE(total.untouched());
        EXPECT_TRUE(live.untouched());
    });
}

TEST_F(DiskAvailability, FailsWithoutMemoryForTheGuid) {
    at_every_threshold([&] {
        heap().fail(1);
        EXPECT_EQ(ask(L"dg1", "guid-2"), 17u);
        expect_calls({});
        expect_log({entering, exiting});
    });
}

TEST_F(DiskAvailability, FailsWithoutAnInputSet) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "PsCreatePropset", "call": 1, "status": "0xc1000102"}])");
        EXPECT_EQ(ask(L"dg1", "guid-2"), 18u);
        expect_calls({cluster_service()});
        expect_log({entering, {6, "API_TRY_CATCH_FAILED "}, exiting});
    });
}

TEST_F(DiskAvailability, TakesNoNarrowNameBesideAGuid) {
    once([&] {
        set_answer();
        EXPECT_EQ(FARLO(GetDgDiskAvailabilityA)(handle, nullptr, "guid-2",
                                                total.as<std::uint32_t>(),
                                                live.as<std::uint32_t>()),
                  0u);
        expect_calls({cluster_service(), query("", "0x0")});
    });
}

TEST_F(DiskAvailability, EndsWellWhicheverAllocationFails) {
    const auto answers = answers_at_every_allocation([&] {
        set_answer();
        return FARLO(GetDgDiskAvailabilityA)(handle, "dg1", nullptr, total.as<std::uint32_t>(),
                                             live.as<std::uint32_t>());
    });
    EXPECT_GT(answers.size(), 2u);
    // A number that is not read for want of memory is left as it was.
    EXPECT_THAT(answers, testing::Contains(testing::Ne(0u)));
}

}  // namespace
