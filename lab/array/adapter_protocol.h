// The protocol between a node's programs and its host adapter: requests and answers over TCP on
// the node's loopback, in little-endian byte order. README.md describes it.
#pragma once

#include <cstddef>
#include <cstdint>

namespace lab {

inline constexpr std::uint32_t adapter_magic = 0x4841545a;  // "ZTAH"
inline constexpr std::uint32_t adapter_data_limit = 1024 * 1024;
inline constexpr std::uint16_t adapter_default_port = 3261;

enum class AdapterCommand : std::uint32_t {
    // Commands to disks.
    list = 1,
    read,
    write,
    flush,
    reserve_in,
    reserve_out,
    // Commands to the adapter itself. Their value is in `action`.
    path = 16,
    path_state,
};

// The service actions of the SCSI commands.
enum class ReserveIn : std::uint32_t { read_keys = 0, read_reservation = 1 };
enum class ReserveOut : std::uint32_t {
    register_key = 0,
    reserve = 1,
    release = 2,
    clear = 3,
    preempt = 4,
    preempt_and_abort = 5,
    register_and_ignore = 6,
};

enum class PathAction : std::uint32_t { restore = 0, cut = 1, slow = 2 };

inline constexpr std::uint32_t write_exclusive = 1;
inline constexpr std::uint32_t exclusive_access = 3;
inline constexpr std::uint32_t write_exclusive_registrants_only = 5;
inline constexpr std::uint32_t exclusive_access_registrants_only = 6;

struct AdapterRequest {
    std::uint32_t magic;
    std::uint32_t command;
    std::uint32_t lun;
    std::uint32_t action;  // a ReserveIn, ReserveOut or PathAction
    std::uint64_t first_block;
    std::uint32_t blocks;
    std::uint32_t type;  // of a reservation; the milliseconds of PathAction::slow
    std::uint64_t key;
    std::uint64_t action_key;  // the service action reservation key
    std::uint32_t length;      // of the data after the request
    std::uint32_t reserved;    // 0
};
static_assert(sizeof(AdapterRequest) == 56);
static_assert(offsetof(AdapterRequest, first_block) == 16 && offsetof(AdapterRequest, key) == 32 &&
              offsetof(AdapterRequest, length) == 48);

enum class AdapterResult : std::uint32_t {
    // The disk has ended the command; with which status is in scsi_status.
    done = 0,
    // The array could not be reached in time. A command that changes something may have been
    // executed.
    path_lost = 1,
    // The request is malformed; the adapter closes the connection.
    invalid = 2,
};

inline constexpr std::uint8_t scsi_good = 0x00;
inline constexpr std::uint8_t scsi_check_condition = 0x02;
inline constexpr std::uint8_t scsi_reservation_conflict = 0x18;

struct AdapterAnswer {
    std::uint32_t magic;
    std::uint32_t result;
    std::uint8_t scsi_status;
    std::uint8_t sense_key;  // of a check condition
    std::uint8_t sense_code;
    std::uint8_t sense_qualifier;
    std::uint32_t length;  // of the data after the answer
};
static_assert(sizeof(AdapterAnswer) == 16);

// The data of list: one for each disk, in the order of their LUNs.
struct AdapterDisk {
    std::uint32_t lun;
    std::uint32_t block_size;
    std::uint64_t blocks;
    char serial[32];  // NUL-terminated
};
static_assert(sizeof(AdapterDisk) == 48);

// The data of read_reservation. Without a reservation all is 0 but the generation. The data of
// read_keys is the generation, the number of keys, and the keys with 8 bytes each.
struct AdapterReservation {
    std::uint32_t generation;
    std::uint32_t held;
    std::uint64_t key;
    std::uint32_t type;
    std::uint32_t scope;
};
static_assert(sizeof(AdapterReservation) == 24);

// The data of path_state.
struct AdapterPath {
    std::uint32_t cut;
    std::uint32_t slow_ms;
};
static_assert(sizeof(AdapterPath) == 8);

}  // namespace lab
