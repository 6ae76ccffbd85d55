// farlo.hpp - farlo.dll for C++17 agents. Header-only, over farlo.h.
//
//   farlo::Library library = farlo::Library::load();
//   farlo::Connection connection(library);
//   connection.on_alert([&] { heartbeat.reset(); });
//   const std::string guid = connection.group_guid(L"dg_data");
//   const farlo::GroupRef group(L"dg_data", guid);
//   if (!connection.is_imported(group)) {
//       connection.online_group(group);
//   }
//   for (const farlo::Volume& volume : connection.group(group).volumes) {
//       connection.online_volume(guid, volume.device_name);
//   }
//
// FUNCTIONS. Each member function calls the function of farlo.h that its comment names. That
// function's description there holds for it: which groups it finds, its statuses, and how long
// it blocks.
//
// ERRORS. A status that is a failure (farlo_failed) is thrown as farlo::error, with the name of
// the function. What the system or the C++ library refuses is thrown as std::system_error
// (loading the DLL) and std::bad_alloc. std::logic_error is a mistake of the caller. No
// exception passes through the DLL.
//
// LOST CONNECTIONS. A Connection renews its handle when the service has dropped it, as its
// ReconnectPolicy says.
//   - A QUERY is repeated with the new handle. It only fails with Status::not_connected when no
//     connection could be made.
//   - A CHANGE (its comment says so) is made at most once. The handle is renewed before it, if
//     necessary. When the connection is lost during it, Status::not_connected is thrown, and
//     the service may have done its work or not: ask for the state, then decide.
// With Status::not_found and similar statuses farlo.h also reports that a lookup has lost the
// connection. Here they only mean what they say: a loss is always Status::not_connected.
//
// THREADS. Any thread may use a Connection at any time, except to move or destroy it. A handle
// that is renewed is released when the last call that uses it has ended.
//
// CALLBACKS. The functions for alerts and progress run inside the DLL. They may make queries,
// which then are not repeated, and changes, but must not wait for a thread that uses a
// Connection. In them, making or closing a Connection, on_alert and online_volume throw
// std::logic_error; destroying a Connection ends the process.
//
// MODULES. The callback of farlo.dll belongs to the process, and this header's part of it to the
// module (EXE or DLL) that is compiled with it: use this header in one module, and not together
// with RegisterForAlerts.
#ifndef FARLO_HPP
#define FARLO_HPP

#include "farlo.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <type_traits>
#include <utility>
#include <vector>

namespace farlo {

// ------------------------------------------------------------------- errors

// The statuses of farlo.h. The service, the bus and the system have others: a Status may have
// any value.
enum class Status : std::uint32_t {
    success = FARLO_SUCCESS,
    not_found = FARLO_NOT_FOUND,
    already_imported = FARLO_ALREADY_IMPORTED,
    no_guid_memory = FARLO_NO_GUID_MEMORY,
    exception = FARLO_EXCEPTION,
    missing_argument = FARLO_MISSING_ARGUMENT,
    not_connected = FARLO_NOT_CONNECTED,
    uninitialize_failed = FARLO_UNINITIALIZE_FAILED,
    device_sharing_violation = FARLO_DEVICE_SHARING_VIOLATION,
    device_failed = FARLO_DEVICE_FAILED,
    device_unsuccessful = FARLO_DEVICE_UNSUCCESSFUL,
    excluded_type = FARLO_EXCLUDED_TYPE,
    no_cluster_service = FARLO_NO_CLUSTER_SERVICE,
    buffer_too_small = FARLO_BUFFER_TOO_SMALL,
    no_volume_guid = FARLO_NO_VOLUME_GUID,
    volume_not_found = FARLO_VOLUME_NOT_FOUND,
    null_handle = FARLO_NULL_HANDLE,
    invalid_argument = FARLO_INVALID_ARGUMENT,
    out_of_memory = FARLO_OUT_OF_MEMORY,
    provider_failed = FARLO_PROVIDER_FAILED,
    node_already_started = FARLO_NODE_ALREADY_STARTED,
    already_online = FARLO_ALREADY_ONLINE,
};

namespace detail {

class Category final : public std::error_category {
  public:
    const char* name() const noexcept override { return "farlo"; }
    std::string message(int value) const override {
        const auto status = static_cast<std::uint32_t>(value);
        std::string words = farlo_status_text(status);
        const std::string_view status_name = farlo_status_name(status);
        if (!status_name.empty()) {
            return words.append(" (").append(status_name).append(")");
        }
        char number[16];
        std::snprintf(number, sizeof number, " (0x%x)", static_cast<unsigned>(status));
        return words.append(number);
    }
    std::error_condition default_error_condition(int value) const noexcept override {
        switch (static_cast<Status>(value)) {
        case Status::not_connected:
            return std::errc::not_connected;
        case Status::no_guid_memory:
        case Status::out_of_memory:
            return std::errc::not_enough_memory;
        case Status::missing_argument:
        case Status::null_handle:
        case Status::invalid_argument:
            return std::errc::invalid_argument;
        case Status::device_sharing_violation:
            return std::errc::device_or_resource_busy;
        default:
            return {value, *this};
        }
    }
};

}  // namespace detail

// The category of statuses. Its messages have the status's words and its name or number:
// "no such volume (FARLO_VOLUME_NOT_FOUND)".
inline const std::error_category& category() noexcept {
    static const detail::Category instance;
    return instance;
}

inline std::error_code make_error_code(Status status) noexcept {
    return {static_cast<int>(status), category()};
}

}  // namespace farlo

template <> struct std::is_error_code_enum<farlo::Status> : std::true_type {};

namespace farlo {

// A function of farlo.dll has failed: "OnlineDgExW: no such disk group ... (FARLO_NOT_FOUND)".
// code() can be compared with a Status and, for some, with std::errc.
class error : public std::system_error {
  public:
    error(Status status, const char* function)
        : std::system_error(make_error_code(status), function), m_function(function) {}

    Status status() const noexcept { return static_cast<Status>(code().value()); }
    // The name of the function. It must be a string literal.
    const char* function() const noexcept { return m_function; }

