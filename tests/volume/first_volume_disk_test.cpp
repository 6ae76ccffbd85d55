// GetFirstVolumesDiskID.
#include "volume/fake_disk.h"

#include <optional>

namespace {

using namespace support;

const Expected bare_id_name{6, "GetFirstVolumesDiskIDW"};

class FirstVolumesDisk : public FarloTest {
  protected:
    FirstVolumesDisk() {
        scenario = R"({"disk_groups": [
            {"name": "dg1", "dgid": "guid-1", "type": 2, "volumes": [
                {"name": "one", "device": "d1", "volume_name": "V1"},
                {"name": "two", "device": "d2", "volume_name": "V2"}]},
            {"name": "empty", "dgid": "guid-2", "type": 2},
            {"name": "shared", "dgid": "guid-8", "type": 8}]})";
    }

    std::uint32_t ask(const wchar_t* name = L"DG1") {
        return FARLO(GetFirstVolumesDiskIDW)(handle, name, id.as<std::uint32_t>(),
                                             style.as<std::uint32_t>());
    }

    GuardedBuffer id{4};
    GuardedBuffer style{4};
};

const Lines find_group{groups("@dg1 @empty @shared"), read("dg1", "LDM DG TYPE", "UINT32 2"),
                       read("dg1", "Name", wstr("dg1"))};
const Lines first_name{"ObGetChildObjects @dg1 tamo_ztvm_volume -> 0x0 [@one @two]",
                       read("one", "volumename", wstr("V1"))};

TEST_F(FirstVolumesDisk, Mbr) {
    at_every_threshold([&] {
        Disk disk(dll().module());
        disk.be_mbr(0x1234);
        EXPECT_EQ(ask(), 0u);
        EXPECT_EQ(*id.as<std::uint32_t>(), 0x1234u);
        EXPECT_EQ(*style.as<std::uint32_t>(), 0u);
        EXPECT_EQ(disk.lines, (Lines{"open V1", "layout", "close"}));
        expect_calls(find_group + first_name);
        expect_log({bare_id_name,
                    bare_name,
                    {0, "Exiting GetDiskTypeAndSignatureW Type=0x0 Sig=0x1234"},
                    bare_name,
                    {0, "Exiting GetFirstVolumesDiskIDW 0x1234"},
                    bare_id_name});
    });
}

TEST_F(FirstVolumesDisk, GptLeavesTheIdAlone) {
    at_every_threshold([&] {
        Disk disk(dll().module());
        disk.be_gpt();
        EXPECT_EQ(ask(), 0u);
        EXPECT_TRUE(id.untouched());
        EXPECT_EQ(*style.as<std::uint32_t>(), 1u);
        expect_log({bare_id_name,
                    bare_name,
                    {0, "Exiting GetDiskTypeAndSignatureW Type=0x1 Sig=0x0"},
                    bare_name,
                    {0, "Exiting GetFirstVolumesDiskIDW 0xc5c5c5c5"},
                    bare_id_name});
    });
}

TEST_F(FirstVolumesDisk, RawLeavesTheIdAlone) {
    at_every_threshold([&] {
        Disk disk(dll().module());
        disk.be_of_style(2);
        EXPECT_EQ(ask(), 0u);
        EXPECT_TRUE(id.untouched());
        EXPECT_EQ(*style.as<std::uint32_t>(), 2u);
        expect_log({bare_id_name,
                    bare_name,
                    {0, "Exiting GetDiskTypeAndSignatureW Type=0x2 Sig=0x0"},
                    bare_name,
                    {0, "Exiting GetFirstVolumesDiskIDW 0xc5c5c5c5"},
                    bare_id_name});
    });
}

// In decimal digits by the one, in hexadecimal by the other.
TEST_F(FirstVolumesDisk, ErrorsOfMoreThanOneDigit) {
    at_every_threshold([&] {
        const struct {
            std::optional<DWORD> open;
            std::optional<DWORD> layout;
            std::uint32_t status;
            Expected line;
            const char* number;
        } cases[] = {{ERROR_SHARING_VIOLATION,
                      {},
                      32,
                      {0, "GetDiskTypeAndSignatureW() CreateFile Failed for V1 error 32"},
                      "0x20"},
                     {{},
                      ERROR_INSUFFICIENT_BUFFER,
                      122,
                      {0, "GetDiskTypeAndSignatureW: IOCTL_DISK_GET_DRIVE_LAYOUT_EX failed error"},
                      "0x7a"}};
        for (const auto& each : cases) {
            SCOPED_TRACE(each.number);
            Disk disk(dll().module());
            disk.open_error = each.open;
            disk.layout_error = each.layout;
            start_watching();
            EXPECT_EQ(ask(), each.status);
            EXPECT_TRUE(id.untouched());
            EXPECT_TRUE(style.untouched());
            expect_log(
                {bare_id_name,
                 bare_name,
                 each.line,
                 bare_name,
                 {0, std::string("GetFirstVolumesDiskIDW:GetDiskTypeAndSignatureW failed with "
                                 "error = ") +
                         each.number},
                 bare_id_name});
        }
    });
}

