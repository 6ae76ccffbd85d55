//! Prints the disks and volumes of a disk group: `read_group NAME`.
use farlo_sys::{
    failed, status_name, text, wide, DgDiskInfo, DgInfo, Library, VolInfo, FARLO_BUFFER_TOO_SMALL,
};
use std::mem::size_of;
use std::process::ExitCode;
use std::ptr;

/// A call that failed.
struct Failure {
    function: &'static str,
    status: u32,
}

fn check(function: &'static str, status: u32) -> Result<(), Failure> {
    if failed(status) {
        Err(Failure { function, status })
    } else {
        Ok(())
    }
}

/// A connection, released with this object.
struct Connection<'a> {
    farlo: &'a Library,
    handle: farlo_sys::opal_handle,
}

impl<'a> Connection<'a> {
    fn new(farlo: &'a Library) -> Result<Self, Failure> {
        let mut handle = ptr::null_mut();
        // SAFETY: the slot is ours, and holds no handle.
        let status = unsafe { (farlo.InitializeClusterW)(&mut handle) };
        check("InitializeClusterW", status)?;
        Ok(Self { farlo, handle })
    }

    /// The bytes of a group's record. The group may grow between two calls.
    fn group(&self, name: &str) -> Result<Vec<u8>, Failure> {
        let name = wide(name);
        let mut record: Vec<u8> = Vec::new();
        loop {
            let mut size = record.len() as u32;
            // SAFETY: a connected handle, a terminated string, and a buffer of that size.
            let status = unsafe {
                (self.farlo.GetDgPropertiesW)(
                    self.handle,
                    name.as_ptr(),
                    ptr::null(),
                    record.as_mut_ptr().cast(),
                    &mut size,
                )
            };
            if status != FARLO_BUFFER_TOO_SMALL {
                check("GetDgPropertiesW", status)?;
                return Ok(record);
            }
            record = vec![0_u8; size as usize];
        }
    }
}

impl Drop for Connection<'_> {
    fn drop(&mut self) {
        // SAFETY: no other call uses the handle.
        unsafe { (self.farlo.UnInitializeClusterW)(self.handle) };
    }
}

/// A part of a record; the record's default if it ends before.
fn part<T: Copy + Default>(record: &[u8], offset: usize) -> T {
    match record.get(offset..offset + size_of::<T>()) {
        // SAFETY: as many bytes, at any address, of a type for which all bytes are valid.
        Some(bytes) => unsafe { ptr::read_unaligned(bytes.as_ptr().cast()) },
        None => T::default(),
    }
}

fn print(record: &[u8]) {
    let header: DgInfo = part(record, 0);
    let (disks, volumes) = (header.disk_count as usize, header.volume_count as usize);
    println!("{disks} disks, {volumes} volumes");
    for index in 0..disks {
        let disk: DgDiskInfo = part(
            record,
            size_of::<DgInfo>() + index * size_of::<DgDiskInfo>(),
        );
        let (name, signature) = (disk.name, disk.signature);
        println!("disk {}, signature {signature:#x}", text(&name));
    }
    let first_volume = size_of::<DgInfo>() + disks * size_of::<DgDiskInfo>();
    for index in 0..volumes {
        let volume: VolInfo = part(record, first_volume + index * size_of::<VolInfo>());
        let (device, system, size) = (volume.device_name, volume.file_system, volume.size);
        println!("volume {}, {}, {size} bytes", text(&device), text(&system));
    }
}

fn main() -> ExitCode {
    let name = std::env::args().nth(1).unwrap_or_default();
    let farlo = match Library::open("farlo.dll") {
        Ok(farlo) => farlo,
        Err(error) => {
            eprintln!("{error}");
            return ExitCode::from(2);
        }
    };
    match Connection::new(&farlo).and_then(|connection| connection.group(&name)) {
        Ok(record) => print(&record),
        Err(Failure { function, status }) => {
            let name = status_name(status).unwrap_or("a status of the service");
            eprintln!("{function}: {name} ({status:#x})");
            return ExitCode::FAILURE;
        }
    }
    ExitCode::SUCCESS
}
