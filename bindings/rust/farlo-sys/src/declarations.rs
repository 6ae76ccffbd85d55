// Made from farlo.json by bindings/rust_crate.py (./run bindings): change that.

use std::os::raw::{c_char, c_void};

/// The version of `farlo.h` that this was made from.
pub const VERSION: &str = "1.0.0";

#[doc(hidden)]
#[repr(C)]
#[derive(Debug)]
pub struct opal_handle_target {
    _private: [u8; 0],
}
/// A connection to the storage management service. Opaque.
pub type opal_handle = *mut opal_handle_target;

#[doc(hidden)]
#[repr(C)]
#[derive(Debug)]
pub struct farlo_module_target {
    _private: [u8; 0],
}
/// As <windows.h> declares them, which is not included here: HMODULE, FARPROC and the function
/// itself.
pub type farlo_module = *mut farlo_module_target;

/// Lets the agent reset a time-out of its own. Called without arguments
///
/// - on a thread of the command library, whenever the service reports that an import or a deport of
///   a disk group has finished;
/// - by OnlineVol, on its caller's thread, after each interval of its wait for the cluster volume
///   manager to start.
///
/// What it must not do is said under CALLBACKS above.
pub type farlo_reset_timeout = Option<unsafe extern "system" fn()>;

/// success
pub const FARLO_SUCCESS: u32 = 0;

/// no such disk group; no driver
pub const FARLO_NOT_FOUND: u32 = 1;

/// a group of that name is imported already
pub const FARLO_ALREADY_IMPORTED: u32 = 9;

/// no memory for a GUID string or a request
pub const FARLO_NO_GUID_MEMORY: u32 = 17;

/// a property could not be read or written; no memory; no thread or mutex could be created
pub const FARLO_EXCEPTION: u32 = 18;

/// neither name nor GUID; a required argument missing
pub const FARLO_MISSING_ARGUMENT: u32 = 19;

/// the handle is not, or no longer, connected
pub const FARLO_NOT_CONNECTED: u32 = 20;

/// the command library refused the handle
pub const FARLO_UNINITIALIZE_FAILED: u32 = 21;

/// a kernel control device: sharing violation
pub const FARLO_DEVICE_SHARING_VIOLATION: u32 = 23;

/// a kernel control device: any other failure
pub const FARLO_DEVICE_FAILED: u32 = 24;

/// the config device: unsuccessful
pub const FARLO_DEVICE_UNSUCCESSFUL: u32 = 36;

/// the group has a type that is not accepted
pub const FARLO_EXCLUDED_TYPE: u32 = 40;

/// the service has no cluster-service object
pub const FARLO_NO_CLUSTER_SERVICE: u32 = 41;

/// the size that is needed has been stored
pub const FARLO_BUFFER_TOO_SMALL: u32 = 97;

/// GetDgVolumeGuidA failed, for any reason
pub const FARLO_NO_VOLUME_GUID: u32 = 98;

/// volume not found, or the service call failed
pub const FARLO_VOLUME_NOT_FOUND: u32 = 99;

/// the handle is NULL
pub const FARLO_NULL_HANDLE: u32 = 100;

/// an argument is invalid
pub const FARLO_INVALID_ARGUMENT: u32 = 0x80070057;

/// out of memory
pub const FARLO_OUT_OF_MEMORY: u32 = 0x8007000e;

/// a provider failed, or an object is missing
pub const FARLO_PROVIDER_FAILED: u32 = 0xc1000001;

/// the cluster volume manager runs already
pub const FARLO_NODE_ALREADY_STARTED: u32 = 0xe5150047;

/// the disk group is online already
pub const FARLO_ALREADY_ONLINE: u32 = 0xe515007a;

/// Room for any GUID string with its terminator, in characters (bytes).
pub const FARLO_GUID_TEXT_SIZE: u32 = 65;

/// Room for any name that the library returns, with its terminator, in wide characters. A longer
/// name of the service is refused (FARLO_EXCEPTION).
pub const FARLO_NAME_SIZE: u32 = 260;

/// A GUID in binary form, in bytes, laid out as Windows' GUID.
pub const FARLO_GUID_SIZE: u32 = 16;

/// Types of disk groups, the service's "LDM DG TYPE". It has more of them.
pub const FARLO_DG_TYPE_CLUSTER: u32 = 2;

/// Types of disk groups, the service's "LDM DG TYPE". It has more of them.
pub const FARLO_DG_TYPE_CLUSTER_SHARED: u32 = 8;

/// do not check whether a group of that name is imported already
pub const FARLO_ONLINE_NO_NAME_CHECK: u32 = 1;

/// a shared group
pub const FARLO_ONLINE_SHARED: u32 = 2048;

/// clear the host id on the group's disks
pub const FARLO_ONLINE_CLEAR_HOST_ID: u32 = 0x8000;

/// the log lines say "OfflineDg"
pub const FARLO_ONLINE_LOG_AS_OFFLINE: u32 = 0x20000;

/// a cluster-shared group, with SHARED: sets all bits but 0x2
pub const FARLO_ONLINE_CLUSTER_SHARED: u32 = 0x200000;

/// bit 0x40 is not added
pub const FARLO_OFFLINE_NO_NAME_CHECK: u32 = 1;

/// a shared group
pub const FARLO_OFFLINE_SHARED: u32 = 2048;

/// What GetDgReservationStatus stores when it asks the driver.
pub const FARLO_RESERVATION_NOT_HELD: u32 = 33;

/// What GetDgReservationStatus stores when it asks the driver.
pub const FARLO_RESERVATION_HELD: u32 = 34;

/// the driver could not be asked, or failed
pub const FARLO_RESERVATION_UNKNOWN: u32 = 35;

/// the group's reservation is being updated; not asked
pub const FARLO_RESERVATION_BUSY: u32 = 39;

/// Bits of a disk's state. They are the service's own, the library passes them through, and there
/// may be others: these are the ones that the lab's service knows. In the lab a disk with either of
/// them is not alive.
pub const FARLO_DISK_STATE_MISSING: u32 = 1;

/// Bits of a disk's state. They are the service's own, the library passes them through, and there
/// may be others: these are the ones that the lab's service knows. In the lab a disk with either of
/// them is not alive.
pub const FARLO_DISK_STATE_FAILED: u32 = 2;

/// The state of a plex is the service's own, and the library passes it through. Only this one is
/// known: what the lab's service reports for a plex to which nothing has happened.
pub const FARLO_PLEX_STATE_NONE: u32 = 0;

/// States of the node. The numbers are the service's own, the library passes them through, and
/// there may be others: these are the ones that the lab's service reports.
pub const FARLO_NODE_STATE_STOPPED: u32 = 0;

/// States of the node. The numbers are the service's own, the library passes them through, and
/// there may be others: these are the ones that the lab's service reports.
pub const FARLO_NODE_STATE_STARTING: u32 = 1;

/// States of the node. The numbers are the service's own, the library passes them through, and
/// there may be others: these are the ones that the lab's service reports.
pub const FARLO_NODE_STATE_RUNNING: u32 = 2;

/// States of the node. The numbers are the service's own, the library passes them through, and
/// there may be others: these are the ones that the lab's service reports.
pub const FARLO_NODE_STATE_STOPPING: u32 = 3;

/// stopped, and the last start failed
pub const FARLO_NODE_STATE_FAILED: u32 = 4;

/// The buffer of GetVolumeNameForSerialNumber, in bytes.
pub const FARLO_VOLUME_NAME_BUFFER_SIZE: u32 = 1656;

/// Partition styles.
pub const FARLO_PARTITION_STYLE_MBR: u32 = 0;

/// Partition styles.
pub const FARLO_PARTITION_STYLE_GPT: u32 = 1;

/// Partition styles.
pub const FARLO_PARTITION_STYLE_RAW: u32 = 2;

/// Bits of a volume's state. They are the service's own, the library passes them through, and there
/// may be others. OFFLINE is known from the lab's service: bringing a volume online clears it,
/// taking it offline sets it. The library itself tests only whether one of the bits of UNUSABLE is
/// set (GetUnusableVolumesInfo).
pub const FARLO_VOLUME_STATE_OFFLINE: u32 = 32;

/// 0x4, 0x10, 0x20 and 0x100
pub const FARLO_VOLUME_STATE_UNUSABLE: u32 = 308;

/// What GetDgVolumeStatus stores.
pub const FARLO_VOLUME_STATUS_HEALTHY: u32 = 36;

/// What GetDgVolumeStatus stores.
pub const FARLO_VOLUME_STATUS_OTHER: u32 = 35;

/// Set in the state of a record of a volume that cannot be used.
pub const FARLO_VOLUME_UNUSABLE: u32 = 32;

/// GetVolProperties: bytes that are written beyond the size that is reported and passed.
pub const FARLO_VOL_PROP_INFO_BEYOND: u32 = 4;

/// The name of a status; `None` for one without.
#[must_use]
pub const fn status_name(status: u32) -> Option<&'static str> {
    Some(match status {
        FARLO_SUCCESS => "FARLO_SUCCESS",
        FARLO_NOT_FOUND => "FARLO_NOT_FOUND",
        FARLO_ALREADY_IMPORTED => "FARLO_ALREADY_IMPORTED",
        FARLO_NO_GUID_MEMORY => "FARLO_NO_GUID_MEMORY",
        FARLO_EXCEPTION => "FARLO_EXCEPTION",
        FARLO_MISSING_ARGUMENT => "FARLO_MISSING_ARGUMENT",
        FARLO_NOT_CONNECTED => "FARLO_NOT_CONNECTED",
        FARLO_UNINITIALIZE_FAILED => "FARLO_UNINITIALIZE_FAILED",
        FARLO_DEVICE_SHARING_VIOLATION => "FARLO_DEVICE_SHARING_VIOLATION",
        FARLO_DEVICE_FAILED => "FARLO_DEVICE_FAILED",
        FARLO_DEVICE_UNSUCCESSFUL => "FARLO_DEVICE_UNSUCCESSFUL",
        FARLO_EXCLUDED_TYPE => "FARLO_EXCLUDED_TYPE",
        FARLO_NO_CLUSTER_SERVICE => "FARLO_NO_CLUSTER_SERVICE",
        FARLO_BUFFER_TOO_SMALL => "FARLO_BUFFER_TOO_SMALL",
        FARLO_NO_VOLUME_GUID => "FARLO_NO_VOLUME_GUID",
        FARLO_VOLUME_NOT_FOUND => "FARLO_VOLUME_NOT_FOUND",
        FARLO_NULL_HANDLE => "FARLO_NULL_HANDLE",
        FARLO_INVALID_ARGUMENT => "FARLO_INVALID_ARGUMENT",
        FARLO_OUT_OF_MEMORY => "FARLO_OUT_OF_MEMORY",
        FARLO_PROVIDER_FAILED => "FARLO_PROVIDER_FAILED",
        FARLO_NODE_ALREADY_STARTED => "FARLO_NODE_ALREADY_STARTED",
        FARLO_ALREADY_ONLINE => "FARLO_ALREADY_ONLINE",
        _ => return None,
    })
}

/// One plex of a volume. 68 bytes; records are stored consecutively.
#[repr(C)]
#[derive(Clone, Copy, Debug)]
pub struct farlo_plex_state {
    /// NUL-terminated
    pub name: [u16; 32],
    /// in the service's own numbers (FARLO_PLEX_STATE_)
    pub state: u32,
}

impl Default for farlo_plex_state {
    fn default() -> Self {
        // SAFETY: numbers and arrays of numbers, for which zeros are valid.
        unsafe { std::mem::zeroed() }
    }
}

/// One disk. 56 bytes.
#[repr(C, packed)]
#[derive(Clone, Copy, Debug)]
pub struct DgDiskInfo {
    /// at most 15 characters of the disk's "Name"
    pub name: [u16; 16],
    /// "SIGNATURE", or formed from "DISKID" (see each function)
    pub signature: u32,
    /// "LUN ID"
    pub lun: u32,
    /// "DISK TARGET ID"
    pub target: u32,
    /// "PORT"
    pub port: u32,
    /// never written
    pub reserved: [u8; 8],
}

impl Default for DgDiskInfo {
    fn default() -> Self {
        // SAFETY: numbers and arrays of numbers, for which zeros are valid.
        unsafe { std::mem::zeroed() }
    }
}

/// One volume. 1,656 bytes. The light form has only the device name, the drive letter, the type and
/// the size.
#[repr(C, packed)]
#[derive(Clone, Copy, Debug)]
pub struct VolInfo {
    /// "DEVICE NAME"
    pub device_name: [u16; 260],
    /// A letter and a colon ("F:"), or empty: always written. Reported by the service, in the light
    /// form by the system's mount-point manager; the two may disagree.
    pub drive_letter: [u16; 3],
    /// "type of file system" and "label" of the volume's file system; not written for a volume that
    /// has none.
    pub file_system: [u16; 32],
    /// "type of file system" and "label" of the volume's file system; not written for a volume that
    /// has none.
    pub label: [u16; 260],
    /// The folders in which the volume is mounted, separated by "; ", or empty: always written,
    /// except in the light form. Next to a folder of a volume that has no drive letter there may be
    /// two separators, or none. What does not fit is cut off. A volume that is mounted inside
    /// itself, directly or through others, is followed once: its own folders are not collected
    /// again, those after it still are.
    pub mount_points: [u16; 261],
    /// "type", in the service's own numbers
    pub r#type: u32,
    /// never written
    pub reserved: [u8; 4],
    /// "ztvmstate", the service's own 32 bits (FARLO_VOLUME_STATE_), sign-extended. In lists of
    /// unusable volumes with the bit FARLO_VOLUME_UNUSABLE; when the state could not be read, that
    /// bit is set in the buffer's contents.
    pub state: i64,
    /// "size": bytes
    pub size: u64,
}

