#include "query/fill_disk_record.h"

#include "core/read_property.h"
#include "core/trace_log.h"
#include "query/record_fields.h"

#include <cstdlib>
#include <string>
#include <string_view>

namespace farlo {
namespace {

void fill_name(const CZtObject& disk, DgDiskInfo& record) {
    copy_property(disk, "Name", &record.name, sizeof record.name);
}

void fill_address(const CZtObject& disk, DgDiskInfo& record) {
    if (const auto port = read_optional<std::uint32_t>(disk, "PORT")) {
        record.port = *port;
    }
    if (const auto target = read_optional<std::uint32_t>(disk, "DISK TARGET ID")) {
        record.target = *target;
    }
    if (const auto lun = read_optional<std::uint32_t>(disk, "LUN ID")) {
        record.lun = *lun;
    }
}

void form_signature(const CZtObject& disk, const wchar_t* formed, DgDiskInfo& record) {
    const auto id = read_optional<std::string>(disk, "DISKID");
    if (!id) {
        return;
    }
    const std::string string = "0x" + id->substr(0, id->find('-'));
    // Saturates at 32 bits.
    const unsigned long number = std::strtoul(string.c_str(), nullptr, 16);
    record.signature = number;
    log(6, formed, string.c_str(), number, number);
}

void fill_signature(const CZtObject& disk, const wchar_t* formed, DgDiskInfo& record) {
    const std::uint32_t signature = read_optional<std::uint32_t>(disk, "SIGNATURE").value_or(0);
    if (signature != 0) {
        record.signature = signature;
    } else {
        form_signature(disk, formed, record);
    }
}

}  // namespace

void FillDiskRecord(const CZtObject& disk, DgDiskInfo& record) {
    fill_name(disk, record);
    if (const auto signature = read_optional<std::uint32_t>(disk, "SIGNATURE")) {
        record.signature = *signature;
    }
    fill_address(disk, record);
}

void FillDiskRecords(const std::vector<CZtObject>& disks, const wchar_t* formed,
                     DgDiskInfo* records) {
    for (const CZtObject& disk : disks) {
        fill_name(disk, *records);
        fill_signature(disk, formed, *records);
        fill_address(disk, *records);
        ++records;
    }
}

}  // namespace farlo
