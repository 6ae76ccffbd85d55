// GetDiskTypeAndSignature.
#include "support/fault_rules.h"
#include "volume/fake_disk.h"

#include <cstring>

namespace {

using namespace support;

struct Outputs {
    GuardedBuffer signature{4};
    GuardedBuffer guid{FARLO_GUID_SIZE};
    GuardedBuffer style{4};

    std::uint32_t* signature_pointer() const { return signature.as<std::uint32_t>(); }
    std::uint32_t* style_pointer() const { return style.as<std::uint32_t>(); }
};

class GetDiskTypeAndSignature : public FarloTest {
  protected:
    GetDiskTypeAndSignature() { connects = false; }

    std::uint32_t get_type(const Outputs& outputs, const wchar_t* path = L"\\\\.\\disk one") {
        return FARLO(GetDiskTypeAndSignatureW)(path, outputs.signature_pointer(),
                                               outputs.guid.data(), outputs.style_pointer());
    }
};

const Expected& entering = entering_layout;
const Expected& exiting = exiting_layout;
const Lines read_layout{"open \\\\.\\disk one", "get layout", "close"};

TEST_F(GetDiskTypeAndSignature, ProvidesSignatureOfMbrDisk) {
    at_every_threshold([&] {
        FakeDisk disk(dll().module());
        disk.set_mbr(0x89abcdef);
        Outputs outputs;
        EXPECT_EQ(get_type(outputs), FARLO_SUCCESS);
        EXPECT_EQ(*outputs.style_pointer(), FARLO_PARTITION_STYLE_MBR);
        EXPECT_EQ(*outputs.signature_pointer(), 0x89abcdefu);
        EXPECT_TRUE(outputs.guid.untouched());
        EXPECT_EQ(disk.requests, read_layout);
        expect_log(
            {entering, {0, "Exiting GetDiskTypeAndSignatureW Type=0x0 Sig=0x89abcdef"}, exiting});
    });
}

// The caller's signature is logged unchanged.
TEST_F(GetDiskTypeAndSignature, ProvidesGuidOfGptDisk) {
    at_every_threshold([&] {
        FakeDisk disk(dll().module());
        disk.set_gpt();
        Outputs outputs;
        EXPECT_EQ(get_type(outputs), FARLO_SUCCESS);
        EXPECT_EQ(*outputs.style_pointer(), FARLO_PARTITION_STYLE_GPT);
        EXPECT_EQ(*outputs.signature_pointer(), untouched_value);
        EXPECT_EQ(std::memcmp(outputs.guid.data(), &disk_guid, 16), 0);
        EXPECT_EQ(disk.requests, read_layout);
        expect_log(
            {entering, {0, "Exiting GetDiskTypeAndSignatureW Type=0x1 Sig=0xc5c5c5c5"}, exiting});
    });
}

// The style is logged in decimal after "0x".
TEST_F(GetDiskTypeAndSignature, ProvidesOnlyStyleOfOtherDisks) {
    once([&] {
        for (const std::uint32_t style : {FARLO_PARTITION_STYLE_RAW, 16u}) {
            FakeDisk disk(dll().module());
            disk.set_style(style);
            start_watching();
            Outputs outputs;
            EXPECT_EQ(get_type(outputs), FARLO_SUCCESS);
            EXPECT_EQ(*outputs.style_pointer(), style);
            EXPECT_TRUE(outputs.signature.untouched());
            EXPECT_TRUE(outputs.guid.untouched());
            expect_log({entering,
                        {0, "Exiting GetDiskTypeAndSignatureW Type=0x" + std::to_string(style) +
                                " Sig=0xc5c5c5c5"},
                        exiting});
        }
    });
}

// The path is checked first.
TEST_F(GetDiskTypeAndSignature, RejectsNullPathSignatureAndStyle) {
    at_every_threshold([&] {
        FakeDisk disk(dll().module());
        Outputs outputs;
        const Expected null_path{0, "GetDiskTypeAndSignatureW() failed ,NULL VolumeGuid"};
        EXPECT_EQ(get_type(outputs, nullptr), FARLO_INVALID_ARGUMENT);
        expect_log({entering, null_path, exiting});
        std::uint32_t value = 0;
        std::uint8_t guid[FARLO_GUID_SIZE];
        const Expected null_output{0,
                                   "GetDiskTypeAndSignatureW() failed ,NULL Signature/Guid/Type"};
        start_watching();
        EXPECT_EQ(FARLO(GetDiskTypeAndSignatureW)(L"d", nullptr, guid, &value),
                  FARLO_INVALID_ARGUMENT);
        EXPECT_EQ(FARLO(GetDiskTypeAndSignatureW)(L"d", &value, guid, nullptr),
                  FARLO_INVALID_ARGUMENT);
        expect_log({entering, null_output, exiting, entering, null_output, exiting});
        start_watching();
        EXPECT_EQ(FARLO(GetDiskTypeAndSignatureW)(nullptr, nullptr, nullptr, nullptr),
                  FARLO_INVALID_ARGUMENT);
        expect_log({entering, null_path, exiting});
        EXPECT_EQ(disk.requests, Lines{});
        EXPECT_TRUE(outputs.style.untouched());
    });
}

TEST_F(GetDiskTypeAndSignature, RejectsNullGuidForGptDiskOnly) {
    at_every_threshold([&] {
        const struct {
            std::uint32_t style;
            std::uint32_t status;
            std::uint32_t style_after;
            std::uint32_t signature_after;
            Expected logged;
        } rows[] = {{FARLO_PARTITION_STYLE_MBR,
                     FARLO_SUCCESS,
                     FARLO_PARTITION_STYLE_MBR,
                     0x89abcdef,
                     {0, "Exiting GetDiskTypeAndSignatureW Type=0x0 Sig=0x89abcdef"}},
                    {FARLO_PARTITION_STYLE_GPT,
                     FARLO_INVALID_ARGUMENT,
                     untouched_value,
                     untouched_value,
                     {0, "GetDiskTypeAndSignatureW() failed ,NULL Signature/Guid/Type"}},
                    {FARLO_PARTITION_STYLE_RAW,
                     FARLO_SUCCESS,
                     FARLO_PARTITION_STYLE_RAW,
                     untouched_value,
                     {0, "Exiting GetDiskTypeAndSignatureW Type=0x2 Sig=0xc5c5c5c5"}}};
        for (const auto& row : rows) {
            SCOPED_TRACE(row.style);
            FakeDisk disk(dll().module());
            disk.set_style(row.style);
            if (row.style == FARLO_PARTITION_STYLE_MBR) {
                disk.set_mbr(0x89abcdef);
            }
            start_watching();
            Outputs outputs;
            EXPECT_EQ(FARLO(GetDiskTypeAndSignatureW)(L"\\\\.\\disk one",
                                                      outputs.signature_pointer(), nullptr,
                                                      outputs.style_pointer()),
                      row.status);
            EXPECT_EQ(disk.requests, read_layout);
            EXPECT_EQ(*outputs.style_pointer(), row.style_after);
            EXPECT_EQ(*outputs.signature_pointer(), row.signature_after);
            expect_log({entering, row.logged, exiting});
        }
    });
}

// The error is logged in decimal.
TEST_F(GetDiskTypeAndSignature, ReturnsSystemErrorWhenDeviceCannotBeOpened) {
    at_every_threshold([&] {
        FakeDisk disk(dll().module());
        disk.open_error = ERROR_SHARING_VIOLATION;
        Outputs outputs;
        EXPECT_EQ(get_type(outputs), DWORD{ERROR_SHARING_VIOLATION});
        EXPECT_EQ(disk.requests, (Lines{"open \\\\.\\disk one"}));
        EXPECT_TRUE(outputs.style.untouched());
        expect_log(
            {entering,
             {0, "GetDiskTypeAndSignatureW() CreateFile Failed for \\\\.\\disk one error 32"},
             exiting});
    });
}

TEST_F(GetDiskTypeAndSignature, ReturnsOutOfMemoryWithoutMemoryForLayout) {
    at_every_threshold([&] {
        FakeDisk disk(dll().module());
        set_faults(fault_plan({no_bus_memory()}));
        Outputs outputs;
        EXPECT_EQ(get_type(outputs), FARLO_OUT_OF_MEMORY);
        EXPECT_EQ(disk.requests, (Lines{"open \\\\.\\disk one", "close"}));
        expect_log({entering,
                    {0, "GetDiskTypeAndSignatureW: ZtAlloc failed to allocate memory for "
                        "PDRIVE_LAYOUT_INFORMATION"},
                    exiting});
    });
}

// The disk has more partitions than fit into the buffer. The request is not repeated with a
// larger one.
TEST_F(GetDiskTypeAndSignature, ReturnsSystemErrorWhenLayoutDoesNotFit) {
    at_every_threshold([&] {
        FakeDisk disk(dll().module());
        disk.layout_error = ERROR_INSUFFICIENT_BUFFER;
        Outputs outputs;
        EXPECT_EQ(get_type(outputs), DWORD{ERROR_INSUFFICIENT_BUFFER});
        EXPECT_EQ(disk.requests, read_layout);
        EXPECT_TRUE(outputs.style.untouched());
        EXPECT_TRUE(outputs.signature.untouched());
        EXPECT_TRUE(outputs.guid.untouched());
        expect_log({entering,
                    {0, "GetDiskTypeAndSignatureW: IOCTL_DISK_GET_DRIVE_LAYOUT_EX failed error"},
                    exiting});
    });
}

TEST_F(GetDiskTypeAndSignature, FailsWhenSystemReportsNoError) {
    at_every_threshold([&] {
        FakeDisk disk(dll().module());
        disk.open_error = ERROR_SUCCESS;
        Outputs outputs;
        EXPECT_EQ(get_type(outputs), FARLO_PROVIDER_FAILED);
        EXPECT_TRUE(outputs.style.untouched());
        expect_log({entering,
                    {0, "GetDiskTypeAndSignatureW() CreateFile Failed for \\\\.\\disk one error "
                        "-1056964607"},
                    exiting});
        start_watching();
        disk.open_error.reset();
        disk.layout_error = ERROR_SUCCESS;
        EXPECT_EQ(get_type(outputs), FARLO_PROVIDER_FAILED);
        EXPECT_TRUE(outputs.style.untouched());
        expect_log({entering,
                    {0, "GetDiskTypeAndSignatureW: IOCTL_DISK_GET_DRIVE_LAYOUT_EX failed error"},
                    exiting});
    });
}

TEST_F(GetDiskTypeAndSignature, NarrowFormAcceptsPathsOfUpTo259Characters) {
    at_every_threshold([&] {
        FakeDisk disk(dll().module());
        disk.set_mbr(7);
        std::uint32_t signature = 0;
        std::uint8_t guid[FARLO_GUID_SIZE];
        std::uint32_t style = 9;
        EXPECT_EQ(FARLO(GetDiskTypeAndSignatureA)("\\\\.\\disk one", &signature, guid, &style),
                  FARLO_SUCCESS);
        EXPECT_EQ(signature, 7u);
        EXPECT_EQ(style, FARLO_PARTITION_STYLE_MBR);
        EXPECT_EQ(disk.requests, read_layout);
        start_watching();
        EXPECT_EQ(FARLO(GetDiskTypeAndSignatureA)(nullptr, &signature, guid, &style),
                  FARLO_INVALID_ARGUMENT);
        expect_log({entering, {0, "GetDiskTypeAndSignatureW() failed ,NULL VolumeGuid"}, exiting});
        start_watching();
        EXPECT_EQ(FARLO(GetDiskTypeAndSignatureA)(std::string(260, 'p').c_str(), &signature, guid,
                                                  &style),
                  FARLO_INVALID_ARGUMENT);
        expect_log(
            {{0, "GetDiskTypeAndSignatureA() failed , path string of more than 259 characters or "
                 "invalid, error=(0x80070057)"}});
        EXPECT_EQ(FARLO(GetDiskTypeAndSignatureA)(std::string(259, 'p').c_str(), &signature, guid,
                                                  &style),
                  FARLO_SUCCESS);
        // The refused calls made no request.
        EXPECT_EQ(disk.requests,
                  (read_layout + Lines{"open " + std::string(259, 'p'), "get layout", "close"}));
    });
}

TEST_F(GetDiskTypeAndSignature, ReturnsOutOfMemoryWhenAnyAllocationFails) {
    const auto run = [&](auto call) {
        const auto results = statuses_at_every_allocation([&] {
            FakeDisk disk(dll().module());
            disk.set_gpt();
            Outputs outputs;
            const std::uint32_t status = call(outputs);
            EXPECT_EQ(disk.requests.back(), "close");
            EXPECT_EQ(*outputs.style_pointer(),
                      status == FARLO_SUCCESS ? FARLO_PARTITION_STYLE_GPT : untouched_value);
            EXPECT_EQ(outputs.guid.untouched(), status != FARLO_SUCCESS);
            return status;
        });
        EXPECT_THAT(results, testing::ElementsAre(FARLO_OUT_OF_MEMORY));
    };
    run([&](const Outputs& outputs) { return get_type(outputs); });
    run([&](const Outputs& outputs) {
        return FARLO(GetDiskTypeAndSignatureA)("\\\\.\\disk one", outputs.signature_pointer(),
                                               outputs.guid.data(), outputs.style_pointer());
    });
}

// Nothing is replaced here: neither path names a disk.
TEST_F(GetDiskTypeAndSignature, FailsForMissingDeviceAndForFile) {
    once([&] {
        Outputs outputs;
        EXPECT_EQ(get_type(outputs, L"\\\\.\\no such disk"), DWORD{ERROR_FILE_NOT_FOUND});
        const std::wstring file = environment().folder().wstring() + L"\\file";
        CloseHandle(
            CreateFileW(file.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
        EXPECT_NE(get_type(outputs, file.c_str()), FARLO_SUCCESS);
        EXPECT_TRUE(outputs.style.untouched());
    });
}

}  // namespace
