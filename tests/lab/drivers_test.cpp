// Loading and unloading the lab's drivers, tested with the lab's disks.
#include "drivers/driver_service.h"
#include "lab/labdisk_file.h"
#include "labdisk/lab_disks.h"
#include "service/process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <system_error>

namespace {

using namespace support;

constexpr DWORD hang_ms = 60'000;

bool disk_is_there() {
    const HANDLE disk =
        CreateFileW(L"\\\\.\\" LAB_DISK_MBR, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                    nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (disk == INVALID_HANDLE_VALUE) {
        EXPECT_EQ(GetLastError(), DWORD{ERROR_FILE_NOT_FOUND});
        return false;
    }
    CloseHandle(disk);
    return true;
}

class Drivers : public testing::Test {
  protected:
    void SetUp() override { lab::stop_driver(L"labdisk"); }
    void TearDown() override { lab::stop_driver(L"labdisk"); }

    // Runs labdriver and returns its exit code; what it prints goes to `output` and
    // `errors`.
    std::optional<DWORD> labdriver(const std::wstring& arguments) {
        const Process process(L"labdriver.exe " + arguments);
        const std::optional<DWORD> code = process.wait(hang_ms);
        output = process.output();
        errors = process.errors();
        return code;
    }
    std::string output;
    std::string errors;
};

TEST_F(Drivers, LoadOnceAndUnload) {
    EXPECT_FALSE(disk_is_there());
    lab::start_driver(L"labdisk", labdisk_file());
    EXPECT_TRUE(disk_is_there());
    lab::start_driver(L"labdisk", labdisk_file());
    EXPECT_TRUE(disk_is_there());
    lab::stop_driver(L"labdisk");
    EXPECT_FALSE(disk_is_there());
    lab::stop_driver(L"labdisk");
    lab::start_driver(L"labdisk", labdisk_file());
    EXPECT_TRUE(disk_is_there());
}

TEST_F(Drivers, LoadFromTheLastFileGiven) {
    const TemporaryFolder folder;
    const std::filesystem::path other = folder.file(L"other.sys");
    std::filesystem::copy_file(labdisk_file(), other);
    lab::start_driver(L"labdisk", labdisk_file());
    lab::start_driver(L"labdisk", other);
    EXPECT_TRUE(disk_is_there());
    lab::stop_driver(L"labdisk");
    std::filesystem::remove(other);
    EXPECT_THROW(lab::start_driver(L"labdisk", other), std::system_error);
    EXPECT_FALSE(disk_is_there());
    lab::start_driver(L"labdisk", labdisk_file());
    EXPECT_TRUE(disk_is_there());
}

TEST_F(Drivers, LoadAndUnloadFromTheCommandLine) {
    EXPECT_EQ(labdriver(L"start labdisk"), 0u);
    EXPECT_TRUE(disk_is_there());
    EXPECT_EQ(labdriver(L"stop labdisk"), 0u);
    EXPECT_FALSE(disk_is_there());
    EXPECT_EQ(errors, "");
    EXPECT_EQ(labdriver(L"start nothing"), 1u);
    EXPECT_NE(errors.find("nothing.sys: no such driver"), std::string::npos) << errors;
    EXPECT_EQ(labdriver(L"start"), 2u);
    EXPECT_EQ(labdriver(L"load labdisk"), 2u);
    EXPECT_EQ(labdriver(L""), 2u);
}

// The volume manager's driver may be loaded by another test that runs meanwhile.
TEST_F(Drivers, AreListedWithTheirState) {
    using testing::MatchesRegex;
    EXPECT_EQ(labdriver(L"list"), 0u);
    EXPECT_THAT(output, MatchesRegex("dmcontrol    .*\r\nlabdisk      not loaded\r\n"));
    lab::start_driver(L"labdisk", labdisk_file());
    EXPECT_EQ(labdriver(L"list"), 0u);
    EXPECT_THAT(output, MatchesRegex("dmcontrol    .*\r\nlabdisk      loaded\r\n"));
    lab::stop_driver(L"labdisk");
    const TemporaryFolder folder;
    const std::filesystem::path other = folder.file(L"other.sys");
    std::filesystem::copy_file(labdisk_file(), other);
    lab::start_driver(L"labdisk", other);
    EXPECT_EQ(labdriver(L"list"), 0u);
    EXPECT_THAT(output, testing::HasSubstr("labdisk      loaded from " + other.string() + "\r\n"));
    lab::stop_driver(L"labdisk");
}

TEST_F(Drivers, AreNamedWhenTheWantedOneDoesNotExist) {
    EXPECT_EQ(labdriver(L"start nothing"), 1u);
    EXPECT_THAT(errors, testing::EndsWith(
                            "nothing.sys: no such driver; there are: dmcontrol, labdisk\r\n"));
    EXPECT_EQ(labdriver(L"stop nothing"), 1u);
    EXPECT_THAT(errors, testing::EndsWith(
                            "nothing.sys: no such driver; there are: dmcontrol, labdisk\r\n"));
}

}  // namespace
