// FFUpdateMountPath, and with it the search for a volume by any of its names.
#include "support/bus_lines.h"
#include "support/farlo_test.h"
#include "support/method_results.h"

namespace {

using namespace support;

constexpr std::uint32_t refresh_method = 3041;

std::string refresh_call(const std::string& volume, const std::string& status) {
    return invoke(volume, volume_manager_methods, refresh_method, R"("UpdateMountPath": UINT32 1)",
                  status);
}

// "F" is the name of the third volume and the letter of the second.
class RefreshMountPath : public FarloTest {
  protected:
    RefreshMountPath() {
        scenario = R"({"disk_groups": [
            {"name": "dg1", "dgid": "guid-1", "volumes": [
                {"name": "one", "device": "\\Device\\one", "drive_letter": "E"},
                {"name": "two", "device": "\\Device\\two", "drive_letter": "F"},
                {"name": "F", "device": "\\Device\\three", "drive_letter": "G"}]}]})";
    }

    std::uint32_t refresh(const wchar_t* name) { return FARLO(FFUpdateMountPathW)(handle, name); }

    void accept_refresh() { set_faults(R"([{"minor": 3041, "status": "0x0"}])"); }
};

Lines names_of(const std::string& volume, const std::string& name, const std::string& device,
               const std::string& letter) {
    return {read(volume, "Name", wstr(name)), read(volume, "DEVICE NAME", wstr(device)),
            read(volume, "DRIVE LETTER", wstr(letter))};
}

const Lines all_volumes{objects("tamo_ztvm_volume", "@one @two @F")};
const Lines names_of_one = names_of("one", "one", "\\\\Device\\\\one", "E");
const Lines names_of_two = names_of("two", "two", "\\\\Device\\\\two", "F");
const Lines names_of_three = names_of("F", "F", "\\\\Device\\\\three", "G");
const Expected entering{6, "Entering FFUpdateMountPath"};
const Expected exiting{6, "Exiting FFUpdateMountPath"};

TEST_F(RefreshMountPath, ByNameInAnyCase) {
    at_every_threshold([&] {
        accept_refresh();
        EXPECT_EQ(refresh(L"TWO"), 0u);
        expect_calls(all_volumes + names_of_one + Lines{read("two", "Name", wstr("two"))} +
                     Lines{refresh_call("two", "0x0")});
        expect_log({entering, exiting});
    });
}

TEST_F(RefreshMountPath, ByDeviceName) {
    once([&] {
        accept_refresh();
        EXPECT_EQ(refresh(L"\\DEVICE\\Three"), 0u);
        expect_calls(all_volumes + names_of_one + names_of_two +
                     Lines{read("F", "Name", wstr("F")),
                           read("F", "DEVICE NAME", wstr("\\\\Device\\\\three")),
                           refresh_call("F", "0x0")});
    });
}

// All three names of a volume are compared before the next volume is looked at.
TEST_F(RefreshMountPath, TheFirstVolumeInTheServicesOrderWins) {
    once([&] {
        accept_refresh();
        EXPECT_EQ(refresh(L"f"), 0u);
        expect_calls(all_volumes + names_of_one + names_of_two + Lines{refresh_call("two", "0x0")});
    });
}

TEST_F(RefreshMountPath, WhatCannotBeReadIsPassedOver) {
    once([&] {
        set_faults(R"([{"object": "two", "property": "Name", "status": "0xc100003a"},
                       {"object": "two", "property": "DEVICE NAME", "as": "STR"},
                       {"object": "one", "property": "DRIVE LETTER", "lie": "unterminated"},
                       {"minor": 3041, "status": "0x0"}])");
        EXPECT_EQ(refresh(L"F"), 0u);
        EXPECT_EQ(calls_of("PrCallDispatch"), (Lines{refresh_call("two", "0x0")}));
    });
}

TEST_F(RefreshMountPath, NoSuchVolume) {
    at_every_threshold([&] {
        EXPECT_EQ(refresh(L"four"), 0xc1000001u);
        expect_calls(all_volumes + names_of_one + names_of_two + names_of_three);
        expect_log({entering,
                    {0, "FFUpdateMountPath: FindVolIdByDLorDevName - failed to find volume  four"},
                    exiting});
    });
}

TEST_F(RefreshMountPath, AFailedQueryFindsNoVolume) {
    at_every_threshold([&] {
        set_faults(R"([{"type": "tamo_ztvm_volume", "status": "0xc1000102"}])");
        EXPECT_EQ(refresh(L"one"), 0xc1000001u);
        expect_calls({"DbGetObjects tamo_ztvm_volume -> 0xc1000102"});
        expect_log({entering,
                    {0, "FFUpdateMountPath: FindVolIdByDLorDevName - failed to find volume  one"},
                    exiting});
    });
}

TEST_F(RefreshMountPath, NotConnected) {
    at_every_threshold([&] {
        disconnect();
        EXPECT_EQ(refresh(L"one"), 20u);
        EXPECT_EQ(refresh(nullptr), 20u);
        expect_calls({});
        expect_log({entering, exiting, entering, exiting});
    });
}

