#include "array/host/iscsi_session.h"

#include "array/crc32c.h"

extern "C" {
#include <iscsi/iscsi.h>
#include <iscsi/scsi-lowlevel.h>
}

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <thread>

namespace lab {
namespace {

constexpr int reply_limit_s = 5;
constexpr auto login_pause = std::chrono::milliseconds(100);
// Each event at the array is one unit attention for each of its sessions.
constexpr int unit_attention_limit = 16;
constexpr int report_all_luns = 0;
constexpr std::uint16_t reserve_in_size = 8 + 8 * 256;

struct TaskDeleter {
    void operator()(scsi_task* task) const { scsi_free_scsi_task(task); }
};
using Task = std::unique_ptr<scsi_task, TaskDeleter>;

// A task whose status is not the disk's: it was not sent, or not answered.
bool is_lost(const Task& task) {
    return task == nullptr || task->status > 0xff;
}

bool is_unit_attention(const scsi_task& task) {
    return task.status == SCSI_STATUS_CHECK_CONDITION &&
           task.sense.key == SCSI_SENSE_UNIT_ATTENTION;
}

DiskResult result_of(const scsi_task& task) {
    DiskResult result{AdapterResult::done, static_cast<std::uint8_t>(task.status), 0, 0, 0};
    if (task.status == SCSI_STATUS_CHECK_CONDITION) {
        result.sense_key = static_cast<std::uint8_t>(task.sense.key);
        result.sense_code = static_cast<std::uint8_t>(task.sense.ascq >> 8);
        result.sense_qualifier = static_cast<std::uint8_t>(task.sense.ascq & 0xff);
    }
    return result;
}

// The answer's records, which libiscsi reads from the bytes that were received.
template <typename Record> const Record* received(scsi_task& task) {
    return static_cast<const Record*>(scsi_datain_unmarshall(&task));
}

// A number in the bytes that were received; 0 beyond their end. libiscsi does not read the answers
// to reserve_in reliably.
std::uint64_t big_endian(const scsi_task& task, int offset, int size) {
    std::uint64_t number = 0;
    for (int i = offset; i < offset + size; ++i) {
        number = number << 8 | (i < task.datain.size ? task.datain.data[i] : 0U);
    }
    return number;
}

template <typename Number> void append(std::vector<std::uint8_t>& data, Number number) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(&number);
    data.insert(data.end(), bytes, bytes + sizeof number);
}

}  // namespace

void IscsiSession::log_out() {
    const std::lock_guard hold(m_mutex);
    if (m_context != nullptr) {
        iscsi_logout_sync(m_context);
        drop();
    }
}

DiskResult IscsiSession::list(Deadline deadline, std::vector<AdapterDisk>& disks) {
    std::vector<std::uint32_t> luns;
    DiskResult result = execute(
        deadline, Repeat::if_lost,
        [](iscsi_context* context) {
            return iscsi_reportluns_sync(context, report_all_luns, 4096);
        },
        [&](scsi_task& task) {
            if (const auto* list = received<scsi_reportluns_list>(task)) {
                luns.assign(list->luns, list->luns + list->num);
            }
        });
    std::sort(luns.begin(), luns.end());
    disks.clear();
    for (const std::uint32_t lun : luns) {
        AdapterDisk disk{};
        bool is_disk = false;
        if (result.good()) {
            result = inquire(deadline, lun, disk, is_disk);
        }
        if (result.good() && is_disk) {
            disks.push_back(disk);
        }
    }
    return result;
}

DiskResult IscsiSession::inquire(Deadline deadline, std::uint32_t lun, AdapterDisk& disk,
                                 bool& is_disk) {
    disk.lun = lun;
    const int number = static_cast<int>(lun);
    DiskResult result = execute(
        deadline, Repeat::if_lost,
        [&](iscsi_context* context) {
            return iscsi_inquiry_sync(context, number, 1, SCSI_INQUIRY_PAGECODE_UNIT_SERIAL_NUMBER,
                                      255);
        },
        [&](scsi_task& task) {
            const auto* page = received<scsi_inquiry_unit_serial_number>(task);
            // The array's own LUN is a controller.
            is_disk = page != nullptr &&
                      page->device_type == SCSI_INQUIRY_PERIPHERAL_DEVICE_TYPE_DIRECT_ACCESS;
            if (is_disk && page->usn != nullptr) {
                // Padded with blanks on the left.
                const char* serial = page->usn + std::strspn(page->usn, " ");
                std::snprintf(disk.serial, sizeof disk.serial, "%s", serial);
            }
        });
    if (!result.good() || !is_disk) {
        return result;
    }
    return execute(
        deadline, Repeat::if_lost,
        [&](iscsi_context* context) { return iscsi_readcapacity16_sync(context, number); },
        [&](scsi_task& task) {
            if (const auto* capacity = received<scsi_readcapacity16>(task)) {
                disk.blocks = capacity->returned_lba + 1;
                disk.block_size = capacity->block_length;
            }
        });
}

DiskResult IscsiSession::read(Deadline deadline, std::uint32_t lun, std::uint64_t first_block,
                              std::uint32_t blocks, std::vector<std::uint8_t>& data) {
    return execute(
        deadline, Repeat::if_lost,
        [&](iscsi_context* context) {
            return iscsi_read16_sync(context, static_cast<int>(lun), first_block,
                                     blocks * block_size, static_cast<int>(block_size), 0, 0, 0, 0,
                                     0);
        },
        [&](scsi_task& task) {
            data.assign(task.datain.data, task.datain.data + task.datain.size);
        });
}

