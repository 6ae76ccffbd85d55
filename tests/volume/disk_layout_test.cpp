// GetDiskTypeAndSignature, GetFirstVolumesDiskID.
#include "support/bus_lines.h"
#include "support/farlo_test.h"

#include <winioctl.h>

#include <cstring>
#include <optional>

namespace {

using namespace support;

constexpr std::uint32_t untouched_value = 0xC5C5C5C5;
const GUID disk_guid{0x01234567, 0x89ab, 0xcdef, {0xfe, 0xdc, 0xba, 0x98, 0x76, 0x54, 0x32, 0x10}};

std::string narrow(const wchar_t* text) {
    return {text, text + std::wcslen(text)};
}

// A disk that answers what a test says.
class Disk {
  public:
    explicit Disk(HMODULE module)
        : m_open(module, "CreateFileW",
                 [this](const wchar_t* path, DWORD access, DWORD share,
                        SECURITY_ATTRIBUTES* security, DWORD disposition, DWORD attributes,
                        HANDLE pattern) -> HANDLE {
                     EXPECT_EQ(access, GENERIC_READ);
                     EXPECT_EQ(share, DWORD{FILE_SHARE_READ | FILE_SHARE_WRITE});
                     EXPECT_EQ(security, nullptr);
                     EXPECT_EQ(disposition, DWORD{OPEN_EXISTING});
                     EXPECT_EQ(attributes, DWORD{FILE_ATTRIBUTE_NORMAL});
                     EXPECT_EQ(pattern, nullptr);
                     lines.push_back("open " + narrow(path));
                     if (open_error) {
                         SetLastError(*open_error);
                         return INVALID_HANDLE_VALUE;
                     }
                     return device = CreateEventW(nullptr, TRUE, FALSE, nullptr);
                 }),
          m_control(module, "DeviceIoControl",
                    [this](HANDLE file, DWORD code, void* input, DWORD input_size, void* output,
                           DWORD output_size, DWORD* returned, OVERLAPPED* overlapped) -> BOOL {
                        EXPECT_EQ(file, device);
                        EXPECT_EQ(code, 0x70050u);
                        EXPECT_EQ(input, nullptr);
                        EXPECT_EQ(input_size, 0u);
                        EXPECT_EQ(output_size, 18624u);
                        EXPECT_EQ(overlapped, nullptr);
                        lines.push_back("layout");
                        if (layout_error) {
                            SetLastError(*layout_error);
                            return FALSE;
                        }
                        // All of it: the buffer is as large as it says.
                        std::memset(output, 0xEE, output_size);
                        std::memcpy(output, &layout, sizeof layout);
                        *returned = output_size;
                        return TRUE;
                    }),
          m_close(module, "CloseHandle", [this](HANDLE which) -> BOOL {
              // The log's file may get the same value later.
              if (which == device) {
                  lines.push_back("close");
                  device = nullptr;
              }
              return m_close.real(which);
          }) {}

    void be_mbr(DWORD signature) {
        layout = {};
        layout.PartitionStyle = 0;
        layout.Mbr.Signature = signature;
    }
    void be_gpt() {
        layout = {};
        layout.PartitionStyle = 1;
        layout.Gpt.DiskId = disk_guid;
    }
    void be_of_style(DWORD style) {
        layout = {};
        layout.PartitionStyle = style;
        layout.Gpt.DiskId = disk_guid;
    }

    Lines lines;
    // Errors that the calls fail with.
    std::optional<DWORD> open_error;
    std::optional<DWORD> layout_error;
    DRIVE_LAYOUT_INFORMATION_EX layout{};

  private:
    HANDLE device = nullptr;
    StandIn<decltype(CreateFileW)> m_open;
    StandIn<decltype(DeviceIoControl)> m_control;
    StandIn<decltype(CloseHandle)> m_close;
};

// The out values of a call, each up against memory that may not be touched.
struct Answer {
    GuardedBuffer signature{4};
    GuardedBuffer guid{16};
    GuardedBuffer style{4};

