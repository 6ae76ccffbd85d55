#include "drivers/driver_service.h"

#include "store/locks.h"

#include <windows.h>

#include <memory>
#include <system_error>
#include <vector>

namespace lab {
namespace {

constexpr wchar_t drivers_lock[] = L"Global\\farlo lab drivers";
constexpr DWORD stop_limit_ms = 20'000;
constexpr DWORD start_limit_ms = 60'000;
constexpr DWORD poll_ms = 20;

struct CloseService {
    using pointer = SC_HANDLE;
    void operator()(SC_HANDLE handle) const { CloseServiceHandle(handle); }
};
using ServiceHandle = std::unique_ptr<SC_HANDLE, CloseService>;

[[noreturn]] void fail(DWORD error, const char* what) {
    throw std::system_error(static_cast<int>(error), std::system_category(), what);
}

ServiceHandle open_manager() {
    ServiceHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS));
    if (manager == nullptr) {
        fail(GetLastError(), "the service manager");
    }
    return manager;
}

// Returns null if there is no service of that name.
ServiceHandle open_service(SC_HANDLE manager, const std::wstring& name) {
    ServiceHandle service(OpenServiceW(manager, name.c_str(), SERVICE_ALL_ACCESS));
    if (service == nullptr && GetLastError() != ERROR_SERVICE_DOES_NOT_EXIST) {
        fail(GetLastError(), "opening the driver's service");
    }
    return service;
}

DWORD state_of(SC_HANDLE service) {
    SERVICE_STATUS status{};
    if (QueryServiceStatus(service, &status) == FALSE) {
        fail(GetLastError(), "the driver's state");
    }
    return status.dwCurrentState;
}

void stop(SC_HANDLE service) {
    SERVICE_STATUS status{};
    if (ControlService(service, SERVICE_CONTROL_STOP, &status) == FALSE) {
        const DWORD error = GetLastError();
        if (error == ERROR_SERVICE_NOT_ACTIVE) {
            return;
        }
        fail(error, "unloading the driver");
    }
    const ULONGLONG begin = GetTickCount64();
    while (state_of(service) != SERVICE_STOPPED) {
        if (GetTickCount64() - begin > stop_limit_ms) {
            fail(ERROR_SERVICE_REQUEST_TIMEOUT, "unloading the driver");
        }
        Sleep(poll_ms);
    }
}

// A system that has just started is busy with its own services for a while, and Wine's
// driver host may be about to end because its last driver was unloaded.
bool is_temporary(DWORD error) {
    return error == ERROR_SERVICE_DATABASE_LOCKED || error == ERROR_INTERNAL_ERROR;
}

void start(SC_HANDLE service) {
    const ULONGLONG begin = GetTickCount64();
    while (StartServiceW(service, 0, nullptr) == FALSE) {
        const DWORD error = GetLastError();
        if (error == ERROR_SERVICE_ALREADY_RUNNING) {
            return;
        }
        if (!is_temporary(error) || GetTickCount64() - begin > start_limit_ms) {
            fail(error, "loading the driver");
        }
        Sleep(poll_ms);
    }
}

std::filesystem::path file_of(SC_HANDLE service) {
    DWORD size = 0;
    QueryServiceConfigW(service, nullptr, 0, &size);
    // The record is followed by its strings.
    std::vector<QUERY_SERVICE_CONFIGW> config(size / sizeof(QUERY_SERVICE_CONFIGW) + 1);
    if (QueryServiceConfigW(service, config.data(), size, &size) == FALSE) {
        fail(GetLastError(), "the driver's configuration");
    }
    return config.front().lpBinaryPathName;
}

bool is_from(SC_HANDLE service, const std::wstring& file) {
    return _wcsicmp(file_of(service).c_str(), file.c_str()) == 0;
}

ServiceHandle create_service(SC_HANDLE manager, const std::wstring& name,
                             const std::wstring& file) {
    ServiceHandle service(CreateServiceW(manager, name.c_str(), name.c_str(), SERVICE_ALL_ACCESS,
                                         SERVICE_KERNEL_DRIVER, SERVICE_DEMAND_START,
                                         SERVICE_ERROR_NORMAL, file.c_str(), nullptr, nullptr,
                                         nullptr, nullptr, nullptr));
    if (service == nullptr) {
        fail(GetLastError(), "registering the driver");
    }
    return service;
}

}  // namespace

void start_driver(const std::wstring& name, const std::filesystem::path& file) {
    const std::wstring full_path = std::filesystem::absolute(file).wstring();
    const MachineLock hold(drivers_lock);
    const ServiceHandle manager = open_manager();
    ServiceHandle service = open_service(manager.get(), name);
    if (service == nullptr) {
        service = create_service(manager.get(), name, full_path);
    } else if (!is_from(service.get(), full_path)) {
        stop(service.get());
        if (ChangeServiceConfigW(service.get(), SERVICE_NO_CHANGE, SERVICE_NO_CHANGE,
                                 SERVICE_NO_CHANGE, full_path.c_str(), nullptr, nullptr, nullptr,
                                 nullptr, nullptr, nullptr) == FALSE) {
            fail(GetLastError(), "changing the driver's file");
        }
    }
    start(service.get());
}

std::optional<std::filesystem::path> loaded_driver(const std::wstring& name) {
    const ServiceHandle manager = open_manager();
    const ServiceHandle service = open_service(manager.get(), name);
    if (service == nullptr || state_of(service.get()) != SERVICE_RUNNING) {
        return std::nullopt;
    }
    return file_of(service.get());
}

void stop_driver(const std::wstring& name) {
    const MachineLock hold(drivers_lock);
    const ServiceHandle manager = open_manager();
    const ServiceHandle service = open_service(manager.get(), name);
    if (service == nullptr) {
        return;
    }
    stop(service.get());
    if (DeleteService(service.get()) == FALSE) {
        fail(GetLastError(), "removing the driver's service");
    }
}

}  // namespace lab
