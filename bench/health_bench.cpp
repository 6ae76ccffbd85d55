// The health queries that monitors repeat: those to the driver against the bare device request
// and against a new process for each query, those to the embedded storage against bare bus calls.
#include "bare_health.h"
#include "dmcontrol/control_device.h"
#include "drivers/driver_service.h"
#include "library.h"

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

namespace {

using bench::repeat;

constexpr char driver_group[] = "f0a3c1d2-0000-4000-8000-000000000001";
constexpr char poll_argument[] = "--poll";

struct Farlo : bench::Library {
    GetDgStateW_fn state = entry<GetDgStateW_fn>("GetDgStateW");
    GetDgStateExW_fn state_ex = entry<GetDgStateExW_fn>("GetDgStateExW");
    GetDiskStateW_fn disk_state = entry<GetDiskStateW_fn>("GetDiskStateW");
};

std::filesystem::path program_file() {
    wchar_t path[MAX_PATH];
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    return path;
}

bool ask_driver(const Farlo& farlo) {
    std::uint8_t imported = 0;
    return farlo.state(farlo.handle(), nullptr, driver_group, &imported) == 0 && imported == 1;
}

// Sends the driver ten groups; the last one is queried.
void feed_driver(lab::ControlDevice& control) {
    std::vector<lab_dm_group> groups(10);
    for (std::size_t i = 0; i < groups.size(); ++i) {
        groups[i].id[0] = static_cast<std::uint8_t>(i + 1);
        std::snprintf(groups[i].guid_string, sizeof groups[i].guid_string, "other-%zu", i);
        groups[i].flags = LAB_DM_GROUP_IMPORTED;
    }
    std::strcpy(groups.back().guid_string, driver_group);
    bench::require(control && control.forget() == 0 && control.set_groups(groups) == 0,
                   "the driver cannot be sent disk groups");
}

void measure_driver(bench::Report& report, const Farlo& farlo) {
    lab::start_driver(LAB_DM_DRIVER, program_file().replace_filename("dmcontrol.sys"));
    lab::ControlDevice control;
    feed_driver(control);

    const lab::WindowsHandle device = lab::open_device(DM_INFO_DEVICE);
    dm_reservation_request record{};
    std::strcpy(record.group_guid, driver_group);
    dm_control_block block{reinterpret_cast<std::uintptr_t>(&record), 0};
    const auto ask_device = [&] {
        record.reply = 0xFF;
        return lab::send_request(device.get(), DM_INFO_GET_IMPORTED, &block, sizeof block, &block,
                                 sizeof block) == 0 &&
               (record.reply & 1) == 0;
    };
    bench::compare_with_bare(report, "GetDgStateW by the driver / bare device request",
                             repeat("GetDgStateW", [&] { return ask_driver(farlo); }),
                             repeat("the bare device request", ask_device));

    std::wstring command = L"\"" + program_file().wstring() + L"\" --poll";
    const auto ask_in_process = [&] {
        STARTUPINFOW startup{};
        startup.cb = sizeof startup;
        PROCESS_INFORMATION process{};
        if (CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                           &startup, &process) == FALSE) {
            return false;
        }
        const lab::WindowsHandle handle(process.hProcess);
        const lab::WindowsHandle thread(process.hThread);
        DWORD exit_code = 1;
        WaitForSingleObject(handle.get(), INFINITE);
        return GetExitCodeProcess(handle.get(), &exit_code) != FALSE && exit_code == 0;
    };
    report.compare("GetDgStateW by the driver / a process for each question", 0,
                   repeat("GetDgStateW", [&] { return ask_driver(farlo); }),
                   repeat("a process that asks", ask_in_process));
    lab::stop_driver(LAB_DM_DRIVER);
}

struct Rows {
    bench::Row group;
    bench::Row disk;
};

// The last group and the last disk are queried.
Rows measure_storage(bench::Report& report, const Farlo& farlo, std::uint64_t objects) {
    const std::string count = std::to_string(objects);
    bench::load_scenario(R"({"disk_groups": [{"name": "dg#", "dgid": "g-#", "imported": true,)"
                         R"( "disks": [{"name": "disk#", "device": "Harddisk#"}], "count": )" +
                         count + "}]}");
    const std::string guid = "g-" + count;
    const std::wstring disk = L"Harddisk" + std::wstring(count.begin(), count.end());
    Rows rows;

    std::uint8_t imported = 0;
    rows.group = bench::compare_with_bare(
        report, "GetDgStateExW at " + count + " groups",
        repeat("GetDgStateExW",
               [&] {
                   return farlo.state_ex(farlo.handle(), nullptr, guid.c_str(), &imported) == 0 &&
                          imported == 1;
               }),
        repeat("the bare state of a group", [&] {
            return bare_group_state(farlo.handle(), guid.c_str(), &imported) == 0 && imported == 1;
        }));

    std::uint32_t state = 0;
    rows.disk = bench::compare_with_bare(
        report, "GetDiskStateW at " + count + " disks",
        repeat("GetDiskStateW",
               [&] { return farlo.disk_state(farlo.handle(), disk.c_str(), &state) == 0; }),
        repeat("the bare state of a disk",
               [&] { return bare_disk_state(farlo.handle(), disk.c_str(), &state) == 0; }));
    return rows;
}

}  // namespace

// The log is below VMPATH; the result is written to the file named by the first argument.
// With --poll the program asks one question and ends, like a monitor that keeps no connection.
int main(int argc, char** argv) {
    bench::require(argc == 2, "usage: health_bench RESULT.json");
    const Farlo farlo;
    if (std::strcmp(argv[1], poll_argument) == 0) {
        return ask_driver(farlo) ? 0 : 1;
    }
    bench::Report report("Health queries");
    measure_driver(report, farlo);
    measure_storage(report, farlo, 10);
    const Rows thousand = measure_storage(report, farlo, 1000);
    const Rows most = measure_storage(report, farlo, 10'000);
    report.compare_growth("GetDgStateExW a group, 10,000 to 1,000", thousand.group, most.group, 10);
    report.compare_growth("GetDiskStateW a disk, 10,000 to 1,000", thousand.disk, most.disk, 10);
    return report.finish(argv[1]) ? 0 : 1;
}
