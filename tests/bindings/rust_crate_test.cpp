// The Rust crate farlo-sys: its own tests, and its example, which reads a group's record.
#include "service/process.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <optional>
#include <string>

namespace {

using namespace support;

constexpr DWORD limit_ms = 60'000;

// Two disks, of which the second has its signature from its id, and two volumes.
constexpr const char* scenario = R"({"disk_groups": [
    {"name": "dg_data", "dgid": "guid-1", "imported": true,
     "disks": [
         {"name": "Harddisk1", "device": "\\Device\\Harddisk1\\DR1", "signature": 439041101},
         {"name": "Harddisk2", "device": "\\Device\\Harddisk2\\DR2", "disk_id": "1a2b3c4e-5e6f"}],
     "volumes": [
         {"name": "vol1", "device": "\\Device\\vol1", "size": 1073741824,
          "file_system": {"type": "NTFS", "label": "Data"}},
         {"name": "vol2", "device": "\\Device\\vol\u20ac", "size": 4096}]},
    {"name": "dg_empty", "dgid": "guid-2"}]})";

class ReadGroup : public testing::Test {
  protected:
    ReadGroup() {
        const std::wstring path = m_folder.write(L"scenario.json", scenario);
        SetEnvironmentVariableW(L"ZTLAB_SCENARIO", path.c_str());
    }
    ~ReadGroup() override { SetEnvironmentVariableW(L"ZTLAB_SCENARIO", nullptr); }

    // Runs the example for a group.
    static std::wstring program(const std::wstring& group) {
        return beside_this_program(L"read_group.exe") + L" " + group;
    }

  private:
    TemporaryFolder m_folder;
};

TEST_F(ReadGroup, PrintsDisksAndVolumes) {
    const Process example(program(L"dg_data"));
    EXPECT_EQ(example.wait(limit_ms), DWORD{0});
    EXPECT_EQ(example.errors(), "");
    EXPECT_EQ(example.output(), "2 disks, 2 volumes\n"
                                "disk Harddisk1, signature 0x1a2b3c4d\n"
                                "disk Harddisk2, signature 0x1a2b3c4e\n"
                                "volume \\Device\\vol1, NTFS, 1073741824 bytes\n"
                                "volume \\Device\\vol\xE2\x82\xAC, , 4096 bytes\n");
}

TEST_F(ReadGroup, PrintsAGroupWithNothingInIt) {
    const Process example(program(L"dg_empty"));
    EXPECT_EQ(example.wait(limit_ms), DWORD{0});
    EXPECT_EQ(example.output(), "0 disks, 0 volumes\n");
}

TEST_F(ReadGroup, ReportsTheStatusOfAnUnknownGroup) {
    const Process example(program(L"dg_none"));
    EXPECT_EQ(example.wait(limit_ms), DWORD{1});
    EXPECT_EQ(example.output(), "");
    EXPECT_EQ(example.errors(), "GetDgPropertiesW: FARLO_NOT_FOUND (0x1)\n");
}

// The layouts of all records, and the loading of all functions.
TEST(RustCrate, PassesItsOwnTests) {
    const Process tests(beside_this_program(L"farlo_sys_tests.exe"));
    EXPECT_EQ(tests.wait(limit_ms), DWORD{0});
    const std::string output = tests.output();
    EXPECT_NE(output.find("test layouts::agree_with_the_header ... ok"), std::string::npos)
        << output;
    EXPECT_NE(output.find("test result: ok. 6 passed; 0 failed"), std::string::npos) << output;
}

}  // namespace
