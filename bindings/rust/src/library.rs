//! The DLL, and where its functions are.

use std::ffi::c_void;
use std::fmt;
use std::os::raw::c_char;
use std::path::Path;
use std::sync::Mutex;

use crate::declarations::Functions;
use crate::{Error, Result, StartOptions};

extern "system" {
    fn LoadLibraryW(file: *const u16) -> *mut c_void;
    fn GetProcAddress(module: *mut c_void, name: *const c_char) -> *const ();
}

/// `KXTCP64.dll`. It stays loaded.
#[derive(Clone, Copy)]
pub struct Library(&'static Functions);

impl fmt::Debug for Library {
    fn fmt(&self, formatter: &mut fmt::Formatter<'_>) -> fmt::Result {
        formatter.write_str("Library")
    }
}

/// The one that Windows finds, once it was found.
static USUAL: Mutex<Option<Library>> = Mutex::new(None);

impl Library {
    /// The DLL at that path. Windows searches for a mere name, first in the program's own folder.
    pub fn load(file: impl AsRef<Path>) -> Result<Self> {
        use std::os::windows::ffi::OsStrExt;
        const CALL: &str = "kxtcp64::Library::load";
        let file = file.as_ref();
        let wide: Vec<u16> = file.as_os_str().encode_wide().chain([0]).collect();
        let module = unsafe { LoadLibraryW(wide.as_ptr()) };
        if module.is_null() {
            let reason = std::io::Error::last_os_error();
            return Err(Error::refused(CALL, format!("{} cannot be loaded: {reason}", file.display())));
        }
        let functions = unsafe {
            Functions::find(|name| {
                let address = GetProcAddress(module, name.as_ptr().cast());
                if address.is_null() {
                    let name = name.trim_end_matches('\0');
                    return Err(Error::refused(CALL, format!("{} has no function {name}", file.display())));
                }
                Ok(address)
            })?
        };
        Ok(Self(Box::leak(Box::new(functions))))
    }

    pub(crate) fn of(options: &StartOptions) -> Result<Self> {
        if let Some(library) = options.library {
            return Ok(library);
        }
        let mut usual = USUAL.lock().unwrap_or_else(|poisoned| poisoned.into_inner());
        let library = match *usual {
            Some(library) => library,
            None => Self::load("KXTCP64.dll")?,
        };
        *usual = Some(library);
        Ok(library)
    }

    pub(crate) fn functions(&self) -> &'static Functions {
        self.0
    }
}
