// Tests of support/farlo_test.h: the fixture's checks find what they are for. The failures that the
// fixture reports are collected instead of failing the test.
#include "support/farlo_test.h"
#include "support/fault_rules.h"

#include <gtest/gtest-spi.h>

#include <fstream>
#include <memory>
#include <set>
#include <utility>

namespace {

using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

class Fixture : public support::FarloTest {
  protected:
    Fixture() { scenario = R"({"disk_groups": [{"name": "dg1", "dgid": "guid-1", "type": 2}]})"; }

    // Returns the messages of the failures that an action reports.
    std::vector<std::string> failures(const std::function<void()>& action) {
        testing::TestPartResultArray results;
        {
            const testing::ScopedFakeTestPartResultReporter reporter(
                testing::ScopedFakeTestPartResultReporter::INTERCEPT_ALL_THREADS, &results);
            action();
        }
        std::vector<std::string> messages;
        for (int i = 0; i < results.size(); ++i) {
            messages.push_back(results.GetTestPartResult(i).message());
        }
        return messages;
    }

    // Logs one line of level 6 and one of level 0. Makes no bus call.
    void import_without_handle() { FARLO(ImportDgW)(nullptr, L"dg1", "guid-1", nullptr, 0); }
    static inline const std::string entering = "Entering ImportDgW";
    static inline const std::string rejected =
        "ImportDgW() failed , NULL opal_handle, error=(0x64)";