  private:
    const char* m_function;
};

// -------------------------------------------------------------------- GUIDs

// A GUID in binary form, laid out as Windows' GUID.
using Guid = std::array<std::uint8_t, FARLO_GUID_SIZE>;

namespace detail {

// Where the two digits of each byte of a Guid are in "00112233-4455-6677-8899-aabbccddeeff".
inline constexpr std::array<std::uint8_t, FARLO_GUID_SIZE> guid_digits = {
    6, 4, 2, 0, 11, 9, 16, 14, 19, 21, 24, 26, 28, 30, 32, 34};
inline constexpr std::size_t guid_length = 36;

}  // namespace detail

// A GUID string in binary form. With or without braces; nothing for any other string: the GUID
// strings of groups and volumes are the service's own and need not have this form.
inline std::optional<Guid> parse_guid(std::string_view string) {
    Guid guid{};
    const std::string terminated(string);
    const bool is_guid = terminated.find('\0') == std::string::npos &&
                         farlo_parse_guid(terminated.c_str(), guid.data()) != 0;
    return is_guid ? std::optional(guid) : std::nullopt;
}

// The string of a GUID: lower case, without braces.
inline std::string format_guid(const Guid& guid) {
    constexpr char digits[] = "0123456789abcdef";
    std::string string(detail::guid_length, '-');
    for (std::size_t i = 0; i < guid.size(); ++i) {
        const std::size_t at = detail::guid_digits[i];
        string[at] = digits[guid[i] / 16];
        string[at + 1] = digits[guid[i] % 16];
    }
    return string;
}

// ------------------------------------------------------------------- states

// States with the service's own numbers, which farlo.h describes. They may have other values.

enum class NodeState : std::uint32_t {
    stopped = FARLO_NODE_STATE_STOPPED,
    starting = FARLO_NODE_STATE_STARTING,
    running = FARLO_NODE_STATE_RUNNING,
    stopping = FARLO_NODE_STATE_STOPPING,
    failed = FARLO_NODE_STATE_FAILED,
    unreported = 0xFFFFFFFF,  // the service did not report a state
};

enum class Reservation : std::uint32_t {
    not_held = FARLO_RESERVATION_NOT_HELD,
    held = FARLO_RESERVATION_HELD,
    unknown = FARLO_RESERVATION_UNKNOWN,
    busy = FARLO_RESERVATION_BUSY,
};

// Bits.
enum class DiskState : std::uint32_t {
    none = 0,
    missing = FARLO_DISK_STATE_MISSING,
    failed = FARLO_DISK_STATE_FAILED,
};

// Bits.
enum class VolumeState : std::uint32_t {
    none = 0,
    offline = FARLO_VOLUME_STATE_OFFLINE,
    unusable = FARLO_VOLUME_STATE_UNUSABLE,  // several bits
};

enum class PlexState : std::uint32_t {
    none = FARLO_PLEX_STATE_NONE,
};

enum class GroupType : std::uint32_t {
    cluster = FARLO_DG_TYPE_CLUSTER,
    cluster_shared = FARLO_DG_TYPE_CLUSTER_SHARED,
};

enum class PartitionStyle : std::uint32_t {
    mbr = FARLO_PARTITION_STYLE_MBR,
    gpt = FARLO_PARTITION_STYLE_GPT,
    raw = FARLO_PARTITION_STYLE_RAW,
};

// Bits of Connection::online_group and import_group.
enum class OnlineOptions : std::uint32_t {
    none = 0,
    no_name_check = FARLO_ONLINE_NO_NAME_CHECK,
    shared = FARLO_ONLINE_SHARED,
    clear_host_id = FARLO_ONLINE_CLEAR_HOST_ID,
    log_as_offline = FARLO_ONLINE_LOG_AS_OFFLINE,
    cluster_shared = FARLO_ONLINE_CLUSTER_SHARED,
};

// Bits of Connection::offline_group.
enum class OfflineOptions : std::uint32_t {
    none = 0,
    no_name_check = FARLO_OFFLINE_NO_NAME_CHECK,
    shared = FARLO_OFFLINE_SHARED,
};

namespace detail {

template <class Enum> struct IsBits : std::false_type {};
template <> struct IsBits<DiskState> : std::true_type {};
template <> struct IsBits<VolumeState> : std::true_type {};
template <> struct IsBits<OnlineOptions> : std::true_type {};
template <> struct IsBits<OfflineOptions> : std::true_type {};

}  // namespace detail

template <class Bits, class = std::enable_if_t<detail::IsBits<Bits>::value>>
constexpr Bits operator|(Bits a, Bits b) {
    return static_cast<Bits>(static_cast<std::uint32_t>(a) | static_cast<std::uint32_t>(b));
}
// Whether one of these bits is set: has_any(volume.state, VolumeState::unusable).
template <class Bits, class = std::enable_if_t<detail::IsBits<Bits>::value>>
constexpr bool has_any(Bits value, Bits bits) {
    return (static_cast<std::uint32_t>(value) & static_cast<std::uint32_t>(bits)) != 0;
}

// ------------------------------------------------------------------ records

// What the service does not report is empty or 0. What does not fit the field of the record in
// farlo.h is cut short.

struct Disk {
    std::wstring name;
    std::uint32_t signature = 0;
    std::uint32_t lun = 0;
    std::uint32_t target = 0;
    std::uint32_t port = 0;
};

struct Volume {
    std::wstring device_name;
    std::wstring drive_letter;  // "F:", or empty
    std::wstring file_system;
    std::wstring label;
    std::wstring mount_points;  // separated by "; "
    std::uint32_t type = 0;     // in the service's own numbers
    VolumeState state = VolumeState::none;
    std::uint64_t size = 0;  // in bytes
};

struct Plex {
    std::wstring name;
    PlexState state = PlexState::none;
};

struct Group {
    std::vector<Disk> disks;
    std::vector<Volume> volumes;
};

// Of a volume, only the device name, the drive letter, the type and the size.
struct LightGroup {
    std::uint32_t signature = 0;  // of the first disk
    std::vector<Volume> volumes;
};

struct VolumeWithDisks {
    std::vector<Disk> disks;  // a disk occurs once for each subdisk on it
    Volume volume;
};

struct DiskAvailability {
    std::uint32_t total = 0;
    std::uint32_t live = 0;
};

struct DiskIdentity {
    PartitionStyle style = PartitionStyle::raw;
    std::uint32_t signature = 0;  // of an MBR disk
    Guid guid{};                  // of a GPT disk
};

// ---------------------------------------------------------------- arguments

// Names a disk group: by its name, by its GUID string, or by both. With both, the GUID string
// finds the group, and the name is only logged.
class GroupRef {
  public:
    GroupRef(std::wstring name) : m_name(std::move(name)) {}
    GroupRef(const wchar_t* name) : m_name(name) {}
    GroupRef(std::wstring name, std::string guid)
        : m_name(std::move(name)), m_guid(std::move(guid)) {}
    static GroupRef by_guid(std::string guid) { return GroupRef({}, std::move(guid)); }

    const wchar_t* name() const noexcept { return m_name.c_str(); }
    const char* guid() const noexcept { return m_guid.c_str(); }

  private:
    std::wstring m_name;
    std::string m_guid;
};

enum class Scope {
    cluster,      // cluster disk groups
    non_cluster,  // the others
    all,          // both
};

// What a Connection does when the service has dropped its handle.
struct ReconnectPolicy {
    struct Attempt {
        unsigned number;                  // of this call, from 1
        unsigned limit;                   // of the policy
        std::chrono::milliseconds pause;  // before this attempt
    };

    // How often one call tries to connect. 0: never; the first connection is still tried once.
    unsigned limit = 4;
    // The pause before the second attempt of a call. It doubles with each further one.
    std::chrono::milliseconds first_pause{500};
    std::chrono::milliseconds longest_pause{10'000};
    // An event of the caller's: once it is signalled, a pause ends and no further attempt is
    // made. Not closed. Not the event that stops an agent which then takes its group offline:
    // that may have to connect, too.
    HANDLE cancel = nullptr;
    // Called after the pause, before each attempt; false makes no attempt. Only one thread of a
    // connection calls it at a time. What it throws leaves the call that has lost the
    // connection. It must not use the connection, which is lost.
    std::function<bool(const Attempt&)> on_attempt;
};

// ---------------------------------------------------------------- internals

namespace detail {

class Lock {
  public:
    constexpr Lock() = default;
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

  private:
    friend class Hold;
    friend class SharedHold;
    SRWLOCK m_lock = SRWLOCK_INIT;
};

class Hold {
  public:
    explicit Hold(Lock& lock) : m_lock(lock) { AcquireSRWLockExclusive(&m_lock.m_lock); }
    ~Hold() { ReleaseSRWLockExclusive(&m_lock.m_lock); }
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;