DiskResult IscsiSession::write(Deadline deadline, std::uint32_t lun, std::uint64_t first_block,
                               std::vector<std::uint8_t>& data) {
    return execute(
        deadline, Repeat::if_lost,
        [&](iscsi_context* context) {
            return iscsi_write16_sync(context, static_cast<int>(lun), first_block, data.data(),
                                      static_cast<std::uint32_t>(data.size()),
                                      static_cast<int>(block_size), 0, 0, 0, 0, 0);
        },
        [](scsi_task&) {});
}

DiskResult IscsiSession::flush(Deadline deadline, std::uint32_t lun) {
    return execute(
        deadline, Repeat::if_lost,
        [&](iscsi_context* context) {
            return iscsi_synchronizecache10_sync(context, static_cast<int>(lun), 0, 0, 0, 0);
        },
        [](scsi_task&) {});
}

DiskResult IscsiSession::read_keys(Deadline deadline, std::uint32_t lun,
                                   std::vector<std::uint8_t>& data) {
    return execute(
        deadline, Repeat::if_lost,
        [&](iscsi_context* context) {
            return iscsi_persistent_reserve_in_sync(
                context, static_cast<int>(lun), SCSI_PERSISTENT_RESERVE_READ_KEYS, reserve_in_size);
        },
        [&](scsi_task& task) {
            const std::uint64_t end = std::min<std::uint64_t>(
                big_endian(task, 4, 4), static_cast<std::uint64_t>(reserve_in_size) - 8);
            const auto count = static_cast<std::uint32_t>(end / 8);
            append(data, static_cast<std::uint32_t>(big_endian(task, 0, 4)));
            append(data, count);
            for (int i = 0; i < static_cast<int>(count); ++i) {
                append(data, big_endian(task, 8 + 8 * i, 8));
            }
        });
}

DiskResult IscsiSession::read_reservation(Deadline deadline, std::uint32_t lun,
                                          AdapterReservation& reservation) {
    return execute(
        deadline, Repeat::if_lost,
        [&](iscsi_context* context) {
            return iscsi_persistent_reserve_in_sync(context, static_cast<int>(lun),
                                                    SCSI_PERSISTENT_RESERVE_READ_RESERVATION,
                                                    reserve_in_size);
        },
        [&](scsi_task& task) {
            reservation.generation = static_cast<std::uint32_t>(big_endian(task, 0, 4));
            if (big_endian(task, 4, 4) > 0) {
                const auto scope_and_type = static_cast<std::uint32_t>(big_endian(task, 21, 1));
                reservation.held = 1;
                reservation.key = big_endian(task, 8, 8);
                reservation.type = scope_and_type & 0xf;
                reservation.scope = scope_and_type >> 4;
            }
        });
}

DiskResult IscsiSession::reserve_out(Deadline deadline, const AdapterRequest& request) {
    scsi_persistent_reserve_out_basic parameters{};
    parameters.reservation_key = request.key;
    parameters.service_action_reservation_key = request.action_key;
    return execute(
        deadline, Repeat::never,
        [&](iscsi_context* context) {
            return iscsi_persistent_reserve_out_sync(
                context, static_cast<int>(request.lun), static_cast<int>(request.action),
                SCSI_PERSISTENT_RESERVE_SCOPE_LU, static_cast<int>(request.type), &parameters);
        },
        [](scsi_task&) {});
}

DiskResult IscsiSession::execute(Deadline deadline, Repeat repeat, const Send& send,
                                 const Receive& receive) {
    const std::lock_guard hold(m_mutex);
    int unit_attentions = 0;
    while (log_in(deadline)) {
        const Task task(send(m_context));
        if (is_lost(task)) {
            std::fprintf(stderr, "array-adapter: the session is lost\n");
            drop();
            if (repeat == Repeat::never) {
                break;
            }
        } else if (!is_unit_attention(*task) || ++unit_attentions > unit_attention_limit) {
            if (task->status == SCSI_STATUS_GOOD) {
                receive(*task);
            }
            return result_of(*task);
        }
    }
    return {AdapterResult::path_lost, 0, 0, 0, 0};
}

bool IscsiSession::log_in(Deadline deadline) {
    while (m_context == nullptr && !try_log_in()) {
        if (std::chrono::steady_clock::now() + login_pause >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(login_pause);
    }
    return true;
}

bool IscsiSession::try_log_in() {
    m_context = iscsi_create_context(m_settings.initiator.c_str());
    if (m_context == nullptr) {
        return false;
    }
    iscsi_set_targetname(m_context, m_settings.target.c_str());
    iscsi_set_session_type(m_context, ISCSI_SESSION_NORMAL);
    iscsi_set_header_digest(m_context, ISCSI_HEADER_DIGEST_NONE);
    iscsi_set_noautoreconnect(m_context, 1);
    iscsi_set_timeout(m_context, reply_limit_s);
    // A host adapter keeps its session's identifier: with the same one the array ends what is
    // left of an earlier session before it accepts this one.
    const std::uint32_t isid = crc32c(m_settings.initiator.data(), m_settings.initiator.size());
    iscsi_set_isid_random(m_context, isid & 0xffffff, 0);
    if (iscsi_full_connect_sync(m_context, m_settings.portal.c_str(), -1) == 0) {
        m_reported = false;
        return true;
    }
    if (!m_reported) {
        std::fprintf(stderr, "array-adapter: waiting for the array at %s: %s\n",
                     m_settings.portal.c_str(), iscsi_get_error(m_context));
        m_reported = true;
    }
    drop();
    return false;
}

void IscsiSession::drop() {
    iscsi_destroy_context(m_context);
    m_context = nullptr;
}

}  // namespace lab
