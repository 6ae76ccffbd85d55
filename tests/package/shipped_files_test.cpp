// Each file that ships: its version resource, its symbols, and what it says of its origin.
#include "farlo.h"
#include "service/process.h"
#include "support/narrow_string.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

namespace {

using namespace support;

constexpr DWORD hang_ms = 60'000;

struct ShippedFile {
    const wchar_t* name;
    DWORD type;
    const wchar_t* description;
};

const ShippedFile shipped_files[] = {
    {L"farlo.dll", VFT_DLL, L"Cluster agent interface to the storage volume manager"},
    {L"farlo-agent.exe", VFT_APP, L"Example of a cluster agent"},
    {L"ztsvc.exe", VFT_APP, L"Storage service of the lab"},
    {L"labctl.exe", VFT_APP, L"Shows and changes a running lab"},
    {L"labdriver.exe", VFT_APP, L"Loads and unloads the drivers of the lab"},
    {L"ztbus3.dll", VFT_DLL, L"Object bus of the lab"},
    {L"ZtCMD.dll", VFT_DLL, L"Command library of the lab"},
    {L"dmcontrol.sys", VFT_DRV, L"Volume manager control devices of the lab"},
    {L"labdisk.sys", VFT_DRV, L"Disks of the lab"},
};

std::wstring library_version() {
    return std::to_wstring(FARLO_VERSION_MAJOR) + L"." + std::to_wstring(FARLO_VERSION_MINOR) +
           L"." + std::to_wstring(FARLO_VERSION_PATCH);
}

// The folder of the files, which is on the PATH of every test.
std::filesystem::path shipped(const std::wstring& name) {
    wchar_t path[MAX_PATH] = L"";
    SearchPathW(nullptr, L"farlo.dll", nullptr, MAX_PATH, path, nullptr);
    return std::filesystem::path(path).replace_filename(name);
}

class ShippedFileTest : public testing::TestWithParam<ShippedFile> {
  protected:
    void SetUp() override {
        m_bytes = read_text(shipped(GetParam().name).wstring());
        ASSERT_GT(m_bytes.size(), sizeof(IMAGE_DOS_HEADER));
        ASSERT_EQ(m_bytes.substr(0, 2), "MZ");
    }

    template <class T> T at(std::size_t offset) const {
        T value{};
        EXPECT_LE(offset + sizeof value, m_bytes.size());
        std::memcpy(&value, m_bytes.data() + offset, sizeof value);
        return value;
    }
    IMAGE_NT_HEADERS64 headers() const { return at<IMAGE_NT_HEADERS64>(headers_offset()); }
    std::size_t headers_offset() const {
        return static_cast<std::size_t>(at<IMAGE_DOS_HEADER>(0).e_lfanew);
    }
    std::vector<IMAGE_SECTION_HEADER> sections() const {
        std::vector<IMAGE_SECTION_HEADER> result;
        for (std::size_t i = 0; i < headers().FileHeader.NumberOfSections; ++i) {
            result.push_back(at<IMAGE_SECTION_HEADER>(
                headers_offset() + sizeof(IMAGE_NT_HEADERS64) + i * sizeof(IMAGE_SECTION_HEADER)));
        }
        return result;
    }
    // Returns the bytes at an address of the loaded image.
    std::string image_bytes(DWORD address, std::size_t size) const {
        for (const IMAGE_SECTION_HEADER& section : sections()) {
            if (address >= section.VirtualAddress &&
                address < section.VirtualAddress + section.SizeOfRawData) {
                return m_bytes.substr(section.PointerToRawData + address - section.VirtualAddress,
                                      size);
            }
        }
        return "";
    }
    // Returns a string of the version resource.
    std::wstring version_string(const std::wstring& name) const {
        wchar_t* text = nullptr;
        UINT length = 0;
        EXPECT_TRUE(VerQueryValueW(version_data().data(),
                                   (L"\\StringFileInfo\\040904B0\\" + name).c_str(),
                                   reinterpret_cast<void**>(&text), &length))
            << narrow_string(name);
        return text == nullptr ? L"" : text;
    }
    std::vector<char>& version_data() const {
        if (m_version.empty()) {
            const std::wstring path = shipped(GetParam().name).wstring();
            DWORD unused = 0;
            m_version.resize(GetFileVersionInfoSizeW(path.c_str(), &unused) + 1);
            EXPECT_TRUE(GetFileVersionInfoW(path.c_str(), 0, static_cast<DWORD>(m_version.size()),
                                            m_version.data()));
        }
        return m_version;
    }