  private:
    Lock& m_lock;
};

class SharedHold {
  public:
    explicit SharedHold(Lock& lock) : m_lock(lock) { AcquireSRWLockShared(&m_lock.m_lock); }
    ~SharedHold() { ReleaseSRWLockShared(&m_lock.m_lock); }
    SharedHold(const SharedHold&) = delete;
    SharedHold& operator=(const SharedHold&) = delete;

  private:
    Lock& m_lock;
};

// The progress function of an OnlineVol on this thread.
struct Progress {
    const std::function<void()>* function;  // may be empty
    std::exception_ptr exception;           // that it has thrown; it is not called again then
};

struct ThreadState {
    Progress* progress = nullptr;
    bool in_callback = false;
    bool in_policy = false;  // in ReconnectPolicy::on_attempt
};
inline ThreadState& thread_state() {
    static thread_local ThreadState state;
    return state;
}

// Sets a flag, or a pointer, until the end of the block.
template <class Value> class Set {
  public:
    Set(Value& variable, Value value)
        : m_variable(variable), m_before(std::exchange(variable, value)) {}
    ~Set() { m_variable = m_before; }
    Set(const Set&) = delete;
    Set& operator=(const Set&) = delete;

  private:
    Value& m_variable;
    Value m_before;
};

inline void require_no_callback(const char* what) {
    if (thread_state().in_callback) {
        throw std::logic_error(std::string("farlo: ") + what + " in a callback of farlo.dll");
    }
}

// The callback of the process.
struct Alerts {
    Lock lock;                       // of function and owner; shared while the function runs
    std::function<void()> function;  // for alerts; may be empty
    const void* owner = nullptr;     // the connection that has set it
    Lock registration_lock;          // of registrations, and of what farlo.dll has stored
    unsigned registrations = 0;      // connections that have registered reset_timeout
};
inline Alerts& alerts() {
    static Alerts& instance = *new Alerts;  // an alert may arrive while the process ends
    return instance;
}

inline void run_progress(Progress& progress) noexcept {
    if (!*progress.function || progress.exception != nullptr) {
        return;
    }
    try {
        (*progress.function)();
    } catch (...) {
        progress.exception = std::current_exception();
    }
}

// The callback of farlo.dll: for alerts on a thread of the command library, for progress on the
// thread that has called OnlineVol.
inline void reset_timeout() noexcept {
    ThreadState& thread = thread_state();
    const Set<bool> in_callback(thread.in_callback, true);
    if (thread.progress != nullptr) {
        run_progress(*thread.progress);
        return;
    }
    const SharedHold hold(alerts().lock);
    if (alerts().function) {
        try {
            alerts().function();
        } catch (...) {  // there is no caller that could catch it
        }
    }
}

// An interval as the system takes it: at least 0, and less than INFINITE.
inline std::uint32_t milliseconds_in(std::chrono::milliseconds interval) {
    constexpr std::chrono::milliseconds longest{0xFFFFFFFE};
    if (interval.count() < 0) {
        return 0;
    }
    return static_cast<std::uint32_t>(interval < longest ? interval.count() : longest.count());
}

inline void check(std::uint32_t status, const char* function) {
    if (farlo_failed(status) != 0) {
        throw error(static_cast<Status>(status), function);
    }
}

// The string in a field of a record.
inline std::wstring text_of(const wchar_t* field, std::size_t bytes) {
    return std::wstring(field, std::find(field, field + bytes / sizeof(wchar_t), L'\0'));
}

inline Disk disk_of(const void* entry) {
    DgDiskInfo record;
    std::memcpy(&record, entry, sizeof record);
    return {text_of(record.name, sizeof record.name), record.signature, record.lun, record.target,
            record.port};
}

inline Volume volume_of(const void* entry) {
    VolInfo record;
    std::memcpy(&record, entry, sizeof record);
    Volume volume;
    volume.device_name = text_of(record.device_name, sizeof record.device_name);
    volume.drive_letter = text_of(record.drive_letter, sizeof record.drive_letter);
    volume.file_system = text_of(record.file_system, sizeof record.file_system);
    volume.label = text_of(record.label, sizeof record.label);
    volume.mount_points = text_of(record.mount_points, sizeof record.mount_points);
    volume.type = record.type;
    volume.state = static_cast<VolumeState>(static_cast<std::uint32_t>(record.state));
    volume.size = record.size;
    return volume;
}

// A buffer for a record.
class Buffer {
  public:
    explicit Buffer(std::size_t size) : m_bytes(size) {}

    template <class Record> Record* as() {
        return static_cast<Record*>(static_cast<void*>(m_bytes.data()));
    }
    template <class Record> const Record* as() const {
        return static_cast<const Record*>(static_cast<const void*>(m_bytes.data()));
    }
    std::size_t size() const { return m_bytes.size(); }
    void clear() { std::fill(m_bytes.begin(), m_bytes.end(), std::uint8_t{0}); }
    void resize(std::size_t size) { m_bytes.resize(size); }

  private:
    std::vector<std::uint8_t> m_bytes;
};

// The size of the first buffer for a record, and the room that the next one has for what the
// record grows by meanwhile. After this number of buffers that were too small, a call fails.
inline constexpr std::size_t first_buffer_size = 8192;
inline constexpr std::size_t buffer_reserve = 4096;
inline constexpr int size_rounds = 16;

// A connection handle, and how many calls use it.
struct Session {
    opal_handle handle = nullptr;
    unsigned uses = 0;
};

}  // namespace detail

// ------------------------------------------------------------------ Library

// A loaded farlo.dll. Copies share it; it is unloaded with the last one, and with the last
// Connection that uses it.
class Library {
  public:
    // Loads the DLL from a path, or by LoadLibrary's search order. The flags are those of
    // LoadLibraryEx. On a cluster node, pass the full path and LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR |
    // LOAD_LIBRARY_SEARCH_SYSTEM32: farlo.dll and the DLLs that it needs are then only looked for
    // in its folder and in the system's. Throws std::system_error, also when it is not a farlo.dll
    // of this version.
    static Library load(const std::wstring& path = L"farlo.dll", std::uint32_t flags = 0) {
        const HMODULE module = LoadLibraryExW(path.c_str(), nullptr, flags);
        if (module == nullptr) {
            throw std::system_error(static_cast<int>(GetLastError()), std::system_category(),
                                    "cannot load farlo.dll");
        }
        const std::shared_ptr<void> loaded(static_cast<void*>(module), [](void* released) {
            FreeLibrary(static_cast<HMODULE>(released));
        });
        farlo_api api;
        if (const char* const missing = farlo_api_load(&api, module)) {
            throw std::system_error(ERROR_PROC_NOT_FOUND, std::system_category(),
                                    std::string("farlo.dll does not export ") + missing);
        }
        return Library(api, loaded);
    }

    // Functions from elsewhere: an agent's tests may replace some.
    explicit Library(const farlo_api& api) : Library(api, nullptr) {}

    // All functions of farlo.h, for what this header has no function for.
    const farlo_api& api() const noexcept { return *m_api; }

