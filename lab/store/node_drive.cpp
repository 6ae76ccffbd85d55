#include "store/node_drive.h"

#include "store/locks.h"
#include "store/string_conversions.h"

#include <windows.h>

#include <winioctl.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <vector>

namespace lab {
namespace {

constexpr wchar_t drives_folder[] = L"C:\\lab-drives";
// In the root of every drive that was created here.
constexpr wchar_t marker_file[] = L".lab-drive";

// A request that only Wine's mount-point manager has: turns a folder into a drive.
constexpr DWORD define_unix_drive =
    CTL_CODE('m', 32, METHOD_BUFFERED, FILE_READ_ACCESS | FILE_WRITE_ACCESS);
struct UnixDrive {
    ULONG size;  // including the folder's name, which follows
    ULONG type;
    ULONG file_system;  // 0: Wine detects it
    ULONG serial_number;
    ULONGLONG unix_device;
    WCHAR letter;
    USHORT folder_offset;
    USHORT device_offset;
    USHORT label_offset;
};
static_assert(sizeof(UnixDrive) == 32);

struct CloseFile {
    using pointer = HANDLE;
    void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using File = std::unique_ptr<HANDLE, CloseFile>;

std::wstring root_of(wchar_t letter) {
    return std::wstring(1, letter) + L":\\";
}

[[noreturn]] void fail(const NodeDrive& drive, const std::string& reason) {
    throw std::runtime_error("drive " + narrow(std::wstring(1, drive.letter)) + ": " + reason);
}

bool exists(const NodeDrive& drive) {
    return GetDriveTypeW(root_of(drive.letter).c_str()) != DRIVE_NO_ROOT_DIR;
}

bool is_as_wanted(const NodeDrive& drive) {
    DWORD serial_number = 0;
    return GetVolumeInformationW(root_of(drive.letter).c_str(), nullptr, 0, &serial_number, nullptr,
                                 nullptr, nullptr, 0) != FALSE &&
           serial_number == drive.serial_number;
}

bool was_made_here(const NodeDrive& drive) {
    return std::filesystem::exists(root_of(drive.letter) + marker_file);
}

void write(const std::filesystem::path& path, const std::string& line) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << line << '\n';
    if (!file.flush()) {
        throw std::runtime_error(path.string() + ": cannot be written");
    }
}

// Returns the host's path of a file; empty if this is not Wine.
std::string unix_name(const std::filesystem::path& path) {
    const auto ask = reinterpret_cast<char*(CDECL*)(const WCHAR*)>(reinterpret_cast<void*>(
        GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "wine_get_unix_file_name")));
    if (ask == nullptr) {
        return {};
    }
    const auto free_name = [](char* name) { HeapFree(GetProcessHeap(), 0, name); };
    const std::unique_ptr<char, decltype(free_name)> name(ask(path.c_str()), free_name);
    return name != nullptr ? name.get() : "";
}

// Writes the files from which the mount-point manager reads serial number and
// label when the drive is added.
std::filesystem::path make_folder(const NodeDrive& drive) {
    const std::filesystem::path folder =
        std::filesystem::path(drives_folder) / std::wstring(1, drive.letter);
    std::filesystem::create_directories(folder);
    char serial_number[16];
    std::snprintf(serial_number, sizeof serial_number, "%08x",
                  static_cast<unsigned>(drive.serial_number));
    write(folder / L".windows-serial", serial_number);
    write(folder / L".windows-label", drive.label);
    write(folder / marker_file, "created for a scenario");
    return folder;
}

void make(const NodeDrive& drive) {
    const std::string folder = unix_name(make_folder(drive));
    if (folder.empty()) {
        fail(drive, "this system cannot create it");
    }
    std::vector<char> request(sizeof(UnixDrive) + folder.size() + 1);
    UnixDrive definition{};
    definition.size = static_cast<ULONG>(request.size());
    definition.type = DRIVE_FIXED;
    definition.letter = drive.letter;
    definition.folder_offset = sizeof definition;
    std::memcpy(request.data(), &definition, sizeof definition);
    std::memcpy(request.data() + sizeof definition, folder.c_str(), folder.size() + 1);
    const File manager(CreateFileW(L"\\\\.\\MountPointManager", GENERIC_READ | GENERIC_WRITE,
                                   FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0,
                                   nullptr));
    DWORD returned = 0;
    if (DeviceIoControl(manager.get(), define_unix_drive, request.data(),
                        static_cast<DWORD>(request.size()), nullptr, 0, &returned,
                        nullptr) == FALSE) {
        fail(drive,
             "the mount-point manager does not accept it, error " + std::to_string(GetLastError()));
    }
    if (!is_as_wanted(drive)) {
        fail(drive, "the mount-point manager does not report it as it was created");
    }
}

NodeDriveNames names_of(const NodeDrive& drive) {
    const std::wstring root = root_of(drive.letter);
    wchar_t device[MAX_PATH] = L"";
    wchar_t volume_name[MAX_PATH] = L"";
    if (QueryDosDeviceW(root.substr(0, 2).c_str(), device, MAX_PATH) == 0 ||
        GetVolumeNameForVolumeMountPointW(root.c_str(), volume_name, MAX_PATH) == FALSE) {
        fail(drive, "the mount-point manager has no names for it");
    }
    std::wstring name = volume_name;
    name.pop_back();
    return {device, name};
}

}  // namespace

NodeDriveNames provide_drive(const NodeDrive& drive) {
    const MachineLock hold(L"Global\\farlo lab drives");
    if (exists(drive) && !is_as_wanted(drive) && !was_made_here(drive)) {
        fail(drive, "the letter is in use with another serial number");
    }
    if (!exists(drive) || !is_as_wanted(drive)) {
        make(drive);
    }
    return names_of(drive);
}

}  // namespace lab