    std::string m_bytes;

  private:
    mutable std::vector<char> m_version;
};

TEST_P(ShippedFileTest, HasVersionResource) {
    VS_FIXEDFILEINFO* fixed = nullptr;
    UINT length = 0;
    ASSERT_TRUE(
        VerQueryValueW(version_data().data(), L"\\", reinterpret_cast<void**>(&fixed), &length));
    EXPECT_EQ(fixed->dwFileType, GetParam().type);
    const DWORD major_minor = MAKELONG(FARLO_VERSION_MINOR, FARLO_VERSION_MAJOR);
    const DWORD patch = MAKELONG(0, FARLO_VERSION_PATCH);
    EXPECT_EQ(fixed->dwFileVersionMS, major_minor);
    EXPECT_EQ(fixed->dwFileVersionLS, patch);
    EXPECT_EQ(fixed->dwProductVersionMS, major_minor);
    EXPECT_EQ(fixed->dwProductVersionLS, patch);

    EXPECT_EQ(version_string(L"FileVersion"), library_version());
    EXPECT_EQ(version_string(L"ProductVersion"), library_version());
    EXPECT_EQ(version_string(L"ProductName"), L"farlo");
    EXPECT_EQ(version_string(L"OriginalFilename"), GetParam().name);
    EXPECT_EQ(version_string(L"InternalName"),
              std::filesystem::path(GetParam().name).stem().wstring());
    EXPECT_EQ(version_string(L"FileDescription"), GetParam().description);
}

TEST_P(ShippedFileTest, HasNoSymbols) {
    EXPECT_EQ(headers().FileHeader.NumberOfSymbols, 0u);
    EXPECT_EQ(m_bytes.find("_ZN"), std::string::npos) << "the name of a C++ function";
    for (const IMAGE_SECTION_HEADER& section : sections()) {
        const std::string name(reinterpret_cast<const char*>(section.Name), sizeof section.Name);
        EXPECT_EQ(name.find(".debug_"), std::string::npos) << name;
    }
}

// CRC-32 as debuggers compute it for the file that a debug link names.
std::uint32_t crc32(const std::string& bytes) {
    static const std::array<std::uint32_t, 256> table = [] {
        std::array<std::uint32_t, 256> entries{};
        for (std::uint32_t i = 0; i < entries.size(); ++i) {
            std::uint32_t entry = i;
            for (int bit = 0; bit < 8; ++bit) {
                entry = (entry >> 1) ^ ((entry & 1u) != 0 ? 0xEDB88320u : 0u);
            }
            entries[i] = entry;
        }
        return entries;
    }();
    std::uint32_t crc = ~0u;
    for (const char byte : bytes) {
        crc = (crc >> 8) ^ table[(crc ^ static_cast<unsigned char>(byte)) & 0xFFu];
    }
    return ~crc;
}

TEST_P(ShippedFileTest, NamesItsSymbolFileAndItsChecksum) {
    const std::string file = narrow_string(GetParam().name) + ".debug";
    // The name, padded to four bytes, then the checksum.
    const std::size_t link = m_bytes.find(file + '\0');
    ASSERT_NE(link, std::string::npos);
    const std::size_t padded = (file.size() + 1 + 3) / 4 * 4;
    const std::string symbols =
        read_text(shipped(std::wstring(file.begin(), file.end())).wstring());
    ASSERT_GT(symbols.size(), 0u);
    EXPECT_EQ(at<std::uint32_t>(link + padded), crc32(symbols));
    EXPECT_NE(symbols.find(".debug_info"), std::string::npos);
}

// The debug directory: "RSDS", a GUID, an age, and the PDB's name.
TEST_P(ShippedFileTest, NamesItsPdbWithoutFolder) {
    const IMAGE_DATA_DIRECTORY directory =
        headers().OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_DEBUG];
    if (GetParam().type == VFT_DRV) {
        EXPECT_EQ(directory.Size, 0u) << "the GNU linker's PDB contains folders";
        return;
    }
    ASSERT_EQ(directory.Size, sizeof(IMAGE_DEBUG_DIRECTORY));
    IMAGE_DEBUG_DIRECTORY entry;
    const std::string entry_bytes = image_bytes(directory.VirtualAddress, sizeof entry);
    ASSERT_EQ(entry_bytes.size(), sizeof entry);
    std::memcpy(&entry, entry_bytes.data(), sizeof entry);
    ASSERT_EQ(entry.Type, static_cast<DWORD>(IMAGE_DEBUG_TYPE_CODEVIEW));
    const std::string record = m_bytes.substr(entry.PointerToRawData, entry.SizeOfData);
    const std::wstring name = std::filesystem::path(GetParam().name).stem().wstring() + L".pdb";
    EXPECT_EQ(record.substr(0, 4), "RSDS");
    EXPECT_STREQ(record.c_str() + 4 + 16 + 4, narrow_string(name).c_str());

