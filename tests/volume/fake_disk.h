// Replaces the disk that the DLL opens; its layout is chosen by the test.
#pragma once

#include "support/bus_lines.h"
#include "support/farlo_test.h"
#include "support/narrow_string.h"
#include "volume/drive_layout.h"

#include <winioctl.h>

#include <cstring>
#include <optional>

namespace support {

inline const GUID disk_guid{
    0x01234567, 0x89ab, 0xcdef, {0xfe, 0xdc, 0xba, 0x98, 0x76, 0x54, 0x32, 0x10}};

// Lives as long as a run's body. An MBR disk with signature 0 unless the test sets another layout.
class FakeDisk {
  public:
    explicit FakeDisk(HMODULE module)
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
                     requests.push_back("open " + narrow_string(path));
                     if (open_error) {
                         SetLastError(*open_error);
                         return INVALID_HANDLE_VALUE;
                     }
                     return m_device = CreateEventW(nullptr, TRUE, FALSE, nullptr);
                 }),
          m_control(module, "DeviceIoControl",
                    [this](HANDLE file, DWORD code, void* input, DWORD input_size, void* output,
                           DWORD output_size, DWORD* returned, OVERLAPPED* overlapped) -> BOOL {
                        EXPECT_EQ(file, m_device);
                        EXPECT_EQ(code, get_drive_layout_code);
                        EXPECT_EQ(input, nullptr);
                        EXPECT_EQ(input_size, 0u);
                        EXPECT_EQ(output_size, drive_layout_size);
                        EXPECT_EQ(overlapped, nullptr);
                        requests.push_back("get layout");
                        if (layout_error) {
                            SetLastError(*layout_error);
                            return FALSE;
                        }
                        // The buffer really has the size that the library states.
                        std::memset(output, 0xEE, output_size);
                        std::memcpy(output, &layout, sizeof layout);
                        *returned = output_size;
                        return TRUE;
                    }),
          m_close(module, "CloseHandle", [this](HANDLE which) -> BOOL {
              // The log's file may get the same handle value later.
              if (which == m_device) {
                  requests.push_back("close");
                  m_device = nullptr;
              }
              return m_close.real(which);
          }) {}

    void set_mbr(DWORD signature) {
        layout = {};
        layout.PartitionStyle = PARTITION_STYLE_MBR;
        layout.Mbr.Signature = signature;
    }
    void set_gpt() { set_style(PARTITION_STYLE_GPT); }
    // Any style; the disk's GUID is where a GPT disk has it.
    void set_style(DWORD style) {
        layout = {};
        layout.PartitionStyle = style;
        layout.Gpt.DiskId = disk_guid;
    }

    // The requests, in order: "open " with the path, "get layout", "close".
    Lines requests;
    // The call fails with this error.
    std::optional<DWORD> open_error;
    std::optional<DWORD> layout_error;
    DRIVE_LAYOUT_INFORMATION_EX layout{};

  private:
    HANDLE m_device = nullptr;
    StandIn<decltype(CreateFileW)> m_open;
    StandIn<decltype(DeviceIoControl)> m_control;
    StandIn<decltype(CloseHandle)> m_close;
};

// GetDiskTypeAndSignatureW logs its bare name at entry and at exit.
inline const Expected entering_layout{6, "GetDiskTypeAndSignatureW"};
inline const Expected exiting_layout = entering_layout;

}  // namespace support