    // Change: releases the reservation of a group through the driver (ReleaseDgW).
    void release_reservation(const std::string& guid) const {
        detail::check(api().ReleaseDgW(guid.c_str()), "ReleaseDgW");
    }
    // Change: flushes and dismounts a volume (OfflineVolumeW).
    void dismount_volume(const std::string& name, const std::wstring& path,
                         const Guid& group_guid) const {
        detail::check(api().OfflineVolumeW(name.c_str(), path.c_str(), group_guid.data()),
                      "OfflineVolumeW");
    }
    // The partition style and identity of a disk (GetDiskTypeAndSignatureW).
    DiskIdentity disk_identity(const std::wstring& path) const {
        DiskIdentity disk;
        std::uint32_t style = FARLO_PARTITION_STYLE_RAW;
        detail::check(
            api().GetDiskTypeAndSignatureW(path.c_str(), &disk.signature, disk.guid.data(), &style),
            "GetDiskTypeAndSignatureW");
        disk.style = static_cast<PartitionStyle>(style);
        return disk;
    }
    // Whether delete_vmms_folders is wanted on this machine (CheckOSVersionAndReg). Not wanted
    // also if the registry has no value for it.
    bool wants_vmms_folders_deleted() const {
        constexpr std::uint32_t no_such_value = 0x80070002;
        const std::uint32_t status = api().CheckOSVersionAndReg();
        if (status == FARLO_PROVIDER_FAILED || status == no_such_value) {
            return false;
        }
        detail::check(status, "CheckOSVersionAndReg");
        return true;
    }
    // Change: removes the empty subfolders of a folder (DeleteVMMSFolder).
    void delete_vmms_folders(const std::wstring& folder) const {
        detail::check(api().DeleteVMMSFolder(folder.c_str()), "DeleteVMMSFolder");
    }

  private:
    Library(const farlo_api& api, std::shared_ptr<void> module)
        : m_module(std::move(module)), m_api(std::make_shared<const farlo_api>(api)) {}

    std::shared_ptr<void> m_module;
    std::shared_ptr<const farlo_api> m_api;
};

// --------------------------------------------------------------- internals

namespace detail {

// The handle of a connection, and its renewal.
class Link {
  public:
    Link(Library library, ReconnectPolicy policy)
        : m_library(std::move(library)), m_policy(std::move(policy)) {
        require_no_callback("a connection is made");
        unsigned attempt = 0;
        if (!connect(nullptr, attempt, m_policy.limit != 0 ? m_policy.limit : 1)) {
            throw error(Status::not_connected, "InitializeClusterW");
        }
    }
    ~Link() {
        if (thread_state().in_callback) {
            std::terminate();
        }
        close();
    }
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;

    const farlo_api& api() const { return m_library.api(); }
    const Library& library() const { return m_library; }

    // Repeats a query while its connection is lost and can be renewed.
    template <class Function> std::uint32_t query(Function&& function) {
        for (unsigned attempt = 0;;) {
            const Use use(*this);
            const std::uint32_t status = function(use.handle());
            if (farlo_failed(status) == 0 || !is_lost(use.handle())) {
                return status;
            }
            if (!renew(use.session(), attempt)) {
                return FARLO_NOT_CONNECTED;
            }
        }
    }

    // Makes a change once, over a connection that is not lost already.
    template <class Function> std::uint32_t change(Function&& function) {
        return call([&](opal_handle handle) {
            const std::uint32_t status = function(handle);
            // What the service has decided holds, even if the connection was lost afterwards.
            const bool decided =
                ((status >> 16) & 0xFFFu) == 0x515u || status == FARLO_ALREADY_IMPORTED;
            return farlo_failed(status) != 0 && !decided && is_lost(handle) ? FARLO_NOT_CONNECTED
                                                                            : status;
        });
    }

    // Calls a function once, over a connection that is not lost already. Its status is returned
    // as it is.
    template <class Function> std::uint32_t call(Function&& function) {
        for (unsigned attempt = 0;;) {
            const Use use(*this);
            if (!is_lost(use.handle())) {
                return function(use.handle());
            }
            if (!renew(use.session(), attempt)) {
                return FARLO_NOT_CONNECTED;
            }
        }
    }

    // Calls a function once with the handle as it is: lost, or NULL after a failed renewal.
    template <class Function> std::uint32_t call_as_is(Function&& function) {
        const Use use(*this);
        return function(use.handle());
    }

    // Makes farlo.dll call reset_timeout. Returns the status of registering for alerts.
    std::uint32_t register_callback() {
        return query([&](opal_handle handle) {
            const Hold hold(alerts().registration_lock);
            alerts().registrations += m_registered ? 0 : 1;
            m_registered = true;
            return api().RegisterForAlerts(handle, reset_timeout);
        });
    }

    void set_alert(std::function<void()> function) {
        const Hold hold(alerts().lock);
        if (alerts().owner != nullptr && alerts().owner != this) {
            throw std::logic_error("farlo: another connection of this process has the alerts");
        }
        alerts().owner = function ? this : nullptr;
        alerts().function.swap(function);
    }

    // Releases the handle; one that a call still uses, when that call ends. Returns the status.
    std::uint32_t close() noexcept {
        forget_alert();
        {
            const Hold hold(m_lock);
            m_closed = true;
            m_current = nullptr;
        }
        const std::uint32_t status = release_retired();
        unregister_callback();  // after the release: an alert without a callback is logged
        return status;
    }

  private:
    // A call's use of the current session.
    class Use {
      public:
        explicit Use(Link& link) : m_link(link) {
            const Hold hold(m_link.m_lock);
            m_session = m_link.m_current;
            m_handle = m_session != nullptr ? m_session->handle : nullptr;
            if (m_session != nullptr) {
                ++m_session->uses;
            }
        }
        ~Use() {
            {
                const Hold hold(m_link.m_lock);
                if (m_session != nullptr) {
                    --m_session->uses;
                }
            }
            m_link.release_retired();
        }
        Use(const Use&) = delete;
        Use& operator=(const Use&) = delete;

        opal_handle handle() const { return m_handle; }
        const Session* session() const { return m_session; }

      private:
        Link& m_link;
        Session* m_session;
        opal_handle m_handle;
    };

    // Asks without a call to the service, and without an entry in the trace log below level 6:
    // the connection is checked before the device name that is missing.
    bool is_lost(opal_handle handle) const {
        std::uint32_t count = 0;
        return api().GetDgVolPlexStatesW(handle, nullptr, nullptr, nullptr, &count, nullptr) ==
               FARLO_NOT_CONNECTED;
    }

    // Replaces a session that has lost its connection. `attempt` counts the attempts of a call.
    bool renew(const Session* lost, unsigned& attempt) {
        const ThreadState& thread = thread_state();
        if (thread.in_callback || thread.in_policy) {
            return false;
        }
        return connect(lost, attempt, m_policy.limit);
    }

    bool connect(const Session* lost, unsigned& attempt, unsigned limit) {
        const Hold renewal(m_renewal);
        if (current() != lost) {
            return ++attempt <= limit;  // another thread has replaced it
        }
        while (attempt < limit) {
            const ReconnectPolicy::Attempt next = {attempt + 1, limit, pause_before(attempt + 1)};
            if (!wait(next.pause) || !is_wanted(next)) {
                return false;
            }
            ++attempt;
            std::unique_ptr<Session> session = prepare_session();
            if (api().InitializeClusterW(&session->handle) == FARLO_SUCCESS) {
                return replace_session(std::move(session));
            }
        }
        return false;
    }