TEST_F(FirstVolumesDisk, ADiskThatCannotBeRead) {
    at_every_threshold([&] {
        Disk disk(dll().module());
        disk.open_error = ERROR_ACCESS_DENIED;
        EXPECT_EQ(ask(), 5u);
        EXPECT_TRUE(id.untouched());
        EXPECT_TRUE(style.untouched());
        expect_log({bare_id_name,
                    bare_name,
                    {0, "GetDiskTypeAndSignatureW() CreateFile Failed for V1 error 5"},
                    bare_name,
                    {0, "GetFirstVolumesDiskIDW:GetDiskTypeAndSignatureW failed with error = 0x5"},
                    bare_id_name});
    });
}

TEST_F(FirstVolumesDisk, NullArguments) {
    at_every_threshold([&] {
        std::uint32_t value = 0;
        EXPECT_EQ(FARLO(GetFirstVolumesDiskIDW)(handle, nullptr, &value, &value), 1u);
        EXPECT_EQ(FARLO(GetFirstVolumesDiskIDW)(handle, L"dg1", nullptr, &value), 1u);
        EXPECT_EQ(FARLO(GetFirstVolumesDiskIDW)(nullptr, L"dg1", &value, nullptr), 1u);
        expect_calls({});
        expect_log(
            {bare_id_name, bare_id_name, bare_id_name, bare_id_name, bare_id_name, bare_id_name});
    });
}

TEST_F(FirstVolumesDisk, NullHandleAndNotConnected) {
    at_every_threshold([&] {
        std::uint32_t value = 0;
        EXPECT_EQ(FARLO(GetFirstVolumesDiskIDW)(nullptr, L"dg1", &value, &value), 100u);
        expect_log({bare_id_name, {0, "GetFirstVolumesDiskIDW , NULL opal_handle"}, bare_id_name});
        start_watching();
        disconnect();
        EXPECT_EQ(ask(), 20u);
        expect_log({bare_id_name,
                    {0, "GetFirstVolumesDiskIDW failed , opal_handle not connected"},
                    bare_id_name});
        expect_calls({});
    });
}

TEST_F(FirstVolumesDisk, NoSuchGroup) {
    at_every_threshold([&] {
        EXPECT_EQ(ask(L"none"), 1u);
        expect_log({bare_id_name,
                    {0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x1)"},
                    {0, "GetFirstVolumesDiskIDW:GetDiskTypeAndSignatureW DG Not Found none"},
                    bare_id_name});
        // Cluster groups only.
        start_watching();
        EXPECT_EQ(ask(L"shared"), 40u);
        expect_log({bare_id_name,
                    {0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x28)"},
                    bare_id_name});
    });
}

// Nothing at all is no answer yet: it is asked for again.
TEST_F(FirstVolumesDisk, NoGroupsAtAll) {
    scenario = "{}";
    at_every_threshold([&] {
        EXPECT_EQ(ask(), 1u);
        EXPECT_TRUE(id.untouched());
        EXPECT_TRUE(style.untouched());
        expect_calls(Lines(5, groups("")));
        expect_pauses(std::vector<Pause>(5, {"Sleep", 5000}));
        std::vector<Expected> lines{bare_id_name};
        lines.insert(lines.end(), 5, {6, "GetDgObjIdByName: Sleeping for 5 secs"});
        lines.push_back({0, "GetDgObjIdByName , Error , vecObjects.size () == 0 , error=(0x1)"});
        lines.push_back({0, "GetFirstVolumesDiskIDW:GetDiskTypeAndSignatureW DG Not Found DG1"});
        lines.push_back(bare_id_name);
        expect_log(lines);
    });
}

// What was asked for has been answered: the disk is read without the service.
TEST_F(FirstVolumesDisk, AConnectionThatDropsMeanwhileIsNoFailureOfItsOwn) {
    at_every_threshold([&] {
        Disk disk(dll().module());
        disk.be_mbr(0x1234);
        set_faults(R"([{"property": "volumename", "drop": true}])");
        EXPECT_EQ(ask(), 0u);
        EXPECT_EQ(*id.as<std::uint32_t>(), 0x1234u);
        EXPECT_EQ(*style.as<std::uint32_t>(), 0u);
        EXPECT_EQ(disk.lines, (Lines{"open V1", "layout", "close"}));
        expect_calls(find_group + first_name);
    });
}

