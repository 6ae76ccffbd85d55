// A disk whose layout a test chooses.
#pragma once

#include "support/bus_lines.h"
#include "support/farlo_test.h"

#include <winioctl.h>

#include <cstring>
#include <optional>

namespace support {

inline constexpr std::uint32_t untouched_value = 0xC5C5C5C5;
inline const GUID disk_guid{
    0x01234567, 0x89ab, 0xcdef, {0xfe, 0xdc, 0xba, 0x98, 0x76, 0x54, 0x32, 0x10}};

inline std::string narrow(const wchar_t* text) {
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

inline const Expected bare_name{6, "GetDiskTypeAndSignatureW"};

}  // namespace support