    std::chrono::milliseconds pause_before(unsigned attempt) const {
        if (attempt == 1) {
            return std::chrono::milliseconds(0);
        }
        std::chrono::milliseconds pause = m_policy.first_pause;
        for (unsigned i = 2; i < attempt && pause < m_policy.longest_pause; ++i) {
            pause *= 2;
        }
        return pause < m_policy.longest_pause ? pause : m_policy.longest_pause;
    }

    // Returns false if the caller has cancelled.
    bool wait(std::chrono::milliseconds pause) const {
        const DWORD milliseconds = milliseconds_in(pause);
        if (m_policy.cancel != nullptr) {
            return WaitForSingleObject(m_policy.cancel, milliseconds) == WAIT_TIMEOUT;
        }
        if (milliseconds != 0) {
            Sleep(milliseconds);
        }
        return true;
    }

    bool is_wanted(const ReconnectPolicy::Attempt& attempt) const {
        const Set<bool> in_policy(thread_state().in_policy, true);
        return !m_policy.on_attempt || m_policy.on_attempt(attempt);
    }

    const Session* current() {
        const Hold hold(m_lock);
        return m_current;
    }

    // Has all the memory that replace_session needs.
    std::unique_ptr<Session> prepare_session() {
        const Hold hold(m_lock);
        m_sessions.reserve(m_sessions.size() + 1);
        return std::make_unique<Session>();
    }

    // Returns false if the connection was closed meanwhile.
    bool replace_session(std::unique_ptr<Session> session) noexcept {
        const Hold hold(m_lock);
        m_sessions.push_back(std::move(session));
        if (m_closed) {
            return false;  // the session is released with those that were replaced
        }
        m_current = m_sessions.back().get();
        return true;
    }

    // Takes the handle of a session that was replaced and that no call uses; NULL if there is
    // none.
    opal_handle take_retired() noexcept {
        const Hold hold(m_lock);
        for (auto session = m_sessions.begin(); session != m_sessions.end(); ++session) {
            if (session->get() != m_current && (*session)->uses == 0) {
                const opal_handle handle = (*session)->handle;
                m_sessions.erase(session);
                return handle;
            }
        }
        return nullptr;
    }

    // Returns the status of the last release that failed. In a callback nothing is released: it
    // would wait for that callback.
    std::uint32_t release_retired() noexcept {
        std::uint32_t status = FARLO_SUCCESS;
        if (thread_state().in_callback) {
            return status;
        }
        while (const opal_handle handle = take_retired()) {
            const std::uint32_t released = api().UnInitializeClusterW(handle);
            status = released != FARLO_SUCCESS ? released : status;
        }
        return status;
    }

    // After this, the function for alerts neither runs nor exists.
    void forget_alert() noexcept {
        std::function<void()> function;  // before the lock: destroyed without it
        const Hold hold(alerts().lock);
        if (alerts().owner == this) {
            alerts().owner = nullptr;
            alerts().function.swap(function);
        }
    }

    void unregister_callback() noexcept {
        const Hold hold(alerts().registration_lock);
        if (m_registered && --alerts().registrations == 0) {
            api().RegisterForAlerts(nullptr, nullptr);
        }
        m_registered = false;
    }

    const Library m_library;
    const ReconnectPolicy m_policy;
    Lock m_renewal;  // held by the thread that renews the session
    Lock m_lock;     // of the members below
    Session* m_current = nullptr;
    std::vector<std::unique_ptr<Session>> m_sessions;  // the current one, and others in use
    bool m_closed = false;
    bool m_registered = false;  // of alerts().registration_lock
};

}  // namespace detail

// --------------------------------------------------------------- Connection

// A connection to the storage service: owns its handle and renews it when it is lost. A
// connection that was moved from can only be destroyed and assigned to.
class Connection {
  public:
    // Connects. Throws Status::not_connected if that fails as often as the policy allows.
    explicit Connection(Library library, ReconnectPolicy policy = {})
        : m_link(std::make_unique<detail::Link>(std::move(library), std::move(policy))) {}

    // Releases the handle. Later calls have no handle and end as farlo.h states for that: most
    // throw Status::null_handle, and the questions about clusterability return false. The
    // destructor does the same as close() and ignores errors. The function for alerts is not called
    // any more when this returns, and no callback of this header is registered with farlo.dll after
    // the last connection.
    void close() {
        detail::require_no_callback("a connection is closed");
        check(m_link->close(), "UnInitializeClusterW");
    }

    const Library& library() const noexcept { return m_link->library(); }

    // Calls any function of farlo.h that takes a handle, for what there is no member for:
    //
    //   std::uint32_t status = connection.call(&farlo_api::GetDgStateA, "dg", nullptr, &imported);
    //
    // The handle is renewed before the call if it is lost. The call is not repeated, and nothing
    // is thrown for its status, which is returned.
    template <class Result, class... Parameters, class... Arguments>
    Result call(Result (*farlo_api::*function)(opal_handle, Parameters...),
                Arguments&&... arguments) {
        static_assert(std::is_same_v<Result, std::uint32_t>, "returns no status");
        return m_link->call([&](opal_handle handle) {
            return (api().*function)(handle, std::forward<Arguments>(arguments)...);
        });
    }

    // ------------------------------------------------------------- alerts

    // Calls a function whenever an import or deport of a disk group has finished, on a thread of
    // the command library, until it is replaced, cleared (nullptr) or the connection closed.
    // These wait until it is not running. See CALLBACKS above; what it throws is discarded. One
    // connection of a process at a time can have a function; another one gets std::logic_error
    // (RegisterForAlerts). Other connections that were made meanwhile are registered, too: each
    // alert then calls the function once for each of them.
    void on_alert(std::function<void()> function) {
        detail::require_no_callback("on_alert");
        const bool receives = static_cast<bool>(function);
        m_link->set_alert(std::move(function));
        if (!receives) {
            return;
        }
        const std::uint32_t status = m_link->register_callback();
        if (farlo_failed(status) != 0) {
            m_link->set_alert(nullptr);
            check(status, "RegisterForAlerts");
        }
    }

    // ----------------------------------------------------------- identity

    // The names of the disk groups that are imported on this host (GetDgNameListW,
    // GetNonClusterDgNameListW).
    std::vector<std::wstring> groups(Scope scope = Scope::cluster) {
        std::vector<std::wstring> names;
        if (scope != Scope::non_cluster) {
            append_names(names, &farlo_api::GetDgNameListW, "GetDgNameListW");
        }
        if (scope != Scope::cluster) {
            append_names(names, &farlo_api::GetNonClusterDgNameListW, "GetNonClusterDgNameListW");
        }
        return names;
    }

    // The GUID string of a cluster disk group, by its name (GetDgGuidW); of any group, with
    // another scope than Scope::cluster (GetNonClusterDgGuidW).
    std::string group_guid(const std::wstring& name, Scope scope = Scope::cluster) {
        const bool is_cluster = scope == Scope::cluster;
        const auto function = is_cluster ? api().GetDgGuidW : api().GetNonClusterDgGuidW;
        char guid[FARLO_GUID_TEXT_SIZE] = "";
        query(is_cluster ? "GetDgGuidW" : "GetNonClusterDgGuidW",
              [&](opal_handle handle) { return function(handle, name.c_str(), guid); });
        return guid;
    }