TEST_F(FirstVolumesDisk, AConnectionThatDropsBeforeTheVolumesNameIsRead) {
    at_every_threshold([&] {
        Disk disk(dll().module());
        set_faults(R"([{"function": "ObGetChildObjects", "drop": true}])");
        EXPECT_EQ(ask(), 18u);
        EXPECT_EQ(disk.lines, Lines{});
        EXPECT_TRUE(id.untouched());
        EXPECT_TRUE(style.untouched());
        expect_log({bare_id_name, {6, "API_TRY_CATCH_FAILED "}, bare_id_name});
    });
}

TEST_F(FirstVolumesDisk, EveryAllocationThatFails) {
    const auto run = [&](auto ask_for) {
        const auto answers = answers_at_every_allocation([&] {
            Disk disk(dll().module());
            disk.be_mbr(0x1234);
            std::uint32_t disk_id = untouched_value;
            std::uint32_t disk_style = untouched_value;
            const std::uint32_t status = ask_for(disk_id, disk_style);
            EXPECT_EQ(disk_id, status == 0 ? 0x1234 : untouched_value);
            EXPECT_EQ(disk_style, status == 0 ? 0 : untouched_value);
            return status;
        });
        EXPECT_THAT(answers, testing::Contains(18u));
        EXPECT_THAT(answers, testing::Contains(0x8007000Eu));
        EXPECT_THAT(answers, testing::Each(testing::AnyOf(18u, 0x8007000Eu)));
    };
    run([&](std::uint32_t& disk_id, std::uint32_t& disk_style) {
        return FARLO(GetFirstVolumesDiskIDW)(handle, L"dg1", &disk_id, &disk_style);
    });
    run([&](std::uint32_t& disk_id, std::uint32_t& disk_style) {
        return FARLO(GetFirstVolumesDiskIDA)(handle, "dg1", &disk_id, &disk_style);
    });
}

TEST_F(FirstVolumesDisk, AGroupWithoutVolumesIsNoFailure) {
    at_every_threshold([&] {
        EXPECT_EQ(ask(L"empty"), 0u);
        EXPECT_TRUE(id.untouched());
        EXPECT_TRUE(style.untouched());
        expect_log({bare_id_name,
                    {0, "GetFirstVolumesDiskIDW:GetDiskTypeAndSignatureW volumes does not exists "
                        "in DG"},
                    bare_id_name});
    });
}

TEST_F(FirstVolumesDisk, WhatCannotBeReadIsAnException) {
    at_every_threshold([&] {
        Disk disk(dll().module());
        for (const char* fault : {R"({"function": "ObGetChildObjects", "status": "0xc1000104"})",
                                  R"({"property": "volumename", "status": "0xc100003a"})"}) {
            set_faults("[" + std::string(fault) + "]");
            start_watching();
            EXPECT_EQ(ask(), 18u);
            expect_log({bare_id_name, {6, "API_TRY_CATCH_FAILED "}, bare_id_name});
        }
        EXPECT_EQ(disk.lines, Lines{});
    });
}

// A group's name of up to 259 characters, not the 31 of other narrow forms.
TEST_F(FirstVolumesDisk, TheNarrowForm) {
    at_every_threshold([&] {
        std::uint32_t value = 0;
        Disk disk(dll().module());
        disk.be_mbr(7);
        EXPECT_EQ(FARLO(GetFirstVolumesDiskIDA)(handle, "dg1", &value, &value), 0u);
        EXPECT_EQ(disk.lines, (Lines{"open V1", "layout", "close"}));
        EXPECT_EQ(FARLO(GetFirstVolumesDiskIDA)(handle, nullptr, &value, &value), 1u);
        EXPECT_EQ(
            FARLO(GetFirstVolumesDiskIDA)(handle, std::string(259, 'n').c_str(), &value, &value),
            1u);
        start_watching();
        EXPECT_EQ(
            FARLO(GetFirstVolumesDiskIDA)(handle, std::string(260, 'n').c_str(), &value, &value),
            0x80070057u);
        expect_log(
            {{0, "GetFirstVolumesDiskIDA() failed , name string of more than 259 characters or "
                 "invalid, error=(0x80070057)"}});
    });
}

}  // namespace
