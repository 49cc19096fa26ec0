// Made from bindings/interface.json by tools/check_interface.py --fix.
//! The constants of `kxtcp64.h`, and its functions under their own names.

use std::os::raw::{c_char, c_int};

/// done; of a start, a message and a screenshot: answered
pub const KX_OK: i32 = 0;
/// general failure, a single buffer that is too small included
pub const KX_FAILED: i32 = -1;
/// kx_GetLastPerformance and kxr_GetCommandLine only
pub const KX_BUFFER_TOO_SMALL: i32 = -2;
/// kx_Init: the time ran out; kxr_Exit: the exit was not confirmed
pub const KX_TIMEOUT: i32 = -3;
/// there is no such context
pub const KX_NO_CONTEXT: i32 = -5;
/// nothing has happened yet, or the last answer gave no number
pub const KX_ERROR_NONE: i32 = 0;
/// the last answer reported success
pub const KX_ERROR_SUCCESS: i32 = 1;
/// the transport failed, or no start page; the text tells how
pub const KX_ERROR_GENERAL: i32 = -1;
/// a wait ran out
pub const KX_ERROR_TIMEOUT: i32 = -3;
/// nobody serves, and a Firefox has the profile
pub const KX_ERROR_PROFILE_IN_USE: i32 = -4;
/// the whole browser, like every value but 1
pub const KX_SCREENSHOT_BROWSER: i32 = 0;
/// the web page
pub const KX_SCREENSHOT_PAGE: i32 = 1;

#[rustfmt::skip]
pub(crate) struct Functions {
    pub kx_ContextCreate: unsafe extern "system" fn() -> c_int,
    pub kx_ContextDestroy: unsafe extern "system" fn(c_int),
    pub kx_GetLastErrorNumber: unsafe extern "system" fn(c_int) -> c_int,
    pub kx_GetLastErrorText: unsafe extern "system" fn(c_int, *mut c_char, c_int) -> c_int,
    pub kx_Init: unsafe extern "system" fn(c_int, *const c_char, *const c_char, *const c_char, c_int, c_int, c_int) -> c_int,
    pub kx_SetVar: unsafe extern "system" fn(c_int, *const c_char, *const c_char) -> c_int,
    pub kx_Play: unsafe extern "system" fn(c_int, *const c_char, c_int) -> c_int,
    pub kx_Display: unsafe extern "system" fn(c_int, *const c_char, c_int) -> c_int,
    pub kx_TakeBrowserScreenshot: unsafe extern "system" fn(c_int, *const c_char, c_int, c_int) -> c_int,
    pub kx_GetLastExtract: unsafe extern "system" fn(c_int, *mut c_char, c_int, c_int) -> c_int,
    pub kx_GetPerformance: unsafe extern "system" fn(c_int, *mut c_char, c_int) -> c_int,
    pub kx_GetLastPerformance: unsafe extern "system" fn(c_int, c_int, *mut c_char, *mut c_int, *mut c_char, *mut c_int) -> c_int,
    pub kx_GetBrowserProcessId: unsafe extern "system" fn(c_int) -> c_int,
    pub kx_Exit: unsafe extern "system" fn(c_int, c_int) -> c_int,
    pub kxr_GetCommandLine: unsafe extern "system" fn(*const c_char, *const c_char, *mut c_char, c_int, *const c_char) -> c_int,
    pub kxr_Init: unsafe extern "system" fn(c_int, *const c_char, *const c_char, c_int, c_int) -> c_int,
    pub kxr_Exit: unsafe extern "system" fn(c_int, c_int) -> c_int,
}

#[rustfmt::skip]
impl Functions {
    /// Each address has to be that of the function of that name.
    pub unsafe fn find<E>(mut address: impl FnMut(&'static str) -> Result<*const (), E>) -> Result<Self, E> {
        Ok(Self {
            kx_ContextCreate: std::mem::transmute(address("kx_ContextCreate\0")?),
            kx_ContextDestroy: std::mem::transmute(address("kx_ContextDestroy\0")?),
            kx_GetLastErrorNumber: std::mem::transmute(address("kx_GetLastErrorNumber\0")?),
            kx_GetLastErrorText: std::mem::transmute(address("kx_GetLastErrorText\0")?),
            kx_Init: std::mem::transmute(address("kx_Init\0")?),
            kx_SetVar: std::mem::transmute(address("kx_SetVar\0")?),
            kx_Play: std::mem::transmute(address("kx_Play\0")?),
            kx_Display: std::mem::transmute(address("kx_Display\0")?),
            kx_TakeBrowserScreenshot: std::mem::transmute(address("kx_TakeBrowserScreenshot\0")?),
            kx_GetLastExtract: std::mem::transmute(address("kx_GetLastExtract\0")?),
            kx_GetPerformance: std::mem::transmute(address("kx_GetPerformance\0")?),
            kx_GetLastPerformance: std::mem::transmute(address("kx_GetLastPerformance\0")?),
            kx_GetBrowserProcessId: std::mem::transmute(address("kx_GetBrowserProcessId\0")?),
            kx_Exit: std::mem::transmute(address("kx_Exit\0")?),
            kxr_GetCommandLine: std::mem::transmute(address("kxr_GetCommandLine\0")?),
            kxr_Init: std::mem::transmute(address("kxr_Init\0")?),
            kxr_Exit: std::mem::transmute(address("kxr_Exit\0")?),
        })
    }
}
