// GetDiskTypeAndSignature.
#include "volume/fake_disk.h"

#include <cstring>

namespace {

using namespace support;

// The out values of a call, each up against memory that may not be touched.
struct Answer {
    GuardedBuffer signature{4};
    GuardedBuffer guid{16};
    GuardedBuffer style{4};

    std::uint32_t signature_value() { return *signature.as<std::uint32_t>(); }
    std::uint32_t style_value() { return *style.as<std::uint32_t>(); }
};

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

}  // namespace