impl Default for VolInfo {
    fn default() -> Self {
        // SAFETY: numbers and arrays of numbers, for which zeros are valid.
        unsafe { std::mem::zeroed() }
    }
}

/// Header of a disk group's record; `disk_count` DgDiskInfo and `volume_count` VolInfo follow.
#[repr(C, packed)]
#[derive(Clone, Copy, Debug)]
pub struct DgInfo {
    pub disk_count: u32,
    pub volume_count: u32,
}

impl Default for DgInfo {
    fn default() -> Self {
        // SAFETY: numbers and arrays of numbers, for which zeros are valid.
        unsafe { std::mem::zeroed() }
    }
}

/// Header of a volume's record; `disk_count` DgDiskInfo and one VolInfo follow.
#[repr(C, packed)]
#[derive(Clone, Copy, Debug)]
pub struct VolPropInfo {
    /// a disk counts once for each subdisk on it
    pub disk_count: u32,
    /// always 1
    pub volume_count: u32,
}

impl Default for VolPropInfo {
    fn default() -> Self {
        // SAFETY: numbers and arrays of numbers, for which zeros are valid.
        unsafe { std::mem::zeroed() }
    }
}

/// Header of a disk group's light record. If the group has a disk, the signature of the first one
/// (32 bits) follows, and then `volume_count` light VolInfo; otherwise the VolInfo follow at once.
/// Read it with farlo_dg_vol_info_signature and farlo_dg_vol_info_volume.
#[repr(C, packed)]
#[derive(Clone, Copy, Debug)]
pub struct DgVolInfo {
    pub volume_count: u32,
}

impl Default for DgVolInfo {
    fn default() -> Self {
        // SAFETY: numbers and arrays of numbers, for which zeros are valid.
        unsafe { std::mem::zeroed() }
    }
}

/// Header of a disk group's list of disks; `disk_count` DgDiskInfo follow.
#[repr(C, packed)]
#[derive(Clone, Copy, Debug)]
pub struct DgDiskList {
    pub disk_count: u32,
}

impl Default for DgDiskList {
    fn default() -> Self {
        // SAFETY: numbers and arrays of numbers, for which zeros are valid.
        unsafe { std::mem::zeroed() }
    }
}