    const std::string pdb = read_text(shipped(name).wstring());
    EXPECT_NE(pdb.find(record.substr(4, 16)), std::string::npos) << "another GUID in the PDB";
    EXPECT_NE(pdb.find("_ZN"), std::string::npos) << "no name of a C++ function";
}

// Two links of the same objects give the same file: no field is the time of the link.
TEST_P(ShippedFileTest, HasTheTimeStampOfItsSources) {
    EXPECT_EQ(headers().FileHeader.TimeDateStamp, DWORD{FARLO_SOURCE_DATE_EPOCH});
    const IMAGE_DATA_DIRECTORY directory =
        headers().OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT];
    if (directory.Size != 0) {
        IMAGE_EXPORT_DIRECTORY exports;
        const std::string bytes = image_bytes(directory.VirtualAddress, sizeof exports);
        ASSERT_EQ(bytes.size(), sizeof exports);
        std::memcpy(&exports, bytes.data(), sizeof exports);
        EXPECT_EQ(exports.TimeDateStamp, 0u);
    }
}

TEST_P(ShippedFileTest, HasTheDefaultImageBase) {
    const bool is_program = GetParam().type == VFT_APP;
    EXPECT_EQ(headers().OptionalHeader.ImageBase, is_program ? 0x140000000u : 0x180000000u);
}

INSTANTIATE_TEST_SUITE_P(All, ShippedFileTest, testing::ValuesIn(shipped_files),
                         [](const testing::TestParamInfo<ShippedFile>& file) {
                             std::string name = narrow_string(file.param.name);
                             for (char& character : name) {
                                 character = isalnum(character) != 0 ? character : '_';
                             }
                             return name;
                         });

TEST(Programs, PrintTheirVersion) {
    for (const wchar_t* program : {L"farlo-agent", L"ztsvc", L"labctl", L"labdriver"}) {
        const Process process(in_quotes(shipped(std::wstring(program) + L".exe").wstring()) +
                              L" --version");
        EXPECT_EQ(process.wait(hang_ms), DWORD{0});
        EXPECT_EQ(process.output(),
                  narrow_string(std::wstring(program) + L" " + library_version() + L"\r\n"));
        EXPECT_EQ(process.errors(), "");
    }
}

}  // namespace
