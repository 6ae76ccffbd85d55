#include "volume/vmms_check.h"

#include "api/farlo.h"
#include "core/trace_log.h"
#include "core/windows_handle.h"
#include "volume/hresult.h"

#include <cwchar>

namespace farlo {
namespace {

constexpr DWORD version_size = 520;

// KEPT: every line ends in a line feed of its own, and one has a blank after "%ws";
// administrators search for this wording.

std::uint32_t check_os_version() {
    RegistryKey key;
    LONG error =
        RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\", 0,
                      KEY_READ, key.receive());
    if (error != ERROR_SUCCESS) {
        log(0, L"CheckOSVersionAndReg: RegOpenKeyEx for OS Version check failed Error 0x%x.\n",
            error);
        return hresult_of(error);
    }
    // One character more, so that the value is terminated even if the registry's is
    // not.
    wchar_t version[version_size / sizeof(wchar_t) + 1] = {};
    DWORD size = version_size;
    error = RegQueryValueExW(key.get(), L"CurrentVersion", nullptr, nullptr,
                             reinterpret_cast<BYTE*>(version), &size);
    if (error != ERROR_SUCCESS) {
        log(0, L"CheckOSVersionAndReg: RegQueryValueEx for OS Version check Error 0x%x.\n", error);
        return hresult_of(error);
    }
    if (std::wcscmp(version, L"6.3") != 0) {
        log(0, L"CheckOSVersionAndReg: OS version is not %ws \n", L"6.3");
        return FARLO_PROVIDER_FAILED;
    }
    return FARLO_SUCCESS;
}

std::uint32_t check_switch() {
    RegistryKey key;
    LONG error = RegOpenKeyExW(HKEY_LOCAL_MACHINE,
                               L"SOFTWARE\\SOLVANE\\ZtSvc\\CurrentVersion\\VolumeManager\\", 0,
                               KEY_READ, key.receive());
    if (error != ERROR_SUCCESS) {
        log(0, L"CheckOSVersionAndReg: RegOpenKeyEx Error 0x%x.\n", error);
        return hresult_of(error);
    }
    DWORD value = 0;
    DWORD size = sizeof value;
    error = RegQueryValueExW(key.get(), L"VMMSFolderDelete", nullptr, nullptr,
                             reinterpret_cast<BYTE*>(&value), &size);
    if (error != ERROR_SUCCESS) {
        log(0, L"CheckOSVersionAndReg: RegQueryValueEx Error 0x%x.\n", error);
        return hresult_of(error);
    }
    if (value != 1) {
        log(0, L"CheckOSVersionAndReg: Registry %ws is not set\n", L"VMMSFolderDelete");
        return FARLO_PROVIDER_FAILED;
    }
    return FARLO_SUCCESS;
}

}  // namespace

std::uint32_t CheckOSVersionAndReg() {
    log(6, L"Entering CheckOSVersionAndReg");
    std::uint32_t status = check_os_version();
    if (status == FARLO_SUCCESS) {
        status = check_switch();
    }
    log(0, L"Exiting CheckOSVersionAndReg");
    return status;
}

}  // namespace farlo