    std::uint32_t signature_value() { return *signature.as<std::uint32_t>(); }
    std::uint32_t style_value() { return *style.as<std::uint32_t>(); }
};

const Expected bare_name{6, "GetDiskTypeAndSignatureW"};

class DiskLayout : public FarloTest {
  protected:
    DiskLayout() { connects = false; }

    std::uint32_t ask(Answer& answer, const wchar_t* path = L"\\\\.\\disk one") {
        return FARLO(GetDiskTypeAndSignatureW)(path, answer.signature.as<std::uint32_t>(),
                                               answer.guid.data(),
                                               answer.style.as<std::uint32_t>());
    }
};

const Lines asked{"open \\\\.\\disk one", "layout", "close"};

TEST_F(DiskLayout, Mbr) {
    at_every_threshold([&] {
        Disk disk(dll().module());
        disk.be_mbr(0x89abcdef);
        Answer answer;
        EXPECT_EQ(ask(answer), 0u);
        EXPECT_EQ(answer.style_value(), 0u);
        EXPECT_EQ(answer.signature_value(), 0x89abcdefu);
        EXPECT_TRUE(answer.guid.untouched());
        EXPECT_EQ(disk.lines, asked);
        expect_log({bare_name,
                    {0, "Exiting GetDiskTypeAndSignatureW Type=0x0 Sig=0x89abcdef"},
                    bare_name});
    });
}

// The signature is printed as it stood.
TEST_F(DiskLayout, Gpt) {
    at_every_threshold([&] {
        Disk disk(dll().module());
        disk.be_gpt();
        Answer answer;
        EXPECT_EQ(ask(answer), 0u);
        EXPECT_EQ(answer.style_value(), 1u);
        EXPECT_EQ(answer.signature_value(), untouched_value);
        EXPECT_EQ(std::memcmp(answer.guid.data(), &disk_guid, 16), 0);
        EXPECT_EQ(disk.lines, asked);
        expect_log({bare_name,
                    {0, "Exiting GetDiskTypeAndSignatureW Type=0x1 Sig=0xc5c5c5c5"},
                    bare_name});
    });
}

// The style is printed in decimal digits after "0x".
TEST_F(DiskLayout, OtherStylesHaveNoIdentity) {
    once([&] {
        for (const DWORD style : {2u, 16u}) {
            Disk disk(dll().module());
            disk.be_of_style(style);
            start_watching();
            Answer answer;
            EXPECT_EQ(ask(answer), 0u);
            EXPECT_EQ(answer.style_value(), style);
            EXPECT_TRUE(answer.signature.untouched());
            EXPECT_TRUE(answer.guid.untouched());
            expect_log({bare_name,
                        {0, "Exiting GetDiskTypeAndSignatureW Type=0x" + std::to_string(style) +
                                " Sig=0xc5c5c5c5"},
                        bare_name});
        }
    });
}

TEST_F(DiskLayout, NullArguments) {
    at_every_threshold([&] {
        Disk disk(dll().module());
        Answer answer;
        EXPECT_EQ(ask(answer, nullptr), 0x80070057u);
        expect_log(
            {bare_name, {0, "GetDiskTypeAndSignatureW() failed ,NULL VolumeGuid"}, bare_name});
        std::uint32_t value = 0;
        std::uint8_t guid[16];
        const Expected null{0, "GetDiskTypeAndSignatureW() failed ,NULL Signature/Guid/Type"};
        start_watching();
        EXPECT_EQ(FARLO(GetDiskTypeAndSignatureW)(L"d", nullptr, guid, &value), 0x80070057u);
        EXPECT_EQ(FARLO(GetDiskTypeAndSignatureW)(L"d", &value, guid, nullptr), 0x80070057u);
        expect_log({bare_name, null, bare_name, bare_name, null, bare_name});
        // The path is looked at first.
        start_watching();
        EXPECT_EQ(FARLO(GetDiskTypeAndSignatureW)(nullptr, nullptr, nullptr, nullptr), 0x80070057u);
        expect_log(
            {bare_name, {0, "GetDiskTypeAndSignatureW() failed ,NULL VolumeGuid"}, bare_name});
        EXPECT_EQ(disk.lines, Lines{});
        EXPECT_TRUE(answer.style.untouched());
    });
}

TEST_F(DiskLayout, ANullGuidIsRefusedOnlyWhereOneWouldBeWritten) {
    at_every_threshold([&] {
        const struct {
            DWORD style;
            std::uint32_t status;
            Expected line;
        } cases[] = {
            {0, 0, {0, "Exiting GetDiskTypeAndSignatureW Type=0x0 Sig=0x89abcdef"}},
            {1, 0x80070057, {0, "GetDiskTypeAndSignatureW() failed ,NULL Signature/Guid/Type"}},
            {2, 0, {0, "Exiting GetDiskTypeAndSignatureW Type=0x2 Sig=0xc5c5c5c5"}}};
        for (const auto& each : cases) {
            SCOPED_TRACE(each.style);
            Disk disk(dll().module());
            disk.be_of_style(each.style);
            if (each.style == 0) {
                disk.be_mbr(0x89abcdef);
            }
            start_watching();
            Answer answer;
            EXPECT_EQ(FARLO(GetDiskTypeAndSignatureW)(L"\\\\.\\disk one",
                                                      answer.signature.as<std::uint32_t>(), nullptr,
                                                      answer.style.as<std::uint32_t>()),
                      each.status);
            EXPECT_EQ(disk.lines, asked);
            EXPECT_EQ(answer.style_value(), each.status == 0 ? each.style : untouched_value);
            EXPECT_EQ(answer.signature_value(), each.style == 0 ? 0x89abcdef : untouched_value);
            expect_log({bare_name, each.line, bare_name});
        }
    });
}

// The system's error, in decimal digits.
TEST_F(DiskLayout, ADeviceThatCannotBeOpened) {
    at_every_threshold([&] {
        Disk disk(dll().module());
        disk.open_error = ERROR_SHARING_VIOLATION;
        Answer answer;
        EXPECT_EQ(ask(answer), 32u);
        EXPECT_EQ(disk.lines, (Lines{"open \\\\.\\disk one"}));
        EXPECT_TRUE(answer.style.untouched());
        expect_log(
            {bare_name,
             {0, "GetDiskTypeAndSignatureW() CreateFile Failed for \\\\.\\disk one error 32"},
             bare_name});
    });
}

TEST_F(DiskLayout, NoMemory) {
    at_every_threshold([&] {
        Disk disk(dll().module());
        set_faults(R"([{"function": "_ZtAlloc", "nothing": true}])");
        Answer answer;
        EXPECT_EQ(ask(answer), 0x8007000Eu);
        EXPECT_EQ(disk.lines, (Lines{"open \\\\.\\disk one", "close"}));
        expect_log({bare_name,
                    {0, "GetDiskTypeAndSignatureW: ZtAlloc failed to allocate memory for "
                        "PDRIVE_LAYOUT_INFORMATION"},
                    bare_name});
    });
}

// More partitions than the buffer holds: asked once, never with a larger one.
TEST_F(DiskLayout, ALayoutThatDoesNotFit) {
    at_every_threshold([&] {
        Disk disk(dll().module());
        disk.layout_error = ERROR_INSUFFICIENT_BUFFER;
        Answer answer;
        EXPECT_EQ(ask(answer), 122u);
        EXPECT_EQ(disk.lines, asked);
        EXPECT_TRUE(answer.style.untouched());
        EXPECT_TRUE(answer.signature.untouched());
        EXPECT_TRUE(answer.guid.untouched());
        expect_log({bare_name,
                    {0, "GetDiskTypeAndSignatureW: IOCTL_DISK_GET_DRIVE_LAYOUT_EX failed error"},
                    bare_name});
    });
}

// A call that fails and names no error is a failure all the same.
TEST_F(DiskLayout, FailsWhenTheSystemReportsNoError) {
    at_every_threshold([&] {
        Disk disk(dll().module());
        disk.open_error = ERROR_SUCCESS;
        Answer answer;
        EXPECT_EQ(ask(answer), FARLO_PROVIDER_FAILED);
        EXPECT_TRUE(answer.style.untouched());
        expect_log({bare_name,
                    {0, "GetDiskTypeAndSignatureW() CreateFile Failed for \\\\.\\disk one error "
                        "-1056964607"},
                    bare_name});
        start_watching();
        disk.open_error.reset();
        disk.layout_error = ERROR_SUCCESS;
        EXPECT_EQ(ask(answer), FARLO_PROVIDER_FAILED);
        EXPECT_TRUE(answer.style.untouched());
        expect_log({bare_name,
                    {0, "GetDiskTypeAndSignatureW: IOCTL_DISK_GET_DRIVE_LAYOUT_EX failed error"},
                    bare_name});
    });
}

TEST_F(DiskLayout, TheNarrowForm) {
    at_every_threshold([&] {
        Disk disk(dll().module());
        disk.be_mbr(7);
        std::uint32_t signature = 0;
        std::uint8_t guid[16];
        std::uint32_t style = 9;
        EXPECT_EQ(FARLO(GetDiskTypeAndSignatureA)("\\\\.\\disk one", &signature, guid, &style), 0u);
        EXPECT_EQ(signature, 7u);
        EXPECT_EQ(style, 0u);
        EXPECT_EQ(disk.lines, asked);
        start_watching();
        EXPECT_EQ(FARLO(GetDiskTypeAndSignatureA)(nullptr, &signature, guid, &style), 0x80070057u);
        expect_log(
            {bare_name, {0, "GetDiskTypeAndSignatureW() failed ,NULL VolumeGuid"}, bare_name});
        start_watching();
        EXPECT_EQ(FARLO(GetDiskTypeAndSignatureA)(std::string(260, 'p').c_str(), &signature, guid,
                                                  &style),
                  0x80070057u);
        expect_log(
            {{0, "GetDiskTypeAndSignatureA() failed , path string of more than 259 characters or "
                 "invalid, error=(0x80070057)"}});
        // The longest that fits.
        EXPECT_EQ(FARLO(GetDiskTypeAndSignatureA)(std::string(259, 'p').c_str(), &signature, guid,
                                                  &style),
                  0u);
        EXPECT_EQ(disk.lines, (asked + Lines{"open " + std::string(259, 'p'), "layout", "close"}));
    });
}

TEST_F(DiskLayout, EveryAllocationThatFails) {
    const auto run = [&](auto ask_for) {
        const auto answers = answers_at_every_allocation([&] {
            Disk disk(dll().module());
            disk.be_gpt();
            Answer answer;
            const std::uint32_t status = ask_for(answer);
            EXPECT_EQ(disk.lines.back(), "close");
            EXPECT_EQ(answer.style_value(), status == 0 ? 1u : untouched_value);
            EXPECT_EQ(answer.guid.untouched(), status != 0);
            return status;
        });
        EXPECT_THAT(answers, testing::ElementsAre(0x8007000Eu));
    };
    run([&](Answer& answer) { return ask(answer); });
    run([&](Answer& answer) {
        return FARLO(GetDiskTypeAndSignatureA)(
            "\\\\.\\disk one", answer.signature.as<std::uint32_t>(), answer.guid.data(),
            answer.style.as<std::uint32_t>());
    });
}

// Nothing replaced: a device that does not exist, and a file that is no disk.
TEST_F(DiskLayout, WhatIsNoDisk) {
    once([&] {
        Answer answer;
        EXPECT_EQ(ask(answer, L"\\\\.\\no such disk"), 2u);
        const std::wstring file = environment().folder().wstring() + L"\\file";
        CloseHandle(
            CreateFileW(file.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
        EXPECT_NE(ask(answer, file.c_str()), 0u);
        EXPECT_TRUE(answer.style.untouched());
    });
}

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
