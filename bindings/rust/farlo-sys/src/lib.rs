//! Raw bindings of `farlo.dll`: its functions, records, statuses and constants, as `farlo.h`
//! declares and describes them.
//!
//! The DLL is loaded at run time:
//!
//! ```no_run
//! let farlo = farlo_sys::Library::open("farlo.dll")?;
//! let mut handle = std::ptr::null_mut();
//! // SAFETY: the slot is ours, and holds no handle.
//! let status = unsafe { (farlo.ValidateClusterW)(&mut handle) };
//! assert!(!farlo_sys::failed(status));
//! # Ok::<(), farlo_sys::LoadError>(())
//! ```
//!
//! Every call is unsafe: the caller is responsible for what the function's description demands
//! of its arguments. A callback must not unwind.
#![allow(non_camel_case_types, non_snake_case)]
#![warn(missing_debug_implementations)]

use std::ffi::{CStr, OsStr};
use std::fmt;
use std::io;
use std::ops::Deref;

#[cfg(test)]
mod layout;

/// Declares [`Functions`], which [`Library`] has.
macro_rules! functions {
    ($($(#[$doc:meta])* fn $name:ident($($argument:ident: $kind:ty),* $(,)?) -> $result:ty;)*) => {
        /// Pointers to all functions of `farlo.dll`.
        #[derive(Clone, Copy)]
        pub struct Functions {
            $($(#[$doc])* pub $name: unsafe extern "system" fn($($argument: $kind),*) -> $result,)*
        }

        impl Functions {
            /// The names of the functions, as they are exported.
            pub const NAMES: &'static [&'static str] = &[$(stringify!($name)),*];

            /// Gets all functions from `find`, which returns null for one that is missing.
            ///
            /// # Errors
            ///
            /// The name of the first function that is missing.
            ///
            /// # Safety
            ///
            /// `find` returns the address of the function of that name in a `farlo.dll` that
            /// stays loaded as long as the pointers are used.
            pub unsafe fn load(
                mut find: impl FnMut(&CStr) -> *const c_void,
            ) -> Result<Self, &'static str> {
                Ok(Self {
                    $($name: {
                        let name = concat!(stringify!($name), "\0");
                        let found = find(CStr::from_bytes_with_nul_unchecked(name.as_bytes()));
                        if found.is_null() {
                            return Err(stringify!($name));
                        }
                        std::mem::transmute(found)
                    },)*
                })
            }
        }

        impl fmt::Debug for Functions {
            fn fmt(&self, formatter: &mut fmt::Formatter<'_>) -> fmt::Result {
                formatter.debug_struct("Functions").finish_non_exhaustive()
            }
        }
    };
}

include!("declarations.rs");

/// A loaded `farlo.dll`. It is unloaded with this object; release all handles before.
#[derive(Debug)]
pub struct Library {
    functions: Functions,
    // Unloads the DLL.
    #[cfg(windows)]
    _module: windows::Module,
}

/// Why `farlo.dll` could not be loaded.
#[derive(Debug)]
pub enum LoadError {
    /// The system could not load the file.
    System(io::Error),
    /// It does not export this function: it is not a `farlo.dll` of this version.
    Missing(&'static str),
}

impl fmt::Display for LoadError {
    fn fmt(&self, formatter: &mut fmt::Formatter<'_>) -> fmt::Result {
        match self {
            Self::System(error) => write!(formatter, "cannot load farlo.dll: {error}"),
            Self::Missing(name) => write!(formatter, "farlo.dll does not export {name}"),
        }
    }
}

impl std::error::Error for LoadError {}

impl Deref for Library {
    type Target = Functions;
    fn deref(&self) -> &Functions {
        &self.functions
    }
}

#[cfg(windows)]
impl Library {
    /// Loads the DLL from a path, or by the system's search order.
    ///
    /// # Errors
    ///
    /// If the file cannot be loaded, or is not a `farlo.dll` of this version.
    pub fn open(path: impl AsRef<OsStr>) -> Result<Self, LoadError> {
        let module = windows::Module::load(path.as_ref()).map_err(LoadError::System)?;
        // SAFETY: the module stays loaded as long as this object, which lends the pointers.
        let functions =
            unsafe { Functions::load(|name| module.address(name)) }.map_err(LoadError::Missing)?;
        Ok(Self {
            functions,
            _module: module,
        })
    }
}

/// Whether a status is a failure, as `farlo_failed` of `farlo.h`: besides 0, the service's
/// informational statuses and warnings are successes. Does not hold for `GetDgVolumeStatus`, nor
/// for the `Is...` functions, which return no status.
#[must_use]
pub const fn failed(status: u32) -> bool {
    match (status >> 16) & 0xfff {
        0 => status != 0,
        0x100 => status >> 30 == 3,
        _ => status >> 31 != 0,
    }
}

/// The string before the first NUL of a record's field.
#[must_use]
pub fn text(field: &[u16]) -> String {
    let length = field
        .iter()
        .position(|&unit| unit == 0)
        .unwrap_or(field.len());
    String::from_utf16_lossy(&field[..length])
}

/// A string as the wide functions take it: NUL-terminated UTF-16.
#[must_use]
pub fn wide(string: &str) -> Vec<u16> {
    string.encode_utf16().chain([0]).collect()
}

#[cfg(windows)]
mod windows {
    use super::{c_char, c_void, CStr, OsStr};
    use std::io;
    use std::os::windows::ffi::OsStrExt;

    #[link(name = "kernel32")]
    extern "system" {
        fn LoadLibraryW(path: *const u16) -> *mut c_void;
        fn GetProcAddress(module: *mut c_void, name: *const c_char) -> *const c_void;
        fn FreeLibrary(module: *mut c_void) -> i32;
    }

    #[derive(Debug)]
    pub struct Module(*mut c_void);

    // SAFETY: the loader's functions may be called from any thread.
    unsafe impl Send for Module {}
    unsafe impl Sync for Module {}

    impl Module {
        pub fn load(path: &OsStr) -> io::Result<Self> {
            let path: Vec<u16> = path.encode_wide().chain([0]).collect();
            // SAFETY: a NUL-terminated string.
            let module = unsafe { LoadLibraryW(path.as_ptr()) };
            if module.is_null() {
                return Err(io::Error::last_os_error());
            }
            Ok(Self(module))
        }

        pub fn address(&self, name: &CStr) -> *const c_void {
            // SAFETY: a loaded module and a NUL-terminated string.
            unsafe { GetProcAddress(self.0, name.as_ptr()) }
        }
    }

    impl Drop for Module {
        fn drop(&mut self) {
            // SAFETY: loaded once, released once.
            unsafe { FreeLibrary(self.0) };
        }
    }
}

#[cfg(test)]
mod tests {
    use super::*;

    #[test]
    fn text_ends_at_the_terminator() {
        assert_eq!(text(&[0x66, 0x3a, 0, 0x78]), "f:");
        assert_eq!(text(&[0x66, 0x3a]), "f:");
        assert_eq!(text(&[]), "");
    }

    #[test]
    fn wide_is_terminated() {
        assert_eq!(wide("f\u{20ac}"), [0x66, 0x20ac, 0]);
    }

    #[test]
    fn statuses_have_names() {
        assert_eq!(status_name(0), Some("FARLO_SUCCESS"));
        assert_eq!(status_name(20), Some("FARLO_NOT_CONNECTED"));
        assert_eq!(status_name(0x8007_0057), Some("FARLO_INVALID_ARGUMENT"));
        assert_eq!(status_name(2), None);
    }

    #[test]
    fn warnings_are_no_failures() {
        for success in [0, 0x6515_0001, 0x2515_0001, 0x4100_0001, 0x8100_0001] {
            assert!(!failed(success), "{success:#x}");
        }
        for failure in [1, 36, 126, 0x8007_0057, 0xc100_0001, 0xe515_0101] {
            assert!(failed(failure), "{failure:#x}");
        }
    }

    #[test]
    fn the_first_missing_function_is_named() {
        let mut asked = 0;
        // SAFETY: nothing is called.
        let found = unsafe {
            Functions::load(|name| {
                asked += 1;
                if name.to_bytes() == b"GetDgGuidW" {
                    std::ptr::null()
                } else {
                    name.as_ptr().cast()
                }
            })
        };
        assert_eq!(found.err(), Some("GetDgGuidW"));
        assert_eq!(Functions::NAMES[asked - 1], "GetDgGuidW");
        assert_eq!(Functions::NAMES.len(), 87);
    }
}
