#include "core/ngc_setting.h"

#include "core/trace_log.h"
#include "core/windows_handle.h"

namespace farlo {

bool ReadNgcSetting() {
    RegistryKey key;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE,
                      L"SOFTWARE\\Solvane\\ZtSvc\\CurrentVersion\\VolumeManager", 0, KEY_ALL_ACCESS,
                      key.receive()) != ERROR_SUCCESS) {
        return false;
    }
    DWORD value = 0;
    DWORD size = sizeof value;
    // KEPT: the value's type is not checked; any four bytes that hold the number count.
    if (RegQueryValueExW(key.get(), L"SupportSCSI3", nullptr, nullptr,
                         reinterpret_cast<BYTE*>(&value), &size) == ERROR_SUCCESS &&
        value == 2) {
        log(0, L"=====Enabled NGC=====");
        return true;
    }
    return false;
}

}  // namespace farlo