    // The name of a cluster disk group (GetDgNameW).
    std::wstring group_name(const std::string& guid) {
        wchar_t name[FARLO_NAME_SIZE] = L"";
        query("GetDgNameW",
              [&](opal_handle handle) { return api().GetDgNameW(handle, guid.c_str(), name); });
        return name;
    }

    // The GUID string of a volume (GetDgVolumeGuidW).
    std::string volume_guid(const GroupRef& group, const std::wstring& device) {
        char guid[FARLO_GUID_TEXT_SIZE] = "";
        query("GetDgVolumeGuidW", [&](opal_handle handle) {
            return api().GetDgVolumeGuidW(handle, group.name(), group.guid(), device.c_str(), guid);
        });
        return guid;
    }

    // The name of the volume with a serial number, with a backslash at its end
    // (GetVolumeNameForSerialNumberW).
    std::wstring volume_name(const GroupRef& group, std::uint32_t serial_number) {
        std::vector<wchar_t> name(FARLO_VOLUME_NAME_BUFFER_SIZE / sizeof(wchar_t));
        query("GetVolumeNameForSerialNumberW", [&](opal_handle handle) {
            std::uint32_t size = FARLO_VOLUME_NAME_BUFFER_SIZE;
            return api().GetVolumeNameForSerialNumberW(handle, group.name(), group.guid(),
                                                       serial_number, name.data(), &size);
        });
        return detail::text_of(name.data(), FARLO_VOLUME_NAME_BUFFER_SIZE);
    }

    // ------------------------------------------------ online and offline

    // Change: imports a disk group, under a new name if there is one (OnlineDgExW).
    void online_group(const GroupRef& group, OnlineOptions options = OnlineOptions::none,
                      const std::wstring& new_name = {}) {
        change("OnlineDgExW", [&](opal_handle handle) {
            return api().OnlineDgExW(handle, group.name(), group.guid(), new_name.c_str(),
                                     static_cast<std::uint32_t>(options), 0);
        });
    }
    // Change: imports a disk group with all options (ImportDgW).
    void import_group(const GroupRef& group, OnlineOptions options = OnlineOptions::none,
                      const std::wstring& new_name = {}) {
        change("ImportDgW", [&](opal_handle handle) {
            return api().ImportDgW(handle, group.name(), group.guid(), new_name.c_str(),
                                   static_cast<std::uint32_t>(options));
        });
    }
    // Change: deports a disk group (OfflineDgW).
    void offline_group(const GroupRef& group, OfflineOptions options = OfflineOptions::none) {
        change("OfflineDgW", [&](opal_handle handle) {
            return api().OfflineDgW(handle, group.name(), group.guid(),
                                    static_cast<std::uint32_t>(options));
        });
    }
    // Change: deports a cluster disk group, which must be found (DeportDgW).
    void deport_group(const GroupRef& group) {
        change("DeportDgW", [&](opal_handle handle) {
            return api().DeportDgW(handle, group.name(), group.guid());
        });
    }

    // ------------------------------------------------------- reservations

    // Change: takes the reservations of a group's disks (ArbitrateDgW).
    void arbitrate(const GroupRef& group) {
        change("ArbitrateDgW", [&](opal_handle handle) {
            return api().ArbitrateDgW(handle, group.name(), group.guid());
        });
    }
    // Change: stops holding them (StopDgReservationW).
    void stop_reservation(const GroupRef& group) {
        change("StopDgReservationW", [&](opal_handle handle) {
            return api().StopDgReservationW(handle, group.name(), group.guid());
        });
    }
    // Whether this node holds them (GetDgReservationStatusW).
    Reservation reservation(const GroupRef& group) {
        std::uint32_t state = 0;
        query("GetDgReservationStatusW", [&](opal_handle handle) {
            state = FARLO_RESERVATION_UNKNOWN;
            return api().GetDgReservationStatusW(handle, group.name(), group.guid(), &state);
        });
        return static_cast<Reservation>(state);
    }

    // ------------------------------------------------------------- health

    // Whether a disk group is imported on this host, as the driver sees it (GetDgStateW).
    bool is_imported(const GroupRef& group) {
        std::uint8_t imported = 0;
        query("GetDgStateW", [&](opal_handle handle) {
            return api().GetDgStateW(handle, group.name(), group.guid(), &imported);
        });
        return imported != 0;
    }
    // The same, as the service sees it (GetDgStateExW).
    bool is_imported_by_service(const GroupRef& group) {
        std::uint8_t imported = 0;
        query("GetDgStateExW", [&](opal_handle handle) {
            return api().GetDgStateExW(handle, group.name(), group.guid(), &imported);
        });
        return imported != 0;
    }
    // The state of a disk, by its name or device name (GetDiskStateW).
    DiskState disk_state(const std::wstring& disk) {
        std::uint32_t state = 0;
        query("GetDiskStateW", [&](opal_handle handle) {
            return api().GetDiskStateW(handle, disk.c_str(), &state);
        });
        return static_cast<DiskState>(state);
    }
    // How many disks a group has, and how many are alive (GetDgDiskAvailabilityW).
    DiskAvailability disk_availability(const GroupRef& group) {
        DiskAvailability disks;
        query("GetDgDiskAvailabilityW", [&](opal_handle handle) {
            disks = {};
            return api().GetDgDiskAvailabilityW(handle, group.name(), group.guid(), &disks.total,
                                                &disks.live);
        });
        return disks;
    }
    // The plexes of a volume (GetDgVolPlexStatesW). The DLL has no argument for the size of
    // the array, so there is room for 64 plexes that are added between its two calls. More of
    // them end the process.
    std::vector<Plex> plexes(const GroupRef& group, const std::wstring& device) {
        const auto read = [&](opal_handle handle, std::uint32_t& count, farlo_plex_state* records) {
            return api().GetDgVolPlexStatesW(handle, group.name(), group.guid(), device.c_str(),
                                             &count, records);
        };
        std::uint32_t count = 0;
        std::vector<farlo_plex_state> records;
        query("GetDgVolPlexStatesW", [&](opal_handle handle) {
            const std::uint32_t status = read(handle, count, nullptr);
            if (status != FARLO_BUFFER_TOO_SMALL) {
                return status;
            }
            records.assign(std::size_t{count} + 64, farlo_plex_state{});
            return read(handle, count, records.data());
        });
        if (count > records.size()) {
            std::terminate();  // the DLL has written past the end of the array
        }
        std::vector<Plex> plexes;
        for (std::uint32_t i = 0; i < count; ++i) {
            plexes.push_back({detail::text_of(records[i].name, sizeof records[i].name),
                              static_cast<PlexState>(records[i].state)});
        }
        return plexes;
    }

    // ---------------------------------------------------- inform the service

    // Change: SetFastFailoverFlagW. The values are the service's.
    void set_fast_failover_flag(const GroupRef& group, std::uint32_t flag) {
        change("SetFastFailoverFlagW", [&](opal_handle handle) {
            return api().SetFastFailoverFlagW(handle, group.name(), group.guid(), flag);
        });
    }
    // Change: ClusterServiceStateW. The values are the service's.
    void report_cluster_service_state(std::uint32_t state) {
        change("ClusterServiceStateW",
               [&](opal_handle handle) { return api().ClusterServiceStateW(handle, state); });
    }

    // --------------------------------------------------------------- node

