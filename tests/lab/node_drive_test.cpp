// Volumes of a scenario that are drives of the machine.
#include "lab/store_fixture.h"
#include "store/string_conversions.h"

#include <windows.h>

#include <filesystem>
#include <fstream>

namespace {

class NodeDrives : public lab_tests::StoreTest {
  protected:
    // A scenario in which volume "v" is drive L.
    void load_drive(const std::string& serial, const std::string& more = "") {
        load(R"({"disk_groups": [{"name": "dg", "dgid": "g", "volumes": [
            {"name": "v", "drive": {"letter": "L", "serial": )" +
             serial + R"(, "label": "Bücher"})" + more + "}]}]}");
    }
    static std::string error_of(const std::string& volume) {
        try {
            lab::build_scenario(R"({"disk_groups": [{"name": "dg", "dgid": "g", "volumes": [)"
                                "\n" +
                                volume + "]}]}");
        } catch (const lab::ScenarioError& error) {
            return error.what();
        }
        return "";
    }

    static std::wstring device_of(const wchar_t* drive) {
        wchar_t device[MAX_PATH] = L"";
        EXPECT_NE(QueryDosDeviceW(drive, device, MAX_PATH), 0u);
        return device;
    }
    static std::string wide_property(std::wstring text) {
        std::string quoted;
        for (const wchar_t c : text) {
            quoted += c == L'\\' ? "\\\\" : std::string(1, static_cast<char>(c));
        }
        return "WSTR \"" + quoted + "\"";
    }
};

TEST_F(NodeDrives, ExistForTheWholeMachine) {
    load_drive("439041101");
    EXPECT_EQ(GetDriveTypeW(L"L:\\"), UINT{DRIVE_FIXED});
    wchar_t label[MAX_PATH];
    wchar_t file_system[MAX_PATH];
    DWORD serial_number = 0;
    ASSERT_TRUE(GetVolumeInformationW(L"L:\\", label, MAX_PATH, &serial_number, nullptr, nullptr,
                                      file_system, MAX_PATH));
    EXPECT_EQ(serial_number, 0x1A2B3C4Du);
    EXPECT_STREQ(label, L"B\u00fccher");
    std::ofstream("L:\\some file") << "some text";
    EXPECT_EQ(std::filesystem::file_size("L:\\some file"), 9u);
    std::filesystem::remove("L:\\some file");
}

TEST_F(NodeDrives, HaveTheMachinesNames) {
    load_drive("439041101");
    const std::wstring device = device_of(L"L:");
    EXPECT_EQ(device.substr(0, 22), L"\\Device\\HarddiskVolume");
    EXPECT_EQ(property("v", "DEVICE NAME"), wide_property(device));
    EXPECT_EQ(property("v", "DRIVE LETTER"), "WSTR \"L\"");

    wchar_t name[MAX_PATH];
    ASSERT_TRUE(GetVolumeNameForVolumeMountPointW(L"L:\\", name, MAX_PATH));
    std::wstring without_backslash = name;
    EXPECT_EQ(without_backslash.substr(0, 11), L"\\\\?\\Volume{");
    ASSERT_EQ(without_backslash.back(), L'\\');
    without_backslash.pop_back();
    EXPECT_EQ(property("v", "volumename"), wide_property(without_backslash));
}

TEST_F(NodeDrives, HaveOtherNamesIfGiven) {
    load_drive("439041101", R"(, "device": "\\D", "volume_name": "V", "drive_letter": "0")");
    EXPECT_EQ(property("v", "DEVICE NAME"), "WSTR \"\\\\D\"");
    EXPECT_EQ(property("v", "volumename"), "WSTR \"V\"");
    EXPECT_EQ(property("v", "DRIVE LETTER"), "WSTR \"0\"");
}

TEST_F(NodeDrives, ChangeSerialNumberWithAnotherScenario) {
    for (const DWORD wanted : {1u, 0xFFFFFFFFu, 439041101u}) {
        load_drive(std::to_string(wanted));
        DWORD serial_number = 0;
        ASSERT_TRUE(GetVolumeInformationW(L"L:\\", nullptr, 0, &serial_number, nullptr, nullptr,
                                          nullptr, 0));
        EXPECT_EQ(serial_number, wanted);
    }
}

TEST_F(NodeDrives, RejectLettersOfOtherDrives) {
    DWORD before = 0;
    ASSERT_TRUE(GetVolumeInformationW(L"C:\\", nullptr, 0, &before, nullptr, nullptr, nullptr, 0));
    const std::string other = std::to_string(before + 1);
    EXPECT_EQ(error_of(R"({"name": "v", "drive":)"
                       "\n"
                       R"({"letter": "C", "serial": )" +
                       other + "}}"),
              "3: drive C: the letter is in use with another serial number");
    DWORD after = 0;
    ASSERT_TRUE(GetVolumeInformationW(L"C:\\", nullptr, 0, &after, nullptr, nullptr, nullptr, 0));
    EXPECT_EQ(after, before);
    // With that drive's serial number, the drive is used.
    EXPECT_EQ(error_of(R"({"name": "v", "drive": {"letter": "C", "serial": )" +
                       std::to_string(before) + "}}"),
              "");
    EXPECT_FALSE(std::filesystem::exists("C:\\.lab-drive"));
}

TEST_F(NodeDrives, ReportErrorsWithLine) {
    for (const char* letter : {"\"l\"", "\"\"", "\"LL\"", "\"L:\"", "\"1\""}) {
        EXPECT_EQ(error_of(std::string(R"({"name": "v", "drive": {"serial": 1,)"
                                       "\n\"letter\": ") +
                           letter + "}}"),
                  "3: expected a letter from \"A\" to \"Z\"")
            << letter;
    }
    EXPECT_EQ(error_of(R"({"name": "v", "drive": {"letter": "L"}})"), "2: \"serial\" is missing");
    EXPECT_EQ(error_of(R"({"name": "v", "drive": {"serial": 1}})"), "2: \"letter\" is missing");
    EXPECT_EQ(error_of(R"({"name": "v"})"), "2: \"device\" is missing");
    EXPECT_EQ(error_of(R"({"name": "v", "drive": {"letter": "L", "serial": 1,)"
                       "\n\"size\": 2}}"),
              "3: unknown key \"size\"");
    EXPECT_EQ(
        error_of(R"({"name": "v", "drive": {"letter": "L", "serial": 4294967296}})").substr(0, 3),
        "2: ");
}

}  // namespace
