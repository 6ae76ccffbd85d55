#include "query/fake_mount_manager.h"

#include <algorithm>
#include <cstring>
#include <cwchar>

namespace records {
namespace {

constexpr wchar_t manager_path[] = L"\\\\.\\MountPointManager";
constexpr DWORD query_points_code = 0x6D0008;  // IOCTL_MOUNTMGR_QUERY_POINTS
constexpr std::size_t entry_size = 24;

template <class Number> Number number_at(const std::uint8_t* bytes, std::size_t at) {
    Number value;
    std::memcpy(&value, bytes + at, sizeof value);
    return value;
}

template <class Number> void put(std::vector<std::uint8_t>& bytes, std::size_t at, Number value) {
    std::memcpy(&bytes.at(at), &value, sizeof value);
}

}  // namespace

MountManager::MountManager(HMODULE module)
    : m_open(module, "CreateFileW",
             [this](const wchar_t* path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security,
                    DWORD disposition, DWORD attributes, HANDLE pattern) {
                 return std::wcscmp(path, manager_path) == 0
                            ? open(path, access, share, security, disposition, attributes)
                            : m_open.real(path, access, share, security, disposition, attributes,
                                          pattern);
             }),
      m_query(module, "DeviceIoControl",
              [this](HANDLE device, DWORD code, void* input, DWORD input_size, void* output,
                     DWORD output_size, DWORD* returned, OVERLAPPED* overlapped) {
                  return query(device, code, input, input_size, output, output_size, returned,
                               overlapped);
              }),
      m_close(module, "CloseHandle", [this](HANDLE handle) {
          if (handle == m_manager) {
              requests.push_back("close");
              m_manager = nullptr;
          }
          return m_close.real(handle);
      }) {}

void MountManager::expect(bool holds, const char* error) {
    if (!holds) {
        errors.push_back(error);
    }
}

HANDLE MountManager::open(const wchar_t*, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security,
                          DWORD disposition, DWORD attributes) {
    requests.push_back("open");
    expect(access == (GENERIC_READ | GENERIC_WRITE), "access");
    expect(share == (FILE_SHARE_READ | FILE_SHARE_WRITE), "sharing");
    expect(security == nullptr, "security");
    expect(disposition == OPEN_EXISTING, "disposition");
    expect(attributes == FILE_ATTRIBUTE_NORMAL, "attributes");
    if (on_open) {
        on_open();
    }
    if (open_fails) {
        SetLastError(ERROR_ACCESS_DENIED);
        return INVALID_HANDLE_VALUE;
    }
    m_manager = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    return m_manager;
}

// Checks every byte of a query's input and returns the device's name in it.
std::wstring MountManager::check_input(const void* input, DWORD input_size) {
    expect(input_size == 1048, "input size");
    const auto* const bytes = static_cast<const std::uint8_t*>(input);
    const auto offset = number_at<std::uint32_t>(bytes, 16);
    const auto size = number_at<std::uint16_t>(bytes, 20);
    expect(offset == entry_size, "offset of the device's name");
    expect(offset + size <= input_size && size % 2 == 0, "length of the device's name");
    std::vector<std::uint8_t> wanted(input_size);
    put(wanted, 16, offset);
    put(wanted, 20, size);
    std::wstring device(size / 2, L'\0');
    std::memcpy(device.data(), bytes + offset, size);
    std::memcpy(wanted.data() + offset, device.data(), size);
    expect(std::memcmp(bytes, wanted.data(), input_size) == 0, "other bytes of the input");
    return device;
}

BOOL MountManager::query(HANDLE device, DWORD code, const void* input, DWORD input_size,
                         void* output, DWORD output_size, DWORD* returned,
                         const OVERLAPPED* overlapped) {
    expect(device == m_manager, "handle");
    expect(code == query_points_code, "control code");
    expect(output_size == 8192, "output size");
    expect(overlapped == nullptr, "overlapped");
    const std::wstring name = check_input(input, input_size);
    requests.push_back("query " + std::string(name.begin(), name.end()));
    if (query_fails) {
        SetLastError(ERROR_FILE_NOT_FOUND);
        return FALSE;
    }
    std::vector<Link> entries;
    for (const std::wstring& link : links[name]) {
        entries.push_back({link});
    }
    const std::vector<std::uint8_t> bytes = response ? *response : mount_response(entries);
    // The rest of the buffer holds link names that a reader must not take for part of the response.
    for (DWORD i = 0; i + 2 <= output_size; i += 2) {
        const wchar_t filler = L"\\DosDevices\\X:"[i / 2 % 14];
        std::memcpy(static_cast<char*>(output) + i, &filler, 2);
    }
    std::memcpy(output, bytes.data(), std::min<std::size_t>(bytes.size(), output_size));
    *returned = static_cast<DWORD>(bytes.size());
    return TRUE;
}

std::vector<std::uint8_t> mount_response(const std::vector<Link>& links,
                                         std::optional<std::uint32_t> entry_count) {
    std::vector<std::uint8_t> bytes(8 + links.size() * entry_size + 1);
    for (std::size_t i = 0; i < links.size(); ++i) {
        const Link& link = links[i];
        const std::size_t entry = 8 + i * entry_size;
        const auto size = static_cast<std::uint16_t>(link.name.size() * sizeof(wchar_t));
        put(bytes, entry, link.offset.value_or(static_cast<std::uint32_t>(bytes.size())));
        put(bytes, entry + 4, link.size.value_or(size));
        const auto* const name = reinterpret_cast<const std::uint8_t*>(link.name.data());
        bytes.insert(bytes.end(), name, name + size);
    }
    put(bytes, 0, static_cast<std::uint32_t>(bytes.size()));
    put(bytes, 4, entry_count.value_or(static_cast<std::uint32_t>(links.size())));
    return bytes;
}

}  // namespace records
