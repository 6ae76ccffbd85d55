// The image of farlo.dll: its exports, imports, version and protection.
#include "api/export_names.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <cstring>
#include <set>
#include <string>
#include <vector>

namespace {

// Reads the headers of the loaded image.
class FarloImage : public testing::Test {
  protected:
    void SetUp() override {
        m_module = LoadLibraryW(L"farlo.dll");
        ASSERT_NE(m_module, nullptr) << "system error " << GetLastError();
    }
    void TearDown() override { FreeLibrary(m_module); }

    template <class T> const T* at(DWORD address) const {
        return reinterpret_cast<const T*>(reinterpret_cast<const char*>(m_module) + address);
    }
    const IMAGE_NT_HEADERS64& headers() const {
        return *at<IMAGE_NT_HEADERS64>(static_cast<DWORD>(at<IMAGE_DOS_HEADER>(0)->e_lfanew));
    }
    const IMAGE_DATA_DIRECTORY& directory(int index) const {
        return headers().OptionalHeader.DataDirectory[index];
    }
    std::set<std::string> exported_names() const {
        const auto* exports =
            at<IMAGE_EXPORT_DIRECTORY>(directory(IMAGE_DIRECTORY_ENTRY_EXPORT).VirtualAddress);
        const DWORD* names = at<DWORD>(exports->AddressOfNames);
        std::set<std::string> result;
        for (DWORD i = 0; i < exports->NumberOfNames; ++i) {
            result.insert(at<char>(names[i]));
        }
        return result;
    }
    std::set<std::string> imported_dlls() const {
        std::set<std::string> result;
        for (const auto* entry = at<IMAGE_IMPORT_DESCRIPTOR>(
                 directory(IMAGE_DIRECTORY_ENTRY_IMPORT).VirtualAddress);
             entry->Name != 0; ++entry) {
            std::string name = at<char>(entry->Name);
            for (char& character : name) {
                character = static_cast<char>(tolower(character));
            }
            result.insert(name);
        }
        return result;
    }
    FARPROC entry(const char* name) const { return GetProcAddress(m_module, name); }

    HMODULE m_module = nullptr;
};

TEST_F(FarloImage, ExportsExactlyListedNames) {
    EXPECT_EQ(exported_names(), export_names());
}

TEST_F(FarloImage, ExportsInitializeAndValidateAsOneFunction) {
    EXPECT_EQ(entry("InitializeClusterW"), entry("ValidateClusterW"));
    EXPECT_EQ(entry("ValidateClusterA"), entry("ValidateClusterW"));
    EXPECT_NE(entry("InitializeClusterA"), entry("ValidateClusterW"));
}

TEST_F(FarloImage, ImportsOnlySystemBusAndCommandLibrary) {
    const std::set<std::string> allowed = {"advapi32.dll", "kernel32.dll", "msvcrt.dll",
                                           "ntdll.dll",    "shlwapi.dll",  "user32.dll",
                                           "ztbus3.dll",   "ztcmd.dll"};
    for (const std::string& name : imported_dlls()) {
        EXPECT_EQ(allowed.count(name), 1u) << name;
    }
    EXPECT_EQ(imported_dlls().count("ztbus3.dll"), 1u);
    EXPECT_EQ(imported_dlls().count("ztcmd.dll"), 1u);
}

TEST_F(FarloImage, HasRandomAddressesAndNoWritableCode) {
    const WORD wanted = IMAGE_DLLCHARACTERISTICS_DYNAMIC_BASE |
                        IMAGE_DLLCHARACTERISTICS_HIGH_ENTROPY_VA |
                        IMAGE_DLLCHARACTERISTICS_NX_COMPAT;
    EXPECT_EQ(headers().OptionalHeader.DllCharacteristics & wanted, wanted);
    const auto* section = IMAGE_FIRST_SECTION(&headers());
    for (WORD i = 0; i < headers().FileHeader.NumberOfSections; ++i) {
        const DWORD writable_code = IMAGE_SCN_MEM_WRITE | IMAGE_SCN_MEM_EXECUTE;
        EXPECT_NE(section[i].Characteristics & writable_code, writable_code)
            << std::string(reinterpret_cast<const char*>(section[i].Name), 8);
    }
}

// The loader allocates the 16 bytes in which the C++ runtime records a thread's exceptions. The C
// runtime has 8 bytes of its own.
TEST_F(FarloImage, ReservesThreadStorageForExceptionRecord) {
    const auto& directory = headers().OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_TLS];
    ASSERT_NE(directory.VirtualAddress, 0u);
    IMAGE_TLS_DIRECTORY64 storage;
    std::memcpy(&storage, reinterpret_cast<const char*>(m_module) + directory.VirtualAddress,
                sizeof storage);
    EXPECT_GE(storage.EndAddressOfRawData - storage.StartAddressOfRawData, 8u + 16u);
}

TEST_F(FarloImage, HasVersionResource) {
    wchar_t path[MAX_PATH];
    ASSERT_NE(GetModuleFileNameW(m_module, path, MAX_PATH), 0u);
    DWORD unused = 0;
    const DWORD size = GetFileVersionInfoSizeW(path, &unused);
    ASSERT_NE(size, 0u);
    std::vector<char> data(size);
    ASSERT_TRUE(GetFileVersionInfoW(path, 0, size, data.data()));
    VS_FIXEDFILEINFO* fixed = nullptr;
    UINT length = 0;
    ASSERT_TRUE(VerQueryValueW(data.data(), L"\\", reinterpret_cast<void**>(&fixed), &length));
    EXPECT_EQ(fixed->dwFileType, static_cast<DWORD>(VFT_DLL));
    wchar_t* name = nullptr;
    ASSERT_TRUE(VerQueryValueW(data.data(), L"\\StringFileInfo\\040904B0\\OriginalFilename",
                               reinterpret_cast<void**>(&name), &length));
    EXPECT_STREQ(name, L"farlo.dll");
}

}  // namespace
