// IsVolumeOfSpecifiedDgType.
#include "volume/clusterability_fixture.h"

namespace {

using namespace support;

class VolumeType : public Clusterable {
  protected:
    std::uint8_t ask(std::uint32_t type, const wchar_t* name = L"Volume {1}") {
        return FARLO(IsVolumeOfSpecifiedDgType)(handle, name, type);
    }
};

TEST_F(VolumeType, IsComparedWithTheGroups) {
    at_every_threshold([&] {
        EXPECT_EQ(ask(2), 1u);
        expect_calls(type_read(2));
        expect_log({entering_type, types(2, 2), exiting_type});
        start_watching();
        EXPECT_EQ(ask(8), 0u);
        expect_calls(type_read(2));
        expect_log({entering_type, types(8, 2), exiting_type});
    });
}

TEST_F(VolumeType, AnyValueIsATypeLikeAnother) {
    set_group(R"("type": 12345)");
    once([&] {
        EXPECT_EQ(ask(12345), 1u);
        EXPECT_EQ(ask(0), 0u);
    });
}

// Printed as if it had a sign.
TEST_F(VolumeType, TheLargestValues) {
    set_group(R"("type": 2147483648)");
    at_every_threshold([&] {
        EXPECT_EQ(ask(0x80000000), 1u);
        expect_log({entering_type,
                    {6, "IsVolumeOfSpecifiedDgType: input type = -2147483648, actual type = "
                        "-2147483648"},
                    exiting_type});
        start_watching();
        EXPECT_EQ(ask(0xFFFFFFFF), 0u);
        expect_log({entering_type,
                    {6, "IsVolumeOfSpecifiedDgType: input type = -1, actual type = -2147483648"},
                    exiting_type});
    });
}

TEST_F(VolumeType, AStatusThatIsNoFailure) {
    at_every_threshold([&] {
        set_faults(no_failure);
        EXPECT_EQ(ask(2), 1u);
        expect_log({entering_type, types(2, 2), exiting_type});
    });
}

TEST_F(VolumeType, TheFirstVolumeAndItsFirstGroupDecide) {
    scenario = two_groups;
    once([&] {
        const Several several(dll().module(), {"vol 2", "vol 8"}, {"eight", "two"});
        EXPECT_EQ(ask(8), 1u);
        EXPECT_TRUE(several.asked_only_for("vol 2"));
        expect_calls({read("eight", "LDM DG TYPE", "UINT32 8")});
        expect_log({entering_type, types(8, 8), exiting_type});
    });
}

TEST_F(VolumeType, EveryAllocationThatFails) {
    std::vector<unsigned> answers;
    at_every_allocation([&] { answers.push_back(ask(2)); });
    expect_no_but_at_both_ends(answers);
}

TEST_F(VolumeType, NoVolumeOrNoGroup) {
    at_every_threshold([&] {
        EXPECT_EQ(ask(2, L"none"), 0u);
        expect_calls({query("tamo_ztvm_volume", "volumename", "none", "0x0 []")});
        expect_log({entering_type, exiting_type});
        start_watching();
        EXPECT_EQ(ask(2, L"lone"), 0u);
        expect_calls({query("tamo_ztvm_volume", "volumename", "lone", "0x0 [@lone volume]"),
                      groups_of("lone volume", "")});
        expect_log({entering_type, exiting_type});
    });
}

TEST_F(VolumeType, AFailedQuery) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "DbGetObjectsByQuery", "status": "0xc1000102"}])");
        EXPECT_EQ(ask(2), 0u);
        expect_log({entering_type,
                    {0, "IsVolumeOfSpecifiedDgType: DbGetObjectsByQuery failed for volume - Volume "
                        "{1}, error = 0xc1000102"},
                    exiting_type});
    });
}

TEST_F(VolumeType, WhatCannotBeReadIsANo) {
    at_every_threshold([&] {
        for (const char* fault : {R"({"function": "ObGetParentObjects", "status": "0xc1000104"})",
                                  R"({"property": "LDM DG TYPE", "as": "INT32"})"}) {
            SCOPED_TRACE(fault);
            set_faults("[" + std::string(fault) + "]");
            start_watching();
            EXPECT_EQ(ask(2), 0u);
            expect_log({entering_type, exception, exiting_type});
        }
    });
}

TEST_F(VolumeType, TheChecksInTheirOrder) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(IsVolumeOfSpecifiedDgType)(nullptr, nullptr, 2), 0u);
        expect_log({entering_type, {0, "IsVolumeOfSpecifiedDgType , NULL opal_handle"}});
        start_watching();
        EXPECT_EQ(ask(2, nullptr), 0u);
        expect_log({entering_type, {0, "IsVolumeOfSpecifiedDgType() failed , NULL Volume Name"}});
        start_watching();
        set_faults(R"([{"function": "_ZtAlloc", "nothing": true}])");
        EXPECT_EQ(ask(2), 0u);
        expect_log({entering_type, {0, "IsVolumeOfSpecifiedDgType: failed to allocate memory"}});
        start_watching();
        disconnect();
        EXPECT_EQ(ask(2, nullptr), 0u);
        expect_log(
            {entering_type, {0, "IsVolumeOfSpecifiedDgType failed , opal_handle not connected"}});
        expect_calls({});
    });
}

TEST_F(VolumeType, ANameThatDoesNotFitIntoTheQueryIsRefused) {
    at_every_threshold([&] {
        EXPECT_EQ(ask(2, std::wstring(2000, L'v').c_str()), 0u);
        expect_calls({});
        expect_log({entering_type,
                    {0, "IsVolumeOfSpecifiedDgType() failed , volume_name string of more than "
                        "1996 characters, error=(0x80070057)"}});
    });
}

}  // namespace