    // Makes two bus calls, DbGetObjects and PrCallDispatch.
    std::uint32_t import() { return FARLO(ImportDgW)(handle, L"dg1", "guid-1", nullptr, 0); }
};

TEST_F(Fixture, PassesCorrectExpectationsAtSevenThresholds) {
    std::multiset<DWORD> thresholds;
    EXPECT_THAT(failures([&] {
                    at_every_threshold([&] {
                        thresholds.insert(threshold());
                        import_without_handle();
                        expect_log({{6, entering}, {0, rejected}});
                        expect_calls({});
                        expect_pauses({});
                    });
                }),
                IsEmpty());
    EXPECT_THAT(thresholds, ElementsAre(0, 1, 2, 3, 4, 5, 6));
}

TEST_F(Fixture, FindsWrongLevel) {
    const auto found = failures([&] {
        at_every_threshold([&] {
            import_without_handle();
            expect_log({{4, entering}, {0, rejected}});
        });
    });
    EXPECT_THAT(found, SizeIs(2));  // at 4 and 5
    EXPECT_THAT(found, Each(AllOf(HasSubstr("log lines differ"), HasSubstr("  - " + entering))));
    EXPECT_THAT(found, Contains(HasSubstr("at threshold 4")));
    EXPECT_THAT(found, Contains(HasSubstr("at threshold 5")));
}

TEST_F(Fixture, FindsMissingLine) {
    EXPECT_THAT(failures([&] {
                    once([&] {
                        import_without_handle();
                        expect_log({{6, entering}, {0, rejected}, {6, "Exiting ImportDgW"}});
                    });
                }),
                ElementsAre(HasSubstr("  - Exiting ImportDgW")));
}

TEST_F(Fixture, FindsUnexpectedLine) {
    EXPECT_THAT(failures([&] {
                    once([&] {
                        import_without_handle();
                        expect_log({{6, entering}});
                    });
                }),
                ElementsAre(HasSubstr("  + " + rejected)));
}

TEST_F(Fixture, FindsWrongOrderOfLines) {
    EXPECT_THAT(failures([&] {
                    once([&] {
                        import_without_handle();
                        expect_log({{0, rejected}, {6, entering}});
                    });
                }),
                ElementsAre(HasSubstr("log lines differ")));
}

TEST_F(Fixture, FindsLineOfAnotherProcess) {
    EXPECT_THAT(failures([&] {
                    once([&] {
                        std::ofstream(support::environment().log_file(), std::ios::binary)
                            << "11/20/26 08:03:09 [PID:99999,TID:1036] line\r\n";
                        expect_log({{0, "line"}});
                    });
                }),
                ElementsAre(HasSubstr("line.process")));
}

TEST_F(Fixture, ComparesWholeCallsInOrder) {
    once([&] {
        EXPECT_EQ(import(), FARLO_SUCCESS);
        const std::vector<std::string> right = calls();
        ASSERT_THAT(right, SizeIs(2));
        EXPECT_THAT(failures([&] { expect_calls(right); }), IsEmpty());
        EXPECT_THAT(failures([&] {
                        expect_calls({right[1], right[0]});
                    }),
                    ElementsAre(HasSubstr("bus calls differ")));
        EXPECT_THAT(failures([&] { expect_calls({right[0]}); }),
                    ElementsAre(HasSubstr("  + PrCallDispatch @service")));
        EXPECT_THAT(failures([&] { expect_calls_of({"PrCallDispatch"}, {right[1]}); }), IsEmpty());
        EXPECT_THAT(failures([&] { expect_calls_of({"PrCallDispatch"}, right); }),
                    ElementsAre(HasSubstr("  - DbGetObjects")));
        EXPECT_THAT(calls_of("DbGetObjects"), ElementsAre(right[0]));
        EXPECT_THAT(calls_of(std::vector<std::string>{"PrCallDispatch", "DbGetObjects"}),
                    ElementsAre(right[0], right[1]));
    });
}

TEST_F(Fixture, StartsEachRunWithEmptyLogAndRecorder) {
    std::vector<std::size_t> lines;
    for (int i = 0; i < 2; ++i) {
        once([&] {
            import();
            std::string error;
            lines.push_back(support::read_log(support::environment().log_file(), error).size());
            lines.push_back(calls().size());
        });
    }
    EXPECT_THAT(lines, ElementsAre(2, 2, 2, 2));
}

TEST_F(Fixture, ComparesPausesInOrder) {
    once([&] {
        set_faults(support::fault_plan({{.function = "DbGetObjects", .succeeds_empty = true}}));
        FARLO(OfflineDgW)(handle, L"dg1", "guid-1", 0);
        const std::vector<support::Pause> right = clock().pauses();
        ASSERT_FALSE(right.empty());
        EXPECT_THAT(failures([&] { expect_pauses(right); }), IsEmpty());
        EXPECT_THAT(failures([&] { expect_pauses({}); }), ElementsAre(HasSubstr("pauses differ")));
    });
}

TEST_F(Fixture, ReportsInvalidScenario) {
    scenario = R"({"disk_groups": 3})";
    EXPECT_THAT(failures([&] { once([] { ADD_FAILURE() << "the body ran"; }); }),
                ElementsAre(HasSubstr("the scenario: 1: expected an array")));
}

TEST_F(Fixture, FindsLeakedPropertySet) {
    opal_propset set = nullptr;
    EXPECT_THAT(failures([&] { once([&] { PsCreatePropset(&set); }); }),
                ElementsAre(HasSubstr("property sets were left over")));
    PsDestroyPropset(set);
}

TEST_F(Fixture, FindsLeakedBlockOfBus) {
    void* block = nullptr;
    EXPECT_THAT(failures([&] { once([&] { block = _ZtAlloc(8); }); }),
                ElementsAre(HasSubstr("blocks of the bus were left over")));
    _ZtFree(block);
}

TEST_F(Fixture, FindsLeakedHeapBlock) {
    EXPECT_THAT(failures([&] {
                    once([&] {
                        interpose<void(void*)>("free", [](void*) {});
                        import();
                    });
                }),
                ElementsAre(AllOf(HasSubstr("heap blocks were left over"),
                                  HasSubstr("bytes of allocation"))));
}

TEST_F(Fixture, FindsDoubleFree) {
    EXPECT_THAT(failures([&] {
                    once([&] {
                        support::StandIn<void(void*)>* twice = nullptr;
                        twice = &interpose<void(void*)>("free", [&](void* block) {
                            twice->real(block);
                            twice->real(block);
                        });
                        import();
                    });
                }),
                ElementsAre(HasSubstr("freed twice")));
}

TEST_F(Fixture, FindsLeakedKernelHandle) {
    HANDLE event = nullptr;
    EXPECT_THAT(failures([&] { once([&] { event = CreateEventW(nullptr, 0, 0, nullptr); }); }),
                Contains(AllOf(HasSubstr("a kernel handle was left over"), HasSubstr("Event"))));
    CloseHandle(event);
}

TEST_F(Fixture, AllowsKeptHandles) {
    HANDLE event = nullptr;
    kept_handles = 1;
    EXPECT_THAT(failures([&] { once([&] { event = CreateEventW(nullptr, 0, 0, nullptr); }); }),
                IsEmpty());
    CloseHandle(event);
    EXPECT_THAT(failures([&] { once([] {}); }), Contains(HasSubstr("kernel handles left over")));
}

TEST_F(Fixture, FindsLeakedConnection) {
    opal_handle lost = nullptr;
    EXPECT_THAT(failures([&] { once([&] { lost = std::exchange(handle, nullptr); }); }),
                AllOf(Contains(HasSubstr("connections were left over")),
                      Contains(HasSubstr("connection handles were left over"))));
    EXPECT_EQ(UnInitializeZtVmW(lost), ZTSTATUS_OK);
}

TEST_F(Fixture, FailsEveryAllocationOnce) {
    std::vector<std::uint32_t> results;
    at_every_allocation([&] { results.push_back(import()); });
    ASSERT_GE(results.size(), 3u);
    EXPECT_EQ(results.front(), FARLO_SUCCESS);
    EXPECT_EQ(results[1], FARLO_NO_GUID_MEMORY);  // the first allocation is for the GUID string
    EXPECT_EQ(results.back(), FARLO_SUCCESS);     // no allocation failed
}

TEST_F(Fixture, ExpectsSuccessWhenNoAllocationFails) {
    const auto between = statuses_at_every_allocation([&] { return import(); });
    ASSERT_FALSE(between.empty());
    EXPECT_EQ(between[0], FARLO_NO_GUID_MEMORY);
    EXPECT_THAT(failures([&] {
                    int runs = 0;
                    statuses_at_every_allocation([&] {
                        const std::uint32_t status = import();
                        return ++runs == 1 ? 77u : status;
                    });
                }),
                ElementsAre(AllOf(HasSubstr("statuses.front()"), HasSubstr("77"))));
    EXPECT_THAT(failures([&] {
                    statuses_at_every_allocation([&] {
                        const std::uint32_t status = import();
                        return heap().has_failed() ? 0u : status + 1;
                    });
                }),
                ElementsAre(HasSubstr("statuses.front()"), HasSubstr("statuses.back()")));
}

TEST_F(Fixture, EndsReplacementsWithBody) {
    once([&] {
        interpose<void(DWORD)>("Sleep", [](DWORD) {});
        fail_calls<decltype(CreateMutexA)>("CreateMutexA", {.last_error = ERROR_BUSY}, nullptr);
    });
    EXPECT_THAT(failures([&] { once([] {}); }), IsEmpty());
}

TEST_F(Fixture, CallsFunctionBeforeAttach) {
    std::unique_ptr<support::Failure<decltype(CreateEventA)>> failing;
    before_attach = [&](HMODULE module) {
        failing = std::make_unique<support::Failure<decltype(CreateEventA)>>(
            module, "CreateEventA", support::FailingCalls{}, nullptr);
    };
    once([&] { EXPECT_EQ(failing->calls(), 1u); });
}

TEST_F(Fixture, RecordsCallsThatDoNotLeaveProcess) {
    recorded = LAB_RECORD_ALL;
    once([&] {
        import();
        EXPECT_THAT(calls(), Contains(HasSubstr("PsAddProperty")));
    });
}

TEST_F(Fixture, AcceptsOwnHandle) {
    connects = false;
    once([&] {
        support::OwnHandle own;
        EXPECT_EQ(FARLO(ImportDgW)(own.get(), L"dg1", "guid-1", nullptr, 0), FARLO_SUCCESS);
        own.set_connected(0);
        EXPECT_EQ(FARLO(ImportDgW)(own.get(), L"dg1", "guid-1", nullptr, 0), FARLO_NOT_CONNECTED);
        own.set_connected(0x80);
        load_scenario(scenario);
        EXPECT_EQ(FARLO(ImportDgW)(own.get(), L"dg1", "guid-1", nullptr, 0), FARLO_SUCCESS);
    });
}

TEST_F(Fixture, DisconnectsOwnHandleWhenConnectionDrops) {
    connects = false;
    once([&] {
        support::OwnHandle own;
        LabDropConnections();
        EXPECT_EQ(own.record().connected, 0);
    });
}

}  // namespace