TEST_F(RefreshMountPath, NullName) {
    at_every_threshold([&] {
        EXPECT_EQ(refresh(nullptr), 0xc1000001u);
        expect_calls({});
        expect_log({entering, exiting});
    });
}

TEST_F(RefreshMountPath, NullHandle) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(FFUpdateMountPathW)(nullptr, L"one"), 100u);
        expect_log({entering, {0, "FFUpdateMountPathW() failed , NULL opal_handle"}, exiting});
    });
}

TEST_F(RefreshMountPath, TheServicesStatusIsPassedOn) {
    at_every_threshold([&] {
        set_faults(R"([{"minor": 3041, "status": "0xe5150110"}])");
        EXPECT_EQ(refresh(L"one"), 0xe5150110u);
        expect_log({entering,
                    {0, "FFUpdateMountPath: MISCOP_UPDATE_MOUNTPATH, PrCallDispatch failed with "
                        "error = 0xe5150110."},
                    exiting});
    });
}

// No failure of the service's, but not 0 either.
TEST_F(RefreshMountPath, AnInformationalStatus) {
    at_every_threshold([&] {
        set_faults(R"([{"minor": 3041, "status": "0x41000001"}])");
        EXPECT_EQ(refresh(L"one"), 0x41000001u);
        expect_log({entering,
                    {0, "FFUpdateMountPath: MISCOP_UPDATE_MOUNTPATH, PrCallDispatch failed with "
                        "error = 0x41000001."},
                    exiting});
    });
}

TEST_F(RefreshMountPath, NoOutputSet) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "PsCreatePropset", "call": 2, "status": "0xc1000102"},
                       {"minor": 3041, "status": "0xe5150110"}])");
        EXPECT_EQ(refresh(L"one"), 0xe5150110u);
        expect_log({entering, exiting});
    });
}

TEST_F(RefreshMountPath, AParameterSetThatCannotBeBuilt) {
    at_every_threshold([&] {
        for (const char* fault :
             {R"({"function": "PsCreatePropset", "call": 1)",
              R"({"function": "PsAddProperty", "property": "UpdateMountPath")"}) {
            SCOPED_TRACE(fault);
            set_faults("[" + std::string(fault) + R"(, "status": "0xc1000102"}])");
            start_watching();
            EXPECT_EQ(refresh(L"one"), 18u);
            EXPECT_EQ(calls_of("PrCallDispatch"), Lines{});
            expect_log({entering, {6, "API_TRY_CATCH_FAILED "}, exiting});
        }
    });
}

TEST_F(RefreshMountPath, AConnectionThatDropsMeanwhileVoidsTheResult) {
    at_every_threshold([&] {
        accept_refresh();
        const MethodResults dropping(dll().module(), [&](opal_propset) { disconnect(); });
        EXPECT_EQ(refresh(L"one"), 20u);
        expect_log({entering, exiting});
    });
}

TEST_F(RefreshMountPath, TheNarrowForm) {
    at_every_threshold([&] {
        accept_refresh();
        EXPECT_EQ(FARLO(FFUpdateMountPathA)(handle, "Two"), 0u);
        EXPECT_EQ(calls_of("PrCallDispatch"), (Lines{refresh_call("two", "0x0")}));
        start_watching();
        EXPECT_EQ(FARLO(FFUpdateMountPathA)(handle, nullptr), 0xc1000001u);
        expect_log({entering, exiting});
        start_watching();
        EXPECT_EQ(FARLO(FFUpdateMountPathA)(handle, std::string(260, 'n').c_str()), 0x80070057u);
        expect_log({{0, "FFUpdateMountPathA() failed , name string of more than 259 characters or "
                        "invalid, error=(0x80070057)"}});
    });
}

TEST_F(RefreshMountPath, TheLongestNameOfTheNarrowForm) {
    const std::string longest(259, 'n');
    scenario = R"({"disk_groups": [{"name": "dg1", "dgid": "guid-1", "volumes": [
        {"name": "one", "device": ")" +
               longest + R"("}]}]})";
    once([&] {
        accept_refresh();
        EXPECT_EQ(FARLO(FFUpdateMountPathA)(handle, longest.c_str()), 0u);
        EXPECT_EQ(calls_of("PrCallDispatch"), (Lines{refresh_call("one", "0x0")}));
    });
}

TEST_F(RefreshMountPath, EveryAllocationThatFails) {
    const auto run = [&](auto refresh_it) {
        const auto answers = answers_at_every_allocation([&] {
            accept_refresh();
            return refresh_it();
        });
        // Without its names a volume is not found.
        EXPECT_THAT(answers, testing::Each(testing::AnyOf(0xc1000001u, 18u)));
        EXPECT_THAT(answers, testing::Contains(18u));
    };
    run([&] { return refresh(L"one"); });
    run([&] { return FARLO(FFUpdateMountPathA)(handle, "one"); });
}

}  // namespace
