//! Starts Firefox with the profile "work", plays a macro, prints its first extract, and closes Firefox: without a wrapper.
//!
//!     raw BROWSER MACRO-TEXT

use std::ffi::CString;
use std::os::raw::{c_char, c_int};
use std::ptr::null_mut;

#[link(name = "KXTCP64.dll")]
extern "system" {
    fn kx_ContextCreate() -> c_int;
    fn kx_ContextDestroy(context: c_int);
    fn kx_GetLastErrorNumber(context: c_int) -> c_int;
    fn kx_GetLastErrorText(context: c_int, buffer: *mut c_char, size: c_int) -> c_int;
    fn kx_Init(
        context: c_int,
        browser: *const c_char,
        options: *const c_char,
        path: *const c_char,
        port: c_int,
        new_browser: c_int,
        timeout: c_int,
    ) -> c_int;
    fn kx_SetVar(context: c_int, name: *const c_char, value: *const c_char) -> c_int;
    fn kx_Play(context: c_int, source: *const c_char, timeout: c_int) -> c_int;
    fn kx_GetLastExtract(context: c_int, buffer: *mut c_char, size: c_int, index: c_int) -> c_int;
    fn kx_Exit(context: c_int, timeout: c_int) -> c_int;
}

fn text(value: &str) -> CString {
    CString::new(value).expect("a zero character")
}

fn text_of(copy: impl Fn(*mut c_char, c_int) -> c_int) -> Vec<u8> {
    let size = copy(null_mut(), 0);
    let mut buffer = vec![0; size.max(1) as usize];
    if size > 1 {
        copy(buffer.as_mut_ptr().cast(), size);
    }
    buffer.pop();
    buffer
}

fn failure(context: c_int, call: &str, result: c_int) -> String {
    let number = unsafe { kx_GetLastErrorNumber(context) };
    let text = text_of(|buffer, size| unsafe { kx_GetLastErrorText(context, buffer, size) });
    format!("{call} failed: result {result}, error {number}: {}", String::from_utf8_lossy(&text))
}

fn play(context: c_int, source: &str) -> Result<(), String> {
    let result = unsafe { kx_SetVar(context, text("city").as_ptr(), text("Oslo").as_ptr()) };
    if result != 0 {
        return Err(failure(context, "kx_SetVar", result));
    }
    let result = unsafe { kx_Play(context, text(source).as_ptr(), 60) };
    if result != 0 {
        return Err(failure(context, "kx_Play", result));
    }
    let extract = text_of(|buffer, size| unsafe { kx_GetLastExtract(context, buffer, size, 1) });
    println!("the first extract: {}", String::from_utf8_lossy(&extract));
    Ok(())
}

fn main() {
    let arguments: Vec<String> = std::env::args().collect();
    let context = unsafe { kx_ContextCreate() };
    let (browser, options, program) = (text("fx"), text("-fxProfile \"work\""), text(&arguments[1]));
    let result = unsafe { kx_Init(context, browser.as_ptr(), options.as_ptr(), program.as_ptr(), 0, 0, 60) };
    let outcome = if result != 0 || unsafe { kx_GetLastErrorNumber(context) } != 1 {
        Err(failure(context, "kx_Init", result))
    } else {
        play(context, &arguments[2])
    };
    if result == 0 {
        unsafe { kx_Exit(context, 10) };
    }
    unsafe { kx_ContextDestroy(context) };
    if let Err(error) = outcome {
        eprintln!("{error}");
        std::process::exit(1);
    }
}