    // Change: starts the cluster volume manager on this node (StartCVMClusterW). Returns whether
    // it was this call; false if it runs or starts already. The start may not be complete.
    bool start_node() {
        const std::uint32_t status =
            m_link->change([&](opal_handle handle) { return api().StartCVMClusterW(handle); });
        if (status == FARLO_NODE_ALREADY_STARTED) {
            return false;
        }
        check(status, "StartCVMClusterW");
        return true;
    }
    // Change: stops it (StopCVMClusterW).
    void stop_node() {
        change("StopCVMClusterW",
               [&](opal_handle handle) { return api().StopCVMClusterW(handle); });
    }
    // GetCVMClusterNodeStateW.
    NodeState node_state() {
        std::uint32_t state = 0;
        query("GetCVMClusterNodeStateW", [&](opal_handle handle) {
            state = static_cast<std::uint32_t>(NodeState::unreported);
            return api().GetCVMClusterNodeStateW(handle, &state);
        });
        return static_cast<NodeState>(state);
    }

    // ------------------------------------------------------------ volumes

    // Change: brings a volume online, after the node was started and the group imported, if
    // necessary (OnlineVolW). While the node starts, which has no limit, `progress` is called on
    // this thread after each interval, and once at the end. When it throws, it is not called
    // again, and its exception is thrown after the call has ended, even if the call succeeded.
    // See CALLBACKS above.
    void online_volume(const std::string& guid, const std::wstring& device,
                       const std::function<void()>& progress = nullptr,
                       std::chrono::milliseconds interval = std::chrono::seconds(1),
                       std::uint32_t flags = 0) {
        detail::require_no_callback("online_volume");
        if (progress) {
            // Ignored: a handle without alerts has progress nevertheless.
            static_cast<void>(m_link->register_callback());
        }
        detail::Progress state{&progress, nullptr};
        const detail::Set<detail::Progress*> set(detail::thread_state().progress, &state);
        // The call may use a connection of its own, so the state of the handle does not matter.
        const std::uint32_t status = m_link->call([&](opal_handle handle) {
            return api().OnlineVolW(handle, guid.c_str(), device.c_str(), flags,
                                    detail::milliseconds_in(interval));
        });
        if (state.exception != nullptr) {
            std::rethrow_exception(state.exception);
        }
        check(status, "OnlineVolW");
    }
    // Change: takes a volume offline (OfflineVolW).
    void offline_volume(const std::string& guid, const std::wstring& device,
                        std::uint32_t flags = 0) {
        change("OfflineVolW", [&](opal_handle handle) {
            return api().OfflineVolW(handle, guid.c_str(), device.c_str(), flags);
        });
    }
    // Change: refreshes the mount path of a volume, by its name, device name or drive letter
    // (FFUpdateMountPathW).
    void refresh_mount_path(const std::wstring& name) {
        change("FFUpdateMountPathW",
               [&](opal_handle handle) { return api().FFUpdateMountPathW(handle, name.c_str()); });
    }

    // ------------------------------------------------------ clusterability

    // The disk of a group's first volume, without a GPT disk's GUID; nothing if the group has no
    // volume (GetFirstVolumesDiskIDW).
    std::optional<DiskIdentity> first_volume_disk(const std::wstring& group) {
        constexpr std::uint32_t unwritten = 0xFFFFFFFF;
        DiskIdentity disk;
        std::uint32_t style = 0;
        query("GetFirstVolumesDiskIDW", [&](opal_handle handle) {
            disk = {};
            style = unwritten;
            return api().GetFirstVolumesDiskIDW(handle, group.c_str(), &disk.signature, &style);
        });
        if (style == unwritten) {
            return std::nullopt;
        }
        disk.style = static_cast<PartitionStyle>(style);
        return disk;
    }
    // Whether a disk may be put under cluster control; false also for every failure but a lost
    // connection (IsStorageClusterable).
    bool is_storage_clusterable(const DiskIdentity& disk) {
        return ask("IsStorageClusterable", [&](opal_handle handle) {
            return api().IsStorageClusterable(handle, static_cast<std::uint32_t>(disk.style),
                                              disk.signature, disk.guid.data());
        });
    }
    // Whether a volume's group has a type; false as above (IsVolumeOfSpecifiedDgType).
    bool is_volume_of_type(const std::wstring& volume_name, GroupType type) {
        return ask("IsVolumeOfSpecifiedDgType", [&](opal_handle handle) {
            return api().IsVolumeOfSpecifiedDgType(handle, volume_name.c_str(),
                                                   static_cast<std::uint32_t>(type));
        });
    }
    // Whether a volume's group is a cluster-shared one that is shared; false as above
    // (IsVolumeClusterable).
    bool is_volume_clusterable(const std::wstring& volume_name) {
        return ask("IsVolumeClusterable", [&](opal_handle handle) {
            return api().IsVolumeClusterable(handle, volume_name.c_str());
        });
    }
    // The GUID string of a volume's cluster-shared group (GetClusterSharedDgGuidW).
    std::string cluster_shared_group_guid(const std::wstring& device) {
        char guid[FARLO_GUID_TEXT_SIZE] = "";
        query("GetClusterSharedDgGuidW", [&](opal_handle handle) {
            return api().GetClusterSharedDgGuidW(handle, device.c_str(), guid);
        });
        return guid;
    }

    // ------------------------------------------------------------ records

    // The disks and volumes of a group (GetDgPropertiesW).
    Group group(const GroupRef& group) {
        const detail::Buffer record =
            fetch("GetDgPropertiesW",
                  [&](opal_handle handle, detail::Buffer& buffer, std::uint32_t& size) {
                      return api().GetDgPropertiesW(handle, group.name(), group.guid(),
                                                    buffer.as<DgInfo>(), &size);
                  });
        Group result;
        for (std::uint32_t i = 0;
             const auto* entry = farlo_dg_info_disk(record.as<DgInfo>(), record.size(), i); ++i) {
            result.disks.push_back(detail::disk_of(entry));
        }
        for (std::uint32_t i = 0;
             const auto* entry = farlo_dg_info_volume(record.as<DgInfo>(), record.size(), i); ++i) {
            result.volumes.push_back(detail::volume_of(entry));
        }
        return result;
    }

    // The light record of a cluster disk group (GetDgVolPropertiesW).
    LightGroup light_group(const GroupRef& group) {
        const detail::Buffer record =
            fetch("GetDgVolPropertiesW",
                  [&](opal_handle handle, detail::Buffer& buffer, std::uint32_t& size) {
                      size = farlo_dg_vol_info_prepare(buffer.as<void>(), buffer.size());
                      return api().GetDgVolPropertiesW(handle, group.name(), group.guid(),
                                                       buffer.as<DgVolInfo>(), &size);
                  });
        LightGroup result;
        result.signature = farlo_dg_vol_info_signature(record.as<DgVolInfo>(), record.size());
        for (std::uint32_t i = 0;
             const auto* entry = farlo_dg_vol_info_volume(record.as<DgVolInfo>(), record.size(), i);
             ++i) {
            result.volumes.push_back(detail::volume_of(entry));
        }
        return result;
    }

