// The driver of the lab's disks.
#pragma once

#include <windows.h>

#include <filesystem>

namespace support {

// The path of labdisk.sys, which is built with the tests; empty if it is not found.
inline std::filesystem::path labdisk_file() {
    wchar_t path[MAX_PATH] = L"";
    SearchPathW(nullptr, L"labdisk.sys", nullptr, MAX_PATH, path, nullptr);
    return path;
}

}  // namespace support