functions! {
    /// Connects, or reconnects. `slot` is the address of the caller's handle:
    ///
    /// - it holds NULL: one try to connect; the new handle is stored there
    /// - a connected handle: nothing is done, except as said below
    /// - a handle that lost its connection: the handle is released; up to three tries to connect,
    ///   with a pause of half a second after each one that failed
    ///
    /// The callback last given to RegisterForAlerts is registered again after each new connection
    /// (after one that OnlineVol made for itself: by the next success of this function), and by the
    /// first success in the process, also if the handle in the slot was made elsewhere.
    ///
    /// InitializeClusterW, ValidateClusterA and ValidateClusterW are one function.
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NOT_CONNECTED` (no connection could be made, and the slot
    /// holds NULL; or `slot` is NULL).
    ///
    /// Blocks: 1.5 s. Before that it waits, without a limit, for other calls that make or release a
    /// connection (these, UnInitializeCluster, and OnlineVol when its group is missing).
    fn InitializeClusterW(slot: *mut opal_handle) -> u32;

    /// Connects, or reconnects. `slot` is the address of the caller's handle:
    ///
    /// - it holds NULL: one try to connect; the new handle is stored there
    /// - a connected handle: nothing is done, except as said below
    /// - a handle that lost its connection: the handle is released; up to three tries to connect,
    ///   with a pause of half a second after each one that failed
    ///
    /// The callback last given to RegisterForAlerts is registered again after each new connection
    /// (after one that OnlineVol made for itself: by the next success of this function), and by the
    /// first success in the process, also if the handle in the slot was made elsewhere.
    ///
    /// InitializeClusterW, ValidateClusterA and ValidateClusterW are one function.
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NOT_CONNECTED` (no connection could be made, and the slot
    /// holds NULL; or `slot` is NULL).
    ///
    /// Blocks: 1.5 s. Before that it waits, without a limit, for other calls that make or release a
    /// connection (these, UnInitializeCluster, and OnlineVol when its group is missing).
    fn ValidateClusterW(slot: *mut opal_handle) -> u32;

    /// Connects, or reconnects. `slot` is the address of the caller's handle:
    ///
    /// - it holds NULL: one try to connect; the new handle is stored there
    /// - a connected handle: nothing is done, except as said below
    /// - a handle that lost its connection: the handle is released; up to three tries to connect,
    ///   with a pause of half a second after each one that failed
    ///
    /// The callback last given to RegisterForAlerts is registered again after each new connection
    /// (after one that OnlineVol made for itself: by the next success of this function), and by the
    /// first success in the process, also if the handle in the slot was made elsewhere.
    ///
    /// InitializeClusterW, ValidateClusterA and ValidateClusterW are one function.
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NOT_CONNECTED` (no connection could be made, and the slot
    /// holds NULL; or `slot` is NULL).
    ///
    /// Blocks: 1.5 s. Before that it waits, without a limit, for other calls that make or release a
    /// connection (these, UnInitializeCluster, and OnlineVol when its group is missing).
    fn ValidateClusterA(slot: *mut opal_handle) -> u32;

    /// Connects, or reconnects. `slot` is the address of the caller's handle:
    ///
    /// - it holds NULL: one try to connect; the new handle is stored there
    /// - a connected handle: nothing is done, except as said below
    /// - a handle that lost its connection: the handle is released; up to three tries to connect,
    ///   with a pause of half a second after each one that failed
    ///
    /// The callback last given to RegisterForAlerts is registered again after each new connection
    /// (after one that OnlineVol made for itself: by the next success of this function), and by the
    /// first success in the process, also if the handle in the slot was made elsewhere.
    ///
    /// InitializeClusterW, ValidateClusterA and ValidateClusterW are one function.
    ///
    /// `name` and `reserved` are accepted for compatibility and have no effect.
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NOT_CONNECTED` (no connection could be made, and the slot
    /// holds NULL; or `slot` is NULL).
    ///
    /// Blocks: 1.5 s, as InitializeClusterW.
    fn InitializeClusterA(name: *const c_char, reserved: usize, slot: *mut opal_handle) -> u32;

    /// Disconnects and frees a handle. The caller's slot is not cleared: the handle in it must not
    /// be used again.
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_UNINITIALIZE_FAILED`.
    ///
    /// Blocks: No pauses, but waits as InitializeClusterW does; the command library may also wait
    /// for a callback that is running.
    fn UnInitializeClusterA(handle: opal_handle) -> u32;

    /// Disconnects and frees a handle. The caller's slot is not cleared: the handle in it must not
    /// be used again.
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_UNINITIALIZE_FAILED`.
    ///
    /// Blocks: No pauses, but waits as InitializeClusterW does; the command library may also wait
    /// for a callback that is running.
    fn UnInitializeClusterW(handle: opal_handle) -> u32;

    /// Stores the callback of the process, in place of the previous one, and registers a handle for
    /// alerts. There is only one callback: alerts of handles that were registered before run the
    /// new one.
    ///
    /// - `handle`: NULL: nothing is registered and 0 is returned; the callback is stored, and the
    ///   next new connection registers it
    /// - `callback`: NULL: the stored callback is cleared and 0 is returned. Registrations are not
    ///   withdrawn: each later alert only writes an error line (level 0) to the trace log. The old
    ///   callback may still be running on another thread, or about to run.
    ///
    /// Statuses: `FARLO_SUCCESS`.
    ///
    /// Passes through: the command library's.
    ///
    /// Returns the command library's status. The callback stays stored when that is a failure.
    ///
    /// Blocks: No pauses.
    fn RegisterForAlerts(handle: opal_handle, callback: farlo_reset_timeout) -> u32;

    /// The GUID string of a disk group, by its name. GetDgGuid finds cluster disk groups (by name:
    /// of type 2); GetNonClusterDgGuid finds any group, cluster groups included. A group that the
    /// service does not know is looked for again after a rescan of the machine's disks (10 s; one
    /// rescan at a time on a machine). Then the cluster service is asked for it.
    ///
    /// - `name`: the group's name; required
    /// - `guid`: receives the string; FARLO_GUID_TEXT_SIZE bytes
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`,
    /// `FARLO_MISSING_ARGUMENT`, `FARLO_EXCLUDED_TYPE`, `FARLO_NO_CLUSTER_SERVICE`,
    /// `FARLO_EXCEPTION` (the string cannot be read or does not fit), `FARLO_INVALID_ARGUMENT` (a
    /// narrow string is too long, or cannot be widened).
    ///
    /// Passes through: the service's.
    ///
    /// Blocks: 435 s (a search by name).
    fn GetDgGuidA(handle: opal_handle, name: *const c_char, guid: *mut c_char) -> u32;

    /// The GUID string of a disk group, by its name. GetDgGuid finds cluster disk groups (by name:
    /// of type 2); GetNonClusterDgGuid finds any group, cluster groups included. A group that the
    /// service does not know is looked for again after a rescan of the machine's disks (10 s; one
    /// rescan at a time on a machine). Then the cluster service is asked for it.
    ///
    /// - `name`: the group's name; required
    /// - `guid`: receives the string; FARLO_GUID_TEXT_SIZE bytes
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`,
    /// `FARLO_MISSING_ARGUMENT`, `FARLO_EXCLUDED_TYPE`, `FARLO_NO_CLUSTER_SERVICE`,
    /// `FARLO_EXCEPTION` (the string cannot be read or does not fit).
    ///
    /// Passes through: the service's.
    ///
    /// Blocks: 435 s (a search by name).
    fn GetDgGuidW(handle: opal_handle, name: *const u16, guid: *mut c_char) -> u32;

    /// The GUID string of a disk group, by its name. GetDgGuid finds cluster disk groups (by name:
    /// of type 2); GetNonClusterDgGuid finds any group, cluster groups included. A group that the
    /// service does not know is looked for again after a rescan of the machine's disks (10 s; one
    /// rescan at a time on a machine). Then the cluster service is asked for it.
    ///
    /// - `name`: the group's name; required
    /// - `guid`: receives the string; FARLO_GUID_TEXT_SIZE bytes
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`,
    /// `FARLO_MISSING_ARGUMENT`, `FARLO_EXCLUDED_TYPE`, `FARLO_NO_CLUSTER_SERVICE`,
    /// `FARLO_EXCEPTION` (the string cannot be read or does not fit), `FARLO_INVALID_ARGUMENT` (a
    /// narrow string is too long, or cannot be widened).
    ///
    /// Passes through: the service's.
    ///
    /// Blocks: 435 s (a search by name).
    fn GetNonClusterDgGuidA(handle: opal_handle, name: *const c_char, guid: *mut c_char) -> u32;

    /// The GUID string of a disk group, by its name. GetDgGuid finds cluster disk groups (by name:
    /// of type 2); GetNonClusterDgGuid finds any group, cluster groups included. A group that the
    /// service does not know is looked for again after a rescan of the machine's disks (10 s; one
    /// rescan at a time on a machine). Then the cluster service is asked for it.
    ///
    /// - `name`: the group's name; required
    /// - `guid`: receives the string; FARLO_GUID_TEXT_SIZE bytes
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`,
    /// `FARLO_MISSING_ARGUMENT`, `FARLO_EXCLUDED_TYPE`, `FARLO_NO_CLUSTER_SERVICE`,
    /// `FARLO_EXCEPTION` (the string cannot be read or does not fit).
    ///
    /// Passes through: the service's.
    ///
    /// Blocks: 435 s (a search by name).
    fn GetNonClusterDgGuidW(handle: opal_handle, name: *const u16, guid: *mut c_char) -> u32;

    /// The name of a cluster disk group, by its GUID string.
    ///
    /// - `guid`: required
    /// - `name`: receives the name; FARLO_NAME_SIZE wide characters
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`,
    /// `FARLO_MISSING_ARGUMENT`, `FARLO_NOT_FOUND`, `FARLO_EXCLUDED_TYPE`, `FARLO_EXCEPTION`.
    ///
    /// Blocks: 25 s.
    fn GetDgNameW(handle: opal_handle, guid: *const c_char, name: *mut u16) -> u32;

    /// The names of the disk groups that are imported on this host: those of type 2 (GetDgNameList)
    /// or the others (GetNonClusterDgNameList). The names are stored consecutively, each NUL-
    /// terminated, with no extra terminator at the end: narrow in the A forms, wide in the W forms.
    ///
    /// Pass a size of 0 to get the size. When no group qualifies, the status is 0, the count 0, and
    /// the size unchanged.
    ///
    /// One group fails the whole call with FARLO_EXCEPTION: one whose name cannot be read, and in
    /// the A forms, when the names are written, one whose name has more than 31 characters or no
    /// narrow form (see STRINGS above). If the names before it have been written, they are in the
    /// buffer, and the count is the number of all. A group whose type cannot be read is left out.
    ///
    /// - `buffer`: address of the pointer to the caller's buffer
    /// - `size`: in: the buffer's size in bytes; out: with FARLO_BUFFER_TOO_SMALL the size that is
    ///   needed (see SIZES above), otherwise unchanged
    /// - `count`: receives the number of names, before the names are written; unchanged with
    ///   FARLO_BUFFER_TOO_SMALL
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`,
    /// `FARLO_BUFFER_TOO_SMALL`, `FARLO_MISSING_ARGUMENT`, `FARLO_EXCEPTION`.
    ///
    /// Blocks: 25 s.
    fn GetDgNameListA(
        handle: opal_handle,
        buffer: *mut *mut c_char,
        size: *mut u32,
        count: *mut u32,
    ) -> u32;

    /// The names of the disk groups that are imported on this host: those of type 2 (GetDgNameList)
    /// or the others (GetNonClusterDgNameList). The names are stored consecutively, each NUL-
    /// terminated, with no extra terminator at the end: narrow in the A forms, wide in the W forms.
    ///
    /// Pass a size of 0 to get the size. When no group qualifies, the status is 0, the count 0, and
    /// the size unchanged.
    ///
    /// One group fails the whole call with FARLO_EXCEPTION: one whose name cannot be read, and in
    /// the A forms, when the names are written, one whose name has more than 31 characters or no
    /// narrow form (see STRINGS above). If the names before it have been written, they are in the
    /// buffer, and the count is the number of all. A group whose type cannot be read is left out.
    ///
    /// - `buffer`: address of the pointer to the caller's buffer
    /// - `size`: in: the buffer's size in bytes; out: with FARLO_BUFFER_TOO_SMALL the size that is
    ///   needed (see SIZES above), otherwise unchanged
    /// - `count`: receives the number of names, before the names are written; unchanged with
    ///   FARLO_BUFFER_TOO_SMALL
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`,
    /// `FARLO_BUFFER_TOO_SMALL`, `FARLO_MISSING_ARGUMENT`, `FARLO_EXCEPTION`.
    ///
    /// Blocks: 25 s.
    fn GetDgNameListW(
        handle: opal_handle,
        buffer: *mut *mut u16,
        size: *mut u32,
        count: *mut u32,
    ) -> u32;

    /// The names of the disk groups that are imported on this host: those of type 2 (GetDgNameList)
    /// or the others (GetNonClusterDgNameList). The names are stored consecutively, each NUL-
    /// terminated, with no extra terminator at the end: narrow in the A forms, wide in the W forms.
    ///
    /// Pass a size of 0 to get the size. When no group qualifies, the status is 0, the count 0, and
    /// the size unchanged.
    ///
    /// One group fails the whole call with FARLO_EXCEPTION: one whose name cannot be read, and in
    /// the A forms, when the names are written, one whose name has more than 31 characters or no
    /// narrow form (see STRINGS above). If the names before it have been written, they are in the
    /// buffer, and the count is the number of all. A group whose type cannot be read is left out.
    ///
    /// - `buffer`: address of the pointer to the caller's buffer
    /// - `size`: in: the buffer's size in bytes; out: with FARLO_BUFFER_TOO_SMALL the size that is
    ///   needed (see SIZES above), otherwise unchanged
    /// - `count`: receives the number of names, before the names are written; unchanged with
    ///   FARLO_BUFFER_TOO_SMALL
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`,
    /// `FARLO_BUFFER_TOO_SMALL`, `FARLO_MISSING_ARGUMENT`, `FARLO_EXCEPTION`.
    ///
    /// Blocks: 25 s.
    fn GetNonClusterDgNameListA(
        handle: opal_handle,
        buffer: *mut *mut c_char,
        size: *mut u32,
        count: *mut u32,
    ) -> u32;

    /// The names of the disk groups that are imported on this host: those of type 2 (GetDgNameList)
    /// or the others (GetNonClusterDgNameList). The names are stored consecutively, each NUL-
    /// terminated, with no extra terminator at the end: narrow in the A forms, wide in the W forms.
    ///
    /// Pass a size of 0 to get the size. When no group qualifies, the status is 0, the count 0, and
    /// the size unchanged.
    ///
    /// One group fails the whole call with FARLO_EXCEPTION: one whose name cannot be read, and in
    /// the A forms, when the names are written, one whose name has more than 31 characters or no
    /// narrow form (see STRINGS above). If the names before it have been written, they are in the
    /// buffer, and the count is the number of all. A group whose type cannot be read is left out.
    ///
    /// - `buffer`: address of the pointer to the caller's buffer
    /// - `size`: in: the buffer's size in bytes; out: with FARLO_BUFFER_TOO_SMALL the size that is
    ///   needed (see SIZES above), otherwise unchanged
    /// - `count`: receives the number of names, before the names are written; unchanged with
    ///   FARLO_BUFFER_TOO_SMALL
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`,
    /// `FARLO_BUFFER_TOO_SMALL`, `FARLO_MISSING_ARGUMENT`, `FARLO_EXCEPTION`.
    ///
    /// Blocks: 25 s.
    fn GetNonClusterDgNameListW(
        handle: opal_handle,
        buffer: *mut *mut u16,
        size: *mut u32,
        count: *mut u32,
    ) -> u32;

    /// Imports a disk group on this host.
    ///
    /// OnlineDg is OnlineDgEx without the last argument.
    ///
    /// - `name`: name the group. Without FARLO_ONLINE_SHARED: a cluster disk group by name, any
    ///   group by GUID string. With it: a group of any type, which must be found.
    /// - `guid`: name the group. Without FARLO_ONLINE_SHARED: a cluster disk group by name, any
    ///   group by GUID string. With it: a group of any type, which must be found.
    /// - `new_name`: the name that the group is to get; NULL or empty for none
    /// - `options`: FARLO_ONLINE_ bits
    /// - `reserved`: accepted and not used
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`,
    /// `FARLO_ALREADY_IMPORTED`, `FARLO_NOT_FOUND` (a shared group), `FARLO_NO_GUID_MEMORY`,
    /// `FARLO_EXCEPTION`, `FARLO_MISSING_ARGUMENT`, `FARLO_INVALID_ARGUMENT` (the GUID string is
    /// too long; a narrow string is too long, or cannot be widened), `FARLO_EXCLUDED_TYPE`,
    /// `FARLO_NO_CLUSTER_SERVICE`, `FARLO_ALREADY_ONLINE`.
    ///
    /// Passes through: the service's.
    ///
    /// When the name check runs out of memory, the status is 0 although nothing was imported.
    ///
    /// Blocks: 455 s by name (a search and a lookup), 25 s by GUID string; 20 s more for a shared
    /// group.
    fn OnlineDgExA(
        handle: opal_handle,
        name: *const c_char,
        guid: *const c_char,
        new_name: *const c_char,
        options: u32,
        reserved: u32,
    ) -> u32;

    /// Imports a disk group on this host.
    ///
    /// OnlineDg is OnlineDgEx without the last argument.
    ///
    /// - `name`: name the group. Without FARLO_ONLINE_SHARED: a cluster disk group by name, any
    ///   group by GUID string. With it: a group of any type, which must be found.
    /// - `guid`: name the group. Without FARLO_ONLINE_SHARED: a cluster disk group by name, any
    ///   group by GUID string. With it: a group of any type, which must be found.
    /// - `new_name`: the name that the group is to get; NULL or empty for none
    /// - `options`: FARLO_ONLINE_ bits
    /// - `reserved`: accepted and not used
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`,
    /// `FARLO_ALREADY_IMPORTED`, `FARLO_NOT_FOUND` (a shared group), `FARLO_NO_GUID_MEMORY`,
    /// `FARLO_EXCEPTION`, `FARLO_MISSING_ARGUMENT`, `FARLO_INVALID_ARGUMENT` (the GUID string is
    /// too long), `FARLO_EXCLUDED_TYPE`, `FARLO_NO_CLUSTER_SERVICE`, `FARLO_ALREADY_ONLINE`.
    ///
    /// Passes through: the service's.
    ///
    /// When the name check runs out of memory, the status is 0 although nothing was imported.
    ///
    /// Blocks: 455 s by name (a search and a lookup), 25 s by GUID string; 20 s more for a shared
    /// group.
    fn OnlineDgExW(
        handle: opal_handle,
        name: *const u16,
        guid: *const c_char,
        new_name: *const u16,
        options: u32,
        reserved: u32,
    ) -> u32;

    /// Imports a disk group on this host.
    ///
    /// OnlineDg is OnlineDgEx without the last argument.
    ///
    /// - `name`: name the group. Without FARLO_ONLINE_SHARED: a cluster disk group by name, any
    ///   group by GUID string. With it: a group of any type, which must be found.
    /// - `guid`: name the group. Without FARLO_ONLINE_SHARED: a cluster disk group by name, any
    ///   group by GUID string. With it: a group of any type, which must be found.
    /// - `new_name`: the name that the group is to get; NULL or empty for none
    /// - `options`: FARLO_ONLINE_ bits
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`,
    /// `FARLO_ALREADY_IMPORTED`, `FARLO_NOT_FOUND` (a shared group), `FARLO_NO_GUID_MEMORY`,
    /// `FARLO_EXCEPTION`, `FARLO_MISSING_ARGUMENT`, `FARLO_INVALID_ARGUMENT` (the GUID string is
    /// too long; a narrow string is too long, or cannot be widened), `FARLO_EXCLUDED_TYPE`,
    /// `FARLO_NO_CLUSTER_SERVICE`, `FARLO_ALREADY_ONLINE`.
    ///
    /// Passes through: the service's.
    ///
    /// When the name check runs out of memory, the status is 0 although nothing was imported.
    ///
    /// Blocks: 455 s by name (a search and a lookup), 25 s by GUID string; 20 s more for a shared
    /// group.
    fn OnlineDgA(
        handle: opal_handle,
        name: *const c_char,
        guid: *const c_char,
        new_name: *const c_char,
        options: u32,
    ) -> u32;

    /// Imports a disk group on this host.
    ///
    /// OnlineDg is OnlineDgEx without the last argument.
    ///
    /// - `name`: name the group. Without FARLO_ONLINE_SHARED: a cluster disk group by name, any
    ///   group by GUID string. With it: a group of any type, which must be found.
    /// - `guid`: name the group. Without FARLO_ONLINE_SHARED: a cluster disk group by name, any
    ///   group by GUID string. With it: a group of any type, which must be found.
    /// - `new_name`: the name that the group is to get; NULL or empty for none
    /// - `options`: FARLO_ONLINE_ bits
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`,
    /// `FARLO_ALREADY_IMPORTED`, `FARLO_NOT_FOUND` (a shared group), `FARLO_NO_GUID_MEMORY`,
    /// `FARLO_EXCEPTION`, `FARLO_MISSING_ARGUMENT`, `FARLO_INVALID_ARGUMENT` (the GUID string is
    /// too long), `FARLO_EXCLUDED_TYPE`, `FARLO_NO_CLUSTER_SERVICE`, `FARLO_ALREADY_ONLINE`.
    ///
    /// Passes through: the service's.
    ///
    /// When the name check runs out of memory, the status is 0 although nothing was imported.
    ///
    /// Blocks: 455 s by name (a search and a lookup), 25 s by GUID string; 20 s more for a shared
    /// group.
    fn OnlineDgW(
        handle: opal_handle,
        name: *const u16,
        guid: *const c_char,
        new_name: *const u16,
        options: u32,
    ) -> u32;

    /// Imports a disk group with all option bits set; of `options` only bit 0x2 counts. Does not
    /// check whether a group of that name is imported already.
    ///
    /// - `name`: name the group: a cluster disk group by name, any group by GUID string
    /// - `guid`: name the group: a cluster disk group by name, any group by GUID string
    /// - `new_name`: the name that the group is to get; NULL or empty for none
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`,
    /// `FARLO_NO_GUID_MEMORY`, `FARLO_EXCEPTION`, `FARLO_MISSING_ARGUMENT`,
    /// `FARLO_INVALID_ARGUMENT` (the GUID string is too long; a narrow string is too long, or
    /// cannot be widened), `FARLO_EXCLUDED_TYPE`, `FARLO_NO_CLUSTER_SERVICE`,
    /// `FARLO_ALREADY_ONLINE`.
    ///
    /// Passes through: the service's.
    ///
    /// Blocks: 455 s by name (a search and a lookup), 25 s by GUID string.
    fn ImportDgA(
        handle: opal_handle,
        name: *const c_char,
        guid: *const c_char,
        new_name: *const c_char,
        options: u32,
    ) -> u32;

    /// Imports a disk group with all option bits set; of `options` only bit 0x2 counts. Does not
    /// check whether a group of that name is imported already.
    ///
    /// - `name`: name the group: a cluster disk group by name, any group by GUID string
    /// - `guid`: name the group: a cluster disk group by name, any group by GUID string
    /// - `new_name`: the name that the group is to get; NULL or empty for none
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`,
    /// `FARLO_NO_GUID_MEMORY`, `FARLO_EXCEPTION`, `FARLO_MISSING_ARGUMENT`,
    /// `FARLO_INVALID_ARGUMENT` (the GUID string is too long), `FARLO_EXCLUDED_TYPE`,
    /// `FARLO_NO_CLUSTER_SERVICE`, `FARLO_ALREADY_ONLINE`.
    ///
    /// Passes through: the service's.
    ///
    /// Blocks: 455 s by name (a search and a lookup), 25 s by GUID string.
    fn ImportDgW(
        handle: opal_handle,
        name: *const u16,
        guid: *const c_char,
        new_name: *const u16,
        options: u32,
    ) -> u32;

    /// Deports a disk group from this host.
    ///
    /// - `name`: name the group: by name a cluster disk group, with FARLO_OFFLINE_SHARED a group of
    ///   any type. A group that is not found by its GUID string is deported anyway: the service
    ///   decides.
    /// - `guid`: name the group: by name a cluster disk group, with FARLO_OFFLINE_SHARED a group of
    ///   any type. A group that is not found by its GUID string is deported anyway: the service
    ///   decides.
    /// - `options`: FARLO_OFFLINE_ bits
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`,
    /// `FARLO_NO_GUID_MEMORY`, `FARLO_EXCEPTION`, `FARLO_MISSING_ARGUMENT`,
    /// `FARLO_INVALID_ARGUMENT` (the GUID string is too long; a narrow string is too long, or
    /// cannot be widened), `FARLO_EXCLUDED_TYPE`, `FARLO_NO_CLUSTER_SERVICE`.
    ///
    /// Passes through: the service's.
    ///
    /// Blocks: 475 s by name (a search and two lookups), 45 s by GUID string.
    fn OfflineDgA(
        handle: opal_handle,
        name: *const c_char,
        guid: *const c_char,
        options: u32,
    ) -> u32;

    /// Deports a disk group from this host.
    ///
    /// - `name`: name the group: by name a cluster disk group, with FARLO_OFFLINE_SHARED a group of
    ///   any type. A group that is not found by its GUID string is deported anyway: the service
    ///   decides.
    /// - `guid`: name the group: by name a cluster disk group, with FARLO_OFFLINE_SHARED a group of
    ///   any type. A group that is not found by its GUID string is deported anyway: the service
    ///   decides.
    /// - `options`: FARLO_OFFLINE_ bits
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`,
    /// `FARLO_NO_GUID_MEMORY`, `FARLO_EXCEPTION`, `FARLO_MISSING_ARGUMENT`,
    /// `FARLO_INVALID_ARGUMENT` (the GUID string is too long), `FARLO_EXCLUDED_TYPE`,
    /// `FARLO_NO_CLUSTER_SERVICE`.
    ///
    /// Passes through: the service's.
    ///
    /// Blocks: 475 s by name (a search and two lookups), 45 s by GUID string.
    fn OfflineDgW(handle: opal_handle, name: *const u16, guid: *const c_char, options: u32) -> u32;

    /// Deports a cluster disk group, which must be found.
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`,
    /// `FARLO_NO_GUID_MEMORY`, `FARLO_EXCEPTION`, `FARLO_MISSING_ARGUMENT`,
    /// `FARLO_INVALID_ARGUMENT` (the GUID string is too long; a narrow string is too long, or
    /// cannot be widened), `FARLO_EXCLUDED_TYPE`, `FARLO_NO_CLUSTER_SERVICE`, `FARLO_NOT_FOUND`.
    ///
    /// Passes through: the service's.
    ///
    /// Blocks: 475 s by name (a search and two lookups), 45 s by GUID string.
    fn DeportDgA(handle: opal_handle, name: *const c_char, guid: *const c_char) -> u32;

    /// Deports a cluster disk group, which must be found.
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`,
    /// `FARLO_NO_GUID_MEMORY`, `FARLO_EXCEPTION`, `FARLO_MISSING_ARGUMENT`,
    /// `FARLO_INVALID_ARGUMENT` (the GUID string is too long), `FARLO_EXCLUDED_TYPE`,
    /// `FARLO_NO_CLUSTER_SERVICE`, `FARLO_NOT_FOUND`.
    ///
    /// Passes through: the service's.
    ///
    /// Blocks: 475 s by name (a search and two lookups), 45 s by GUID string.
    fn DeportDgW(handle: opal_handle, name: *const u16, guid: *const c_char) -> u32;

    /// ArbitrateDg asks the service to take the reservations of a disk group's disks for this node;
    /// StopDgReservation asks it to stop holding them. A group that is given by name must be a
    /// cluster disk group; one that is given by GUID string may be any.
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`,
    /// `FARLO_NO_GUID_MEMORY`, `FARLO_EXCEPTION`, `FARLO_MISSING_ARGUMENT`,
    /// `FARLO_INVALID_ARGUMENT` (the GUID string is too long; a narrow string is too long, or
    /// cannot be widened), `FARLO_EXCLUDED_TYPE`, `FARLO_NO_CLUSTER_SERVICE`.
    ///
    /// Passes through: the service's.
    ///
    /// Blocks: 455 s by name (a search and a lookup), 25 s by GUID string.
    fn ArbitrateDgA(handle: opal_handle, name: *const c_char, guid: *const c_char) -> u32;

    /// ArbitrateDg asks the service to take the reservations of a disk group's disks for this node;
    /// StopDgReservation asks it to stop holding them. A group that is given by name must be a
    /// cluster disk group; one that is given by GUID string may be any.
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`,
    /// `FARLO_NO_GUID_MEMORY`, `FARLO_EXCEPTION`, `FARLO_MISSING_ARGUMENT`,
    /// `FARLO_INVALID_ARGUMENT` (the GUID string is too long), `FARLO_EXCLUDED_TYPE`,
    /// `FARLO_NO_CLUSTER_SERVICE`.
    ///
    /// Passes through: the service's.
    ///
    /// Blocks: 455 s by name (a search and a lookup), 25 s by GUID string.
    fn ArbitrateDgW(handle: opal_handle, name: *const u16, guid: *const c_char) -> u32;

    /// ArbitrateDg asks the service to take the reservations of a disk group's disks for this node;
    /// StopDgReservation asks it to stop holding them. A group that is given by name must be a
    /// cluster disk group; one that is given by GUID string may be any.
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`,
    /// `FARLO_NO_GUID_MEMORY`, `FARLO_EXCEPTION`, `FARLO_MISSING_ARGUMENT`,
    /// `FARLO_INVALID_ARGUMENT` (the GUID string is too long; a narrow string is too long, or
    /// cannot be widened), `FARLO_EXCLUDED_TYPE`, `FARLO_NO_CLUSTER_SERVICE`.
    ///
    /// Passes through: the service's.
    ///
    /// Blocks: 455 s by name (a search and a lookup), 25 s by GUID string.
    fn StopDgReservationA(handle: opal_handle, name: *const c_char, guid: *const c_char) -> u32;

    /// ArbitrateDg asks the service to take the reservations of a disk group's disks for this node;
    /// StopDgReservation asks it to stop holding them. A group that is given by name must be a
    /// cluster disk group; one that is given by GUID string may be any.
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`,
    /// `FARLO_NO_GUID_MEMORY`, `FARLO_EXCEPTION`, `FARLO_MISSING_ARGUMENT`,
    /// `FARLO_INVALID_ARGUMENT` (the GUID string is too long), `FARLO_EXCLUDED_TYPE`,
    /// `FARLO_NO_CLUSTER_SERVICE`.
    ///
    /// Passes through: the service's.
    ///
    /// Blocks: 455 s by name (a search and a lookup), 25 s by GUID string.
    fn StopDgReservationW(handle: opal_handle, name: *const u16, guid: *const c_char) -> u32;

    /// Whether this node holds the reservation of a disk group. A group that is given by name must
    /// be a cluster disk group.
    ///
    /// The driver is asked, and asked again while it fails: up to 30 times, a second apart. On a
    /// node that reserves through the service (registry value SupportSCSI3 = 2, read by the first
    /// call in the process) the service is asked, and the state is the service's own.
    ///
    /// - `handle`: needed to ask the service or to find a group by its name; otherwise not checked.
    ///   Whether it is connected is only checked by a search by name.
    /// - `reservation`: receives the state: - from the driver, also with a failure
    ///   (FARLO_RESERVATION_UNKNOWN); - FARLO_RESERVATION_BUSY with status 0 when the lock of the
    ///   group's reservation thread cannot be taken: another thread holds it, its holder died, or
    ///   it cannot be created; - from the service, also with an informational status, which is not
    ///   0. It is unchanged, with status 0, when there is no memory for the question, or when the
    ///   service reports no state.
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NOT_FOUND` (there is no driver, or it does not know the
    /// group), `FARLO_DEVICE_SHARING_VIOLATION`, `FARLO_DEVICE_FAILED`, `FARLO_NO_GUID_MEMORY`,
    /// `FARLO_MISSING_ARGUMENT`, `FARLO_INVALID_ARGUMENT` (the GUID string is too long; a narrow
    /// string is too long, or cannot be widened), `FARLO_NULL_HANDLE` (by name; when the service is
    /// asked), `FARLO_NOT_CONNECTED` (by name), `FARLO_EXCLUDED_TYPE` (by name),
    /// `FARLO_NO_CLUSTER_SERVICE` (by name; when the service is asked), `FARLO_EXCEPTION` (by name,
    /// the string cannot be read or does not fit).
    ///
    /// Passes through: the service's (by name; when the service is asked).
    ///
    /// Blocks: 120 s when the driver is asked (30 openings of its device and as many seconds), 3 s
    /// when there is no driver; 25 s when the service is asked. By name 430 s more (a search).
    fn GetDgReservationStatusA(
        handle: opal_handle,
        name: *const c_char,
        guid: *const c_char,
        reservation: *mut u32,
    ) -> u32;

    /// Whether this node holds the reservation of a disk group. A group that is given by name must
    /// be a cluster disk group.
    ///
    /// The driver is asked, and asked again while it fails: up to 30 times, a second apart. On a
    /// node that reserves through the service (registry value SupportSCSI3 = 2, read by the first
    /// call in the process) the service is asked, and the state is the service's own.
    ///
    /// - `handle`: needed to ask the service or to find a group by its name; otherwise not checked.
    ///   Whether it is connected is only checked by a search by name.
    /// - `reservation`: receives the state: - from the driver, also with a failure
    ///   (FARLO_RESERVATION_UNKNOWN); - FARLO_RESERVATION_BUSY with status 0 when the lock of the
    ///   group's reservation thread cannot be taken: another thread holds it, its holder died, or
    ///   it cannot be created; - from the service, also with an informational status, which is not
    ///   0. It is unchanged, with status 0, when there is no memory for the question, or when the
    ///   service reports no state.
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NOT_FOUND` (there is no driver, or it does not know the
    /// group), `FARLO_DEVICE_SHARING_VIOLATION`, `FARLO_DEVICE_FAILED`, `FARLO_NO_GUID_MEMORY`,
    /// `FARLO_MISSING_ARGUMENT`, `FARLO_INVALID_ARGUMENT` (the GUID string is too long),
    /// `FARLO_NULL_HANDLE` (by name; when the service is asked), `FARLO_NOT_CONNECTED` (by name),
    /// `FARLO_EXCLUDED_TYPE` (by name), `FARLO_NO_CLUSTER_SERVICE` (by name; when the service is
    /// asked), `FARLO_EXCEPTION` (by name, the string cannot be read or does not fit).
    ///
    /// Passes through: the service's (by name; when the service is asked).
    ///
    /// Blocks: 120 s when the driver is asked (30 openings of its device and as many seconds), 3 s
    /// when there is no driver; 25 s when the service is asked. By name 430 s more (a search).
    fn GetDgReservationStatusW(
        handle: opal_handle,
        name: *const u16,
        guid: *const c_char,
        reservation: *mut u32,
    ) -> u32;

    /// Asks the driver to release the reservation of a disk group, and again while it fails: up to
    /// 6 times, a second apart. Each call that asks costs the process a page of memory.
    ///
    /// - `guid`: the group's GUID string, at most 255 characters; required
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_EXCEPTION` (`guid` is NULL), `FARLO_INVALID_ARGUMENT`
    /// (`guid` is too long), `FARLO_NO_GUID_MEMORY`, `FARLO_NOT_FOUND` (there is no driver, or it
    /// does not know the group), `FARLO_DEVICE_SHARING_VIOLATION`, `FARLO_DEVICE_FAILED`.
    ///
    /// Blocks: 24 s (6 openings of the device and as many seconds), 3 s when there is no driver.
    fn ReleaseDgW(guid: *const c_char) -> u32;

    /// Whether a disk group, of any type, is imported on this host. GetDgState asks the driver; it
    /// asks the service when there is no driver, or when the driver does not know the group.
    /// GetDgStateExW asks the service.
    ///
    /// - `imported`: receives one byte: 1 imported, 0 not
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`,
    /// `FARLO_MISSING_ARGUMENT`, `FARLO_NOT_FOUND` (the service does not know the group, or its
    /// type is 0 or 7), `FARLO_EXCEPTION`, `FARLO_NO_GUID_MEMORY`, `FARLO_INVALID_ARGUMENT` (the
    /// GUID string is too long; a narrow string is too long, or cannot be widened),
    /// `FARLO_DEVICE_SHARING_VIOLATION`, `FARLO_DEVICE_FAILED`, `FARLO_EXCLUDED_TYPE` (by name),
    /// `FARLO_NO_CLUSTER_SERVICE` (by name).
    ///
    /// Passes through: the service's (by name).
    ///
    /// Blocks: 458 s by name (a search, the device, a lookup), 28 s by GUID string.
    fn GetDgStateA(
        handle: opal_handle,
        name: *const c_char,
        guid: *const c_char,
        imported: *mut u8,
    ) -> u32;

    /// Whether a disk group, of any type, is imported on this host. GetDgState asks the driver; it
    /// asks the service when there is no driver, or when the driver does not know the group.
    /// GetDgStateExW asks the service.
    ///
    /// - `imported`: receives one byte: 1 imported, 0 not
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`,
    /// `FARLO_MISSING_ARGUMENT`, `FARLO_NOT_FOUND` (the service does not know the group, or its
    /// type is 0 or 7), `FARLO_EXCEPTION`, `FARLO_NO_GUID_MEMORY`, `FARLO_INVALID_ARGUMENT` (the
    /// GUID string is too long), `FARLO_DEVICE_SHARING_VIOLATION`, `FARLO_DEVICE_FAILED`,
    /// `FARLO_EXCLUDED_TYPE` (by name), `FARLO_NO_CLUSTER_SERVICE` (by name).
    ///
    /// Passes through: the service's (by name).
    ///
    /// Blocks: 458 s by name (a search, the device, a lookup), 28 s by GUID string.
    fn GetDgStateW(
        handle: opal_handle,
        name: *const u16,
        guid: *const c_char,
        imported: *mut u8,
    ) -> u32;

    /// Whether a disk group, of any type, is imported on this host. GetDgState asks the driver; it
    /// asks the service when there is no driver, or when the driver does not know the group.
    /// GetDgStateExW asks the service.
    ///
    /// - `imported`: receives one byte: 1 imported, 0 not
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`,
    /// `FARLO_MISSING_ARGUMENT`, `FARLO_NOT_FOUND` (the service does not know the group, or its
    /// type is 0 or 7), `FARLO_EXCEPTION`.
    ///
    /// Blocks: 25 s.
    fn GetDgStateExW(
        handle: opal_handle,
        name: *const u16,
        guid: *const c_char,
        imported: *mut u8,
    ) -> u32;

    /// The state of a disk, in the service's own bits (FARLO_DISK_STATE_); 0 when the service
    /// reports none.
    ///
    /// - `disk`: the disk's name in the operating system or its device name, compared without
    ///   regard to case; required (at most 31 characters in the A form)
    /// - `state`: receives the state, with status 0, even if the connection dropped during the call
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`,
    /// `FARLO_MISSING_ARGUMENT` (also: no such disk), `FARLO_INVALID_ARGUMENT` (a narrow string is
    /// too long, or cannot be widened).
    ///
    /// Blocks: No pauses.
    fn GetDiskStateA(handle: opal_handle, disk: *const c_char, state: *mut u32) -> u32;

    /// The state of a disk, in the service's own bits (FARLO_DISK_STATE_); 0 when the service
    /// reports none.
    ///
    /// - `disk`: the disk's name in the operating system or its device name, compared without
    ///   regard to case; required (at most 31 characters in the A form)
    /// - `state`: receives the state, with status 0, even if the connection dropped during the call
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`,
    /// `FARLO_MISSING_ARGUMENT` (also: no such disk).
    ///
    /// Blocks: No pauses.
    fn GetDiskStateW(handle: opal_handle, disk: *const u16, state: *mut u32) -> u32;

    /// How many disks a disk group has, and how many of them are alive. A group that is given by
    /// name must be a cluster disk group.
    ///
    /// - `total`: receive the numbers; one that the service does not report is unchanged
    /// - `live`: receive the numbers; one that the service does not report is unchanged
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`, `FARLO_NOT_FOUND`
    /// (the service's call failed, for any reason), `FARLO_NO_GUID_MEMORY`, `FARLO_EXCEPTION`,
    /// `FARLO_MISSING_ARGUMENT`, `FARLO_INVALID_ARGUMENT` (the GUID string is too long; a narrow
    /// string is too long, or cannot be widened), `FARLO_EXCLUDED_TYPE`,
    /// `FARLO_NO_CLUSTER_SERVICE`.
    ///
    /// Passes through: the service's (by name).
    ///
    /// Blocks: 455 s by name (a search and a lookup), 25 s by GUID string.
    fn GetDgDiskAvailabilityA(
        handle: opal_handle,
        name: *const c_char,
        guid: *const c_char,
        total: *mut u32,
        live: *mut u32,
    ) -> u32;

    /// How many disks a disk group has, and how many of them are alive. A group that is given by
    /// name must be a cluster disk group.
    ///
    /// - `total`: receive the numbers; one that the service does not report is unchanged
    /// - `live`: receive the numbers; one that the service does not report is unchanged
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`, `FARLO_NOT_FOUND`
    /// (the service's call failed, for any reason), `FARLO_NO_GUID_MEMORY`, `FARLO_EXCEPTION`,
    /// `FARLO_MISSING_ARGUMENT`, `FARLO_INVALID_ARGUMENT` (the GUID string is too long),
    /// `FARLO_EXCLUDED_TYPE`, `FARLO_NO_CLUSTER_SERVICE`.
    ///
    /// Passes through: the service's (by name).
    ///
    /// Blocks: 455 s by name (a search and a lookup), 25 s by GUID string.
    fn GetDgDiskAvailabilityW(
        handle: opal_handle,
        name: *const u16,
        guid: *const c_char,
        total: *mut u32,
        live: *mut u32,
    ) -> u32;

    /// The states of a volume's plexes.
    ///
    /// - `name`: name the volume's group, which may be of any type
    /// - `guid`: name the volume's group, which may be of any type
    /// - `device`: the volume's device name; required. In the A form, too, `name` may be of any
    ///   length, and `device` of up to some 2000 characters.
    /// - `count`: receives the number of plexes
    /// - `plexes`: receives one record for each plex; NULL asks for the number
    ///   (FARLO_BUFFER_TOO_SMALL). The array must have room for all plexes of the volume: its size
    ///   is not passed and cannot be checked. A name of more than 31 characters, and what the
    ///   service does not report, leaves its field unchanged.
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED` (only if the handle
    /// was not connected when the call began), `FARLO_PROVIDER_FAILED` (no device name),
    /// `FARLO_MISSING_ARGUMENT`, `FARLO_NOT_FOUND` (every failed search for the group),
    /// `FARLO_INVALID_ARGUMENT` (no such volume; a device name that is too long),
    /// `FARLO_BUFFER_TOO_SMALL`, `FARLO_EXCEPTION`.
    ///
    /// Blocks: 25 s.
    fn GetDgVolPlexStatesA(
        handle: opal_handle,
        name: *const c_char,
        guid: *const c_char,
        device: *const c_char,
        count: *mut u32,
        plexes: *mut farlo_plex_state,
    ) -> u32;

    /// The states of a volume's plexes.
    ///
    /// - `name`: name the volume's group, which may be of any type
    /// - `guid`: name the volume's group, which may be of any type
    /// - `device`: the volume's device name; required. In the A form, too, `name` may be of any
    ///   length, and `device` of up to some 2000 characters.
    /// - `count`: receives the number of plexes
    /// - `plexes`: receives one record for each plex; NULL asks for the number
    ///   (FARLO_BUFFER_TOO_SMALL). The array must have room for all plexes of the volume: its size
    ///   is not passed and cannot be checked. A name of more than 31 characters, and what the
    ///   service does not report, leaves its field unchanged.
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED` (only if the handle
    /// was not connected when the call began), `FARLO_PROVIDER_FAILED` (no device name),
    /// `FARLO_MISSING_ARGUMENT`, `FARLO_NOT_FOUND` (every failed search for the group),
    /// `FARLO_INVALID_ARGUMENT` (no such volume; a device name that is too long),
    /// `FARLO_BUFFER_TOO_SMALL`, `FARLO_EXCEPTION`.
    ///
    /// Blocks: 25 s.
    fn GetDgVolPlexStatesW(
        handle: opal_handle,
        name: *const u16,
        guid: *const c_char,
        device: *const u16,
        count: *mut u32,
        plexes: *mut farlo_plex_state,
    ) -> u32;

    /// Sets the fast-failover flag of a disk group of any type. The values are the service's.
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`,
    /// `FARLO_MISSING_ARGUMENT`, `FARLO_NOT_FOUND` (every failed search for the group),
    /// `FARLO_EXCEPTION`.
    ///
    /// Passes through: the service's.
    ///
    /// Blocks: 25 s.
    fn SetFastFailoverFlagW(
        handle: opal_handle,
        name: *const u16,
        guid: *const c_char,
        flag: u32,
    ) -> u32;

    /// Reports the state of the cluster service to the storage service. The values are the storage
    /// service's. Both names are one function.
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED` (only if the handle
    /// was not connected when the call began), `FARLO_NO_CLUSTER_SERVICE`, `FARLO_EXCEPTION`.
    ///
    /// Passes through: the service's.
    ///
    /// Blocks: 25 s.
    fn ClusterServiceStateA(handle: opal_handle, state: u32) -> u32;

    /// Reports the state of the cluster service to the storage service. The values are the storage
    /// service's. Both names are one function.
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED` (only if the handle
    /// was not connected when the call began), `FARLO_NO_CLUSTER_SERVICE`, `FARLO_EXCEPTION`.
    ///
    /// Passes through: the service's.
    ///
    /// Blocks: 25 s.
    fn ClusterServiceStateW(handle: opal_handle, state: u32) -> u32;

    /// Asks the service to start or stop the cluster volume manager on this node, and returns the
    /// service's status. The node may take longer to get there.
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`,
    /// `FARLO_NO_CLUSTER_SERVICE`, `FARLO_EXCEPTION`, `FARLO_NODE_ALREADY_STARTED`.
    ///
    /// Passes through: the service's.
    ///
    /// Blocks: 25 s.
    fn StartCVMClusterW(handle: opal_handle) -> u32;

    /// Asks the service to start or stop the cluster volume manager on this node, and returns the
    /// service's status. The node may take longer to get there.
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`,
    /// `FARLO_NO_CLUSTER_SERVICE`, `FARLO_EXCEPTION`, `FARLO_NODE_ALREADY_STARTED`.
    ///
    /// Passes through: the service's.
    ///
    /// Blocks: 25 s.
    fn StopCVMClusterW(handle: opal_handle) -> u32;

    /// The state of the cluster volume manager on this node, in the service's own numbers
    /// (FARLO_NODE_STATE_).
    ///
    /// - `state`: receives the state if the service reports one, whatever the status; otherwise
    ///   unchanged
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`,
    /// `FARLO_NO_CLUSTER_SERVICE`, `FARLO_MISSING_ARGUMENT`, `FARLO_EXCEPTION`.
    ///
    /// Passes through: the service's.
    ///
    /// Blocks: 25 s.
    fn GetCVMClusterNodeStateW(handle: opal_handle, state: *mut u32) -> u32;

    /// Brings one volume online on this node. First starts the cluster volume manager if it does
    /// not run, and imports the volume's disk group, as a cluster-shared one, if it is not
    /// imported: import a group that is not shared before.
    ///
    /// The handle is never released or renewed. When the group is not found and the handle's
    /// connection has dropped, the call makes a connection of its own for the rest of its work and
    /// releases it at the end; the status is then that of this work. The handle stays dropped: the
    /// next call with it returns FARLO_NOT_CONNECTED, and ValidateClusterW reconnects it and
    /// registers the alerts again. Until then no alerts arrive: the connection that the call makes
    /// is not registered for them. Several threads may bring volumes online with one handle.
    ///
    /// When waiting for the node's start fails with an error of the system, the start goes on and
    /// uses the handle: do not release it then until the node has started.
    ///
    /// `guid` is checked after the node has started, the length of `device` also after the import.
    ///
    /// - `guid`: the disk group's GUID string; required. The group may be of any type that is
    ///   found.
    /// - `device`: the volume's device name; required
    /// - `flags`: the service's own bits; bit 0x1 is always added
    /// - `timeout_ms`: how often the callback of RegisterForAlerts runs, on this thread, while the
    ///   cluster volume manager starts: after each interval of this length, and once more at the
    ///   end. It does not limit the wait. With 0 the callback runs without a pause; with 0xFFFFFFFF
    ///   only at the end.
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_INVALID_ARGUMENT` (NULL, a device name that is too long,
    /// no such volume; the GUID string is too long), `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`,
    /// `FARLO_PROVIDER_FAILED` (no misc object, or the node reports a failed start; the system's
    /// error, when it reports none), `FARLO_EXCEPTION` (a property cannot be read; no thread or
    /// mutex), `FARLO_NOT_FOUND`, `FARLO_EXCLUDED_TYPE`, `FARLO_NO_CLUSTER_SERVICE`,
    /// `FARLO_NODE_ALREADY_STARTED`, `FARLO_ALREADY_IMPORTED`, `FARLO_NO_GUID_MEMORY`,
    /// `FARLO_MISSING_ARGUMENT`.
    ///
    /// Passes through: the service's.
    ///
    /// Passes through: the system's error.
    ///
    /// FARLO_ALREADY_ONLINE of the disk group counts as success.
    ///
    /// Blocks: Without a limit while the cluster volume manager starts, here or by another process.
    /// Apart from that 111 s: two lookups of the group with a reconnection between them, the import
    /// (by GUID string), and a lookup of the cluster service.
    fn OnlineVolA(
        handle: opal_handle,
        guid: *const c_char,
        device: *const c_char,
        flags: u32,
        timeout_ms: u32,
    ) -> u32;

    /// Brings one volume online on this node. First starts the cluster volume manager if it does
    /// not run, and imports the volume's disk group, as a cluster-shared one, if it is not
    /// imported: import a group that is not shared before.
    ///
    /// The handle is never released or renewed. When the group is not found and the handle's
    /// connection has dropped, the call makes a connection of its own for the rest of its work and
    /// releases it at the end; the status is then that of this work. The handle stays dropped: the
    /// next call with it returns FARLO_NOT_CONNECTED, and ValidateClusterW reconnects it and
    /// registers the alerts again. Until then no alerts arrive: the connection that the call makes
    /// is not registered for them. Several threads may bring volumes online with one handle.
    ///
    /// When waiting for the node's start fails with an error of the system, the start goes on and
    /// uses the handle: do not release it then until the node has started.
    ///
    /// `guid` is checked after the node has started, the length of `device` also after the import.
    ///
    /// - `guid`: the disk group's GUID string; required. The group may be of any type that is
    ///   found.
    /// - `device`: the volume's device name; required
    /// - `flags`: the service's own bits; bit 0x1 is always added
    /// - `timeout_ms`: how often the callback of RegisterForAlerts runs, on this thread, while the
    ///   cluster volume manager starts: after each interval of this length, and once more at the
    ///   end. It does not limit the wait. With 0 the callback runs without a pause; with 0xFFFFFFFF
    ///   only at the end.
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_INVALID_ARGUMENT` (NULL, a device name that is too long,
    /// no such volume; the GUID string is too long), `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`,
    /// `FARLO_PROVIDER_FAILED` (no misc object, or the node reports a failed start; the system's
    /// error, when it reports none), `FARLO_EXCEPTION` (a property cannot be read; no thread or
    /// mutex), `FARLO_NOT_FOUND`, `FARLO_EXCLUDED_TYPE`, `FARLO_NO_CLUSTER_SERVICE`,
    /// `FARLO_NODE_ALREADY_STARTED`, `FARLO_ALREADY_IMPORTED`, `FARLO_NO_GUID_MEMORY`,
    /// `FARLO_MISSING_ARGUMENT`.
    ///
    /// Passes through: the service's.
    ///
    /// Passes through: the system's error.
    ///
    /// FARLO_ALREADY_ONLINE of the disk group counts as success.
    ///
    /// Blocks: Without a limit while the cluster volume manager starts, here or by another process.
    /// Apart from that 111 s: two lookups of the group with a reconnection between them, the import
    /// (by GUID string), and a lookup of the cluster service.
    fn OnlineVolW(
        handle: opal_handle,
        guid: *const c_char,
        device: *const u16,
        flags: u32,
        timeout_ms: u32,
    ) -> u32;

    /// Takes one volume offline on this node. If the cluster volume manager does not run, there is
    /// nothing to do: the status is 0.
    ///
    /// - `guid`: the GUID string of the disk group, a cluster disk group; required
    /// - `device`: the volume's device name; required
    /// - `flags`: the service's own bits; bit 0x1 is always added
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_INVALID_ARGUMENT` (NULL, a device name that is too long,
    /// no such volume), `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`, `FARLO_PROVIDER_FAILED` (no
    /// misc object), `FARLO_EXCEPTION`, `FARLO_NOT_FOUND`, `FARLO_EXCLUDED_TYPE`,
    /// `FARLO_NO_CLUSTER_SERVICE`.
    ///
    /// Passes through: the service's.
    ///
    /// Blocks: 45 s (two lookups).
    fn OfflineVolA(
        handle: opal_handle,
        guid: *const c_char,
        device: *const c_char,
        flags: u32,
    ) -> u32;

    /// Takes one volume offline on this node. If the cluster volume manager does not run, there is
    /// nothing to do: the status is 0.
    ///
    /// - `guid`: the GUID string of the disk group, a cluster disk group; required
    /// - `device`: the volume's device name; required
    /// - `flags`: the service's own bits; bit 0x1 is always added
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_INVALID_ARGUMENT` (NULL, a device name that is too long,
    /// no such volume), `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`, `FARLO_PROVIDER_FAILED` (no
    /// misc object), `FARLO_EXCEPTION`, `FARLO_NOT_FOUND`, `FARLO_EXCLUDED_TYPE`,
    /// `FARLO_NO_CLUSTER_SERVICE`.
    ///
    /// Passes through: the service's.
    ///
    /// Blocks: 45 s (two lookups).
    fn OfflineVolW(handle: opal_handle, guid: *const c_char, device: *const u16, flags: u32) -> u32;

    /// Flushes and dismounts the file system of a volume, then informs the driver that the volume
    /// goes offline. Needs neither a handle nor the service. The first step that fails ends the
    /// call: a volume that cannot be opened or flushed is not dismounted, and the driver is only
    /// informed of a dismounted volume.
    ///
    /// - `name`: the volume's name, narrow in both forms, at most 64 characters; required
    /// - `path`: a path that opens the volume, with or without a final backslash, at most 259
    ///   characters; required
    /// - `group_guid`: the disk group's GUID, FARLO_GUID_SIZE bytes, passed to the driver
    ///   unchanged; required
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_INVALID_ARGUMENT` (NULL, or a string that is too long),
    /// `FARLO_PROVIDER_FAILED` (the system's error of opening, flushing or dismounting, when it
    /// reports none), `FARLO_DEVICE_SHARING_VIOLATION`, `FARLO_DEVICE_UNSUCCESSFUL`,
    /// `FARLO_NOT_FOUND` (it has no such device), `FARLO_MISSING_ARGUMENT` (it refuses the
    /// request), `FARLO_DEVICE_FAILED` (there is no driver, or any other failure).
    ///
    /// Passes through: the system's error of opening, flushing or dismounting.
    ///
    /// Blocks: 3 s (opening the device).
    fn OfflineVolumeA(name: *const c_char, path: *const c_char, group_guid: *const c_void) -> u32;

    /// Flushes and dismounts the file system of a volume, then informs the driver that the volume
    /// goes offline. Needs neither a handle nor the service. The first step that fails ends the
    /// call: a volume that cannot be opened or flushed is not dismounted, and the driver is only
    /// informed of a dismounted volume.
    ///
    /// - `name`: the volume's name, narrow in both forms, at most 64 characters; required
    /// - `path`: a path that opens the volume, with or without a final backslash, at most 259
    ///   characters; required
    /// - `group_guid`: the disk group's GUID, FARLO_GUID_SIZE bytes, passed to the driver
    ///   unchanged; required
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_INVALID_ARGUMENT` (NULL, or a string that is too long),
    /// `FARLO_PROVIDER_FAILED` (the system's error of opening, flushing or dismounting, when it
    /// reports none), `FARLO_DEVICE_SHARING_VIOLATION`, `FARLO_DEVICE_UNSUCCESSFUL`,
    /// `FARLO_NOT_FOUND` (it has no such device), `FARLO_MISSING_ARGUMENT` (it refuses the
    /// request), `FARLO_DEVICE_FAILED` (there is no driver, or any other failure).
    ///
    /// Passes through: the system's error of opening, flushing or dismounting.
    ///
    /// Blocks: 3 s (opening the device).
    fn OfflineVolumeW(name: *const c_char, path: *const u16, group_guid: *const c_void) -> u32;

    /// The GUID string of a volume, by its disk group and its device name.
    ///
    /// - `name`: name the group. By name it is looked up, may be of any type, and must be imported;
    ///   a GUID string is passed to the service.
    /// - `guid`: name the group. By name it is looked up, may be of any type, and must be imported;
    ///   a GUID string is passed to the service.
    /// - `device`: the volume's device name; required (at most 31 characters in the A form)
    /// - `volume_guid`: receives the string; FARLO_GUID_TEXT_SIZE bytes
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NO_VOLUME_GUID` (every failure of the W form),
    /// `FARLO_INVALID_ARGUMENT` (a name or device name that is too long).
    ///
    /// Blocks: 45 s by name (two lookups), 25 s by GUID string.
    fn GetDgVolumeGuidA(
        handle: opal_handle,
        name: *const c_char,
        guid: *const c_char,
        device: *const c_char,
        volume_guid: *mut c_char,
    ) -> u32;

    /// The GUID string of a volume, by its disk group and its device name.
    ///
    /// - `name`: name the group. By name it is looked up, may be of any type, and must be imported;
    ///   a GUID string is passed to the service.
    /// - `guid`: name the group. By name it is looked up, may be of any type, and must be imported;
    ///   a GUID string is passed to the service.
    /// - `device`: the volume's device name; required (at most 31 characters in the A form)
    /// - `volume_guid`: receives the string; FARLO_GUID_TEXT_SIZE bytes
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`,
    /// `FARLO_NO_GUID_MEMORY`, `FARLO_MISSING_ARGUMENT`, `FARLO_INVALID_ARGUMENT` (the GUID string
    /// is too long), `FARLO_NOT_FOUND` (the group is not found, or not imported),
    /// `FARLO_EXCLUDED_TYPE`, `FARLO_NO_CLUSTER_SERVICE`, `FARLO_VOLUME_NOT_FOUND` (the service's
    /// call failed, for any reason), `FARLO_EXCEPTION`.
    ///
    /// Blocks: 45 s by name (two lookups), 25 s by GUID string.
    fn GetDgVolumeGuidW(
        handle: opal_handle,
        name: *const u16,
        guid: *const c_char,
        device: *const u16,
        volume_guid: *mut c_char,
    ) -> u32;

    /// The name of the volume whose file system has a serial number, among the volumes of a cluster
    /// disk group.
    ///
    /// - `name`: name the group; `guid` is its GUID string, not 16 bytes
    /// - `guid`: name the group; `guid` is its GUID string, not 16 bytes
    /// - `serial_number`: the volume serial number of the file system
    /// - `volume_name`: receives the volume's name followed by a backslash, wide in both forms
    /// - `size`: in: the buffer's size in bytes; out: with FARLO_BUFFER_TOO_SMALL the size that is
    ///   needed, always FARLO_VOLUME_NAME_BUFFER_SIZE (see SIZES above), otherwise unchanged.
    ///   Checked before the buffer is.
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`,
    /// `FARLO_MISSING_ARGUMENT` (neither name nor GUID; no buffer or size), `FARLO_NOT_FOUND`
    /// (every failed search for the group), `FARLO_BUFFER_TOO_SMALL`, `FARLO_VOLUME_NOT_FOUND`,
    /// `FARLO_EXCEPTION` (a volume's name cannot be read, or is longer than the buffer),
    /// `FARLO_INVALID_ARGUMENT` (a narrow string is too long, or cannot be widened).
    ///
    /// Blocks: 25 s.
    fn GetVolumeNameForSerialNumberA(
        handle: opal_handle,
        name: *const c_char,
        guid: *const c_char,
        serial_number: u32,
        volume_name: *mut u16,
        size: *mut u32,
    ) -> u32;

    /// The name of the volume whose file system has a serial number, among the volumes of a cluster
    /// disk group.
    ///
    /// - `name`: name the group; `guid` is its GUID string, not 16 bytes
    /// - `guid`: name the group; `guid` is its GUID string, not 16 bytes
    /// - `serial_number`: the volume serial number of the file system
    /// - `volume_name`: receives the volume's name followed by a backslash, wide in both forms
    /// - `size`: in: the buffer's size in bytes; out: with FARLO_BUFFER_TOO_SMALL the size that is
    ///   needed, always FARLO_VOLUME_NAME_BUFFER_SIZE (see SIZES above), otherwise unchanged.
    ///   Checked before the buffer is.
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`,
    /// `FARLO_MISSING_ARGUMENT` (neither name nor GUID; no buffer or size), `FARLO_NOT_FOUND`
    /// (every failed search for the group), `FARLO_BUFFER_TOO_SMALL`, `FARLO_VOLUME_NOT_FOUND`,
    /// `FARLO_EXCEPTION` (a volume's name cannot be read, or is longer than the buffer).
    ///
    /// Blocks: 25 s.
    fn GetVolumeNameForSerialNumberW(
        handle: opal_handle,
        name: *const u16,
        guid: *const c_char,
        serial_number: u32,
        volume_name: *mut u16,
        size: *mut u32,
    ) -> u32;

    /// Asks the service to refresh the mount path of a volume.
    ///
    /// - `name`: the volume's name, device name or drive letter, compared without regard to case.
    ///   The first volume for which one of the three is equal is taken. So "" takes the first
    ///   volume that has an empty one, such as no drive letter.
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`,
    /// `FARLO_PROVIDER_FAILED` (NULL, or no such volume), `FARLO_EXCEPTION`,
    /// `FARLO_INVALID_ARGUMENT` (a narrow string is too long, or cannot be widened).
    ///
    /// Passes through: the service's.
    ///
    /// Blocks: No pauses.
    fn FFUpdateMountPathA(handle: opal_handle, name: *const c_char) -> u32;

    /// Asks the service to refresh the mount path of a volume.
    ///
    /// - `name`: the volume's name, device name or drive letter, compared without regard to case.
    ///   The first volume for which one of the three is equal is taken. So "" takes the first
    ///   volume that has an empty one, such as no drive letter.
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`,
    /// `FARLO_PROVIDER_FAILED` (NULL, or no such volume), `FARLO_EXCEPTION`.
    ///
    /// Passes through: the service's.
    ///
    /// Blocks: No pauses.
    fn FFUpdateMountPathW(handle: opal_handle, name: *const u16) -> u32;

    /// The partition style and the identity of the disk of a device. Needs no handle. A disk with
    /// more than 129 partition entries is not read.
    ///
    /// - `path`: device path of a disk or a volume that can be opened; required
    /// - `signature`: receives the signature of an MBR disk, otherwise unchanged; required
    /// - `disk_guid`: receives the GUID of a GPT disk, FARLO_GUID_SIZE bytes, otherwise unchanged.
    ///   NULL is only refused for a GPT disk, after its layout was read.
    /// - `style`: receives the partition style; required
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_INVALID_ARGUMENT` (NULL; a narrow string is too long, or
    /// cannot be widened), `FARLO_OUT_OF_MEMORY`, `FARLO_PROVIDER_FAILED` (the system's error of
    /// opening the device or of reading its layout, when it reports none).
    ///
    /// Passes through: the system's error of opening the device or of reading its layout.
    ///
    /// Blocks: No pauses.
    fn GetDiskTypeAndSignatureA(
        path: *const c_char,
        signature: *mut u32,
        disk_guid: *mut u8,
        style: *mut u32,
    ) -> u32;

    /// The partition style and the identity of the disk of a device. Needs no handle. A disk with
    /// more than 129 partition entries is not read.
    ///
    /// - `path`: device path of a disk or a volume that can be opened; required
    /// - `signature`: receives the signature of an MBR disk, otherwise unchanged; required
    /// - `disk_guid`: receives the GUID of a GPT disk, FARLO_GUID_SIZE bytes, otherwise unchanged.
    ///   NULL is only refused for a GPT disk, after its layout was read.
    /// - `style`: receives the partition style; required
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_INVALID_ARGUMENT` (NULL), `FARLO_OUT_OF_MEMORY`,
    /// `FARLO_PROVIDER_FAILED` (the system's error of opening the device or of reading its layout,
    /// when it reports none).
    ///
    /// Passes through: the system's error of opening the device or of reading its layout.
    ///
    /// Blocks: No pauses.
    fn GetDiskTypeAndSignatureW(
        path: *const u16,
        signature: *mut u32,
        disk_guid: *mut u8,
        style: *mut u32,
    ) -> u32;

    /// The identity of the disk of a group's first volume. The group is named by its name and must
    /// be a cluster disk group. For a group without volumes the status is 0 and nothing is written.
    ///
    /// - `name`: the group's name (at most 259 characters in the A form); required
    /// - `disk_id`: receives the signature of an MBR disk, otherwise unchanged; required
    /// - `style`: receives the partition style; required
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NOT_FOUND` (no such group; or `name`, `disk_id` or `style`
    /// is NULL), `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED` (only if the handle was not connected
    /// when the call began), `FARLO_EXCLUDED_TYPE`, `FARLO_EXCEPTION`, `FARLO_INVALID_ARGUMENT`
    /// (NULL; a narrow string is too long, or cannot be widened), `FARLO_OUT_OF_MEMORY`,
    /// `FARLO_PROVIDER_FAILED` (the system's error of opening the device or of reading its layout,
    /// when it reports none).
    ///
    /// Passes through: the system's error of opening the device or of reading its layout.
    ///
    /// Blocks: 25 s.
    fn GetFirstVolumesDiskIDA(
        handle: opal_handle,
        name: *const c_char,
        disk_id: *mut u32,
        style: *mut u32,
    ) -> u32;

    /// The identity of the disk of a group's first volume. The group is named by its name and must
    /// be a cluster disk group. For a group without volumes the status is 0 and nothing is written.
    ///
    /// - `name`: the group's name (at most 259 characters in the A form); required
    /// - `disk_id`: receives the signature of an MBR disk, otherwise unchanged; required
    /// - `style`: receives the partition style; required
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NOT_FOUND` (no such group; or `name`, `disk_id` or `style`
    /// is NULL), `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED` (only if the handle was not connected
    /// when the call began), `FARLO_EXCLUDED_TYPE`, `FARLO_EXCEPTION`, `FARLO_INVALID_ARGUMENT`
    /// (NULL), `FARLO_OUT_OF_MEMORY`, `FARLO_PROVIDER_FAILED` (the system's error of opening the
    /// device or of reading its layout, when it reports none).
    ///
    /// Passes through: the system's error of opening the device or of reading its layout.
    ///
    /// Blocks: 25 s.
    fn GetFirstVolumesDiskIDW(
        handle: opal_handle,
        name: *const u16,
        disk_id: *mut u32,
        style: *mut u32,
    ) -> u32;

    /// Whether a disk may be put under cluster control: its disk group is of type 2 and is a
    /// cluster resource.
    ///
    /// - `style`: FARLO_PARTITION_STYLE_MBR or FARLO_PARTITION_STYLE_GPT. With any other value the
    ///   service is sent an empty query; the result is about any disk that it returns, and can be
    ///   1.
    /// - `signature`: identifies an MBR disk
    /// - `disk_guid`: identifies a GPT disk; FARLO_GUID_SIZE bytes
    ///
    /// Returns 1 or 0; 0 for every failure.
    ///
    /// Blocks: No pauses.
    fn IsStorageClusterable(
        handle: opal_handle,
        style: u32,
        signature: u32,
        disk_guid: *const u8,
    ) -> u8;

    /// Whether the disk group of a volume has a type, in the service's own numbers
    /// (FARLO_DG_TYPE_). `volume_name` is the service's "volumename" of the volume, not its device
    /// name; one that is too long for a query (some 2000 characters) is a failure.
    ///
    /// Returns 1 or 0; 0 for every failure.
    ///
    /// Blocks: No pauses.
    fn IsVolumeOfSpecifiedDgType(handle: opal_handle, volume_name: *const u16, r#type: u32) -> u8;

    /// Whether the disk group of a volume is a cluster-shared one (type 8) that is shared.
    /// `volume_name` is as for IsVolumeOfSpecifiedDgType.
    ///
    /// Returns 1 or 0; 0 for every failure.
    ///
    /// Blocks: No pauses.
    fn IsVolumeClusterable(handle: opal_handle, volume_name: *const u16) -> u8;

    /// The GUID string of the cluster-shared disk group (type 8) that a volume belongs to.
    ///
    /// - `device`: the volume's device name; required
    /// - `guid`: receives the string; FARLO_GUID_TEXT_SIZE bytes; required. Receives an empty
    ///   string when the group's is longer.
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`,
    /// `FARLO_INVALID_ARGUMENT` (NULL, too long, or a group of another type),
    /// `FARLO_OUT_OF_MEMORY`, `FARLO_PROVIDER_FAILED` (no such volume, no group, or a string longer
    /// than the buffer), `FARLO_EXCEPTION`.
    ///
    /// Passes through: the service's.
    ///
    /// Blocks: No pauses.
    fn GetClusterSharedDgGuidA(
        handle: opal_handle,
        device: *const c_char,
        guid: *mut c_char,
    ) -> u32;

    /// The GUID string of the cluster-shared disk group (type 8) that a volume belongs to.
    ///
    /// - `device`: the volume's device name; required
    /// - `guid`: receives the string; FARLO_GUID_TEXT_SIZE bytes; required. Receives an empty
    ///   string when the group's is longer.
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`,
    /// `FARLO_INVALID_ARGUMENT` (NULL, too long, or a group of another type),
    /// `FARLO_OUT_OF_MEMORY`, `FARLO_PROVIDER_FAILED` (no such volume, no group, or a string longer
    /// than the buffer), `FARLO_EXCEPTION`.
    ///
    /// Passes through: the service's.
    ///
    /// Blocks: No pauses.
    fn GetClusterSharedDgGuidW(handle: opal_handle, device: *const u16, guid: *mut c_char) -> u32;

    /// Whether DeleteVMMSFolder is wanted on this machine.
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_PROVIDER_FAILED` (when not).
    ///
    /// Passes through: the system's error.
    ///
    /// Returns 0 when the system's version is 6.3 and the registry value VMMSFolderDelete is 1;
    /// FARLO_PROVIDER_FAILED when not; when a value cannot be read, the system's error as
    /// 0x8007xxxx, or unchanged if it is below 1 as a signed number.
    ///
    /// Blocks: No pauses.
    fn CheckOSVersionAndReg() -> u32;

    /// Removes the empty subfolders of a folder, and theirs. These are left alone: the folder
    /// itself; folders whose name begins with a dot, with everything in them; and reparse points
    /// (junctions, mounted volumes, links). Files are never deleted. The first subfolder that
    /// cannot be removed, because a file or something that is left alone is in it, ends the call;
    /// the folders that were removed before it stay removed.
    ///
    /// - `folder`: must end in a backslash, as the names of subfolders are appended to it as it is;
    ///   required. Its path, and the path of every subfolder, has at most 258 characters, the final
    ///   backslash included.
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_INVALID_ARGUMENT` (NULL or empty; a path that is too long,
    /// also of a subfolder).
    ///
    /// Passes through: the system's error.
    ///
    /// Blocks: No pauses.
    fn DeleteVMMSFolder(folder: *const u16) -> u32;

    /// The record of a disk group of any type: its disks and its volumes.
    ///
    /// A disk whose signature is missing or 0 gets one that is formed from its "DISKID": the
    /// hexadecimal number before the first "-", or all of a "DISKID" without "-"; 0xFFFFFFFF when
    /// that has more than 32 bits.
    ///
    /// - `record`: receives the record; NULL asks for the size
    /// - `size`: in: the buffer's size in bytes; out: with FARLO_BUFFER_TOO_SMALL the size that is
    ///   needed (see SIZES above), otherwise unchanged
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`,
    /// `FARLO_MISSING_ARGUMENT` (also: the size is enough and there is no buffer),
    /// `FARLO_NOT_FOUND` (every failed search for the group), `FARLO_BUFFER_TOO_SMALL`,
    /// `FARLO_EXCEPTION`, `FARLO_INVALID_ARGUMENT` (a narrow string is too long, or cannot be
    /// widened).
    ///
    /// Blocks: 25 s.
    fn GetDgPropertiesA(
        handle: opal_handle,
        name: *const c_char,
        guid: *const c_char,
        record: *mut DgInfo,
        size: *mut u32,
    ) -> u32;

    /// The record of a disk group of any type: its disks and its volumes.
    ///
    /// A disk whose signature is missing or 0 gets one that is formed from its "DISKID": the
    /// hexadecimal number before the first "-", or all of a "DISKID" without "-"; 0xFFFFFFFF when
    /// that has more than 32 bits.
    ///
    /// - `record`: receives the record; NULL asks for the size
    /// - `size`: in: the buffer's size in bytes; out: with FARLO_BUFFER_TOO_SMALL the size that is
    ///   needed (see SIZES above), otherwise unchanged
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`,
    /// `FARLO_MISSING_ARGUMENT` (also: the size is enough and there is no buffer),
    /// `FARLO_NOT_FOUND` (every failed search for the group), `FARLO_BUFFER_TOO_SMALL`,
    /// `FARLO_EXCEPTION`.
    ///
    /// Blocks: 25 s.
    fn GetDgPropertiesW(
        handle: opal_handle,
        name: *const u16,
        guid: *const c_char,
        record: *mut DgInfo,
        size: *mut u32,
    ) -> u32;

    /// The light record of a cluster disk group: the signature of its first disk, and its volumes
    /// in the light form. A signature that is missing or 0 is not formed.
    ///
    /// - `record`: receives the record; NULL asks for the size. Prepare it with
    ///   farlo_dg_vol_info_prepare before each call.
    /// - `size`: as for GetDgProperties; the same whether or not the group has a disk
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`,
    /// `FARLO_MISSING_ARGUMENT` (also: the size is enough and there is no buffer),
    /// `FARLO_NOT_FOUND` (every failed search for the group), `FARLO_BUFFER_TOO_SMALL`,
    /// `FARLO_EXCEPTION`, `FARLO_INVALID_ARGUMENT` (a narrow string is too long, or cannot be
    /// widened).
    ///
    /// Blocks: 25 s.
    fn GetDgVolPropertiesA(
        handle: opal_handle,
        name: *const c_char,
        guid: *const c_char,
        record: *mut DgVolInfo,
        size: *mut u32,
    ) -> u32;

    /// The light record of a cluster disk group: the signature of its first disk, and its volumes
    /// in the light form. A signature that is missing or 0 is not formed.
    ///
    /// - `record`: receives the record; NULL asks for the size. Prepare it with
    ///   farlo_dg_vol_info_prepare before each call.
    /// - `size`: as for GetDgProperties; the same whether or not the group has a disk
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`,
    /// `FARLO_MISSING_ARGUMENT` (also: the size is enough and there is no buffer),
    /// `FARLO_NOT_FOUND` (every failed search for the group), `FARLO_BUFFER_TOO_SMALL`,
    /// `FARLO_EXCEPTION`.
    ///
    /// Blocks: 25 s.
    fn GetDgVolPropertiesW(
        handle: opal_handle,
        name: *const u16,
        guid: *const c_char,
        record: *mut DgVolInfo,
        size: *mut u32,
    ) -> u32;

    /// The record of a volume: the disks that its subdisks are on, and the volume itself.
    /// Signatures are formed as by GetDgProperties.
    ///
    /// ```text
    /// uint32_t size = 0;
    /// VolPropInfo none;
    /// if (GetVolPropertiesW(handle, device, &none, &size) == FARLO_BUFFER_TOO_SMALL) {
    ///     size_t allocated = (size_t)farlo_vol_prop_info_allocation(size);
    ///     VolPropInfo* record = malloc(allocated);
    ///     size = farlo_vol_prop_info_prepare(record, allocated);
    ///     GetVolPropertiesW(handle, device, record, &size) ...
    /// ```
    ///
    /// - `device`: the volume's device name; required
    /// - `record`: receives the record; required also when only the size is asked for
    /// - `size`: as for GetDgProperties, but: FOUR BYTES MORE than this size are written.
    ///   farlo_vol_prop_info_allocation returns the bytes to allocate, farlo_vol_prop_info_prepare
    ///   the size to pass.
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_INVALID_ARGUMENT` (no device name, or one that is too
    /// long; no such volume; in the A form any argument that is NULL except the handle),
    /// `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`, `FARLO_MISSING_ARGUMENT`,
    /// `FARLO_BUFFER_TOO_SMALL`, `FARLO_EXCEPTION`.
    ///
    /// Blocks: No pauses.
    fn GetVolPropertiesA(
        handle: opal_handle,
        device: *const c_char,
        record: *mut VolPropInfo,
        size: *mut u32,
    ) -> u32;

    /// The record of a volume: the disks that its subdisks are on, and the volume itself.
    /// Signatures are formed as by GetDgProperties.
    ///
    /// ```text
    /// uint32_t size = 0;
    /// VolPropInfo none;
    /// if (GetVolPropertiesW(handle, device, &none, &size) == FARLO_BUFFER_TOO_SMALL) {
    ///     size_t allocated = (size_t)farlo_vol_prop_info_allocation(size);
    ///     VolPropInfo* record = malloc(allocated);
    ///     size = farlo_vol_prop_info_prepare(record, allocated);
    ///     GetVolPropertiesW(handle, device, record, &size) ...
    /// ```
    ///
    /// - `device`: the volume's device name; required
    /// - `record`: receives the record; required also when only the size is asked for
    /// - `size`: as for GetDgProperties, but: FOUR BYTES MORE than this size are written.
    ///   farlo_vol_prop_info_allocation returns the bytes to allocate, farlo_vol_prop_info_prepare
    ///   the size to pass.
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_INVALID_ARGUMENT` (no device name, or one that is too
    /// long; no such volume; in the A form any argument that is NULL except the handle),
    /// `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`, `FARLO_MISSING_ARGUMENT`,
    /// `FARLO_BUFFER_TOO_SMALL`, `FARLO_EXCEPTION`.
    ///
    /// Blocks: No pauses.
    fn GetVolPropertiesW(
        handle: opal_handle,
        device: *const u16,
        record: *mut VolPropInfo,
        size: *mut u32,
    ) -> u32;

    /// The record of one volume of a cluster disk group.
    ///
    /// - `device`: the volume's device name, compared without regard to case; required (at most 31
    ///   characters in the A form)
    /// - `record`: receives the record; NULL asks for the size
    /// - `size`: as for GetDgProperties; sizeof(VolInfo) is needed
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`,
    /// `FARLO_MISSING_ARGUMENT` (also: the size is enough and there is no buffer),
    /// `FARLO_NOT_FOUND` (every failed search for the group), `FARLO_BUFFER_TOO_SMALL`,
    /// `FARLO_EXCEPTION`, `FARLO_VOLUME_NOT_FOUND`, `FARLO_INVALID_ARGUMENT` (a narrow string is
    /// too long, or cannot be widened).
    ///
    /// A volume listed before the wanted one whose device name cannot be read results in
    /// FARLO_EXCEPTION.
    ///
    /// Blocks: 25 s.
    fn GetDgVolumePropertiesA(
        handle: opal_handle,
        name: *const c_char,
        guid: *const c_char,
        device: *const c_char,
        record: *mut VolInfo,
        size: *mut u32,
    ) -> u32;

    /// The record of one volume of a cluster disk group.
    ///
    /// - `device`: the volume's device name, compared without regard to case; required (at most 31
    ///   characters in the A form)
    /// - `record`: receives the record; NULL asks for the size
    /// - `size`: as for GetDgProperties; sizeof(VolInfo) is needed
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`,
    /// `FARLO_MISSING_ARGUMENT` (also: the size is enough and there is no buffer),
    /// `FARLO_NOT_FOUND` (every failed search for the group), `FARLO_BUFFER_TOO_SMALL`,
    /// `FARLO_EXCEPTION`, `FARLO_VOLUME_NOT_FOUND`.
    ///
    /// A volume listed before the wanted one whose device name cannot be read results in
    /// FARLO_EXCEPTION.
    ///
    /// Blocks: 25 s.
    fn GetDgVolumePropertiesW(
        handle: opal_handle,
        name: *const u16,
        guid: *const c_char,
        device: *const u16,
        record: *mut VolInfo,
        size: *mut u32,
    ) -> u32;

    /// The disks of a disk group of any type. Signatures are the disks' own: none is formed.
    ///
    /// - `record`: receives the list; NULL asks for the size
    /// - `size`: as for GetDgProperties
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`,
    /// `FARLO_MISSING_ARGUMENT` (also: the size is enough and there is no buffer),
    /// `FARLO_NOT_FOUND` (every failed search for the group), `FARLO_BUFFER_TOO_SMALL`,
    /// `FARLO_EXCEPTION`, `FARLO_INVALID_ARGUMENT` (a narrow string is too long, or cannot be
    /// widened).
    ///
    /// Blocks: 25 s.
    fn GetDgDiskPropertiesA(
        handle: opal_handle,
        name: *const c_char,
        guid: *const c_char,
        record: *mut DgDiskList,
        size: *mut u32,
    ) -> u32;

    /// The disks of a disk group of any type. Signatures are the disks' own: none is formed.
    ///
    /// - `record`: receives the list; NULL asks for the size
    /// - `size`: as for GetDgProperties
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`,
    /// `FARLO_MISSING_ARGUMENT` (also: the size is enough and there is no buffer),
    /// `FARLO_NOT_FOUND` (every failed search for the group), `FARLO_BUFFER_TOO_SMALL`,
    /// `FARLO_EXCEPTION`.
    ///
    /// Blocks: 25 s.
    fn GetDgDiskPropertiesW(
        handle: opal_handle,
        name: *const u16,
        guid: *const c_char,
        record: *mut DgDiskList,
        size: *mut u32,
    ) -> u32;

    /// The state of one volume of a cluster disk group, in the service's own bits
    /// (FARLO_VOLUME_STATE_).
    ///
    /// - `device`: as for GetDgVolumeProperties
    /// - `state`: receives the state; 0 when the service reports none
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`,
    /// `FARLO_MISSING_ARGUMENT`, `FARLO_NOT_FOUND` (every failed search for the group),
    /// `FARLO_VOLUME_NOT_FOUND`, `FARLO_EXCEPTION`, `FARLO_INVALID_ARGUMENT` (a narrow string is
    /// too long, or cannot be widened).
    ///
    /// Blocks: 25 s.
    fn GetDgVolumeStateA(
        handle: opal_handle,
        name: *const c_char,
        guid: *const c_char,
        device: *const c_char,
        state: *mut u32,
    ) -> u32;

    /// The state of one volume of a cluster disk group, in the service's own bits
    /// (FARLO_VOLUME_STATE_).
    ///
    /// - `device`: as for GetDgVolumeProperties
    /// - `state`: receives the state; 0 when the service reports none
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`,
    /// `FARLO_MISSING_ARGUMENT`, `FARLO_NOT_FOUND` (every failed search for the group),
    /// `FARLO_VOLUME_NOT_FOUND`, `FARLO_EXCEPTION`.
    ///
    /// Blocks: 25 s.
    fn GetDgVolumeStateW(
        handle: opal_handle,
        name: *const u16,
        guid: *const c_char,
        device: *const u16,
        state: *mut u32,
    ) -> u32;

    /// The status of one volume as the volume manager's driver sees it. Both names are one
    /// function.
    ///
    /// - `handle`: only checked after the driver was asked: without a connected one the status is
    ///   stored as usual and FARLO_NOT_CONNECTED is returned
    /// - `guid`: the disk group's GUID string; required
    /// - `volume_guid`: the volume's GUID, FARLO_GUID_SIZE bytes; required. farlo_parse_guid makes
    ///   them of the string that GetDgVolumeGuid stores
    /// - `status`: receives FARLO_VOLUME_STATUS_HEALTHY when the driver reports a healthy volume,
    ///   otherwise FARLO_VOLUME_STATUS_OTHER, also when the driver cannot be asked. Unchanged when
    ///   an argument is refused. TEST THIS, not the result.
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_DEVICE_UNSUCCESSFUL`, `FARLO_DEVICE_SHARING_VIOLATION`,
    /// `FARLO_NOT_FOUND` (it has no such device), `FARLO_MISSING_ARGUMENT` (no GUID string or
    /// `status`; it refuses the request), `FARLO_DEVICE_FAILED` (there is no driver, or any other
    /// failure), `FARLO_INVALID_ARGUMENT` (no volume GUID; the GUID string is too long),
    /// `FARLO_NOT_CONNECTED` (also: the handle is NULL).
    ///
    /// Passes through: the driver's.
    ///
    /// The result is the driver's status, which is NOT 0 for a healthy volume but
    /// FARLO_DEVICE_UNSUCCESSFUL (36). Others: 0, FARLO_DEVICE_SHARING_VIOLATION, FARLO_NOT_FOUND
    /// (it has no such device), FARLO_MISSING_ARGUMENT (no GUID string or `status`; it refuses the
    /// request), FARLO_DEVICE_FAILED (there is no driver, or any other failure),
    /// FARLO_INVALID_ARGUMENT (no volume GUID; the GUID string is too long), FARLO_NOT_CONNECTED
    /// (also: the handle is NULL).
    ///
    /// Blocks: 3 s (opening the device).
    fn GetDgVolumeStatusA(
        handle: opal_handle,
        guid: *const c_char,
        volume_guid: *const u8,
        status: *mut u32,
    ) -> u32;

    /// The status of one volume as the volume manager's driver sees it. Both names are one
    /// function.
    ///
    /// - `handle`: only checked after the driver was asked: without a connected one the status is
    ///   stored as usual and FARLO_NOT_CONNECTED is returned
    /// - `guid`: the disk group's GUID string; required
    /// - `volume_guid`: the volume's GUID, FARLO_GUID_SIZE bytes; required. farlo_parse_guid makes
    ///   them of the string that GetDgVolumeGuid stores
    /// - `status`: receives FARLO_VOLUME_STATUS_HEALTHY when the driver reports a healthy volume,
    ///   otherwise FARLO_VOLUME_STATUS_OTHER, also when the driver cannot be asked. Unchanged when
    ///   an argument is refused. TEST THIS, not the result.
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_DEVICE_UNSUCCESSFUL`, `FARLO_DEVICE_SHARING_VIOLATION`,
    /// `FARLO_NOT_FOUND` (it has no such device), `FARLO_MISSING_ARGUMENT` (no GUID string or
    /// `status`; it refuses the request), `FARLO_DEVICE_FAILED` (there is no driver, or any other
    /// failure), `FARLO_INVALID_ARGUMENT` (no volume GUID; the GUID string is too long),
    /// `FARLO_NOT_CONNECTED` (also: the handle is NULL).
    ///
    /// Passes through: the driver's.
    ///
    /// The result is the driver's status, which is NOT 0 for a healthy volume but
    /// FARLO_DEVICE_UNSUCCESSFUL (36). Others: 0, FARLO_DEVICE_SHARING_VIOLATION, FARLO_NOT_FOUND
    /// (it has no such device), FARLO_MISSING_ARGUMENT (no GUID string or `status`; it refuses the
    /// request), FARLO_DEVICE_FAILED (there is no driver, or any other failure),
    /// FARLO_INVALID_ARGUMENT (no volume GUID; the GUID string is too long), FARLO_NOT_CONNECTED
    /// (also: the handle is NULL).
    ///
    /// Blocks: 3 s (opening the device).
    fn GetDgVolumeStatusW(
        handle: opal_handle,
        guid: *const c_char,
        volume_guid: *const u8,
        status: *mut u32,
    ) -> u32;

    /// The volumes of a cluster disk group that cannot be used, as consecutive VolInfo. A volume is
    /// unusable when one of the bits of FARLO_VOLUME_STATE_UNUSABLE is set in its state, or when
    /// the system's mount-point manager does not report a volume GUID name for it. So every volume
    /// is unusable when the mount-point manager cannot be asked. Volumes of data change objects are
    /// skipped. One volume that cannot be read fails the call (FARLO_EXCEPTION).
    ///
    /// - `records`: room for `count` records (farlo_vol_info_list_size); required also when only
    ///   the number is asked for
    /// - `count`: in: the number of RECORDS, not bytes, in the buffer; out: the number of unusable
    ///   volumes, also with FARLO_BUFFER_TOO_SMALL (see SIZES above)
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_MISSING_ARGUMENT`,
    /// `FARLO_NOT_CONNECTED`, `FARLO_NOT_FOUND` (every failed search for the group),
    /// `FARLO_VOLUME_NOT_FOUND` (the group has no volume at all), `FARLO_BUFFER_TOO_SMALL`,
    /// `FARLO_EXCEPTION`.
    ///
    /// Blocks: 25 s.
    fn GetUnusableVolumesInfo(
        handle: opal_handle,
        name: *const u16,
        guid: *const c_char,
        records: *mut VolInfo,
        count: *mut u32,
    ) -> u32;

    /// The record of one volume of a cluster disk group, with FARLO_VOLUME_UNUSABLE in its state
    /// when the system's mount-point manager does not report a volume GUID name for it or cannot be
    /// asked. The other bits that make a volume unusable are left as they are.
    ///
    /// - `device`: the volume's device name, compared without regard to case; required
    /// - `record`: receives the record; required also when only the size is asked for
    /// - `size`: in: the buffer's size in BYTES; out: with FARLO_BUFFER_TOO_SMALL the size that is
    ///   needed, sizeof(VolInfo) (see SIZES above), otherwise unchanged
    ///
    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_MISSING_ARGUMENT`,
    /// `FARLO_NOT_CONNECTED`, `FARLO_NOT_FOUND` (every failed search for the group),
    /// `FARLO_VOLUME_NOT_FOUND` (the group has no such volume), `FARLO_BUFFER_TOO_SMALL`,
    /// `FARLO_EXCEPTION`.
    ///
    /// A volume listed before the wanted one whose device name cannot be read results in
    /// FARLO_EXCEPTION.
    ///
    /// Blocks: 25 s.
    fn GetVolumeInfo(
        handle: opal_handle,
        name: *const u16,
        guid: *const c_char,
        device: *const u16,
        record: *mut VolInfo,
        size: *mut u32,
    ) -> u32;
}

#[cfg(test)]
mod layouts {
    use super::*;
    use crate::layout::*;

    #[test]
    fn agree_with_the_header() {
        size::<farlo_plex_state>(68);
        field!(farlo_plex_state, name, 0, 64);
        field!(farlo_plex_state, state, 64, 4);
        size::<DgDiskInfo>(56);
        field!(DgDiskInfo, name, 0, 32);
        field!(DgDiskInfo, signature, 32, 4);
        field!(DgDiskInfo, lun, 36, 4);
        field!(DgDiskInfo, target, 40, 4);
        field!(DgDiskInfo, port, 44, 4);
        field!(DgDiskInfo, reserved, 48, 8);
        size::<VolInfo>(1656);
        field!(VolInfo, device_name, 0, 520);
        field!(VolInfo, drive_letter, 520, 6);
        field!(VolInfo, file_system, 526, 64);
        field!(VolInfo, label, 590, 520);
        field!(VolInfo, mount_points, 1110, 522);
        field!(VolInfo, r#type, 1632, 4);
        field!(VolInfo, reserved, 1636, 4);
        field!(VolInfo, state, 1640, 8);
        field!(VolInfo, size, 1648, 8);
        size::<DgInfo>(8);
        field!(DgInfo, disk_count, 0, 4);
        field!(DgInfo, volume_count, 4, 4);
        size::<VolPropInfo>(8);
        field!(VolPropInfo, disk_count, 0, 4);
        field!(VolPropInfo, volume_count, 4, 4);
        size::<DgVolInfo>(4);
        field!(DgVolInfo, volume_count, 0, 4);
        size::<DgDiskList>(4);
        field!(DgDiskList, disk_count, 0, 4);
    }
}
