// Lines of the kernel journal (kernel_journal.h) for expectations.
#pragma once

#include "support/kernel_journal.h"
#include "support/service_names.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace support {

// The page that holds a request: 308 bytes, committed, readable and writable.
inline const std::string allocate_page = "VirtualAlloc 308 0x1000 0x4 -> page";
inline const std::string no_page = "VirtualAlloc 308 0x1000 0x4 -> none";
inline const std::string free_page = "VirtualFree page";

// Opening the info device: by a case-insensitive name, to read, write and synchronize, shared for
// reading and writing, with alertable synchronous I/O.
inline std::string open_info_device(std::int32_t returned = native::success,
                                    std::int32_t io_status = native::success) {
    return "ZwOpenFile \\Device\\DmControl\\DmInfo 0x40 0x100003 0x3 0x10 -> " +
           hex(static_cast<std::uint32_t>(returned)) + " " +
           hex(static_cast<std::uint32_t>(io_status));
}

// A request to the driver about a disk group; `reservation` is its reservation word.
inline std::string control(std::uint32_t code, const std::string& guid, std::uint32_t reservation,
                           std::int32_t returned = native::success,
                           std::int32_t io_status = native::success) {
    return "control " + hex(code) + " \"" + guid + "\" " + std::to_string(reservation) + " -> " +
           hex(static_cast<std::uint32_t>(returned)) + " " +
           hex(static_cast<std::uint32_t>(io_status));
}

// Expects these lines, no invalid request, and every page freed.
inline void expect_journal(const KernelJournal& journal, const std::vector<std::string>& lines) {
    EXPECT_EQ(journal.lines, lines);
    EXPECT_EQ(journal.faults(), std::vector<std::string>{});
    EXPECT_EQ(journal.live_pages(), 0u);
}

}  // namespace support