    // A volume and its disks (GetVolPropertiesW).
    VolumeWithDisks volume_with_disks(const std::wstring& device) {
        const detail::Buffer record = fetch("GetVolPropertiesW", [&](opal_handle handle,
                                                                     detail::Buffer& buffer,
                                                                     std::uint32_t& size) {
            size = farlo_vol_prop_info_prepare(buffer.as<void>(), buffer.size());
            return api().GetVolPropertiesW(handle, device.c_str(), buffer.as<VolPropInfo>(), &size);
        });
        VolumeWithDisks result;
        for (std::uint32_t i = 0; const auto* entry = farlo_vol_prop_info_disk(
                                      record.as<VolPropInfo>(), record.size(), i);
             ++i) {
            result.disks.push_back(detail::disk_of(entry));
        }
        if (const auto* entry =
                farlo_vol_prop_info_volume(record.as<VolPropInfo>(), record.size())) {
            result.volume = detail::volume_of(entry);
        }
        return result;
    }

    // A volume of a cluster disk group (GetDgVolumePropertiesW).
    Volume volume(const GroupRef& group, const std::wstring& device) {
        return read_volume("GetDgVolumePropertiesW", [&](opal_handle handle, VolInfo* record,
                                                         std::uint32_t* size) {
            return api().GetDgVolumePropertiesW(handle, group.name(), group.guid(), device.c_str(),
                                                record, size);
        });
    }
    // The same, with VolumeState::offline set if the system does not know the volume either
    // (GetVolumeInfo).
    Volume volume_info(const GroupRef& group, const std::wstring& device) {
        return read_volume("GetVolumeInfo",
                           [&](opal_handle handle, VolInfo* record, std::uint32_t* size) {
                               return api().GetVolumeInfo(handle, group.name(), group.guid(),
                                                          device.c_str(), record, size);
                           });
    }
    // The volumes of a cluster disk group that cannot be used (GetUnusableVolumesInfo).
    std::vector<Volume> unusable_volumes(const GroupRef& group) {
        std::uint32_t count = 0;
        const detail::Buffer records =
            fetch("GetUnusableVolumesInfo",
                  [&](opal_handle handle, detail::Buffer& buffer, std::uint32_t& size) {
                      count = size / static_cast<std::uint32_t>(sizeof(VolInfo));
                      const std::uint32_t status = api().GetUnusableVolumesInfo(
                          handle, group.name(), group.guid(), buffer.as<VolInfo>(), &count);
                      size = to_size(farlo_vol_info_list_size(count));
                      return status;
                  });
        std::vector<Volume> volumes;
        for (std::uint32_t i = 0; i < count; ++i) {
            volumes.push_back(detail::volume_of(records.as<VolInfo>() + i));
        }
        return volumes;
    }
    // The disks of a group, with their own signatures (GetDgDiskPropertiesW).
    std::vector<Disk> disks(const GroupRef& group) {
        const detail::Buffer record =
            fetch("GetDgDiskPropertiesW",
                  [&](opal_handle handle, detail::Buffer& buffer, std::uint32_t& size) {
                      return api().GetDgDiskPropertiesW(handle, group.name(), group.guid(),
                                                        buffer.as<DgDiskList>(), &size);
                  });
        std::vector<Disk> disks;
        for (std::uint32_t i = 0;
             const auto* entry = farlo_dg_disk_list_disk(record.as<DgDiskList>(), record.size(), i);
             ++i) {
            disks.push_back(detail::disk_of(entry));
        }
        return disks;
    }

    // The state of a volume of a cluster disk group (GetDgVolumeStateW).
    VolumeState volume_state(const GroupRef& group, const std::wstring& device) {
        std::uint32_t state = 0;
        query("GetDgVolumeStateW", [&](opal_handle handle) {
            return api().GetDgVolumeStateW(handle, group.name(), group.guid(), device.c_str(),
                                           &state);
        });
        return static_cast<VolumeState>(state);
    }
    // Whether the driver sees a healthy volume (GetDgVolumeStatusW). Needs no service: the
    // connection is not renewed, and false without one may also mean that there is no driver.
    bool is_volume_healthy(const std::string& guid, const Guid& volume) {
        std::uint32_t state = FARLO_VOLUME_STATUS_OTHER;
        const std::uint32_t status = m_link->call_as_is([&](opal_handle handle) {
            return api().GetDgVolumeStatusW(handle, guid.c_str(), volume.data(), &state);
        });
        if (state == FARLO_VOLUME_STATUS_HEALTHY) {
            return true;  // with FARLO_DEVICE_UNSUCCESSFUL, or without a connection
        }
        if (status != FARLO_NOT_CONNECTED && status != FARLO_DEVICE_UNSUCCESSFUL) {
            check(status, "GetDgVolumeStatusW");
        }
        return false;
    }

  private:
    const farlo_api& api() const noexcept { return m_link->api(); }

    static void check(std::uint32_t status, const char* function) {
        detail::check(status, function);
    }
    static std::uint32_t to_size(std::uint64_t size) {
        return size > 0xFFFFFFFFu ? 0xFFFFFFFFu : static_cast<std::uint32_t>(size);
    }

    // `function` may be called again after a loss of the connection: it must reset what the DLL
    // need not write.
    template <class Function> void query(const char* name, Function&& function) {
        check(m_link->query(function), name);
    }
    template <class Function> void change(const char* name, Function&& function) {
        check(m_link->change(function), name);
    }
    // Of a function that returns 1 or 0, and 0 also when the connection is lost.
    template <class Function> bool ask(const char* name, Function&& function) {
        const std::uint32_t status = m_link->query([&](opal_handle handle) {
            return function(handle) != 0 ? FARLO_SUCCESS : FARLO_NOT_FOUND;
        });
        if (status == FARLO_NOT_FOUND) {
            return false;
        }
        check(status, name);
        return true;
    }

    // Reads a record with a buffer that is large enough for it. `function` gets the size of the
    // cleared buffer, which it passes and which is set anew for each call.
    template <class Function> detail::Buffer fetch(const char* name, Function&& function) {
        detail::Buffer buffer(detail::first_buffer_size);
        for (int round = 0; round < detail::size_rounds; ++round) {
            std::uint32_t size = 0;
            const std::uint32_t status = m_link->query([&](opal_handle handle) {
                buffer.clear();
                size = to_size(buffer.size());
                return function(handle, buffer, size);
            });
            if (status != FARLO_BUFFER_TOO_SMALL) {
                check(status, name);
                return buffer;
            }
            buffer.resize(std::size_t{size} + detail::buffer_reserve);
        }
        throw error(Status::buffer_too_small, name);
    }

    template <class Function> Volume read_volume(const char* name, Function&& function) {
        VolInfo record;
        query(name, [&](opal_handle handle) {
            record = VolInfo{};
            std::uint32_t size = sizeof record;
            return function(handle, &record, &size);
        });
        return detail::volume_of(&record);
    }

    void append_names(std::vector<std::wstring>& names, GetDgNameListW_fn farlo_api::*list,
                      const char* name) {
        std::uint32_t count = 0;
        const detail::Buffer buffer =
            fetch(name, [&](opal_handle handle, detail::Buffer& bytes, std::uint32_t& size) {
                count = 0;
                wchar_t* pointer = bytes.as<wchar_t>();
                return (api().*list)(handle, &pointer, &size, &count);
            });
        const wchar_t* string = buffer.as<wchar_t>();
        const wchar_t* const end = string + buffer.size() / sizeof(wchar_t);
        for (; count != 0 && string != end; --count) {
            const wchar_t* const terminator = std::find(string, end, L'\0');
            names.emplace_back(string, terminator);
            string = terminator == end ? end : terminator + 1;
        }
    }

    std::unique_ptr<detail::Link> m_link;
};

}  // namespace farlo

#endif
